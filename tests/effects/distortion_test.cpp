// The geometric and distortion effects: where each output pixel comes from, on frames whose
// samples give away their coordinates, and the properties users rely on (neutral settings
// change nothing, mirrored frames give mirrored results, light never darkens).
#include <gtest/gtest.h>

#include <cstdlib>

#include "core/error.h"
#include "effects/effect_rig.h"
#include "effects/test_frame.h"

namespace tessfx {
namespace {

using testing::At;
using testing::Clone;
using testing::ColoursOf;
using testing::EffectRig;
using testing::MakeRgba;
using testing::NoiseRgba;
using testing::Px;
using testing::RunOn;
using testing::Rgb;

// R and G the column and row (low bits), B their high bits.
RgbaOf<Plane> Coded(int32_t w, int32_t h) {
  return MakeRgba(w, h, [](int c, int32_t x, int32_t y) -> uint8_t {
    return static_cast<uint8_t>(c == 0 ? x & 255 : c == 1 ? y & 255 : (x >> 8) | ((y >> 8) << 4));
  });
}

// Smooth ramps across and down, never black: R tells the column, G the row.
RgbaOf<Plane> Ramps(int32_t w, int32_t h) {
  return MakeRgba(w, h, [w, h](int c, int32_t x, int32_t y) -> uint8_t {
    if (c == 2) return 128;
    const double t = c == 0 ? double(std::min(x, w - 1)) / (w - 1) : double(std::min(y, h - 1)) / (h - 1);
    return static_cast<uint8_t>(std::lround(20 + 215 * t));
  });
}

// The frame mirrored left-right (or top-bottom), pixels only.
Rgb Mirrored(const Rgb& p, bool across) {
  const int32_t w = p.r.width(), h = p.r.height();
  Rgb m = p.Clone();
  for (const auto& [from, to] : {std::pair{&p.r, &m.r}, std::pair{&p.g, &m.g}, std::pair{&p.b, &m.b}})
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) (*to)[y][x] = across ? (*from)[y][w - 1 - x] : (*from)[h - 1 - y][x];
  return m;
}
RgbaOf<Plane> Mirrored(const RgbaOf<Plane>& p, bool across) {
  Rgb m = Mirrored(ColoursOf(p), across);
  return {std::move(m.r), std::move(m.g), std::move(m.b), p.a.Clone()};
}

TEST(Distortion, NeutralSettingsLeaveTheFrameByteForByte) {
  const RgbaOf<Plane> noise = NoiseRgba(37, 23, 5);
  const Rgb frame = ColoursOf(noise);
  const std::pair<const char*, EffectParams> cases[] = {
      {"Transform", {0, 0, 100, 0}},
      {"Transform", {0, 0, 100, 360}},
      {"Fisheye", {0}},
      {"Wave distort", {3, 5, 0, 50}},
      {"Wet paint", {0}},
      {"Wave in breeze", {0, 100, 10, 0, 7}},
  };
  for (const auto& [name, p] : cases) {
    for (int32_t flag : {0, 1}) {
      EffectRig rig(Clone(noise), flag);
      rig.set_frame(4);
      EXPECT_TRUE(rig.Run(name, p).Working() == frame) << name << " flag " << flag;
    }
  }
}

TEST(Distortion, TransformMovesWholePixelsExactlyAndTurnsHalfWayRound) {
  const RgbaOf<Plane> coded = Coded(100, 20);
  // 10 percent of 100 columns: column x shows column x - 10; the first ten are black.
  Rgb moved = RunOn(coded, "Transform", {10, 0, 100, 0});
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 100; ++x)
      ASSERT_EQ(At(moved, x, y), (x < 10 ? Px{0, 0, 0} : At(coded, x - 10, y))) << x << "," << y;
  // -10 percent of 20 rows: up by two, the last two rows black.
  moved = RunOn(coded, "Transform", {0, -10, 100, 0});
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 100; ++x) ASSERT_EQ(At(moved, x, y), (y >= 18 ? Px{} : At(coded, x, y + 2)));

  for (auto [w, h] : {std::pair{37, 23}, std::pair{300, 260}}) {
    const RgbaOf<Plane> frame = Coded(w, h);
    const Rgb half = RunOn(frame, "Transform", {0, 0, 100, 180});
    const Rgb quarter = RunOn(frame, "Transform", {0, 0, 100, 90});
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        ASSERT_EQ(At(half, x, y), At(frame, w - 1 - x, h - 1 - y)) << x << "," << y;
        // A quarter turn clockwise about the centre: on these frames (w - h even) the
        // turned picture lands on whole pixels; what it does not cover is black.
        const int32_t sx = (w - h) / 2 + y, sy = (h + w) / 2 - 1 - x;
        const bool inside = sx >= 0 && sx < w && sy >= 0 && sy < h;
        ASSERT_EQ(At(quarter, x, y), (inside ? At(frame, sx, sy) : Px{})) << x << "," << y;
      }
  }
}

