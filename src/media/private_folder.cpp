#include "media/private_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "core/error.h"
#include "media/file_util.h"

namespace tessfx {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  Fail(ErrorKind::CantCreate, "the temporary folder " + path + " " + why);
}

std::string ModeText(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

void WriteWhole(int fd, const std::string& text, const std::string& path) {
  size_t done = 0;
  if (const int fault = InjectedWriteFault(path)) {
    errno = fault;
    Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(errno));
  }
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(errno));
    }
    done += static_cast<size_t>(n);
  }
}

}  // namespace

PrivateFolder PrivateFolder::Open(const std::string& path) {
  if (path.empty()) Refuse("\"\"", "is not named");
  // Parents are ordinary folders; only the last one is ours and private.
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  std::error_code ec;
  if (!parent.empty()) std::filesystem::create_directories(parent, ec);
  // mkdir never follows a link at the name: a planted one makes it fail with EEXIST, and the
  // open below refuses it.
  bool created = ::mkdir(path.c_str(), 0700) == 0;
  if (!created && errno != EEXIST) Refuse(path, std::string("cannot be created: ") + std::strerror(errno));
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    const int error = errno;
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) Refuse(path, "is a link; it must be a folder of its own");
    if (error == ENOTDIR) Refuse(path, "is not a folder");
    Refuse(path, std::string("cannot be opened: ") + std::strerror(error));
  }
  PrivateFolder folder(path, fd);
  struct stat st {};
  if (::fstat(fd, &st) != 0) Refuse(path, std::string("cannot be read: ") + std::strerror(errno));
  if (!S_ISDIR(st.st_mode)) Refuse(path, "is not a folder");
  if (st.st_uid != ::geteuid())
    Refuse(path, "belongs to another user (uid " + std::to_string(st.st_uid) + "); remove it or choose another with TESSFX_TEMP_DIR");
  // A folder made just now may have lost bits to the umask; one found here must be private already.
  if (created && (st.st_mode & 0777) != 0700 && ::fchmod(fd, 0700) == 0) st.st_mode = (st.st_mode & ~07777) | 0700;
  if ((st.st_mode & 0777) != 0700)
    Refuse(path, "has mode " + ModeText(st.st_mode) + "; it must be 0700, private to its owner");
  return folder;
}

std::string PrivateFolder::PathOf(const std::string& name) const { return JoinPath(path_, name); }

int PrivateFolder::CreateFile(const std::string& name) const {
  const int fd = ::openat(fd_.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) Fail(ErrorKind::CantCreate, "cannot create " + PathOf(name) + ": " + std::strerror(errno));
  return fd;
}

int PrivateFolder::CreateUniqueFile(const std::string& prefix, const std::string& suffix, std::string& name) const {
  for (int attempt = 0; attempt < 32; ++attempt) {
    name = prefix + RandomTag(10) + suffix;
    const int fd = ::openat(fd_.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0) return fd;
    if (errno != EEXIST) break;
  }
  Fail(ErrorKind::CantCreate, "cannot create a file in " + path_ + ": " + std::strerror(errno));
}

int PrivateFolder::OpenFile(const std::string& name, bool write) const {
  const int fd = ::openat(fd_.get(), name.c_str(), (write ? O_RDWR : O_RDONLY) | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return -1;
    const std::string why = errno == ELOOP ? "it is a link, which is never followed here" : std::strerror(errno);
    Fail(ErrorKind::NoInput, "cannot open " + PathOf(name) + ": " + why);
  }
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    Fail(ErrorKind::NoInput, "cannot open " + PathOf(name) + ": it is " + FileTypeName(st.st_mode) + ", not a file");
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

void PrivateFolder::ReplaceFile(const std::string& name, const std::string& text) const {
  std::string temp;
  int fd = CreateUniqueFile("." + name + TemporaryTag(), "", temp);
  try {
    WriteWhole(fd, text, PathOf(name));
    const int fault = InjectedCloseFault(PathOf(name));
    const bool synced = fault == 0 && ::fsync(fd) == 0;
    if (fault != 0) errno = fault;
    const int sync_error = errno;
    const bool closed = ::close(fd) == 0;
    if (!synced) errno = sync_error;
    fd = -1;
    if (!synced || !closed) Fail(ErrorKind::IoError, "cannot write " + PathOf(name) + ": " + std::strerror(errno));
    Rename(temp, name);
  } catch (...) {
    if (fd >= 0) ::close(fd);
    Remove(temp);
    throw;
  }
}

void PrivateFolder::Rename(const std::string& from, const std::string& to) const {
  if (::renameat(fd_.get(), from.c_str(), fd_.get(), to.c_str()) != 0)
    Fail(ErrorKind::CantCreate, "cannot replace " + PathOf(to) + ": " + std::strerror(errno));
}

bool PrivateFolder::Remove(const std::string& name) const {
  return ::unlinkat(fd_.get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

bool PrivateFolder::HoldsFile(const std::string& name) const {
  struct stat st {};
  return ::fstatat(fd_.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> PrivateFolder::List() const {
  std::vector<std::string> names;
  // The listing needs a descriptor of its own: closedir closes it, and reading moves its offset.
  const int fd = ::openat(fd_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return names;
  DIR* dir = ::fdopendir(fd);
  if (!dir) {
    ::close(fd);
    return names;
  }
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(dir);
  return names;
}

}  // namespace tessfx
