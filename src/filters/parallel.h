#pragma once
// Row-band threading for the filter kernels: the one place where threads are used.
// Rows are handed out in bands; a kernel must make each row's result depend only on its
// inputs, never on another band's output, so results do not depend on the thread count.
// Small frames run serially: thread start-up would cost more than the work.
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstdint>

namespace tessfx {

inline constexpr int64_t kSerialSampleLimit = 1 << 16;

// Calls body(row_begin, row_end) over [first, last) in bands.
template <typename Body>
void ForEachRowBand(int32_t first, int32_t last, int64_t samples_per_row, Body&& body) {
  if (last <= first) return;
  const int64_t total = int64_t{last - first} * samples_per_row;
  if (total <= kSerialSampleLimit) {
    body(first, last);
    return;
  }
  // Bands of at least ~16K samples keep scheduling overhead low.
  const int32_t grain = static_cast<int32_t>(std::max<int64_t>(1, (1 << 14) / std::max<int64_t>(1, samples_per_row)));
  tbb::parallel_for(tbb::blocked_range<int32_t>(first, last, grain),
                    [&](const tbb::blocked_range<int32_t>& r) { body(r.begin(), r.end()); });
}

// Calls body(first_sample, count) over runs of whole rows covering every sample of a plane
// of a width x height frame, the extra row and column included.
template <typename Body>
void ForEachSampleRun(int32_t width, int32_t height, Body&& body) {
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height + 1, stride * 3,
                 [&](int32_t y0, int32_t y1) { body(int64_t{y0} * stride, int64_t{y1 - y0} * stride); });
}

}  // namespace tessfx
