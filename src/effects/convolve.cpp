// The fixed 3 x 3 kernels. The dispatch of the original program ran these inline, reusing
// its six parameter slots as the kernel's upper and middle rows; the first parameter, saved
// before, is the level of the level mix that ends each of them. ConvolveAlpha mixes the
// result through the alpha plane itself when the alpha-bits flag is 0.
#include "filters/convolve.h"

#include "effects/families.h"

namespace tessfx {
namespace {

struct FixedKernel {
  Kernel3x3 weights;  // the rows above, at and below the pixel
  float divisor;
  int32_t mode;
};

// Box blur.
constexpr FixedKernel kSimpleBlur{{1, 1, 1, 1, 1, 1, 1, 1, 1}, 9, kConvolvePlain};
// The pixel against its four direct neighbours; the weights sum to 1.
constexpr FixedKernel kSharpen{{0, -1, 0, -1, 5, -1, 0, -1, 0}, 1, kConvolvePlain};
// Emboss lit from the upper left: the difference across the diagonal, around mid-grey
// (weights sum to 0). The grey variant embosses the pixel's grey, the colour variant each
// channel.
constexpr FixedKernel kGreyEmboss{{-1, -1, 0, -1, 0, 1, 0, 1, 1}, 1, kConvolveGrey | kConvolveOffset};
constexpr FixedKernel kColorEmboss{{-1, -1, 0, -1, 0, 1, 0, 1, 1}, 1, kConvolveOffset};
// The Laplacian over all eight neighbours: flat areas go black, edges bright.
constexpr FixedKernel kEdgeDetect{{-1, -1, -1, -1, 8, -1, -1, -1, -1}, 1, kConvolvePlain};
// Each line averaged with the line above it, which merges the two fields.
constexpr FixedKernel kDeinterlace{{0, 1, 0, 0, 1, 0, 0, 0, 0}, 2, kConvolvePlain};
// As deinterlace with twice the weight on the line itself.
constexpr FixedKernel kReduceFlicker{{0, 1, 0, 0, 2, 0, 0, 0, 0}, 3, kConvolvePlain};

template <const FixedKernel& K>
void Convolve(EffectFrame& f, const EffectParams&) {
  ConvolveAlpha(f.work.rgb(), f.host.rgb(), f.host.a, f.AlphaFlagByte(), K.weights, K.divisor, K.mode);
}

constexpr Composite kThenLevelMix = LevelMixBy(0, AlphaStep::InKernel);

}  // namespace

std::span<const EffectDef> ConvolveEffects() {
  static const EffectDef effects[] = {
      {.name = "Simple blur",
       .category = "Blur",
       .sliders = {Slider("Blur", 0, 255, 255)},
       .composite = kThenLevelMix,
       .description = "Averages each pixel with its eight neighbours",
       .run = Convolve<kSimpleBlur>},
      {.name = "Sharpen",
       .category = "Sharpen",
       .sliders = {Slider("Sharpen", 0, 255, 255)},
       .composite = kThenLevelMix,
       .description = "Lifts each pixel against its four neighbours",
       .run = Convolve<kSharpen>},
      {.name = "Grey emboss",
       .category = "Convolve",
       .sliders = {Slider("Emboss", 0, 255, 255)},
       .composite = kThenLevelMix,
       .description = "A grey relief of the picture, lit from the upper left",
       .run = Convolve<kGreyEmboss>},
      {.name = "Color emboss",
       .category = "Convolve",
       .sliders = {Slider("Emboss", 0, 255, 255)},
       .composite = kThenLevelMix,
       .description = "A relief of each colour channel, lit from the upper left",
       .run = Convolve<kColorEmboss>},
      {.name = "Edge detect",
       .category = "Convolve",
       .sliders = {Slider("Edge detect", 0, 255, 255)},
       .composite = kThenLevelMix,
       .description = "Edges bright on black: the difference of each pixel from its neighbours",
       .run = Convolve<kEdgeDetect>},
      {.name = "Deinterlace",
       .category = "Video",
       .composite = kThenLevelMix,
       .description = "Merges the two fields of interlaced video by averaging each line with the one above",
       .run = Convolve<kDeinterlace>},
      {.name = "Reduce flicker",
       .category = "Video",
       .composite = kThenLevelMix,
       .description = "Softens interlace flicker: each line takes one part of the line above to two of its own",
       .run = Convolve<kReduceFlicker>},
  };
  return effects;
}

}  // namespace tessfx
