#pragma once
// An editor over an in-memory embedded host, with a window and a progress window that
// record what they are asked to do. Each test gets its own temporary and settings folders
// under the ones CTest names, so tests never share an undo file or touch the real home.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/convert.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "render/editor.h"

namespace tessfx::testing {

// A fresh folder for the running test under $TESSFX_TEMP_DIR (or the system's temp folder).
inline std::string TestFolder(const std::string& kind) {
  const char* base = std::getenv("TESSFX_TEMP_DIR");
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::filesystem::path dir = std::filesystem::path(base && *base ? base : std::filesystem::temp_directory_path().string()) /
                              "tests" / (std::string(info->test_suite_name()) + "." + info->name()) / kind;
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  return dir.string();
}

inline std::shared_ptr<EmbeddedHost> MakeTestHost(int32_t width, int32_t height, int32_t frames) {
  EmbeddedHostOptions o;
  o.temp_dir = TestFolder("temp");
  o.settings_path = TestFolder("config") + "/settings.ini";
  o.width = width;
  o.height = height;
  o.frames = frames;
  return std::make_shared<EmbeddedHost>(o);
}

class RecordingWindow : public EditorWindow {
 public:
  void SetCaption(const std::string& text) override { caption = text; }
  void MessageBox(const std::string& text) override { messages.push_back(text); }
  std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                      const std::string& default_text) override {
    asked = {prompt, title, default_text};
    return answer;
  }
  void SetWaitCursor(bool waiting) override { wait_cursor_changes.push_back(waiting); }
  PictureBox PreviewBox() const override { return box; }
  void ShowPicture(const ThumbImage& picture) override {
    pictures++;
    last_picture = picture;
  }
  void DrawTimeline() override { timeline_draws++; }

  std::string caption;
  std::vector<std::string> messages;
  std::optional<std::string> answer;
  std::vector<std::string> asked;
  std::vector<bool> wait_cursor_changes;
  PictureBox box{32, 32};
  int pictures = 0;
  ThumbImage last_picture;
  int timeline_draws = 0;
};

// Stops the render when the label of frame number `cancel_at_label` (0-based count of
// labels) has been shown.
class RecordingProgress : public RenderProgress {
 public:
  explicit RecordingProgress(int cancel_at_label = -1) : cancel_at_(cancel_at_label) {}
  void SetLabel(const std::string& text) override { labels.push_back(text); }
  void Yield() override { yields++; }
  bool Cancelled() override { return cancel_at_ >= 0 && static_cast<int>(labels.size()) > cancel_at_; }
  void DisplayBar(double fraction) override { fractions.push_back(fraction); }
  void Close() override { closed++; }

  std::vector<std::string> labels;
  std::vector<double> fractions;
  int yields = 0;
  int closed = 0;

 private:
  int cancel_at_;
};

// Records the frames the host is moved to.
class FrameLog : public HostObserver {
 public:
  void OnFrameChanged(int32_t frame) override { frames.push_back(frame); }
  std::vector<int32_t> frames;
};

struct EditorRig {
  EditorRig(int32_t width, int32_t height, int32_t frames) : host(MakeTestHost(width, height, frames)) {
    HostRegistry registry;
    registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
    state = SharedState::Startup(registry);
    editor = std::make_unique<Editor>(*state, window);
  }
  ~EditorRig() { host->RemoveObserver(&log); }

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
  void LogFrames() { host->AddObserver(&log); }
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
  FrameLog log;
};

// The reference for the spline tests: samples one segment from explicitly given control
// points the way the fill is described (t and step in single, half-up frames, clamping),
// writing into `table` up to `upper`.
inline void SampleSegment(std::vector<float>& table, int32_t upper, double step0, const float f[4],
                          const float v[4]) {
  auto cr = [](double t, double p0, double p1, double p2, double p3) {
    return 0.5 * ((3 * p1 - p0 - 3 * p2 + p3) * (t * t * t) + (2 * p0 - 5 * p1 + 4 * p2 - p3) * (t * t) +
                  (p2 - p0) * t + 2 * p1);
  };
  const float step = static_cast<float>(step0 / 10);
  for (float t = 0; t <= 1; t += step) {
    const float pos = static_cast<float>(cr(t, f[0], f[1], f[2], f[3]));
    float val = static_cast<float>(cr(t, v[0], v[1], v[2], v[3]));
    val = val < -1 ? -1 : (val > 1 ? 1 : val);
    const int32_t frame = static_cast<int32_t>(std::floor(static_cast<double>(pos) + 0.5));
    if (frame > upper) return;
    if (frame >= 0) table[static_cast<size_t>(frame)] = val;
  }
}

}  // namespace tessfx::testing
