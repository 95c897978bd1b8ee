#include "media/bmp.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "core/convert.h"
#include "core/error.h"
#include "media/file_util.h"

namespace tessfx {
namespace {

constexpr int64_t kFileHeaderBytes = 14;
constexpr int64_t kInfoHeaderBytes = 40;
constexpr int64_t kExtendedHeaderBytes = 60;
// The extended header is read from one byte before the info header (see BmpExtendedHeader).
constexpr int64_t kExtendedHeaderOffset = kFileHeaderBytes - 1;
// A run of up to 255 pixels takes two bytes of run-length data; what a file declares beyond
// (with room for a small picture) only skips and ends rows early.
constexpr int64_t kRunPixelsPerByte = 256;
constexpr int64_t kRunPixelsFree = 1 << 16;
// Rows longer than this were never loadable (their size did not fit a 16-bit count), so
// such widths are refused rather than guessed at.
constexpr int64_t kMaxRowSize = 32767;

uint16_t Le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t Le32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

BmpInfoHeader ParseInfo(const uint8_t* p) {
  BmpInfoHeader h;
  h.header_size = Le32(p);
  h.width = static_cast<int32_t>(Le32(p + 4));
  h.height = static_cast<int32_t>(Le32(p + 8));
  h.planes = Le16(p + 12);
  h.bit_count = Le16(p + 14);
  h.compression = Le32(p + 16);
  h.image_size = Le32(p + 20);
  h.x_resolution = static_cast<int32_t>(Le32(p + 24));
  h.y_resolution = static_cast<int32_t>(Le32(p + 28));
  h.colours_used = Le32(p + 32);
  h.colours_important = Le32(p + 36);
  return h;
}

// Reads up to `bytes` at `offset`; whatever lies past the end of the file reads as zero.
void ReadZeroFilled(const InputFile& file, int64_t offset, uint8_t* dest, size_t bytes) {
  const size_t got = file.ReadAt(offset, dest, bytes);
  std::memset(dest + got, 0, bytes - got);
}

}  // namespace

const char* BmpStatusMessage(int status) {
  switch (status) {
    case kBmpLoaded: return "";
    case kBmpBitCountTooLow: return "Currently loads only 8, 24, and 32 bit files";
    case kBmpUnsupportedCompression: return "Compression not currently supported.";
    default: return "Not a BMP";
  }
}

int MaskToByteIndex(uint32_t mask) {
  switch (mask) {
    case 0xFF000000u: return 2;
    case 0x00FF0000u: return 1;
    case 0x0000FF00u: return 0;
    case 0u: return 3;
    default: return 0;
  }
}

int64_t BmpRowSize(int64_t width, int bit_count) {
  switch (bit_count) {
    case 8: return (width + 3) / 4 * 4;
    case 24: return (width * 3 + 3) / 4 * 4;
    case 32: return width * 4;
    default: return 0;
  }
}

std::string BmpRefusalForImageLibrary(const InputFile& file, const InputLimits& limits) {
  const int64_t file_bytes = file.Size();
  uint8_t raw[kFileHeaderBytes + kInfoHeaderBytes] = {};
  const size_t got = file.ReadAt(0, raw, sizeof raw);
  if (got < kFileHeaderBytes + 16) return "the BMP headers are cut short";
  const uint32_t header_size = Le32(raw + 14);
  const bool core = header_size == 12;  // the oldest layout: 16-bit sizes, no compression
  if (!core && header_size != 40 && header_size != 52 && header_size != 56 && header_size != 64 &&
      header_size != 108 && header_size != 124)
    return "BMP header size " + std::to_string(header_size) + " is not one the reader knows";
  if (int64_t{kFileHeaderBytes} + header_size > file_bytes || (!core && got < sizeof raw))
    return "the BMP headers are cut short";
  const int64_t width = core ? Le16(raw + 18) : static_cast<int32_t>(Le32(raw + 18));
  const int64_t stored_height = core ? Le16(raw + 20) : static_cast<int32_t>(Le32(raw + 22));
  const int planes = core ? Le16(raw + 22) : Le16(raw + 26);
  const int bits = core ? Le16(raw + 24) : Le16(raw + 28);
  const uint32_t compression = core ? 0 : Le32(raw + 30);
  const uint32_t colours_used = core ? 0 : Le32(raw + 46);
  const int64_t height = stored_height < 0 ? -stored_height : stored_height;

  if (planes != 1) return "BMP with " + std::to_string(planes) + " planes";
  if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
    return "BMP with " + std::to_string(bits) + " bits per pixel";
  const bool fits = compression == 0 || (compression == 1 && bits == 8) || (compression == 2 && bits == 4) ||
                    (compression == 3 && (bits == 16 || bits == 32));
  if (!fits) return "BMP compression " + std::to_string(compression) + " with " + std::to_string(bits) + " bits per pixel";
  if ((compression == 1 || compression == 2) && stored_height < 0) return "a top-down BMP cannot be run-length coded";
  if (std::string beyond = limits.SizeRefusal(width, height); !beyond.empty()) return beyond;

  // Colour table (after the header and any bit-field masks) and pixel rows must be in the file.
  const int64_t masks = !core && header_size == 40 && compression == 3 ? 12 : 0;
  // Deeper pictures may still carry a table (a hint for displays); it must be in the file too.
  const int64_t palette_entries = bits > 8 || colours_used ? int64_t{colours_used} : int64_t{1} << bits;
  if (bits <= 8 && palette_entries > (int64_t{1} << bits))
    return "BMP colour table of " + std::to_string(colours_used) + " entries for " + std::to_string(bits) + " bits per pixel";
  const int64_t table_end = kFileHeaderBytes + header_size + masks + palette_entries * (core ? 3 : 4);
  const int64_t pixel_offset = Le32(raw + 10);
  if (table_end > file_bytes) return "the BMP colour table is cut short";
  if (pixel_offset < kFileHeaderBytes + header_size || pixel_offset >= file_bytes)
    return "BMP pixel data offset " + std::to_string(pixel_offset) + " lies outside the file";
  const int64_t data_bytes = file_bytes - pixel_offset;
  const std::string declares = "the BMP declares " + std::to_string(width) + "x" + std::to_string(height) + " pixels";
  if (compression == 0 || compression == 3) {
    const int64_t row = (width * bits + 31) / 32 * 4;
    if (row * height > data_bytes)
      return declares + " (" + std::to_string(row * height) + " bytes) but holds " + std::to_string(data_bytes);
  } else if (width * height > kRunPixelsPerByte * data_bytes + kRunPixelsFree) {
    // The library unpacks run-length pictures whole when it opens them: a few bytes must not
    // stand for a picture that no encoder would have made that small.
    return declares + " in " + std::to_string(data_bytes) + " bytes of run-length data";
  }
  return "";
}

void BmpReader::Reset() { *this = BmpReader(); }

int BmpReader::ReadBmpHeader(const std::string& fileName) { return ReadHeaders(fileName, true); }

int BmpReader::ProbeBmpHeader(const std::string& fileName) { return ReadHeaders(fileName, false); }

int BmpReader::ReadHeaders(const std::string& fileName, bool with_rows) {
  Reset();
  if (const auto why = NotAnInputFile(fileName)) {
    refusal_ = *why;
    return kBmpNotUsable;
  }
  try {
    const InputFile file(fileName);
    const int64_t file_bytes = file.Size();

    uint8_t raw[kExtendedHeaderBytes];
    ReadZeroFilled(file, 0, raw, kFileHeaderBytes);
    file_header_.type[0] = raw[0];
    file_header_.type[1] = raw[1];
    file_header_.file_size = Le32(raw + 2);
    file_header_.reserved1 = Le16(raw + 6);
    file_header_.reserved2 = Le16(raw + 8);
    file_header_.pixel_offset = Le32(raw + 10);
    if (raw[0] != 'B' || raw[1] != 'M') return kBmpNotUsable;
    // Too short to hold both headers: nothing in it can be trusted.
    if (file_bytes < kFileHeaderBytes + kInfoHeaderBytes) return kBmpNotUsable;

    ReadZeroFilled(file, kFileHeaderBytes, raw, kInfoHeaderBytes);
    info_header_ = ParseInfo(raw);
    int64_t position = kFileHeaderBytes + kInfoHeaderBytes;

    has_masks_ = false;
    if (info_header_.header_size >= kExtendedHeaderBytes) {
      ReadZeroFilled(file, kExtendedHeaderOffset, raw, kExtendedHeaderBytes);
      extended_header_.info = ParseInfo(raw);
      extended_header_.red_mask = Le32(raw + 40);
      extended_header_.green_mask = Le32(raw + 44);
      extended_header_.blue_mask = Le32(raw + 48);
      extended_header_.alpha_mask = Le32(raw + 52);
      extended_header_.extra = Le32(raw + 56);
      has_masks_ = true;
      position = kExtendedHeaderOffset + kExtendedHeaderBytes;
    }

    if (info_header_.colours_used > 0) {
      // A table larger than the whole file is a damaged count, not something to allocate.
      const int64_t table_bytes = int64_t{info_header_.colours_used} * 4;
      if (table_bytes > file_bytes) {
        Reset();
        refusal_ = "a colour table of " + std::to_string(table_bytes) + " bytes in a file of " + std::to_string(file_bytes);
        return kBmpNotUsable;
      }
      std::vector<uint8_t> quads(static_cast<size_t>(table_bytes));
      ReadZeroFilled(file, position, quads.data(), quads.size());
      colour_table_.resize(info_header_.colours_used);
      for (size_t i = 0; i < colour_table_.size(); ++i) colour_table_[i] = Le32(&quads[i * 4]);
    }

    if (info_header_.bit_count < 8) return kBmpBitCountTooLow;
    if (info_header_.compression != 0 && info_header_.compression != 3) return kBmpUnsupportedCompression;

    // Sizes are checked before anything is allocated. A negative height stores the top row
    // first; width and height must each fit a frame, the row a 16-bit count, and the pixel
    // data the header promises must fit in the file (rows the file lacks read as zero, but
    // a tiny file cannot make the reader allocate a huge picture).
    const int64_t width = info_header_.width;
    const int64_t height = std::abs(int64_t{info_header_.height});
    const int64_t row_size = BmpRowSize(width, info_header_.bit_count);
    const int64_t packed_row = (width * info_header_.bit_count + 31) / 32 * 4;
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide || row_size > kMaxRowSize ||
        packed_row * height > file_bytes) {
      const std::string why = "it declares " + std::to_string(width) + "x" + std::to_string(height) + " pixels at " +
                              std::to_string(info_header_.bit_count) + " bits" +
                              (row_size > kMaxRowSize ? ", rows longer than the reader takes"
                                                      : " in a file of " + std::to_string(file_bytes) + " bytes");
      Reset();
      refusal_ = why;
      return kBmpNotUsable;
    }
    picture_height_ = static_cast<int32_t>(height);
    top_down_ = info_header_.height < 0;

    // Bit counts the reader does not decode (16, for one) get no rows and load as zeros.
    row_size_ = row_size;
    row_count_ = row_size > 0 && with_rows ? height : 0;
    pixel_rows_.assign(static_cast<size_t>(row_size_ * row_count_), 0);
    file.ReadAt(file_header_.pixel_offset, pixel_rows_.data(), pixel_rows_.size());
    return kBmpLoaded;
  } catch (const Error& e) {
    // The file could not be opened or read: not usable, like a missing one.
    Reset();
    refusal_ = e.what();
    return kBmpNotUsable;
  }
}

