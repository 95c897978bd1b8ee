#include "render/sequence_output.h"

#include <algorithm>
#include <filesystem>

#include "core/error.h"

namespace tessfx {

SequenceOutput::SequenceOutput(const std::string& pattern, int64_t first_number, bool with_alpha, int workers,
                               int in_flight)
    : first_number_(first_number), with_alpha_(with_alpha) {
  const auto parsed = ParseSequencePattern(pattern);
  if (!parsed) Fail(ErrorKind::Usage, "cannot save " + pattern + ": not a sequence pattern");
  if (first_number < 0) Fail(ErrorKind::Usage, "cannot save " + pattern + ": the first frame number must not be negative");
  pattern_ = *parsed;
  const std::filesystem::path folder = std::filesystem::path(pattern_.FileName(0)).parent_path();
  if (!folder.empty()) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) Fail(ErrorKind::CantCreate, "cannot create the folder " + folder.string() + ": " + ec.message());
  }
  workers = std::max(workers, 1);
  in_flight_ = static_cast<size_t>(std::max(in_flight, workers));
  for (int i = 0; i < workers; ++i) workers_.emplace_back([this] { Work(); });
}

SequenceOutput::~SequenceOutput() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    queue_.clear();
  }
  work_ready_.notify_all();
  for (std::thread& t : workers_) t.join();
  // Writers not committed remove their temporary files as they go.
}

void SequenceOutput::RethrowFailure() {
  if (failure_) std::rethrow_exception(failure_);
}

void SequenceOutput::Submit(int32_t frame, RgbaPlanes planes) {
  std::unique_lock lock(mutex_);
  room_.wait(lock, [&] { return held_ < in_flight_ || failure_; });
  RethrowFailure();
  queue_.push_back({frame, std::move(planes)});
  ++held_;
  lock.unlock();
  work_ready_.notify_one();
}

void SequenceOutput::Work() {
  for (;;) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      work_ready_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
      if (queue_.empty()) return;  // stopping with nothing left
      job = std::move(queue_.front());
      queue_.pop_front();
    }
    auto writer = std::make_unique<ImageFileWriter>();
    std::exception_ptr failed;
    try {
      const RgbaPlanes& p = job.planes;
      writer->Write(FileName(job.frame), p[0], p[1], p[2], with_alpha_ ? &p[3] : nullptr);
    } catch (...) {
      failed = std::current_exception();
    }
    job.planes = {};  // the memory goes before the room is given back
    {
      std::lock_guard lock(mutex_);
      if (failed && !failure_) failure_ = failed;
      if (!failed) written_[job.frame] = std::move(writer);
      --held_;
    }
    room_.notify_all();
  }
}

void SequenceOutput::Finish() {
  std::unique_lock lock(mutex_);
  room_.wait(lock, [&] { return held_ == 0; });
  RethrowFailure();
  // In frame order: an interruption part-way leaves the first frames replaced, never a gap.
  for (auto& [frame, writer] : written_) writer->Commit();
  written_.clear();
}

}  // namespace tessfx
