#pragma once
// The one way kernels walk a frame: rows are handed out in bands, serially for small work
// and on worker threads otherwise. A kernel must make each row's result depend only on
// its inputs, never on another band's output, so results do not depend on the thread count.
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

inline constexpr int64_t kSerialSampleLimit = 1 << 16;

// Calls body(row_begin, row_end) over rows [first, last) in bands; `samples_per_row` is the
// work of one row, which sizes the bands. Nothing happens for an empty range.
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

// The frame's rows 0..height-1 of a width x height frame, `planes` planes wide; nothing
// for a frame without pixels.
template <typename Body>
void ForEachFrameRow(int32_t width, int32_t height, int planes, Body&& body) {
  if (width <= 0 || height <= 0) return;
  ForEachRowBand(0, height, int64_t{width} * planes, body);
}

// Every row of the planes, the extra row included (rows 0..height).
template <typename Body>
void ForEachPlaneRow(int32_t width, int32_t height, int planes, Body&& body) {
  if (width < 0 || height < 0) return;
  ForEachRowBand(0, height + 1, (int64_t{width} + 1) * planes, body);
}

// Calls body(first_sample, count) over runs of whole rows covering every sample of a
// plane, the extra row and column included; the plane's rows must lie one after the other.
template <typename Body>
void ForEachSampleRun(const ConstPlaneView& plane, int planes, Body&& body) {
  const int64_t stride = plane.stride;
  ForEachPlaneRow(plane.width, plane.height, planes,
                  [&](int32_t y0, int32_t y1) { body(int64_t{y0} * stride, int64_t{y1 - y0} * stride); });
}

}  // namespace tessfx