void BmpReader::DecodeToPlanes(Plane& red, Plane& green, Plane& blue, Plane& alpha) const {
  const int32_t w = picture_width();
  const int32_t h = picture_height();
  red = Plane(w, h);
  green = Plane(w, h);
  blue = Plane(w, h);
  alpha = Plane(w, h);
  const int bits = info_header_.bit_count;
  // Byte of each channel within a 32-bit pixel: from the masks when the file has them.
  int ri = 2, gi = 1, bi = 0, ai = 3;
  if (bits == 32 && has_masks_) {
    ri = MaskToByteIndex(extended_header_.red_mask);
    gi = MaskToByteIndex(extended_header_.green_mask);
    bi = MaskToByteIndex(extended_header_.blue_mask);
    ai = MaskToByteIndex(extended_header_.alpha_mask);
  }
  // A palette picture without a colour count has nothing to look up: it stays black.
  if (bits == 8 && info_header_.colours_used < 1) return;

  for (int64_t i = 0; i < row_count_; ++i) {
    const auto y = static_cast<int32_t>(top_down_ ? i : h - 1 - i);
    const uint8_t* src = pixel_row(i);
    uint8_t* r = red[y];
    uint8_t* g = green[y];
    uint8_t* b = blue[y];
    uint8_t* a = alpha[y];
    switch (bits) {
      case 24:
        for (int32_t x = 0; x < w; ++x, src += 3) {
          b[x] = src[0];
          g[x] = src[1];
          r[x] = src[2];
        }
        break;
      case 32:
        for (int32_t x = 0; x < w; ++x, src += 4) {
          r[x] = src[ri];
          g[x] = src[gi];
          b[x] = src[bi];
          a[x] = src[ai];
        }
        break;
      case 8:
        for (int32_t x = 0; x < w; ++x) {
          // An index past the table is black rather than a read beyond it.
          const uint32_t entry = src[x] < colour_table_.size() ? colour_table_[src[x]] : 0;
          r[x] = static_cast<uint8_t>((entry & 0xFF0000u) / 65536);
          g[x] = static_cast<uint8_t>((entry & 0xFF00u) / 256);
          b[x] = static_cast<uint8_t>(entry & 0xFFu);
        }
        break;
      default:
        break;
    }
  }
}

