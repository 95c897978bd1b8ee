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

extern "C" void OnInterrupt(int signal) {
  if (g_interrupted.exchange(true)) {
    ::signal(signal, SIG_DFL);
    ::raise(signal);
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
  // A scheduler cancelling a job, or ending it at its time limit, sends SIGTERM and waits
  // before killing: time enough to write the frames rendered so far, as Ctrl-C does.
  ::sigaction(SIGTERM, &sa, &previous_term_);
}

InterruptGuard::~InterruptGuard() {
  ::sigaction(SIGINT, &previous_, nullptr);
  ::sigaction(SIGTERM, &previous_term_, nullptr);
}

bool InterruptGuard::interrupted() const { return g_interrupted.load(); }

void ConsoleWindow::MessageBox(const std::string& text) { std::cerr << "tessfx: " << OneLineMessage(text) << "\n"; }

Session::Session(std::shared_ptr<EmbeddedHost> h, int32_t alpha_bits) : host(std::move(h)) {
  host->set_alpha_bits(alpha_bits);
  HostRegistry registry;
  registry.Register(kHostProgId, [h = host]() -> std::shared_ptr<TessalineHost> { return h; });
  state = SharedState::Startup(registry);
  editor = std::make_unique<Editor>(*state, window);
  // The undo data names the command's output (cmd_render), not the document read.
  EmbeddedHost* doc = host.get();
  editor->host_files = {
      {}, {}, [doc] { return doc->swap_image_path(); }, [doc](const std::string& path) { doc->LoadSwapImage(path); }};
  // No preview per slider assignment: the command line shows none.
  editor->panel().SuppressPreview = 255;
}

std::shared_ptr<EmbeddedHost> OpenHost(const std::string& path, const DocumentOptions& options) {
  std::shared_ptr<EmbeddedHost> host = MakeHost();
  OpenDocumentWithOptions(*host, path, options);
  return host;
}

}  // namespace tessfx::cli
