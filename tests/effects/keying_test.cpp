// The keyers over the swap image and over a sequence's pictures, the two sequence
// composites, the alpha wipe, and the green-screen key on a plate made from known parts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "core/convert.h"
#include "effects/effect_rig.h"
#include "effects/test_frame.h"
#include "filters/over.h"
#include "host/scratch_folder.h"
#include "media/bmp.h"
#include "media/bmp_samples.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

using testing::At;
using testing::EffectRig;
using testing::Flat;
using testing::Noise;
using testing::Px;
using testing::TestFrame;

// A frame of one row with one pixel per colour given (alpha 255), and a noise plate.
EffectRig Swatches(const std::vector<Px>& colours) {
  const auto w = static_cast<int32_t>(colours.size());
  EffectRig rig(testing::MakeRgba(w, 1, [&](int c, int32_t x, int32_t) {
    const Px& p = colours[static_cast<size_t>(std::min(x, w - 1))];
    return static_cast<uint8_t>(c == 0 ? p.r : c == 1 ? p.g : p.b);
  }));
  rig.SetSwap(Noise(w, 1, 4), Noise(w, 1, 5), Noise(w, 1, 6));
  return rig;
}

std::vector<Px> Greys() {
  std::vector<Px> greys;
  for (int v : {0, 1, 17, 64, 128, 200, 254, 255}) greys.push_back({v, v, v});
  return greys;
}

TEST(ScreenKeys, TheScreenColourTakesThePlateAndNeutralsSurvive) {
  // (The blue screen is this green one with green and blue exchanged: checked below.)
  std::vector<Px> colours = Greys();
  colours.push_back({0, 255, 0});
  colours.push_back({225, 175, 140});  // skin: its key channel stays below the others
  const auto w = static_cast<int32_t>(colours.size());
  const int32_t screen = w - 2;
  // Defaults, the clips dragged past each other, a hard cut at 0, the spill limit at 0.
  for (const EffectParams& p :
       {EffectParams{64, 80, 32}, EffectParams{80, 64, 32}, EffectParams{0, 0, 32}, EffectParams{64, 80, 0}}) {
    EffectRig rig = Swatches(colours);
    const auto& in = rig.host();
    const auto& out = rig.Run("Greenscreen", p).work();
    for (int32_t x = 0; x < screen; ++x) EXPECT_EQ(At(out, x, 0), At(in, x, 0)) << "grey " << x;
    const Px plate{Noise(w, 1, 4)[0][screen], Noise(w, 1, 5)[0][screen], Noise(w, 1, 6)[0][screen]};
    EXPECT_EQ(At(out, screen, 0), plate) << p[0] << "/" << p[1];
    EXPECT_EQ(At(out, screen + 1, 0), At(in, screen + 1, 0));
  }
}

TEST(ScreenKeys, WhatIsKeptHoldsItsSpillUnderTheLimit) {
  const int32_t w = 97, h = 31;
  for (int spill : {0, 32, 255}) {
    EffectRig rig({Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3), Flat(w, h, 255)});
    rig.SetSwap(Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6));
    rig.Run("Greenscreen", {64, 80, static_cast<float>(spill)});
    const auto& in = rig.host();
    const auto& out = rig.work();
    int kept = 0;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        const Px c = At(in, x, y), o = At(out, x, y);
        if (c.g - std::max(c.r, c.b) > 64) continue;  // not wholly foreground
        ++kept;
        ASSERT_TRUE(o.r == c.r && o.b == c.b && o.g == std::min(c.g, std::max(c.r, c.b) + spill))
            << x << "," << y << " spill " << spill;
        ASSERT_LE(o.g - std::max(o.r, o.b), spill);
      }
    EXPECT_GT(kept, w * h / 2);
  }
}

