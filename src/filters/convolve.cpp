#include "filters/convolve.h"

#include <cmath>
#include <optional>

#include "core/convert.h"
#include "filters/blend.h"
#include "filters/parallel.h"
#include "filters/point.h"
#include "filters/window3.h"

// This source is compiled once per instruction set (HWY_TARGET_INCLUDE).

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/convolve.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

using D16 = hn::ScalableTag<int16_t>;
using V16 = hn::Vec<D16>;

// floor(t / (2 d)) for 0 <= t < 32776 and d = 3 or 9, by a multiply-high: the products'
// error stays below the smallest distance of a quotient from the next whole number.
template <int32_t kDivisor>
HWY_INLINE V16 RoundedQuotient(D16 d, V16 sum) {
  const hn::RebindToUnsigned<D16> du;
  const auto twice = hn::BitCast(du, hn::Add(hn::Add(sum, sum), hn::Set(d, kDivisor)));
  if constexpr (kDivisor == 3)
    return hn::BitCast(d, hn::ShiftRight<2>(hn::MulHigh(twice, hn::Set(du, 43691))));
  else
    return hn::BitCast(d, hn::ShiftRight<4>(hn::MulHigh(twice, hn::Set(du, 58255))));
}

// The whole-number rows of ConvolveRowWhole over the first whole vectors of the row;
// returns how many samples it did (the caller finishes the row the scalar way, which gives
// the same bytes: the sums are exact).
template <bool kComposite, int32_t kDivisor>
int64_t WholeLanes(const uint8_t* a, const uint8_t* m, const uint8_t* b, const int16_t* k, float divisor,
                   int32_t offset, int32_t width, uint8_t* out, const uint8_t* host, const uint8_t* alpha) {
  (void)divisor;
  const D16 d;
  const hn::RebindToUnsigned<D16> du;
  const int64_t n = static_cast<int64_t>(hn::Lanes(d));
  V16 weight[9];
  for (int i = 0; i < 9; ++i) weight[i] = hn::Set(d, k[i]);
  const auto offset_v = hn::Set(d, static_cast<int16_t>(offset));
  const uint8_t* rows[3] = {a, m, b};
  int64_t x = 0;
  if constexpr (kDivisor == 0) return 0;  // other divisors: the float division, sample by sample
  for (; x + n <= width; x += n) {
    V16 acc = hn::Zero(d);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c)
        if (k[r * 3 + c] != 0) acc = hn::Add(acc, hn::Mul(weight[r * 3 + c], LoadBytesAs16(d, rows[r] + x + c)));
    V16 v;
    if constexpr (kDivisor == 1) {
      v = hn::Add(acc, offset_v);
    } else if constexpr (kDivisor == 2) {
      v = hn::Add(hn::ShiftRight<1>(hn::Add(acc, hn::And(hn::ShiftRight<1>(acc), hn::Set(d, 1)))), offset_v);
    } else {
      v = hn::Add(RoundedQuotient<kDivisor>(d, acc), offset_v);
    }
    v = hn::Min(hn::Max(v, hn::Zero(d)), hn::Set(d, 255));
    if constexpr (kComposite) {
      const auto av = LoadBytesAs16(du, alpha + x), hv = LoadBytesAs16(du, host + x);
      const auto sum = hn::Add(hn::Add(hn::Mul(hv, hn::Sub(hn::Set(du, 255), av)), hn::Mul(hn::BitCast(du, v), av)),
                               hn::Set(du, 127));
      v = hn::BitCast(d, Div255(du, sum));
    }
    Store16AsBytes(d, v, out + x);
  }
  return x;
}

