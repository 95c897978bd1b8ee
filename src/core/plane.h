#pragma once
// An image plane: 8-bit samples of a frame of width x height pixels, stored with one
// extra row and one extra column, (width + 1) x (height + 1) bytes, row after row with
// the column index running fastest, indexed [row][column].
//
// Planes move without copying (a fetched plane is adopted); copies are explicit through
// Clone() or CopyFrom(), so an accidental per-frame copy cannot hide in an assignment.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "core/error.h"

namespace tessfx {

// Frame sizes the program accepts: each side 0..kMaxSide, one plane at most kMaxPlaneBytes.
inline constexpr int32_t kMaxSide = 32767;
inline constexpr int64_t kMaxPlaneBytes = int64_t{1} << 29;  // 512 MiB, a 16K x 16K frame fits

// Bytes of one plane of a width x height frame; throws when the size is not allowed.
// Checked before anything is allocated, without overflow.
inline size_t PlaneBytes(int64_t width, int64_t height) {
  if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide)
    Fail(ErrorKind::BadData, "frame size " + std::to_string(width) + "x" + std::to_string(height) + " is outside 0.." +
                                 std::to_string(kMaxSide) + " per side");
  const int64_t bytes = (width + 1) * (height + 1);
  if (bytes > kMaxPlaneBytes)
    Fail(ErrorKind::BadData,
         "frame size " + std::to_string(width) + "x" + std::to_string(height) + " is too large to hold in memory");
  return static_cast<size_t>(bytes);
}

// A view of a plane's samples: the first sample, the frame size and the distance between
// rows. Kernels take views, so they work on any plane storage without owning it; rows
// 0..height and columns 0..width (the extra row and column included) are addressable.
template <typename T>
struct PlaneViewOf {
  T* data = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int64_t stride = 0;

  T* row(int64_t y) const { return data + y * stride; }
  T& at(int64_t y, int64_t x) const { return data[y * stride + x]; }
  bool empty() const { return data == nullptr; }
  // The samples of rows 0..height lie one after the other (no gap between rows).
  bool contiguous() const { return stride == int64_t{width} + 1; }
  int64_t samples() const { return (int64_t{height} + 1) * stride; }
  bool SameSize(const PlaneViewOf<const uint8_t>& o) const { return width == o.width && height == o.height; }
  operator PlaneViewOf<const uint8_t>() const { return {data, width, height, stride}; }
};
using PlaneView = PlaneViewOf<uint8_t>;
using ConstPlaneView = PlaneViewOf<const uint8_t>;

// The three colour planes of a frame, and the four with alpha.
template <typename V>
struct RgbOf {
  V r, g, b;
  operator RgbOf<ConstPlaneView>() const { return {r, g, b}; }
  template <typename F>
  void ForEach(F&& f) const {
    f(r);
    f(g);
    f(b);
  }
};
using RgbView = RgbOf<PlaneView>;
using ConstRgbView = RgbOf<ConstPlaneView>;

template <typename V>
struct RgbaOf {
  V r, g, b, a;
  RgbOf<V> rgb() const { return {r, g, b}; }
  operator RgbaOf<ConstPlaneView>() const { return {r, g, b, a}; }
};
using RgbaView = RgbaOf<PlaneView>;
using ConstRgbaView = RgbaOf<ConstPlaneView>;

class Plane {
 public:
  Plane() = default;
  // A zero-filled (or `fill`-filled) plane for a width x height frame.
  Plane(int32_t width, int32_t height, uint8_t fill = 0)
      : width_(width), height_(height), bytes_(PlaneBytes(width, height)), data_(std::make_unique<uint8_t[]>(bytes_)) {
    if (bytes_ > static_cast<size_t>(kMaxPlaneBytes)) __builtin_unreachable();  // PlaneBytes checked it
    if (fill != 0) std::memset(data_.get(), fill, bytes_);
  }
  // Uninitialised storage, for planes that are overwritten whole at once.
  static Plane Uninitialized(int32_t width, int32_t height) {
    Plane p;
    p.width_ = width;
    p.height_ = height;
    p.bytes_ = PlaneBytes(width, height);
    p.data_ = std::make_unique_for_overwrite<uint8_t[]>(p.bytes_);
    return p;
  }

  Plane(Plane&&) noexcept = default;
  Plane& operator=(Plane&&) noexcept = default;
  Plane(const Plane&) = delete;
  Plane& operator=(const Plane&) = delete;

  Plane Clone() const {
    Plane p = Uninitialized(width_, height_);
    if (bytes_) std::memcpy(p.data_.get(), data_.get(), bytes_);
    return p;
  }
  // Copy `other` into this plane, reallocating only when the size differs.
  void CopyFrom(const Plane& other) {
    if (!SameSize(other)) *this = Uninitialized(other.width_, other.height_);
    if (bytes_) std::memcpy(data_.get(), other.data_.get(), bytes_);
  }
  // Make this plane width x height, keeping the storage when the size already matches.
  // Contents are unspecified afterwards.
  void EnsureSize(int32_t width, int32_t height) {
    if (width != width_ || height != height_ || !data_) *this = Uninitialized(width, height);
  }
  void Fill(uint8_t v) {
    if (bytes_) std::memset(data_.get(), v, bytes_);
  }

  int32_t width() const { return width_; }    // frame width; a row holds width + 1 samples
  int32_t height() const { return height_; }  // frame height; the plane holds height + 1 rows
  int32_t stride() const { return width_ + 1; }
  int32_t rows() const { return height_ + 1; }
  size_t size() const { return bytes_; }
  bool empty() const { return !data_; }
  bool SameSize(const Plane& o) const { return width_ == o.width_ && height_ == o.height_ && data_ && o.data_; }

  uint8_t* data() { return data_.get(); }
  const uint8_t* data() const { return data_.get(); }
  uint8_t* operator[](int32_t row) { return data_.get() + static_cast<ptrdiff_t>(row) * stride(); }
  const uint8_t* operator[](int32_t row) const { return data_.get() + static_cast<ptrdiff_t>(row) * stride(); }
  uint8_t& at(int32_t row, int32_t col) { return (*this)[row][col]; }
  PlaneView view() { return {data_.get(), width_, height_, stride()}; }
  ConstPlaneView view() const { return {data_.get(), width_, height_, stride()}; }
  uint8_t at(int32_t row, int32_t col) const { return (*this)[row][col]; }

  bool operator==(const Plane& o) const {
    return width_ == o.width_ && height_ == o.height_ && bytes_ == o.bytes_ &&
           (bytes_ == 0 || std::memcmp(data_.get(), o.data_.get(), bytes_) == 0);
  }

 private:
  int32_t width_ = 0;
  int32_t height_ = 0;
  size_t bytes_ = 0;
  std::unique_ptr<uint8_t[]> data_;
};

// The three or four channels of a frame, in the order R, G, B (, A).
enum class Channel : int { R = 0, G = 1, B = 2, A = 3 };

}  // namespace tessfx
