#pragma once
// An editor over an in-memory embedded host, with a window and a progress window that
// record what they are asked to do. Each test gets its own temporary and settings folders
// under the ones CTest names, so tests never share an undo file or touch the real home.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/convert.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "host/scratch_folder.h"
#include "render/editor.h"

namespace tessfx::testing {

// A fresh folder for the running test under $TESSFX_TEMP_DIR (or the system's temp folder).
inline std::string TestFolder(const std::string& kind) {
  const char* base = std::getenv("TESSFX_TEMP_DIR");
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::filesystem::path root = base && *base ? base : std::filesystem::temp_directory_path().string();
  const std::filesystem::path tests = root / ("tests-" + std::to_string(getpid()));
  std::filesystem::path dir = tests / (std::string(info->test_suite_name()) + "." + info->name()) / kind;
  std::filesystem::remove_all(dir);
  CreatePrivateFolders(base && *base ? root : tests, dir);
  return dir.string();
}

inline std::shared_ptr<EmbeddedHost> MakeTestHost(int32_t width, int32_t height, int32_t frames) {
  return std::make_shared<EmbeddedHost>(EmbeddedHostOptions{.temp_dir = TestFolder("temp"),
                                                            .settings_path = TestFolder("config") + "/settings.ini",
                                                            .width = width, .height = height, .frames = frames});
}

inline std::vector<uint8_t> FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class RecordingWindow : public EditorWindow {
 public:
  void SetCaption(const std::string&) override {}
  void MessageBox(const std::string& text) override { messages.push_back(text); }
  std::optional<std::string> InputBox(const std::string&, const std::string&, const std::string&) override {
    return {};
  }
  void SetWaitCursor(bool) override {}
  PictureBox PreviewBox() const override { return {32, 32}; }
  void ShowPicture(const ThumbImage& picture) override { last_picture = picture; }
  void DrawTimeline() override {}

  std::vector<std::string> messages;
  ThumbImage last_picture;
};

// Stops the render once more than `cancel_at_label` frame labels have been shown.
class RecordingProgress : public RenderProgress {
 public:
  explicit RecordingProgress(int cancel_at_label = -1) : cancel_at_(cancel_at_label) {}
  void SetLabel(const std::string& text) override { labels.push_back(text); }
  void Yield() override {}
  bool Cancelled() override { return cancel_at_ >= 0 && static_cast<int>(labels.size()) > cancel_at_; }
  void DisplayBar(double fraction) override { fractions.push_back(fraction); }
  void Close() override {}

  std::vector<std::string> labels;
  std::vector<double> fractions;

 private:
  int cancel_at_;
};

// Once LogFrames() is called, records the frames the host is moved to in `visited`.
struct EditorRig : HostObserver {
  EditorRig(int32_t width, int32_t height, int32_t frames) : host(MakeTestHost(width, height, frames)) {
    HostRegistry registry;
    registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
    state = SharedState::Startup(registry);
    editor = std::make_unique<Editor>(*state, window);
  }
  ~EditorRig() override { host->RemoveObserver(this); }
  void OnFrameChanged(int32_t frame) override { visited.push_back(frame); }
  void LogFrames() { host->AddObserver(this); }

  // Every frame's R, G, B planes, frame after frame.
  std::vector<std::vector<uint8_t>> Frames() const {
    std::vector<std::vector<uint8_t>> out;
    Plane p;
    for (int32_t f = 0; f < host->tes_GetTotalFrames(); ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B}) {
        host->ReadFramePlane(f, c, p);
        out.emplace_back(p.data(), p.data() + p.size());
      }
    return out;
  }
  // Fills every frame with a pattern that differs per frame, channel and sample.
  void Paint() {
    const int32_t w = host->Tes_BufferWidth(), h = host->Tes_BufferHeight();
    for (int32_t f = 0; f < host->tes_GetTotalFrames(); ++f)
      for (int c = 0; c < 3; ++c) {
        Plane p(w, h);
        for (size_t i = 0; i < p.size(); ++i) p.data()[i] = static_cast<uint8_t>(f * 31 + c * 70 + i * 7);
        host->WriteFramePlane(f, static_cast<Channel>(c), p);
      }
  }
  // Moves to `frame`, sets the listed sliders and sets a key there.
  void Key(int32_t frame, std::vector<int16_t> values) {
    host->Tes_GotoFrame(frame);
    for (size_t n = 0; n < values.size(); ++n) editor->panel().HProp[n].SetValue(values[n]);
    editor->kv_button1_Click();
  }

  std::shared_ptr<EmbeddedHost> host;
  std::unique_ptr<SharedState> state;
  RecordingWindow window;
  std::unique_ptr<Editor> editor;
  std::vector<int32_t> visited;
};

}  // namespace tessfx::testing
