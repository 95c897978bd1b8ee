#include "engine/actions.h"

#include "engine/bindings.h"

namespace tessfx {

const ActionTable& Actions() {
  static const ActionTable table = [] {
    ActionTable t;
    BindActions(t);
    return t;
  }();
  return table;
}

}  // namespace tessfx
