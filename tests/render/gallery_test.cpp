// The gallery: every effect of the catalogue, each on the same frame with the swap image
// and a sequence picture in place, and the command that lays them out.
#include "render/gallery.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "engine/catalogue.h"
#include "host/scratch_folder.h"
#include "media/image_io.h"
#include "run_tessfx.h"

namespace tessfx {
namespace {

bool Same(const std::array<Plane, 3>& a, const std::array<Plane, 3>& b) {
  return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

TEST(Gallery, EveryEffectOfTheCatalogueOnTheSameFrame) {
  testing::ScratchFolder dir;
  GalleryOptions options;
  options.cell_width = 48;
  options.cell_height = 27;
  options.scratch_folder = dir.str();
  const std::vector<GalleryEntry> entries = RenderGallery(options);
  ASSERT_EQ(entries.size(), Effects().size() + 1);
  EXPECT_EQ(entries.front().effect, nullptr);
  for (size_t i = 1; i < entries.size(); ++i) {
    const EffectDef& e = Effects()[i - 1];
    ASSERT_EQ(entries[i].effect, &e);
    EXPECT_EQ(entries[i].picture[0].width(), 48);
    // Effects not built yet leave the frame; these change it at their defaults.
    if (!e.implemented()) {
      EXPECT_TRUE(Same(entries[i].picture, entries[0].picture)) << e.name;
    }
    for (const char* changes : {"Negative", "Slate", "Combine Xor", "Gaussian blur"}) {
      if (e.name == changes) {
        EXPECT_FALSE(Same(entries[i].picture, entries[0].picture)) << changes;
      }
    }
  }
}

TEST(Gallery, CommandWritesTheSheetAndRefusesFramesOutsideTheInput) {
  testing::ScratchFolder dir;
  const auto run = testing_support::RunTessfx("gallery " + (dir / "sheet.png") + " --size 40x24 --columns 10");
  ASSERT_EQ(run.code, 0) << run.output;
  const ImageInfo info = ProbeImage(dir / "sheet.png");
  // 97 cells in rows of ten; each cell the picture, two lines of text and the gaps.
  EXPECT_EQ(info.width, 8 + 10 * (40 + 8));
  EXPECT_EQ(info.height % 10, 8);
  const auto bad = testing_support::RunTessfx("gallery " + (dir / "b.png") + " --frame 48");
  EXPECT_EQ(bad.code, 64) << bad.output;
  EXPECT_FALSE(std::filesystem::exists(dir / "b.png"));
}

}  // namespace
}  // namespace tessfx
