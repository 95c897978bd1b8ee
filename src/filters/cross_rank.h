#pragma once
// One pass of the five-point cross rank filter: for rows 1..height-1 and columns
// 1..width-1, each of R, G and B of dst becomes the maximum (or minimum) of the src sample
// and its left, upper, right and lower neighbours. The last visited row and column take
// their lower and right neighbours from the planes' extra row and column. Row 0, column 0
// and the extra row and column of dst are not written. src and dst must not overlap.
#include <cstdint>

namespace tessfx {

enum class RankOp { Maximum, Minimum };

void CrossRankPass(const uint8_t* src_r, const uint8_t* src_g, const uint8_t* src_b, uint8_t* dst_r,
                   uint8_t* dst_g, uint8_t* dst_b, int32_t width, int32_t height, RankOp op);

}  // namespace tessfx
