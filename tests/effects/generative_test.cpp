// Dithers, film grain, noise clouds, snow, old film, lens flare, paper, Sobel and photo
// enhance through their definitions: properties a user relies on, frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "effects/effect_rig.h"
#include "effects/test_frame.h"
#include "filters/point.h"
#include "host/late_bound_host.h"

namespace tessfx {
namespace {

using testing::EffectRig;
using testing::Flat;
using testing::FlatRgba;
using testing::Make;
using testing::MakeRgba;
using testing::Noise;
using testing::NoiseRgba;
using testing::RunOn;

// The frame's pictures (width x height) equal, whatever the extra row and column hold.
bool SamePicture(const Plane& a, const Plane& b) {
  if (a.width() != b.width() || a.height() != b.height()) return false;
  for (int32_t y = 0; y < a.height(); ++y)
    if (!std::equal(a[y], a[y] + a.width(), b[y])) return false;
  return true;
}
bool SamePicture(const testing::Rgb& a, const testing::Rgb& b) {
  return SamePicture(a.r, b.r) && SamePicture(a.g, b.g) && SamePicture(a.b, b.b);
}
bool Grey(const testing::Rgb& p) { return SamePicture(p.r, p.g) && SamePicture(p.g, p.b); }

double MeanOf(const Plane& p, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  double sum = 0;
  for (int32_t y = y0; y < y1; ++y)
    for (int32_t x = x0; x < x1; ++x) sum += p[y][x];
  return sum / (double(x1 - x0) * (y1 - y0));
}

// ---------------------------------------------------------------------------------------

struct DitherCase {
  const char* effect;
  bool ordered, mono;
};
constexpr DitherCase kDithers[] = {{"8 bit ordered dither", true, false},
                                   {"8 bit random dither", false, false},
                                   {"1 bit ordered dither", true, true},
                                   {"1 bit random dither", false, true}};

TEST(Dithers, OnlyPaletteValuesAndFlatMeansKept) {
  const std::set<int> eight = {0, 36, 73, 109, 146, 182, 219, 255}, four = {0, 85, 170, 255}, two = {0, 255};
  for (const DitherCase& d : kDithers)
    for (int v : {0, 1, 37, 100, 128, 201, 254, 255}) {
      const int32_t w = 256, h = 256;
      const testing::Rgb out = RunOn(FlatRgba(w, h, v, v, v), d.effect, {}, 4);
      const Plane* planes[] = {&out.r, &out.g, &out.b};
      for (int c = 0; c < 3; ++c) {
        const std::set<int>& palette = d.mono ? two : c == 2 ? four : eight;
        for (int32_t y = 0; y < h; ++y)
          for (int32_t x = 0; x < w; ++x)
            ASSERT_TRUE(palette.count((*planes[c])[y][x])) << d.effect << " " << v << " gave " << int((*planes[c])[y][x]);
        // The threshold keeps the mean within 1/128 of a step; a random one adds a little noise.
        const double step = 255.0 / (*palette.rbegin() == 255 ? palette.size() - 1 : 1);
        if (d.ordered) {
          for (int32_t y = 0; y < h; y += 8)
            for (int32_t x = 0; x < w; x += 8)
              ASSERT_NEAR(MeanOf(*planes[c], x, y, x + 8, y + 8), v, step / 128 + 0.5) << d.effect << " " << v;
        } else {
          EXPECT_NEAR(MeanOf(*planes[c], 0, 0, w, h), v, step / 128 + 0.3) << d.effect << " " << v;
        }
        if (v == 0 || v == 255) {
          EXPECT_EQ(MeanOf(*planes[c], 0, 0, w, h), v) << d.effect;
        }
      }
    }
}

TEST(Dithers, OrderedPatternsRepeatEveryEightPixelsAndStayPutRandomOnesChangeEveryFrame) {
  for (const DitherCase& d : kDithers) {
    const testing::Rgb f3 = RunOn(FlatRgba(64, 48, 90, 150, 200), d.effect, {}, 3);
    const testing::Rgb f4 = RunOn(FlatRgba(64, 48, 90, 150, 200), d.effect, {}, 4);
    EXPECT_TRUE(RunOn(FlatRgba(64, 48, 90, 150, 200), d.effect, {}, 3) == f3) << d.effect;
    EXPECT_EQ(f3 == f4, d.ordered) << d.effect;
    if (!d.ordered) continue;
    for (const Plane* p : {&f3.r, &f3.g, &f3.b})
      for (int32_t y = 0; y < 48; ++y)
        for (int32_t x = 0; x < 64; ++x) ASSERT_EQ((*p)[y][x], (*p)[y % 8][x % 8]) << d.effect;
  }
  // The nested thresholds: along a grey ramp, the share of white never falls.
  const int32_t w = 512, h = 16;
  const testing::Rgb ramp = RunOn(MakeRgba(w, h, [](int, int32_t x, int32_t) { return uint8_t(x / 2); }),
                                  "1 bit ordered dither", {});
  double before = -1;
  for (int32_t x0 = 0; x0 < w; x0 += 8) {
    const double white = MeanOf(ramp.r, x0, 0, x0 + 8, 8);
    EXPECT_GE(white, before) << "at column " << x0;
    before = white;
  }
}

// ---------------------------------------------------------------------------------------

struct ChannelStats {
  double mean, deviation;
};
ChannelStats StatsOf(const Plane& p) {
  double sum = 0, squares = 0;
  const double n = double(p.width()) * p.height();
  for (int32_t y = 0; y < p.height(); ++y)
    for (int32_t x = 0; x < p.width(); ++x) {
      sum += p[y][x];
      squares += double(p[y][x]) * p[y][x];
    }
  return {sum / n, std::sqrt(squares / n - (sum / n) * (sum / n))};
}

// Correlation of a plane's deviations from `centre` with themselves `lag` px across.
double LagCorrelation(const Plane& p, double centre, int32_t lag) {
  double ab = 0, aa = 0;
  for (int32_t y = 0; y < p.height(); ++y)
    for (int32_t x = 0; x + lag < p.width(); ++x) {
      ab += (p[y][x] - centre) * (p[y][x + lag] - centre);
      aa += (p[y][x] - centre) * (p[y][x] - centre);
    }
  return ab / aa;
}

TEST(FilmGrain, DeviationFollowsEachLevelAndExtremesStay) {
  const testing::Rgb mid = RunOn(FlatRgba(400, 300, 128, 128, 128), "Film grain", {15, 40, 100, 18});
  const Plane* planes[] = {&mid.r, &mid.g, &mid.b};
  const double levels[] = {15, 40, 100};
  for (int c = 0; c < 3; ++c) {
    const ChannelStats s = StatsOf(*planes[c]);
    EXPECT_NEAR(s.mean, 128.0, 0.5) << c;
    EXPECT_NEAR(s.deviation, levels[c] / 4, levels[c] / 40 + 0.3) << c;  // within 10 %, rounding aside
  }
  for (uint8_t v : {0, 255}) {
    EffectRig rig(FlatRgba(50, 40, v, v, v));
    EXPECT_TRUE(rig.Run("Film grain", {255, 255, 255, 50}).Working() == rig.Host()) << int(v);
  }
  EffectRig rig(NoiseRgba(50, 40, 3));
  EXPECT_TRUE(rig.Run("Film grain", {0, 0, 0, 50}).Working() == rig.Host());
}

TEST(FilmGrain, GrainSizeFollowsScaleAndFrameHeightAndChangesEveryFrame) {
  auto blue = [](int32_t w, int32_t h, float scale, int32_t frame) {
    return RunOn(FlatRgba(w, h, 128, 128, 128), "Film grain", {0, 0, 255, scale}, frame).b.Clone();
  };
  // Scale 20 at 540 lines is 1 px grain; at 1080 lines 2 px: the correlation at twice the lag matches.
  const double small = LagCorrelation(blue(400, 540, 20, 0), 128, 1);
  const double tall = LagCorrelation(blue(400, 1080, 20, 0), 128, 2);
  EXPECT_NEAR(tall, small, 0.06);
  EXPECT_GT(LagCorrelation(blue(400, 540, 60, 0), 128, 1), small + 0.1);

  const Plane f7 = blue(300, 200, 18, 7);
  EXPECT_EQ(blue(300, 200, 18, 7), f7);
  EXPECT_NE(blue(300, 200, 18, 8), f7);  // the grain field's independence between frames is checked with the filters
}

// ---------------------------------------------------------------------------------------

TEST(PerlinNoise, GreyFrozenAtSpeedZeroAndMovingOtherwise) {
  const EffectParams frozen{4, 1, 0, 0, 128}, moving{4, 1, 10, 0, 128};
  const testing::Rgb a = RunOn(NoiseRgba(120, 90, 1), "Perlin noise", frozen, 3);
  EXPECT_TRUE(SamePicture(a, RunOn(NoiseRgba(120, 90, 2), "Perlin noise", frozen, 40)))
      << "the picture is replaced, time stands";
  EXPECT_TRUE(Grey(a));
  EXPECT_FALSE(RunOn(NoiseRgba(120, 90, 1), "Perlin noise", moving, 3) ==
               RunOn(NoiseRgba(120, 90, 1), "Perlin noise", moving, 4));
  // Phase moves along the same time axis: phase 16 is one frame ahead at speed 100.
  EXPECT_TRUE(RunOn(NoiseRgba(120, 90, 1), "Perlin noise", {3, 1, 100, 0, 16}, 5) ==
              RunOn(NoiseRgba(120, 90, 1), "Perlin noise", {3, 1, 100, 0, 0}, 6));
}

TEST(PerlinNoise, ColourChannelsAreTheGreyMovedAlongTimeByTheOffset) {
  for (int type : {0, 1, 2, 3}) {
    const EffectParams grey{3, 1, 10, float(type), 40};
    const testing::Rgb g = RunOn(NoiseRgba(100, 70, 1), "Perlin noise", grey, 9);
    const testing::Rgb zero = RunOn(NoiseRgba(100, 70, 1), "Color perlin noise", {3, 1, 10, float(type), 40, 0}, 9);
    EXPECT_TRUE(zero == g) << type;
    const testing::Rgb colour = RunOn(NoiseRgba(100, 70, 1), "Color perlin noise", {3, 1, 10, float(type), 40, 200}, 9);
    EXPECT_EQ(colour.r, g.r) << type;
    EXPECT_NE(colour.g, g.g) << type;
    // Green is red a time offset of 200 / 16 later: phase 40 + 200.
    EXPECT_TRUE(SamePicture(colour.g, RunOn(NoiseRgba(100, 70, 1), "Perlin noise", {3, 1, 10, float(type), 240}, 9).r))
        << type;
  }
}

// ---------------------------------------------------------------------------------------

EffectParams Snow(float flakes, float wind = -10, float turbulence = 10, float brightness = 255) {
  return {flakes, 10, wind, turbulence, 8, brightness};
}

TEST(Snowfall, WhiteSnowNeverDarkensAndMoreFlakesNeverLightFewerPixels) {
  for (int32_t frame : {0, 17, 250}) {
    EffectRig rig(NoiseRgba(160, 120, 4));
    rig.set_frame(frame);
    const testing::Rgb out = rig.Run("Snowfall", Snow(400)).Working();
    const testing::Rgb in = rig.Host();
    int lighter = 0;
    for (int32_t y = 0; y < 120; ++y)
      for (int32_t x = 0; x < 160; ++x) {
        ASSERT_GE(out.r[y][x], in.r[y][x]);
        ASSERT_GE(out.b[y][x], in.b[y][x]);
        lighter += out.g[y][x] > in.g[y][x];
      }
    EXPECT_GT(lighter, 300) << frame;
  }
  const testing::Rgb fewer = RunOn(FlatRgba(160, 120, 0, 0, 0), "Snowfall", Snow(100), 30);
  const testing::Rgb more = RunOn(FlatRgba(160, 120, 0, 0, 0), "Snowfall", Snow(300), 30);
  int added = 0;
  for (int32_t y = 0; y < 120; ++y)
    for (int32_t x = 0; x < 160; ++x) {
      ASSERT_GE(more.r[y][x], fewer.r[y][x]) << x << "," << y;
      added += more.r[y][x] > fewer.r[y][x];
    }
  EXPECT_GT(added, 0);
}

TEST(Snowfall, AFlakeFallsAtASteadySpeedSlantedByTheWindOnly) {
  // One flake on black, followed through the frames in which it is wholly inside.
  for (float wind : {0.0f, 50.0f, -30.0f}) {
    struct Spot {
      double mass, x, y;
    };
    std::vector<Spot> seen;
    for (int32_t frame = 0; frame < 80; ++frame) {
      const testing::Rgb out = RunOn(FlatRgba(200, 300, 0, 0, 0), "Snowfall", {1, 10, wind, 0, 8, 255}, frame);
      Spot s{0, 0, 0};
      for (int32_t y = 0; y < 300; ++y)
        for (int32_t x = 0; x < 200; ++x) {
          s.mass += out.r[y][x];
          s.x += double(x) * out.r[y][x];
          s.y += double(y) * out.r[y][x];
        }
      seen.push_back({s.mass, s.mass > 0 ? s.x / s.mass : -1, s.mass > 0 ? s.y / s.mass : -1});
    }
    double most = 0;
    for (const Spot& s : seen) most = std::max(most, s.mass);
    int steps = 0;
    for (size_t f = 0; f + 2 < seen.size(); ++f) {
      const Spot &a = seen[f], &b = seen[f + 1], &c = seen[f + 2];
      if (std::min({a.mass, b.mass, c.mass}) < 0.97 * most) continue;  // at an edge
      ++steps;
      EXPECT_GT(b.y - a.y, 2.9) << wind;  // 10 px a frame times the depth (0.3..1)
      EXPECT_NEAR(c.y - b.y, b.y - a.y, 0.1) << wind;
      EXPECT_NEAR(b.x - a.x, (b.y - a.y) * wind / 100.0, 0.1) << wind;  // wind / 10 against velocity 10
    }
    EXPECT_GT(steps, 15) << wind;
  }
}

// ---------------------------------------------------------------------------------------

TEST(OldFilm, LevelZeroIsTheFrameAndAnyLevelKeepsGreysWarm) {
  EffectRig rig(NoiseRgba(90, 60, 7));
  EXPECT_TRUE(rig.Run("Old film", {0}).Working() == rig.Host());
  EXPECT_TRUE(rig.Run("Old film", {0.4f}).Working() == rig.Host()) << "rounds to level 0";
  for (float level : {64.0f, 128.0f, 255.0f})
    for (int32_t frame : {0, 9, 31}) {
      const testing::Rgb out = RunOn(FlatRgba(320, 240, 128, 128, 128), "Old film", {level}, frame);
      for (int32_t y = 0; y < 240; ++y)
        for (int32_t x = 0; x < 320; ++x)
          ASSERT_TRUE(out.r[y][x] >= out.g[y][x] && out.g[y][x] >= out.b[y][x]) << level << " " << x << "," << y;
      if (level == 255.0f) {
        EXPECT_GT(out.r[120][160] - out.b[120][160], 30) << "sepia";
      }
    }
}

TEST(OldFilm, ScratchesStayOnTheFilmFromFrameToFrame) {
  // Bright columns (scratches) of a flat grey at full level, frame after frame.
  auto scratch_columns = [](int32_t frame) {
    const testing::Rgb out = RunOn(FlatRgba(400, 200, 100, 100, 100), "Old film", {255}, frame);
    std::vector<double> column(400);
    for (int32_t x = 0; x < 400; ++x) column[x] = MeanOf(out.g, x, 0, x + 1, 200);
    std::vector<int32_t> found;
    for (int32_t x = 3; x < 397; ++x)
      if (column[x] > (column[x - 3] + column[x + 3]) / 2 + 12) found.push_back(x);
    return found;
  };
  int seen = 0, kept = 0;
  for (int32_t frame = 0; frame < 40; ++frame) {
    const std::vector<int32_t> now = scratch_columns(frame), next = scratch_columns(frame + 1);
    for (int32_t x : now) {
      ++seen;
      kept += std::any_of(next.begin(), next.end(), [x](int32_t n) { return std::abs(n - x) <= 1; });
    }
  }
  EXPECT_GT(seen, 40);
  EXPECT_GT(kept, seen * 3 / 4);
}

// ---------------------------------------------------------------------------------------

// A host that counts the writes to its stored frame.
struct WriteCounter : HostObserver {
  void OnFrameWritten(int32_t) override { ++writes; }
  int writes = 0;
};

TEST(LensFlare, AddsLightAndLeavesTheHostFrameAsItWas) {
  const testing::Frame frame = testing::NoiseFrame(200, 120, 3);
  testing::TestFrame t(frame, 1);
  const testing::Rgb stored = testing::Host(t.Fetch());
  const ImageState& s = t.RunDefaults("Lens flare");
  int brighter = 0;
  for (int32_t y = 0; y < 120; ++y)
    for (int32_t x = 0; x < 200; ++x) {
      ASSERT_TRUE(s.work_r[y][x] >= stored.r[y][x] && s.work_g[y][x] >= stored.g[y][x] &&
                  s.work_b[y][x] >= stored.b[y][x]);
      brighter += s.work_r[y][x] > stored.r[y][x];
    }
  EXPECT_GT(brighter, 1000);
  EXPECT_TRUE(testing::Host(t.Fetch()) == stored) << "the host's frame is as it was";

  WriteCounter counter;
  t.host().AddObserver(&counter);
  t.RunDefaults("Lens flare", {{2, 0}});
  EXPECT_EQ(counter.writes, 0) << "level 0 asks nothing of the host";
  EXPECT_TRUE(testing::WorkingEqualsHost(t.image()));
  t.host().RemoveObserver(&counter);
}

TEST(LensFlare, TheHostFrameComesBackWhenTheHostFailsOnTheWay) {
  // Which call fails, and which call of that name: the dispatch reads the frame itself
  // first; putting green back fails once and is tried again.
  for (auto [failing, on_call] : {std::pair{"Tes_RenderLensFlare", 1}, std::pair{"Tes_GetBBuffer", 2},
                                  std::pair{"tes_setgbuffer", 1}}) {
    const testing::Frame frame = testing::NoiseFrame(64, 40, 9);
    int calls = 0;
    testing::TestFrame t(64, 40, 1, [failing, on_call, &calls](std::shared_ptr<EmbeddedHost> inner) {
      return std::make_shared<LateBoundHost>(
          [inner, failing, on_call, &calls](std::string_view name, std::vector<AutomationValue>& args) {
            if (name == failing && ++calls == on_call) throw Error(ErrorKind::IoError, std::string(name) + " failed");
            return inner->Call(name, args);
          });
    });
    t.SetFrame(frame.r, frame.g, frame.b);
    EXPECT_THROW(t.RunDefaults("Lens flare"), Error) << failing;
    const testing::Rgb now{t.host().Tes_GetRBuffer(), t.host().Tes_GetGBuffer(), t.host().Tes_GetBBuffer()};
    EXPECT_TRUE((now == testing::Rgb{frame.r.Clone(), frame.g.Clone(), frame.b.Clone()})) << failing;
  }
}

TEST(LensFlare, LevelSizesTheFlareOverItsWholeRangeAndTheBrightestPointIsTheSource) {
  // On black, the lit area grows with every step of Level, and the default is not a white-out.
  const int32_t w = 320, h = 180;
  int64_t lit_before = 0;
  for (float level : {200.0f, 600.0f, 1000.0f, 1500.0f, 2000.0f}) {
    testing::TestFrame t(testing::FlatRgba(w, h, 0, 0, 0), 1);
    const ImageState& s = t.Run("Lens flare", {30, 40, level});
    int64_t lit = 0, white = 0;
    int best = -1;
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        const int v = s.work_r[y][x] + s.work_g[y][x] + s.work_b[y][x];
        lit += v > 24;
        white += s.work_r[y][x] == 255;
        best = std::max(best, v);
      }
    double bx = 0, by = 0, count = 0;  // the middle of the brightest pixels
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x)
        if (s.work_r[y][x] + s.work_g[y][x] + s.work_b[y][x] == best) bx += x, by += y, ++count;
    bx /= count;
    by /= count;
    EXPECT_GT(lit, lit_before * 11 / 10) << level;
    lit_before = lit;
    if (level <= 1000.0f) {
      EXPECT_LT(white, int64_t{w} * h / 50) << level;
    }
    EXPECT_LE(std::hypot(bx - 0.3 * w, by - 0.4 * h), 3.0) << level;
  }
}

