// The command line as a user runs it: exit codes, messages and files written or not.
#include <gtest/gtest.h>
#include <unistd.h>

#include "media/tsa.h"
#include "run_tessfx.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

using tessfx::testing_support::RunTessfx;

class Cli : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("tessfx-cli-" + std::to_string(::getpid()) + "-" +
                                                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string P(const std::string& name) const { return (dir_ / name).string(); }
  std::filesystem::path dir_;
};

TEST_F(Cli, NewInfoConvertRoundTripIsByteIdentical) {
  ASSERT_EQ(RunTessfx("new " + P("a.tsa") + " --size 32x24 --frames 5 --pattern circles").code, 0);
  auto info = RunTessfx("info " + P("a.tsa"));
  EXPECT_EQ(info.code, 0);
  EXPECT_NE(info.output.find("32x24, 5 frames"), std::string::npos) << info.output;
  ASSERT_EQ(RunTessfx("convert " + P("a.tsa") + " " + P("b.tsa")).code, 0);
  std::ifstream a(P("a.tsa"), std::ios::binary), b(P("b.tsa"), std::ios::binary);
  std::string sa{std::istreambuf_iterator<char>(a), {}}, sb{std::istreambuf_iterator<char>(b), {}};
  EXPECT_EQ(sa.size(), 20u + 3u * 5u * 33u * 25u);
  EXPECT_EQ(sa, sb);
}

TEST_F(Cli, BadInputsPrintOneLineAndWriteNothing) {
  {
    std::ofstream f(P("text.tsa"));
    f << "this is not an animation";
  }
  auto r = RunTessfx("convert " + P("text.tsa") + " " + P("out.tsa"));
  EXPECT_EQ(r.code, 65);
  EXPECT_NE(r.output.find("not a Tessaline animation"), std::string::npos);
  EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1);
  EXPECT_FALSE(std::filesystem::exists(P("out.tsa")));

  ASSERT_EQ(RunTessfx("new " + P("a.tsa") + " --size 16x16 --frames 3").code, 0);
  std::filesystem::resize_file(P("a.tsa"), 500);
  r = RunTessfx("convert " + P("a.tsa") + " " + P("out.tsa"));
  EXPECT_EQ(r.code, 65);
  EXPECT_NE(r.output.find("truncated"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(P("out.tsa")));

  EXPECT_EQ(RunTessfx("info " + P("absent.tsa")).code, 66);
  EXPECT_EQ(RunTessfx("new " + P("x.tsa") + " --size 0x5").code, 64);
  EXPECT_EQ(RunTessfx("new " + P("x.tsa") + " --frames 10001").code, 64);
  EXPECT_EQ(RunTessfx("new " + P("x.tsa") + " --pattern plaid").code, 64);
  EXPECT_EQ(RunTessfx("frobnicate").code, 64);
  EXPECT_FALSE(std::filesystem::exists(P("x.tsa")));
}

TEST_F(Cli, HeadlessDemoKeysAndRendersItsEffect) {
  const auto r = RunTessfx("demo --headless --output " + P("demo") + " --effect \"Color add\"");
  ASSERT_EQ(r.code, 0) << r.output;
  const char* data = std::getenv("TESSFX_DATA_DIR");
  ASSERT_TRUE(data && *data);
  tessfx::TsaReader source(std::string(data) + "/demo.tsa"), rendered(P("demo/demo.tsa"));
  const int32_t last = source.header().frames - 1;
  ASSERT_EQ(rendered.header().frames, last + 1);
  tessfx::Plane a, b;
  // The first key holds the effect's defaults (no change), the last adds three quarters of
  // the slider range.
  source.ReadPlane(0, tessfx::Channel::R, a);
  rendered.ReadPlane(0, tessfx::Channel::R, b);
  EXPECT_TRUE(a == b);
  source.ReadPlane(last, tessfx::Channel::R, a);
  rendered.ReadPlane(last, tessfx::Channel::R, b);
  EXPECT_FALSE(a == b);
  size_t pictures = 0;
  for ([[maybe_unused]] const auto& f : std::filesystem::directory_iterator(P("demo/frames"))) ++pictures;
  EXPECT_EQ(pictures, static_cast<size_t>(last + 1));
  std::ifstream project(P("demo/demo.json"));
  const std::string text{std::istreambuf_iterator<char>(project), {}};
  EXPECT_NE(text.find("\"Color add\""), std::string::npos);
}

}  // namespace
