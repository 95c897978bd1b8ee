#include "core/lookup_tables.h"

#include <algorithm>

#include "core/convert.h"

namespace tessfx {

LookupTables BuildLookupTables() {
  LookupTables t{};
  for (int i = 0; i < 256; ++i) {
    for (int j = 0; j < 256; ++j) {
      t.add[i][j] = static_cast<uint8_t>(std::min(i + j, 255));
      t.subtract[i][j] = static_cast<uint8_t>(std::max(j - i, 0));
      t.multiply[i][j] = static_cast<uint8_t>(TruncDiv(i * j, 255));
      if (i == 0) {
        t.divide[i][j] = 255;
      } else {
        const double q = std::min(static_cast<double>(j) / i * 255.0, 255.0);
        t.divide[i][j] = RoundToByte(q);
      }
      t.screen[i][j] = RoundToByte((255.0 - j) / 255.0 * i + j);
      t.around_grey[i][j] = ClampByte(i + j - 127);
    }
  }
  return t;
}

}  // namespace tessfx
