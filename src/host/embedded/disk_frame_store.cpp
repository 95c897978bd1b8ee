#include "host/embedded/disk_frame_store.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/error.h"
#include "media/file_util.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStorePrefix = "frames-";
constexpr const char* kStoreExtension = ".store";
constexpr const char* kSidecarExtension = ".json";
constexpr const char* kSidecarFormat = "tessfx frame store";

std::string SysError() { return std::strerror(errno); }

// Start time of a process in clock ticks since boot (field 22 of /proc/PID/stat), 0 if unknown.
uint64_t ProcessStartTicks(int64_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(in, line)) return 0;
  const size_t close = line.rfind(')');  // the command name may itself hold spaces and parentheses
  if (close == std::string::npos) return 0;
  std::istringstream fields(line.substr(close + 1));
  std::string field;
  for (int i = 3; i <= 22; ++i)
    if (!(fields >> field)) return 0;
  try {
    return std::stoull(field);
  } catch (const std::exception&) {
    return 0;
  }
}

std::string LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
  return text;
}

int64_t StoreBytes(int32_t width, int32_t height, int32_t frames) {
  // PlaneBytes caps a plane at 2^30 bytes and frames at kMaxFrames: the product fits easily.
  return static_cast<int64_t>(PlaneBytes(width, height)) * 4 * frames;
}

void CheckFrameCount(int32_t frames) {
  if (frames < 1 || frames > kMaxFrames)
    Fail(ErrorKind::Usage, "frame count " + std::to_string(frames) + " is outside 1.." + std::to_string(kMaxFrames));
}

}  // namespace

std::unique_ptr<DiskFrameStore> DiskFrameStore::Create(const std::string& folder, int32_t width, int32_t height,
                                                       int32_t frames) {
  CheckFrameCount(frames);
  const int64_t total = StoreBytes(width, height, frames);
  std::unique_ptr<DiskFrameStore> s(new DiskFrameStore());
  s->folder_.emplace(PrivateFolder::Open(folder));
  s->fd_ = s->folder_->CreateUniqueFile(kStorePrefix + std::to_string(::getpid()) + "-", kStoreExtension, s->store_name_);
  s->owned_ = true;  // from here on the destructor cleans up whatever fails below
  s->desc_.store_path = s->folder_->PathOf(s->store_name_);
  s->desc_.sidecar_path = s->desc_.store_path + kSidecarExtension;
  s->desc_.width = width;
  s->desc_.height = height;
  s->desc_.frames = frames;
  s->desc_.pid = ::getpid();
  s->desc_.process_start = ProcessStartTicks(s->desc_.pid);
  s->desc_.created = LocalTimeNow();
  s->plane_bytes_ = static_cast<int64_t>(PlaneBytes(width, height));
  // Described before it grows: a process killed from here on leaves a store that `recover`
  // can list, turn back into a document or discard.
  s->WriteSidecar();
  // Extending the file leaves a hole: no blocks are allocated until frames are written.
  if (::ftruncate(s->fd_, total) != 0)
    Fail(ErrorKind::CantCreate, "cannot create the frame store " + s->desc_.store_path + " of " +
                                    std::to_string(total) + " bytes: " + SysError());
  return s;
}

std::unique_ptr<DiskFrameStore> DiskFrameStore::OpenLeftBehind(const std::string& path) {
  std::unique_ptr<DiskFrameStore> s(new DiskFrameStore());
  s->desc_ = ReadStoreDescription(path);
  if (StoreOwnerAlive(s->desc_))
    Fail(ErrorKind::Usage, s->desc_.store_path + " is still in use by process " + std::to_string(s->desc_.pid));
  s->plane_bytes_ = static_cast<int64_t>(PlaneBytes(s->desc_.width, s->desc_.height));
  s->fd_ = InputFile(s->desc_.store_path).Release();
  return s;
}

DiskFrameStore::~DiskFrameStore() {
  if (fd_ >= 0) ::close(fd_);
  if (owned_ && folder_) {
    // Sidecar first: a store without a sidecar is never mistaken for one to recover.
    folder_->Remove(store_name_ + kSidecarExtension);
    folder_->Remove(store_name_);
  }
}

int64_t DiskFrameStore::Offset(int32_t frame, Channel c) const {
  return (int64_t{frame} * 4 + static_cast<int>(c)) * plane_bytes_;
}

void DiskFrameStore::CheckAccess(int32_t frame, const char* what) const {
  if (frame < 0 || frame >= desc_.frames)
    Fail(ErrorKind::Usage, std::string("cannot ") + what + " frame " + std::to_string(frame) + ": the animation has " +
                               std::to_string(desc_.frames) + " frames");
}

