// Preview, render and undo through the editor, on an in-memory host.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "render/rig.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::RecordingProgress;

std::vector<uint8_t> FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void AppendLE32(std::vector<uint8_t>& out, int32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
}

// Expected undo file: header, then the listed frames' R, G, B planes from `frames`
// (as EditorRig::Frames returns them).
std::vector<uint8_t> UndoFile(int32_t w, int32_t h, int32_t first, int32_t last, int32_t step,
                              const std::vector<std::vector<uint8_t>>& frames, const std::vector<int32_t>& order) {
  std::vector<uint8_t> out;
  for (int32_t v : {w, h, first, last, step}) AppendLE32(out, v);
  for (int32_t f : order)
    for (int c = 0; c < 3; ++c) {
      const auto& p = frames[static_cast<size_t>(f) * 3 + c];
      out.insert(out.end(), p.begin(), p.end());
    }
  return out;
}

TEST(Render, ColorAddFollowsTheKeysFrameByFrame) {
  EditorRig rig(6, 4, 14);
  Editor& e = *rig.editor;
  e.panel().Check1 = 0;
  e.panel().SelectEffect("Color add");
  rig.Key(0, {0, 255, -255});
  rig.Key(13, {255, 128, 255});
  RecordingProgress progress;
  const RenderSummary r = e.kv_button3_Click(progress);
  EXPECT_EQ(r.frames_rendered, 14);
  EXPECT_FALSE(r.cancelled);
  EXPECT_EQ(progress.closed, 1);
  EXPECT_EQ(progress.yields, 14);
  EXPECT_EQ(progress.labels[5], "5 of 0 through 13");
  EXPECT_DOUBLE_EQ(progress.fractions[13], 1.0);
  EXPECT_EQ(rig.window.wait_cursor_changes, (std::vector<bool>{true, false}));
  Plane p;
  for (int32_t f = 0; f < 14; ++f) {
    // On black: red = round(255 f / 13), green = round(255 - 127 f / 13), blue = max(0, ...).
    const int red = RoundHalfEven(255.0 * f / 13), green = RoundHalfEven(255.0 - 127.0 * f / 13);
    const int blue = std::max(0, RoundHalfEven(-255.0 + 510.0 * f / 13));
    rig.host->ReadFramePlane(f, Channel::R, p);
    EXPECT_EQ(p.at(2, 3), red) << f;
    EXPECT_EQ(p.at(4, 6), red) << f;  // the extra row and column too
    rig.host->ReadFramePlane(f, Channel::G, p);
    EXPECT_EQ(p.at(1, 1), green) << f;
    rig.host->ReadFramePlane(f, Channel::B, p);
    EXPECT_EQ(p.at(0, 5), blue) << f;
  }
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));  // recording was off
}

TEST(Render, PreviewShowsTheEffectWithoutChangingTheHost) {
  EditorRig rig(40, 20, 3);
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  EXPECT_EQ(rig.window.caption, "Timeline editor  (frame 1 of  3 total)");
  e.panel().HProp[1].SetValue(100);  // a slider change previews
  ASSERT_EQ(rig.window.last_picture.width, 32);
  ASSERT_EQ(rig.window.last_picture.height, 16);
  EXPECT_EQ(rig.window.last_picture.rgb[1], 100);
  EXPECT_EQ(rig.window.last_picture.rgb[0], 0);
  Plane g;
  rig.host->ReadFramePlane(0, Channel::G, g);
  EXPECT_EQ(g.at(3, 3), 0);
}

TEST(Render, CancelledRenderKeepsWrittenFramesAndUndoRestoresThem) {
  EditorRig rig(5, 3, 10);
  rig.Paint();
  const auto before = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().Check1 = 1;
  e.panel().SelectEffect("Color add");
  e.panel().HProp[0].SetValue(90);
  RecordingProgress progress(4);  // stops when the fifth frame's label has been shown
  const RenderSummary r = e.kv_button3_Click(progress);
  EXPECT_TRUE(r.cancelled);
  EXPECT_EQ(r.frames_rendered, 4);
  EXPECT_EQ(progress.closed, 1);
  const auto after = rig.Frames();
  for (int32_t f = 0; f < 10; ++f) EXPECT_EQ(after[f * 3] != before[f * 3], f < 4) << f;
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(5, 3, 0, 9, 1, before, {0, 1, 2, 3}));

  rig.LogFrames();
  const UndoOutcome u = e.kv_button12_Click();
  EXPECT_EQ(u.result, UndoResult::Restored);
  EXPECT_EQ(u.frames_restored, 4);
  EXPECT_EQ(rig.Frames(), before);
  // Frame 4 is visited before the end of the data shows; then frame 0.
  EXPECT_EQ(rig.log.frames, (std::vector<int32_t>{0, 1, 2, 3, 4, 0}));
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));
}

