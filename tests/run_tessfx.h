#pragma once
// Runs the built tessfx binary with arguments, capturing its exit code and output.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

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

// A run watched from outside: how long it took and the most memory it held.
struct MeasuredRun {
  int code = -1;          // exit code; -1 when killed (a signal, or the time limit)
  int signal = 0;         // the signal that ended it, 0 when it exited
  bool timed_out = false;
  std::string output;     // standard output and standard error together
  double seconds = 0;
  long peak_rss_kb = 0;
};

// Runs tessfx with `args` (no shell) in `folder`, with `env` ("NAME=value") added to the
// environment; a run longer than `limit_seconds` is killed. `meanwhile`, when given, is
// called with the child's id once it runs.
inline MeasuredRun RunTessfxMeasured(const std::vector<std::string>& args, const std::string& folder,
                                     const std::vector<std::string>& env, double limit_seconds,
                                     const std::function<void(pid_t)>& meanwhile = {}) {
  // Everything the child needs is made before the fork: after it, only plain system calls.
  std::vector<char*> argv{const_cast<char*>(TESSFX_BINARY)};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (char** e = environ; *e; ++e) {
    const std::string entry = *e;
    bool replaced = false;
    for (const std::string& mine : env) replaced |= entry.substr(0, entry.find('=') + 1) == mine.substr(0, mine.find('=') + 1);
    if (!replaced) envp.push_back(*e);
  }
  for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) return {};
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(out[1], STDERR_FILENO);
    if (::chdir(folder.c_str()) != 0) ::_exit(127);
    ::execve(TESSFX_BINARY, argv.data(), envp.data());
    ::_exit(127);
  }
  ::close(out[1]);
  if (meanwhile) meanwhile(child);
  MeasuredRun run;
  const auto deadline = start + std::chrono::duration<double>(limit_seconds);
  for (char buffer[4096];;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd p{out[0], POLLIN, 0};
    if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) == 0) {
      run.timed_out = true;
      ::kill(child, SIGKILL);
      break;
    }
    const ssize_t n = ::read(out[0], buffer, sizeof buffer);
    if (n <= 0) break;
    run.output.append(buffer, static_cast<size_t>(n));
  }
  ::close(out[0]);
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run.peak_rss_kb = usage.ru_maxrss;
  run.code = WIFEXITED(status) && !run.timed_out ? WEXITSTATUS(status) : -1;
  run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return run;
}

}  // namespace tessfx::testing_support
