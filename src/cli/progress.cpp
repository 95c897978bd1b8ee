#include "cli/progress.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "cli/session.h"

namespace tessfx::cli {
namespace {

constexpr double kDefaultInterval = 5.0;
constexpr double kTerminalRedraw = 0.1;  // a terminal line is redrawn at most ten times a second

double IntervalFromEnvironment() {
  const char* text = std::getenv("TESSFX_PROGRESS_INTERVAL");
  if (!text || !*text) return kDefaultInterval;
  char* end = nullptr;
  const double v = std::strtod(text, &end);
  return end && *end == '\0' && v >= 0 && std::isfinite(v) ? v : kDefaultInterval;
}

// "0:07", "12:30", "1:02:03"
std::string Duration(double seconds) {
  const int64_t s = static_cast<int64_t>(std::llround(std::max(seconds, 0.0)));
  char text[32];
  if (s >= 3600)
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(s / 3600),
                  static_cast<long long>(s / 60 % 60), static_cast<long long>(s % 60));
  else
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(s / 60), static_cast<long long>(s % 60));
  return text;
}

}  // namespace

Progress::Progress(Verbosity verbosity)
    : verbosity_(verbosity), terminal_(::isatty(STDERR_FILENO) == 1), interval_(IntervalFromEnvironment()) {}

Progress::~Progress() {
  if (open_ && terminal_ && verbosity_ != Verbosity::Quiet) std::cerr << "\n" << std::flush;
}

void Progress::Begin(const std::string& phase, int64_t total) {
  if (open_) End();
  phase_ = phase;
  total_ = total;
  done_ = 0;
  frame_ = 0;
  open_ = true;
  reported_ = false;
  start_ = last_draw_ = Clock::now();
  if (terminal_ && verbosity_ == Verbosity::Normal) Draw(false);
}

std::string Progress::Status(bool finished) const {
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  const double fps = seconds > 0 ? static_cast<double>(done_) / seconds : 0.0;
  const int percent = total_ > 0 ? static_cast<int>(100 * done_ / total_) : 100;
  char rate[32] = "-";
  if (done_ > 0 && seconds > 0) std::snprintf(rate, sizeof rate, "%.1f", fps);
  const std::string count = std::to_string(done_) + "/" + std::to_string(total_);
  const std::string timing = finished ? "in " + Duration(seconds)
                                      : (done_ > 0 && fps > 0 ? Duration(static_cast<double>(total_ - done_) / fps) + " left"
                                                              : std::string("-:-- left"));
  if (terminal_)
    return phase_ + std::string(phase_.size() < 10 ? 12 - phase_.size() : 2, ' ') + count + "  " + std::to_string(percent) + "%" +
           (done_ > 0 ? "  frame " + std::to_string(frame_) : std::string()) + "  " + rate + " fps  " + timing;
  return phase_ + ": " + count + " (" + std::to_string(percent) + "%)" +
         (done_ > 0 && !finished ? ", frame " + std::to_string(frame_) : std::string()) + ", " + rate + " fps, " + timing;
}

void Progress::Draw(bool finished) {
  if (terminal_)
    std::cerr << "\r" << Status(finished) << "\033[K" << (finished ? "\n" : "") << std::flush;
  else
    std::cerr << Status(finished) << "\n" << std::flush;
  last_draw_ = Clock::now();
}

void Progress::Step(int64_t frame, const std::string& line) {
  if (!open_) return;
  ++done_;
  frame_ = frame;
  if (verbosity_ == Verbosity::Quiet) return;
  if (verbosity_ == Verbosity::Verbose) {
    std::cerr << line << "\n" << std::flush;
    return;
  }
  const double since = std::chrono::duration<double>(Clock::now() - last_draw_).count();
  if (terminal_) {
    if (since >= kTerminalRedraw || done_ == total_) Draw(false);
  } else if (since >= interval_ && done_ < total_) {
    Draw(false);
    reported_ = true;
  }
}

void Progress::End() {
  if (!open_) return;
  open_ = false;
  if (verbosity_ != Verbosity::Normal) return;
  if (terminal_ || reported_) Draw(true);
}

void Progress::Note(const std::string& line) {
  const bool drawn = open_ && terminal_ && verbosity_ == Verbosity::Normal;
  std::cerr << (drawn ? "\r\033[K" : "") << line << "\n" << std::flush;
  if (drawn) Draw(false);
}

RenderPhase::RenderPhase(Progress& progress, TessalineHost& host, int64_t number_base, const InterruptGuard& interrupt)
    : progress_(progress), host_(host), number_base_(number_base), interrupt_(interrupt) {}

bool RenderPhase::Cancelled() { return interrupt_.interrupted(); }

void RenderPhase::DisplayBar(double) {
  // The render has just sent the host's current frame back.
  const int32_t frame = host_.tes_Getcurrentframe();
  rendered_.push_back(frame);
  const int64_t number = number_base_ + frame;
  progress_.Step(number, "rendered frame " + std::to_string(number));
}

}  // namespace tessfx::cli
