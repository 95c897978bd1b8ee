// tessfx apply: one effect, by name, on one frame of an animation, as the editor's preview
// runs it (panel set-up, then the frame dispatch), written to an animation or an image.
#include <OpenImageIO/imageio.h>

#include <charconv>
#include <optional>
#include <vector>

#include "cli/cli.h"
#include "core/error.h"
#include "engine/dispatch.h"
#include "engine/panel.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "media/file_util.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

namespace tessfx::cli {
namespace {

struct ApplyOptions {
  std::string input;
  std::string output;
  std::string effect;
  int32_t frame = 0;
  std::string values;
  std::string swap;
  std::optional<int32_t> alpha_bits;
};

std::string Trim(const std::string& s) {
  const size_t b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return {};
  return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

// "--values": comma-separated whole numbers, slider 1 first; an empty field keeps the
// slider's default.
std::vector<std::optional<int32_t>> ParseValues(const std::string& text) {
  std::vector<std::optional<int32_t>> out;
  if (Trim(text).empty()) return out;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    const std::string field = Trim(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (field.empty()) {
      out.emplace_back();
    } else {
      int32_t v = 0;
      const auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), v);
      if (ec != std::errc() || end != field.data() + field.size())
        Fail(ErrorKind::Usage, "--values: \"" + field + "\" is not a whole number");
      out.emplace_back(v);
    }
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (out.size() > 6) Fail(ErrorKind::Usage, "--values takes at most six values");
  return out;
}

// Sets the visible sliders from the given values; missing ones keep the catalogue default.
void SetSliderValues(ParameterPanel& panel, const EffectSpec& effect, const std::vector<std::optional<int32_t>>& values) {
  if (values.size() > effect.sliders.size())
    Fail(ErrorKind::Usage, "effect \"" + std::string(effect.name) + "\" has " + std::to_string(effect.sliders.size()) +
                               " slider(s), but " + std::to_string(values.size()) + " values were given");
  for (size_t i = 0; i < values.size(); ++i) {
    if (!values[i]) continue;
    const SliderSpec& s = effect.sliders[i];
    if (*values[i] < s.min || *values[i] > s.max)
      Fail(ErrorKind::Usage, "value " + std::to_string(*values[i]) + " for slider \"" + std::string(s.caption) +
                                 "\" is outside its range " + std::to_string(s.min) + ".." + std::to_string(s.max));
    panel.HProp[i].SetValue(static_cast<int16_t>(*values[i]));  // inside a 16-bit range, checked above
  }
}

// An image file as three planes of its own size, the extra row and column repeating the
// last real ones. Grey images give three equal planes; alpha is ignored.
void ReadImagePlanes(const std::string& path, Plane& r, Plane& g, Plane& b) {
  auto in = OIIO::ImageInput::open(path);
  if (!in) Fail(ErrorKind::NoInput, "cannot read image " + path + ": " + OIIO::geterror());
  const OIIO::ImageSpec& layout = in->spec();
  const int32_t w = layout.width, h = layout.height, channels = layout.nchannels;
  if (w < 1 || h < 1 || channels < 1) Fail(ErrorKind::BadData, path + " holds no picture");
  PlaneBytes(w, h);
  std::vector<uint8_t> pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(channels));
  if (!in->read_image(0, 0, 0, channels, OIIO::TypeDesc::UINT8, pixels.data()))
    Fail(ErrorKind::BadData, "cannot read image " + path + ": " + in->geterror());
  r = Plane(w, h);
  g = Plane(w, h);
  b = Plane(w, h);
  Plane* planes[3] = {&r, &g, &b};
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const uint8_t* px = pixels.data() + (static_cast<size_t>(y) * w + x) * channels;
      for (int c = 0; c < 3; ++c) (*planes[c])[y][x] = px[channels >= 3 ? c : 0];
    }
  for (Plane* p : planes) ReplicateEdges(*p);
}

// The picture resized bilinearly to the frame size, as the host's swap image.
void SetSwapFromImage(EmbeddedHost& host, const std::string& path) {
  Plane src[3];
  ReadImagePlanes(path, src[0], src[1], src[2]);
  const int32_t fw = host.Tes_BufferWidth(), fh = host.Tes_BufferHeight();
  Plane dest[3];
  for (int c = 0; c < 3; ++c) {
    dest[c] = Plane(fw, fh);
    ResampleTsaPlane(src[c], dest[c], fw, fh);
    ReplicateEdges(dest[c]);
  }
  host.SetSwapImage(dest[0], dest[1], dest[2]);
}

// The whole planes, extra row and column included, as a one-frame animation.
void WriteTsa(const std::string& path, const ImageState& s) {
  TsaWriter writer(path, s.width, s.height, 1);
  writer.WritePlane(0, Channel::R, s.work_r);
  writer.WritePlane(0, Channel::G, s.work_g);
  writer.WritePlane(0, Channel::B, s.work_b);
  writer.Commit();
}

