// Actions of the cross rank filters: none of them composites, their result covers the
// whole frame.
#include "effects/rank.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindRankActions(ActionTable& t) {
  t.maximize = [](EffectCall& c) { FxMaximize(c.image); };
  t.minimize = [](EffectCall& c) { FxMinimize(c.image); };
  t.max_min = [](EffectCall& c) { FxMaxMin(c.image); };
  t.min_max = [](EffectCall& c) { FxMinMax(c.image); };
}

}  // namespace tessfx
