// The host link: the lookup tables, start-up, by-name calls and the late-bound adapter.
#include <gtest/gtest.h>

#include "core/error.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/late_bound_host.h"
#include "host/lookup_tables.h"

namespace tessfx {
namespace {

TEST(LookupTables, ValuesOfTheCombineModes) {
  const LookupTables t = BuildLookupTables();
  EXPECT_EQ(t.subtract[200][50], 0);
  EXPECT_EQ(t.subtract[50][200], 150);
  for (int x = 0; x < 256; ++x) EXPECT_EQ(t.divide[0][x], 255);
  EXPECT_EQ(t.divide[2][1], 128);  // 127.5 rounds to even
  EXPECT_EQ(t.divide[10][200], 255);
  EXPECT_EQ(t.around_grey[0][0], 0);
  EXPECT_EQ(t.around_grey[255][255], 255);
  EXPECT_EQ(t.around_grey[128][0], 1);
  EXPECT_EQ(t.multiply[255][255], 255);
  EXPECT_EQ(t.multiply[255][1], 1);
  EXPECT_EQ(t.multiply[128][128], 64);
  EXPECT_EQ(t.add[200][100], 255);
  EXPECT_EQ(t.screen[0][77], 77);
  EXPECT_EQ(t.screen[255][0], 255);
  EXPECT_EQ(t.screen[128][128], 192);  // 127/255*128 + 128 = 191.75
}

std::shared_ptr<EmbeddedHost> SmallHost(int32_t w, int32_t h, int32_t frames) {
  auto host = std::make_shared<EmbeddedHost>();
  host->NewAnimation(w, h, frames);
  for (int32_t f = 0; f < frames; ++f)
    for (Channel c : {Channel::R, Channel::G, Channel::B}) {
      Plane p(w, h);
      for (int32_t y = 0; y <= h; ++y)
        for (int32_t x = 0; x <= w; ++x) p[y][x] = static_cast<uint8_t>(f * 40 + static_cast<int>(c) * 10 + y * 3 + x);
      host->WriteFramePlane(f, c, p);
    }
  return host;
}

HostRegistry RegistryFor(std::shared_ptr<TessalineHost> host) {
  HostRegistry r;
  r.Register(kHostProgId, [host] { return host; });
  return r;
}

TEST(Startup, FetchesTheCurrentFrameIntoIndependentWorkingPlanes) {
  auto host = SmallHost(6, 4, 3);
  host->Tes_GotoFrame(2);
  auto shared = SharedState::Startup(RegistryFor(host));
  ImageState& s = shared->image();
  EXPECT_EQ(shared->selected_key_index, -1);
  EXPECT_EQ(s.width, 6);
  EXPECT_EQ(s.height, 4);
  EXPECT_EQ(s.alpha_bits, 0);
  EXPECT_EQ(s.host_r[1][2], 2 * 40 + 0 + 3 + 2);
  EXPECT_EQ(s.host_a[0][0], 255);  // frames without alpha are fully selected
  EXPECT_TRUE(s.work_g == s.host_g);
  s.work_r[0][0] = 99;
  s.work_a[0][0] = 0;
  EXPECT_NE(s.host_r[0][0], 99);
  EXPECT_EQ(s.host_a[0][0], 255);
  EXPECT_EQ(shared->tables().multiply[128][128], 64);
}

TEST(Startup, UnknownProgIdEndsStartup) {
  HostRegistry empty;
  EXPECT_THROW(SharedState::Startup(empty), Error);
}

TEST(HostByName, ReachesTheSameOperationsAsTypedCalls) {
  auto host = SmallHost(5, 3, 4);
  auto args = MakeArgs(int32_t{3});
  host->Call("Tes_GotoFrame", args);
  EXPECT_EQ(host->tes_Getcurrentframe(), 3);
  EXPECT_EQ(std::get<int32_t>(host->Call("Tes_BufferWidth")), 5);
  AutomationValue plane = host->Call("Tes_GetGBuffer");
  EXPECT_TRUE(std::get<Plane>(plane) == host->Tes_GetGBuffer());
  // A Single argument where a Long is expected is converted, as a late-bound caller would.
  auto single = MakeArgs(2.5f);
  host->Call("Tes_GotoFrame", single);
  EXPECT_EQ(host->tes_Getcurrentframe(), 2);
  std::vector<AutomationValue> set;
  set.emplace_back(Plane(5, 3, 77));
  host->Call("tes_setrbuffer", set);
  EXPECT_EQ(host->Tes_GetRBuffer()[1][1], 77);
  EXPECT_EQ(host->Tes_GetRFrame(3)[1][1], 3 * 40 + 3 + 1);  // other frames untouched
}

TEST(HostByName, ErrorsNameTheOperation) {
  auto host = SmallHost(2, 2, 1);
  try {
    host->Call("Tes_NoSuchThing");
    FAIL();
  } catch (const Error& e) {
    EXPECT_NE(std::string(e.what()).find("Tes_NoSuchThing"), std::string::npos);
  }
  auto wrong = MakeArgs(std::string("x"));
  try {
    host->Call("Tes_GotoFrame", wrong);
    FAIL();
  } catch (const Error& e) {
    EXPECT_NE(std::string(e.what()).find("Tes_GotoFrame"), std::string::npos);
  }
  auto too_many = MakeArgs(int32_t{1}, int32_t{2});
  EXPECT_THROW(host->Call("Tes_Refresh", too_many), Error);
  auto not_plane = MakeArgs(int32_t{1});
  EXPECT_THROW(host->Call("tes_setgbuffer", not_plane), Error);
}

TEST(HostByName, EveryOperationIsCallableByName) {
  // Each name reaches a typed operation (wrong argument counts fail with a usage error,
  // never with "no operation named").
  auto host = SmallHost(3, 3, 2);
  for (const std::string& name : TessalineHost::OperationNames()) {
    std::vector<AutomationValue> none;
    try {
      host->Call(name, none);
    } catch (const Error& e) {
      EXPECT_EQ(std::string(e.what()).find("no operation named"), std::string::npos) << name;
    }
  }
}

TEST(LateBoundHost, DrivesAnotherHostThroughNamesOnly) {
  auto inner = SmallHost(4, 4, 3);
  auto remote = std::make_shared<LateBoundHost>(
      [inner](std::string_view name, std::vector<AutomationValue>& args) { return inner->Call(name, args); });
  auto shared = SharedState::Startup(RegistryFor(remote));
  EXPECT_EQ(shared->image().width, 4);
  remote->Tes_GotoFrame(1);
  EXPECT_EQ(inner->tes_Getcurrentframe(), 1);
  Plane p(4, 4, 200);
  remote->tes_setbbuffer(p);
  EXPECT_EQ(inner->Tes_GetBFrame(1)[2][2], 200);
  EXPECT_EQ(remote->Tes_GetGradient(0).size(), 3u * 256u);
  EXPECT_EQ(remote->tes_GetTotalFrames(), 3);
  remote->SaveSetting("tessaline", "Timeline", "Probe", "1");
  EXPECT_EQ(remote->GetSetting("tessaline", "Timeline", "Probe", "0"), "1");
}

TEST(EmbeddedHost, RefusesFramesAndSizesOutsideTheAnimation) {
  EmbeddedHost host;
  host.NewAnimation(8, 8, 2);
  EXPECT_THROW(host.Tes_GotoFrame(2), Error);
  EXPECT_THROW(host.Tes_CreateAnim(0), Error);
  EXPECT_THROW(host.Tes_CreateAnim(10001), Error);
  EXPECT_THROW(host.tes_setrbuffer(Plane(7, 8)), Error);
  host.Tes_CreateAnim(10000);
  EXPECT_EQ(host.tes_GetTotalFrames(), 10000);
}

TEST(EmbeddedHost, SetBuffersNeverTouchAlphaAndObserversHearWrites) {
  struct Recorder : HostObserver {
    std::vector<int32_t> written;
    int refreshes = 0;
    void OnFrameWritten(int32_t f) override { written.push_back(f); }
    void OnRefresh() override { ++refreshes; }
  } rec;
  auto host = SmallHost(3, 2, 2);
  host->AddObserver(&rec);
  host->Tes_GotoFrame(1);
  host->tes_setrbuffer(Plane(3, 2, 1));
  host->Tes_Refresh();
  host->RemoveObserver(&rec);
  EXPECT_EQ(rec.written, std::vector<int32_t>{1});
  EXPECT_EQ(rec.refreshes, 1);
  EXPECT_EQ(host->Tes_GetaBuffer()[0][0], 255);
}

}  // namespace
}  // namespace tessfx