void DiskFrameStore::Read(int32_t frame, Channel c, Plane& dest) const {
  CheckAccess(frame, "read");
  dest.EnsureSize(desc_.width, desc_.height);
  const size_t bytes = dest.size();
  size_t done = 0;
  while (done < bytes) {
    const ssize_t n = ::pread(fd_, dest.data() + done, bytes - done, Offset(frame, c) + static_cast<int64_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot read the frame store " + desc_.store_path + ": " + SysError());
    }
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  std::memset(dest.data() + done, 0, bytes - done);  // past the end of a cut-short store: unwritten
  if (c == Channel::A)
    for (size_t i = 0; i < bytes; ++i) dest.data()[i] = static_cast<uint8_t>(255 - dest.data()[i]);
}

void DiskFrameStore::Write(int32_t frame, Channel c, const Plane& src) {
  CheckAccess(frame, "write");
  if (!owned_) Fail(ErrorKind::Usage, "the frame store " + desc_.store_path + " is open read-only");
  if (src.width() != desc_.width || src.height() != desc_.height)
    Fail(ErrorKind::Usage, "plane of " + std::to_string(src.width()) + "x" + std::to_string(src.height()) +
                               " does not fit the animation's " + std::to_string(desc_.width) + "x" +
                               std::to_string(desc_.height));
  const size_t bytes = src.size();
  const int64_t base = Offset(frame, c);
  uint8_t inverted[64 * 1024];  // alpha goes out in chunks, inverted on the way
  size_t done = 0;
  while (done < bytes) {
    const uint8_t* from = src.data() + done;
    size_t chunk = bytes - done;
    if (c == Channel::A) {
      chunk = std::min(chunk, sizeof inverted);
      for (size_t i = 0; i < chunk; ++i) inverted[i] = static_cast<uint8_t>(255 - from[i]);
      from = inverted;
    }
    const ssize_t n = ::pwrite(fd_, from, chunk, base + static_cast<int64_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot write the frame store " + desc_.store_path + ": " + SysError());
    }
    done += static_cast<size_t>(n);
  }
}

void DiskFrameStore::Describe(const std::string& source, int32_t alpha_bits, bool has_alpha) {
  if (desc_.source == source && desc_.alpha_bits == alpha_bits && desc_.has_alpha == has_alpha) return;
  desc_.source = source;
  desc_.alpha_bits = alpha_bits;
  desc_.has_alpha = has_alpha;
  if (owned_) WriteSidecar();
}

void DiskFrameStore::WriteSidecar() {
  const nlohmann::json j = {
      {"format", kSidecarFormat},
      {"version", 1},
      {"store", fs::path(desc_.store_path).filename().string()},
      {"width", desc_.width},
      {"height", desc_.height},
      {"frames", desc_.frames},
      {"alpha_bits", desc_.alpha_bits},
      {"has_alpha", desc_.has_alpha},
      {"source", desc_.source},
      {"pid", desc_.pid},
      {"process_start", desc_.process_start},
      {"created", desc_.created},
  };
  folder_->ReplaceFile(store_name_ + kSidecarExtension, j.dump(2) + "\n");
}

namespace {

StoreDescription ParseStoreDescription(const InputFile& file) {
  const std::string& sidecar = file.path();
  const int64_t size = file.Size();
  if (size > 64 * 1024) Fail(ErrorKind::BadData, sidecar + ": too large for a frame store description");
  std::string text(static_cast<size_t>(size), '\0');
  file.ReadExactly(0, text.data(), text.size());
  StoreDescription d;
  try {
    const nlohmann::json j = nlohmann::json::parse(text);
    if (j.at("format").get<std::string>() != kSidecarFormat || j.at("version").get<int>() != 1)
      Fail(ErrorKind::BadData, sidecar + ": not a frame store description");
    const std::string store = j.at("store").get<std::string>();
    if (store.empty() || store.find('/') != std::string::npos)
      Fail(ErrorKind::BadData, sidecar + ": the store file name is not valid");
    d.width = j.at("width").get<int32_t>();
    d.height = j.at("height").get<int32_t>();
    d.frames = j.at("frames").get<int32_t>();
    d.alpha_bits = j.at("alpha_bits").get<int32_t>();
    d.has_alpha = j.at("has_alpha").get<bool>();
    d.source = j.at("source").get<std::string>();
    d.pid = j.at("pid").get<int64_t>();
    d.process_start = j.at("process_start").get<uint64_t>();
    d.created = j.at("created").get<std::string>();
    d.sidecar_path = sidecar;
    d.store_path = JoinPath(fs::path(sidecar).parent_path().string(), store);
  } catch (const nlohmann::json::exception& e) {
    Fail(ErrorKind::BadData, sidecar + ": not a valid frame store description (" + e.what() + ")");
  }
  try {
    if (d.width < 1 || d.height < 1) Fail(ErrorKind::BadData, "frame size is not valid");
    CheckFrameCount(d.frames);
    StoreBytes(d.width, d.height, d.frames);
  } catch (const Error& e) {
    Fail(ErrorKind::BadData, sidecar + ": " + e.what());
  }
  return d;
}

}  // namespace

StoreDescription ReadStoreDescription(const std::string& path) {
  const std::string sidecar = LowerExtension(path) == kSidecarExtension ? path : path + kSidecarExtension;
  return ParseStoreDescription(InputFile(sidecar));
}

std::vector<StoreDescription> FindStores(const std::string& folder) {
  std::vector<StoreDescription> found;
  const PrivateFolder dir = PrivateFolder::Open(folder);
  for (const std::string& name : dir.List()) {
    if (name.rfind(kStorePrefix, 0) != 0 || !name.ends_with(std::string(kStoreExtension) + kSidecarExtension))
      continue;
    try {
      const int fd = dir.OpenFile(name);
      if (fd < 0) continue;  // gone meanwhile
      StoreDescription d = ParseStoreDescription(InputFile::Adopt(fd, dir.PathOf(name)));
      if (dir.HoldsFile(fs::path(d.store_path).filename().string())) found.push_back(std::move(d));
    } catch (const Error&) {
      // Half-written or foreign files (links among them) are not stores; they are left alone.
    }
  }
  std::sort(found.begin(), found.end(), [](const StoreDescription& a, const StoreDescription& b) {
    return std::tie(a.created, a.store_path) < std::tie(b.created, b.store_path);
  });
  return found;
}

std::optional<int64_t> StoreOwnerFromName(const std::string& name) {
  if (name.rfind(kStorePrefix, 0) != 0 || !name.ends_with(kStoreExtension)) return std::nullopt;
  const std::string rest = name.substr(std::strlen(kStorePrefix));
  const size_t dash = rest.find('-');
  if (dash == 0 || dash == std::string::npos || dash > 10) return 0;
  int64_t pid = 0;
  for (size_t i = 0; i < dash; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(rest[i]))) return 0;
    pid = pid * 10 + (rest[i] - '0');
  }
  return pid;
}

