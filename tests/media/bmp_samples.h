#pragma once
// Builds BMP files byte by byte, for the reader's tests and the fuzzers' seed corpus.
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace tessfx::samples {

struct BmpSample {
  int32_t width = 1;
  int32_t height = 1;  // negative: top row first
  uint16_t bit_count = 24;
  uint32_t compression = 0;
  uint32_t header_size = 40;  // 108 or 124 carry the channel masks at bytes 40..55
  uint32_t masks[4] = {0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};  // R, G, B, A
  std::vector<uint32_t> palette{};         // 0x00RRGGBB, written as B, G, R, 0 after the header
  std::optional<uint32_t> colours_used{};  // default: palette.size()
  std::optional<uint32_t> pixel_offset{};  // default: right after the palette
  std::vector<uint8_t> pixels{};           // the stored rows, padding included
};

inline void Put32(std::vector<uint8_t>& out, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) out[at + i] = (v >> (8 * i)) & 0xFF;
}

inline std::vector<uint8_t> BuildBmp(const BmpSample& s) {
  const size_t data_at = 14 + s.header_size + 4 * s.palette.size();
  std::vector<uint8_t> out(data_at, 0);
  out[0] = 'B';
  out[1] = 'M';
  Put32(out, 2, static_cast<uint32_t>(data_at + s.pixels.size()));
  Put32(out, 10, s.pixel_offset.value_or(static_cast<uint32_t>(data_at)));
  Put32(out, 14, s.header_size);
  Put32(out, 18, static_cast<uint32_t>(s.width));
  Put32(out, 22, static_cast<uint32_t>(s.height));
  Put32(out, 26, 1u | uint32_t{s.bit_count} << 16);  // one plane, then the bit count
  Put32(out, 30, s.compression);
  Put32(out, 34, static_cast<uint32_t>(s.pixels.size()));
  Put32(out, 46, s.colours_used.value_or(static_cast<uint32_t>(s.palette.size())));
  if (s.header_size >= 56)
    for (int i = 0; i < 4; ++i) Put32(out, 54 + 4 * i, s.masks[i]);
  for (size_t i = 0; i < s.palette.size(); ++i) Put32(out, 14 + s.header_size + 4 * i, s.palette[i] & 0xFFFFFF);
  out.insert(out.end(), s.pixels.begin(), s.pixels.end());
  return out;
}

inline void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A 24-bit picture whose pixel (x, y) (y from the top) is R = 10x + y, G = 100 + y, B = 200 - x.
inline BmpSample Gradient24(int32_t width, int32_t height) {
  BmpSample s;
  s.width = width;
  s.height = height;
  const size_t row = (static_cast<size_t>(width) * 3 + 3) / 4 * 4;
  s.pixels.assign(row * height, 0xEE);  // padding that must never show up as a pixel
  for (int32_t i = 0; i < height; ++i) {
    const int32_t y = height - 1 - i;  // stored bottom row first
    for (int32_t x = 0; x < width; ++x) {
      uint8_t* p = &s.pixels[i * row + 3 * x];
      p[0] = static_cast<uint8_t>(200 - x);
      p[1] = static_cast<uint8_t>(100 + y);
      p[2] = static_cast<uint8_t>(10 * x + y);
    }
  }
  return s;
}

}  // namespace tessfx::samples