// ---------------------------------------------------------------------------------------

TEST(ApplyCurrentPaper, ReliefRepeatsWithThePaperKeepsBlackAndVanishesWhenFlatOrOff) {
  const int32_t w = 90, h = 70;
  testing::TestFrame t(testing::FlatRgba(w, h, 150, 100, 0), 1);
  t.host().SetPaper(Noise(16, 12, 5));
  const ImageState& s = t.Run("Apply current paper", {60});
  EXPECT_FALSE(testing::WorkingEqualsHost(s));
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      ASSERT_EQ(s.work_r[y][x], s.work_r[y % 12][x % 16]) << x << "," << y;
      ASSERT_EQ(s.work_b[y][x], 0);
    }
  t.Run("Apply current paper", {0});
  EXPECT_TRUE(testing::WorkingEqualsHost(t.image()));
  t.host().SetPaper(Flat(16, 12, 77));
  t.Run("Apply current paper", {255});
  EXPECT_TRUE(testing::WorkingEqualsHost(t.image()));
  t.host().SetPaper(Plane(0, 0));
  t.Run("Apply current paper", {255});
  EXPECT_TRUE(testing::WorkingEqualsHost(t.image()));
}

// ---------------------------------------------------------------------------------------

TEST(SobelEdgeDetect, FlatRgbasAreBlackAndEdgesGrey) {
  EXPECT_TRUE(SamePicture(RunOn(FlatRgba(30, 20, 10, 200, 90), "Sobel edge detect", {}),
                          RunOn(FlatRgba(30, 20, 0, 0, 0), "Sobel edge detect", {})));
  const testing::Rgb edges = RunOn(NoiseRgba(30, 20, 2), "Sobel edge detect", {});
  EXPECT_TRUE(Grey(edges));
  EXPECT_GT(MeanOf(edges.r, 0, 0, 30, 20), 50);
}

