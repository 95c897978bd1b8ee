#include "media/sequence.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <tuple>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/bmp_samples.h"
#include "media/swap_sources.h"
#include "media/tsa.h"
#include "run_tessfx.h"

namespace tessfx {
namespace {

TEST(SequenceNames, FirstFileGivesBaseStartDigitsAndFrameNames) {
  struct Case { std::string first, base; int start, digits, frame; std::string name; };
  for (const Case& c : {
           Case{"C:\\shots\\take0012.bmp", "C:\\shots\\take", 12, 4, 1, "C:\\shots\\take0013.bmp"},
           // A number outgrowing its digits is written in full.
           {"C:\\shots\\take0012.bmp", "C:\\shots\\take", 12, 4, 9988, "C:\\shots\\take10000.bmp"},
           {"frame.bmp", "frame", 0, 0, 5, "frame5.bmp"},                     // no digits
           {"/shots/7.bmp", "/shots/", 7, 1, 3, "/shots/10.bmp"},             // a single digit
           {"take0012.jpeg", "take0012.jpeg", 0, 0, 0, "take0012.jpeg0.bmp"},  // only 3-letter extensions go
           {".bmp", ".bmp", 0, 0, 0, ".bmp0.bmp"},                            // longer than 4 only
           {"7", "7", 0, 0, 0, "70.bmp"},                                     // one character: no digit run
           {"a" + std::string(400, '0') + "32767.bmp", "a", 32767, 405, 1, "a" + std::string(400, '0') + "32768.bmp"},
       }) {
    SCOPED_TRACE(c.first);
    const SequenceSettings s = SequenceFromFirstFile(c.first);
    EXPECT_EQ(std::tuple(s.base_name, s.start_number, s.digit_count), std::tuple(c.base, c.start, c.digits));
    EXPECT_EQ(SequenceFrameFileName(s, c.frame), c.name);
  }
  EXPECT_EQ(SequenceFrameFileName(SequenceSettings{}, 0), std::nullopt);
  // A number the 16-bit start cannot hold is refused, never clamped to another file's.
  for (const auto& [first, number] : {std::pair{std::string("/shots/take40000.bmp"), std::string("40000")},
                                      {"/shots/a32768.bmp", "32768"},
                                      {"/shots/a" + std::string(400, '9') + ".bmp", std::string(400, '9')}}) {
    try {
      SequenceFromFirstFile(first);
      ADD_FAILURE() << first;
    } catch (const Error& e) {
      EXPECT_EQ(std::string(e.what()), first + ": its number " + number +
                                           " is beyond 32767, the highest number a sequence can start from");
    }
  }
}

struct FakeDialog final : FileDialog {
  std::optional<std::string> GetOpenFileName(const std::string& t, const std::string& f) override {
    asked.push_back(t + " " + f);
    if (on_show) on_show();
    return answer;
  }
  std::optional<std::string> answer;
  std::vector<std::string> asked;
  std::function<void()> on_show;
};

struct FakeMessages final : MessageSink {
  void ShowMessage(const std::string& m) override { shown.push_back(m); }
  std::vector<std::string> shown;
};

TEST(SequenceSelection, AsksForTheFirstFile) {
  FakeDialog dialog;
  dialog.answer = "/shots/take0012.bmp";
  EXPECT_EQ(SelectSequence(dialog).start_number, 12);
  EXPECT_EQ(dialog.asked, std::vector<std::string>{"Select first file of sequence bmp(*.bmp)|*.bmp"});
  dialog.answer.reset();
  EXPECT_EQ(SelectSequence(dialog).base_name, "");  // cancelled: no sequence
}

class SwapSourceTest : public ::testing::Test {
 protected:
  testing::ScratchFolder dir_;
  ExternalAnimation external;
  FakeDialog dialog;
  FakeMessages messages;
  SwapSourceMenu menu{external, dialog, messages};
};

TEST_F(SwapSourceTest, AnimationCheckMarkIsSetBeforeTheDialog) {
  TsaWriter w(dir_ / "anim.tsa", 4, 3, 1);
  for (Channel c : {Channel::R, Channel::G, Channel::B}) w.WritePlane(0, c, Plane(4, 3, 9));
  w.Commit();
  bool checked_while_asking = false;
  dialog.on_show = [&] { checked_while_asking = menu.anim_checked(); };
  dialog.answer = dir_ / "anim.tsa";
  menu.UseAnimasSwap_Click();
  EXPECT_TRUE(checked_while_asking);
  EXPECT_EQ(dialog.asked, std::vector<std::string>{"Select animation to load tsa(*.tsa)|*.tsa"});
  EXPECT_TRUE(external.active());
  EXPECT_EQ(menu.animation_path(), *dialog.answer);
  EXPECT_TRUE(messages.shown.empty());

  menu.UseAnimasSwap_Click();  // checked: turns it off without asking
  EXPECT_FALSE(menu.anim_checked());
  EXPECT_FALSE(external.active());
  EXPECT_EQ(dialog.asked.size(), 1u);
}

TEST_F(SwapSourceTest, CancelOrRefusedFileLeavesTheSourceOff) {
  menu.UseAnimasSwap_Click();  // cancelled: quietly, check mark stays
  EXPECT_TRUE(menu.anim_checked());
  EXPECT_FALSE(external.active());
  EXPECT_TRUE(messages.shown.empty());

  samples::WriteFile(dir_ / "wrong.tsa", {'N', 'O', 'P', 'E', 0, 0, 0, 0});
  for (auto [name, message] :
       {std::pair{"wrong.tsa", "not a Tessaline animation"}, {"missing.tsa", "missing.tsa"}}) {
    SCOPED_TRACE(name);
    messages.shown.clear();
    menu.UseAnimasSwap_Click();  // uncheck
    dialog.answer = dir_ / name;
    menu.UseAnimasSwap_Click();
    EXPECT_TRUE(menu.anim_checked());
    EXPECT_FALSE(external.active());
    ASSERT_EQ(messages.shown.size(), 1u);
    EXPECT_NE(messages.shown[0].find(message), std::string::npos) << messages.shown[0];
  }
  EXPECT_EQ(menu.animation_path(), "");
}

TEST_F(SwapSourceTest, ConvertReadsABmpSequenceUntilAFileIsMissing) {
  using testing_support::RunTessfx;
  for (int n : {8, 9, 10, 12}) {  // 11 is missing: the sequence ends at 10
    samples::BmpSample s = samples::Gradient24(3, 2);
    s.pixels[2] = static_cast<uint8_t>(n);  // red of the bottom-left pixel numbers the frame
    samples::WriteFile(dir_ / ("take" + std::string(n < 10 ? "000" : "00") + std::to_string(n) + ".bmp"),
                       samples::BuildBmp(s));
  }
  auto o = RunTessfx("convert '" + dir_ / "take0008.bmp" + "' '" + dir_ / "out.tsa" + "'");
  ASSERT_EQ(o.code, 0) << o.output;
  TsaReader reader(dir_ / "out.tsa");
  EXPECT_EQ((std::array{reader.header().width, reader.header().height, reader.header().frames}),
            (std::array{3, 2, 3}));
  Plane red;
  reader.ReadPlane(2, Channel::R, red);
  EXPECT_EQ(red[1][0], 10);

  samples::WriteFile(dir_ / "take0009.bmp", samples::BuildBmp({.bit_count = 4, .pixels = {0, 0, 0, 0}}));
  o = RunTessfx("convert '" + dir_ / "take0008.bmp" + "' '" + dir_ / "bad.tsa" + "'");
  EXPECT_EQ(o.code, 65);
  EXPECT_EQ(o.output,
            "tessfx: " + dir_ / "take0009.bmp" + ": Currently loads only 8, 24, and 32 bit files\n");
  EXPECT_FALSE(std::filesystem::exists(dir_ / "bad.tsa"));
}

}  // namespace
}  // namespace tessfx