TEST(Distortion, TransformScalesAboutTheCentre) {
  const RgbaOf<Plane> ramps = Ramps(41, 31);
  for (float scale : {50.0f, 20.0f, 5.0f}) {  // 20 and 5 read reduced copies of the frame
    const Rgb small = RunOn(ramps, "Transform", {0, 0, scale, 0});
    const double half_w = 41 * scale / 200.0, half_h = 31 * scale / 200.0;
    for (int32_t y = 0; y < 31; ++y)
      for (int32_t x = 0; x < 41; ++x)
        if (std::abs(x - 20) > half_w + 1 || std::abs(y - 15) > half_h + 1) {
          ASSERT_TRUE(At(small, x, y).black());
        }
    const Px centre = At(small, 20, 15), source = At(ramps, 20, 15);
    EXPECT_LE(std::abs(centre.r - source.r) + std::abs(centre.g - source.g), scale == 50 ? 0 : 6) << scale;
  }
  // Shrinking a one-pixel checkerboard fivefold gives an even grey, not a moire.
  const RgbaOf<Plane> checks =
      MakeRgba(200, 200, [](int, int32_t x, int32_t y) -> uint8_t { return (x + y) % 2 ? 255 : 0; });
  const Rgb grey = RunOn(checks, "Transform", {0, 0, 20, 0});
  for (int32_t y = 84; y < 116; ++y)
    for (int32_t x = 84; x < 116; ++x) ASSERT_NEAR(grey.r[y][x], 128, 8) << x << "," << y;
  // Zooming out past the sizes where smaller copies take over (a half, about a third, a
  // quarter) changes the picture only as much as the scale changes: no sudden blur.
  const RgbaOf<Plane> noise = NoiseRgba(160, 120, 9);
  for (auto [from, to] : {std::pair{50.05f, 49.95f}, std::pair{35.40f, 35.30f}, std::pair{25.05f, 24.95f}}) {
    const Rgb a = RunOn(noise, "Transform", {0, 0, from, 33}), b = RunOn(noise, "Transform", {0, 0, to, 33});
    double moved = 0;
    for (int32_t y = 0; y < 120; ++y)
      for (int32_t x = 0; x < 160; ++x) moved += std::abs(a.g[y][x] - b.g[y][x]);
    EXPECT_LT(moved / (160 * 120), 4.0) << from;  // a switch of size would blur the noise: about 30
  }
}

TEST(Distortion, LensesAndTheGlobeMirrorWithTheFrame) {
  for (auto [w, h] : {std::pair{36, 21}, std::pair{33, 20}}) {
    const RgbaOf<Plane> frame = NoiseRgba(w, h, 3);
    for (const auto& [name, p] : {std::pair<const char*, EffectParams>{"Fisheye", {50}},
                                  {"Fisheye", {-100}},
                                  {"Fisheye", {100}},
                                  {"Globe", {}}})
      for (bool across : {true, false}) {
        const Rgb direct = RunOn(frame, name, p);
        const Rgb mirrored = RunOn(Mirrored(frame, across), name, p);
        EXPECT_TRUE(Mirrored(mirrored, across) == direct) << name << " " << p[0] << (across ? " across" : " down");
      }
  }
}

