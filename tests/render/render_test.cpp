// Preview, render and undo through the editor, on an in-memory host.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "render/rig.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::FileBytes;
using testing::RecordingProgress;

// Expected undo file: header, then the listed frames' R, G, B planes from `frames`
// (as EditorRig::Frames returns them).
std::vector<uint8_t> UndoFile(int32_t w, int32_t h, int32_t first, int32_t last, int32_t step,
                              const std::vector<std::vector<uint8_t>>& frames, const std::vector<int32_t>& order) {
  std::vector<uint8_t> out;
  for (int32_t v : {w, h, first, last, step})
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
  for (int32_t f : order)
    for (int c = 0; c < 3; ++c) {
      const auto& p = frames[static_cast<size_t>(f) * 3 + c];
      out.insert(out.end(), p.begin(), p.end());
    }
  return out;
}

// A painted animation with `effect` selected; `before` holds its frames. Undo recording is on,
// as it is when the box was never stored.
struct PaintedRig : EditorRig {
  PaintedRig(int32_t width, int32_t height, int32_t frames, const std::string& effect)
      : EditorRig(width, height, frames) {
    Paint();
    before = Frames();
    editor->panel().SelectEffect(effect);
  }
  std::vector<std::vector<uint8_t>> before;
};

TEST(Render, PreviewShowsTheEffectWithoutChangingTheHost) {
  EditorRig rig(40, 20, 3);
  rig.editor->panel().SelectEffect("Color add");
  rig.editor->panel().HProp[1].SetValue(100);  // a slider change previews
  const ThumbImage& shown = rig.window.last_picture;
  EXPECT_EQ(std::vector<int32_t>({shown.width, shown.height, shown.rgb.at(0), shown.rgb.at(1)}),
            std::vector<int32_t>({32, 16, 0, 100}));
  EXPECT_EQ(rig.Frames()[1], std::vector<uint8_t>(rig.Frames()[1].size(), 0));
}

TEST(Render, CancelledRenderKeepsWrittenFramesAndUndoRestoresThem) {
  PaintedRig rig(5, 3, 10, "Color add");
  Editor& e = *rig.editor;
  e.panel().HProp[0].SetValue(90);
  RecordingProgress progress(4);  // stops when the fifth frame's label has been shown
  const RenderSummary r = e.kv_button3_Click(progress);
  EXPECT_TRUE(r.cancelled);
  EXPECT_EQ(r.frames_rendered, 4);
  const auto after = rig.Frames();
  for (int32_t f = 0; f < 10; ++f) EXPECT_EQ(after[f * 3] != rig.before[f * 3], f < 4) << f;
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(5, 3, 0, 9, 1, rig.before, {0, 1, 2, 3}));

  EXPECT_EQ(e.kv_button12_Click().frames_restored, 4);
  EXPECT_EQ(rig.Frames(), rig.before);
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));
}

TEST(Render, GhostWalksBackwardsAndUndoFollows) {
  PaintedRig rig(3, 2, 5, "Ghost");
  Editor& e = *rig.editor;
  rig.LogFrames();
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  EXPECT_EQ(rig.visited, (std::vector<int32_t>{4, 3, 2, 1, 0}));
  EXPECT_EQ(progress.labels.front(), "4 of 4 through 0");
  EXPECT_EQ(progress.fractions, (std::vector<double>{-1.0, -0.75, -0.5, -0.25, -0.0}));
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(3, 2, 4, 0, -1, rig.before, {4, 3, 2, 1, 0}));
  rig.visited.clear();
  e.kv_button12_Click();
  EXPECT_EQ(rig.visited, (std::vector<int32_t>{4, 3, 2, 1, 0, 0}));
  EXPECT_EQ(rig.Frames(), rig.before);
}

TEST(Render, GhostFramesOfAFullRenderEqualThoseRenderedAlone) {
  PaintedRig full(9, 5, 8, "Ghost"), alone(9, 5, 8, "Ghost");
  full.Key(0, {5});
  RecordingProgress progress;
  full.editor->kv_button3_Click(progress);
  const auto rendered = full.Frames();
  ImageState& s = alone.state->image();
  for (int32_t f : {7, 0, 3, 6}) {
    alone.host->Tes_GotoFrame(f);
    alone.editor->dispatcher().ProccessFrame(5, 0, 0, 0, 0, 0);
    const Plane* work[3] = {&s.work_r, &s.work_g, &s.work_b};
    for (int c = 0; c < 3; ++c)
      EXPECT_EQ(std::vector<uint8_t>(work[c]->data(), work[c]->data() + work[c]->size()),
                rendered[static_cast<size_t>(f) * 3 + c])
          << "frame " << f << " channel " << c;
  }
  EXPECT_NE(rendered, full.before);
}

