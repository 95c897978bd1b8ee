#pragma once
// Image files and numbered image sequences in the still-image formats of the image library
// (PNG, JPEG, TIFF, OpenEXR, BMP, Targa, DPX, Cineon, PNM, HDR, WebP, HEIF), converted to and
// from 8-bit planes.
//
// Reading trusts nothing in the file: only regular files are opened (a pipe or a device is
// refused at once), the format is recognised by the file's contents and must be one of the
// still-image formats above before the library reads anything (its video, camera-raw,
// medical and volume readers are never used, and the file name's extension is only a hint),
// BMP headers are checked before the library sees them, and declared sizes are checked
// against the InputLimits before any pixel memory exists. The library's own messages
// become part of one message of ours.
//
// Reading: samples deeper than 8 bits are clamped to 0..1, scaled to 0..255 and rounded
// half to even; alpha comes from the file when it has an alpha channel, else 255; the
// extra row and column of each plane repeat the last real row and column. Frames are the
// file's display window; pixels outside its data window are black and transparent.
//
// Sequences are named by a pattern: printf style ("frame.%04d.png", "frame.%d.png"), or
// hashes ("frame.####.png", one digit per hash). A plain file name whose stem ends in
// digits ("shot_0001.png") starts a sequence when the next number exists.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/plane.h"
#include "media/input_limits.h"

namespace tessfx {

// The file-name pattern of an image sequence: prefix, frame number, suffix.
struct SequencePattern {
  std::string prefix;  // folder included
  std::string suffix;  // extension included
  int32_t digits = 0;  // minimum digits, zero-padded ("%04d", "####"); 1 for "%d"

  std::string FileName(int64_t number) const;
  // The number a file path stands for, if it fits the pattern exactly (the number printed
  // back gives the same digits).
  std::optional<int64_t> Match(std::string_view path) const;
  // The pattern as printf style text, for messages.
  std::string Text() const;
};

// Parses a printf or hash placeholder in the file name part of `path`. nullopt when there
// is none; throws a usage Error when the placeholder is malformed or appears twice.
std::optional<SequencePattern> ParseSequencePattern(const std::string& path);

// A file whose stem ends in digits as a member of a numbered sequence: the pattern with as
// many places as the name has digits, and the file's number ("shot_0010.png" ->
// "shot_%04d.png", 10). nullopt for other names.
std::optional<std::pair<SequencePattern, int64_t>> NumberedFile(const std::string& path);

// Where "save as an image sequence" writes when the user names one file: a pattern stays
// as it is (numbered from 1); a stem ending in a separator and digits ("shot_0010.png")
// numbers from those digits with as many places ("shot_%04d.png" from 10); any other name
// gets four places before its extension ("result.png" -> "result.####.png" from 1).
struct SequenceTarget {
  std::string pattern;
  int64_t first_number = 1;
};
SequenceTarget SequenceTargetFor(const std::string& path);

// The image files an input path stands for, in frame order.
struct ImageFiles {
  std::vector<std::string> files;
  std::optional<SequencePattern> pattern;  // set for a sequence
  int64_t first_number = 0;                // number of files[0] in a sequence
};

// Resolves an input path: a pattern lists the matching files from the lowest number up to
// the first gap; a file whose stem ends in digits is followed while the next numbers exist;
// any other file is a single image. A file that exists under the very name given is that
// file, even when its name holds "#" or "%d". At most `max_files` are accepted (a usage
// Error names the pattern beyond that); no match, a missing file or anything but a regular
// file throws NoInput.
ImageFiles ResolveImageFiles(const std::string& path, int32_t max_files);

struct ImageInfo {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 0;
  bool has_alpha = false;
  std::string format;  // the reader's format name ("png", "openexr", ...)
};

// The still-image formats read, by the library's names ("png", "jpeg", ...), those this
// build of the library lacks left out.
std::vector<std::string> StillImageFormats();

// True when the file is an image in one of the still-image formats.
bool IsReadableImage(const std::string& path);
// True when a writer exists for the path's extension.
bool IsWritableImagePath(const std::string& path);

// Header of an image file, checked against the limits. Throws an Error naming the file.
ImageInfo ProbeImage(const std::string& path, const InputLimits& limits = {});

// The four planes of a frame read from an image file, R, G, B, A.
using RgbaPlanes = std::array<Plane, 4>;

// Reads an image into planes of its size. When `expect` is given the file must have that
// frame size, else a BadData Error naming the file says so (before anything is allocated).
// Returns the file's header.
ImageInfo ReadImage(const std::string& path, RgbaPlanes& out, const ImageInfo* expect = nullptr,
                    const InputLimits& limits = {});

// Reads an image scaled to a frame of frame_width x frame_height into r, g, b as the swap
// source resamples (ResampleTsaPlane: bilinear, the picture's last row and column repeated
// beyond it); the extra row and column of the results repeat the last ones. The picture
// streams through a few rows at a time, so memory does not grow with its size; one of more
// pixels than the limits' swap budget for the frame is refused before reading.
ImageInfo ReadImageScaled(const std::string& path, int32_t frame_width, int32_t frame_height, Plane& r, Plane& g,
                          Plane& b, const InputLimits& limits = {});

// Reads an image as one grey plane: the single channel of a grey image, else the luma of
// its colour channels (0.299 R + 0.587 G + 0.114 B), alpha ignored.
Plane ReadGreyImage(const std::string& path, const InputLimits& limits = {});

// Writes image files under temporary names (same folder, same extension) and renames them
// all into place on Commit, so a failure part-way leaves no new or damaged file behind.
class ImageFileWriter {
 public:
  ImageFileWriter() = default;
  ~ImageFileWriter();  // removes the temporary files unless committed
  ImageFileWriter(const ImageFileWriter&) = delete;
  ImageFileWriter& operator=(const ImageFileWriter&) = delete;

  // Writes one frame (planes of one size); `a` is written when non-null and the format
  // holds alpha. Float formats (EXR) are written as half floats, others as 8 bits.
  void Write(const std::string& path, const Plane& r, const Plane& g, const Plane& b, const Plane* a);
  void Commit();

 private:
  struct Pending {
    std::string temp, path;
  };
  std::vector<Pending> pending_;
  std::vector<uint8_t> pixels_;  // interleaved scratch, reused between frames
  bool committed_ = false;
};

}  // namespace tessfx