TEST(Distortion, FisheyeKeepsCentreAndCornersAndOnlyPinchingShowsBlack) {
  const int32_t w = 61, h = 41;
  const RgbaOf<Plane> ramps = Ramps(w, h);
  for (float amount : {-100.0f, -50.0f, 50.0f, 100.0f}) {
    const Rgb lens = RunOn(ramps, "Fisheye", {amount});
    for (auto [x, y] :
         {std::pair{30, 20}, std::pair{0, 0}, std::pair{w - 1, 0}, std::pair{0, h - 1}, std::pair{w - 1, h - 1}}) {
      const Px got = At(lens, x, y), want = At(ramps, x, y);
      EXPECT_LE(std::abs(got.r - want.r) + std::abs(got.g - want.g), 2) << amount << " at " << x << "," << y;
    }
    int black = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) black += At(lens, x, y).black();
    if (amount > 0) {
      EXPECT_EQ(black, 0) << amount;
    } else {
      EXPECT_TRUE(At(lens, 0, h / 2).black() && At(lens, w / 2, 0).black()) << amount;
    }
  }
  // Bulging magnifies the middle: the columns next to the centre come from closer to it.
  const Rgb bulge = RunOn(Coded(61, 41), "Fisheye", {100});
  EXPECT_EQ(bulge.r[20][31], 30);  // a quarter pixel out, read mostly from the centre
}

TEST(Distortion, TheGlobeIsABallOnBlackWithTheCentreUntouched) {
  const int32_t w = 41, h = 31;
  const RgbaOf<Plane> ramps = Ramps(w, h);
  const Rgb globe = RunOn(ramps, "Globe", {});
  const double radius = 31 / 2.0 - 0.5;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      if (std::hypot(x - 20.0, y - 15.0) > radius + 1) {
        ASSERT_TRUE(At(globe, x, y).black()) << x << "," << y;
      }
  EXPECT_EQ(At(globe, 20, 15), At(ramps, 20, 15));
  // Towards the rim the ball is darker and shows the frame's edges.
  EXPECT_LT(At(globe, 20 + 14, 15).g, At(ramps, w - 1, 15).g);
  EXPECT_GT(At(globe, 20 + 14, 15).r, 0);
}

// The source column of every pixel, read back from the horizontal ramp.
double SourceColumn(const Rgb& out, int32_t x, int32_t y, int32_t w) { return (out.r[y][x] - 20) / 215.0 * (w - 1); }

TEST(Distortion, RipplesMoveThePictureABoundedWayAndStandStillAtSpeedZero) {
  const int32_t w = 200, h = 120;
  const RgbaOf<Plane> ramps = Ramps(w, h);
  // Frequency 5: 40-pixel waves; at displacement 100 the sources together move a pixel
  // by at most 40 / (2 pi) pixels.
  const Rgb rippled = RunOn(ramps, "Wave distort", {3, 5, 100, 50}, 3);
  double largest = 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) largest = std::max(largest, std::abs(SourceColumn(rippled, x, y, w) - x));
  EXPECT_GT(largest, 2.0);
  EXPECT_LT(largest, 40 / (2 * M_PI) + 2.0);

  EXPECT_TRUE(RunOn(ramps, "Wave distort", {2, 5, 60, 0}, 0) == RunOn(ramps, "Wave distort", {2, 5, 60, 0}, 9));
  EXPECT_FALSE(RunOn(ramps, "Wave distort", {2, 5, 60, 50}, 0) == RunOn(ramps, "Wave distort", {2, 5, 60, 50}, 1));
}

