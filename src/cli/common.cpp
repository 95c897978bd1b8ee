#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "media/file_util.h"
#include "core/error.h"
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

void Say(const std::string& line) { std::cout << line << std::endl; }

void AddDocumentOptions(CLI::App* cmd, DocumentOptions& options) {
  cmd->add_option("--alpha", options.alpha_mask, "Greyscale image of the frame size used as every frame's alpha");
  cmd->add_option("--alphabits", options.alpha_bits, "The document's alpha-bits flag (0 off)")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
}

void AddGapOption(CLI::App* cmd, DocumentOptions& options) {
  cmd->add_flag("--allow-gaps", options.allow_gaps,
                "Accept a sequence with missing files, repeating the frame before each gap");
}

void OpenDocumentWithOptions(EmbeddedHost& host, const std::string& path, const DocumentOptions& options,
                             bool on_demand) {
  if (LowerExtension(path) == ".bmp") {
    ReadBmpSequenceIntoHost(host, path, options.bmp_size);
  } else {
    OpenOptions open;
    open.allow_gaps = options.allow_gaps;
    open.gap_advice = "--allow-gaps repeats the frame before each gap";
    open.on_demand = on_demand;
    host.OpenDocument(path, open);
  }
  if (!options.alpha_mask.empty()) host.LoadAlphaMask(options.alpha_mask);
  host.set_alpha_bits(options.alpha_bits);
}

}  // namespace tessfx::cli
