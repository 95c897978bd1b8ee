#pragma once
// Small POSIX file helpers: positioned reads and writes that report failures as Errors
// naming the file, and an output file written under a temporary name and renamed into
// place on Commit, so that a failed write never destroys the previous file.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
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
  std::string target_;  // the file replaced: path_, or the file its link leads to
  std::string temp_;
  int fd_ = -1;
  int64_t end_ = 0;
  bool committed_ = false;
};

// The file a save to `path` replaces: when `path` is a symbolic link, the file it leads to
// (relative links from the link's folder, chains followed), so a save writes through the
// link and the link stays; otherwise `path` itself.
std::string SaveTarget(const std::string& path);
// Gives the fresh temporary file `fd` the permission bits of `target` when that exists, so
// a save keeps what the user had (0600 stays 0600); new files keep the umask's.
void KeepModeOf(const std::string& target, int fd);

// A seam for tests of writers that fail, set by the environment variable
// TESSFX_TEST_WRITE_FAULT and read once: "N:END" fails the Nth write (from 1) to files whose
// path ends with END with "No space left on device"; "close:END" fails the sync before such a
// file is closed with "Input/output error". Each writer asks with the path it writes, before
// it writes or closes; unset, as in every normal run, asking is one look at a flag. Returns
// the errno to fail with, or 0.
int InjectedWriteFault(std::string_view path);
int InjectedCloseFault(std::string_view path);

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
// The name carries this process's id (".NAME.tmp-PID-RANDOM.EXT"), so that a file left by a
// process that was killed is known as such (see TemporaryOwner).
std::string TemporaryNameFor(const std::string& name);
// The tag every temporary name of this process holds: ".tmp-PID-". A name is ours when the
// tag is followed by TemporaryTagLength() letters and digits.
std::string TemporaryTag();
// The process that made the temporary file `name` (a name without folder), or nullopt when
// the name is not one of our temporary names.
std::optional<int64_t> TemporaryOwner(const std::string& name);
// True while process `pid` exists (a reused id counts as alive: nothing of it is removed).
bool ProcessAlive(int64_t pid);
// `length` random letters and digits, for names that must not collide.
std::string RandomTag(size_t length);
// Joins a folder and a file name with the platform's separator, adding one only if needed.
std::string JoinPath(const std::string& folder, const std::string& name);
// Lower-case extension including the dot (".tsa"), or "" when there is none.
std::string LowerExtension(const std::string& path);

}  // namespace tessfx
