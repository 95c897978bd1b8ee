// How window titles name documents: sequences by their pattern, one # per digit.
#include <gtest/gtest.h>

#include "media/document_name.h"

namespace tessfx {
namespace {

TEST(DocumentTitleName, SequencesShowTheirPatternAndOtherFilesTheirName) {
  const std::pair<const char*, const char*> cases[] = {
      {"/shots/shot.%04d.png", "shot.####.png"},  // as a sequence opened by its first file is kept
      {"/shots/shot.####.png", "shot.####.png"},
      {"/shots/take_%d.exr", "take_#.exr"},
      {"/shots/100%.d/shot.%02d.tif", "shot.##.tif"},  // a percent sign in a folder is no placeholder
      {"/shots/clip.tsa", "clip.tsa"},
      {"frame.png", "frame.png"},
      {"/shots/bad.%04d.%04d.png", "bad.%04d.%04d.png"},  // malformed: shown as it is
  };
  for (const auto& [path, title] : cases) EXPECT_EQ(DocumentTitleName(path), title) << path;
}

}  // namespace
}  // namespace tessfx
