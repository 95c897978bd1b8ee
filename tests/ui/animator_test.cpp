// What an animator does in the tool window, through its real widgets: sliders that follow
// the keys across a scrub, keys selected, dragged, eased and deleted in the key lane, the
// effect search and keyboard, typed values, captions that follow undo and a new animation,
// and a render that fails part-way.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include "core/error.h"
#include "keys/timeline_view.h"
#include "ui/preview_view.h"
#include "ui/progress_window.h"
#include "ui/timeline_widget.h"
#include "ui/ui_rig.h"
#include "ui/widgets.h"

namespace tessfx {
namespace {

using testing::HasColour;
using testing::SendMouse;
using testing::UiRig;

constexpr int32_t kFrames = 48;

struct AnimatorTest : ::testing::Test {
  UiRig rig{32, 18, kFrames};
  AnimatorTest() {
    DrawPatternAnimation(*rig.host, Pattern::Noise, 7);
    rig.tool->SyncNow();
  }

  HPropSlider* Slider(int n) { return rig.Slider(n); }
  QLabel* Label(int n) { return rig.Label(n); }
  QPushButton* Button(int n) { return rig.Button(n); }
  QAction* Action(const char* name) { return rig.Find<QAction>(name); }
  Editor& editor() { return rig.tool->editor(); }
  TimelineStrip* strip() { return rig.Find<TimelineStrip>("Picture1"); }
  TimelineRuler* ruler() { return rig.Find<TimelineRuler>("TimelineRuler"); }

  void Pick(const std::string& entry) { rig.Pick(entry); }
  // Goes to `frame` as the host window's frame slider does, sets the red slider and keys it.
  void RedKey(int32_t frame, int red) {
    rig.host->Tes_GotoFrame(frame);
    rig.tool->SyncNow();
    Slider(1)->setValue(red);
    Button(1)->click();
  }
  // Drags along the strip from frame `from` to frame `to` and lets go.
  void Scrub(int32_t from, int32_t to) {
    const auto x = [&](int32_t f) { return (f + 0.25) * strip()->scale_width() / kFrames; };
    SendMouse(strip(), QEvent::MouseButtonPress, {x(from), 20}, Qt::LeftButton);
    SendMouse(strip(), QEvent::MouseMove, {x((from + to) / 2), 20}, Qt::LeftButton);
    SendMouse(strip(), QEvent::MouseMove, {x(to), 20}, Qt::LeftButton);
    SendMouse(strip(), QEvent::MouseButtonRelease, {x(to), 20}, Qt::NoButton);
    rig.tool->SyncNow();
  }
  QPointF Lane(int32_t frame) {
    return {ruler()->XOfFrame(frame), TimelineRuler::kRulerHeight + TimelineRuler::kLaneHeight / 2.0};
  }
  std::vector<int32_t> KeyFrames() { return editor().keys().Timeline().key_frames; }
  QString Caption() { return rig.tool->windowTitle(); }
};

// -4 at the first frame and 189 at the last: frame 24 lies 24/47 of the way.
TEST_F(AnimatorTest, SlidersFollowTheKeysAcrossAScrubSoThePreviewIsTheRender) {
  Pick("    Color add");
  RedKey(0, -4);
  RedKey(kFrames - 1, 189);
  const float keyed = editor().renderer().FrameParameters(24)[0];
  EXPECT_NEAR(keyed, -4 + 193.0 * 24 / 47, 1e-3);

  Scrub(40, 24);
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 24);
  EXPECT_EQ(Slider(1)->value(), 95);
  EXPECT_EQ(Label(7)->text(), "95");
  EXPECT_EQ(Caption(), "Timeline editor  (frame 25 of  48 total)");
  const QImage preview = rig.Find<PreviewView>("Picture2")->image();

  // The render writes frame 24 as the preview showed it.
  Button(3)->click();
  rig.tool->SyncNow();
  rig.host->Tes_GotoFrame(24);
  rig.tool->SyncNow();
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->note(), "As rendered");
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->image(), preview);
  Action("BeforeAfter")->trigger();  // as rendered, before and after are the same frame
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->before(), preview);
  Action("BeforeAfter")->trigger();

  // Switched off, the sliders keep their values when the frame moves.
  Button(12)->click();  // undo
  rig.tool->SyncNow();
  Action("SlidersFollowKeys")->trigger();
  EXPECT_EQ(rig.host->GetSetting("tessfx", kToolWindowSection, "SlidersFollowKeys", ""), "0");
  Slider(1)->setValue(7);
  Scrub(10, 30);
  EXPECT_EQ(Slider(1)->value(), 7);
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->note(), "");
}

