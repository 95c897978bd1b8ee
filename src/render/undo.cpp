#include "render/undo.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "core/error.h"
#include "host/embedded/embedded_host.h"
#include "media/file_util.h"
#include "media/private_folder.h"

namespace tessfx {
namespace {

void PutLE32(uint8_t* p, int32_t v) {
  const auto u = static_cast<uint32_t>(v);
  p[0] = static_cast<uint8_t>(u);
  p[1] = static_cast<uint8_t>(u >> 8);
  p[2] = static_cast<uint8_t>(u >> 16);
  p[3] = static_cast<uint8_t>(u >> 24);
}

int32_t GetLE32(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24);
}

UndoHeader DecodeHeader(const uint8_t* b) {
  return {GetLE32(b), GetLE32(b + 4), GetLE32(b + 8), GetLE32(b + 12), GetLE32(b + 16)};
}

// The undo file lives in the host's temporary folder, which must be private (see
// PrivateFolder): it is reached through the folder's descriptor, never through a link.
PrivateFolder TempFolder(TessalineHost& host) { return PrivateFolder::Open(host.Tes_GetTempDir()); }

void RemoveIgnoringErrors(TessalineHost& host) {
  try {
    TempFolder(host).Remove(kUndoFileName);
  } catch (const Error&) {
    // Deletion errors are ignored, an unusable folder's included.
  }
}

// The undo file of `folder` opened for reading; nullopt when there is none.
std::optional<InputFile> OpenUndoFile(const PrivateFolder& folder) {
  const int fd = folder.OpenFile(kUndoFileName);
  if (fd < 0) return std::nullopt;
  return InputFile::Adopt(fd, folder.PathOf(kUndoFileName));
}

uint64_t Mix(uint64_t h, uint64_t v) {
  h ^= v * 0xff51afd7ed558ccdULL;
  h = (h << 27 | h >> 37) * 0x9e3779b97f4a7c15ULL;
  return h + 0x52dce729ULL;
}

std::string Hex(uint64_t v);

void WriteDescription(const PrivateFolder& folder, const UndoDescription& d) {
  nlohmann::json prints = nlohmann::json::array();
  for (uint64_t p : d.fingerprints) prints.push_back(Hex(p));
  nlohmann::json j = {{"document", d.document}, {"first_number", d.first_number}, {"width", d.width},
                      {"height", d.height},     {"frames", d.frames},             {"first", d.first},
                      {"last", d.last},         {"step", d.step},                 {"fingerprints", prints}};
  if (d.rendered) j["rendered"] = *d.rendered;
  folder.ReplaceFile(kUndoDescriptionName, j.dump() + "\n");
}

std::string Hex(uint64_t v) {
  char buf[17];
  std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(v));
  return buf;
}

}  // namespace

uint64_t FrameFingerprint(const Plane& r, const Plane& g, const Plane& b) {
  uint64_t h = Mix(0x243f6a8885a308d3ULL, uint64_t(uint32_t(r.width())) << 32 | uint32_t(r.height()));
  for (const Plane* p : {&r, &g, &b}) {
    const auto w = static_cast<size_t>(p->width());
    for (int32_t y = 0; y < p->height(); ++y) {
      const uint8_t* row = (*p)[y];
      size_t x = 0;
      for (; x + 8 <= w; x += 8) {
        uint64_t v;
        std::memcpy(&v, row + x, 8);
        h = Mix(h, v);
      }
      uint64_t tail = 0;
      std::memcpy(&tail, row + x, w - x);
      h = Mix(h, tail ^ (uint64_t(w - x) << 56));
    }
  }
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ULL;
  return h ^ (h >> 33);
}

UndoBuffer::~UndoBuffer() {
  AbandonRecording();
  lock_held_by_caller_ = false;
  UnlockUndoFile();
}

void UndoBuffer::LockUndoFile() {
  if (lock_fd_ >= 0) {
    lock_held_by_caller_ = true;
    return;
  }
  AdoptLock(LockUndoFolder(image_.host.Tes_GetTempDir()));
}

void UndoBuffer::AdoptLock(Descriptor lock) {
  UnlockUndoFile();
  lock_fd_ = lock.Release();
  lock_held_by_caller_ = true;
}

