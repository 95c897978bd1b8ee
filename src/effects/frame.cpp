#include "effects/frame.h"

#include "filters/level_mix.h"
#include "filters/overlay.h"

namespace tessfx {

void CompositeStep(ImageState& s) {
  if (s.alpha_bits != 0) return;
  Overlay_b(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_r.data(), s.host_g.data(), s.host_b.data(),
            s.host_a.data(), static_cast<uint8_t>(s.alpha_bits), s.width, s.height);
}

bool SwapFitsFrame(const ImageState& s) {
  for (const Plane* p : {&s.swap_r, &s.swap_g, &s.swap_b})
    if (p->empty() || p->width() != s.width || p->height() != s.height) return false;
  return true;
}

void LevelMix(ImageState& s, float level) {
  LevelMixPlanes(s.work_r.data(), s.work_g.data(), s.work_b.data(), s.host_r.data(), s.host_g.data(), s.host_b.data(),
                 s.width, s.height, level);
}

}  // namespace tessfx
