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

std::string OpenFailure(int error) {
  return error == ENOENT || error == ENOTDIR ? "no such file" : std::strerror(error);
}

std::string NotAFile(mode_t mode) {
  return S_ISDIR(mode) ? "it is a folder" : "it is " + FileTypeName(mode) + ", not a file";
}
}  // namespace

void Descriptor::Reset() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

InputFile::InputFile(const std::string& path) : path_(path) {
  // Non-blocking: opening a named pipe waits for a writer, a device may wait for anything.
  fd_ = Descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (fd() < 0) Fail(ErrorKind::NoInput, "cannot open " + path + ": " + OpenFailure(errno));
  struct stat st {};
  if (::fstat(fd(), &st) != 0 || !S_ISREG(st.st_mode))
    Fail(ErrorKind::NoInput, "cannot open " + path + ": " + (S_ISREG(st.st_mode) ? SysError() : NotAFile(st.st_mode)));
  ::fcntl(fd(), F_SETFL, ::fcntl(fd(), F_GETFL) & ~O_NONBLOCK);
}

InputFile InputFile::Adopt(int fd, const std::string& path) {
  InputFile f;
  f.fd_ = Descriptor(fd);
  f.path_ = path;
  return f;
}

int64_t InputFile::Size() const {
  struct stat st {};
  if (::fstat(fd(), &st) != 0) Fail(ErrorKind::IoError, "cannot read " + path_ + ": " + SysError());
  return st.st_size;
}

size_t InputFile::ReadAt(int64_t offset, void* dest, size_t bytes) const {
  size_t done = 0;
  auto* out = static_cast<char*>(dest);
  while (done < bytes) {
    ssize_t n = ::pread(fd(), out + done, bytes - done, offset + static_cast<int64_t>(done));
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
  const std::filesystem::path p(path);
  for (int attempt = 0; attempt < 16 && fd_ < 0; ++attempt) {
    temp_ = (p.parent_path() / TemporaryNameFor(p.filename().string())).string();
    fd_ = ::open(temp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
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
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::optional<std::string> NotAnInputFile(const std::string& path) {
  struct stat st {};
  if (path.empty()) return "no file named";
  if (::stat(path.c_str(), &st) != 0) return OpenFailure(errno);
  if (!S_ISREG(st.st_mode)) return NotAFile(st.st_mode);
  return std::nullopt;
}

std::string FileTypeName(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a named pipe";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  if (S_ISSOCK(mode)) return "a socket";
  if (S_ISLNK(mode)) return "a link";
  return "not a regular file";
}

std::string TemporaryNameFor(const std::string& name) {
  constexpr size_t kMaxName = 255;  // NAME_MAX of the file systems in use
  static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::random_device rd;
  std::string tag = ".tmp";
  for (int i = 0; i < 8; ++i) tag += kDigits[rd() % 36];
  const std::filesystem::path p(name);
  std::string stem = p.stem().string(), ext = p.extension().string();
  if (ext.size() > 16) ext.clear();  // not a real extension; nothing looks at it
  const size_t room = kMaxName - 1 - tag.size() - ext.size();
  if (stem.size() > room) stem.resize(room);
  return "." + stem + tag + ext;
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
