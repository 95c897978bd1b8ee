#include <gtest/gtest.h>

#include "core/convert.h"
#include "core/plane.h"

namespace tessfx {
namespace {

TEST(Conversions, RoundingDirectionsAndSaturationAtTheEdges) {
  EXPECT_EQ(RoundHalfEven(0.5), 0);
  EXPECT_EQ(RoundHalfEven(2.5), 2);
  EXPECT_EQ(RoundHalfEven(3.5), 4);
  EXPECT_EQ(RoundHalfEven(-2.5), -2);
  EXPECT_EQ(RoundHalfEven(127.5), 128);
  EXPECT_EQ(RoundHalfEven(1e20), INT32_MAX);
  EXPECT_EQ(RoundHalfEven(-1e20), INT32_MIN);
  EXPECT_EQ(RoundHalfEven(std::nan("")), 0);
  EXPECT_EQ(RoundHalfEven16(40000.0), INT16_MAX);
  EXPECT_EQ(RoundHalfEven16(-0.5), 0);
  EXPECT_EQ(RoundHalfUp(2.5), 3);
  EXPECT_EQ(RoundHalfUp(-2.5), -2);
  EXPECT_EQ(FloorToInt(-0.1), -1);
  EXPECT_EQ(FloorToInt(-1e20), INT32_MIN);
  EXPECT_EQ(TruncDiv(-7, 2), -3);
  EXPECT_EQ(TruncDiv(7, -2), -3);
}

TEST(Conversions, BytesClampAfterRounding) {
  EXPECT_EQ(RoundToByte(-3.0), 0);
  EXPECT_EQ(RoundToByte(0.5), 0);
  EXPECT_EQ(RoundToByte(254.5), 254);
  EXPECT_EQ(RoundToByte(255.4), 255);
  EXPECT_EQ(RoundToByte(300.0), 255);
  EXPECT_EQ(RoundToByte(std::nan("")), 0);
  EXPECT_EQ(RoundToByteF(178.5f), 178);
  EXPECT_EQ(RoundToByteF(-0.6f), 0);
  EXPECT_EQ(ClampByte(-1), 0);
  EXPECT_EQ(ClampByte(256), 255);
}

TEST(Plane, RefusesSizesThatCannotBeHeld) {
  EXPECT_THROW(Plane(-1, 5), Error);
  EXPECT_THROW(Plane(40000, 5), Error);
  EXPECT_THROW(PlaneBytes(32767, 32767), Error);
  EXPECT_NO_THROW(Plane(0, 0));
}

}  // namespace
}  // namespace tessfx
