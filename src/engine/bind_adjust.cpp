// Actions of the colour and tone adjustments.
#include "core/convert.h"
#include "effects/adjust.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindAdjustActions(ActionTable& t) {
  t.color_add = [](EffectCall& c) { FxColorAdd(c.image, c.p[0], c.p[1], c.p[2]); };
}

}  // namespace tessfx
