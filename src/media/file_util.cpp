#include "media/file_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "core/error.h"

namespace tessfx {

namespace {
std::string SysError() { return std::strerror(errno); }
}  // namespace

InputFile::InputFile(const std::string& path) : path_(path) {
  fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) Fail(ErrorKind::NoInput, "cannot open " + path + ": " + SysError());
  struct stat st {};
  if (::fstat(fd_, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd_);
    fd_ = -1;
    Fail(ErrorKind::NoInput, "cannot open " + path + ": it is a folder");
  }
}

InputFile::~InputFile() {
  if (fd_ >= 0) ::close(fd_);
}

InputFile::InputFile(InputFile&& o) noexcept : path_(std::move(o.path_)), fd_(o.fd_) { o.fd_ = -1; }

InputFile& InputFile::operator=(InputFile&& o) noexcept {
  if (this != &o) {
    if (fd_ >= 0) ::close(fd_);
    path_ = std::move(o.path_);
    fd_ = o.fd_;
    o.fd_ = -1;
  }
  return *this;
}

int64_t InputFile::Size() const {
  struct stat st {};
  if (::fstat(fd_, &st) != 0) Fail(ErrorKind::IoError, "cannot read " + path_ + ": " + SysError());
  return st.st_size;
}

size_t InputFile::ReadAt(int64_t offset, void* dest, size_t bytes) const {
  size_t done = 0;
  auto* out = static_cast<char*>(dest);
  while (done < bytes) {
    ssize_t n = ::pread(fd_, out + done, bytes - done, offset + static_cast<int64_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot read " + path_ + ": " + SysError());
    }
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return done;
}

void InputFile::ReadExactly(int64_t offset, void* dest, size_t bytes) const {
  if (ReadAt(offset, dest, bytes) != bytes) Fail(ErrorKind::BadData, path_ + " is truncated");
}

AtomicOutputFile::AtomicOutputFile(const std::string& path) : path_(path) {
  std::random_device rd;
  for (int attempt = 0; attempt < 16 && fd_ < 0; ++attempt) {
    temp_ = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(rd() % 1000000);
    fd_ = ::open(temp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd_ < 0 && errno != EEXIST) break;
  }
  if (fd_ < 0) Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + SysError());
}

AtomicOutputFile::~AtomicOutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!committed_) ::unlink(temp_.c_str());
}

void AtomicOutputFile::WriteAt(int64_t offset, const void* src, size_t bytes) {
  size_t done = 0;
  const auto* in = static_cast<const char*>(src);
  while (done < bytes) {
    ssize_t n = ::pwrite(fd_, in + done, bytes - done, offset + static_cast<int64_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
    }
    done += static_cast<size_t>(n);
  }
  end_ = std::max<int64_t>(end_, offset + static_cast<int64_t>(bytes));
}

void AtomicOutputFile::Append(const void* src, size_t bytes) { WriteAt(end_, src, bytes); }

void AtomicOutputFile::Commit() {
  if (::fsync(fd_) != 0) Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
  if (::close(fd_) != 0) {
    fd_ = -1;
    Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
  }
  fd_ = -1;
  if (::rename(temp_.c_str(), path_.c_str()) != 0)
    Fail(ErrorKind::CantCreate, "cannot replace " + path_ + ": " + SysError());
  committed_ = true;
}

bool FileExists(const std::string& path) {
  std::error_code ec;
  return !path.empty() && std::filesystem::is_regular_file(path, ec);
}

std::string JoinPath(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  return (std::filesystem::path(folder) / name).string();
}

std::string LowerExtension(const std::string& path) {
  std::string ext = std::filesystem::path(path).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

}  // namespace tessfx