int64_t WholeRowLanes(const uint8_t* a, const uint8_t* m, const uint8_t* b, const int16_t* k, int32_t whole_divisor,
                      float divisor, int32_t offset, int32_t width, uint8_t* out, const uint8_t* host,
                      const uint8_t* alpha) {
  auto run = [&]<bool kComposite>() HWY_ATTR {
    switch (whole_divisor) {
      case 1:
        return WholeLanes<kComposite, 1>(a, m, b, k, divisor, offset, width, out, host, alpha);
      case 2:
        return WholeLanes<kComposite, 2>(a, m, b, k, divisor, offset, width, out, host, alpha);
      case 3:
        return WholeLanes<kComposite, 3>(a, m, b, k, divisor, offset, width, out, host, alpha);
      case 9:
        return WholeLanes<kComposite, 9>(a, m, b, k, divisor, offset, width, out, host, alpha);
      default:
        return WholeLanes<kComposite, 0>(a, m, b, k, divisor, offset, width, out, host, alpha);
    }
  };
  return host ? run.template operator()<true>() : run.template operator()<false>();
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(WholeRowLanes);

// One output row of one channel from the three padded source rows.
template <bool kComposite>
void ConvolveRow(const uint8_t* a, const uint8_t* m, const uint8_t* b, const Kernel3x3& k, float divisor, float offset,
                 int32_t width, uint8_t* out, const uint8_t* host, const uint8_t* alpha) {
  for (int32_t x = 0; x < width; ++x) {
    const float acc = k[0] * a[x] + k[1] * a[x + 1] + k[2] * a[x + 2] + k[3] * m[x] + k[4] * m[x + 1] +
                      k[5] * m[x + 2] + k[6] * b[x] + k[7] * b[x + 1] + k[8] * b[x + 2];
    const uint8_t v = RoundToByteF(acc / divisor + offset);
    if constexpr (kComposite)
      out[x] = AlphaMix(v, host[x], alpha[x]);
    else
      out[x] = v;
  }
}

// The same row for whole-number weights whose sums stay within 16 bits: the weighted sum is
// then an exact integer, accumulated eight samples at a time. As a float it equals the
// single-precision sum above (every partial sum is a whole number far below 2^24), so the
// result is the same to the bit. kDivisor 0 divides in single precision as above; 1 and 2
// (any sums) and 3 and 9 (sums never negative) divide exactly in integers instead: a
// whole sum over 1 or 2 rounds as the float does, and over an odd divisor it is never a
// tie, so rounding is floor((2 sum + d) / 2d), and the offset is a whole number.
template <bool kComposite, int32_t kDivisor>
void ConvolveRowWhole(const uint8_t* a, const uint8_t* m, const uint8_t* b, const std::array<int16_t, 9>& k,
                      float divisor, int32_t offset, int32_t width, uint8_t* out, const uint8_t* host,
                      const uint8_t* alpha) {
  const int16_t k0 = k[0], k1 = k[1], k2 = k[2], k3 = k[3], k4 = k[4], k5 = k[5], k6 = k[6], k7 = k[7], k8 = k[8];
  const float offset_f = static_cast<float>(offset);
  for (int32_t x = 0; x < width; ++x) {
    const int16_t acc = k0 * a[x] + k1 * a[x + 1] + k2 * a[x + 2] + k3 * m[x] + k4 * m[x + 1] + k5 * m[x + 2] +
                        k6 * b[x] + k7 * b[x + 1] + k8 * b[x + 2];
    uint8_t v;
    if constexpr (kDivisor == 0) {
      const float sum = acc;
      v = RoundToByteF(sum / divisor + offset_f);
    } else if constexpr (kDivisor == 1) {
      v = ClampByte(acc + offset);
    } else if constexpr (kDivisor == 2) {
      const int16_t half = (acc + ((acc >> 1) & 1)) >> 1;  // halves to even
      v = ClampByte(half + offset);
    } else {
      const uint16_t twice = 2 * acc + kDivisor;  // acc >= 0 here
      const uint16_t q = twice / (2 * kDivisor);
      v = ClampByte(q + offset);
    }
    if constexpr (kComposite)
      out[x] = AlphaMix(v, host[x], alpha[x]);
    else
      out[x] = v;
  }
}

// The kernel as whole numbers when every weight is one and no sum can leave 16 bits, with
// the integer divisor to use (0: divide in single precision).
struct WholeKernel {
  std::array<int16_t, 9> weights{};
  int32_t divisor = 0;
};

std::optional<WholeKernel> AsWholeKernel(const Kernel3x3& k, float divisor) {
  WholeKernel whole;
  float reach = 0;
  bool never_negative = true;
  for (int i = 0; i < 9; ++i) {
    if (!(std::fabs(k[i]) <= 1000.0f) || k[i] != std::nearbyint(k[i])) return std::nullopt;
    whole.weights[static_cast<size_t>(i)] = RoundHalfEven16(k[i]);
    reach += std::fabs(k[i]) * 255.0f;
    never_negative = never_negative && k[i] >= 0;
  }
  if (reach > 16383.0f) return std::nullopt;
  if (divisor == 1.0f || divisor == 2.0f || (never_negative && (divisor == 3.0f || divisor == 9.0f)))
    whole.divisor = RoundHalfEven(divisor);
  return whole;
}

void LumaRow(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = Luma(r[x], g[x], b[x]);
}

}  // namespace

