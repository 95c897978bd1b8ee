#include "filters/cross_rank.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "filters/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/cross_rank.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Columns 1.. of one row in whole vectors; returns the first column not done. A maximum or
// minimum of the same five samples is the same byte in any order, so the caller's scalar
// tail agrees.
template <bool kMax>
int32_t PassLanes(const uint8_t* up, const uint8_t* mid, const uint8_t* down, uint8_t* out, int32_t width) {
  const hn::ScalableTag<uint8_t> d;
  const int32_t n = static_cast<int32_t>(hn::Lanes(d));
  auto pick = [](auto a, auto b) HWY_ATTR { return kMax ? hn::Max(a, b) : hn::Min(a, b); };
  int32_t x = 1;
  for (; x + n <= width; x += n) {
    const auto v = pick(pick(pick(hn::LoadU(d, mid + x), hn::LoadU(d, mid + x - 1)),
                             pick(hn::LoadU(d, up + x), hn::LoadU(d, mid + x + 1))),
                        hn::LoadU(d, down + x));
    hn::StoreU(v, d, out + x);
  }
  return x;
}

int32_t MaxLanes(const uint8_t* up, const uint8_t* mid, const uint8_t* down, uint8_t* out, int32_t width) {
  return PassLanes<true>(up, mid, down, out, width);
}
int32_t MinLanes(const uint8_t* up, const uint8_t* mid, const uint8_t* down, uint8_t* out, int32_t width) {
  return PassLanes<false>(up, mid, down, out, width);
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(MaxLanes);
HWY_EXPORT(MinLanes);

template <typename Pick>
void PassRow(const uint8_t* up, const uint8_t* mid, const uint8_t* down, uint8_t* out, int32_t width, Pick pick) {
  const int32_t done = Pick::kMax ? HWY_DYNAMIC_DISPATCH(MaxLanes)(up, mid, down, out, width)
                                  : HWY_DYNAMIC_DISPATCH(MinLanes)(up, mid, down, out, width);
  for (int32_t x = done; x < width; ++x)
    out[x] = pick(pick(pick(mid[x], mid[x - 1]), pick(up[x], mid[x + 1])), down[x]);
}

template <typename Pick>
void Pass(const uint8_t* const (&src)[3], uint8_t* const (&dst)[3], int32_t width, int32_t height, Pick pick) {
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(1, height, int64_t{width} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      for (int c = 0; c < 3; ++c) {
        const uint8_t* mid = src[c] + y * stride;
        PassRow(mid - stride, mid, mid + stride, dst[c] + y * stride, width, pick);
      }
    }
  });
}

// Function objects rather than functions, so that the pick is inlined into the row loops.
struct Max {
  static constexpr bool kMax = true;
  uint8_t operator()(uint8_t a, uint8_t b) const { return std::max(a, b); }
};
struct Min {
  static constexpr bool kMax = false;
  uint8_t operator()(uint8_t a, uint8_t b) const { return std::min(a, b); }
};

template <typename First, typename Second>
void TwoPasses(const uint8_t* const (&host)[3], uint8_t* const (&work)[3], int32_t width, int32_t height, First first,
               Second second) {
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(1, height, int64_t{width} * 6, [&](int32_t y0, int32_t y1) {
    // Three first-pass rows of each channel, row r in slot r % 3. Per band, not per pixel.
    std::vector<uint8_t> ring(static_cast<size_t>(9 * stride));
    auto slot = [&](int32_t r, int c) { return ring.data() + ((r % 3) * 3 + c) * stride; };
    // First-pass row r. Rows 0 and height and columns 0 and width are not visited by the
    // first pass, so they keep the working samples; the second pass never writes them.
    auto first_row = [&](int32_t r) {
      for (int c = 0; c < 3; ++c) {
        uint8_t* out = slot(r, c);
        const uint8_t* w = work[c] + r * stride;
        if (r == 0 || r == height) {
          std::memcpy(out, w, static_cast<size_t>(stride));
          continue;
        }
        out[0] = w[0];
        out[width] = w[width];
        const uint8_t* mid = host[c] + r * stride;
        PassRow(mid - stride, mid, mid + stride, out, width, first);
      }
    };
    first_row(y0 - 1);
    first_row(y0);
    for (int32_t y = y0; y < y1; ++y) {
      first_row(y + 1);
      for (int c = 0; c < 3; ++c)
        PassRow(slot(y - 1, c), slot(y, c), slot(y + 1, c), work[c] + y * stride, width, second);
    }
  });
}

}  // namespace

void CrossRankPass(RgbView dst_planes, ConstRgbView src_planes, RankOp op) {
  const int32_t width = dst_planes.r.width, height = dst_planes.r.height;
  if (width < 2 || height < 2) return;
  const uint8_t* src[3] = {src_planes.r.data, src_planes.g.data, src_planes.b.data};
  uint8_t* dst[3] = {dst_planes.r.data, dst_planes.g.data, dst_planes.b.data};
  if (op == RankOp::Maximum)
    Pass(src, dst, width, height, Max{});
  else
    Pass(src, dst, width, height, Min{});
}

void CrossRankTwoPasses(RgbView work_planes, ConstRgbView host_planes, RankOp first, RankOp second) {
  const int32_t width = work_planes.r.width, height = work_planes.r.height;
  if (width < 2 || height < 2) return;
  const uint8_t* host[3] = {host_planes.r.data, host_planes.g.data, host_planes.b.data};
  uint8_t* work[3] = {work_planes.r.data, work_planes.g.data, work_planes.b.data};
  const bool max_first = first == RankOp::Maximum, max_second = second == RankOp::Maximum;
  if (max_first && !max_second) TwoPasses(host, work, width, height, Max{}, Min{});
  if (!max_first && max_second) TwoPasses(host, work, width, height, Min{}, Max{});
  if (max_first && max_second) TwoPasses(host, work, width, height, Max{}, Max{});
  if (!max_first && !max_second) TwoPasses(host, work, width, height, Min{}, Min{});
}

}  // namespace tessfx
#endif  // HWY_ONCE