int BmpReader::LoadBmpToPlanes(const std::string& fileName, Plane& red, Plane& green, Plane& blue, Plane& alpha,
                               CaptionSink& caption) {
  const int32_t fw = red.width();
  const int32_t fh = red.height();
  for (const Plane* p : {&green, &blue, &alpha})
    if (p->width() != fw || p->height() != fh)
      Fail(ErrorKind::Software, "the four planes a picture is loaded into differ in size");

  const int status = ReadBmpHeader(fileName);
  if (status != kBmpLoaded) {
    caption.SetCaption(BmpStatusMessage(status));
    return status;
  }

  Plane source[4];
  DecodeToPlanes(source[0], source[1], source[2], source[3]);
  Plane* dest[4] = {&red, &green, &blue, &alpha};
  const int32_t pw = picture_width();
  const int32_t ph = picture_height();

  if (pw == fw && ph == fh) {
    for (int c = 0; c < 4; ++c)
      for (int32_t y = 0; y < fh; ++y) std::memcpy((*dest[c])[y], source[c][y], static_cast<size_t>(fw));
    return kBmpLoaded;
  }

  // Bilinear in single precision. The samples right of the last column and below the last
  // row come from the planes' zero extra column and row, so the edges fade a little.
  const float sx = static_cast<float>(pw) / static_cast<float>(fw);
  const float sy = static_cast<float>(ph) / static_cast<float>(fh);
  std::vector<int32_t> column(static_cast<size_t>(fw));
  std::vector<float> column_fraction(static_cast<size_t>(fw));
  for (int32_t x = 0; x < fw; ++x) {
    const float fx = sx * static_cast<float>(x);
    const int32_t ix = FloorToInt(fx);
    column_fraction[x] = fx - static_cast<float>(ix);
    column[x] = std::min(ix, pw - 1);  // a guard only: sx * x stays below pw
  }
  for (int32_t y = 0; y < fh; ++y) {
    const float fy = sy * static_cast<float>(y);
    const int32_t iy_floor = FloorToInt(fy);
    const float dy = fy - static_cast<float>(iy_floor);
    const int32_t iy = std::min(iy_floor, ph - 1);
    for (int c = 0; c < 4; ++c) {
      const uint8_t* row0 = source[c][iy];
      const uint8_t* row1 = source[c][iy + 1];
      uint8_t* out = (*dest[c])[y];
      for (int32_t x = 0; x < fw; ++x) {
        const int32_t ix = column[x];
        const float dx = column_fraction[x];
        const float a = row0[ix], b = row0[ix + 1], cc = row1[ix], d = row1[ix + 1];
        out[x] = RoundToByteF((cc * (1 - dx) + d * dx) * dy + (a * (1 - dx) + b * dx) * (1 - dy));
      }
    }
  }
  return kBmpLoaded;
}