std::vector<UndescribedStore> FindUndescribedStores(const std::string& folder) {
  std::vector<UndescribedStore> found;
  const PrivateFolder dir = PrivateFolder::Open(folder);
  const std::vector<std::string> names = dir.List();
  for (const std::string& name : names) {
    const std::optional<int64_t> owner = StoreOwnerFromName(name);
    if (!owner || !dir.HoldsFile(name)) continue;
    bool described = false;
    if (const int fd = dir.OpenFile(name + kSidecarExtension); fd >= 0) {
      try {
        ParseStoreDescription(InputFile::Adopt(fd, dir.PathOf(name + kSidecarExtension)));
        described = true;
      } catch (const Error&) {
        // a description cut short by a kill: the store counts as undescribed
      }
    }
    if (described || (*owner != 0 && ProcessAlive(*owner))) continue;
    found.push_back({dir.PathOf(name), *owner});
  }
  std::sort(found.begin(), found.end(), [](const UndescribedStore& a, const UndescribedStore& b) { return a.path < b.path; });
  return found;
}

void DiscardUndescribedStore(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  const std::optional<int64_t> owner = StoreOwnerFromName(name);
  if (!owner) Fail(ErrorKind::Usage, path + " is not a frame store");
  if (*owner != 0 && ProcessAlive(*owner))
    Fail(ErrorKind::Usage, path + " is still in use by process " + std::to_string(*owner));
  const PrivateFolder dir = PrivateFolder::Open(fs::path(path).parent_path().string());
  if (!dir.Remove(name + kSidecarExtension) || !dir.Remove(name))
    Fail(ErrorKind::IoError, "cannot remove " + path + ": " + SysError());
}

std::vector<StoreDescription> FindLeftBehindStores(const std::string& folder) {
  std::vector<StoreDescription> stores = FindStores(folder);
  std::erase_if(stores, [](const StoreDescription& d) { return StoreOwnerAlive(d); });
  return stores;
}

bool StoreOwnerAlive(const StoreDescription& d) {
  if (d.pid <= 0) return false;
  if (::kill(static_cast<pid_t>(d.pid), 0) != 0 && errno != EPERM) return false;
  // The pid exists; it is the owner only if it started when the owner did.
  const uint64_t start = ProcessStartTicks(d.pid);
  return d.process_start == 0 || start == 0 || start == d.process_start;
}

void DiscardStore(const StoreDescription& d) {
  if (StoreOwnerAlive(d))
    Fail(ErrorKind::Usage, d.store_path + " is still in use by process " + std::to_string(d.pid));
  if (::unlink(d.store_path.c_str()) != 0 && errno != ENOENT)
    Fail(ErrorKind::IoError, "cannot remove " + d.store_path + ": " + SysError());
  if (::unlink(d.sidecar_path.c_str()) != 0 && errno != ENOENT)
    Fail(ErrorKind::IoError, "cannot remove " + d.sidecar_path + ": " + SysError());
}

}  // namespace tessfx
