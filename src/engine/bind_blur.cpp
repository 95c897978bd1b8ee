// Actions of the blur, diffusion and sharpening effects.
#include "core/convert.h"
#include "effects/blur.h"
#include "effects/frame.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindBlurActions(ActionTable& t) {
  t.gaussian_blur = [](EffectCall& c) {
    FxGaussianBlur(c.image, RoundHalfEven(c.p[0]));
    LevelMix(c.image, c.p[1]);
  };
  t.light_diffusion = [](EffectCall& c) { FxLightDiffusion(c.image, c.p[0], c.p[1]); };
  t.dark_diffusion = [](EffectCall& c) { FxDarkDiffusion(c.image, c.p[0], c.p[1]); };
  t.unsharp_mask = [](EffectCall& c) { FxUnsharpMask(c.image, c.p[0]); };
  t.zoom_blur = [](EffectCall& c) { FxZoomBlur(c.image, c.p[0], c.p[1], c.p[2], c.p[3]); };
  t.motion_blur = [](EffectCall& c) { FxMotionBlur(c.image, c.p[0], c.p[1]); };
}

}  // namespace tessfx
