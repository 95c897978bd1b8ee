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
// Reading: samples of linear light are converted to sRGB (see IsLinearColourSpace);
// samples deeper than 8 bits are clamped to 0..1, scaled to 0..255 and rounded half to even; alpha comes from the file when it has an alpha channel, else 255; the
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
  // One per frame. A frame whose file is missing (a gap) names the file before it, so a
  // caller that accepts gaps fills them with the previous frame.
  std::vector<std::string> files;
  std::optional<SequencePattern> pattern;  // set for a sequence
  int64_t first_number = 0;                // number of files[0] in a sequence
  std::vector<int64_t> gaps;               // numbers between the first and the last without a file
};

// Resolves an input path: a pattern covers the matching files from the lowest number to the
// highest. A file whose stem ends in digits starts a sequence when the next number exists,
// or, for numbers of three or more digits, when any higher number exists; the sequence then
// runs to the highest number. Any other file is a single image, and so is a file that exists
// under the very name given, even when its name holds "#" or "%d". Numbers missing in between
// are listed as gaps. At most `max_files` frames are accepted (a data Error names the pattern
// beyond that); no match, a missing file or anything but a regular file throws NoInput.
ImageFiles ResolveImageFiles(const std::string& path, int32_t max_files);

// "f.0003.png is missing" or "f.0003.png and 4 more files are missing (3,7-10)".
std::string GapText(const SequencePattern& pattern, const std::vector<int64_t>& gaps);

struct ImageInfo {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 0;
  bool has_alpha = false;
  std::string format;        // the reader's format name ("png", "openexr", ...)
  std::string sample_type;   // as stored: "uint8", "uint16", "half", "float", ...
  int32_t bits = 0;          // bits per sample as stored (10 for a 10-bit file held in uint16)
  std::string colour_space;  // as the file states it ("sRGB", "Linear"); empty when it states none
};

// The still-image formats read, by the library's names ("png", "jpeg", ...), those this
// build of the library lacks left out.
std::vector<std::string> StillImageFormats();

// Colour: frames are sRGB. Files of linear light (a colour space the library's colour
// management calls linear: OpenEXR, Radiance HDR, a PNG of gamma 1) are converted to sRGB on
// reading, and frames written to a format of linear light (OpenEXR, Radiance HDR) are
// converted to linear, always by the library's own colour management.
bool IsLinearColourSpace(const std::string& name);
bool WritesLinear(const std::string& path);

// True when the file is an image in one of the still-image formats.
bool IsReadableImage(const std::string& path);
// True when a writer exists for the path's extension.
bool IsWritableImagePath(const std::string& path);

// Header of an image file, checked against the limits. Throws an Error naming the file.
ImageInfo ProbeImage(const std::string& path, const InputLimits& limits = {});

// How frames are written to image files. Defaults keep each format's usual depth: half
// floats for OpenEXR, floats for Radiance HDR, 8 bits for the others.
enum class SampleType { Default, UInt8, UInt16, Half, Float };
struct ImageWriteOptions {
  SampleType sample_type = SampleType::Default;
  std::string compression;  // the writer's own names, "zip", "dwaa:45", "lzw"; empty: its default
  int32_t quality = 0;      // 1..100 for lossy writers; 0: their default
};
// "uint8", "uint16", "half", "float"; nullopt for another text.
std::optional<SampleType> ParseSampleType(std::string_view text);
std::string SampleTypeName(SampleType type);
// The type samples written to `path` as `type` asks are stored as: Default resolved to the
// format's usual one.
SampleType StoredSampleType(const std::string& path, SampleType type);
// The library's name of the still-image format a path's extension stands for ("png",
// "openexr", ...), or empty.
std::string ImageFormatFor(const std::string& path);
// Refuses, before anything is written, options the writer for `path` cannot honour: a
// compression name or level it does not know, a quality it has no use for, a sample type
// the format does not hold (the writer would store another). Sample types are tried on a
// one-pixel file in `scratch_folder`, which is removed again.
void CheckImageWriteOptions(const std::string& path, const ImageWriteOptions& options,
                            const std::string& scratch_folder);

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
// its colour channels (0.299 R + 0.587 G + 0.114 B), alpha ignored. Grey images are data
// (masks, reliefs): a linear file's samples are taken as they are, not converted to sRGB.
Plane ReadGreyImage(const std::string& path, const InputLimits& limits = {});

// Writes image files under temporary names (same folder, same extension) and renames them
// all into place on Commit, so a failure part-way leaves no new or damaged file behind.
class ImageFileWriter {
 public:
  explicit ImageFileWriter(ImageWriteOptions options = {}) : options_(std::move(options)) {}
  ~ImageFileWriter();  // removes the temporary files unless committed
  ImageFileWriter(const ImageFileWriter&) = delete;
  ImageFileWriter& operator=(const ImageFileWriter&) = delete;

  // Writes one frame (planes of one size); `a` is written when non-null and the format
  // holds alpha. Samples are stored as the options say (see ImageWriteOptions).
  void Write(const std::string& path, const Plane& r, const Plane& g, const Plane& b, const Plane* a);
  // Writes the picture of the image file `source` to `path` at full depth, as the options
  // say: a frame nobody changed keeps what its file held (values above 1.0, all 16 bits),
  // its colour space converted only when `path`'s differs (see WritesLinear). Alpha is
  // written as with Write. Returns false, writing nothing, when the file stores only part
  // of its picture or is no longer `width` x `height`; the caller then writes the frame's planes.
  bool CopyFrom(const std::string& path, const std::string& source, int32_t width, int32_t height, bool with_alpha,
                const InputLimits& limits = {});
  void Commit();

 private:
  // A temporary name for `path`, to be renamed into place on Commit.
  std::string Claim(const std::string& path);

  struct Pending {
    std::string temp, path;
  };
  std::vector<Pending> pending_;
  ImageWriteOptions options_;
  std::vector<uint8_t> pixels_;  // interleaved scratch, reused between frames
  std::vector<float> floats_;
  bool committed_ = false;
};

}  // namespace tessfx
