// The tool window driven through its real widgets, found by object name.
#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>

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

const QColor kRed(238, 34, 17), kBlue(170, 170, 255);

struct ToolWindowTest : ::testing::Test {
  UiRig rig{16, 12, 10};
  QListWidget* list = rig.Find<QListWidget>("List1");
  void Pick(const std::string& entry) { rig.Pick(entry); }
  HPropSlider* Slider(int n) { return rig.Slider(n); }
  QLabel* Label(int n) { return rig.Label(n); }
  QPushButton* Button(int n) { return rig.Button(n); }
  const QImage& Strip() { return rig.Find<TimelineStrip>("Picture1")->image(); }
};

TEST_F(ToolWindowTest, PickingConfiguresSlidersLabelsButtonAndPointer) {
  EXPECT_EQ(rig.tool->windowTitle(), "Timeline editor");  // nothing picked yet
  EXPECT_TRUE(Slider(1)->isHidden());
  Pick("Adjust");  // a heading: the row after it is chosen
  EXPECT_EQ(list->currentRow(), rig.Row("    Color adjustment"));
  for (int n = 1; n <= 3; ++n) EXPECT_FALSE(Slider(n)->isHidden()) << n;
  EXPECT_TRUE(Slider(4)->isHidden());
  EXPECT_EQ(Label(1)->text(), "Red");
  EXPECT_EQ(Slider(1)->maximum(), 512);
  EXPECT_EQ(Slider(1)->value(), 255);
  EXPECT_EQ(Label(7)->text(), "255");  // shown although the panel has not written it yet
  EXPECT_EQ(rig.Find<QWidget>("Picture2")->cursor().shape(), Qt::BitmapCursor);
  EXPECT_TRUE(rig.tool->windowTitle().startsWith("Timeline editor  (frame 1 of"));

  Pick("    Zoom blur");
  EXPECT_EQ(rig.Find<QWidget>("Picture2")->cursor().shape(), Qt::SizeAllCursor);

  Pick("    Negative");  // no sliders at all
  for (int n = 1; n <= 6; ++n) {
    EXPECT_TRUE(Slider(n)->isHidden()) << n;
    EXPECT_TRUE(Label(n)->isHidden()) << n;
    EXPECT_EQ(Label(n + 6)->text(), "") << n;
  }
  EXPECT_TRUE(Button(13)->isHidden());
  EXPECT_EQ(rig.Find<QWidget>("Picture2")->cursor().shape(), Qt::ArrowCursor);

  Pick("    Greenscreen sequence");
  EXPECT_FALSE(Button(13)->isHidden());
  EXPECT_EQ(Button(13)->text(), "Select Sequence...");
  // On the sliders' left edge, in the row below the last slider (218 against 156 for slider 1).
  EXPECT_EQ(Button(13)->pos(), QPoint(Slider(1)->x(), Slider(1)->y() + 218 - 156));
  Pick("    Greenscreen");  // placed, but left hidden
  EXPECT_TRUE(Button(13)->isHidden());
}

TEST_F(ToolWindowTest, DraggingUpdatesTheLabelButPreviewsOnlyOnRelease) {
  Pick("    Threshold");
  HPropSlider* s = Slider(1);
  const int before = rig.tool->previews;
  s->setSliderDown(true);
  s->setSliderPosition(40);
  s->setSliderPosition(200);
  EXPECT_EQ(Label(7)->text(), "200");
  EXPECT_EQ(rig.tool->previews, before);
  s->setSliderDown(false);
  EXPECT_EQ(rig.tool->previews, before + 1);
  EXPECT_EQ(rig.tool->editor().panel().HProp[0].Value(), 200);

  // Copy and paste through the Edit menu put the value back with one preview.
  rig.Find<QAction>("Edit_copy")->trigger();
  rig.tool->editor().panel().HProp[0].SetValue(3);
  rig.Find<QAction>("Edit_Paste")->trigger();
  EXPECT_EQ(s->value(), 200);
  EXPECT_EQ(Label(7)->text(), "200");
}

TEST_F(ToolWindowTest, KeysShowAsRedMarksAndTwoKeysDrawCurves) {
  Pick("    Threshold");
  EXPECT_FALSE(HasColour(Strip(), kRed));
  Button(1)->click();
  EXPECT_TRUE(HasColour(Strip(), kRed));
  EXPECT_FALSE(HasColour(Strip(), kBlue));

  rig.host->Tes_GotoFrame(9);
  rig.tool->editor().panel().HProp[0].SetValue(30);
  Button(1)->click();
  EXPECT_TRUE(HasColour(Strip(), kRed));
  EXPECT_TRUE(HasColour(Strip(), kBlue));
  EXPECT_EQ(rig.tool->editor().keys().KeyCount(), 2);

  Button(5)->click();  // clear keys
  EXPECT_FALSE(HasColour(Strip(), kBlue));
}

