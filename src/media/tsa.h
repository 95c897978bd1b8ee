#pragma once
// Host animation files (.tsa): magic "TSA1", a header word, W, H, N (32-bit little-endian),
// then the red planes of all N frames, then all green planes, then all blue planes; each
// plane (W + 1) x (H + 1) bytes, the extra row and column included.
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/plane.h"
#include "media/file_util.h"
#include "media/input_limits.h"

namespace tessfx {

inline constexpr uint32_t kTsaMagic = 0x31415354;  // "TSA1" read as a little-endian word
inline constexpr int64_t kTsaHeaderBytes = 20;

struct TsaHeader {
  int32_t header_word = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t frames = 0;

  int64_t PlaneBytes() const { return int64_t{width + 1} * (height + 1); }
  // Offset of frame `frame`'s plane of channel c (R, G or B).
  int64_t PlaneOffset(int32_t frame, Channel c) const {
    return kTsaHeaderBytes + (int64_t{static_cast<int>(c)} * frames + frame) * PlaneBytes();
  }
  int64_t FileBytes() const { return kTsaHeaderBytes + 3 * int64_t{frames} * PlaneBytes(); }
};

// Reads a whole .tsa file's frames. Validates the header (magic, sizes, frame count, that
// the data is all there) before allocating anything; every failure is an Error naming the file.
class TsaReader {
 public:
  explicit TsaReader(const std::string& path, const InputLimits& limits = {});
  const TsaHeader& header() const { return header_; }
  // Reads frame's channel plane into `dest` (resized to W x H if needed).
  void ReadPlane(int32_t frame, Channel c, Plane& dest) const;

 private:
  InputFile file_;
  TsaHeader header_;
};

// True when the file starts with the "TSA1" magic.
bool HasTsaMagic(const std::string& path);

// Writes a .tsa under a temporary name; Commit renames it into place.
class TsaWriter {
 public:
  TsaWriter(const std::string& path, int32_t width, int32_t height, int32_t frames, int32_t header_word = 0);
  void WritePlane(int32_t frame, Channel c, const Plane& plane);
  void Commit() { out_.Commit(); }
  const TsaHeader& header() const { return header_; }

 private:
  AtomicOutputFile out_;
  TsaHeader header_;
};

// Bilinear resampling of a stored animation plane (W x H picture with its extra row and
// column) to a frame of fw x fh pixels, as the external swap source does it: scale factors
// and fractions in single precision, halves rounded to even. Equal sizes copy exactly.
void ResampleTsaPlane(const Plane& src, Plane& dest, int32_t fw, int32_t fh);

// The steps of that resampling, for pictures that arrive a row at a time: the scale of a
// w x h picture to a fw x fh frame, the source row (and fraction) of a frame row, and one
// frame row from source rows iy and iy + 1 (each w + 1 samples, the extra column included).
struct ResampleScale {
  ResampleScale(int32_t w, int32_t h, int32_t fw, int32_t fh);
  int32_t SourceRow(int32_t y, float& dy) const;
  void Row(const uint8_t* row0, const uint8_t* row1, float dy, uint8_t* out) const;

  int32_t width, height, frame_width, frame_height;
  float sx, sy;
};

// An animation file used as the external swap source. The file is opened and checked once
// and stays open; each frame costs three positioned reads into buffers sized at open time.
class ExternalAnimation {
 public:
  // Shown when the chosen file is not an animation ("not a Tessaline animation").
  using MessageBox = std::function<void(const std::string&)>;

  // 0 on success, -1 on a wrong magic (after showing the message). A missing or unreadable
  // file, or a damaged header, throws an Error with a clear message; the source stays off.
  int32_t OpenAnimationFile(const std::string& fileName, const MessageBox& message_box);
  // When active and frame is within the file, overwrites r, g, b (frame size fw x fh) with
  // that frame resampled; otherwise leaves them alone. Read errors are ignored.
  void LoadAnimationFrame(int32_t frame, int32_t fw, int32_t fh, Plane& r, Plane& g, Plane& b);

  bool active() const { return active_; }
  void set_active(bool on) { active_ = on && file_.has_value(); }
  const std::string& file_name() const { return file_name_; }
  const TsaHeader& header() const { return header_; }

 private:
  bool active_ = false;
  std::string file_name_;
  std::optional<InputFile> file_;
  TsaHeader header_;
  std::array<Plane, 3> buffers_;
};

}  // namespace tessfx
