#include "filters/median.h"

#include <algorithm>
#include <vector>

#include "filters/window3.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/median.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

// The median of nine is the median of: the largest of the three column minima, the median
// of the three column medians, and the smallest of the three column maxima. Each column is
// sorted once and serves the three pixels whose window holds it. Every step is a selection,
// so any order of the same comparisons gives the same byte: the scalar tail agrees.
template <class V>
HWY_INLINE V Median3(V a, V b, V c) {
  return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c));
}

// One output row from three padded rows (index x + 1 holds column x); `sorted` holds room
// for three rows of width + 2 samples.
void MedianRowLanes(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out, int32_t width,
                    uint8_t* sorted) {
  const hn::ScalableTag<uint8_t> d;
  const int64_t n = static_cast<int64_t>(hn::Lanes(d));
  const int64_t padded = int64_t{width} + 2;
  uint8_t* lo = sorted;
  uint8_t* mid = sorted + padded;
  uint8_t* hi = sorted + 2 * padded;
  int64_t x = 0;
  for (; x + n <= padded; x += n) {
    const auto va = hn::LoadU(d, a + x), vm = hn::LoadU(d, m + x), vb = hn::LoadU(d, b + x);
    const auto l1 = hn::Min(va, vm), h1 = hn::Max(va, vm);
    const auto h2 = hn::Max(h1, vb), m2 = hn::Min(h1, vb);
    hn::StoreU(hn::Min(l1, m2), d, lo + x);
    hn::StoreU(hn::Max(l1, m2), d, mid + x);
    hn::StoreU(h2, d, hi + x);
  }
  for (; x < padded; ++x) {
    const uint8_t l1 = std::min(a[x], m[x]), h1 = std::max(a[x], m[x]);
    const uint8_t m2 = std::min(h1, b[x]);
    lo[x] = std::min(l1, m2);
    mid[x] = std::max(l1, m2);
    hi[x] = std::max(h1, b[x]);
  }
  x = 0;
  for (; x + n <= width; x += n) {
    const auto lo_max = hn::Max(hn::Max(hn::LoadU(d, lo + x), hn::LoadU(d, lo + x + 1)), hn::LoadU(d, lo + x + 2));
    const auto hi_min = hn::Min(hn::Min(hn::LoadU(d, hi + x), hn::LoadU(d, hi + x + 1)), hn::LoadU(d, hi + x + 2));
    const auto mid_med = Median3(hn::LoadU(d, mid + x), hn::LoadU(d, mid + x + 1), hn::LoadU(d, mid + x + 2));
    hn::StoreU(Median3(lo_max, mid_med, hi_min), d, out + x);
  }
  for (; x < width; ++x) {
    const uint8_t lo_max = std::max({lo[x], lo[x + 1], lo[x + 2]});
    const uint8_t hi_min = std::min({hi[x], hi[x + 1], hi[x + 2]});
    const uint8_t mid_med = std::max(std::min(mid[x], mid[x + 1]), std::min(std::max(mid[x], mid[x + 1]), mid[x + 2]));
    out[x] = std::max(std::min(lo_max, mid_med), std::min(std::max(lo_max, mid_med), hi_min));
  }
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {
HWY_EXPORT(MedianRowLanes);
}  // namespace

void FastMedian(RgbView planes) {
  const int32_t width = planes.r.width, height = planes.r.height;
  uint8_t* work[3] = {planes.r.data, planes.g.data, planes.b.data};
  const uint8_t* src[3] = {planes.r.data, planes.g.data, planes.b.data};
  const int64_t stride = planes.r.stride;
  const auto row = HWY_DYNAMIC_DISPATCH(MedianRowLanes);
  ForEachRowWindow3<3>(width, height, PaddedRows<3>{src, width}, [&](int32_t y, const uint8_t* const(&rows)[3][3]) {
    // Sorted columns: per call, small, reused across the band's rows by the thread.
    thread_local std::vector<uint8_t> sorted;
    sorted.resize(3 * (static_cast<size_t>(width) + 2));
    for (int c = 0; c < 3; ++c) row(rows[c][0], rows[c][1], rows[c][2], work[c] + y * stride, width, sorted.data());
  });
}

}  // namespace tessfx
#endif  // HWY_ONCE