TEST(Distortion, TheFlagWavesWholeColumnsAndRepeatsEachCycle) {
  const int32_t w = 90, h = 60;
  // Every column one colour, no two columns alike.
  // (Dim enough that the folds' light does not saturate them.)
  const RgbaOf<Plane> columns = MakeRgba(w, h, [](int c, int32_t x, int32_t) -> uint8_t {
    return static_cast<uint8_t>(c == 0 ? 40 + x : c == 1 ? 180 - x : 77);
  });
  for (const EffectParams& p :
       {EffectParams{100, 200, 10, 0, 0}, EffectParams{40, 100, 10, 100, 3}, EffectParams{70, 350, 25, -60, 0}}) {
    const Rgb flag = RunOn(columns, "Wave in breeze", p, 5);
    int black = 0;
    for (int32_t x = 0; x < w; ++x)
      for (int32_t y = 0; y < h; ++y) {
        const Px got = At(flag, x, y);
        if (got.black()) {
          ++black;
          continue;
        }
        // Samples mixed with the black beyond the edge keep their column's proportions.
        ASSERT_NEAR(got.g * (40 + x), got.r * (180 - x), 255) << x << "," << y;
        if (x == 0) {  // the fastened edge never moves
          ASSERT_EQ(got, At(columns, 0, y));
        }
      }
    EXPECT_LT(black, w * h / 4);
  }
  // Speed 10 is a tenth of a cycle per frame: ten frames later the flag is where it was.
  const EffectParams p{100, 150, 10, 0, 0};
  const Rgb a = RunOn(Ramps(w, h), "Wave in breeze", p, 6), b = RunOn(Ramps(w, h), "Wave in breeze", p, 16);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) ASSERT_NEAR(a.g[y][x], b.g[y][x], 1);
  EXPECT_FALSE(a == RunOn(Ramps(w, h), "Wave in breeze", p, 11));
}

// "Wave brush in breeze" through an embedded host that holds the brush.
struct BrushFrame {
  BrushFrame(int32_t w, int32_t h) : f(w, h, 8) {
    f.host().set_alpha_bits(1);
    for (int32_t frame : {0, 3, 7})
      f.SetFrame(testing::Noise(w, h, 1), testing::Noise(w, h, 2), testing::Noise(w, h, 3), frame);
  }
  // A brush of bw x bh: opaque red on the bottom half, half-transparent blue above, one
  // transparent column at the left.
  void SetBrush(int32_t bw, int32_t bh) {
    auto plane = [&](auto value) { return testing::Make(bw, bh, value); };
    f.host().SetBrush(plane([&](int32_t y, int32_t) -> uint8_t { return y >= bh / 2 ? 255 : 0; }),
                      plane([](int32_t, int32_t) -> uint8_t { return 20; }),
                      plane([&](int32_t y, int32_t) -> uint8_t { return y >= bh / 2 ? 0 : 255; }),
                      plane([&](int32_t y, int32_t x) -> uint8_t { return x == 0        ? 0
                                                                          : y >= bh / 2 ? 255
                                                                                        : 128; }));
  }
  Rgb Run(EffectParams p, int32_t frame = 0) {
    f.host().Tes_GotoFrame(frame);
    f.Dispatch("Wave brush in breeze", p);
    return testing::Working(f.image());
  }
  testing::TestFrame f;
};

TEST(Distortion, TheBrushSwaysFromItsRootAndTouchesNothingElse) {
  BrushFrame bf(100, 80);
  const Rgb frame = testing::Working(bf.f.Fetch());
  bf.SetBrush(10, 20);
  // Root at (50, 60): the brush covers columns 45..54 and rows 40..59 when still.
  const Rgb still = bf.Run({50, 75, 0, 100, 10, 0});
  for (int32_t y = 0; y < 80; ++y)
    for (int32_t x = 0; x < 100; ++x) {
      const bool brush = x >= 46 && x <= 54 && y >= 40 && y <= 59;  // column 45 is transparent
      if (!brush) {
        ASSERT_EQ(At(still, x, y), At(frame, x, y)) << x << "," << y;
      }
    }
  EXPECT_EQ(At(still, 50, 55), (Px{255, 20, 0}));                                   // opaque
  EXPECT_EQ(At(still, 50, 45).b, (frame.b[45][50] * 127 + 255 * 128 + 127) / 255);  // over, half way

  const EffectParams sway{50, 75, 100, 150, 10, 0};
  Rgb swayed;
  for (int32_t frame_number : {0, 3, 7}) {
    swayed = bf.Run(sway, frame_number);
    // The sweep reaches a quarter of the brush width beyond it at most.
    for (int32_t y = 0; y < 80; ++y)
      for (int32_t x = 0; x < 100; ++x)
        if (x < 43 || x > 57 || y < 40 || y > 59) {
          ASSERT_EQ(At(swayed, x, y), At(frame, x, y)) << x << "," << y;
        }
    for (int32_t x = 40; x < 60; ++x) ASSERT_EQ(At(swayed, x, 59), At(still, x, 59)) << "root row at " << x;
  }
  EXPECT_FALSE(swayed == still);
  // A whole cycle of time offset is no offset; a brush of no size changes nothing.
  EXPECT_TRUE(bf.Run({50, 75, 100, 150, 10, 360}, 7) == swayed);
  bf.f.host().SetBrush(Plane(0, 0), Plane(0, 0), Plane(0, 0), Plane(0, 0));
  EXPECT_TRUE(bf.Run(sway, 7) == frame);
}

