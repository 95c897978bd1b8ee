#pragma once
// The BMP picture reader: loads 8-bit (palette), 24-bit and 32-bit Windows bitmaps into the
// four planes of a frame, fitting pictures of another size to the frame by bilinear
// resampling. All state of one read lives in a BmpReader; the reader never reads or writes
// outside a buffer and refuses sizes it cannot hold before allocating anything.
#include <cstdint>
#include <string>
#include <vector>

#include "core/plane.h"
#include "media/input_limits.h"

namespace tessfx {

class InputFile;

// Where the reader reports why a picture could not be loaded (the main window's caption).
struct CaptionSink {
  virtual ~CaptionSink() = default;
  virtual void SetCaption(const std::string& caption) = 0;
};

// ReadBmpHeader results.
inline constexpr int kBmpLoaded = 0;
inline constexpr int kBmpNotUsable = -1;          // no name, no file, not "BM", or sizes that cannot be held
inline constexpr int kBmpBitCountTooLow = -2;     // fewer than 8 bits per pixel
inline constexpr int kBmpUnsupportedCompression = -3;

// The caption LoadBmpToPlanes shows for a failed ReadBmpHeader status.
const char* BmpStatusMessage(int status);

struct BmpFileHeader {  // 14 bytes at offset 0
  uint8_t type[2] = {0, 0};
  uint32_t file_size = 0;
  uint16_t reserved1 = 0;
  uint16_t reserved2 = 0;
  uint32_t pixel_offset = 0;
};

struct BmpInfoHeader {  // 40 bytes at offset 14
  uint32_t header_size = 0;
  int32_t width = 0;
  int32_t height = 0;  // negative: rows are stored top row first
  uint16_t planes = 0;
  uint16_t bit_count = 0;
  uint32_t compression = 0;
  uint32_t image_size = 0;
  int32_t x_resolution = 0;
  int32_t y_resolution = 0;
  uint32_t colours_used = 0;
  uint32_t colours_important = 0;
};

// The 60 bytes read from offset 13 when the info header is large enough to carry masks.
// Starting one byte early shifts every word: a mask word holds the true mask shifted left
// by 8 with the preceding byte below it. MaskToByteIndex expects exactly these values, so
// the two go together.
struct BmpExtendedHeader {
  BmpInfoHeader info;  // the shifted info bytes; not used for decoding
  uint32_t red_mask = 0;
  uint32_t green_mask = 0;
  uint32_t blue_mask = 0;
  uint32_t alpha_mask = 0;
  uint32_t extra = 0;
};

// Byte position within a 32-bit pixel of the channel a (shifted) mask word selects:
// 0xFF000000 -> 2, 0x00FF0000 -> 1, 0x0000FF00 -> 0, 0 -> 3, anything else -> 0.
int MaskToByteIndex(uint32_t mask);

// Bytes of one stored row for the bit counts the reader decodes (8, 24, 32); 0 for others.
int64_t BmpRowSize(int64_t width, int bit_count);

// BMP files that reach the image library (a swap image, a mask, a picture under another
// name) are checked here first: that library's BMP reader is given only the layouts it
// handles (bit counts 1, 4, 8, 16, 24, 32; RLE8 only with 8 bits, RLE4 only with 4, bit
// fields only with 16 or 32; the known header sizes), sizes within `limits`, and a file
// that holds the colour table and the pixel rows its header promises (run-length data at
// least a 256th of its pixels: that reader unpacks such pictures whole on opening). Returns
// why a file is refused, or "" when it may be read.
std::string BmpRefusalForImageLibrary(const InputFile& file, const InputLimits& limits);

// Writes a frame as a 32-bit BMP (blue, green, red and alpha per pixel, bottom row first),
// which the reader takes with its alpha. Written under a temporary name and renamed into
// place; throws an Error naming the file.
void WriteBmp32(const std::string& path, const Plane& red, const Plane& green, const Plane& blue, const Plane& alpha);

class BmpReader {
 public:
  // Reads the headers, the colour table and the pixel rows. Returns kBmpLoaded or one of
  // the failure statuses; never throws for anything a file contains.
  int ReadBmpHeader(const std::string& fileName);
  // The same checks without reading the pixel rows (describing a file).
  int ProbeBmpHeader(const std::string& fileName);
  // For a kBmpNotUsable status: what was wrong beyond the caption ("no such file", the sizes
  // the header declares against what the file holds), or "".
  const std::string& refusal() const { return refusal_; }

  // Loads the picture into the four planes, which already have the frame size. A picture
  // of the frame size is copied; any other size is resampled bilinearly. On failure the
  // caption says why, the status is returned and the planes are left untouched.
  int LoadBmpToPlanes(const std::string& fileName, Plane& red, Plane& green, Plane& blue, Plane& alpha,
                      CaptionSink& caption);

  // Decodes the rows read last into picture-size planes (height + 1 rows, width + 1
  // columns; the extra row and column stay 0).
  void DecodeToPlanes(Plane& red, Plane& green, Plane& blue, Plane& alpha) const;

  const BmpFileHeader& file_header() const { return file_header_; }
  const BmpInfoHeader& info_header() const { return info_header_; }
  const BmpExtendedHeader& extended_header() const { return extended_header_; }
  bool has_masks() const { return has_masks_; }
  const std::vector<uint32_t>& colour_table() const { return colour_table_; }
  int32_t picture_width() const { return info_header_.width; }
  int32_t picture_height() const { return picture_height_; }  // rows, whatever the storage order
  bool top_down() const { return top_down_; }
  int64_t row_size() const { return row_size_; }
  int64_t rows_read() const { return row_count_; }
  // Row `i` in file order (bottom row first unless top_down()); row_size() bytes.
  const uint8_t* pixel_row(int64_t i) const { return pixel_rows_.data() + i * row_size_; }

 private:
  void Reset();
  int ReadHeaders(const std::string& fileName, bool with_rows);

  BmpFileHeader file_header_;
  BmpInfoHeader info_header_;
  BmpExtendedHeader extended_header_;
  bool has_masks_ = false;
  std::vector<uint32_t> colour_table_;  // 0x00RRGGBB, as stored (B, G, R, reserved)
  int32_t picture_height_ = 0;
  bool top_down_ = false;
  int64_t row_size_ = 0;
  int64_t row_count_ = 0;
  std::vector<uint8_t> pixel_rows_;  // row_count_ rows of row_size_ bytes, file order
  std::string refusal_;
};

}  // namespace tessfx
