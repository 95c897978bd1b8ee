// The project loader on arbitrary bytes: the file is parsed and checked, and what passes is
// applied to an editor over a small in-memory animation and written back out, as the
// window and `tessfx render --project` do.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/error.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "memory_file.h"
#include "render/editor.h"
#include "render/project.h"

namespace {

struct QuietWindow final : tessfx::EditorWindow {
  void SetCaption(const std::string&) override {}
  void MessageBox(const std::string&) override {}
  std::optional<std::string> InputBox(const std::string&, const std::string&, const std::string&) override {
    return std::nullopt;
  }
  void SetWaitCursor(bool) override {}
  tessfx::PictureBox PreviewBox() const override { return {8, 6}; }
  void ShowPicture(const tessfx::ThumbImage&) override {}
  void DrawTimeline() override {}
};

// One editor for the whole run: a 9x7 animation of 5 frames, its settings and temporary
// files in a folder of its own.
struct Rig {
  Rig() {
    char dir[] = "/tmp/tessfx-fuzz-XXXXXX";
    if (::mkdtemp(dir) == nullptr) std::abort();
    tessfx::EmbeddedHostOptions o;
    o.temp_dir = dir;
    o.settings_path = std::string(dir) + "/settings.ini";
    o.width = 9;
    o.height = 7;
    o.frames = 5;
    o.memory_store = true;
    host = std::make_shared<tessfx::EmbeddedHost>(o);
    tessfx::HostRegistry registry;
    registry.Register(tessfx::kHostProgId, [h = host]() -> std::shared_ptr<tessfx::TessalineHost> { return h; });
    state = tessfx::SharedState::Startup(registry);
    editor = std::make_unique<tessfx::Editor>(*state, window);
  }
  std::shared_ptr<tessfx::EmbeddedHost> host;
  std::unique_ptr<tessfx::SharedState> state;
  QuietWindow window;
  std::unique_ptr<tessfx::Editor> editor;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tessfx::fuzz::MemoryFile file;
  static Rig rig;
  file.Set(data, size);
  try {
    tessfx::Project project = tessfx::ReadProjectFile(file.path());
    // A swap file named by the input could be any path on this machine (a pipe, a device);
    // the swap source's own reader has a fuzz target of its own.
    project.swap_file.clear();
    project.swap_active = false;
    tessfx::ApplyProject(*rig.editor, project);
    const tessfx::Project again = tessfx::CaptureProject(*rig.editor);
    (void)tessfx::ProjectToJson(again).dump();
  } catch (const tessfx::Error&) {
  }
  return 0;
}
