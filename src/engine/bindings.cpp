#include "engine/bindings.h"

namespace tessfx {

void BindActions(ActionTable& t) {
  (void)t;
}

}  // namespace tessfx