Descriptor LockUndoFolder(const std::string& temp_dir) {
  const PrivateFolder folder = PrivateFolder::Open(temp_dir);
  const std::string undo_path = folder.PathOf(kUndoFileName);
  int fd = folder.OpenFile(kUndoLockName, true);
  if (fd < 0) {
    try {
      fd = folder.CreateFile(kUndoLockName);
    } catch (const Error&) {
      fd = folder.OpenFile(kUndoLockName, true);  // made by another process meanwhile
      if (fd < 0) throw;
    }
  }
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    ::close(fd);
    Fail(ErrorKind::CantCreate, error == EWOULDBLOCK
                                    ? "the undo file " + undo_path +
                                          " is in use by another tessfx (a render with undo, or an undo); "
                                          "try again when it has finished"
                                    : "cannot lock the undo file " + undo_path + ": " + std::strerror(error));
  }
  return Descriptor(fd);
}

void UndoBuffer::UnlockUndoFile() {
  if (lock_fd_ < 0) return;
  ::close(lock_fd_);  // closing the only descriptor releases the lock
  lock_fd_ = -1;
  lock_held_by_caller_ = false;
}

std::string UndoBuffer::Path() const { return JoinPath(image_.host.Tes_GetTempDir(), kUndoFileName); }

void UndoBuffer::WriteAll(const void* data, size_t bytes) {
  const auto* p = static_cast<const char*>(data);
  if (const int fault = InjectedWriteFault(recording_path_))
    Fail(ErrorKind::IoError, "cannot write the undo file " + recording_path_ + ": " + std::strerror(fault));
  while (bytes > 0) {
    const ssize_t n = ::write(fd_, p, bytes);
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot write the undo file " + recording_path_ + ": " + std::strerror(errno));
    }
    p += n;
    bytes -= static_cast<size_t>(n);
  }
}

void UndoBuffer::StartRecording(const UndoHeader& header) {
  AbandonRecording();
  const bool was_locked = lock_fd_ >= 0 && lock_held_by_caller_;
  LockUndoFile();
  lock_held_by_caller_ = was_locked;
  const PrivateFolder folder = TempFolder(image_.host);
  header_ = header;
  frames_ = image_.host.tes_GetTotalFrames();
  fingerprints_.clear();
  rendered_.clear();
  // A fresh file of its own, renamed into place when the recording closes: whatever stood at
  // the name (a planted link included) is replaced, never written through, and a render
  // killed or failing before then leaves the previous undo data as it was.
  std::string& fresh = fresh_name_;
  fd_ = folder.CreateUniqueFile(std::string(".") + kUndoFileName + TemporaryTag(), "", fresh);
  recording_path_ = folder.PathOf(kUndoFileName);
  try {
    std::array<uint8_t, kUndoHeaderBytes> b{};
    PutLE32(b.data(), header.width);
    PutLE32(b.data() + 4, header.height);
    PutLE32(b.data() + 8, header.first);
    PutLE32(b.data() + 12, header.last);
    PutLE32(b.data() + 16, header.step);
    WriteAll(b.data(), b.size());
  } catch (...) {
    CloseRecording(false);
    folder.Remove(fresh);
    throw;
  }
}

void UndoBuffer::SaveUndo() {
  if (!recording()) return;
  image_.host_r = image_.host.Tes_GetRBuffer();
  image_.host_g = image_.host.Tes_GetGBuffer();
  image_.host_b = image_.host.Tes_GetBBuffer();
  // One gathered write per record, straight to the file with no buffer of our own: a record
  // is in the file before the frame is changed, and nothing is left unwritten on a stop.
  std::array<iovec, 3> parts{};
  const Plane* planes[3] = {&image_.host_r, &image_.host_g, &image_.host_b};
  size_t remaining = 0;
  for (size_t i = 0; i < 3; ++i) {
    parts[i].iov_base = const_cast<uint8_t*>(planes[i]->data());
    parts[i].iov_len = planes[i]->size();
    remaining += parts[i].iov_len;
  }
  fingerprints_.push_back(FrameFingerprint(image_.host_r, image_.host_g, image_.host_b));
  size_t first = 0;
  if (const int fault = InjectedWriteFault(recording_path_))
    Fail(ErrorKind::IoError, "cannot write the undo file " + recording_path_ + ": " + std::strerror(fault));
  while (remaining > 0) {
    const ssize_t n = ::writev(fd_, parts.data() + first, static_cast<int>(parts.size() - first));
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(ErrorKind::IoError, "cannot write the undo file " + recording_path_ + ": " + std::strerror(errno));
    }
    remaining -= static_cast<size_t>(n);
    // Skip what was written: whole parts, then the written front of a partial one.
    size_t done = static_cast<size_t>(n);
    while (first < parts.size() && done >= parts[first].iov_len) done -= parts[first++].iov_len;
    if (first < parts.size()) {
      parts[first].iov_base = static_cast<uint8_t*>(parts[first].iov_base) + done;
      parts[first].iov_len -= done;
    }
  }
}

