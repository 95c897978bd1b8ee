#include "render/gallery.h"

#include <algorithm>
#include <memory>

#include "core/error.h"
#include "engine/catalogue.h"
#include "engine/dispatch.h"
#include "engine/panel.h"
#include "host/embedded/embedded_host.h"
#include "host/registry.h"
#include "media/bmp.h"
#include "media/file_util.h"
#include "media/sequence.h"
#include "media/test_patterns.h"
#include "render/thumb.h"

namespace tessfx {
namespace {

constexpr int32_t kSceneFrames = 48;

// The working planes reduced to fit the cell, centred on black.
std::array<Plane, 3> Reduced(const ImageState& s, int32_t cell_w, int32_t cell_h) {
  ThumbImage thumb;
  SuperThumb(s.work_r, s.work_g, s.work_b, s.width, s.height, cell_w, cell_h, thumb);
  std::array<Plane, 3> out = {Plane(cell_w, cell_h), Plane(cell_w, cell_h), Plane(cell_w, cell_h)};
  const int32_t x0 = (cell_w - thumb.width) / 2, y0 = (cell_h - thumb.height) / 2;
  for (int32_t y = 0; y < thumb.height; ++y)
    for (int32_t x = 0; x < thumb.width; ++x)
      for (size_t c = 0; c < 3; ++c)
        out[c][y0 + y][x0 + x] = thumb.rgb[(static_cast<size_t>(y) * thumb.width + x) * 3 + c];
  return out;
}

// The host with the frame, a swap image of coloured discs and the default assets.
std::shared_ptr<EmbeddedHost> GalleryHost(const GalleryOptions& o) {
  EmbeddedHostOptions host_options;
  host_options.memory_store = true;
  auto host = std::make_shared<EmbeddedHost>(host_options);
  if (o.input.empty()) {
    host->NewAnimation(o.cell_width, o.cell_height, kSceneFrames);
    DrawPatternAnimation(*host, Pattern::Scene, 1);
  } else {
    OpenOptions on_demand;  // one frame of a long sequence is one file, not the whole sequence in memory
    on_demand.on_demand = true;
    host->OpenDocument(o.input, on_demand);
  }
  if (o.frame < 0 || o.frame >= host->tes_GetTotalFrames())
    Fail(ErrorKind::Usage,
         "--frame " + std::to_string(o.frame) + " is outside 0.." + std::to_string(host->tes_GetTotalFrames() - 1));
  host->Tes_GotoFrame(o.frame);
  const int32_t w = host->Tes_BufferWidth(), h = host->Tes_BufferHeight();
  Plane r(w, h), g(w, h), b(w, h);
  DrawPattern(Pattern::Circles, 2, 1, 4, r, g, b);
  host->SetSwapImage(r, g, b);
  return host;
}

}  // namespace

std::vector<GalleryEntry> RenderGallery(const GalleryOptions& o) {
  if (o.cell_width < 8 || o.cell_height < 8 || o.cell_width > 4096 || o.cell_height > 4096)
    Fail(ErrorKind::Usage, "gallery cells must be 8x8 to 4096x4096");
  std::shared_ptr<EmbeddedHost> host = GalleryHost(o);
  const int32_t w = host->Tes_BufferWidth(), h = host->Tes_BufferHeight();

  // The sequence effects read this frame's picture of a one-picture sequence: a cut-out
  // star with its own alpha, numbered so that the current frame names it.
  SequenceSettings sequence;
  if (!o.scratch_folder.empty()) {
    Plane r(w, h), g(w, h), b(w, h), a(w, h);
    DrawCutout(r, g, b, a);
    const std::string base = JoinPath(o.scratch_folder, "gallery-sequence-");
    sequence = {base, 0, 4};
    WriteBmp32(*SequenceFrameFileName(sequence, o.frame), r, g, b, a);
  }

  HostRegistry registry;
  registry.Register(kHostProgId, [host] { return std::static_pointer_cast<TessalineHost>(host); });
  std::unique_ptr<SharedState> state = SharedState::Startup(registry);
  std::unique_ptr<ParameterPanel> panel = std::make_unique<ParameterPanel>();
  std::string message;
  DispatchHooks hooks;
  hooks.selected_entry = [&panel] { return panel->SelectedEntry(); };
  hooks.set_caption = [&message](const std::string& text) {
    if (text.rfind("Timeline editor", 0) != 0) message = text;  // the frame caption is not news
  };
  hooks.sequence_file = [&sequence](int32_t frame) { return SequenceFrameFileName(sequence, frame); };
  FrameDispatcher dispatcher(state->image(), std::move(hooks));

  std::vector<GalleryEntry> entries;
  dispatcher.ProccessFrame(0, 0, 0, 0, 0, 0);  // no effect selected: the frame as it is
  entries.push_back({nullptr, Reduced(state->image(), o.cell_width, o.cell_height), {}});
  for (const EffectDef& e : Effects()) {
    // Each effect on a fresh panel, so that no hidden slider keeps another effect's value.
    panel = std::make_unique<ParameterPanel>();
    panel->SelectEffect(std::string(e.name));
    const std::array<float, 6> v = panel->SliderValues();
    message.clear();
    dispatcher.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
    entries.push_back({&e, Reduced(state->image(), o.cell_width, o.cell_height), message});
  }
  return entries;
}

}  // namespace tessfx
