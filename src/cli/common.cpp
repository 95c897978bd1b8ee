#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "core/error.h"

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

}  // namespace tessfx::cli