void UndoBuffer::NoteRendered() {
  if (recording() && !fingerprints_.empty()) {
    fingerprints_.back() = FrameFingerprint(image_.work_r, image_.work_g, image_.work_b);
    rendered_.push_back(static_cast<int32_t>(header_.first + static_cast<int64_t>(fingerprints_.size() - 1) * header_.step));
  }
}

void UndoBuffer::CloseRecording(bool write_description) {
  if (fd_ < 0) return;
  // On disk before the render's output replaces anything: the undo is what brings it back.
  const int fault = write_description ? InjectedCloseFault(recording_path_) : 0;
  int error = fault;
  if (error == 0 && write_description && ::fsync(fd_) != 0) error = errno;
  if (::close(fd_) != 0 && error == 0) error = errno;
  fd_ = -1;
  try {
    const PrivateFolder folder = TempFolder(image_.host);
    // A render stopped before its first frame changed nothing: the last undo data stays.
    const bool replace = write_description && !fingerprints_.empty();
    if (error != 0 || !replace) folder.Remove(fresh_name_);
    if (error != 0) Fail(ErrorKind::IoError, "cannot write the undo file " + recording_path_ + ": " + std::strerror(error));
    if (replace) {
      // The old description goes first: the new file never stands beside it.
      folder.Remove(kUndoDescriptionName);
      folder.Rename(fresh_name_, kUndoFileName);
      UndoDescription d;
      d.document = document_;
      d.first_number = first_number_;
      d.width = header_.width;
      d.height = header_.height;
      d.frames = frames_;
      d.first = header_.first;
      d.last = header_.last;
      d.step = header_.step;
      d.fingerprints = fingerprints_;
      if (rendered_.size() != fingerprints_.size()) d.rendered = rendered_;
      WriteDescription(folder, d);
    }
  } catch (...) {
    if (!lock_held_by_caller_) UnlockUndoFile();
    throw;
  }
  if (!lock_held_by_caller_) UnlockUndoFile();
}

void UndoBuffer::FinishRecording() { CloseRecording(true); }

void UndoBuffer::AbandonRecording() noexcept {
  try {
    CloseRecording(true);
  } catch (...) {
    // Without a description the undo refuses: nothing is restored into the wrong frames.
  }
}

void UndoBuffer::UpdateFingerprints(const std::function<std::optional<uint64_t>(int32_t frame)>& print) {
  const PrivateFolder folder = TempFolder(image_.host);
  std::optional<UndoDescription> d = ReadDescription(folder.path());
  if (!d) Fail(ErrorKind::IoError, "cannot read back the description of the undo file " + Path());
  int64_t f = d->first;
  for (uint64_t& p : d->fingerprints) {
    if (d->Restores(f))
      if (const std::optional<uint64_t> now = print(static_cast<int32_t>(f))) p = *now;
    f += d->step;
  }
  WriteDescription(folder, *d);
}

bool UndoDescription::Restores(int64_t f) const {
  return !rendered || std::find(rendered->begin(), rendered->end(), f) != rendered->end();
}

