// tessfx gallery: every effect at its defaults on one frame, as a labelled contact sheet.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <optional>

#include "cli/cli.h"
#include "cli/session.h"
#include "core/error.h"
#include "engine/catalogue.h"
#include "host/embedded/document_io.h"
#include "host/embedded/settings_store.h"
#include "media/contact_sheet.h"
#include "media/file_util.h"
#include "media/image_io.h"
#include "render/gallery.h"

namespace tessfx::cli {
namespace {

struct GalleryCommand {
  std::string output;
  std::string input;
  // Default: the built-in scene's frame 12, an input's first frame. An input's frames go by
  // its own numbers (a sequence's file numbers), the scene's by index.
  std::optional<int64_t> frame;
  std::string size = "240x135";
  int32_t columns = 8;
};

// A folder of our own inside the private temporary folder, for the sequence picture;
// removed afterwards.
struct ScratchFolder {
  ScratchFolder() {
    std::string pattern = JoinPath(DefaultTempDir(), "gallery-XXXXXX");
    if (!mkdtemp(pattern.data())) Fail(ErrorKind::CantCreate, "cannot create a folder in " + pattern);
    path = pattern;
  }
  ~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
  std::string path;
};

void Run(const GalleryCommand& c) {
  if (!IsWritableImagePath(c.output)) Fail(ErrorKind::Usage, c.output + ": no image writer for this file type");
  if (c.columns < 1 || c.columns > 32) Fail(ErrorKind::Usage, "--columns must be 1..32");
  GalleryOptions options;
  std::tie(options.cell_width, options.cell_height) = ParseSize(c.size);
  options.input = c.input;
  int64_t number = 0;
  if (!c.input.empty()) {
    const DocumentInfo info = ProbeDocument(c.input);
    const int64_t base = info.FrameNumberBase();
    number = c.frame.value_or(base);
    if (number < base || number >= base + info.frames)
      Fail(ErrorKind::Usage, "--frame " + std::to_string(number) + " is outside " + std::to_string(base) + ".." +
                                 std::to_string(base + info.frames - 1));
    options.frame = static_cast<int32_t>(number - base);
  } else {
    if (c.frame) options.frame = static_cast<int32_t>(std::clamp<int64_t>(*c.frame, -1, INT32_MAX));
    number = options.frame;
  }
  ScratchFolder scratch;
  options.scratch_folder = scratch.path;
  const std::vector<GalleryEntry> entries = RenderGallery(options);

  std::vector<SheetCell> cells;
  int implemented = 0;
  for (const GalleryEntry& e : entries) {
    SheetCell cell{{e.picture[0].view(), e.picture[1].view(), e.picture[2].view()}, "", "", false};
    if (!e.effect) {
      cell.title = c.input.empty() ? "(the test frame)" : "(the input frame)";
      cell.note = "frame " + std::to_string(number);
    } else {
      cell.title = std::string(e.effect->name);
      cell.note = std::string(e.effect->category);
      if (!e.effect->implemented()) {
        cell.marked = true;
        cell.note = "not implemented yet";
      } else if (!e.message.empty()) {
        cell.note = e.message;
      }
      implemented += e.effect->implemented() ? 1 : 0;
    }
    cells.push_back(std::move(cell));
  }
  const std::array<Plane, 3> sheet = ComposeContactSheet(cells, c.columns);
  ImageFileWriter writer;
  writer.Write(c.output, sheet[0], sheet[1], sheet[2], nullptr);
  writer.Commit();
  Say("wrote " + c.output + ": " + std::to_string(entries.size() - 1) + " effects, " + std::to_string(implemented) +
      " implemented, " + std::to_string(sheet[0].width()) + "x" + std::to_string(sheet[0].height()));
}

}  // namespace

void AddGalleryCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("gallery", "Every effect at its defaults on one frame, as a labelled contact sheet");
  auto c = std::make_shared<GalleryCommand>();
  cmd->add_option("OUTPUT", c->output, "The sheet: an image file (.png, .jpg, .tif, ...)")->required();
  cmd->add_option("--input", c->input, "Animation, sequence or image to use instead of the built-in test scene");
  cmd->add_option("--frame", c->frame,
                  "Frame of the input, by its number: a sequence's file number, a .tsa's index from 0 (default: its "
                  "first; of the built-in scene: 12)");
  cmd->add_option("--size", c->size, "Size of each picture on the sheet, WxH; the built-in scene is made at this size")
      ->capture_default_str();
  cmd->add_option("--columns", c->columns, "Pictures per row")->capture_default_str();
  cmd->callback([c] {
    InterruptGuard interrupt;
    Run(*c);
  });
}

}  // namespace tessfx::cli
