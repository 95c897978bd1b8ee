#include "cli/session.h"

#include "core/error.h"

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "host/registry.h"

namespace tessfx::cli {
namespace {

// A signal handler can reach nothing but a global: it only raises this flag, which the
// render's progress reads between frames.
std::atomic<bool> g_interrupted{false};

extern "C" void OnInterrupt(int) {
  if (g_interrupted.exchange(true)) {
    ::signal(SIGINT, SIG_DFL);
    ::raise(SIGINT);
  }
}

}  // namespace

InterruptGuard::InterruptGuard() {
  g_interrupted = false;
  struct sigaction sa {};
  sa.sa_handler = OnInterrupt;
  sa.sa_flags = SA_RESTART;  // output blocked on a full pipe resumes instead of failing
  sigemptyset(&sa.sa_mask);
  ::sigaction(SIGINT, &sa, &previous_);
}

InterruptGuard::~InterruptGuard() { ::sigaction(SIGINT, &previous_, nullptr); }

bool InterruptGuard::interrupted() const { return g_interrupted.load(); }

void ConsoleWindow::MessageBox(const std::string& text) { std::cerr << "tessfx: " << OneLineMessage(text) << "\n"; }

ConsoleProgress::ConsoleProgress(int32_t frames, const InterruptGuard& interrupt)
    : frames_(frames), interrupt_(interrupt), tty_(::isatty(STDOUT_FILENO) == 1),
      start_(std::chrono::steady_clock::now()) {}

void ConsoleProgress::DisplayBar(double) {
  ++done_;
  if (!tty_) {
    std::cout << label_ << "\n" << std::flush;
    return;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const double fps = seconds > 0 ? done_ / seconds : 0.0;
  const int left = fps > 0 ? static_cast<int>(std::lround((frames_ - done_) / fps)) : 0;
  constexpr int kWidth = 30;
  const int filled = frames_ > 0 ? static_cast<int>(int64_t{kWidth} * done_ / frames_) : kWidth;
  char line[160];
  std::snprintf(line, sizeof line, "\r[%s%s] %d/%d  frame %s  %.1f fps  %d:%02d left ",
                std::string(static_cast<size_t>(filled), '#').c_str(),
                std::string(static_cast<size_t>(kWidth - filled), '.').c_str(), done_, frames_,
                label_.substr(0, label_.find(' ')).c_str(), fps, left / 60, left % 60);
  std::cout << line << std::flush;
  drawn_ = true;
}

void ConsoleProgress::Close() {
  if (drawn_) std::cout << "\n" << std::flush;
  drawn_ = false;
}

Session::Session(std::shared_ptr<EmbeddedHost> h, int32_t alpha_bits) : host(std::move(h)) {
  host->set_alpha_bits(alpha_bits);
  HostRegistry registry;
  registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
  state = SharedState::Startup(registry);
  editor = std::make_unique<Editor>(*state, window);
  // No preview per slider assignment: the command line shows none.
  editor->panel().SuppressPreview = 255;
}

std::shared_ptr<EmbeddedHost> OpenHost(const std::string& path, const DocumentOptions& options) {
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  OpenDocumentWithOptions(*host, path, options);
  return host;
}

}  // namespace tessfx::cli
