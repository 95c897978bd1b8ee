#pragma once
// One pass of the five-point cross rank filter: for rows 1..height-1 and columns
// 1..width-1, each of R, G and B of dst becomes the maximum (or minimum) of the src sample
// and its left, upper, right and lower neighbours. The last visited row and column take
// their lower and right neighbours from the planes' extra row and column. Row 0, column 0
// and the extra row and column of dst are not written. src and dst must not overlap.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

enum class RankOp { Maximum, Minimum };

void CrossRankPass(RgbView dst, ConstRgbView src, RankOp op);

// Two passes: the first from the host planes into the working planes, the second from a
// copy of that result into the working planes again, so the second never reads its own
// output. The result equals running the passes one after the other over whole temporary
// planes; it is computed band by band, each band rebuilding the three first-pass rows it
// needs in a small buffer, which saves the memory traffic (and, for large frames, the page
// faults) of three full temporary planes.
void CrossRankTwoPasses(RgbView work, ConstRgbView host, RankOp first, RankOp second);

}  // namespace tessfx
