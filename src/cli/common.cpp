#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "media/file_util.h"
#include "core/error.h"
#include "engine/catalogue.h"
#include "host/embedded/document_io.h"
#include "media/image_io.h"

namespace tessfx::cli {

std::pair<int32_t, int32_t> ParseSize(const std::string& text) {
  const size_t x = text.find_first_of("xX");
  auto digits = [](const std::string& s) {
    return !s.empty() && s.size() <= 6 && s.find_first_not_of("0123456789") == std::string::npos;
  };
  if (x == std::string::npos || !digits(text.substr(0, x)) || !digits(text.substr(x + 1)))
    Fail(ErrorKind::Usage, "size \"" + text + "\" is not WIDTHxHEIGHT");
  const int32_t w = std::stoi(text.substr(0, x)), h = std::stoi(text.substr(x + 1));
  if (w < 1 || h < 1) Fail(ErrorKind::Usage, "size \"" + text + "\" must be at least 1x1");
  PlaneBytes(w, h);
  return {w, h};
}

std::unique_ptr<EmbeddedHost> MakeHost() { return std::make_unique<EmbeddedHost>(EmbeddedHostOptions{}); }

void Say(const std::string& line) { std::cout << EscapeControls(line, true) << std::endl; }

int ReportFailure(int code, const std::string& message) {
  std::cout.flush();  // what was said before stays before the error
  std::cerr << "tessfx: " << OneLineMessage(message) << std::endl;
  return code;
}

void AddDocumentOptions(CLI::App* cmd, DocumentOptions& options) {
  cmd->add_option("--alpha", options.alpha_mask, "Greyscale image of the frame size used as every frame's alpha");
  cmd->add_option("--alphabits", options.alpha_bits, "The document's alpha-bits flag (0 off)")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  cmd->add_option("--max-pixels", options.limits.max_pixels,
                  "Most pixels a frame or picture read may have (up to " + std::to_string(kMaxFramePixels) + ")")
      ->check(CLI::Range(int64_t{1}, kMaxFramePixels))
      ->capture_default_str();
  cmd->add_option("--max-frames", options.limits.max_frames, "Most frames an animation or sequence read may have")
      ->check(CLI::Range(1, kMaxFrames))
      ->capture_default_str();
}

void AddGapOption(CLI::App* cmd, DocumentOptions& options) {
  cmd->add_flag("--allow-gaps", options.allow_gaps,
                "Accept a sequence with missing files, repeating the frame before each gap");
}

void OpenDocumentWithOptions(EmbeddedHost& host, const std::string& path, const DocumentOptions& options,
                             bool on_demand) {
  host.set_input_limits(options.limits);
  OpenOptions open;
  open.allow_gaps = options.allow_gaps;
  open.gap_advice = "--allow-gaps repeats the frame before each gap";
  open.on_demand = on_demand;
  open.bmp_size = options.bmp_size;
  host.OpenDocument(path, open);
  if (!options.alpha_mask.empty()) host.LoadAlphaMask(options.alpha_mask);
  host.set_alpha_bits(options.alpha_bits);
}

DocumentInfo ProbeDocumentWithOptions(const std::string& path, const DocumentOptions& options) {
  return ProbeDocument(path, options.limits);
}

SequenceSettings SequenceOption(const std::string& first_file) {
  if (const auto why = NotAnInputFile(first_file)) Fail(ErrorKind::NoInput, "--sequence " + first_file + ": " + *why);
  return SequenceFromFirstFile(first_file);
}

void RequireSwapSource(std::string_view effect_name, bool swap_given) {
  const EffectDef* effect = FindEffect(effect_name);
  if (effect && effect->Uses(kSwapImage) && !swap_given) Fail(ErrorKind::Usage, "no swap image: give --swap FILE");
}

}  // namespace tessfx::cli
