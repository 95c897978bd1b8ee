// The host link: start-up, by-name calls and the late-bound adapter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/error.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/late_bound_host.h"
#include "host/scratch_folder.h"

namespace tessfx {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::ScratchFolder;

// Samples that differ by `tag` and position, so that mixed-up planes show.
Plane Marked(int32_t w, int32_t h, int tag) {
  Plane p(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) p[y][x] = static_cast<uint8_t>(tag + y * 3 + x);
  return p;
}

// A 6x4 animation of 3 frames at frame 2, whose sizes, counts and planes all differ.
std::shared_ptr<EmbeddedHost> MarkedHost(const ScratchFolder& dir, const std::string& settings = "s.ini") {
  auto host = std::make_shared<EmbeddedHost>(
      EmbeddedHostOptions{.temp_dir = dir.str(), .settings_path = dir / settings, .memory_store = true});
  host->NewAnimation(6, 4, 3);
  for (int32_t f = 0; f < 3; ++f)
    for (Channel c : {Channel::R, Channel::G, Channel::B})
      host->WriteFramePlane(f, c, Marked(6, 4, f * 40 + static_cast<int>(c) * 10));
  host->SetSwapImage(Marked(6, 4, 100), Marked(6, 4, 110), Marked(6, 4, 120));
  host->SetPaper(Marked(7, 5, 130));
  host->SetBrush(Marked(9, 8, 140), Marked(9, 8, 150), Marked(9, 8, 160), Marked(9, 8, 170));
  host->SetWallpaper("/wall.png");
  host->set_alpha_bits(1);
  host->Tes_GotoFrame(2);
  return host;
}

// A LateBoundHost that sends every call to `inner` by name, noting the names.
std::shared_ptr<LateBoundHost> Remote(std::shared_ptr<EmbeddedHost> inner, std::vector<std::string>& sent) {
  return std::make_shared<LateBoundHost>(
      [inner, &sent](std::string_view name, std::vector<AutomationValue>& args) {
        sent.emplace_back(name);
        return inner->Call(name, args);
      });
}

TEST(Startup, ReadsGeometryThenThePlanesOfTheCurrentFrameIntoIndependentWorkingPlanes) {
  ScratchFolder dir;
  std::vector<std::string> sent;
  HostRegistry registry;
  registry.Register(kHostProgId, [&] { return Remote(MarkedHost(dir), sent); });
  auto shared = SharedState::Startup(registry);
  EXPECT_THAT(sent, ElementsAre("Tes_BufferHeight", "Tes_BufferWidth", "Tes_GetAlphabits", "Tes_GetRBuffer",
                                "Tes_GetGBuffer", "Tes_GetBBuffer", "Tes_GetaBuffer"));
  ImageState& s = shared->image();
  EXPECT_EQ(std::tuple(s.width, s.height, s.alpha_bits), std::tuple(6, 4, 1));
  EXPECT_EQ(s.host_r[1][2], 2 * 40 + 0 + 3 + 2);
  EXPECT_EQ(s.host_a[0][0], 255);  // frames without alpha are fully selected
  EXPECT_TRUE(s.work_g == s.host_g);
  s.work_g[0][0] = 0;  // an independent copy
  EXPECT_NE(s.host_g[0][0], 0);

  EXPECT_THROW(SharedState::Startup(HostRegistry{}), Error);  // nothing under the ProgID
}

struct Recorder : HostObserver {
  std::string log;
  void OnRefresh() override { log += "refresh "; }
  void OnFrameChanged(int32_t f) override { log += "frame " + std::to_string(f) + " "; }
  void OnFrameWritten(int32_t f) override { log += "written " + std::to_string(f) + " "; }
  void OnAnimationReplaced() override { log += "replaced "; }
  void OnFormObject(ObjectRef) override { log += "form "; }
  void OnPlay() override { log += "play "; }
  void OnStop() override { log += "stop "; }
  void OnFlareSettings() override { log += "flare "; }
};

// What the operations can change: the notifications so far and the planes of the current frame.
std::string StateOf(EmbeddedHost& h, const Recorder& events) {
  std::string s = events.log;
  const Plane planes[] = {h.Tes_GetRBuffer(), h.Tes_GetGBuffer(), h.Tes_GetBBuffer(), h.Tes_GetaBuffer()};
  for (const Plane& p : planes) s.append(reinterpret_cast<const char*>(p.data()), p.size());
  return s;
}

using Result = std::variant<std::monostate, int32_t, std::string, std::vector<uint8_t>, Plane>;
#define GET(CALL) [](TessalineHost& h) -> Result { return h.CALL; }
#define DO(CALL) [](TessalineHost& h) -> Result { h.CALL; return {}; }

TEST(HostByName, EveryOperationReachesTheSameCodeAsItsTypedCall) {
  static int form = 0;
  // Readings first, while every plane is still told apart; the animation is replaced last.
  const std::function<Result(TessalineHost&)> operations[] = {
      GET(Tes_BufferHeight()), GET(Tes_BufferWidth()), GET(Tes_GetAlphabits()),
      GET(tes_GetTotalFrames()), GET(tes_Getcurrentframe()),
      GET(Tes_GetRBuffer()), GET(Tes_GetGBuffer()), GET(Tes_GetBBuffer()), GET(Tes_GetaBuffer()),
      GET(Tes_GetRFrame(1)), GET(Tes_GetGFrame(1)), GET(Tes_GetBFrame(1)),
      GET(tes_GetSwapRBuffer()), GET(tes_GetSwapGBuffer()), GET(tes_GetSwapBBuffer()),
      GET(Tes_GetPaperWidth()), GET(Tes_GetPaperHeight()), GET(tes_GetBump()),
      GET(Tes_GetBrushWidth()), GET(Tes_GetBrushHeight()), GET(Tes_GetBrushrBuffer()),
      GET(Tes_GetBrushgBuffer()), GET(Tes_GetBrushbBuffer()), GET(Tes_GetBrushaBuffer()),
      GET(Tes_GetGradient(3)), GET(Tes_GetTempDir()), GET(Tes_WallpaperFilename()),
      DO(SaveSetting("tessfx", "Probe", "key", "set")), GET(GetSetting("tessfx", "Probe", "key", "fallback")),
      DO(tes_setrbuffer(Plane(6, 4, 1))), DO(tes_setgbuffer(Plane(6, 4, 2))),
      DO(tes_setbbuffer(Plane(6, 4, 3))), DO(Tes_GotoFrame(1)),
      DO(Tes_Refresh()), DO(tes_PlayAnimation()), DO(tes_StopAnimation()),
      DO(Tes_RenderLensFlare(1.0f, 2, 1, 0, 0, 0, 0)), DO(Tes_FlareSettings()),
      DO(Tes_SendFormObject(ObjectRef{&form}, 0)), DO(tes_clearbuffer(1, 2, 3)), DO(Tes_CreateAnim(5)),
  };
  ScratchFolder dir;
  Recorder direct_events, inner_events;
  auto direct = MarkedHost(dir, "direct.ini"), inner = MarkedHost(dir, "inner.ini");
  direct->AddObserver(&direct_events);
  inner->AddObserver(&inner_events);
  std::vector<std::string> sent;
  auto remote = Remote(inner, sent);
  // One host takes each call typed, the other by name: they stay alike while each call is right.
  for (const auto& operation : operations) {
    EXPECT_TRUE(operation(*direct) == operation(*remote)) << sent.back();
    EXPECT_TRUE(StateOf(*direct, direct_events) == StateOf(*inner, inner_events)) << sent.back();
  }
  // Observers hear writes, frame moves and playback.
  EXPECT_THAT(direct_events.log, HasSubstr("written 2 written 2 written 2 frame 1 refresh play stop written 1"));
  const auto& names = TessalineHost::OperationNames();
  const std::set<std::string> reached(sent.begin(), sent.end());
  EXPECT_EQ(reached, std::set<std::string>(names.begin(), names.end()));
  // Clearing takes its colour in red, green, blue order, each clamped to a byte.
  direct->tes_clearbuffer(300, -4, 7);
  EXPECT_EQ((std::array{direct->Tes_GetRBuffer()[0][0], direct->Tes_GetGBuffer()[1][1], direct->Tes_GetBBuffer()[0][1]}),
            (std::array<uint8_t, 3>{255, 0, 7}));
}
#undef GET
#undef DO

TEST(HostByName, ConvertsArgumentsAsALateBoundCallerAndErrorsNameTheOperation) {
  ScratchFolder dir;
  auto host = MarkedHost(dir);
  auto single = MakeArgs(0.5f);  // a Single where a Long is expected: halves round to even
  host->Call("Tes_GotoFrame", single);
  EXPECT_EQ(host->tes_Getcurrentframe(), 0);
  struct Case {
    std::string name;
    std::vector<AutomationValue> args;
    std::string message;
  } cases[] = {
      {"Tes_NoSuchThing", {}, "no operation named \"Tes_NoSuchThing\""},
      {"Tes_GotoFrame", MakeArgs(std::string("x")), "Tes_GotoFrame argument 1: expected a number"},
      {"Tes_Refresh", MakeArgs(int32_t{1}, int32_t{2}), "Tes_Refresh: expects 0 argument(s), got 2"},
      {"tes_setgbuffer", MakeArgs(int32_t{1}), "tes_setgbuffer argument 1: expected a byte plane, got Long"},
      {"tes_clearbuffer", MakeArgs(0, 40000, 0), "tes_clearbuffer argument 2: value out of Integer range"},
  };
  for (Case& c : cases)
    EXPECT_THAT([&] { host->Call(c.name, c.args); }, ::testing::ThrowsMessage<Error>(HasSubstr(c.message)));
}

}  // namespace
}  // namespace tessfx
