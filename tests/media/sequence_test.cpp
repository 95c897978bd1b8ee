#include "media/sequence.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "media/bmp_samples.h"
#include "media/swap_sources.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

TEST(SequenceNames, StripsOnlyThreeLetterExtensions) {
  EXPECT_EQ(StripExtension("take0012.bmp"), "take0012");
  EXPECT_EQ(StripExtension("x.bmp"), "x");
  EXPECT_EQ(StripExtension(".bmp"), ".bmp");  // not longer than 4
  EXPECT_EQ(StripExtension("take0012.jpeg"), "take0012.jpeg");
  EXPECT_EQ(SequenceDigitCount(StripExtension("take0012.jpeg")), 0);  // so no digits are found
}

TEST(SequenceNames, FirstFileGivesBaseStartAndDigits) {
  SequenceSettings s = SequenceFromFirstFile("C:\\shots\\take0012.bmp");
  EXPECT_EQ(s.base_name, "C:\\shots\\take");
  EXPECT_EQ(s.start_number, 12);
  EXPECT_EQ(s.digit_count, 4);
  EXPECT_EQ(SequenceFrameFileName(s, 0), "C:\\shots\\take0012.bmp");
  EXPECT_EQ(SequenceFrameFileName(s, 1), "C:\\shots\\take0013.bmp");
  EXPECT_EQ(SequenceFrameFileName(s, 9988), "C:\\shots\\take10000.bmp");  // more digits in full

  s = SequenceFromFirstFile("frame.bmp");
  EXPECT_EQ(s.base_name, "frame");
  EXPECT_EQ(s.start_number, 0);
  EXPECT_EQ(s.digit_count, 0);
  EXPECT_EQ(SequenceFrameFileName(s, 5), "frame5.bmp");

  s = SequenceFromFirstFile("/shots/7.bmp");
  EXPECT_EQ(s.base_name, "/shots/");
  EXPECT_EQ(s.start_number, 7);
  EXPECT_EQ(s.digit_count, 1);

  EXPECT_EQ(SequenceFrameFileName(SequenceSettings{}, 0), std::nullopt);
}

TEST(SequenceNames, ShortNamesAndHugeNumbers) {
  EXPECT_EQ(SequenceDigitCount("7"), 0);  // one character: no trailing digits
  EXPECT_EQ(SequenceStartNumber("7"), 0);
  EXPECT_EQ(StripTrailingDigits("7"), "7");
  EXPECT_EQ(SequenceStartNumber("a32767"), 32767);
  EXPECT_EQ(SequenceStartNumber("a32768"), 32767);  // saturates
  EXPECT_EQ(SequenceStartNumber("a" + std::string(400, '9')), 32767);
  EXPECT_EQ(SequenceDigitCount("a" + std::string(400, '9')), 400);
}

struct FakeDialog final : FileDialog {
  std::optional<std::string> GetOpenFileName(const std::string& t, const std::string& f) override {
    title = t;
    filter = f;
    if (on_show) on_show();
    return answer;
  }
  std::optional<std::string> answer;
  std::string title, filter;
  std::function<void()> on_show;
};

struct FakeMessages final : MessageSink {
  void ShowMessage(const std::string& m) override { shown.push_back(m); }
  std::vector<std::string> shown;
};

TEST(SequenceSelection, AsksForTheFirstFile) {
  FakeDialog dialog;
  dialog.answer = "/shots/take0012.bmp";
  SequenceSettings s = SelectSequence(dialog);
  EXPECT_EQ(dialog.title, "Select first file of sequence");
  EXPECT_EQ(dialog.filter, "bmp(*.bmp)|*.bmp");
  EXPECT_EQ(s.base_name, "/shots/take");
  EXPECT_EQ(s.start_number, 12);
  dialog.answer.reset();
  EXPECT_EQ(SelectSequence(dialog).base_name, "");
}

class SwapSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* base = std::getenv("TESSFX_TEMP_DIR");
    dir_ = std::filesystem::path(base && *base ? base : ::testing::TempDir()) /
           ("seq-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" +
            std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  std::string WriteAnimation() {
    const std::string path = Path("anim.tsa");
    TsaWriter w(path, 4, 3, 2);
    for (int32_t f = 0; f < 2; ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B}) w.WritePlane(f, c, Plane(4, 3, 9));
    w.Commit();
    return path;
  }

  std::filesystem::path dir_;
  ExternalAnimation external;
  FakeDialog dialog;
  FakeMessages messages;
  SwapSourceMenu menu{external, dialog, messages};
};