TEST(DigitalPhotoEnhance, OffFlatAndGreyStayAsTheyAre) {
  EffectRig noise(NoiseRgba(80, 60, 11));
  EXPECT_TRUE(noise.Run("Digital photo enhance", {0, 0}).Working() == noise.Host());
  EXPECT_FALSE(noise.Run("Digital photo enhance", {255, 255}).Working() == noise.Host());
  EffectRig flat(FlatRgba(80, 60, 30, 140, 250));
  EXPECT_TRUE(flat.Run("Digital photo enhance", {255, 255}).Working() == flat.Host());
  const Plane grey = Noise(80, 60, 12);
  const testing::Rgb g = RunOn(MakeRgba(80, 60, [&](int, int32_t x, int32_t y) { return grey[y][x]; }),
                               "Digital photo enhance", {255, 255});
  EXPECT_TRUE(Grey(g));
  EXPECT_FALSE(SamePicture(g.r, grey));
  // Colour smoothing alone leaves the luma as it was, rounding aside.
  const testing::Rgb c = noise.Run("Digital photo enhance", {0, 255}).Working();
  const testing::Rgb in = noise.Host();
  int changed = 0;
  for (int32_t y = 0; y < 60; ++y)
    for (int32_t x = 0; x < 80; ++x) {
      const double before = 0.299 * in.r[y][x] + 0.587 * in.g[y][x] + 0.114 * in.b[y][x];
      const double after = 0.299 * c.r[y][x] + 0.587 * c.g[y][x] + 0.114 * c.b[y][x];
      const bool clamped = std::min({c.r[y][x], c.g[y][x], c.b[y][x]}) == 0 ||
                           std::max({c.r[y][x], c.g[y][x], c.b[y][x]}) == 255;
      if (!clamped) {
        ASSERT_NEAR(after, before, 1.0) << x << "," << y;
      }
      changed += c.r[y][x] != in.r[y][x];
    }
  EXPECT_GT(changed, 80 * 60 / 2);
}