int32_t ConvolveAlpha(RgbView work_planes, ConstRgbView host_planes, ConstPlaneView alpha, uint8_t flag,
                      const Kernel3x3& kernel, float divisor, int32_t mode) {
  const int32_t width = work_planes.r.width, height = work_planes.r.height;
  uint8_t *work_r = work_planes.r.data, *work_g = work_planes.g.data, *work_b = work_planes.b.data;
  const uint8_t* host_a = alpha.data;
  if (divisor == 0.0f) return -1;
  if (width <= 0 || height <= 0) return 0;
  const int64_t stride = int64_t{width} + 1;
  const float offset = (mode & kConvolveOffset) ? 128.0f : 0.0f;
  const bool composite = flag == 0;
  uint8_t* work[3] = {work_r, work_g, work_b};
  const uint8_t* host[3] = {host_planes.r.data, host_planes.g.data, host_planes.b.data};

  const std::optional<WholeKernel> whole = AsWholeKernel(kernel, divisor);
  const int32_t offset_whole = (mode & kConvolveOffset) ? 128 : 0;
  // One instantiation per integer divisor and composite choice.
  const auto lanes = HWY_DYNAMIC_DISPATCH(WholeRowLanes);
  auto whole_row = [&]<bool kComposite>(const uint8_t* const(&rows)[3], uint8_t* out, const uint8_t* h,
                                        const uint8_t* al) {
    // Whole vectors first, then the rest of the row sample by sample.
    const int64_t done = lanes(rows[0], rows[1], rows[2], whole->weights.data(), whole->divisor, divisor, offset_whole,
                               width, out, h, al);
    const int32_t rest = width - static_cast<int32_t>(done);
    auto run = [&]<int32_t kDivisor>() {
      ConvolveRowWhole<kComposite, kDivisor>(rows[0] + done, rows[1] + done, rows[2] + done, whole->weights, divisor,
                                             offset_whole, rest, out + done, h ? h + done : nullptr,
                                             al ? al + done : nullptr);
    };
    switch (whole->divisor) {
      case 1:
        run.template operator()<1>();
        break;
      case 2:
        run.template operator()<2>();
        break;
      case 3:
        run.template operator()<3>();
        break;
      case 9:
        run.template operator()<9>();
        break;
      default:
        run.template operator()<0>();
        break;
    }
  };
  auto emit = [&](int c, int32_t y, const uint8_t* const(&rows)[3]) {
    const int64_t o = y * stride;
    if (whole && composite)
      whole_row.template operator()<true>(rows, work[c] + o, host[c] + o, host_a + o);
    else if (whole)
      whole_row.template operator()<false>(rows, work[c] + o, nullptr, nullptr);
    else if (composite)
      ConvolveRow<true>(rows[0], rows[1], rows[2], kernel, divisor, offset, width, work[c] + o, host[c] + o,
                        host_a + o);
    else
      ConvolveRow<false>(rows[0], rows[1], rows[2], kernel, divisor, offset, width, work[c] + o, nullptr, nullptr);
  };

  if (mode & kConvolveGrey) {
    // The window holds the pixels' grey; one convolution goes to all three channels.
    const auto load_grey = [&](int32_t y, uint8_t* out) {
      const int64_t o = y * stride;
      LumaRow(work_r + o, work_g + o, work_b + o, out + 1, width);
      out[0] = out[1];
      out[width + 1] = out[width];
    };
    ForEachRowWindow3<1>(width, height, load_grey, [&](int32_t y, const uint8_t* const(&rows)[1][3]) {
      for (int c = 0; c < 3; ++c) emit(c, y, rows[0]);
    });
    return 0;
  }
  const uint8_t* src[3] = {work_r, work_g, work_b};
  ForEachRowWindow3<3>(width, height, PaddedRows<3>{src, width}, [&](int32_t y, const uint8_t* const(&rows)[3][3]) {
    for (int c = 0; c < 3; ++c) emit(c, y, rows[c]);
  });
  return 0;
}

}  // namespace tessfx
#endif  // HWY_ONCE