TEST(Distortion, ABrushWhosePlanesAreNotTheReportedSizeIsRefused) {
  BrushFrame bf(20, 20);
  bf.f.host().SetBrush(Plane(6, 6), Plane(6, 6), Plane(6, 5), Plane(6, 6));
  try {
    bf.Run({50, 50, 40, 100, 10, 0});
    ADD_FAILURE() << "accepted";
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::BadData);
    EXPECT_NE(std::string(e.what()).find("6x5"), std::string::npos) << e.what();
  }
}

TEST(Distortion, TheWireframeDrawsTheGridInThePicturesColourOnBlack) {
  const int32_t w = 61, h = 41;
  const RgbaOf<Plane> flat = MakeRgba(w, h, [](int c, int32_t, int32_t) -> uint8_t {
    return c == 0 ? 200 : c == 1 ? 120 : 40;
  });
  // Face on, no relief to speak of: lines on every fifth row and column.
  const Rgb mesh = RunOn(flat, "Wireframe designer", {1, 5, 0, 0, 0, 400});
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const Px p = At(mesh, x, y);
      if (p.black()) continue;
      // The tiny relief magnifies by a few thousandths: lines stay within a pixel.
      const bool near_line = std::abs(x - 30) % 5 <= 1 || std::abs(x - 30) % 5 == 4 || std::abs(y - 20) % 5 <= 1 ||
                             std::abs(y - 20) % 5 == 4;
      ASSERT_TRUE(near_line) << x << "," << y;
      ASSERT_NEAR(p.r * 120, p.g * 200, 200) << x << "," << y;  // the frame's hue, at most its brightness
      ASSERT_LE(p.r, 200);
    }
  // The lines through the centre lie on whole pixels: fully covered, in the frame's colour.
  EXPECT_EQ(At(mesh, 30, 12), (Px{200, 120, 40}));
  EXPECT_EQ(At(mesh, 47, 20), (Px{200, 120, 40}));
  EXPECT_TRUE(At(mesh, 2, 2).black());

  const RgbaOf<Plane> noise = NoiseRgba(w, h, 8);
  const Rgb turned = RunOn(noise, "Wireframe designer", {60, 4, 30, 320, 10, 500});
  for (int angle = 2; angle <= 4; ++angle) {
    EffectParams p{60, 4, 30, 320, 10, 500};
    p[static_cast<size_t>(angle)] += 360;
    EXPECT_TRUE(RunOn(noise, "Wireframe designer", p) == turned) << angle;
  }
}

TEST(Distortion, LightRaysNeverDarkenAndShadowRaysNeverLighten) {
  const RgbaOf<Plane> noise = NoiseRgba(50, 40, 12);
  for (const EffectParams& p :
       {EffectParams{50, 50, 20, 50}, EffectParams{0, 100, 100, 200}, EffectParams{30, 70, 1, 1}}) {
    const Rgb light = RunOn(noise, "Mystic vision", p), shade = RunOn(noise, "Shadow vision", p);
    for (const auto& [out, in] : {std::pair{&light.r, &noise.r}, std::pair{&light.b, &noise.b}})
      for (int32_t y = 0; y < 40; ++y)
        for (int32_t x = 0; x < 50; ++x) ASSERT_GE((*out)[y][x], (*in)[y][x]);
    for (const auto& [out, in] : {std::pair{&shade.g, &noise.g}, std::pair{&shade.b, &noise.b}})
      for (int32_t y = 0; y < 40; ++y)
        for (int32_t x = 0; x < 50; ++x) ASSERT_LE((*out)[y][x], (*in)[y][x]);
  }
  // Nothing bright, nothing to stream; nothing dark, nothing to shade.
  const auto dim = MakeRgba(50, 40, [](int c, int32_t x, int32_t y) -> uint8_t { return (x * 7 + y * 3 + c) % 129; });
  const auto pale =
      MakeRgba(50, 40, [](int c, int32_t x, int32_t y) -> uint8_t { return 128 + (x * 7 + y * 3 + c) % 128; });
  EXPECT_TRUE(RunOn(dim, "Mystic vision", {40, 60, 50, 50}) == ColoursOf(dim));
  EXPECT_TRUE(RunOn(pale, "Shadow vision", {40, 60, 50, 50}) == ColoursOf(pale));
}

