// Cross rank filters and the median. A rank pass takes, per channel, the largest or
// smallest sample of the five-point cross (CrossRankPass) over rows 1..height-1 and columns
// 1..width-1, so row 0 and column 0 keep the untouched frame. "Maximize", "MaxMin" and
// "MinMax" cover the whole frame; "Minimize" and "Median" composite through the alpha.
#include "effects/families.h"
#include "filters/cross_rank.h"
#include "filters/median.h"

namespace tessfx {
namespace {

template <RankOp kOp>
void OnePass(EffectFrame& f, const EffectParams&) {
  CrossRankPass(f.work.rgb(), f.host.rgb(), kOp);
}

// The second pass reads a copy of the first's result, never its own output.
template <RankOp kFirst, RankOp kSecond>
void TwoPasses(EffectFrame& f, const EffectParams&) {
  CrossRankTwoPasses(f.work.rgb(), f.host.rgb(), kFirst, kSecond);
}

}  // namespace

std::span<const EffectDef> RankEffects() {
  static const EffectDef effects[] = {
      {.name = "Maximize",
       .category = "Convolve",
       .composite = kCoversFrame,
       .description = "Each pixel takes the brightest of itself and its four neighbours, per channel",
       .run = OnePass<RankOp::Maximum>},
      {.name = "Median",
       .category = "Convolve",
       .description = "Each pixel takes the middle value of its 3 x 3 neighbourhood: removes specks, keeps edges",
       .run = [](EffectFrame& f, const EffectParams&) { FastMedian(f.work.rgb()); }},
      {.name = "Minimize",
       .category = "Convolve",
       .description = "Each pixel takes the darkest of itself and its four neighbours, per channel",
       .run = OnePass<RankOp::Minimum>},
      {.name = "MaxMin",
       .category = "Convolve",
       .composite = kCoversFrame,
       .description = "A maximum then a minimum pass: fills small dark gaps",
       .run = TwoPasses<RankOp::Maximum, RankOp::Minimum>},
      {.name = "MinMax",
       .category = "Convolve",
       .composite = kCoversFrame,
       .description = "A minimum then a maximum pass: removes small bright specks",
       .run = TwoPasses<RankOp::Minimum, RankOp::Maximum>},
  };
  return effects;
}

}  // namespace tessfx