TEST(ScreenKeys, BluescreenIsGreenscreenWithGreenAndBlueExchanged) {
  const int32_t w = 53, h = 17;
  for (const EffectParams& p : {EffectParams{64, 80, 32}, EffectParams{10, 140, 0}, EffectParams{90, 30, 200},
                                EffectParams{0, 0, 32}}) {
    EffectRig blue({Noise(w, h, 1), Noise(w, h, 2), Noise(w, h, 3), Flat(w, h, 255)});
    blue.SetSwap(Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6));
    EffectRig green({Noise(w, h, 1), Noise(w, h, 3), Noise(w, h, 2), Flat(w, h, 255)});
    green.SetSwap(Noise(w, h, 4), Noise(w, h, 6), Noise(w, h, 5));
    blue.Run("Bluescreen", p);
    green.Run("Greenscreen", p);
    EXPECT_TRUE(blue.work().r == green.work().r && blue.work().g == green.work().b && blue.work().b == green.work().g)
        << p[0] << "/" << p[1] << "/" << p[2];
  }
}

TEST(ScreenKeys, EdgePixelsLoseTheScreensShare) {
  // A flat screen with one pixel half subject (200, 60, 100), half screen. Its green excess
  // of 10 lies half-way between clips 0 and 20: opacity one half. Freed of the screen's
  // half, it shows half subject over half plate; a plain mix would keep the screen's share.
  const Px screen{40, 200, 60}, edge{120, 130, 80};
  std::vector<Px> colours(9, screen);
  colours[4] = edge;
  EffectRig rig = Swatches(colours);
  rig.SetSwap(Flat(9, 1, 10), Flat(9, 1, 20), Flat(9, 1, 30));
  rig.Run("Greenscreen", {0, 20, 32});
  EXPECT_EQ(At(rig.work(), 4, 0), (Px{105, 40, 65}));
  EXPECT_EQ(At(rig.work(), 0, 0), (Px{10, 20, 30}));
}

TEST(ColourKey, TheKeyColourTakesThePlateAndFarColoursStay) {
  const Px key{30, 90, 200};
  // The key, neighbours at distances 1 and 5, and colours 64, 80 and 300 away.
  const std::vector<Px> colours = {key, {31, 90, 200}, {30, 93, 204}, {30, 154, 200}, {30, 90, 120}, {255, 255, 0}};
  const double distance[] = {0, 1, 5, 64, 80, 300};
  for (const auto& [low, high] : {std::pair{64.0f, 80.0f}, std::pair{0.0f, 0.0f}, std::pair{3.5f, 3.5f},
                                 std::pair{80.0f, 64.0f}, std::pair{0.0f, 255.0f}}) {
    EffectRig rig = Swatches(colours);
    rig.Run("Color key", {low, high, static_cast<float>(key.r), static_cast<float>(key.g), static_cast<float>(key.b)});
    const Plane plate_r = Noise(6, 1, 4);
    EXPECT_EQ(rig.work().r[0][0], plate_r[0][0]) << low << "/" << high;
    EXPECT_EQ(rig.work().b[0][0], Noise(6, 1, 6)[0][0]);
    for (int32_t x = 1; x < 6; ++x) {
      if (distance[x] >= std::max(low, high) && (distance[x] > 0 || low != high)) {
        EXPECT_EQ(At(rig.work(), x, 0), colours[static_cast<size_t>(x)]) << low << "/" << high << " at " << x;
      }
    }
    if (low == 0 && high == 0) {  // only the key itself changes
      for (int32_t x = 1; x < 6; ++x) EXPECT_EQ(At(rig.work(), x, 0), colours[static_cast<size_t>(x)]);
    }
  }
}

TEST(ColourKey, EdgePixelsLoseTheKeysShare) {
  // Half (150, 80, 100) over the blue key, at distance 114.7 of 230.05 (opacity 0.4985).
  EffectRig rig = Swatches({{75, 40, 178}, {0, 0, 255}});
  rig.SetSwap(Flat(2, 1, 10), Flat(2, 1, 20), Flat(2, 1, 30));
  rig.Run("Color key", {0, 230.05f, 0, 0, 255});
  EXPECT_EQ(At(rig.work(), 0, 0), (Px{80, 50, 65}));  // half subject, half plate
  EXPECT_EQ(At(rig.work(), 1, 0), (Px{10, 20, 30}));
}