TEST(Render, GhostWalksBackwardsAndUndoFollows) {
  EditorRig rig(3, 2, 5);
  rig.Paint();
  const auto before = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().Check1 = 1;
  e.panel().SelectEffect("Ghost");
  rig.LogFrames();
  RecordingProgress progress;
  const RenderSummary r = e.kv_button3_Click(progress);
  EXPECT_EQ(rig.log.frames, (std::vector<int32_t>{4, 3, 2, 1, 0}));
  EXPECT_EQ(progress.labels.front(), "4 of 4 through 0");
  EXPECT_EQ(progress.fractions, (std::vector<double>{-1.0, -0.75, -0.5, -0.25, -0.0}));
  EXPECT_EQ((std::vector<int32_t>{r.first, r.last, r.step}), (std::vector<int32_t>{4, 0, -1}));
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(3, 2, 4, 0, -1, before, {4, 3, 2, 1, 0}));
  rig.log.frames.clear();
  e.kv_button12_Click();
  EXPECT_EQ(rig.log.frames, (std::vector<int32_t>{4, 3, 2, 1, 0, 0}));
}

TEST(Render, OneFrameAnimationPassesZeroOverZero) {
  EditorRig rig(2, 2, 1);
  rig.editor->panel().SelectEffect("Color add");
  RecordingProgress progress;
  rig.editor->kv_button3_Click(progress);
  ASSERT_EQ(progress.fractions.size(), 1u);
  EXPECT_TRUE(std::isnan(progress.fractions[0]));
}

TEST(Render, SelectionNarrowsTheWalkAndRecordsItWhole) {
  EditorRig rig(4, 4, 12);
  rig.Paint();
  const auto before = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().Check1 = 1;
  e.panel().SelectEffect("Color add");
  e.panel().HProp[2].SetValue(-40);
  const FrameSelection sel = FrameSelection::Parse("3,6-8", 12);
  RecordingProgress progress;
  const RenderSummary r = e.kv_button3_Click(progress, &sel);
  EXPECT_EQ(r.frames_rendered, 4);
  const auto after = rig.Frames();
  for (int32_t f = 0; f < 12; ++f) EXPECT_EQ(after[f * 3 + 2] != before[f * 3 + 2], sel.Contains(f)) << f;
  // Frames 4 and 5 lie inside the walk: recorded unchanged, so records match the header.
  EXPECT_EQ(FileBytes(e.undo().Path()), UndoFile(4, 4, 3, 8, 1, before, {3, 4, 5, 6, 7, 8}));
  e.kv_button12_Click();
  EXPECT_EQ(rig.Frames(), before);
}

TEST(Undo, TheUndoBoxDecides) {
  EditorRig rig(3, 3, 4);
  rig.Paint();
  const auto original = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  e.panel().HProp[0].SetValue(50);
  RecordingProgress p1, p2, p3;
  e.kv_button3_Click(p1);  // recorded: the box is on when never saved
  const auto rendered = rig.Frames();
  e.panel().Check1 = 0;
  EXPECT_EQ(e.kv_button12_Click().result, UndoResult::NotChecked);  // deletes the file, restores nothing
  EXPECT_EQ(rig.Frames(), rendered);
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));

  e.panel().Check1 = 1;
  e.kv_button3_Click(p2);  // records `rendered`
  e.panel().Check1 = 0;
  e.kv_button3_Click(p3);  // writes no file: the previous one stays
  e.panel().Check1 = 1;
  EXPECT_EQ(e.kv_button12_Click().frames_restored, 4);
  EXPECT_EQ(rig.Frames(), rendered);
  EXPECT_NE(rendered, original);
}

