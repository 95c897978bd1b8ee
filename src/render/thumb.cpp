#include "render/thumb.h"

#include <algorithm>
#include <array>
#include <cmath>
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
// Both stay far below 2^53, so the quotient in double is the exact one correctly rounded: an
// exact half stays a half, and anything else lies at least 1/d from one, far beyond the
// division's error. Much faster than integer division, which the reduction does per sample.
inline uint8_t DivideRounded(uint64_t acc, uint64_t d) {
  const double q = std::nearbyint(static_cast<double>(acc) / static_cast<double>(d));
  return static_cast<uint8_t>(std::min(q, 255.0));
}

// Area-averages the width x height pictures of `planes` down to tw x th. For each output row
// `emit(oy, sums)` receives the weighted sums, plane after plane within each pixel; a sum over
// width x height is the average. Output rows are independent; each band keeps its own sums.
template <size_t N, typename Emit>
void ReduceRows(const std::array<const Plane*, N>& planes, int32_t width, int32_t height, int32_t tw, int32_t th,
                Emit emit) {
  if (width % tw == 0 && height % th == 0) {
    // Whole blocks of kx x ky pixels (1920 x 1080 to 960 x 540 or 640 x 360): the block's
    // rows are added column by column first (a loop the compiler vectorises), then each run
    // of kx columns; the sums, scaled to the units of the general case, give the same
    // averages several times faster.
    const int32_t kx = width / tw, ky = height / th;
    const uint64_t scale = uint64_t(tw) * uint64_t(th);
    ForEachRowBand(0, th, int64_t{width} * ky * int64_t{N}, [&](int32_t y0, int32_t y1) {
      // Local copies of the bounds: the sums are unsigned 32-bit, which may alias a captured
      // int32_t, and a bound reloaded after every store keeps the loop scalar.
      const int32_t w = width, k = kx, out_w = tw;
      std::vector<uint32_t> columns(static_cast<size_t>(w));
      std::vector<uint64_t> acc(static_cast<size_t>(tw) * N);
      for (int32_t oy = y0; oy < y1; ++oy) {
        for (size_t c = 0; c < N; ++c) {
          std::fill(columns.begin(), columns.end(), 0);
          uint32_t* __restrict sums = columns.data();
          for (int32_t y = oy * ky; y < (oy + 1) * ky; ++y) {
            const uint8_t* __restrict row = (*planes[c])[y];
            for (int32_t x = 0; x < w; ++x) sums[x] += row[x];
          }
          for (int32_t ox = 0; ox < out_w; ++ox) {
            uint64_t block = 0;
            for (int32_t i = 0; i < k; ++i) block += sums[ox * k + i];
            acc[static_cast<size_t>(ox) * N + c] = block * scale;
          }
        }
        emit(oy, acc.data());
      }
    });
    return;
  }
  const std::vector<Span> xs = Coverage(width, tw), ys = Coverage(height, th);
  ForEachRowBand(0, th, int64_t{width} * (height / th + 1) * int64_t{N}, [&](int32_t y0, int32_t y1) {
    std::vector<uint64_t> acc(static_cast<size_t>(tw) * N);
    for (int32_t oy = y0; oy < y1; ++oy) {
      std::fill(acc.begin(), acc.end(), 0);
      const Span& sy = ys[static_cast<size_t>(oy)];
      for (int32_t y = sy.first; y <= sy.last; ++y) {
        const int64_t wy = y == sy.first ? sy.w_first : (y == sy.last ? sy.w_last : th);
        if (wy == 0) continue;
        for (size_t c = 0; c < N; ++c) {
          const uint8_t* row = (*planes[c])[y];
          for (int32_t ox = 0; ox < tw; ++ox)
            acc[static_cast<size_t>(ox) * N + c] += static_cast<uint64_t>(RowSum(row, xs[static_cast<size_t>(ox)], tw) * wy);
        }
      }
      emit(oy, acc.data());
    }
  });
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
  const uint64_t divisor = uint64_t(width) * uint64_t(height);
  const size_t samples = static_cast<size_t>(tw) * 3;
  ReduceRows(planes, width, height, tw, th, [&](int32_t oy, const uint64_t* sums) {
    uint8_t* dest = out.rgb.data() + static_cast<size_t>(oy) * samples;
    for (size_t i = 0; i < samples; ++i) dest[i] = DivideRounded(sums[i], divisor);
  });
}

void ReducePlane(const Plane& src, int32_t width, int32_t height, int32_t out_width, int32_t out_height, Plane& out) {
  const int32_t tw = std::clamp(out_width, int32_t{1}, std::max(width, int32_t{1}));
  const int32_t th = std::clamp(out_height, int32_t{1}, std::max(height, int32_t{1}));
  out.EnsureSize(tw, th);
  if (width <= 0 || height <= 0 || src.width() < width || src.height() < height) {
    out.Fill(0);
    return;
  }
  const uint64_t divisor = uint64_t(width) * uint64_t(height);
  ReduceRows(std::array<const Plane*, 1>{&src}, width, height, tw, th, [&](int32_t oy, const uint64_t* sums) {
    uint8_t* dest = out[oy];
    for (int32_t ox = 0; ox < tw; ++ox) dest[ox] = DivideRounded(sums[ox], divisor);
    dest[tw] = dest[tw - 1];
  });
  std::copy(out[th - 1], out[th - 1] + tw + 1, out[th]);
}

}  // namespace tessfx
