#include "effects/adjust.h"

#include "core/convert.h"
#include "effects/frame.h"
#include "filters/channel.h"

namespace tessfx {

void FxColorAdd(ImageState& s, float red, float green, float blue) {
  FastChannelAdd(s.work_r.data(), s.width, s.height, RoundHalfEven(red));
  FastChannelAdd(s.work_g.data(), s.width, s.height, RoundHalfEven(green));
  FastChannelAdd(s.work_b.data(), s.width, s.height, RoundHalfEven(blue));
  CompositeStep(s);
}

}  // namespace tessfx
