// The sequence written while frames are made: frames arriving in any order and more of them
// than are held at once land in their own files; a failed frame leaves no file of the
// sequence replaced and no temporary file behind, and so does giving up before Finish.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/scratch_folder.h"
#include "media/image_io.h"
#include "planes.h"
#include "render/sequence_output.h"

namespace tessfx {
namespace {

namespace fs = std::filesystem;

RgbaPlanes FrameOf(int32_t index) {
  return {testing::Noise(21, 9, 10 + index), testing::Noise(21, 9, 20 + index), testing::Noise(21, 9, 30 + index),
          Plane(21, 9, 255)};
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(SequenceOutput, FramesInAnyOrderLandInTheirOwnFiles) {
  testing::ScratchFolder dir;
  {
    SequenceOutput out(dir / "shot.####.png", 7, false, 2, 2);
    for (int32_t f : {3, 0, 4, 1, 2}) out.Submit(f, FrameOf(f));
    out.Finish();
  }
  EXPECT_EQ(FilesIn(dir.str()), (std::vector<std::string>{"shot.0007.png", "shot.0008.png", "shot.0009.png",
                                                           "shot.0010.png", "shot.0011.png"}));
  for (int32_t f = 0; f < 5; ++f) {
    char name[32];
    std::snprintf(name, sizeof name, "shot.%04d.png", 7 + f);
    RgbaPlanes read;
    ReadImage(dir / name, read);
    const RgbaPlanes want = FrameOf(f);
    for (int c = 0; c < 3; ++c)
      for (int32_t y = 0; y < 9; ++y)
        for (int32_t x = 0; x < 21; ++x) ASSERT_EQ(read[c][y][x], want[c][y][x]) << "frame " << f;
  }
}

TEST(SequenceOutput, AFailedFrameReplacesNothingAndLeavesNothing) {
  testing::ScratchFolder dir;
  { std::ofstream(dir / "take.0002.png") << "the old file"; }
  {
    SequenceOutput out(dir / "take.####.png", 1, false, 2, 3);
    out.Submit(0, FrameOf(0));
    out.Submit(1, FrameOf(1));
    out.Submit(2, RgbaPlanes{});  // empty planes: the writer refuses them
    EXPECT_THROW(
        {
          out.Submit(3, FrameOf(3));
          out.Finish();
        },
        Error);
  }
  EXPECT_EQ(FilesIn(dir.str()), std::vector<std::string>{"take.0002.png"});
  std::ifstream old(dir / "take.0002.png");
  std::string text;
  std::getline(old, text);
  EXPECT_EQ(text, "the old file");
}

TEST(SequenceOutput, GivingUpBeforeFinishLeavesNothing) {
  testing::ScratchFolder dir;
  {
    SequenceOutput out(dir / "sub/f.##.png", 1, true, 1, 1);
    for (int32_t f = 0; f < 4; ++f) out.Submit(f, FrameOf(f));
  }
  EXPECT_TRUE(FilesIn(dir / "sub").empty());
}

}  // namespace
}  // namespace tessfx
