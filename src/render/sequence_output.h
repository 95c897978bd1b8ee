#pragma once
// An image sequence written while the frames are still being made: the caller hands over
// each finished frame and goes on with the next, while worker threads encode and write the
// frames under temporary names. At most `in_flight` frames are held at once (Submit waits
// for room), so memory stays bounded whatever the length. Finish waits for the writes and
// renames every file into place in frame order; when any write failed, or Finish is never
// reached, every temporary file is removed and no file of the sequence is replaced.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media/image_io.h"

namespace tessfx {

class SequenceOutput {
 public:
  // `pattern` names the files (frame.####.png); frame f goes to number first_number + f.
  // workers: encoding threads (at least 1); in_flight: frames held at most (at least workers).
  SequenceOutput(const std::string& pattern, int64_t first_number, bool with_alpha, int workers, int in_flight);
  ~SequenceOutput();
  SequenceOutput(const SequenceOutput&) = delete;
  SequenceOutput& operator=(const SequenceOutput&) = delete;

  // Queues frame `frame` (its R, G, B and A planes); waits while in_flight frames are held.
  // Throws the first failure of an earlier write.
  void Submit(int32_t frame, RgbaPlanes planes);
  // Waits for every queued frame, then renames the files into place in frame order.
  void Finish();

  std::string FileName(int32_t frame) const { return pattern_.FileName(first_number_ + frame); }

 private:
  struct Job {
    int32_t frame;
    RgbaPlanes planes;
  };
  void Work();
  void RethrowFailure();  // with mutex_ held

  SequencePattern pattern_;
  int64_t first_number_;
  bool with_alpha_;
  size_t in_flight_;

  std::mutex mutex_;
  std::condition_variable work_ready_, room_;
  std::deque<Job> queue_;
  size_t held_ = 0;  // queued or being written
  bool stopping_ = false;
  std::exception_ptr failure_;
  // Each written frame's writer, holding its temporary file until Commit.
  std::map<int32_t, std::unique_ptr<ImageFileWriter>> written_;
  std::vector<std::thread> workers_;
};

}  // namespace tessfx
