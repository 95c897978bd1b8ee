// The editor in step with the host: sliders that follow the keys so that the preview shows
// what the render writes, frames the last render wrote, the flipbook of a played effect, the
// reduced preview while dragging, the progress counts, and a render that fails part-way.
#include <gtest/gtest.h>

#include "core/error.h"
#include "render/flipbook.h"
#include "render/live_preview.h"
#include "render/render_timing.h"
#include "render/rig.h"
#include "render/thumb.h"

namespace tessfx {
namespace {

using testing::EditorRig;
using testing::RecordingProgress;

using Planes = std::array<std::vector<uint8_t>, 3>;
Planes Working(Editor& e) {
  const ImageState& s = e.image();
  Planes out;
  const Plane* p[3] = {&s.work_r, &s.work_g, &s.work_b};
  for (int c = 0; c < 3; ++c) out[c].assign(p[c]->data(), p[c]->data() + p[c]->size());
  return out;
}

// "Value adjustment" keyed from 20 to 180 on its first slider over 48 frames: at frame 24 the
// keys give 101.70..., which a slider can only show as 102, and the effect's table takes the
// value as it comes, so a preview with the slider's 102 would differ from the render.
struct FollowRig : EditorRig {
  FollowRig() : EditorRig(24, 16, 48) {
    Paint();
    editor->panel().SelectEffect("Value adjustment");
    Key(0, {20});
    Key(47, {180});
    editor->set_follow_keys(true);
  }
  // The host moves to `frame` and settles there, as the window reports it.
  void Settle(int32_t frame) {
    host->Tes_GotoFrame(frame);
    editor->FrameSettled();
  }
};

TEST(FollowKeys, ThePreviewAtAFrameIsWhatTheRenderWritesThere) {
  FollowRig rig;
  Editor& e = *rig.editor;
  rig.Settle(24);
  EXPECT_EQ(e.panel().HProp[0].Value(), 102);
  EXPECT_EQ(e.panel().Label[6].caption, "102");
  const Planes preview = Working(e);
  e.panel().HProp[0].SetValue(102);  // no change: the preview stays the keyed one
  EXPECT_EQ(Working(e), preview);

  RecordingProgress progress;
  e.kv_button3_Click(progress);
  const auto frames = rig.Frames();
  for (int c = 0; c < 3; ++c) EXPECT_EQ(frames[24 * 3 + c], preview[static_cast<size_t>(c)]) << c;

  // The slider moved by hand previews the slider's value, as without following.
  e.panel().HProp[0].SetValue(150);
  EXPECT_EQ(e.renderer().PreviewValues()[0], 150.0f);
}

TEST(FollowKeys, FramesTheLastRenderWroteShowAsTheyAreUntilSomethingChanges) {
  FollowRig rig;
  Editor& e = *rig.editor;
  RecordingProgress progress(30);  // stops after 30 frames
  e.kv_button3_Click(progress);
  const auto rendered = rig.Frames();
  rig.Settle(10);
  EXPECT_TRUE(e.ShowsRenderedFrame());
  for (int c = 0; c < 3; ++c) EXPECT_EQ(Working(e)[static_cast<size_t>(c)], rendered[10 * 3 + c]);  // not applied twice
  rig.Settle(40);  // beyond where the render stopped: previewed with the effect
  EXPECT_FALSE(e.ShowsRenderedFrame());
  rig.Settle(10);
  rig.Key(5, {90});  // another key: a render now would apply the effect again
  EXPECT_FALSE(e.ShowsRenderedFrame());
  e.kv_button5_Click();
  rig.Key(0, {20});
  rig.Key(47, {180});
  rig.Settle(10);
  EXPECT_TRUE(e.ShowsRenderedFrame());  // the same set-up as rendered again
  e.kv_button12_Click();
  rig.Settle(10);
  EXPECT_FALSE(e.ShowsRenderedFrame());  // undone

  // Without following, the preview applies the effect whatever was rendered (as the
  // sliders say), and the sliders keep their values when the frame moves.
  e.set_follow_keys(false);
  e.panel().HProp[0].SetValue(60);
  e.kv_button3_Click(progress);
  rig.Settle(3);
  EXPECT_FALSE(e.ShowsRenderedFrame());
  EXPECT_EQ(e.panel().HProp[0].Value(), 60);
}

TEST(Flipbook, PlayedFramesAreKeptUntilTheSetupOrTheFrameChanges) {
  FollowRig rig;
  Editor& e = *rig.editor;
  for (int32_t f : {3, 4, 5}) {
    rig.host->Tes_GotoFrame(f);
    e.ShowFlipbookFrame();
  }
  EXPECT_EQ(e.flipbook().size(), 3u);
  const ThumbImage at4 = *e.flipbook().Find(4);
  // Shown from the flipbook, the picture is what a render of that frame would show.
  rig.Settle(4);
  EXPECT_EQ(rig.window.last_picture.rgb, at4.rgb);
  rig.host->Tes_GotoFrame(4);
  e.ShowFlipbookFrame();
  EXPECT_EQ(e.flipbook().size(), 3u);
  rig.Key(10, {50});  // another set-up
  rig.host->Tes_GotoFrame(4);
  e.ShowFlipbookFrame();
  EXPECT_EQ(e.flipbook().size(), 1u);
}

TEST(Flipbook, KeepsItsBudgetDroppingTheOldestPictures) {
  FlipbookCache cache(300);
  ThumbImage p{10, 10, std::vector<uint8_t>(100, 1)};
  for (int32_t f = 0; f < 3; ++f) cache.Store(f, p);
  EXPECT_EQ(cache.bytes(), 300u);
  cache.Store(1, p);  // stored again: now the newest
  cache.Store(7, p);  // over budget: frame 0 goes, then 2; 1 was renewed
  EXPECT_EQ(cache.Find(0), nullptr);
  EXPECT_NE(cache.Find(1), nullptr);
  EXPECT_NE(cache.Find(7), nullptr);
  EXPECT_LE(cache.bytes(), 300u);
  cache.Drop(7);
  EXPECT_EQ(cache.Find(7), nullptr);
  cache.Store(9, ThumbImage{20, 20, std::vector<uint8_t>(1200, 1)});  // larger than the budget: not kept
  EXPECT_EQ(cache.Find(9), nullptr);
}

// On a frame of one colour the reduced frame has that colour too, so the live picture equals
// the full preview's for effects of one pixel at a time, also with the swap image.
TEST(LivePreview, AReducedFrameOfOneColourGivesTheFullPreviewsColours) {
  EditorRig rig(1280, 720, 2);
  rig.host->tes_clearbuffer(40, 90, 200);
  rig.host->SetSwapImage(Plane(1280, 720, 10), Plane(1280, 720, 250), Plane(1280, 720, 128));
  Editor& e = *rig.editor;
  for (const char* effect : {"Color add", "Combine add"}) {
    e.panel().SelectEffect(effect);
    e.panel().HProp[0].SetValue(33);
    const ThumbImage full = rig.window.last_picture;
    ASSERT_TRUE(e.ShowLivePreview()) << effect;
    const ThumbImage& live = rig.window.last_picture;
    EXPECT_LE(int64_t{live.width} * live.height, kLivePreviewPixels);
    EXPECT_EQ(std::vector<uint8_t>(live.rgb.begin(), live.rgb.begin() + 3),
              std::vector<uint8_t>(full.rgb.begin(), full.rgb.begin() + 3))
        << effect;
  }
  e.panel().SelectEffect("Greenscreen sequence");  // reads the sequence: previewed in full instead
  EXPECT_FALSE(e.ShowLivePreview());
  EXPECT_EQ(LivePreview::ReducedSize(1920, 1080, {4000, 4000}).width, 640);
  EXPECT_EQ(LivePreview::ReducedSize(1920, 1080, {320, 320}).width, 320);
}

TEST(RenderProgress, CountsTheFramesItWritesAndMeasuresTime) {
  EditorRig rig(4, 4, 12);
  struct Counting : RecordingProgress {
    void Rendering(int32_t frame, int32_t total, int32_t done, int32_t count) override {
      calls.push_back({frame, total, done, count});
    }
    std::vector<std::array<int32_t, 4>> calls;
  } progress;
  rig.editor->panel().SelectEffect("Ghost");  // renders backwards
  rig.editor->kv_button3_Click(progress);
  ASSERT_EQ(progress.calls.size(), 12u);
  EXPECT_EQ(progress.calls.front(), (std::array<int32_t, 4>{11, 12, 0, 12}));
  EXPECT_EQ(progress.calls.back(), (std::array<int32_t, 4>{0, 12, 11, 12}));

  const RenderTimes none = MeasureRender(0, 40, std::chrono::seconds(1));
  EXPECT_EQ(none.frames_per_second, 0);
  EXPECT_FALSE(none.remaining_seconds);
  const RenderTimes t = MeasureRender(10, 40, std::chrono::seconds(2));
  EXPECT_DOUBLE_EQ(t.frames_per_second, 5);
  EXPECT_DOUBLE_EQ(*t.remaining_seconds, 6);
  EXPECT_EQ(TimesText(t), "0:02 elapsed, 0:06 left, 5.0 frames per second");
  EXPECT_EQ(ClockText(0.2), "0:01");  // under way is never 0:00
  EXPECT_EQ(ClockText(59.5), "1:00");
  EXPECT_EQ(ClockText(3725), "1:02:05");
  EXPECT_EQ(FrameOfText(13, 60), "Frame 14 of 60");
}

// The host fails as the render moves to frame 4: the error leaves the render, the undo file
// holds exactly the frames written, and the editor knows which frames were rendered.
TEST(RenderFailure, TheUndoFileCoversTheFramesWrittenBeforeTheFailure) {
  EditorRig rig(6, 4, 10);
  rig.Paint();
  const auto before = rig.Frames();
  Editor& e = *rig.editor;
  e.panel().SelectEffect("Color add");
  e.panel().HProp[0].SetValue(70);
  struct FailAt : HostObserver {
    void OnFrameChanged(int32_t frame) override {
      if (frame == 4) Fail(ErrorKind::IoError, "read error");
    }
  } fail;
  rig.host->AddObserver(&fail);
  RecordingProgress progress;
  EXPECT_THROW(e.kv_button3_Click(progress), Error);
  rig.host->RemoveObserver(&fail);
  EXPECT_EQ(e.renderer().last_summary().frames_rendered, 4);
  EXPECT_FALSE(e.undo().recording());
  const auto after = rig.Frames();
  for (size_t f = 0; f < 10; ++f) EXPECT_EQ(after[3 * f] == before[3 * f], f >= 4) << f;
  e.set_follow_keys(true);
  rig.host->Tes_GotoFrame(3);
  EXPECT_TRUE(e.ShowsRenderedFrame());
  const UndoOutcome undone = e.kv_button12_Click();
  EXPECT_EQ(undone.frames_restored, 4);
  EXPECT_EQ(rig.Frames(), before);
}

}  // namespace
}  // namespace tessfx