TEST(Undo, SizeMismatchSaysCantUndo) {
  EditorRig rig(3, 3, 2);
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  e.panel().Check1 = 1;
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  rig.host->NewAnimation(4, 3, 2);
  rig.Paint();
  const auto painted = rig.Frames();
  EXPECT_EQ(e.kv_button12_Click().result, UndoResult::SizeMismatch);
  EXPECT_EQ(rig.window.messages, (std::vector<std::string>{"can't undo"}));
  EXPECT_EQ(rig.Frames(), painted);
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));
}

TEST(Undo, MissingFileIsReportedPlainly) {
  EditorRig rig(2, 2, 2);
  rig.editor->panel().Check1 = 1;
  try {
    rig.editor->kv_button12_Click();
    FAIL() << "expected an error";
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::NoInput);
    EXPECT_NE(std::string(e.what()).find("nothing to undo"), std::string::npos) << e.what();
  }
  EXPECT_EQ(rig.window.wait_cursor_changes, (std::vector<bool>{true, false}));
}

TEST(Undo, ShortFileAndShrunkAnimation) {
  EditorRig rig(2, 2, 5);
  rig.Paint();
  const auto original = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  e.panel().Check1 = 1;
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  // The animation shrinks to 3 frames: records 3 and 4 land in frame 2, the last one wins.
  rig.host->Tes_CreateAnim(3);
  EXPECT_EQ(e.kv_button12_Click().frames_restored, 5);
  const auto restored = rig.Frames();
  for (int c = 0; c < 3; ++c) {
    EXPECT_EQ(restored[0 * 3 + c], original[0 * 3 + c]);
    EXPECT_EQ(restored[2 * 3 + c], original[4 * 3 + c]);
  }

  // A file cut inside its third record restores two frames.
  RecordingProgress again;
  e.kv_button3_Click(again);
  const std::string path = e.undo().Path();
  std::filesystem::resize_file(path, 20 + 2 * 27 + 10);
  EXPECT_EQ(e.kv_button12_Click().frames_restored, 2);
}

TEST(Undo, SaveUndosSettingAndDeleteUndos) {
  EditorRig rig(2, 2, 2);
  rig.editor->Label13_Click();  // toggles the box (on when never saved), which stores it
  EXPECT_EQ(rig.host->GetSetting("tessaline", "Timeline", "SaveUndos", "?"), "0");
  EXPECT_EQ(Editor(*rig.state, rig.window).panel().Check1, 0);  // read back when the window loads

  rig.editor->DeleteUndos_Click();  // no file: no error
  rig.editor->panel().Check1 = 1;
  RecordingProgress progress;
  rig.editor->kv_button3_Click(progress);
  ASSERT_TRUE(std::filesystem::exists(rig.editor->undo().Path()));
  EXPECT_TRUE(rig.editor->Click("DeleteUndos_Click"));
  EXPECT_FALSE(std::filesystem::exists(rig.editor->undo().Path()));
}

TEST(AnimationMenu, CreateRefusesAndRounds) {
  EditorRig rig(2, 2, 7);
  Editor& e = *rig.editor;
  for (std::optional<std::string> answer :
       {std::optional<std::string>("0"), std::optional<std::string>(""), std::optional<std::string>(),
        std::optional<std::string>("10001"), std::optional<std::string>("-3"), std::optional<std::string>("0.5")}) {
    rig.window.answer = answer;
    EXPECT_FALSE(e.AnimMenuCreate_Click()) << answer.value_or("(cancelled)");
    EXPECT_EQ(rig.host->tes_GetTotalFrames(), 7);
  }
  EXPECT_TRUE(rig.window.messages.empty());
  EXPECT_EQ(rig.window.asked, (std::vector<std::string>{"Create new animation", "Frame count", "30"}));
  const std::pair<const char*, int32_t> accepted[] = {{"2.5", 2}, {"3.5", 4}, {"12abc", 12}, {"1.5", 2}, {"10000", 10000}};
  for (const auto& [answer, frames] : accepted) {
    rig.window.answer = answer;
    const int draws = rig.window.timeline_draws;
    EXPECT_TRUE(e.Click("AnimMenuCreate_Click"));
    EXPECT_EQ(rig.host->tes_GetTotalFrames(), frames) << answer;
    EXPECT_EQ(rig.window.timeline_draws, draws + 1);
  }
}

}  // namespace
}  // namespace tessfx
