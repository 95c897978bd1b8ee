#pragma once
// The readers take file names; a fuzz input becomes a file in memory (memfd) reached
// through /proc/self/fd, so no run touches the disk.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace tessfx::fuzz {

class MemoryFile {
 public:
  MemoryFile() : fd_(::memfd_create("tessfx-fuzz", MFD_CLOEXEC)) {
    if (fd_ < 0) std::abort();
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Replaces the contents with `data`.
  void Set(const uint8_t* data, size_t size) {
    if (::ftruncate(fd_, 0) != 0) std::abort();
    size_t done = 0;
    while (done < size) {
      const ssize_t n = ::pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
      if (n <= 0) std::abort();
      done += static_cast<size_t>(n);
    }
  }
  const std::string& path() const { return path_; }

 private:
  int fd_;
  std::string path_;
};

}  // namespace tessfx::fuzz
