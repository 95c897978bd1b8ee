#pragma once
// The six 256 x 256 tables of the combine effects, indexed [row][column] = [swap][frame].
#include <array>
#include <cstdint>

namespace tessfx {

using LookupTable = std::array<std::array<uint8_t, 256>, 256>;

struct LookupTables {
  LookupTable add;         // min(i + j, 255)
  LookupTable subtract;    // max(j - i, 0): the row is subtracted from the column
  LookupTable multiply;    // i * j / 255, truncated
  LookupTable divide;      // row 0 all 255, else j / i * 255 clamped, halves to even
  LookupTable screen;      // (255 - j) / 255 * i + j, halves to even
  LookupTable around_grey; // clamp(i + j - 127, 0, 255)
};

LookupTables BuildLookupTables();

}  // namespace tessfx
