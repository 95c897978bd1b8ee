#include "filters/dither.h"

#include <algorithm>

#include "core/convert.h"
#include "core/error.h"
#include "filters/counter_random.h"
#include "filters/parallel.h"
#include "filters/point.h"

namespace tessfx {
namespace {

constexpr BayerMatrix MakeBayer8() {
  BayerMatrix m{};
  int32_t n = 1;  // m holds the n x n matrix in its corner
  while (n < 8) {
    for (int32_t y = 0; y < n; ++y)
      for (int32_t x = 0; x < n; ++x) {
        const uint8_t v = static_cast<uint8_t>(4 * m[static_cast<size_t>(y)][static_cast<size_t>(x)]);
        m[static_cast<size_t>(y)][static_cast<size_t>(x)] = v;
        m[static_cast<size_t>(y)][static_cast<size_t>(x + n)] = static_cast<uint8_t>(v + 2);
        m[static_cast<size_t>(y + n)][static_cast<size_t>(x)] = static_cast<uint8_t>(v + 3);
        m[static_cast<size_t>(y + n)][static_cast<size_t>(x + n)] = static_cast<uint8_t>(v + 1);
      }
    n *= 2;
  }
  return m;
}

DitherTable MakeTable(int32_t levels) {
  DitherTable q{};
  const int32_t top = levels - 1;
  for (int32_t t = 0; t < kDitherThresholds; ++t)
    for (int32_t v = 0; v < 256; ++v) {
      // floor(v top / 255 + (t + 0.5) / 64) in whole numbers: both terms over 255 * 128.
      const int32_t level = std::min(top, (128 * v * top + (2 * t + 1) * 255) / (255 * 128));
      q[static_cast<size_t>(t)][static_cast<size_t>(v)] = RoundToByte(level * 255.0 / top);
    }
  return q;
}

// The threshold of column x: from the Bayer row (x & 7) or from the row's hash.
struct OrderedThresholds {
  const uint8_t* bayer_row;
  uint8_t At(int32_t x) const { return bayer_row[x & 7]; }
};
struct RandomThresholds {
  uint32_t key;
  uint8_t At(int32_t x) const { return static_cast<uint8_t>(SampleBits(key, x) >> 26); }
};

template <typename Thresholds>
void DitherRow332(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                  int32_t width, Thresholds th) {
  const DitherTable& q8 = DitherTableOf(8);
  const DitherTable& q4 = DitherTableOf(4);
  for (int32_t x = 0; x < width; ++x) {
    const size_t t = th.At(x);
    wr[x] = q8[t][r[x]];
    wg[x] = q8[t][g[x]];
    wb[x] = q4[t][b[x]];
  }
}

template <typename Thresholds>
void DitherRowMono(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                   int32_t width, Thresholds th) {
  const DitherTable& q2 = DitherTableOf(2);
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t v = q2[th.At(x)][Luma(r[x], g[x], b[x])];
    wr[x] = v;
    wg[x] = v;
    wb[x] = v;
  }
}

template <typename Thresholds>
void DitherRow(DitherPalette palette, ConstRgbView host, RgbView work, int32_t y, Thresholds th) {
  const auto row = palette == DitherPalette::Rgb332 ? DitherRow332<Thresholds> : DitherRowMono<Thresholds>;
  row(host.r.row(y), host.g.row(y), host.b.row(y), work.r.row(y), work.g.row(y), work.b.row(y), work.r.width, th);
}

}  // namespace

const BayerMatrix& Bayer8() {
  static constexpr BayerMatrix kBayer = MakeBayer8();
  return kBayer;
}

const DitherTable& DitherTableOf(int32_t levels) {
  static const DitherTable q2 = MakeTable(2), q4 = MakeTable(4), q8 = MakeTable(8);
  switch (levels) {
    case 2: return q2;
    case 4: return q4;
    case 8: return q8;
    default: Fail(ErrorKind::Usage, "dither tables exist for 2, 4 and 8 levels, not " + std::to_string(levels));
  }
}

void Dither(RgbView work, ConstRgbView host, DitherPalette palette, DitherPattern pattern, int32_t frame) {
  const int32_t width = work.r.width;
  const RandomStream stream =
      palette == DitherPalette::Rgb332 ? RandomStream::Dither8Random : RandomStream::Dither1Random;
  ForEachFrameRow(width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      if (pattern == DitherPattern::Ordered)
        DitherRow(palette, host, work, y, OrderedThresholds{Bayer8()[static_cast<size_t>(y & 7)].data()});
      else
        DitherRow(palette, host, work, y, RandomThresholds{RowKey(stream, frame, y)});
    }
  });
}

}  // namespace tessfx
