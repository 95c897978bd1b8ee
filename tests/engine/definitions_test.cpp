// Every definition against what its effect does through the dispatch: the composite it
// declares against how the alpha plane shows in the result, the inputs it declares against
// what it asks of the host, and a host whose planes are not the size it reports, refused
// for every effect before anything reads them.
#include <gtest/gtest.h>

#include <set>

#include "core/error.h"
#include "effects/test_frame.h"
#include "engine/catalogue.h"
#include "host/late_bound_host.h"

namespace tessfx {
namespace {

using testing::Noise;
using testing::SliderEnd;
using testing::TestFrame;

// Values that make every effect visibly change the frame: each slider at the end of its
// range farther from its default (the maximum on a tie), the level of a level mix full.
// Failing that, every slider at its maximum, or at its default.
EffectParams FarEnds(const EffectDef& e) {
  EffectParams p{};
  for (size_t i = 0; i < e.sliders.size(); ++i) {
    const SliderSpec& s = e.sliders[i];
    p[i] = s.value - s.min > s.max - s.value ? s.min : s.max;
  }
  if (e.composite.level_mix_slider >= 0) p[static_cast<size_t>(e.composite.level_mix_slider)] = 255;
  return p;
}

// Noise in the frames, the swap image and a sequence picture (alpha noise too), alpha 0 on
// the left half of the frames and 255 on the right; the host at the last frame.
void Prepare(TestFrame& f, int32_t w, int32_t h, int32_t flag) {
  const int32_t last = f.host().tes_GetTotalFrames() - 1;
  for (int32_t frame = 0; frame <= last; ++frame) {
    const uint32_t seed = frame == last ? 1 : 10 * (frame + 2);
    f.SetFrame(Noise(w, h, seed), Noise(w, h, seed + 1), Noise(w, h, seed + 2), frame);
    f.SetAlpha(testing::Make(w, h, [w](int32_t, int32_t x) -> uint8_t { return x < w / 2 ? 0 : 255; }), frame);
  }
  f.host().Tes_GotoFrame(last);
  f.SetSwap(Noise(w, h, 4), Noise(w, h, 5), Noise(w, h, 6));
  f.host().set_alpha_bits(flag);
  testing::NoiseSequence(f, w, h, 7);
}

testing::Rgb Result(const EffectDef& e, const EffectParams& p, int32_t flag) {
  TestFrame f(130, 6, 2);  // wide enough for the displace; an earlier frame for the echo
  Prepare(f, 130, 6, flag);
  f.Dispatch(std::string(e.name), p);
  return testing::Working(f.image());
}

bool SameAt(const testing::Rgb& a, const testing::Rgb& b, int32_t y, int32_t x) {
  return a.r[y][x] == b.r[y][x] && a.g[y][x] == b.g[y][x] && a.b[y][x] == b.b[y][x];
}

TEST(Definitions, TheDeclaredCompositeIsWhatTheAlphaDoes) {
  const testing::Rgb frame{Noise(130, 6, 1), Noise(130, 6, 2), Noise(130, 6, 3)};
  for (const EffectDef& e : Effects()) {
    if (!e.implemented()) continue;
    EffectParams p = FarEnds(e);
    for (auto end : {SliderEnd::Max, SliderEnd::Min, SliderEnd::Default})  // the brush is off the frame at both ends
      if (Result(e, p, 1) == frame) p = testing::SlidersAt(e, end);
    const testing::Rgb plain = Result(e, p, 1);
    ASSERT_FALSE(plain == frame) << e.name << " changes nothing at the ends of its sliders";
    // Any flag but 0 means no composite, 256 as well as 1.
    for (int32_t flag : {256, -1}) ASSERT_TRUE(Result(e, p, flag) == plain) << e.name << " with flag " << flag;
    const bool through_alpha = e.composite.alpha != AlphaStep::None;
    const testing::Rgb mixed = Result(e, p, 0);
    for (int32_t y = 0; y < 6; ++y)
      for (int32_t x = 0; x < 130; ++x)
        ASSERT_TRUE(SameAt(mixed, through_alpha && x < 65 ? frame : plain, y, x))
            << e.name << (through_alpha ? " shows where alpha is 0" : " keeps the frame where alpha is 0") << " at "
            << x << "," << y;
  }
}

// The host operations each kind of input may use, beyond the dispatch's own.
const std::map<uint32_t, std::set<std::string>> kOperationsOfInput = {
    {kSwapImage, {"tes_GetSwapRBuffer", "tes_GetSwapGBuffer", "tes_GetSwapBBuffer"}},
    {kOtherFrames, {"Tes_GetRFrame", "Tes_GetGFrame", "Tes_GetBFrame"}},
    {kHostGradients, {"Tes_GetGradient"}},
    {kHostPaper, {"Tes_GetPaperWidth", "Tes_GetPaperHeight", "tes_GetBump"}},
    {kHostBrush,
     {"Tes_GetBrushWidth", "Tes_GetBrushHeight", "Tes_GetBrushrBuffer", "Tes_GetBrushgBuffer", "Tes_GetBrushbBuffer",
      "Tes_GetBrushaBuffer"}},
    {kHostDrawing,
     {"tes_clearbuffer", "Tes_RenderLensFlare", "Tes_GetRBuffer", "Tes_GetGBuffer", "Tes_GetBBuffer", "tes_setrbuffer",
      "tes_setgbuffer", "tes_setbbuffer"}},
};
const std::set<std::string> kDispatchOperations = {"Tes_GetRBuffer",  "Tes_GetGBuffer",     "Tes_GetBBuffer",
                                                   "Tes_GetaBuffer",  "Tes_GetAlphabits",   "Tes_BufferHeight",
                                                   "Tes_BufferWidth", "tes_GetTotalFrames", "tes_Getcurrentframe"};

TEST(Definitions, EffectsAskTheHostOnlyForWhatTheyDeclare) {
  for (const EffectDef& e : Effects()) {
    if (!e.implemented()) continue;
    std::vector<std::string> calls;
    TestFrame f(130, 6, 3, [&calls](std::shared_ptr<EmbeddedHost> inner) {
      return std::make_shared<LateBoundHost>(
          [inner, &calls](std::string_view name, std::vector<AutomationValue>& args) {
            calls.emplace_back(name);
            return inner->Call(name, args);
          });
    });
    Prepare(f, 130, 6, 0);
    f.host().Tes_GotoFrame(2);
    bool sequence_asked = false;
    f.sequence_file = [&sequence_asked](int32_t) -> std::optional<std::string> {
      sequence_asked = true;
      return std::nullopt;
    };
    calls.clear();
    f.Dispatch(std::string(e.name), FarEnds(e));
    std::set<std::string> allowed = kDispatchOperations;
    for (const auto& [input, operations] : kOperationsOfInput)
      if (e.Uses(input)) allowed.insert(operations.begin(), operations.end());
    for (const std::string& call : calls) EXPECT_TRUE(allowed.count(call)) << e.name << " called " << call;
    EXPECT_EQ(sequence_asked, e.Uses(kSequenceFrame)) << e.name;
    if (e.Uses(kSwapImage)) {
      EXPECT_NE(std::find(calls.begin(), calls.end(), "tes_GetSwapRBuffer"), calls.end()) << e.name;
    }
  }
}

// A host reached by name whose planes are 8 x 8 (or whose swap planes are) while it
// reports frames of another size.
std::string DispatchOnLyingHost(const EffectDef& e, int32_t reported, bool swap_only) {
  TestFrame f(8, 8, 1, [reported, swap_only](std::shared_ptr<EmbeddedHost> inner) {
    return std::make_shared<LateBoundHost>(
        [inner, reported, swap_only](std::string_view name, std::vector<AutomationValue>& args) -> AutomationValue {
          if (name == "Tes_BufferWidth" || name == "Tes_BufferHeight") return swap_only ? int32_t{8} : reported;
          if (swap_only && name.rfind("tes_GetSwap", 0) == 0) return Plane(reported, reported);
          return inner->Call(name, args);
        });
  });
  Prepare(f, 8, 8, 0);
  try {
    f.Dispatch(std::string(e.name), FarEnds(e));
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::BadData);
    return error.what();
  }
  return {};
}

TEST(Definitions, PlanesOfAnotherSizeThanReportedAreRefusedBeforeAnyEffectRuns) {
  for (const EffectDef& e : Effects()) {
    if (!e.implemented()) continue;
    for (int32_t reported : {64, 4})
      EXPECT_NE(DispatchOnLyingHost(e, reported, false)
                    .find("planes are 8x8, but it reports frames of " + std::to_string(reported) + "x" +
                          std::to_string(reported)),
                std::string::npos)
          << e.name;
    if (e.Uses(kSwapImage)) {
      EXPECT_NE(DispatchOnLyingHost(e, 64, true).find("swap image planes are 64x64"), std::string::npos) << e.name;
    }
  }
}

TEST(Catalogue, SixteenHeadingsAndNinetySixEffectsInListOrder) {
  EXPECT_EQ(List1Rows().size(), 112u);
  EXPECT_EQ(Categories().size(), 16u);
  EXPECT_EQ(List1Rows().front(), "Adjust");
  EXPECT_EQ(List1Rows()[1], "    Color adjustment");
  EXPECT_EQ(List1Rows().back(), "    Wave brush in breeze");
  for (const EffectDef& e : Effects()) {
    EXPECT_FALSE(e.description.empty()) << e.name;
    EXPECT_LE(e.sliders.size(), 6u) << e.name;
    // A level mix by one of the six values (a hidden slider's, for the two field filters).
    EXPECT_LT(e.composite.level_mix_slider, 6) << e.name;
  }
}

TEST(Catalogue, NamesFromUsersMatchIgnoringCaseAndSuggestByLikeness) {
  EXPECT_EQ(&EffectNamedByUser("color ADD"), FindEffect("Color add"));
  EXPECT_EQ(FindEffect("color add"), nullptr);  // the dispatch matches exactly
  struct Case {
    const char* typed;
    const char* first;
  };
  for (const Case& c : {Case{"Colour add", "Color add"}, Case{"gaussian", "Gaussian blur"}, Case{"Mosiac", "Mosaic"},
                        Case{"combine xro", "Combine Xor"}, Case{"sharpn", "Sharpen"}}) {
    const std::vector<std::string> near = NearestEffectNames(c.typed);
    ASSERT_FALSE(near.empty()) << c.typed;
    EXPECT_EQ(near.front(), c.first) << c.typed;
  }
  EXPECT_TRUE(NearestEffectNames("qqqqqqqqqq").empty());
  try {
    EffectNamedByUser("nope");
    ADD_FAILURE();
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::Usage);
  }
}

TEST(Catalogue, AHostileNameGivesAShortEscapedMessage) {
  std::string name(10'000'000, 'x');
  name.replace(0, 6, "\x1b[31mC");
  const std::string message = UnknownEffectMessage(name);
  EXPECT_LT(message.size(), 200u);
  EXPECT_EQ(message.find('\x1b'), std::string::npos);
  EXPECT_NE(message.find("\\x1b[31mC"), std::string::npos) << message;
}

}  // namespace
}  // namespace tessfx
