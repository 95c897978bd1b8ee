// The arithmetic combinations against the tables they replace, for every pair of samples.
#include <gtest/gtest.h>

#include <vector>

#include "core/lookup_tables.h"
#include "filters/combine.h"

namespace tessfx {
namespace {

TEST(CombineArithmetic, MultiplyAndScreenGiveTheTablesBytesForEveryPair) {
  const LookupTables tables = BuildLookupTables();
  // All 65536 pairs in one run: s the row, c the column of the tables.
  std::vector<uint8_t> s(65536), c(65536), out(65536);
  for (int i = 0; i < 65536; ++i) s[i] = static_cast<uint8_t>(i >> 8), c[i] = static_cast<uint8_t>(i & 0xFF);
  MultiplyRun(s.data(), c.data(), out.data(), 65536);
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(out[i], tables.multiply[s[i]][c[i]]) << int{s[i]} << " x " << int{c[i]};
  ScreenRun(s.data(), c.data(), out.data(), 65536);
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(out[i], tables.screen[s[i]][c[i]]) << int{s[i]} << " screen " << int{c[i]};
}

}  // namespace
}  // namespace tessfx