TEST(DigitalPhotoEnhance, ColourNoiseIsSmoothedButColoursDoNotRunAcrossEdges) {
  // Left: green with colour noise of +-6 levels; right: a magenta of the same luma.
  const int32_t w = 64, h = 40;
  const Plane noise = Noise(w, h, 21);
  auto frame = MakeRgba(w, h, [&](int c, int32_t x, int32_t y) -> uint8_t {
    if (x >= w / 2) return c == 1 ? 80 : 200;
    const int wobble = (noise[y][x] >> (2 * c)) % 13 - 6;
    return static_cast<uint8_t>((c == 0 ? 20 : c == 1 ? 200 : 50) + wobble);
  });
  EffectRig rig(std::move(frame));
  const testing::Rgb out = rig.Run("Digital photo enhance", {0, 255}).Working();
  const testing::Rgb in = rig.Host();
  // The spread of a colour difference (red less green) over the noisy half, edge left out.
  auto spread = [&](const testing::Rgb& p) {
    double sum = 0, squares = 0, n = 0;
    for (int32_t y = 4; y < h - 4; ++y)
      for (int32_t x = 4; x < w / 2 - 4; ++x, ++n) {
        const double d = p.r[y][x] - p.g[y][x];
        sum += d;
        squares += d * d;
      }
    return std::sqrt(squares / n - (sum / n) * (sum / n));
  };
  EXPECT_LT(spread(out), spread(in) / 2);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = w / 2 + 2; x < w; ++x)
      ASSERT_TRUE(std::abs(out.r[y][x] - 200) <= 3 && std::abs(out.g[y][x] - 80) <= 3) << x << "," << y;
}

}  // namespace
}  // namespace tessfx
