#pragma once
// Progress of a command's phases (loading, rendering, saving) on standard error, where it
// stays out of the way of what the command prints and of pipes reading its output.
//
// On a terminal each phase has one line that updates in place: frames done, percent, the
// frame at hand, frames per second and time left. Elsewhere (a log, a pipe) a plain line
// every few seconds (TESSFX_PROGRESS_INTERVAL seconds, default 5) and, for a phase that
// printed one, a closing line. Verbose adds a line per frame; quiet prints nothing.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "host/host.h"
#include "render/window.h"

namespace tessfx::cli {

class InterruptGuard;

enum class Verbosity { Quiet, Normal, Verbose };

class Progress {
 public:
  explicit Progress(Verbosity verbosity);
  ~Progress();  // ends a phase left open, so that an error message starts on its own line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Starts a phase of `total` frames: "loading", "rendering", "saving", ...
  void Begin(const std::string& phase, int64_t total);
  // One frame of the phase is done. `frame` is the number shown; `line` is the frame's own
  // line in verbose mode ("wrote out.1001.png").
  void Step(int64_t frame, const std::string& line);
  void End();
  // A line of its own between the progress lines (printed even when quiet).
  void Note(const std::string& line);

  Verbosity verbosity() const { return verbosity_; }

 private:
  using Clock = std::chrono::steady_clock;
  std::string Status(bool finished) const;
  void Draw(bool finished);

  Verbosity verbosity_;
  bool terminal_;
  double interval_;  // seconds between plain lines
  std::string phase_;
  int64_t total_ = 0;
  int64_t done_ = 0;
  int64_t frame_ = 0;
  bool open_ = false;
  bool reported_ = false;  // a plain line was printed in this phase
  Clock::time_point start_, last_draw_;
};

// The render's progress window on the command line: each frame rendered is a step of the
// "rendering" phase, shown by its number; Ctrl-C is the cancel button.
class RenderPhase final : public RenderProgress {
 public:
  RenderPhase(Progress& progress, TessalineHost& host, int64_t number_base, const InterruptGuard& interrupt);

  void SetLabel(const std::string&) override {}
  void Yield() override {}
  bool Cancelled() override;
  void DisplayBar(double) override;
  void Close() override {}

  // The frames rendered, in render order.
  const std::vector<int32_t>& rendered() const { return rendered_; }

 private:
  Progress& progress_;
  TessalineHost& host_;
  int64_t number_base_;
  const InterruptGuard& interrupt_;
  std::vector<int32_t> rendered_;
};

}  // namespace tessfx::cli