TEST_F(SwapSourceTest, AnimationCheckMarkIsSetBeforeTheDialog) {
  bool checked_while_asking = false;
  dialog.on_show = [&] { checked_while_asking = menu.anim_checked(); };
  dialog.answer = WriteAnimation();
  menu.UseAnimasSwap_Click();
  EXPECT_TRUE(checked_while_asking);
  EXPECT_EQ(dialog.title, "Select animation to load");
  EXPECT_EQ(dialog.filter, "tsa(*.tsa)|*.tsa");
  EXPECT_TRUE(external.active());
  EXPECT_EQ(menu.animation_path(), *dialog.answer);
  EXPECT_TRUE(messages.shown.empty());

  menu.UseAnimasSwap_Click();  // checked: turns it off without asking
  EXPECT_FALSE(menu.anim_checked());
  EXPECT_FALSE(external.active());
}

TEST_F(SwapSourceTest, CancelOrRefusedFileLeavesTheSourceOff) {
  menu.UseAnimasSwap_Click();  // cancelled: quietly, check mark stays
  EXPECT_TRUE(menu.anim_checked());
  EXPECT_FALSE(external.active());
  EXPECT_TRUE(messages.shown.empty());

  samples::WriteFile(Path("wrong.tsa"), {'N', 'O', 'P', 'E', 0, 0, 0, 0});
  for (const std::string& name : {Path("wrong.tsa"), Path("missing.tsa")}) {
    SCOPED_TRACE(name);
    messages.shown.clear();
    menu.UseAnimasSwap_Click();  // uncheck
    dialog.answer = name;
    menu.UseAnimasSwap_Click();
    EXPECT_TRUE(menu.anim_checked());
    EXPECT_FALSE(external.active());
    ASSERT_EQ(messages.shown.size(), 1u);
    EXPECT_NE(messages.shown[0].find(name == Path("wrong.tsa") ? "not a Tessaline animation" : "missing.tsa"),
              std::string::npos)
        << messages.shown[0];
  }
  EXPECT_EQ(menu.animation_path(), "");
}

TEST_F(SwapSourceTest, SequenceCheckMarkTogglesAlone) {
  menu.UseSequenceAsSwap_Click();
  EXPECT_TRUE(menu.sequence_checked());
  EXPECT_FALSE(menu.anim_checked());
  EXPECT_EQ(dialog.title, "");
  menu.UseSequenceAsSwap_Click();
  EXPECT_FALSE(menu.sequence_checked());
}

// ---- tessfx convert reads numbered BMP sequences ----

struct Outcome {
  int status = -1;
  std::string output;
};

Outcome RunTessfx(const std::string& args) {
  Outcome o;
  FILE* p = ::popen((std::string(TESSFX_BINARY) + " " + args + " 2>&1").c_str(), "r");
  if (!p) return o;
  char buf[512];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) o.output.append(buf, n);
  const int raw = ::pclose(p);
  o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return o;
}

TEST_F(SwapSourceTest, ConvertReadsASequenceUntilAFileIsMissing) {
  for (int n : {8, 9, 10, 12}) {  // 11 is missing: the sequence ends at 10
    samples::BmpSample s = samples::Gradient24(3, 2);
    s.pixels[2] = static_cast<uint8_t>(n);  // red of the bottom-left pixel numbers the frame
    samples::WriteFile(Path("take" + std::string(n < 10 ? "000" : "00") + std::to_string(n) + ".bmp"),
                       samples::BuildBmp(s));
  }
  Outcome o = RunTessfx("convert '" + Path("take0008.bmp") + "' '" + Path("out.tsa") + "'");
  ASSERT_EQ(o.status, 0) << o.output;
  TsaReader reader(Path("out.tsa"));
  EXPECT_EQ(reader.header().frames, 3);
  EXPECT_EQ(reader.header().width, 3);
  Plane red;
  reader.ReadPlane(2, Channel::R, red);
  EXPECT_EQ(red[1][0], 10);
  EXPECT_EQ(red[0][2], 20);  // 10x + y at (2, 0)

  o = RunTessfx("convert '" + Path("take0009.bmp") + "' '" + Path("big.tsa") + "' --size 6x4");
  ASSERT_EQ(o.status, 0) << o.output;
  TsaReader big(Path("big.tsa"));
  EXPECT_EQ(big.header().width, 6);
  EXPECT_EQ(big.header().height, 4);
  EXPECT_EQ(big.header().frames, 2);

  samples::BmpSample four;
  four.bit_count = 4;
  four.pixels = {0, 0, 0, 0};
  samples::WriteFile(Path("take0009.bmp"), samples::BuildBmp(four));
  o = RunTessfx("convert '" + Path("take0008.bmp") + "' '" + Path("bad.tsa") + "'");
  EXPECT_EQ(o.status, 65);
  EXPECT_EQ(o.output, "tessfx: " + Path("take0009.bmp") + ": Currently loads only 8, 24, and 32 bit files\n");
  EXPECT_FALSE(std::filesystem::exists(Path("bad.tsa")));
}

}  // namespace
}  // namespace tessfx
