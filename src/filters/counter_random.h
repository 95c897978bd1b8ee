#pragma once
// Counter-based random numbers for the noise filters: every value is a hash of (stream,
// frame, row, column, channel), so a frame renders the same whatever the order of frames,
// the order of rows or the number of threads. The hash is 32-bit throughout so that row
// loops vectorise (one multiply-xorshift chain per sample, no state carried between samples).
#include <cstdint>

namespace tessfx {

// Two rounds of multiply and xor-shift: every input bit reaches every output bit.
constexpr uint32_t MixBits32(uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  x ^= x >> 16;
  return x;
}

// Streams keep the effects' noise independent of each other.
enum class RandomStream : uint32_t {
  ValueNoise = 0x56a1u,
  ColorNoise = 0xc01bu,
  Jitter = 0x717eu,
  Dither8Random = 0xd8a7u,
  Dither1Random = 0xd1a7u,
  FilmGrain = 0x9a17u,
  PerlinNoise = 0x9e71u,
  Snowfall = 0x5f10u,
  OldFilm = 0x0f17u,
  WaveDistort = 0x3a7eu,  // where the ripples start
  WetPaint = 0x3e77u,     // how far each streak runs
};

// The key of one row of one frame; per-sample values come from SampleBits.
constexpr uint32_t RowKey(RandomStream stream, int32_t frame, int32_t row) {
  const uint32_t f = MixBits32(static_cast<uint32_t>(stream) ^ (static_cast<uint32_t>(frame) * 0x9e3779b9U));
  return MixBits32(f ^ (static_cast<uint32_t>(row) * 0x85ebca6bU));
}

// 32 random bits for column x and channel c of the row.
constexpr uint32_t SampleBits(uint32_t row_key, int32_t x, uint32_t channel = 0) {
  return MixBits32(row_key + static_cast<uint32_t>(x) * 0xc2b2ae35U + channel * 0x27d4eb2fU);
}

// A uniform integer in 0..span-1 from 16 random bits (span at most 65536).
constexpr int32_t ScaleBits16(uint32_t bits16, int32_t span) {
  return static_cast<int32_t>((bits16 * static_cast<uint32_t>(span)) >> 16);
}

}  // namespace tessfx
