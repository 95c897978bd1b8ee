// Actions of mirage, mosaic and displace.
#include "effects/geometric.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindGeometricActions(ActionTable& t) {
  t.mirage = [](EffectCall& c) { FxMirage(c.image); };
  t.mosaic = [](EffectCall& c) { FxMosaic(c.image, c.p[0]); };
  t.displace = [](EffectCall& c) { FxDisplace(c.image, c.p[0]); };
}

}  // namespace tessfx
