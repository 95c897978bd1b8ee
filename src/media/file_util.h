#pragma once
// Small POSIX file helpers: positioned reads and writes that report failures as Errors
// naming the file, and an output file written under a temporary name and renamed into
// place on Commit, so that a failed write never destroys the previous file.
#include <cstdint>
#include <string>

namespace tessfx {

class InputFile {
 public:
  explicit InputFile(const std::string& path);  // throws NoInput with the path
  ~InputFile();
  InputFile(InputFile&& o) noexcept;
  InputFile& operator=(InputFile&& o) noexcept;
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int64_t Size() const;
  // Reads up to `bytes` at `offset`; returns how many were read (short at end of file).
  size_t ReadAt(int64_t offset, void* dest, size_t bytes) const;
  // Reads exactly `bytes` or throws BadData ("... is truncated").
  void ReadExactly(int64_t offset, void* dest, size_t bytes) const;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int fd_ = -1;
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

bool FileExists(const std::string& path);
// Joins a folder and a file name with the platform's separator, adding one only if needed.
std::string JoinPath(const std::string& folder, const std::string& name);
// Lower-case extension including the dot (".tsa"), or "" when there is none.
std::string LowerExtension(const std::string& path);

}  // namespace tessfx
