#include "farm/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace tessfx::farm {
namespace {

struct Pipe {
  int read = -1, write = -1;
  ~Pipe() {
    if (read >= 0) ::close(read);
    if (write >= 0) ::close(write);
  }
};

bool OpenPipe(Pipe& p) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;
  p.read = fds[0];
  p.write = fds[1];
  return true;
}

std::string LastLine(const std::string& text) {
  size_t end = text.find_last_not_of(" \t\r\n");
  if (end == std::string::npos) return "";
  const size_t start = text.rfind('\n', end);
  return text.substr(start == std::string::npos ? 0 : start + 1,
                     end - (start == std::string::npos ? 0 : start + 1) + 1);
}

}  // namespace

std::string ProcessResult::Reason(const std::string& program) const {
  if (!started) return program + " is not available here (is Slurm's client installed and on PATH?)";
  if (timed_out) return program + " did not answer in time (is the Slurm controller reachable?)";
  std::string line = LastLine(err);
  if (line.empty()) line = LastLine(out);
  if (line.empty()) line = program + " exited with status " + std::to_string(exit_code);
  return line;
}

ProcessResult RunProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout) {
  ProcessResult r;
  if (argv.empty()) return r;
  Pipe out, err;
  if (!OpenPipe(out) || !OpenPipe(err)) return r;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err.write, STDERR_FILENO);
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid = -1;
  const int spawned = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return r;
  r.started = true;
  ::close(out.write);
  ::close(err.write);
  out.write = err.write = -1;

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  pollfd fds[2] = {{out.read, POLLIN, 0}, {err.read, POLLIN, 0}};
  std::string* sinks[2] = {&r.out, &r.err};
  int open = 2;
  char buf[4096];
  while (open > 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      r.timed_out = true;
      ::kill(pid, SIGKILL);
      break;
    }
    const int n = ::poll(fds, 2, static_cast<int>(left.count()));
    if (n < 0 && errno != EINTR) break;
    for (int i = 0; i < 2 && n > 0; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      const ssize_t got = ::read(fds[i].fd, buf, sizeof buf);
      if (got > 0) {
        sinks[i]->append(buf, static_cast<size_t>(got));
      } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
        fds[i].fd = -1;  // poll skips negative descriptors
        --open;
      }
    }
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) r.exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) r.exit_code = 128 + WTERMSIG(status);
  return r;
}

}  // namespace tessfx::farm