TEST(Render, OneFrameAnimationPassesZeroOverZero) {
  EditorRig rig(2, 2, 1);
  rig.editor->panel().SelectEffect("Color add");
  RecordingProgress progress;
  EXPECT_EQ(rig.editor->kv_button3_Click(progress).frames_rendered, 1);
  ASSERT_EQ(progress.fractions.size(), 1u);
  EXPECT_TRUE(std::isnan(progress.fractions[0]));
}

TEST(Render, SelectionNarrowsTheWalkAndRecordsItWhole) {
  PaintedRig rig(4, 4, 12, "Color add");
  Editor& e = *rig.editor;
  e.panel().HProp[2].SetValue(-40);
  const FrameSelection sel = FrameSelection::Parse("3,6-8", 12);
  RecordingProgress progress;
  EXPECT_EQ(e.kv_button3_Click(progress, &sel).frames_rendered, 4);
  const auto after = rig.Frames();
  for (int32_t f = 0; f < 12; ++f) EXPECT_EQ(after[f * 3 + 2] != rig.before[f * 3 + 2], sel.Contains(f)) << f;
  // Frames 4 and 5 lie inside the walk: recorded unchanged, so records match the header.
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(4, 4, 3, 8, 1, rig.before, {3, 4, 5, 6, 7, 8}));
  e.kv_button12_Click();
  EXPECT_EQ(rig.Frames(), rig.before);
}

TEST(Undo, WithTheBoxClearedRendersRecordNothingAndUndoOnlyDeletesTheFile) {
  PaintedRig rig(3, 3, 4, "Color add");
  Editor& e = *rig.editor;
  e.panel().HProp[0].SetValue(50);
  RecordingProgress progress;
  e.kv_button3_Click(progress);  // records `before`
  e.Label13_Click();  // clears the box, which is stored and read back when the window loads
  EXPECT_EQ(Editor(*rig.state, rig.window).panel().Check1, 0);
  const auto recorded = FileBytes(e.undo().Path());
  e.kv_button3_Click(progress);
  EXPECT_EQ(FileBytes(e.undo().Path()), recorded);  // the first file stays
  EXPECT_EQ(e.kv_button12_Click().result, UndoResult::NotChecked);
  EXPECT_NE(rig.Frames(), rig.before);
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));
}

TEST(Undo, RefusesAnotherSizeAndSurvivesAShrunkAnimationOrACutFile) {
  PaintedRig rig(2, 2, 5, "Color add");
  Editor& e = *rig.editor;
  EXPECT_THROW(e.kv_button12_Click(), Error);  // no file yet: the command line shows its message
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  // The animation shrinks to 3 frames: records 3 and 4 land in frame 2, the last one wins.
  rig.host->Tes_CreateAnim(3);
  EXPECT_EQ(e.kv_button12_Click().frames_restored, 5);
  auto expected = rig.before;
  expected.erase(expected.begin() + 2 * 3, expected.begin() + 4 * 3);
  EXPECT_EQ(rig.Frames(), expected);
  // A file cut inside its third record restores two frames.
  e.kv_button3_Click(progress);
  std::filesystem::resize_file(e.undo().Path(), 20 + 2 * 27 + 10);
  EXPECT_EQ(e.kv_button12_Click().frames_restored, 2);
  // A file for another frame size restores nothing.
  e.kv_button3_Click(progress);
  rig.host->NewAnimation(4, 3, 2);
  const auto other = rig.Frames();
  EXPECT_EQ(e.kv_button12_Click().result, UndoResult::SizeMismatch);
  EXPECT_EQ(rig.window.messages, (std::vector<std::string>{"can't undo"}));
  EXPECT_EQ(rig.Frames(), other);
}

TEST(Undo, APlantedLinkInTheTemporaryFolderRedirectsNoWrite) {
  PaintedRig rig(3, 2, 4, "Color add");
  Editor& e = *rig.editor;
  const std::string undo = e.undo().Path();
  const std::string victim = testing::TestFolder("elsewhere") + "/victim";
  const std::vector<uint8_t> precious = {'k', 'e', 'e', 'p'};
  std::ofstream(victim) << "keep";
  std::filesystem::create_symlink(victim, undo);
  e.panel().HProp[0].SetValue(60);
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  EXPECT_EQ(FileBytes(victim), precious);
  EXPECT_FALSE(std::filesystem::is_symlink(undo));
  EXPECT_EQ(FileBytes(undo), UndoFile(3, 2, 0, 3, 1, rig.before, {0, 1, 2, 3}));
  // Planted again after the render: undo does not read through it, deleting removes the link.
  std::filesystem::remove(undo);
  std::filesystem::create_symlink(victim, undo);
  EXPECT_THROW(e.kv_button12_Click(), Error);
  e.DeleteUndos_Click();
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(undo)));
  EXPECT_EQ(FileBytes(victim), precious);
}

}  // namespace
}  // namespace tessfx
