// A first session as a new user has it, through both windows and their real widgets: open
// an image sequence, try two effects, key the blur at the first and last frame, scrub, render
// with the progress window, undo, render again, save the result as a PNG sequence, save the
// project and open it again.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDockWidget>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>
#include <QMessageBox>
#include <QTimer>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/embedded/disk_frame_store.h"
#include "host/image_state.h"
#include "media/test_patterns.h"
#include "render/rig.h"
#include "ui/host_window.h"
#include "ui/timeline_widget.h"
#include "ui/tool_window.h"
#include "ui/ui_rig.h"
#include "ui/widgets.h"

namespace tessfx {
namespace {

namespace fs = std::filesystem;
using testing::AnsweringToolWindow;
using testing::FirstDifference;
using testing::Frames;
using testing::ReadFrames;
using testing::MakeTestHost;
using testing::TestFolder;

class RecordingHostWindow : public HostWindow {
 public:
  using HostWindow::HostWindow;
  std::vector<std::string> errors;

 protected:
  void ShowError(const QString& what, const std::exception& e) override {
    errors.push_back(what.toStdString() + ": " + e.what());
  }
};

// The progress window's bar when it closes, and how often it was shown.
struct ProgressWatch : HostObserver {
  void OnFrameChanged(int32_t) override {
    if (QApplication::activeModalWidget()) ++frames_under_progress;
  }
  int frames_under_progress = 0;
};

TEST(Walkthrough, OpenKeyRenderUndoSaveAndReopen) {
  const fs::path dir = TestFolder("walk");
  constexpr int32_t kFrames = 6;
  // Other documents than the one in the windows: in memory, with folders of their own.
  const auto side_host = [&](const char* name) {
    EmbeddedHostOptions o;
    o.temp_dir = TestFolder(std::string(name) + "-temp");
    o.settings_path = TestFolder(std::string(name) + "-config") + "/settings.ini";
    o.width = 40;
    o.height = 24;
    o.frames = kFrames;
    o.memory_store = true;
    return std::make_unique<EmbeddedHost>(o);
  };
  {
    auto source = side_host("source");
    DrawPatternAnimation(*source, Pattern::Circles, 3);
    source->SaveDocument((dir / "shots/shot.####.png").string());
  }

  auto host = MakeTestHost(8, 8, 1);
  HostRegistry registry;
  registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
  auto state = SharedState::Startup(registry);
  RecordingHostWindow main_window(*host);
  auto* tool = new AnsweringToolWindow(*state);
  host->AddObserver(tool);
  state->HandFormToHost(ObjectRef{static_cast<QWidget*>(tool)});
  main_window.show();
  QCoreApplication::processEvents();
  ASSERT_EQ(main_window.tool_dock()->widget(), tool);

  // Open the sequence by its first file.
  ASSERT_TRUE(main_window.OpenPath(QString::fromStdString((dir / "shots/shot.0001.png").string())));
  ASSERT_EQ(host->tes_GetTotalFrames(), kFrames);
  QCoreApplication::processEvents();  // the windows catch up with the new document
  EXPECT_TRUE(main_window.windowTitle().startsWith("shot.####.png - Tessaline 40x24")) << main_window.windowTitle().toStdString();
  const Frames original = ReadFrames(*host);

  auto* list = tool->findChild<QListWidget*>("List1");
  const auto pick = [&](const char* entry) {
    const auto found = list->findItems(QString::fromUtf8(entry), Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << entry;
    list->setCurrentItem(found.front());
  };
  const auto button = [&](int n) { return tool->findChild<QPushButton*>(QStringLiteral("kv_button%1").arg(n)); };
  auto* frame_slider = main_window.findChild<QSlider*>("HostFrameSlider");
  auto* blur = tool->findChild<HPropSlider*>("HProp1");

  pick("    Sunset filter");
  EXPECT_EQ(tool->editor().panel().EffectName(), "Sunset filter");
  const int previews_before_blur = tool->previews;
  pick("    Gaussian blur");
  EXPECT_GT(tool->previews, previews_before_blur);
  ASSERT_FALSE(blur->isHidden());

  // Keys: a light blur on the first frame, a heavy one on the last.
  frame_slider->setValue(0);
  blur->setValue(2);
  button(1)->click();
  frame_slider->setValue(kFrames - 1);
  EXPECT_EQ(host->tes_Getcurrentframe(), kFrames - 1);
  blur->setValue(30);
  button(1)->click();
  EXPECT_EQ(tool->editor().keys().KeyCount(), 2);

  // Scrub back along the strip; the preview follows on release.
  auto* strip = tool->findChild<TimelineStrip*>("Picture1");
  const auto mouse = [&](QEvent::Type type, double x, Qt::MouseButtons held) {
    testing::SendMouse(strip, type, {x, 10}, held);
  };
  const int previews_before_scrub = tool->previews;
  mouse(QEvent::MouseButtonPress, strip->width() * 0.9, Qt::LeftButton);
  mouse(QEvent::MouseMove, strip->width() * 0.5, Qt::LeftButton);
  mouse(QEvent::MouseMove, strip->width() * 0.2, Qt::LeftButton);
  EXPECT_EQ(host->tes_Getcurrentframe(), 1);
  mouse(QEvent::MouseButtonRelease, strip->width() * 0.2, Qt::NoButton);
  EXPECT_EQ(tool->previews, previews_before_scrub + 1);

  // Render with the progress window up for every frame.
  ProgressWatch watch;
  host->AddObserver(&watch);
  button(3)->click();
  host->RemoveObserver(&watch);
  EXPECT_GE(watch.frames_under_progress, kFrames);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  const Frames rendered = ReadFrames(*host);
  for (int32_t f = 0; f < kFrames; ++f) EXPECT_NE(rendered[3 * f], original[3 * f]) << "frame " << f;
  EXPECT_TRUE(host->modified());

  button(12)->click();  // undo
  EXPECT_EQ(FirstDifference(ReadFrames(*host), original), "");

  button(3)->click();  // the same keys give the same frames again
  EXPECT_EQ(FirstDifference(ReadFrames(*host), rendered), "");

  // Save as a PNG sequence, named as one file.
  ASSERT_TRUE(main_window.SaveAs(QString::fromStdString((dir / "out/result.png").string()),
                                 HostWindow::SaveForm::PngSequence));
  EXPECT_FALSE(host->modified());
  for (int n = 1; n <= kFrames; ++n)
    EXPECT_TRUE(fs::exists(dir / ("out/result.000" + std::to_string(n) + ".png"))) << n;
  {
    auto reread = side_host("reread");
    reread->OpenDocument((dir / "out/result.0001.png").string());
    EXPECT_EQ(FirstDifference(ReadFrames(*reread), rendered), "");
  }

  // The project comes back after other work has replaced the set-up.
  const QString project = QString::fromStdString((dir / "blur.json").string());
  ASSERT_TRUE(tool->SaveProjectTo(project));
  pick("    Negative");
  EXPECT_EQ(tool->editor().keys().KeyCount(), 0);
  ASSERT_TRUE(tool->OpenProjectFrom(project));
  EXPECT_EQ(tool->editor().panel().EffectName(), "Gaussian blur");
  EXPECT_EQ(list->currentItem()->text(), "    Gaussian blur");
  EXPECT_EQ(tool->editor().keys().KeyCount(), 2);
  EXPECT_EQ(tool->editor().keys().ChannelValue(0, 0), 2);
  EXPECT_EQ(tool->editor().keys().ChannelValue(0, kFrames - 1), 30);
  EXPECT_FALSE(blur->isHidden());

  EXPECT_TRUE(tool->messages.empty()) << tool->messages.front();
  EXPECT_TRUE(main_window.errors.empty()) << main_window.errors.front();
  host->RemoveObserver(tool);
}

// At start the window offers what a tessfx that died left behind; restoring makes it the
// open, unsaved document and removes the left-behind store.
TEST(Walkthrough, WorkLeftBehindByADeadProcessIsOfferedAtStart) {
  auto host = MakeTestHost(6, 4, 3);
  const std::string temp = host->Tes_GetTempDir();
  {
    // A store as a killed process leaves it: frames written, described, owner gone.
    auto store = DiskFrameStore::Create(temp, 6, 4, 3);
    store->Write(2, Channel::G, Plane(6, 4, 77));
    store->Describe("/shots/lost.tsa", 0, false);
    nlohmann::json sidecar = nlohmann::json::parse(std::ifstream(store->description().sidecar_path));
    sidecar["pid"] = 999999999;  // beyond any pid the system hands out
    sidecar["store"] = "frames-999999999-dead.store";
    fs::copy_file(store->path(), temp + "/frames-999999999-dead.store");
    std::ofstream(temp + "/frames-999999999-dead.store.json") << sidecar.dump();
  }
  RecordingHostWindow main_window(*host);
  main_window.show();
  QTimer::singleShot(0, [] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->text().contains("/shots/lost.tsa"));
    box->defaultButton()->click();  // Restore
  });
  main_window.OfferLeftBehindWork();
  EXPECT_TRUE(main_window.errors.empty());
  EXPECT_EQ(host->document_path(), "/shots/lost.tsa");
  EXPECT_TRUE(host->modified());
  Plane g;
  host->ReadFramePlane(2, Channel::G, g);
  EXPECT_EQ(g[1][1], 77);
  EXPECT_FALSE(fs::exists(temp + "/frames-999999999-dead.store"));
  EXPECT_FALSE(fs::exists(temp + "/frames-999999999-dead.store.json"));
}

// Saving 8-bit frames back over the OpenEXR files they came from asks first; no keeps the
// files as they were.
TEST(Walkthrough, SavingOverADeeperSourceAsksFirst) {
  const fs::path dir = TestFolder("deep");
  const std::string pattern = (dir / "plate.####.exr").string();
  {
    auto source = MakeTestHost(6, 4, 2);
    DrawPatternAnimation(*source, Pattern::Gradient, 1);
    source->SaveDocument(pattern);
  }
  const std::string first = (dir / "plate.0001.exr").string();
  const std::vector<uint8_t> before = testing::FileBytes(first);
  auto host = MakeTestHost(6, 4, 1);
  RecordingHostWindow main_window(*host);
  ASSERT_TRUE(main_window.OpenPath(QString::fromStdString(first)));
  host->WriteFramePlane(0, Channel::R, Plane(6, 4, 9));
  for (const auto answer : {QMessageBox::Cancel, QMessageBox::Yes}) {
    QTimer::singleShot(0, [answer] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      ASSERT_NE(box, nullptr);
      box->button(answer)->click();
    });
    EXPECT_EQ(main_window.SaveTo(QString::fromStdString(pattern)), answer == QMessageBox::Yes);
    EXPECT_EQ(testing::FileBytes(first) == before, answer == QMessageBox::Cancel);
  }
  EXPECT_TRUE(main_window.errors.empty());
}

}  // namespace
}  // namespace tessfx