TEST(Distortion, ASpotOfLightStreamsStraightAwayFromTheCentre) {
  const int32_t w = 120, h = 60;
  // A white square at columns 40..43, rows 28..31; the centre at the left edge on its row.
  const auto spot = MakeRgba(
      w, h, [](int, int32_t x, int32_t y) -> uint8_t { return x >= 40 && x <= 43 && y >= 28 && y <= 31 ? 255 : 0; });
  const Rgb rays = RunOn(spot, "Mystic vision", {0, 50, 100, 200});
  int lit_far = 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      if (rays.r[y][x] == 0) continue;
      // Lit only beyond the spot, where the way back to the centre crosses it (give or
      // take the blur of the half-size image).
      ASSERT_GE(x, 38) << y;
      ASSERT_LE(std::abs((y - 29.5) * 41.5 / x), 5.0) << x << "," << y;
      lit_far += x > 70;
    }
  EXPECT_GT(lit_far, 0);
}

TEST(Distortion, WetPaintRunsWithTheSignAndLeavesFlatPaintAlone) {
  const int32_t w = 40, h = 50;
  const auto flat =
      MakeRgba(w, h, [](int c, int32_t, int32_t) -> uint8_t { return static_cast<uint8_t>(60 + 50 * c); });
  EXPECT_TRUE(RunOn(flat, "Wet paint", {64}) == ColoursOf(flat));

  // A bright band on dark: paint runs below it for positive values, above for negative,
  // further in some columns than in others.
  const auto band = MakeRgba(w, h, [](int, int32_t, int32_t y) -> uint8_t { return y >= 20 && y < 25 ? 240 : 30; });
  const Rgb down = RunOn(band, "Wet paint", {30}), up = RunOn(band, "Wet paint", {-30});
  int ran = 0;
  for (int32_t x = 0; x < w; ++x) {
    EXPECT_EQ(down.g[17][x], 30);
    EXPECT_EQ(up.g[27][x], 30);
    EXPECT_EQ(down.g[27][x] > 30, up.g[17][x] > 30);
    ran += down.g[27][x] > 30;
  }
  EXPECT_TRUE(ran > w / 4 && ran < w) << ran;
  // Upward runs are downward runs of the frame turned upside down.
  const RgbaOf<Plane> noise = NoiseRgba(70, 33, 4);
  for (float amount : {20.0f, 64.0f, 3.5f})
    EXPECT_TRUE(Mirrored(RunOn(Mirrored(noise, false), "Wet paint", {-amount}), false) ==
                RunOn(noise, "Wet paint", {amount}))
        << amount;
}

TEST(Distortion, AnimatedFramesRenderTheSameAloneOrAfterOthers) {
  const RgbaOf<Plane> noise = NoiseRgba(64, 48, 2);
  for (const auto& [name, p] : {std::pair<const char*, EffectParams>{"Wave distort", {3, 5, 20, 50}},
                                {"Wave in breeze", {40, 100, 10, 20, 5}}}) {
    EffectRig rig(Clone(noise));
    for (int32_t frame = 0; frame < 6; ++frame) {
      rig.set_frame(frame);
      rig.Run(name, p);
    }
    EXPECT_TRUE(rig.Working() == RunOn(noise, name, p, 5)) << name;
  }
}

}  // namespace
}  // namespace tessfx
