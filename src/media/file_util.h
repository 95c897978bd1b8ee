#pragma once
// Small POSIX file helpers: positioned reads and writes that report failures as Errors
// naming the file, and an output file written under a temporary name and renamed into
// place on Commit, so that a failed write never destroys the previous file.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tessfx {

// An open file descriptor, closed when it goes.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& o) noexcept {
    if (this != &o) {
      Reset();
      fd_ = std::exchange(o.fd_, -1);
    }
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  // Hands the descriptor over to the caller, who closes it.
  int Release() { return std::exchange(fd_, -1); }
  void Reset();

 private:
  int fd_ = -1;
};

// An input file: only regular files are inputs. The file is opened without blocking, so a
// named pipe or a device named as an input is refused at once instead of stalling the open.
class InputFile {
 public:
  explicit InputFile(const std::string& path);  // throws NoInput naming the path and why
  // Takes over `fd` (already open, checked to be a regular file) under the name `path`.
  static InputFile Adopt(int fd, const std::string& path);

  int64_t Size() const;
  // Reads up to `bytes` at `offset`; returns how many were read (short at end of file).
  size_t ReadAt(int64_t offset, void* dest, size_t bytes) const;
  // Reads exactly `bytes` or throws BadData ("... is truncated").
  void ReadExactly(int64_t offset, void* dest, size_t bytes) const;
  const std::string& path() const { return path_; }
  int fd() const { return fd_.get(); }
  // Hands the descriptor over to the caller, who closes it.
  int Release() { return fd_.Release(); }

 private:
  InputFile() = default;
  std::string path_;
  Descriptor fd_;
};

class AtomicOutputFile {
 public:
  explicit AtomicOutputFile(const std::string& path);  // throws CantCreate
  ~AtomicOutputFile();                                   // removes the temporary file unless committed
  AtomicOutputFile(const AtomicOutputFile&) = delete;
  AtomicOutputFile& operator=(const AtomicOutputFile&) = delete;

  void WriteAt(int64_t offset, const void* src, size_t bytes);  // throws IoError
  void Append(const void* src, size_t bytes);
  void Commit();  // flush to disk, then rename over the destination
  const std::string& path() const { return path_; }
  const std::string& temp_path() const { return temp_; }

 private:
  std::string path_;
  std::string temp_;
  int fd_ = -1;
  int64_t end_ = 0;
  bool committed_ = false;
};

// True for a regular file (links followed); never opens it.
bool FileExists(const std::string& path);
// Why `path` cannot be read as an input ("no such file", "it is a folder", "it is a named
// pipe, not a file", ...), or nullopt for a regular file. Never opens it.
std::optional<std::string> NotAnInputFile(const std::string& path);
// What a file of mode `mode` is, for messages: "a folder", "a named pipe", "a device", ...
std::string FileTypeName(mode_t mode);
// A short unused-looking name for a file written beside `name` (a file name without folder)
// and renamed over it later: hidden, keeping the extension, never longer than a file name
// may be, so an output name near the length limit still has room for its temporary file.
std::string TemporaryNameFor(const std::string& name);
// Joins a folder and a file name with the platform's separator, adding one only if needed.
std::string JoinPath(const std::string& folder, const std::string& name);
// Lower-case extension including the dot (".tsa"), or "" when there is none.
std::string LowerExtension(const std::string& path);

}  // namespace tessfx
