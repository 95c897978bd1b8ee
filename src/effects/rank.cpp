#include "effects/rank.h"

#include "filters/cross_rank.h"

namespace tessfx {
namespace {

void OnePass(ImageState& s, RankOp op) {
  CrossRankPass(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.work_r.data(), s.work_g.data(),
                s.work_b.data(), s.width, s.height, op);
}

void TwoPasses(ImageState& s, RankOp first, RankOp second) {
  CrossRankTwoPasses(s.host_r.data(), s.host_g.data(), s.host_b.data(), s.work_r.data(), s.work_g.data(),
                     s.work_b.data(), s.width, s.height, first, second);
}

}  // namespace

void FxMaximize(ImageState& s) { OnePass(s, RankOp::Maximum); }
void FxMinimize(ImageState& s) { OnePass(s, RankOp::Minimum); }
void FxMaxMin(ImageState& s) { TwoPasses(s, RankOp::Maximum, RankOp::Minimum); }
void FxMinMax(ImageState& s) { TwoPasses(s, RankOp::Minimum, RankOp::Maximum); }

}  // namespace tessfx
