#pragma once
// The preview while a slider is dragged: the effect runs on a reduced copy of the current
// frame (and of the swap image), so that each step of the drag shows at once even on large
// frames. The copy is made once per frame and size and reused for every step. Effects whose
// look depends on pixel distances (blurs, noise grain) look finer at the reduced size; the
// full preview on release shows them exactly.
#include <cstdint>

#include "effects/effect.h"
#include "host/image_state.h"
#include "render/window.h"

namespace tessfx {

// At most this many pixels in the reduced frame (a 640 x 360 picture).
inline constexpr int64_t kLivePreviewPixels = int64_t{640} * 360;

class LivePreview {
 public:
  // Effects that need only the frame and the swap image.
  static bool Supports(const EffectDef& effect);
  // The reduced size for a width x height frame shown in `box`: fits the box, keeps the
  // aspect ratio and has at most kLivePreviewPixels; never larger than the frame.
  static PictureBox ReducedSize(int32_t width, int32_t height, PictureBox box);

  // The next Run fetches the frame again (the host's frame or document has changed).
  void Invalidate() { valid_ = false; }
  // Runs `effect` with `p` on the reduced frame and writes the picture into `out`. Fetches
  // and reduces the frame first when it has not been or the frame, the size or the need
  // for the swap image has changed. False, with `out` untouched, when the effect is not
  // supported or the frame is empty.
  bool Run(const EffectDef& effect, ImageState& s, const EffectParams& p, PictureBox box, ThumbImage& out);

 private:
  void Prepare(const EffectDef& effect, ImageState& s, PictureBox size, int32_t frame);

  bool valid_ = false;
  int32_t frame_ = -1;
  int32_t width_ = 0, height_ = 0;  // the reduced frame
  bool with_swap_ = false;
  Plane r_, g_, b_, a_;          // the reduced frame
  Plane swap_r_, swap_g_, swap_b_;
  Plane work_r_, work_g_, work_b_, work_a_;
};

}  // namespace tessfx