TEST_F(ToolWindowTest, ScrubbingFollowsThePointerAndReleasePreviews) {
  Pick("    Threshold");
  auto* strip = rig.Find<TimelineStrip>("Picture1");
  ASSERT_GT(strip->width(), 100);
  rig.host->Tes_GotoFrame(5);
  SendMouse(strip, QEvent::MouseButtonPress, {0, 10}, Qt::LeftButton);
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 0);
  SendMouse(strip, QEvent::MouseMove, {strip->width() / 2.0, 10}, Qt::LeftButton);
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 5);
  rig.host->Tes_GotoFrame(3);
  SendMouse(strip, QEvent::MouseMove, {static_cast<double>(strip->width()), 10}, Qt::LeftButton);  // frame T: not sent
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 3);
  const int before = rig.tool->previews;
  SendMouse(strip, QEvent::MouseButtonRelease, {10, 10}, Qt::NoButton);
  EXPECT_EQ(rig.tool->previews, before + 1);
  SendMouse(strip, QEvent::MouseMove, {0, 10}, Qt::NoButton);  // no button held: nothing
  EXPECT_EQ(rig.host->tes_Getcurrentframe(), 3);

  // Zoom widens the strip and shows the scroll bar; zooming out again narrows it.
  const double w = strip->scale_width();
  Button(9)->click();
  EXPECT_EQ(strip->scale_width(), 2 * w);
  EXPECT_FALSE(rig.Find<QWidget>("HScroll1")->isHidden());
  Button(10)->click();
  EXPECT_EQ(strip->scale_width(), w);
}

TEST_F(ToolWindowTest, DraggingOnThePreviewPlacesMovesAndTurnsTheEffects) {
  DrawPatternAnimation(*rig.host, Pattern::Noise, 5);
  auto* preview = rig.Find<PreviewView>("Picture2");
  struct Case {
    const char* entry;
    int slider;                 // the first of the two sliders the drag sets
    std::array<int, 2> after;   // their values after dragging from the middle to (0.7, 0.3)
  };
  for (const Case& c : {Case{"    Zoom blur", 1, {70, 30}}, Case{"    Transform", 1, {20, -20}},
                        Case{"    Wireframe designer", 3, {40, 310}},
                        Case{"    Mystic vision", 1, {70, 30}}, Case{"    Shadow vision", 1, {70, 30}},
                        Case{"    Wave brush in breeze", 1, {70, 30}}}) {
    Pick(c.entry);
    const QRect r = preview->PictureRect();
    const auto at = [&](double fx, double fy) { return QPointF(r.x() + fx * r.width(), r.y() + fy * r.height()); };
    const QImage before = preview->image();
    SendMouse(preview, QEvent::MouseButtonPress, at(0.5, 0.5), Qt::LeftButton);
    SendMouse(preview, QEvent::MouseMove, at(0.7, 0.3), Qt::LeftButton);
    SendMouse(preview, QEvent::MouseButtonRelease, at(0.7, 0.3), Qt::NoButton);
    SendMouse(preview, QEvent::MouseMove, at(0.9, 0.9), Qt::NoButton);  // released: no more placing
    EXPECT_NEAR(Slider(c.slider)->value(), c.after[0], 1) << c.entry;
    EXPECT_NEAR(Slider(c.slider + 1)->value(), c.after[1], 1) << c.entry;
    EXPECT_EQ(Label(6 + c.slider)->text(), QString::number(Slider(c.slider)->value())) << c.entry;
    EXPECT_NE(preview->image(), before) << c.entry;
  }
}

// Cancels the render from inside it, as the user's click on Form2's button would, when the
// render reaches `at`.
struct CancelAt : HostObserver {
  explicit CancelAt(int32_t frame) : at(frame) {}
  void OnFrameChanged(int32_t frame) override {
    if (frame != at) return;
    if (auto* form2 = qobject_cast<ProgressWindow*>(QApplication::activeModalWidget())) {
      bar_when_cancelled = form2->findChild<QProgressBar*>("DisplayBar")->value();
      form2->findChild<QPushButton*>("Form2Cancel")->click();
      cancelled = true;
    }
  }
  int32_t at;
  bool cancelled = false;
  int bar_when_cancelled = -1;
};