std::optional<UndoDescription> UndoBuffer::ReadDescription(const std::string& folder_path) {
  try {
    const PrivateFolder folder = PrivateFolder::Open(folder_path);
    const int fd = folder.OpenFile(kUndoDescriptionName);
    if (fd < 0) return std::nullopt;
    const InputFile in = InputFile::Adopt(fd, folder.PathOf(kUndoDescriptionName));
    const int64_t size = in.Size();
    if (size > (int64_t{1} << 28)) return std::nullopt;
    std::string text(static_cast<size_t>(size), '\0');
    in.ReadExactly(0, text.data(), text.size());
    const nlohmann::json j = nlohmann::json::parse(text);
    UndoDescription d;
    d.document = j.at("document").get<std::string>();
    d.first_number = j.at("first_number").get<int64_t>();
    d.width = j.at("width").get<int32_t>();
    d.height = j.at("height").get<int32_t>();
    d.frames = j.at("frames").get<int32_t>();
    d.first = j.at("first").get<int32_t>();
    d.last = j.at("last").get<int32_t>();
    d.step = j.at("step").get<int32_t>();
    for (const auto& p : j.at("fingerprints")) d.fingerprints.push_back(std::stoull(p.get<std::string>(), nullptr, 16));
    if (j.contains("rendered")) d.rendered = j.at("rendered").get<std::vector<int32_t>>();
    return d;
  } catch (const std::exception&) {
    return std::nullopt;  // damaged or not ours: the undo refuses
  }
}

std::optional<std::string> UndoBuffer::WhyNotUndo() {
  const PrivateFolder folder = TempFolder(image_.host);
  const std::optional<InputFile> in = OpenUndoFile(folder);
  if (!in) return "there is no undo file " + Path();
  std::array<uint8_t, kUndoHeaderBytes> b{};
  in->ReadAt(0, b.data(), b.size());
  const UndoHeader h = DecodeHeader(b.data());
  const std::optional<UndoDescription> d = ReadDescription(folder.path());
  if (!d) return "the undo file " + Path() + " has no description of the document it belongs to";
  TessalineHost& host = image_.host;
  const int32_t width = host.Tes_BufferWidth(), height = host.Tes_BufferHeight(), total = host.tes_GetTotalFrames();
  if (d->first != h.first || d->last != h.last || d->step != h.step || d->width != h.width || d->height != h.height)
    return "the undo file " + Path() + " and its description disagree";
  if (h.width != width || h.height != height)
    return "the undo data is for " + std::to_string(h.width) + "x" + std::to_string(h.height) + " frames, this document's are " +
           std::to_string(width) + "x" + std::to_string(height);
  if (d->frames != total)
    return "the rendered document had " + std::to_string(d->frames) + " frames, this one has " + std::to_string(total);
  const int64_t record = 3 * static_cast<int64_t>(PlaneBytes(width, height));
  const int64_t records =
      std::min<int64_t>(static_cast<int64_t>(d->fingerprints.size()), std::max<int64_t>(0, (in->Size() - kUndoHeaderBytes) / record));
  // Our own host shows its frames without moving to them; another host is walked over them
  // and brought back.
  auto* embedded = dynamic_cast<EmbeddedHost*>(&host);
  const int32_t current = host.tes_Getcurrentframe();
  Plane red, green, blue;
  auto fingerprint = [&](int32_t frame) {
    if (!embedded) {
      host.Tes_GotoFrame(frame);
      return FrameFingerprint(host.Tes_GetRBuffer(), host.Tes_GetGBuffer(), host.Tes_GetBBuffer());
    }
    embedded->ReadFramePlane(frame, Channel::R, red);
    embedded->ReadFramePlane(frame, Channel::G, green);
    embedded->ReadFramePlane(frame, Channel::B, blue);
    return FrameFingerprint(red, green, blue);
  };
  std::optional<std::string> why;
  int64_t f = h.first;
  for (int64_t i = 0; i < records && !why; ++i, f += h.step) {
    if (!d->Restores(f)) {
      if (h.step == 0) break;
      continue;
    }
    if (f < 0 || f >= total)
      why = "the undo data names frame " + std::to_string(f) + ", which this document lacks";
    else if (fingerprint(static_cast<int32_t>(f)) != d->fingerprints[static_cast<size_t>(i)])
      why = "frame " + std::to_string(d->first_number + f) +
            " is not as the render left it (another document, or changed since)";
    if (h.step == 0) break;
  }
  if (!embedded) host.Tes_GotoFrame(current);
  return why;
}

