#pragma once
// Runs the built tessfx binary with arguments, capturing its exit code and output.
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace tessfx::testing_support {

struct CommandResult {
  int code;
  std::string output;  // standard output and standard error together
};

inline CommandResult RunTessfx(const std::string& args) {
  const std::string cmd = std::string(TESSFX_BINARY) + " " + args + " 2>&1";
  FILE* pipe = popen(cmd.c_str(), "r");
  std::string out;
  std::array<char, 512> buf{};
  while (pipe && fgets(buf.data(), buf.size(), pipe)) out += buf.data();
  const int status = pipe ? pclose(pipe) : -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

}  // namespace tessfx::testing_support
