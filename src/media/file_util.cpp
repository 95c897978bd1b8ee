#include "media/file_util.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <climits>
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

namespace {

struct WriteFaultPlan {
  int64_t nth_write = 0;  // 0: none
  bool on_close = false;
  std::string end;  // of the paths it applies to
};

const WriteFaultPlan& FaultPlan() {
  static const WriteFaultPlan plan = [] {
    WriteFaultPlan p;
    const char* text = std::getenv("TESSFX_TEST_WRITE_FAULT");
    const std::string_view plan = text ? text : "";
    const size_t colon = plan.find(':');
    if (colon == std::string_view::npos) return p;
    p.end = plan.substr(colon + 1);
    if (plan.substr(0, colon) == "close") p.on_close = true;
    else p.nth_write = std::max<int64_t>(0, std::atoll(std::string(plan.substr(0, colon)).c_str()));
    return p;
  }();
  return plan;
}

// The writes made so far, counted only while a fault is planned (one process, any thread).
std::atomic<int64_t> g_writes{0};

}  // namespace

int InjectedWriteFault(std::string_view path) {
  const WriteFaultPlan& plan = FaultPlan();
  if (plan.nth_write == 0 || !path.ends_with(plan.end)) return 0;
  return g_writes.fetch_add(1) + 1 == plan.nth_write ? ENOSPC : 0;
}

int InjectedCloseFault(std::string_view path) {
  const WriteFaultPlan& plan = FaultPlan();
  return plan.on_close && path.ends_with(plan.end) ? EIO : 0;
}

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

AtomicOutputFile::AtomicOutputFile(const std::string& path) : path_(path), target_(SaveTarget(path)) {
  const std::filesystem::path p(target_);
  for (int attempt = 0; attempt < 16 && fd_ < 0; ++attempt) {
    temp_ = (p.parent_path() / TemporaryNameFor(p.filename().string())).string();
    fd_ = ::open(temp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd_ < 0 && errno != EEXIST) break;
  }
  if (fd_ < 0) Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + SysError());
  try {
    KeepModeOf(target_, fd_);
  } catch (...) {
    ::close(fd_);
    ::unlink(temp_.c_str());
    throw;
  }
}

AtomicOutputFile::~AtomicOutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!committed_) ::unlink(temp_.c_str());
}

void AtomicOutputFile::WriteAt(int64_t offset, const void* src, size_t bytes) {
  size_t done = 0;
  const auto* in = static_cast<const char*>(src);
  if (const int fault = InjectedWriteFault(path_)) {
    errno = fault;
    Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
  }
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
  const int fault = InjectedCloseFault(path_);
  if (fault != 0 || ::fsync(fd_) != 0) {
    if (fault != 0) errno = fault;
    Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
  }
  if (::close(fd_) != 0) {
    fd_ = -1;
    Fail(ErrorKind::IoError, "cannot write " + path_ + ": " + SysError());
  }
  fd_ = -1;
  if (::rename(temp_.c_str(), target_.c_str()) != 0)
    Fail(ErrorKind::CantCreate, "cannot replace " + path_ + ": " + SysError());
  committed_ = true;
}

std::string SaveTarget(const std::string& path) {
  std::filesystem::path p(path);
  for (int hops = 0; hops < 40; ++hops) {
    std::error_code ec;
    if (!std::filesystem::is_symlink(std::filesystem::symlink_status(p, ec))) return p.string();
    const std::filesystem::path to = std::filesystem::read_symlink(p, ec);
    if (ec) Fail(ErrorKind::CantCreate, "cannot write " + path + ": " + ec.message());
    p = to.is_absolute() ? to : p.parent_path() / to;
  }
  Fail(ErrorKind::CantCreate, "cannot write " + path + ": too many levels of links");
}

void KeepModeOf(const std::string& target, int fd) {
  struct stat st {};
  if (::stat(target.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return;
  if (::fchmod(fd, st.st_mode & 07777) != 0)
    Fail(ErrorKind::CantCreate, "cannot give the new " + target + " the mode of the old: " + SysError());
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

std::string RandomTag(size_t length) {
  static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::random_device rd;
  std::string tag;
  for (size_t i = 0; i < length; ++i) tag += kDigits[rd() % 36];
  return tag;
}

namespace {
constexpr size_t kTemporaryRandom = 10;
}

std::string TemporaryTag() { return ".tmp-" + std::to_string(::getpid()) + "-"; }

std::optional<int64_t> TemporaryOwner(const std::string& name) {
  if (name.empty() || name.front() != '.') return std::nullopt;
  // The last tag in the name: a stem may itself hold ".tmp-".
  for (size_t at = name.rfind(".tmp-"); at != std::string::npos && at > 0; at = name.rfind(".tmp-", at - 1)) {
    size_t i = at + 5, digits = 0;
    int64_t pid = 0;
    while (i < name.size() && std::isdigit(static_cast<unsigned char>(name[i])) && digits < 10) {
      pid = pid * 10 + (name[i++] - '0');
      ++digits;
    }
    if (digits == 0 || i >= name.size() || name[i] != '-') continue;
    size_t random = 0;
    for (++i; i < name.size() && std::isalnum(static_cast<unsigned char>(name[i])); ++i) ++random;
    if (random == kTemporaryRandom && (i == name.size() || name[i] == '.') && pid > 0) return pid;
  }
  return std::nullopt;
}

bool ProcessAlive(int64_t pid) {
  if (pid <= 0 || pid > INT32_MAX) return false;
  return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

std::string TemporaryNameFor(const std::string& name) {
  constexpr size_t kMaxName = 255;  // NAME_MAX of the file systems in use
  const std::string tag = TemporaryTag() + RandomTag(kTemporaryRandom);
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
