#include "media/tsa.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/convert.h"
#include "core/error.h"

namespace tessfx {
namespace {

int32_t LoadLE32(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24);
}

void StoreLE32(uint8_t* p, int32_t v) {
  auto u = static_cast<uint32_t>(v);
  p[0] = u & 0xFF;
  p[1] = (u >> 8) & 0xFF;
  p[2] = (u >> 16) & 0xFF;
  p[3] = (u >> 24) & 0xFF;
}

// Reads and checks the 20-byte header and that the file holds every plane it promises.
// With `magic_ok`, a wrong magic is reported there instead of thrown.
TsaHeader ReadHeader(const InputFile& file, bool* magic_ok, const InputLimits& limits = {}) {
  uint8_t raw[kTsaHeaderBytes];
  size_t got = file.ReadAt(0, raw, sizeof raw);
  if (got < 4 || static_cast<uint32_t>(LoadLE32(raw)) != kTsaMagic) {
    if (magic_ok) {
      *magic_ok = false;
      return {};
    }
    Fail(ErrorKind::BadData, file.path() + ": not a Tessaline animation");
  }
  if (magic_ok) *magic_ok = true;
  if (got < sizeof raw) Fail(ErrorKind::BadData, file.path() + ": animation header is truncated");
  TsaHeader h;
  h.header_word = LoadLE32(raw + 4);
  h.width = LoadLE32(raw + 8);
  h.height = LoadLE32(raw + 12);
  h.frames = LoadLE32(raw + 16);
  limits.CheckSize(file.path(), h.width, h.height);
  limits.CheckFrames(file.path(), h.frames);
  const int64_t need = h.FileBytes();
  const int64_t have = file.Size();
  if (have < need)
    Fail(ErrorKind::BadData, file.path() + " is truncated: " + std::to_string(have) + " bytes, the header promises " +
                                 std::to_string(need));
  return h;
}

}  // namespace

TsaReader::TsaReader(const std::string& path, const InputLimits& limits)
    : file_(path), header_(ReadHeader(file_, nullptr, limits)) {}

void TsaReader::ReadPlane(int32_t frame, Channel c, Plane& dest) const {
  if (frame < 0 || frame >= header_.frames)
    Fail(ErrorKind::Usage, file_.path() + ": frame " + std::to_string(frame) + " is outside 0.." +
                               std::to_string(header_.frames - 1));
  dest.EnsureSize(header_.width, header_.height);
  file_.ReadExactly(header_.PlaneOffset(frame, c), dest.data(), dest.size());
}

bool HasTsaMagic(const std::string& path) {
  try {
    InputFile f(path);
    uint8_t raw[4];
    return f.ReadAt(0, raw, 4) == 4 && static_cast<uint32_t>(LoadLE32(raw)) == kTsaMagic;
  } catch (const Error&) {
    return false;
  }
}

TsaWriter::TsaWriter(const std::string& path, int32_t width, int32_t height, int32_t frames, int32_t header_word)
    : out_(path) {
  PlaneBytes(width, height);
  if (frames < 1 || frames > kMaxFrames)
    Fail(ErrorKind::Usage, "frame count " + std::to_string(frames) + " is outside 1.." + std::to_string(kMaxFrames));
  header_ = TsaHeader{header_word, width, height, frames};
  uint8_t raw[kTsaHeaderBytes];
  StoreLE32(raw, static_cast<int32_t>(kTsaMagic));
  StoreLE32(raw + 4, header_word);
  StoreLE32(raw + 8, width);
  StoreLE32(raw + 12, height);
  StoreLE32(raw + 16, frames);
  out_.WriteAt(0, raw, sizeof raw);
}

void TsaWriter::WritePlane(int32_t frame, Channel c, const Plane& plane) {
  if (plane.width() != header_.width || plane.height() != header_.height)
    Fail(ErrorKind::Usage, "plane size does not match the animation");
  out_.WriteAt(header_.PlaneOffset(frame, c), plane.data(), plane.size());
}

ResampleScale::ResampleScale(int32_t w, int32_t h, int32_t fw, int32_t fh)
    : width(w), height(h), frame_width(fw), frame_height(fh),
      sx(static_cast<float>(1.0 / (static_cast<double>(fw) / w))),
      sy(static_cast<float>(1.0 / (static_cast<double>(fh) / h))) {}

int32_t ResampleScale::SourceRow(int32_t y, float& dy) const {
  const float fy = static_cast<float>(y * static_cast<double>(sy));
  const int32_t iy = FloorToInt(fy);
  dy = fy - static_cast<float>(iy);
  return std::min(iy, height - 1);  // float rounding may not push past the stored extra row
}

void ResampleScale::Row(const uint8_t* row0, const uint8_t* row1, float dy, uint8_t* out) const {
  for (int32_t x = 0; x < frame_width; ++x) {
    const float fx = static_cast<float>(x * static_cast<double>(sx));
    int32_t ix = FloorToInt(fx);
    const float dx = fx - static_cast<float>(ix);
    ix = std::min(ix, width - 1);
    const float a = row0[ix], b = row0[ix + 1], c = row1[ix], d = row1[ix + 1];
    const float v = (a * (1 - dx) + b * dx) * (1 - dy) + (c * (1 - dx) + d * dx) * dy;
    out[x] = RoundToByteF(v);
  }
}

void ResampleTsaPlane(const Plane& src, Plane& dest, int32_t fw, int32_t fh) {
  const int32_t w = src.width();
  const int32_t h = src.height();
  if (w == fw && h == fh) {
    // sx = sy = 1: every fraction is 0, the samples are copied unchanged.
    for (int32_t y = 0; y < fh; ++y) std::memcpy(dest[y], src[y], static_cast<size_t>(fw));
    return;
  }
  const ResampleScale scale(w, h, fw, fh);
  for (int32_t y = 0; y < fh; ++y) {
    float dy = 0;
    const int32_t iy = scale.SourceRow(y, dy);
    scale.Row(src[iy], src[iy + 1], dy, dest[y]);
  }
}

int32_t ExternalAnimation::OpenAnimationFile(const std::string& fileName, const MessageBox& message_box) {
  // A file that is already the source is closed first.
  active_ = false;
  file_.reset();
  InputFile file(fileName);
  bool magic_ok = false;
  TsaHeader h = ReadHeader(file, &magic_ok);
  if (!magic_ok) {
    if (message_box) message_box("not a Tessaline animation");
    return -1;
  }
  h = ReadHeader(file, nullptr);
  for (auto& b : buffers_) b = Plane(h.width, h.height);
  header_ = h;
  file_name_ = fileName;
  file_.emplace(std::move(file));
  return 0;
}

void ExternalAnimation::LoadAnimationFrame(int32_t frame, int32_t fw, int32_t fh, Plane& r, Plane& g, Plane& b) {
  if (!active_ || !file_ || frame < 0 || frame > header_.frames - 1) return;
  Plane* dest[3] = {&r, &g, &b};
  for (int c = 0; c < 3; ++c) {
    try {
      file_->ReadAt(header_.PlaneOffset(frame, static_cast<Channel>(c)), buffers_[c].data(), buffers_[c].size());
    } catch (const Error&) {
      // Read errors are ignored: the buffer keeps what it held.
    }
    if (dest[c]->width() < fw || dest[c]->height() < fh) dest[c]->EnsureSize(fw, fh);
    ResampleTsaPlane(buffers_[c], *dest[c], fw, fh);
  }
}

}  // namespace tessfx