TEST_F(AnimatorTest, KeysAreSelectedDraggedEasedAndDeletedInTheKeyLane) {
  Pick("    Color add");
  RedKey(0, 0);
  RedKey(20, 100);
  RedKey(kFrames - 1, 200);
  // A press near a key's mark selects it; a press on empty lane clears the selection.
  SendMouse(ruler(), QEvent::MouseButtonPress, Lane(20) + QPointF(3, 0), Qt::LeftButton);
  SendMouse(ruler(), QEvent::MouseButtonRelease, Lane(20) + QPointF(3, 0), Qt::NoButton);
  EXPECT_EQ(editor().SelectedKeyFrame(), 20);
  SendMouse(ruler(), QEvent::MouseButtonPress, Lane(10), Qt::LeftButton);
  SendMouse(ruler(), QEvent::MouseButtonRelease, Lane(10), Qt::NoButton);
  EXPECT_EQ(editor().SelectedKeyFrame(), std::nullopt);

  // Dragged to frame 30: the key moves with its values and stays selected.
  SendMouse(ruler(), QEvent::MouseButtonPress, Lane(20), Qt::LeftButton);
  SendMouse(ruler(), QEvent::MouseMove, Lane(26), Qt::LeftButton);
  SendMouse(ruler(), QEvent::MouseMove, Lane(30), Qt::LeftButton);
  SendMouse(ruler(), QEvent::MouseButtonRelease, Lane(30), Qt::NoButton);
  EXPECT_EQ(KeyFrames(), (std::vector<int32_t>{0, 30, 47}));
  EXPECT_EQ(editor().SelectedKeyFrame(), 30);
  EXPECT_NEAR(editor().keys().ChannelValue(0, 30), 100, 1e-3);

  // Eased in: the curve arrives at the key slowly, so halfway it is past the straight line.
  Action("Ease_ease_in")->trigger();
  EXPECT_EQ(editor().keys().KeyList()[1].Ease, KeyEase::EaseIn);
  EXPECT_GT(editor().keys().ChannelValue(0, 15), 50 + 5);
  EXPECT_TRUE(rig.Find<QToolButton>("KeyEase")->text().contains("ease in"));

  // Previous and next key, then Delete removes the key there.
  rig.host->Tes_GotoFrame(40);
  rig.Find<QToolButton>("KeyPrevious")->click();
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 30);
  rig.Find<QToolButton>("KeyNext")->click();
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 47);
  Action("DeleteKey")->trigger();
  EXPECT_EQ(KeyFrames(), (std::vector<int32_t>{0, 30}));
  Action("DeleteKey")->trigger();  // nothing selected and no key at frame 47: nothing happens
  EXPECT_EQ(KeyFrames(), (std::vector<int32_t>{0, 30}));
}

// Setting a key twice on the frame of the only key: one key, no keyed range, no curves.
TEST_F(AnimatorTest, TheOnlyKeySetAgainStaysTheOnlyKey) {
  Pick("    Color add");
  RedKey(12, 50);
  RedKey(12, 80);
  EXPECT_EQ(editor().keys().KeyCount(), 1);
  EXPECT_FLOAT_EQ(editor().keys().KeyList()[0].Value[0], 80.0f / 255);
  const QImage& image = strip()->image();
  EXPECT_FALSE(HasColour(image, QColor(255, 221, 85)));   // keyed range
  EXPECT_FALSE(HasColour(image, QColor(170, 170, 255)));  // curves
  // Deleted by hand, the only key leaves no key behind.
  Action("DeleteKey")->trigger();
  EXPECT_EQ(editor().keys().KeyCount(), 0);
}

TEST_F(AnimatorTest, SearchFiltersTheListAndTheKeyboardNeverStopsOnAHeading) {
  auto* list = rig.Find<QListWidget>("List1");
  auto* search = rig.Find<QLineEdit>("EffectSearch");
  QTest::keyClicks(search, "gauss");
  std::vector<QString> shown;
  for (int i = 0; i < list->count(); ++i)
    if (!list->isRowHidden(i)) shown.push_back(list->item(i)->text());
  EXPECT_EQ(shown, (std::vector<QString>{"Blur", "    Gaussian blur"}));
  QTest::keyClick(search, Qt::Key_Return);
  EXPECT_EQ(editor().panel().EffectName(), "Gaussian blur");

  QTest::keyClick(search, Qt::Key_Escape);  // clears the search
  EXPECT_EQ(search->text(), "");
  EXPECT_FALSE(list->isRowHidden(rig.Row("Adjust")));
  Pick("    Tint");  // the last of "Adjust"; "Color" follows
  QTest::keyClick(list, Qt::Key_Down);
  QCoreApplication::processEvents();
  EXPECT_EQ(editor().panel().EffectName(), "Map to gradient");
  ASSERT_EQ(list->selectedItems().size(), 1);
  EXPECT_EQ(list->selectedItems().front()->text(), "    Map to gradient");
  QTest::keyClick(list, Qt::Key_Up);  // back over the heading
  QCoreApplication::processEvents();
  EXPECT_EQ(list->selectedItems().front()->text(), "    Tint");
  // (A click on a heading picking the effect after it is checked with the panel and the window.)
}