// The plate of a presenter before a green screen, made from its parts: the presenter's colour
// and coverage and the lit screen with its grain. Keyed over a background, the result is
// compared with the presenter laid over that background by the same coverage.
TEST(ScreenKeys, AGreenScreenPlateKeysCloseToTheTruth) {
  const int32_t w = 480, h = 270;
  const double t = 0.3;
  Plane br(w, h), bg(w, h), bb(w, h);
  DrawPattern(Pattern::Scene, 1, 3, 10, br, bg, bb);
  RgbaOf<Plane> plate{Plane(w, h), Plane(w, h), Plane(w, h), Flat(w, h, 255)};
  testing::Rgb truth{Plane(w, h), Plane(w, h), Plane(w, h)};
  Plane coverage(w, h);
  uint32_t grain = 12345;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      grain = grain * 1664525u + 1013904223u;
      const PlateLayer f = GreenScreenSubject(x, y, w, h, t);
      const PlateLayer k = GreenScreenBackdrop(x, y, w, h, grain >> 8);
      plate.r[y][x] = RoundToByte(f.a * f.r + (1 - f.a) * k.r);
      plate.g[y][x] = RoundToByte(f.a * f.g + (1 - f.a) * k.g);
      plate.b[y][x] = RoundToByte(f.a * f.b + (1 - f.a) * k.b);
      truth.r[y][x] = RoundToByte(f.a * f.r + (1 - f.a) * br[y][x]);
      truth.g[y][x] = RoundToByte(f.a * f.g + (1 - f.a) * bg[y][x]);
      truth.b[y][x] = RoundToByte(f.a * f.b + (1 - f.a) * bb[y][x]);
      coverage[y][x] = RoundToByte(255 * f.a);
    }
  EffectRig rig(std::move(plate));
  rig.SetSwap(br.Clone(), bg.Clone(), bb.Clone());
  // As a compositor sets them for this screen: its green excess (green over the larger of
  // red and blue) is 105 in the dim corners to 145 in the middle, the subject's at most 0.
  rig.Run("Greenscreen", {0, 105, 24});
  const auto& out = rig.work();
  double edge_sum = 0, all_sum = 0;
  int64_t edge_count = 0;
  int solid_worst = 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const int e = std::max({std::abs(out.r[y][x] - truth.r[y][x]), std::abs(out.g[y][x] - truth.g[y][x]),
                              std::abs(out.b[y][x] - truth.b[y][x])});
      all_sum += e;
      if (coverage[y][x] == 0 || coverage[y][x] == 255) {
        solid_worst = std::max(solid_worst, e);
      } else {
        edge_sum += e;
        ++edge_count;
      }
    }
  const double edge_mean = edge_sum / static_cast<double>(edge_count), all_mean = all_sum / (double{w} * h);
  EXPECT_GT(edge_count, 2000);
  EXPECT_LE(solid_worst, 1);
  EXPECT_LT(edge_mean, 12.5);
  EXPECT_LT(all_mean, 0.3);
}

// Pictures of a BMP sequence beside the frame, named take0007.bmp, take0008.bmp, ...
class SequenceRig {
 public:
  explicit SequenceRig(TestFrame& f) {
    f.sequence_file = [this](int32_t n) { return Path(n); };
  }
  // The picture host frame `n` reads.
  std::string Path(int32_t n) const {
    char name[32];
    std::snprintf(name, sizeof name, "take%04d.bmp", n + 7);
    return folder_ / name;
  }
  void Write(int32_t n, const Plane& r, const Plane& g, const Plane& b, const Plane& a) {
    WriteBmp32(Path(n), r, g, b, a);
  }

 private:
  testing::ScratchFolder folder_;
};