TEST_F(ToolWindowTest, RenderCancelledPartWayThenUndoRestoresTheFrames) {
  DrawPatternAnimation(*rig.host, Pattern::Noise, 5);
  const testing::Frames before = testing::ReadFrames(*rig.host);
  Pick("    Color add");
  rig.tool->editor().panel().HProp[0].SetValue(90);
  CancelAt cancel(4);
  rig.host->AddObserver(&cancel);
  Button(3)->click();
  rig.host->RemoveObserver(&cancel);
  ASSERT_TRUE(cancel.cancelled);
  EXPECT_GT(cancel.bar_when_cancelled, 0);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);  // Form2 has closed
  const testing::Frames part = testing::ReadFrames(*rig.host);
  for (size_t f = 0; f < 10; ++f)  // the frame under way finishes; the rest are untouched
    EXPECT_EQ(part[3 * f] == before[3 * f], f > 4) << f;

  Button(12)->click();
  EXPECT_EQ(testing::FirstDifference(testing::ReadFrames(*rig.host), before), "");
  EXPECT_TRUE(rig.tool->messages.empty());
}

TEST_F(ToolWindowTest, UndoBoxAndItsCaptionStoreTheSetting) {
  auto* check = rig.Find<QCheckBox>("Check1");
  EXPECT_TRUE(check->isChecked());  // recording is on without a saved setting
  check->click();
  EXPECT_EQ(rig.host->GetSetting(kSettingsApp, kTimelineSection, kSaveUndosKey, ""), "0");
  SendMouse(Label(13), QEvent::MouseButtonRelease, {2, 2}, Qt::NoButton);
  EXPECT_TRUE(check->isChecked());
  EXPECT_EQ(rig.host->GetSetting(kSettingsApp, kTimelineSection, kSaveUndosKey, ""), "1");
}

TEST_F(ToolWindowTest, CreateAnimationRefusesCountsOutsideOneToTenThousand) {
  QAction* create = rig.Find<QAction>("AnimMenuCreate");
  const std::optional<std::string> refused[] = {std::nullopt, "0", "", "10001", "-3"};
  for (const std::optional<std::string>& answer : refused) {
    rig.tool->answer = answer;
    create->trigger();
    EXPECT_EQ(rig.host->tes_GetTotalFrames(), 10) << answer.value_or("(cancelled)");
  }
  EXPECT_EQ(rig.tool->asked.back(), "Create new animation");
  EXPECT_TRUE(rig.tool->messages.empty());
  rig.tool->answer = "3.5";
  create->trigger();
  EXPECT_EQ(rig.host->tes_GetTotalFrames(), 4);
}

TEST_F(ToolWindowTest, ColourSchemeDefaultsOnAFreshSettingsFileAndSavedColoursOverThem) {
  const auto button = [&](int n) { return static_cast<KvButton*>(Button(n)); };
  EXPECT_EQ(button(6)->color(), QColor(182, 197, 197));  // setting
  EXPECT_EQ(button(12)->color(), QColor(189, 191, 181));  // action
  EXPECT_EQ(button(13)->color(), QColor(201, 190, 193));  // tool
  EXPECT_EQ(button(1)->shadow(), QColor(32, 32, 32));
  EXPECT_FALSE(button(1)->borderless());
  EXPECT_EQ(list->palette().color(QPalette::Text), QColor(255, 238, 136));
  EXPECT_EQ(rig.Find<TimelineStrip>("Picture1")->back_color, QColor(250, 232, 184));
  EXPECT_EQ(rig.Find<QWidget>("Form1Canvas")->palette().color(QPalette::Window), QColor(143, 149, 158));

  rig.host->SaveSetting("tessaline", "Startup", "Special_Action_Color", "255");
  rig.host->SaveSetting("tessaline", "Startup", "Borderless_Buttons", "1");
  rig.tool->PrefsCallback();
  EXPECT_EQ(button(3)->color(), QColor(255, 0, 0));
  EXPECT_TRUE(button(3)->borderless());
  EXPECT_EQ(button(1)->color(), QColor(182, 197, 197));
}

TEST(FileFilter, LabelAndPatternBecomeQtsForm) {
  EXPECT_EQ(QtFileFilter("bmp(*.bmp)|*.bmp"), "bmp (*.bmp)");
  EXPECT_EQ(QtFileFilter("tsa(*.tsa)|*.tsa|All|*"), "tsa (*.tsa);;All (*)");
  EXPECT_EQ(QtFileFilter(""), "All files (*)");
}

}  // namespace
}  // namespace tessfx
