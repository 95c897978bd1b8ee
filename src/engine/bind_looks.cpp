// Actions of the colour looks.
#include "effects/looks.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindLookActions(ActionTable& t) {
  t.sunset_filter = [](EffectCall& c) { FxSunsetFilter(c.image); };
  t.day_for_night = [](EffectCall& c) { FxDayForNight(c.image); };
  t.fog_filter = [](EffectCall& c) { FxFogFilter(c.image); };
}

}  // namespace tessfx