TEST(SequenceKeys, ThePictureAsPlateKeysAsTheSwapImageDoes) {
  const int32_t w = 61, h = 23;
  const testing::Frame n = testing::NoiseFrame(w, h, 1);
  for (const auto& [swap_form, sequence_form, values] :
       {std::tuple{"Greenscreen", "Greenscreen sequence", EffectParams{64, 80, 32}},
        std::tuple{"Bluescreen", "Bluescreen sequence", EffectParams{20, 50, 10}},
        std::tuple{"Color key", "Color key sequence", EffectParams{60.5f, 90.25f, 100, 20, 200}}}) {
    for (int32_t flag : {0, 1}) {
      TestFrame f(n, flag);
      f.SetAlpha(Noise(w, h, 9));
      f.SetSwap(Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6));
      SequenceRig sequence(f);
      sequence.Write(0, Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6), Noise(w, h, 7));
      const testing::Rgb swapped = testing::Working(f.Run(swap_form, values));
      EXPECT_FALSE(swapped == testing::Host(f.image())) << swap_form;
      EXPECT_TRUE(testing::Working(f.Run(sequence_form, values)) == swapped) << sequence_form << " flag " << flag;
    }
  }
}

TEST(SequenceKeys, NoSequenceOrAnUnreadablePictureLeavesTheFrame) {
  TestFrame f(testing::NoiseFrame(12, 9), 0);
  for (const char* effect :
       {"Greenscreen sequence", "Bluescreen sequence", "Color key sequence", "Alpha comp", "Cell edge comp"}) {
    f.sequence_file = nullptr;
    EXPECT_EQ(f.Dispatch(effect, {0, 0, 0}).rfind("Timeline editor", 0), 0u) << effect;
    EXPECT_TRUE(testing::WorkingEqualsHost(f.image())) << effect;
    SequenceRig sequence(f);  // no pictures written: the file is missing
    EXPECT_EQ(f.Dispatch(effect, {0, 0, 0}), "Not a BMP") << effect;
    EXPECT_TRUE(testing::WorkingEqualsHost(f.image())) << effect;
  }
}

TEST(SequenceComposites, EachFrameReadsItsOwnPictureAfresh) {
  TestFrame f(4, 3, 3);
  SequenceRig sequence(f);
  for (int32_t n = 0; n < 3; ++n)
    sequence.Write(n, Flat(4, 3, static_cast<uint8_t>(10 * n + 1)), Flat(4, 3, 2), Flat(4, 3, 3), Flat(4, 3, 255));
  for (int32_t frame : {2, 0, 1, 2}) {
    f.host().Tes_GotoFrame(frame);
    EXPECT_EQ(f.Run("Alpha comp").work_r[2][3], 10 * frame + 1) << frame;
  }
}

TEST(SequenceComposites, AlphaCompLaysThePictureOverByItsAlpha) {
  // Alpha 255, 0 and 128 (white over black gives 128); then the same picture without alpha.
  TestFrame f(testing::FlatRgba(3, 1, 0, 0, 0));
  SequenceRig sequence(f);
  Plane a = testing::Make(3, 1, [](int32_t, int32_t x) -> uint8_t { return x == 0 ? 255 : x == 1 ? 0 : 128; });
  sequence.Write(0, Flat(3, 1, 255), Flat(3, 1, 200), Flat(3, 1, 100), a);
  const ImageState& s = f.Run("Alpha comp");
  EXPECT_EQ((Px{s.work_r[0][0], s.work_g[0][0], s.work_b[0][0]}), (Px{255, 200, 100}));
  EXPECT_EQ((Px{s.work_r[0][1], s.work_g[0][1], s.work_b[0][1]}), (Px{0, 0, 0}));
  EXPECT_EQ(s.work_r[0][2], 128);
  // A 24-bit picture has no alpha: the reader leaves it 0, and nothing is laid over.
  samples::BmpSample bmp{.width = 3, .height = 1, .bit_count = 24, .pixels = std::vector<uint8_t>(12, 255)};
  samples::WriteFile(sequence.Path(0), samples::BuildBmp(bmp));
  for (const char* effect : {"Alpha comp", "Cell edge comp"})
    EXPECT_TRUE(testing::WorkingEqualsHost(f.Run(effect, {255, 0, 0}))) << effect;
}

