#pragma once
// Builds PNG files byte by byte: huge black pictures in little space (a 32767 x 16383 one
// takes 1.5 MB and no time to make).
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace tessfx::samples {

inline uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc = 0) {
  crc = ~crc;
  for (size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int k = 0; k < 8; ++k) crc = crc & 1 ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
  }
  return ~crc;
}

// Bits of a deflate stream, least significant first; Huffman codes go most significant first.
struct BitWriter {
  std::vector<uint8_t> bytes;
  int used = 8;
  void Bits(uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      if (used == 8) bytes.push_back(0), used = 0;
      bytes.back() |= static_cast<uint8_t>(((value >> i) & 1) << used++);
    }
  }
  void Code(uint32_t code, int length) {
    for (int i = length - 1; i >= 0; --i) Bits((code >> i) & 1, 1);
  }
};

// A zlib stream of `zeros` zero bytes: one fixed-code block, a literal 0, then copies of
// 258 bytes at distance 1.
inline std::vector<uint8_t> ZerosStream(uint64_t zeros) {
  BitWriter w;
  w.bytes = {0x78, 0x01};
  w.Bits(1, 1);  // the final block
  w.Bits(1, 2);  // fixed codes
  const auto literal_zero = [&] { w.Code(0x30, 8); };
  literal_zero();
  for (uint64_t i = 0; i < (zeros - 1) / 258; ++i) {
    w.Code(0xC5, 8);  // length 258
    w.Code(0, 5);     // distance 1
  }
  for (uint64_t i = 0; i < (zeros - 1) % 258; ++i) literal_zero();
  w.Code(0, 7);  // end of block
  const uint32_t adler = static_cast<uint32_t>(zeros % 65521) << 16 | 1;
  for (int s = 24; s >= 0; s -= 8) w.bytes.push_back(static_cast<uint8_t>(adler >> s));
  return w.bytes;
}

inline void PutChunk(std::ofstream& out, const char* type, const std::vector<uint8_t>& data) {
  std::vector<uint8_t> chunk(type, type + 4);
  chunk.insert(chunk.end(), data.begin(), data.end());
  const auto be32 = [&](uint32_t v) {
    const uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
                          static_cast<uint8_t>(v)};
    out.write(reinterpret_cast<const char*>(b), 4);
  };
  be32(static_cast<uint32_t>(data.size()));
  out.write(reinterpret_cast<const char*>(chunk.data()), static_cast<std::streamsize>(chunk.size()));
  be32(Crc32(chunk.data(), chunk.size()));
}

// An 8-bit RGB PNG of width x height black pixels.
inline void WriteBlackPng(const std::string& path, uint32_t width, uint32_t height) {
  std::ofstream out(path, std::ios::binary);
  out.write("\x89PNG\r\n\x1a\n", 8);
  std::vector<uint8_t> header(13, 0);
  for (int i = 0; i < 4; ++i) {
    header[static_cast<size_t>(i)] = static_cast<uint8_t>(width >> (24 - 8 * i));
    header[static_cast<size_t>(4 + i)] = static_cast<uint8_t>(height >> (24 - 8 * i));
  }
  header[8] = 8;  // bits per sample
  header[9] = 2;  // RGB
  PutChunk(out, "IHDR", header);
  PutChunk(out, "IDAT", ZerosStream(uint64_t{height} * (1 + uint64_t{width} * 3)));  // filter byte + row
  PutChunk(out, "IEND", {});
}

}  // namespace tessfx::samples