TEST_F(AnimatorTest, ValuesAreTypedIntoTheValueLabelWithinTheRange) {
  Pick("    Color add");
  EXPECT_TRUE(Slider(1)->toolTip().contains("-255 to 255"));
  auto* label = static_cast<ValueLabel*>(Label(7));
  const int previews = rig.tool->previews;
  QTest::mouseDClick(label, Qt::LeftButton);
  QLineEdit* edit = rig.Find<QLineEdit>("HPropEdit1");
  ASSERT_NE(edit, nullptr);
  edit->selectAll();
  QTest::keyClicks(edit, "300");
  QTest::keyClick(edit, Qt::Key_Return);
  EXPECT_EQ(Slider(1)->value(), 255);  // brought into the range
  EXPECT_EQ(Label(7)->text(), "255");
  EXPECT_EQ(rig.tool->previews, previews + 1);

  label->OpenEditor();
  edit = label->editor();
  edit->selectAll();
  QTest::keyClicks(edit, "ten");
  QTest::keyClick(edit, Qt::Key_Return);
  EXPECT_EQ(label->editor(), edit);  // not a number: the editor stays open
  EXPECT_EQ(Slider(1)->value(), 255);
  edit->selectAll();
  QTest::keyClicks(edit, "-12.5");
  QTest::keyClick(edit, Qt::Key_Escape);  // cancelled
  EXPECT_EQ(label->editor(), nullptr);
  EXPECT_EQ(Slider(1)->value(), 255);

  Pick("    Negative");  // no sliders: nothing to type into
  label->OpenEditor();
  EXPECT_EQ(label->editor(), nullptr);
}

TEST_F(AnimatorTest, CaptionStripAndPreviewFollowUndoAndANewAnimation) {
  Pick("    Color add");
  Slider(1)->setValue(60);
  rig.host->Tes_GotoFrame(30);
  rig.tool->SyncNow();
  EXPECT_EQ(Caption(), "Timeline editor  (frame 31 of  48 total)");
  Button(3)->click();  // render: the host ends on the last frame
  rig.tool->SyncNow();
  EXPECT_EQ(Caption(), "Timeline editor  (frame 48 of  48 total)");
  Button(12)->click();  // undo: the host goes back to frame 0
  rig.tool->SyncNow();
  EXPECT_EQ(Caption(), "Timeline editor  (frame 1 of  48 total)");
  EXPECT_EQ(ruler()->data().current_frame, 0);

  rig.tool->answer = "12";
  Action("AnimMenuCreate")->trigger();
  rig.tool->SyncNow();
  EXPECT_EQ(Caption(), "Timeline editor  (frame 1 of  12 total)");
  EXPECT_EQ(ruler()->data().total_frames, 12);
  EXPECT_EQ(editor().keys().FrameValues().Upper(), 12);
  EXPECT_TRUE(rig.tool->messages.empty()) << rig.tool->messages.front();
}

// The host fails when the render moves to frame 5: the render stops there, says so once, and
// undo puts back exactly the frames it wrote.
struct FailAt : HostObserver {
  void OnFrameChanged(int32_t frame) override {
    if (frame == 5 && armed) Fail(ErrorKind::IoError, "the frame store cannot be read");
  }
  bool armed = true;
};

TEST_F(AnimatorTest, ARenderThatFailsPartWayStopsSaysSoOnceAndCanBeUndone) {
  const testing::Frames before = testing::ReadFrames(*rig.host);
  Pick("    Color add");
  Slider(1)->setValue(90);
  FailAt fail;
  rig.host->AddObserver(&fail);
  Button(3)->click();
  rig.host->RemoveObserver(&fail);
  rig.tool->SyncNow();
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  ASSERT_EQ(rig.tool->messages.size(), 1u);
  EXPECT_NE(rig.tool->messages[0].find("the frame store cannot be read"), std::string::npos);
  const testing::Frames after = testing::ReadFrames(*rig.host);
  for (size_t f = 0; f < kFrames; ++f) EXPECT_EQ(after[3 * f] == before[3 * f], f >= 5) << f;
  EXPECT_EQ(QApplication::overrideCursor(), nullptr);

  Button(12)->click();
  EXPECT_EQ(testing::FirstDifference(testing::ReadFrames(*rig.host), before), "");
  EXPECT_EQ(rig.tool->messages.size(), 1u);
}