// The visible picture (width x height, RGB) in the format the extension names.
void WriteImage(const std::string& path, const ImageState& s) {
  const int32_t w = s.width, h = s.height;
  if (w < 1 || h < 1) Fail(ErrorKind::Usage, "a frame of " + std::to_string(w) + "x" + std::to_string(h) +
                                                 " has no picture to write; write a .tsa instead");
  auto out = OIIO::ImageOutput::create(path);
  if (!out) Fail(ErrorKind::CantCreate, "cannot write " + path + ": " + OIIO::geterror());
  std::vector<uint8_t> pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * 3);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      uint8_t* px = pixels.data() + (static_cast<size_t>(y) * w + x) * 3;
      px[0] = s.work_r[y][x];
      px[1] = s.work_g[y][x];
      px[2] = s.work_b[y][x];
    }
  const OIIO::ImageSpec layout(w, h, 3, OIIO::TypeDesc::UINT8);
  if (!out->open(path, layout)) Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + out->geterror());
  if (!out->write_image(OIIO::TypeDesc::UINT8, pixels.data()) || !out->close())
    Fail(ErrorKind::IoError, "cannot write " + path + ": " + out->geterror());
}

std::string JoinNames(const std::vector<std::string>& names) {
  std::string s;
  for (const std::string& n : names) s += (s.empty() ? "\"" : ", \"") + n + "\"";
  return s;
}

void Apply(const ApplyOptions& o) {
  auto host = std::make_shared<EmbeddedHost>(EmbeddedHostOptions{});
  host->OpenDocument(o.input);
  if (o.alpha_bits) host->set_alpha_bits(*o.alpha_bits);
  host->Tes_GotoFrame(o.frame);
  const bool swap_is_animation = !o.swap.empty() && LowerExtension(o.swap) == ".tsa";
  if (!o.swap.empty() && !swap_is_animation) SetSwapFromImage(*host, o.swap);

  HostRegistry registry;
  registry.Register(kHostProgId, [host] { return std::static_pointer_cast<TessalineHost>(host); });
  auto state = SharedState::Startup(registry);
  ImageState& image = state->image();
  if (swap_is_animation) {
    std::string message;
    if (image.external_swap.OpenAnimationFile(o.swap, [&](const std::string& m) { message = m; }) != 0)
      Fail(ErrorKind::BadData, o.swap + ": " + message);
    image.external_swap.set_active(true);
  }

  ParameterPanel panel;
  if (!panel.SelectEffect(o.effect))
    Fail(ErrorKind::Usage, "unknown effect \"" + o.effect + "\"; nearest: " + JoinNames(NearestEffectNames(o.effect)));
  const EffectSpec& effect = *panel.SelectedEffect();
  if (!effect.implemented()) Fail(ErrorKind::Usage, "effect \"" + o.effect + "\" is not implemented yet");
  SetSliderValues(panel, effect, ParseValues(o.values));

  DispatchHooks hooks;
  hooks.selected_entry = [&panel] { return panel.SelectedEntry(); };
  FrameDispatcher dispatcher(image, std::move(hooks));
  const std::array<float, 6> v = panel.SliderValues();
  dispatcher.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);

  if (LowerExtension(o.output) == ".tsa")
    WriteTsa(o.output, image);
  else
    WriteImage(o.output, image);
  std::string used;
  for (size_t i = 0; i < effect.sliders.size(); ++i)
    used += (i ? ", " : " (") + std::string(effect.sliders[i].caption) + " " + std::to_string(panel.HProp[i].Value());
  if (!used.empty()) used += ")";
  Say("wrote " + o.output + ": \"" + o.effect + "\"" + used + " on frame " + std::to_string(o.frame) + " of " +
      o.input);
}

}  // namespace

void AddApplyCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("apply", "Apply one effect by name to one frame and write the result");
  auto o = std::make_shared<ApplyOptions>();
  auto alpha_bits = std::make_shared<int32_t>(0);
  cmd->add_option("INPUT", o->input, "Input animation (.tsa)")->required();
  cmd->add_option("-o,--output", o->output, "Output: .tsa (whole planes, one frame) or an image file")->required();
  cmd->add_option("--effect", o->effect, "Effect name, as `tessfx effects` lists it")->required();
  cmd->add_option("--frame", o->frame, "Frame number, from 0")->capture_default_str();
  cmd->add_option("--values", o->values, "Slider values V1,...,V6 (whole numbers; empty or missing: default)");
  cmd->add_option("--swap", o->swap, "Second image: a .tsa animation (its frame at --frame) or an image file");
  auto* bits = cmd->add_option("--alphabits", *alpha_bits, "Alpha-bits flag of the host (0: composite through alpha)");
  cmd->callback([o, alpha_bits, bits] {
    ApplyOptions run = *o;
    if (bits->count() > 0) run.alpha_bits = *alpha_bits;
    Apply(run);
  });
}

}  // namespace tessfx::cli
