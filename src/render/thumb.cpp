#include "render/thumb.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// How the source pixels 0..n-1 cover the outputs 0..m-1 (m <= n). In units where a source
// pixel is m long and an output is n long, output o spans [o*n, (o+1)*n): it takes the
// first pixel with weight `w_first`, whole pixels in between with weight m, and the last
// with `w_last` (the weights of one output add up to n).
struct Span {
  int32_t first = 0;
  int32_t last = 0;
  int64_t w_first = 0;
  int64_t w_last = 0;
};

std::vector<Span> Coverage(int32_t n, int32_t m) {
  std::vector<Span> spans(static_cast<size_t>(m));
  for (int32_t o = 0; o < m; ++o) {
    const int64_t lo = int64_t{o} * n, hi = int64_t{o + 1} * n;
    Span& s = spans[static_cast<size_t>(o)];
    s.first = static_cast<int32_t>(lo / m);
    s.last = static_cast<int32_t>((hi - 1) / m);
    if (s.first == s.last) {
      s.w_first = hi - lo;
      s.w_last = 0;
    } else {
      s.w_first = int64_t{s.first + 1} * m - lo;
      s.w_last = hi - int64_t{s.last} * m;
    }
  }
  return spans;
}

// Sum of weight x sample over one output column's source pixels in one row.
inline int64_t RowSum(const uint8_t* row, const Span& s, int64_t m) {
  if (s.first == s.last) return s.w_first * row[s.first];
  uint32_t inner = 0;
  for (int32_t x = s.first + 1; x < s.last; ++x) inner += row[x];
  return s.w_first * row[s.first] + m * int64_t{inner} + s.w_last * row[s.last];
}

// acc / d rounded to nearest, halves to even.
inline uint8_t DivideRounded(uint64_t acc, uint64_t d) {
  uint64_t q = acc / d;
  const uint64_t r = acc % d;
  if (2 * r > d || (2 * r == d && (q & 1))) ++q;
  return static_cast<uint8_t>(std::min<uint64_t>(q, 255));
}

}  // namespace

PictureBox ThumbSize(int32_t width, int32_t height, int32_t box_width, int32_t box_height) {
  if (width <= 0 || height <= 0 || box_width <= 0 || box_height <= 0) return {};
  const double scale = std::min({1.0, static_cast<double>(box_width) / width, static_cast<double>(box_height) / height});
  PictureBox size;
  size.width = std::clamp(RoundHalfEven(width * scale), int32_t{1}, std::min(width, box_width));
  size.height = std::clamp(RoundHalfEven(height * scale), int32_t{1}, std::min(height, box_height));
  return size;
}

void SuperThumb(const Plane& r, const Plane& g, const Plane& b, int32_t width, int32_t height, int32_t box_width,
                int32_t box_height, ThumbImage& out) {
  const std::array<const Plane*, 3> planes{&r, &g, &b};
  bool fits = true;
  for (const Plane* p : planes) fits = fits && p->width() >= width && p->height() >= height && !p->empty();
  // Planes smaller than the frame (not fetched yet) give an empty picture.
  const PictureBox size = fits ? ThumbSize(width, height, box_width, box_height) : PictureBox{};
  out.width = size.width;
  out.height = size.height;
  out.rgb.resize(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3);
  if (size.width == 0) return;

  const int32_t tw = size.width, th = size.height;
  const std::vector<Span> xs = Coverage(width, tw), ys = Coverage(height, th);
  const uint64_t divisor = uint64_t(width) * uint64_t(height);
  // Output rows are independent; each band keeps its own accumulators.
  ForEachRowBand(0, th, int64_t{width} * (height / th + 1) * 3, [&](int32_t y0, int32_t y1) {
    std::vector<uint64_t> acc(static_cast<size_t>(tw) * 3);
    for (int32_t oy = y0; oy < y1; ++oy) {
      std::fill(acc.begin(), acc.end(), 0);
      const Span& sy = ys[static_cast<size_t>(oy)];
      for (int32_t y = sy.first; y <= sy.last; ++y) {
        const int64_t wy = y == sy.first ? sy.w_first : (y == sy.last ? sy.w_last : th);
        if (wy == 0) continue;
        for (size_t c = 0; c < 3; ++c) {
          const uint8_t* row = (*planes[c])[y];
          for (int32_t ox = 0; ox < tw; ++ox)
            acc[static_cast<size_t>(ox) * 3 + c] += static_cast<uint64_t>(RowSum(row, xs[static_cast<size_t>(ox)], tw) * wy);
        }
      }
      uint8_t* dest = out.rgb.data() + static_cast<size_t>(oy) * static_cast<size_t>(tw) * 3;
      for (size_t i = 0; i < acc.size(); ++i) dest[i] = DivideRounded(acc[i], divisor);
    }
  });
}

}  // namespace tessfx

namespace tessfx {

void ReducePlane(const Plane& src, int32_t width, int32_t height, int32_t out_width, int32_t out_height, Plane& out) {
  const int32_t tw = std::clamp(out_width, int32_t{1}, std::max(width, int32_t{1}));
  const int32_t th = std::clamp(out_height, int32_t{1}, std::max(height, int32_t{1}));
  out.EnsureSize(tw, th);
  if (width <= 0 || height <= 0 || src.width() < width || src.height() < height) {
    out.Fill(0);
    return;
  }
  const std::vector<Span> xs = Coverage(width, tw), ys = Coverage(height, th);
  const uint64_t divisor = uint64_t(width) * uint64_t(height);
  ForEachRowBand(0, th, int64_t{width} * (height / th + 1), [&](int32_t y0, int32_t y1) {
    std::vector<uint64_t> acc(static_cast<size_t>(tw));
    for (int32_t oy = y0; oy < y1; ++oy) {
      std::fill(acc.begin(), acc.end(), 0);
      const Span& sy = ys[static_cast<size_t>(oy)];
      for (int32_t y = sy.first; y <= sy.last; ++y) {
        const int64_t wy = y == sy.first ? sy.w_first : (y == sy.last ? sy.w_last : th);
        if (wy == 0) continue;
        const uint8_t* row = src[y];
        for (int32_t ox = 0; ox < tw; ++ox)
          acc[static_cast<size_t>(ox)] += static_cast<uint64_t>(RowSum(row, xs[static_cast<size_t>(ox)], tw) * wy);
      }
      uint8_t* dest = out[oy];
      for (int32_t ox = 0; ox < tw; ++ox) dest[ox] = DivideRounded(acc[static_cast<size_t>(ox)], divisor);
      dest[tw] = dest[tw - 1];
    }
  });
  std::copy(out[th - 1], out[th - 1] + tw + 1, out[th]);
}

}  // namespace tessfx
