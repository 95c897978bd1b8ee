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

}  // namespace tessfx::cli
