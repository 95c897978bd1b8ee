#include <cstdio>
#include <iostream>
#include <regex>

#include "cli/cli.h"
#include "core/error.h"

namespace tessfx::cli {

std::pair<int32_t, int32_t> ParseSize(const std::string& text) {
  static const std::regex re(R"((\d{1,6})[xX](\d{1,6}))");
  std::smatch m;
  if (!std::regex_match(text, m, re)) Fail(ErrorKind::Usage, "size \"" + text + "\" is not WIDTHxHEIGHT");
  const int32_t w = std::stoi(m[1]), h = std::stoi(m[2]);
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

void OpenDocumentWithOptions(EmbeddedHost& host, const std::string& path, const DocumentOptions& options) {
  host.OpenDocument(path);
  if (!options.alpha_mask.empty()) host.LoadAlphaMask(options.alpha_mask);
  host.set_alpha_bits(options.alpha_bits);
}

}  // namespace tessfx::cli
