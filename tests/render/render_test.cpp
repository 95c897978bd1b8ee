// Preview, render and undo through the editor, on an in-memory host.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include <nlohmann/json.hpp>

#include "host/embedded/disk_frame_store.h"
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
  // The animation shrinks to 3 frames: it is no longer the document rendered; the undo
  // data stays for it.
  rig.host->Tes_CreateAnim(3);
  const auto shrunk = rig.Frames();
  const UndoOutcome refused = e.kv_button12_Click();
  EXPECT_EQ(refused.result, UndoResult::DocumentChanged);
  EXPECT_EQ(rig.window.messages, (std::vector<std::string>{"can't undo: " + refused.reason}));
  EXPECT_NE(refused.reason.find("had 5 frames, this one has 3"), std::string::npos) << refused.reason;
  EXPECT_EQ(rig.Frames(), shrunk);
  EXPECT_TRUE(std::filesystem::exists(e.undo().Path()));
  rig.window.messages.clear();
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
  EXPECT_TRUE(std::filesystem::exists(e.undo().Path()));
}

// Undo puts frames back only where the render left them: a frame changed since (or another
// document of the same size opened meanwhile) refuses, restoring nothing and keeping the data.
TEST(Undo, GoesBackOnlyIntoTheFramesTheRenderLeft) {
  PaintedRig rig(4, 3, 5, "Color add");
  Editor& e = *rig.editor;
  e.panel().HProp[0].SetValue(60);
  RecordingProgress progress;
  e.kv_button3_Click(progress);
  const auto rendered = rig.Frames();
  Plane touched;
  rig.host->ReadFramePlane(2, Channel::G, touched);
  const Plane rendered_green = touched.Clone();
  touched[1][1] ^= 1;
  rig.host->WriteFramePlane(2, Channel::G, touched);
  const auto edited = rig.Frames();
  UndoOutcome u = e.kv_button12_Click();
  EXPECT_EQ(u.result, UndoResult::DocumentChanged);
  EXPECT_EQ(u.reason, "frame 2 is not as the render left it (another document, or changed since)");
  EXPECT_EQ(rig.Frames(), edited);
  // Put back as the render left it, the frame matches again.
  rig.host->WriteFramePlane(2, Channel::G, rendered_green);
  ASSERT_EQ(rig.Frames(), rendered);
  u = e.kv_button12_Click();
  EXPECT_EQ(u.result, UndoResult::Restored);
  EXPECT_EQ(rig.Frames(), rig.before);
  EXPECT_FALSE(std::filesystem::exists(e.undo().Path()));
}

// Two windows on two animations of one size share the temporary folder: while one records,
// the other cannot start recording; afterwards each undo goes only to its own animation.
TEST(Undo, TwoWindowsNeverShareOrSwapTheirUndoData) {
  PaintedRig first(5, 4, 3, "Color add"), second(5, 4, 3, "Negative");
  first.editor->panel().HProp[0].SetValue(40);
  struct SecondRendersMeanwhile : RecordingProgress {
    std::function<void()> meanwhile;
    void Yield() override {
      if (meanwhile) std::exchange(meanwhile, nullptr)();
    }
  } progress;
  progress.meanwhile = [&] {
    RecordingProgress p;
    try {
      second.editor->kv_button3_Click(p);
      ADD_FAILURE() << "the second render recorded meanwhile";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::CantCreate);
      EXPECT_NE(std::string(e.what()).find("is in use by another tessfx"), std::string::npos) << e.what();
    }
  };
  first.editor->kv_button3_Click(progress);
  EXPECT_EQ(second.Frames(), second.before);  // refused before it changed anything
  const auto first_rendered = first.Frames();

  RecordingProgress p;
  second.editor->kv_button3_Click(p);  // its own render replaces the first's undo data
  EXPECT_EQ(first.editor->kv_button12_Click().result, UndoResult::DocumentChanged);
  EXPECT_EQ(first.Frames(), first_rendered);
  EXPECT_EQ(second.editor->kv_button12_Click().result, UndoResult::Restored);
  EXPECT_EQ(second.Frames(), second.before);
}

// A render in one window would take the undo data of an animation that another tessfx still
// has open: the window is told which, so it can ask first. Nothing is at stake for its own
// animation, with recording off, or once that other process has ended.
TEST(Undo, ARenderNamesTheOpenAnimationWhoseUndoDataItWouldReplace) {
  PaintedRig first(4, 3, 2, "Color add"), second(4, 3, 2, "Negative");
  first.editor->host_files.document = [] { return std::string("/shots/a.tsa"); };
  first.editor->host_files.document_first_number = [] { return int64_t{0}; };
  second.editor->host_files = first.editor->host_files;
  second.editor->host_files.document = [] { return std::string("/shots/b.tsa"); };
  RecordingProgress p;
  first.editor->kv_button3_Click(p);
  EXPECT_EQ(second.editor->UndoDataAtStake(), std::nullopt);  // a.tsa is open in no other process

  // Another live process (this one's parent) with a.tsa open: its store names it as source.
  const std::string temp = first.host->Tes_GetTempDir();
  auto other = DiskFrameStore::Create(temp, 2, 2, 1);
  other->Describe("/shots/a.tsa", 0, false);
  nlohmann::json sidecar = nlohmann::json::parse(std::ifstream(other->description().sidecar_path));
  sidecar["pid"] = ::getppid();
  sidecar["process_start"] = 0;
  std::ofstream(other->description().sidecar_path) << sidecar.dump();
  EXPECT_EQ(second.editor->UndoDataAtStake(), "/shots/a.tsa");
  EXPECT_EQ(first.editor->UndoDataAtStake(), std::nullopt);  // its own undo data
  second.editor->panel().Check1 = 0;
  EXPECT_EQ(second.editor->UndoDataAtStake(), std::nullopt);  // nothing recorded, nothing replaced
}

// "Create new animation" through the host interface: a window watching the host is asked
// before unsaved changes go; saying no keeps the animation as it is.
TEST(Host, CreatingAnAnimationAsksBeforeDiscardingUnsavedChanges) {
  PaintedRig rig(4, 3, 5, "Color add");
  struct Asked : HostObserver {
    bool answer = false;
    int asked = 0;
    bool OnDiscardingChanges() override {
      ++asked;
      return answer;
    }
  } window;
  rig.host->AddObserver(&window);
  rig.host->Tes_CreateAnim(9);
  EXPECT_EQ(rig.host->tes_GetTotalFrames(), 5);
  EXPECT_EQ(rig.Frames(), rig.before);
  window.answer = true;
  rig.host->Tes_CreateAnim(9);
  EXPECT_EQ(rig.host->tes_GetTotalFrames(), 9);
  EXPECT_EQ(window.asked, 2);
  rig.host->RemoveObserver(&window);
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