void WriteBmp32(const std::string& path, const Plane& red, const Plane& green, const Plane& blue, const Plane& alpha) {
  const int32_t w = red.width(), h = red.height();
  const uint32_t row_bytes = static_cast<uint32_t>(w) * 4, pixel_bytes = row_bytes * static_cast<uint32_t>(h);
  uint8_t header[54] = {'B', 'M'};
  const auto put32 = [&header](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) header[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  put32(2, 54 + pixel_bytes);
  put32(10, 54);
  put32(14, 40);
  put32(18, static_cast<uint32_t>(w));
  put32(22, static_cast<uint32_t>(h));
  put32(26, 1u | 32u << 16);  // one plane, 32 bits per pixel
  put32(34, pixel_bytes);
  AtomicOutputFile out(path);
  out.Append(header, sizeof header);
  std::vector<uint8_t> row(row_bytes);
  for (int32_t y = h - 1; y >= 0; --y) {
    for (int32_t x = 0; x < w; ++x) {
      row[4 * x] = blue[y][x];
      row[4 * x + 1] = green[y][x];
      row[4 * x + 2] = red[y][x];
      row[4 * x + 3] = alpha[y][x];
    }
    out.Append(row.data(), row.size());
  }
  out.Commit();
}

}  // namespace tessfx
