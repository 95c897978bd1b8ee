#include "engine/bindings.h"

namespace tessfx {

void BindActions(ActionTable& t) {
  BindAdjustActions(t);
  BindBlurActions(t);
  BindInlineActions(t);
  BindLookActions(t);
  BindCombineActions(t);
  BindVideoActions(t);
  BindRankActions(t);
  BindGeometricActions(t);
}

}  // namespace tessfx