// The progress window names the frame as the host window does, with the frame text it is given
// beside it, and reports times and speed.
struct WatchProgress : HostObserver {
  void OnFrameChanged(int32_t frame) override {
    auto* form2 = qobject_cast<ProgressWindow*>(QApplication::activeModalWidget());
    if (!form2 || frame != 20) return;
    frame_text = form2->findChild<QLabel*>("Form2Frame")->text();
    label = form2->findChild<QLabel*>("Form2Label")->text();
    times = form2->findChild<QLabel*>("Form2Times")->text();
  }
  QString frame_text, label, times;
};

TEST_F(AnimatorTest, TheProgressWindowCountsFramesAsTheHostWindowDoes) {
  Pick("    Color add");
  WatchProgress watch;
  rig.host->AddObserver(&watch);
  Button(3)->click();
  rig.host->RemoveObserver(&watch);
  // At the move to frame 20, frame 19 is the one written last and shown everywhere.
  EXPECT_EQ(watch.frame_text, "Frame 20 of 48");
  EXPECT_EQ(watch.label, "20 of 0 through 47");
  EXPECT_TRUE(watch.times.contains("elapsed")) << watch.times.toStdString();
  EXPECT_TRUE(watch.times.contains("left")) << watch.times.toStdString();
}

TEST_F(AnimatorTest, TheViewerSplitsBeforeAndAfterShowsActualSizeAndPreviewsLiveWhenAsked) {
  auto* view = rig.Find<PreviewView>("Picture2");
  Pick("    Negative");
  Action("BeforeAfter")->trigger();
  ASSERT_FALSE(view->before().isNull());
  EXPECT_EQ(view->before().size(), view->image().size());
  EXPECT_NE(view->before(), view->image());
  // The before picture is the untouched frame: the negative of the result.
  const QColor a = view->image().pixelColor(3, 3), b = view->before().pixelColor(3, 3);
  EXPECT_EQ(a.red() + b.red(), 255);

  Action("ActualSize")->trigger();
  EXPECT_EQ(view->image().size(), QSize(32, 18));
  EXPECT_EQ(view->PictureRect().size(), QSize(32, 18));
  Action("FitPreview")->trigger();
  EXPECT_GT(view->PictureRect().width(), 32);

  // Live preview: pictures come while the slider is dragged, marked as reduced.
  Pick("    Threshold");
  Action("LivePreview")->trigger();
  const int previews = rig.tool->previews;
  Slider(1)->setSliderDown(true);
  Slider(1)->setSliderPosition(40);
  rig.tool->SyncNow();
  EXPECT_EQ(rig.tool->previews, previews + 1);
  EXPECT_EQ(view->note(), "Reduced while dragging");
  Slider(1)->setSliderDown(false);
  EXPECT_EQ(rig.tool->previews, previews + 2);
  EXPECT_EQ(view->note(), "");
}

TEST_F(AnimatorTest, PlayingTheEffectShowsAndKeepsTheEffectedFrames) {
  Pick("    Color add");
  Slider(1)->setValue(120);
  rig.tool->PlayEffect();
  rig.tool->SyncNow();
  ASSERT_TRUE(rig.host->playing());
  for (int i = 0; i < 5; ++i) {
    rig.host->AdvancePlayback();
    rig.tool->SyncNow();
  }
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->note(), "Playing the effect");
  EXPECT_EQ(editor().flipbook().size(), 6u);
  Button(8)->click();  // stop
  rig.tool->SyncNow();
  EXPECT_FALSE(rig.tool->playing_effect());
  EXPECT_EQ(rig.Find<PreviewView>("Picture2")->note(), "");
}

TEST_F(AnimatorTest, HelpDescribesTheSelectedEffect) {
  Pick("    Gaussian blur");
  Action("AboutEffect")->trigger();
  ASSERT_EQ(rig.tool->messages.size(), 1u);
  const EffectDef* e = FindEffect("Gaussian blur");
  EXPECT_NE(rig.tool->messages[0].find(std::string(e->description)), std::string::npos);
  EXPECT_NE(rig.tool->messages[0].find("Gaussian blur: 2 to 64, default 32"), std::string::npos);
  EXPECT_EQ(rig.Find<QLabel>("EffectDescription")->text().toStdString(), std::string(e->description));
}

}  // namespace
}  // namespace tessfx