TEST(SequenceComposites, CellEdgeCompOutlinesThePictureOutsideIt) {
  // A 3 x 3 opaque block at the middle of 11 x 11 over a noise frame, a blue rim.
  const int32_t n = 11;
  TestFrame f(testing::NoiseFrame(n, n));
  SequenceRig sequence(f);
  const auto inside = [](int32_t y, int32_t x) { return std::abs(x - 5) <= 1 && std::abs(y - 5) <= 1; };
  sequence.Write(0, Flat(n, n, 250), Flat(n, n, 240), Flat(n, n, 230),
                 testing::Make(n, n, [&](int32_t y, int32_t x) -> uint8_t { return inside(y, x) ? 255 : 0; }));
  const ImageState& s = f.Run("Cell edge comp", {0, 0, 255});
  for (int32_t y = 0; y < n; ++y)
    for (int32_t x = 0; x < n; ++x) {
      // Steps to the block: 0 inside, 1 and 2 on the rim, farther the frame.
      const int32_t steps = std::max(std::abs(x - 5) - 1, 0) + std::max(std::abs(y - 5) - 1, 0);
      const Px out{s.work_r[y][x], s.work_g[y][x], s.work_b[y][x]};
      const Px expected = steps == 0   ? Px{250, 240, 230}
                          : steps <= 2 ? Px{0, 0, 255}
                                       : Px{s.host_r[y][x], s.host_g[y][x], s.host_b[y][x]};
      EXPECT_EQ(out, expected) << x << "," << y;
    }
}

TEST(TransitionByAlpha, RunsFromTheFrameToTheSwapInTheAlphasOrder) {
  // Alpha 0..255 along the row.
  RgbaOf<Plane> frame = testing::MakeRgba(256, 1, [](int c, int32_t x, int32_t) {
    return static_cast<uint8_t>((x * 7 + c * 50) & 255);
  });
  frame.a = testing::Make(256, 1, [](int32_t, int32_t x) { return static_cast<uint8_t>(std::min(x, 255)); });
  EffectRig rig(std::move(frame), 0);  // alpha composite on: the wipe must still cover the frame
  const Plane swap_r = Noise(256, 1, 4);
  rig.SetSwap(swap_r.Clone(), Noise(256, 1, 5), Noise(256, 1, 6));
  for (int softness : {0, 1, 10, 128}) {
    EXPECT_TRUE(rig.Run("Transition by alpha", {0, static_cast<float>(softness)}).Working() == rig.Host()) << softness;
    rig.Run("Transition by alpha", {255, static_cast<float>(softness)});
    for (int32_t x = 0; x < 256; ++x) ASSERT_EQ(rig.work().r[0][x], swap_r[0][x]) << softness << " " << x;
  }
  // Hard cut: every pixel is the frame's or the swap's; high alpha turns first.
  rig.Run("Transition by alpha", {128, 0});
  for (int32_t x = 0; x < 256; ++x)
    EXPECT_EQ(rig.work().r[0][x], x >= 127 ? swap_r[0][x] : rig.host().r[0][x]) << x;
  // The swap's weight for each alpha never falls as the level rises.
  for (int softness : {0, 3, 10, 128}) {
    std::array<uint8_t, 256> before = AlphaWipeWeights(0, softness);
    for (int level = 1; level <= 255; ++level) {
      const std::array<uint8_t, 256> now = AlphaWipeWeights(level, softness);
      for (int a = 0; a < 256; ++a) ASSERT_GE(now[a], before[a]) << level << " " << a;
      before = now;
    }
  }
  // Defaults 128 / 10: alpha 132 and above shows the swap, 121 and below the frame.
  const std::array<uint8_t, 256> w = AlphaWipeWeights(128, 10);
  EXPECT_TRUE(w[132] == 255 && w[131] < 255 && w[121] == 0 && w[122] > 0);
}

}  // namespace
}  // namespace tessfx
