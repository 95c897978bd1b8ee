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

constexpr int kCaught[] = {SIGINT, SIGTERM, SIGHUP};

// A signal handler can reach nothing but globals: it only counts, and the phases poll.
std::atomic<int> g_first_signal{0};
std::atomic<int> g_signals{0};

extern "C" void OnSignal(int signal) {
  int none = 0;
  g_first_signal.compare_exchange_strong(none, signal);
  if (g_signals.fetch_add(1) >= 2) {
    ::signal(signal, SIG_DFL);
    ::raise(signal);
  }
}

const char* SignalName(int signal) {
  switch (signal) {
    case SIGINT: return "Ctrl-C";
    case SIGTERM: return "SIGTERM";
    case SIGHUP: return "SIGHUP";
    default: return "a signal";
  }
}

}  // namespace

InterruptGuard::InterruptGuard() {
  static const bool installed = [] {
    struct sigaction sa {};
    sa.sa_handler = OnSignal;
    sa.sa_flags = SA_RESTART;  // output blocked on a full pipe resumes instead of failing
    sigemptyset(&sa.sa_mask);
    // A scheduler cancelling a job, or ending it at its time limit, sends SIGTERM and waits
    // before killing; a closed terminal sends SIGHUP: each ends like Ctrl-C.
    for (int signal : kCaught) ::sigaction(signal, &sa, nullptr);
    return true;
  }();
  (void)installed;
}

bool InterruptGuard::interrupted() const { return g_signals.load() > 0; }
bool InterruptGuard::insisted() const { return g_signals.load() > 1; }

void InterruptGuard::Stop(const std::string& what) const {
  throw InterruptedStatus(g_first_signal.load(), what);
}

EmbeddedHost::SaveOptions StoppableSave(const InterruptGuard& interrupt, const std::string& path, int64_t first_number) {
  interrupt.Poll("before saving; nothing written");
  EmbeddedHost::SaveOptions save;
  save.first_number = first_number;
  save.on_frame = [&interrupt, path](int32_t, const std::string&) {
    interrupt.Poll("while saving; nothing written, " + path + " is as it was");
  };
  return save;
}

int CaughtSignal() { return g_first_signal.load(); }

ExitStatus InterruptedStatus(int signal, const std::string& what) {
  if (signal <= 0) signal = SIGINT;
  return ExitStatus{128 + signal, std::string("interrupted by ") + SignalName(signal) + " " + what};
}

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
