#include "render/undo.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "core/error.h"
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

}  // namespace

UndoBuffer::~UndoBuffer() { FinishRecording(); }

std::string UndoBuffer::Path() const { return JoinPath(image_.host.Tes_GetTempDir(), kUndoFileName); }

void UndoBuffer::WriteAll(const void* data, size_t bytes) {
  const auto* p = static_cast<const char*>(data);
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
  FinishRecording();
  const PrivateFolder folder = TempFolder(image_.host);
  folder.Remove(kUndoFileName);
  // A fresh file of its own, renamed into place once it has its header: whatever stood at
  // the name (a planted link included) is replaced, never written through.
  std::string fresh;
  fd_ = folder.CreateUniqueFile(std::string(".") + kUndoFileName + ".", ".tmp", fresh);
  recording_path_ = folder.PathOf(kUndoFileName);
  try {
    std::array<uint8_t, kUndoHeaderBytes> b{};
    PutLE32(b.data(), header.width);
    PutLE32(b.data() + 4, header.height);
    PutLE32(b.data() + 8, header.first);
    PutLE32(b.data() + 12, header.last);
    PutLE32(b.data() + 16, header.step);
    WriteAll(b.data(), b.size());
    folder.Rename(fresh, kUndoFileName);
  } catch (...) {
    FinishRecording();
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
  size_t first = 0;
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

void UndoBuffer::FinishRecording() {
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
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
    RemoveIgnoringErrors(image_.host);
    return outcome;
  }
  WaitCursor wait(window_);
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
    if (h.width != width || h.height != height) {
      outcome.result = UndoResult::SizeMismatch;
      window_.MessageBox("can't undo");
    } else {
      outcome.result = UndoResult::Restored;
      const int64_t size = in.Size();
      int64_t pos = kUndoHeaderBytes;
      Plane* planes[3] = {&image_.work_r, &image_.work_g, &image_.work_b};
      for (Plane* p : planes) p->EnsureSize(width, height);
      const int64_t record = 3 * static_cast<int64_t>(planes[0]->size());
      // 64-bit frame counter: a damaged header's extremes cannot overflow the walk.
      for (int64_t f = h.first; h.step >= 0 ? f <= h.last : f >= h.last; f += h.step) {
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
    folder.Remove(kUndoFileName);
  }
  return outcome;
}

void UndoBuffer::DeleteUndos() { RemoveIgnoringErrors(image_.host); }

}  // namespace tessfx
