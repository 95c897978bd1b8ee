#include "effects/effect.h"

#include "filters/blend.h"

namespace tessfx {

void RunEffect(const EffectDef& effect, EffectFrame& frame, const EffectParams& p) {
  if (!effect.run) return;
  effect.run(frame, p);
  if (effect.composite.alpha == AlphaStep::Dispatch && frame.alpha_bits == 0)
    Overlay_b(frame.work.rgb(), frame.host.rgb(), frame.host.a, 0);
  if (effect.composite.level_mix_slider >= 0)
    LevelMix(frame.work.rgb(), frame.host.rgb(), p[static_cast<size_t>(effect.composite.level_mix_slider)]);
}

}  // namespace tessfx
