#include "filters/median.h"

#include <algorithm>

#include "filters/window3.h"

namespace tessfx {
namespace {

inline void Order(uint8_t& a, uint8_t& b) {
  const uint8_t lo = std::min(a, b), hi = std::max(a, b);
  a = lo;
  b = hi;
}

// The median of nine by a fixed exchange network (19 exchanges, no data-dependent
// branches), so the row loop vectorises.
inline uint8_t Median9(uint8_t p0, uint8_t p1, uint8_t p2, uint8_t p3, uint8_t p4, uint8_t p5, uint8_t p6, uint8_t p7,
                       uint8_t p8) {
  // clang-format off
  Order(p1, p2); Order(p4, p5); Order(p7, p8);
  Order(p0, p1); Order(p3, p4); Order(p6, p7);
  Order(p1, p2); Order(p4, p5); Order(p7, p8);
  Order(p0, p3); Order(p5, p8); Order(p4, p7);
  Order(p3, p6); Order(p1, p4); Order(p2, p5);
  Order(p4, p7); Order(p4, p2); Order(p6, p4);
  Order(p4, p2);
  // clang-format on
  return p4;
}

void MedianRow(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x)
    out[x] = Median9(a[x], a[x + 1], a[x + 2], m[x], m[x + 1], m[x + 2], b[x], b[x + 1], b[x + 2]);
}

}  // namespace

void FastMedian(RgbView planes) {
  const int32_t width = planes.r.width, height = planes.r.height;
  uint8_t* work[3] = {planes.r.data, planes.g.data, planes.b.data};
  const uint8_t* src[3] = {planes.r.data, planes.g.data, planes.b.data};
  const int64_t stride = planes.r.stride;
  ForEachRowWindow3<3>(width, height, PaddedRows<3>{src, width}, [&](int32_t y, const uint8_t* const(&rows)[3][3]) {
    for (int c = 0; c < 3; ++c) MedianRow(rows[c][0], rows[c][1], rows[c][2], work[c] + y * stride, width);
  });
}

}  // namespace tessfx
