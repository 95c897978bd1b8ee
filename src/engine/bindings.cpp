#include "engine/bindings.h"

namespace tessfx {

void BindActions(ActionTable& t) {
  BindAdjustActions(t);
  BindBlurActions(t);
}

}  // namespace tessfx