std::optional<UndoHeader> UndoBuffer::ReadHeader(const std::string& path) {
  const std::filesystem::path p(path);
  const std::optional<InputFile> in = OpenUndoFile(PrivateFolder::Open(p.parent_path().string()));
  if (!in) return std::nullopt;
  std::array<uint8_t, kUndoHeaderBytes> b{};
  in->ReadAt(0, b.data(), b.size());
  return DecodeHeader(b.data());
}

UndoOutcome UndoBuffer::Undo(bool checked) {
  UndoOutcome outcome;
  const std::string path = Path();
  if (!checked) {
    DeleteUndos();
    return outcome;
  }
  WaitCursor wait(window_);
  const bool was_locked = lock_fd_ >= 0 && lock_held_by_caller_;
  LockUndoFile();
  struct Unlock {
    UndoBuffer& u;
    bool keep;
    ~Unlock() {
      if (!keep) u.UnlockUndoFile();
    }
  } unlock{*this, was_locked};
  const PrivateFolder folder = TempFolder(image_.host);
  std::optional<InputFile> undo_file = OpenUndoFile(folder);
  if (!undo_file)
    Fail(ErrorKind::NoInput, "There is nothing to undo: no undo file " + path +
                                 " (renders with undo recording on write one)");
  {
    const InputFile in = std::move(*undo_file);
    std::array<uint8_t, kUndoHeaderBytes> b{};
    in.ReadAt(0, b.data(), b.size());  // a short header reads as zeros and cannot match
    const UndoHeader h = DecodeHeader(b.data());
    TessalineHost& host = image_.host;
    const int32_t width = host.Tes_BufferWidth(), height = host.Tes_BufferHeight();
    std::optional<std::string> why;
    // Refused, the data stays: it belongs to another document, which may come back.
    if (h.width != width || h.height != height) {
      outcome.result = UndoResult::SizeMismatch;
      window_.MessageBox("can't undo");
      return outcome;
    } else if ((why = WhyNotUndo())) {
      outcome.result = UndoResult::DocumentChanged;
      outcome.reason = *why;
      window_.MessageBox("can't undo: " + *why);
      return outcome;
    } else {
      outcome.result = UndoResult::Restored;
      const int64_t size = in.Size();
      int64_t pos = kUndoHeaderBytes;
      Plane* planes[3] = {&image_.work_r, &image_.work_g, &image_.work_b};
      for (Plane* p : planes) p->EnsureSize(width, height);
      const int64_t record = 3 * static_cast<int64_t>(planes[0]->size());
      const std::optional<UndoDescription> d = ReadDescription(folder.path());
      // 64-bit frame counter: a damaged header's extremes cannot overflow the walk.
      for (int64_t f = h.first; h.step >= 0 ? f <= h.last : f >= h.last; f += h.step) {
        if (d && !d->Restores(f)) {  // recorded unchanged: nothing to put back
          pos += record;
          if (h.step == 0) break;
          continue;
        }
        if (f >= 0 && f < host.tes_GetTotalFrames()) host.Tes_GotoFrame(static_cast<int32_t>(f));
        if (pos >= size) break;
        // A record cut short (a file truncated by hand) counts as the end of the data.
        if (size - pos < record) break;
        for (Plane* p : planes) {
          in.ReadExactly(pos, p->data(), p->size());
          pos += static_cast<int64_t>(p->size());
        }
        host.tes_setrbuffer(image_.work_r);
        host.tes_setgbuffer(image_.work_g);
        host.tes_setbbuffer(image_.work_b);
        ++outcome.frames_restored;
      }
      host.Tes_GotoFrame(0);
      host.Tes_Refresh();
    }
    // Deleted before it is closed (the reader still holds it): where deleting an open file
    // is refused the file stays, without an error.
    if (!keep_after_undo_) {
      folder.Remove(kUndoFileName);
      folder.Remove(kUndoDescriptionName);
    }
  }
  return outcome;
}

void UndoBuffer::DeleteUndos() {
  RemoveIgnoringErrors(image_.host);
  try {
    TempFolder(image_.host).Remove(kUndoDescriptionName);
  } catch (const Error&) {
  }
}

}  // namespace tessfx
