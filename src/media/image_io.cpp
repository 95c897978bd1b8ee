#include "media/image_io.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <OpenImageIO/color.h>
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <cstdio>
#include <span>
#include <string_view>

#include "core/convert.h"
#include "core/error.h"
#include "core/number_ranges.h"
#include "media/bmp.h"
#include "media/file_util.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

#if defined(__SANITIZE_ADDRESS__)
#define TESSFX_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TESSFX_SANITIZED 1
#endif
#endif
#ifdef TESSFX_SANITIZED
#include <sanitizer/common_interface_defs.h>
#else
#define TESSFX_SANITIZED 0
#endif

namespace tessfx {
namespace {

// Spare bytes after the pixels handed to a writer (see ImageFileWriter::Write).
constexpr size_t kWriterSlack = 4096;

namespace fs = std::filesystem;

// Numbers longer than this cannot be frame numbers (and would overflow on parsing).
constexpr size_t kMaxNumberDigits = 12;

std::pair<std::string, std::string> SplitFolder(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return {"", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

bool AllDigits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Everything the library printed to standard error while an instance of this lived, kept
// out of the terminal: some of the libraries it uses print their own line before failing
// (or for harmless warnings), and a message of ours is one line. What was printed is
// folded into the failure it belongs to.
class LibraryOutputCapture {
 public:
  LibraryOutputCapture() {
    std::fflush(stderr);
    capture_ = ::memfd_create("tessfx-library-output", MFD_CLOEXEC);
    saved_ = capture_ >= 0 ? ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3) : -1;
    if (saved_ < 0 || ::dup2(capture_, STDERR_FILENO) < 0) {
      Restore();
      return;
    }
    ReportSanitizerFindingsTo(saved_);  // a sanitizer's report is not the library's chatter
  }
  ~LibraryOutputCapture() { Restore(); }
  LibraryOutputCapture(const LibraryOutputCapture&) = delete;
  LibraryOutputCapture& operator=(const LibraryOutputCapture&) = delete;

  // What was printed so far (at most a few kilobytes).
  std::string Text() const {
    if (capture_ < 0) return {};
    std::fflush(stderr);
    char buffer[4096];
    const ssize_t n = ::pread(capture_, buffer, sizeof buffer, 0);
    return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
  }

 private:
  static void ReportSanitizerFindingsTo([[maybe_unused]] int fd) {
#if TESSFX_SANITIZED
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(fd)));
#endif
  }

  void Restore() {
    if (saved_ >= 0) {
      std::fflush(stderr);
      ReportSanitizerFindingsTo(STDERR_FILENO);
      ::dup2(saved_, STDERR_FILENO);
      ::close(saved_);
      saved_ = -1;
    }
    if (capture_ >= 0) {
      ::close(capture_);
      capture_ = -1;
    }
  }
  int capture_ = -1;
  int saved_ = -1;
};

// The library's reasons as one text: the reader's message (or the library-wide one) and
// what its libraries printed, with the descriptor path it was given replaced by the file's
// name. OneLineMessage later folds line breaks.
std::string Reason(std::string specific, const std::string& printed = "", const std::string& given = "",
                   const std::string& path = "") {
  std::string e = specific.empty() ? OIIO::geterror() : std::move(specific);
  std::string_view said = printed;
  while (!said.empty() && (said.back() == '\n' || said.back() == ' ')) said.remove_suffix(1);
  if (!said.empty()) e = std::string(said) + (e.empty() ? "" : "\n" + e);
  if (!given.empty())
    for (size_t at = 0; (at = e.find(given, at)) != std::string::npos; at += path.size()) e.replace(at, given.size(), path);
  while (!e.empty() && (e.back() == '\n' || e.back() == ' ')) e.pop_back();
  if (e.empty()) return "the reader gave no reason";
  for (size_t at; (at = e.find('\n')) != std::string::npos;) e.replace(at, 1, "; ");
  return e;
}

// A unique temporary name beside `path` that keeps its extension, so that whatever looks
// at the name to choose a format sees the right one. The file is created empty to claim it.
std::string ClaimTempName(const std::string& path) {
  const fs::path p(path);
  const std::string folder = p.parent_path().string();
  for (int attempt = 0; attempt < 16; ++attempt) {
    const std::string name = TemporaryNameFor(p.filename().string());
    const std::string temp = folder.empty() ? name : JoinPath(folder, name);
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd >= 0) {
      try {
        KeepModeOf(path, fd);  // the writer reopens it, keeping the mode
      } catch (...) {
        ::close(fd);
        ::unlink(temp.c_str());
        throw;
      }
      ::close(fd);
      return temp;
    }
    if (errno != EEXIST) break;
  }
  Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + std::strerror(errno));
}

// The library's writers hand their bytes to this proxy, which writes them to our own
// descriptor and checks every write. Several writers ignore a short write of their stream
// (a full disk then leaves a cut file and "success"), and the JPEG library ends the process
// on one; so a failure is recorded here, the writer is told all went well, and the caller
// checks failed() once the writer has closed.
class CheckedFileProxy final : public OIIO::Filesystem::IOProxy {
 public:
  CheckedFileProxy(const std::string& path, int fd) : IOProxy(path, Write), fd_(fd) {}
  const char* proxytype() const override { return "tessfx-file"; }
  void close() override {}  // the descriptor is ours: synced and closed by the caller
  bool opened() const override { return fd_ >= 0; }
  size_t write(const void* buf, size_t size) override {
    const size_t n = pwrite(buf, size, m_pos);
    m_pos += static_cast<int64_t>(n);
    return n;
  }
  size_t pwrite(const void* buf, size_t size, int64_t offset) override {
    const auto* p = static_cast<const char*>(buf);
    if (error_ == 0) error_ = InjectedWriteFault(filename());
    for (size_t done = 0; done < size && error_ == 0;) {
      const ssize_t n = ::pwrite(fd_, p + done, size - done, offset + static_cast<int64_t>(done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) error_ = n < 0 ? errno : ENOSPC;
      else done += static_cast<size_t>(n);
    }
    if (error_ == 0) end_ = std::max(end_, offset + static_cast<int64_t>(size));
    return size;
  }
  size_t read(void* buf, size_t size) override {
    const size_t n = pread(buf, size, m_pos);
    m_pos += static_cast<int64_t>(n);
    return n;
  }
  size_t pread(void* buf, size_t size, int64_t offset) override {
    const ssize_t n = ::pread(fd_, buf, size, offset);
    return n > 0 ? static_cast<size_t>(n) : 0;
  }
  size_t size() const override { return static_cast<size_t>(end_); }
  int failure() const { return error_; }  // errno of the first failed write, or 0

 private:
  int fd_;
  int64_t end_ = 0;
  int error_ = 0;
};

void SyncFile(const std::string& temp, const std::string& path) {
  const int fd = ::open(temp.c_str(), O_RDONLY | O_CLOEXEC);
  const int fault = InjectedCloseFault(path);
  const bool ok = fd >= 0 && fault == 0 && ::fsync(fd) == 0;
  if (fault != 0) errno = fault;
  if (fd >= 0) ::close(fd);
  if (!ok) Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(errno));
}

// Reads a file just written by name back whole: a write the writer cut short without saying
// so (a full disk) shows here, before the file replaces anything.
void VerifyReadsBack(const std::string& temp, const std::string& path, int32_t w, int32_t h) {
  auto in = OIIO::ImageInput::open(temp);
  const OIIO::ImageSpec layout = in ? in->spec_dimensions(0) : OIIO::ImageSpec();
  bool ok = in && layout.width == w && layout.height == h;
  if (ok) {
    std::vector<uint8_t> pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(layout.nchannels));
    ok = in->read_image(0, 0, 0, -1, OIIO::TypeDesc::UINT8, pixels.data()) && !in->has_error();
  }
  if (in) in->close();
  if (!ok) Fail(ErrorKind::IoError, "cannot write " + path + ": the file written does not read back whole (is the disk full?)");
}

// ---- the still-image formats ----

struct StillFormat {
  const char* name;  // the library's format name
  const char* label;  // for messages
  bool by_content;    // recognisable by its contents alone; Targa has no signature
};

constexpr StillFormat kStillFormats[] = {
    {"png", "PNG", true},        {"jpeg", "JPEG", true},  {"tiff", "TIFF", true},   {"openexr", "OpenEXR", true},
    {"bmp", "BMP", true},        {"dpx", "DPX", true},    {"cineon", "Cineon", true}, {"pnm", "PNM", true},
    {"hdr", "HDR", true},        {"webp", "WebP", true},  {"heif", "HEIF/AVIF", true}, {"targa", "Targa", false},
};

// Set once for the process: the library must never fall back to trying every reader it has
// (the format is chosen here), and its own size checks back up ours.
void ConfigureImageLibrary() {
  static const bool configured = [] {
    OIIO::attribute("try_all_readers", 0);
    OIIO::attribute("limits:imagesize_MB", static_cast<int>(kMaxFramePixels * 4 * 4 >> 20));
    OIIO::attribute("limits:channels", 256);
    return true;
  }();
  (void)configured;
}

// The library's own colour management: its configuration (OpenColorIO's, or the library's
// built-in one when none is set up) converts between linear light and sRGB. Made once.
OIIO::ColorConfig& Colours() {
  static OIIO::ColorConfig config;
  // "no configuration file" is no failure: the built-in configuration serves.
  [[maybe_unused]] static const bool cleared = (config.geterror(), true);
  return config;
}

// The conversion between linear light and sRGB, one way or the other.
OIIO::ColorProcessorHandle LinearSrgb(bool to_linear) {
  const char* from = to_linear ? "sRGB" : "linear";
  const char* to = to_linear ? "linear" : "sRGB";
  OIIO::ColorProcessorHandle p = Colours().createColorProcessor(from, to);
  if (!p)
    Fail(ErrorKind::Software, std::string("the image library's colour configuration has no conversion from ") + from +
                                  " to " + to + ": " + Reason(Colours().geterror()));
  return p;
}

// The library's format for a file extension ("tif" -> "tiff"), among the still formats.
std::string FormatForExtension(const std::string& path) {
  std::string ext = LowerExtension(path);
  if (ext.size() < 2) return {};
  ext.erase(0, 1);
  // "tiff:tif,tiff;jpeg:jpg,jpe,jpeg;..."
  const std::string list(OIIO::get_string_attribute("extension_list"));
  for (size_t start = 0; start < list.size();) {
    size_t end = list.find(';', start);
    if (end == std::string::npos) end = list.size();
    const std::string entry = list.substr(start, end - start);
    start = end + 1;
    const size_t colon = entry.find(':');
    if (colon == std::string::npos) continue;
    const std::string format = entry.substr(0, colon);
    const std::string exts = "," + entry.substr(colon + 1) + ",";
    if (exts.find("," + ext + ",") == std::string::npos) continue;
    for (const StillFormat& f : kStillFormats)
      if (format == f.name) return format;
  }
  return {};
}

// "OpenEXR" for "openexr"; formats outside the still ones by their name in capitals ("GIF").
std::string FormatLabel(std::string_view format) {
  for (const StillFormat& f : kStillFormats)
    if (format == f.name) return f.label;
  std::string label(format);
  for (char& c : label) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return label;
}

std::string FormatLabels() {
  std::string text;
  for (const std::string& name : StillImageFormats()) text += (text.empty() ? "" : ", ") + FormatLabel(name);
  return text;
}

// OpenEXR headers are lists of attributes (name, type, byte count, value). The library that
// parses them allocates at the sizes they declare before reading: an attribute's value, a
// preview, the offset table of the tiles or chunks, buffers for the data window. It also
// reads the known types at their own sizes, whatever the byte count says, and a value that
// disagrees makes it read on into the next attribute, where any size may stand. So every
// attribute is checked here before the library sees the file: byte counts within the file,
// known types at their sizes, channel lists and previews whole, windows and tiles within the
// limits, and no more tiles or chunks than the file has room to list.

// Size of the value of each fixed-size attribute type.
int64_t ExrFixedSize(const std::string& type) {
  static const std::pair<const char*, int64_t> kSizes[] = {
      {"box2i", 16}, {"box2f", 16}, {"chromaticities", 32}, {"compression", 1}, {"deepImageState", 1},
      {"double", 8}, {"envmap", 1},  {"float", 4},           {"int", 4},          {"keycode", 28},
      {"lineOrder", 1}, {"m33f", 36}, {"m33d", 72},          {"m44f", 64},        {"m44d", 128},
      {"rational", 8}, {"tiledesc", 9}, {"timecode", 8},      {"v2i", 8},          {"v2f", 8},
      {"v2d", 16},     {"v3i", 12},   {"v3f", 12},           {"v3d", 24},
  };
  for (const auto& [name, size] : kSizes)
    if (type == name) return size;
  return -1;
}

int32_t ExrWord(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24);
}

// True when `list` is a well-formed channel list: entries of a name and 16 bytes (pixel
// type 0..2, linear flag, 3 reserved bytes, x and y sampling of at least 1), ended by an
// empty name on its last byte.
bool ExrChannelListFits(const std::vector<uint8_t>& list) {
  size_t i = 0;
  while (i < list.size() && list[i] != 0) {
    i = static_cast<size_t>(std::find(list.begin() + static_cast<ptrdiff_t>(i), list.end(), 0) - list.begin()) + 1;
    if (i + 16 > list.size()) return false;
    const int32_t type = ExrWord(&list[i]), x = ExrWord(&list[i + 8]), y = ExrWord(&list[i + 12]);
    if (type < 0 || type > 2 || x < 1 || y < 1) return false;
    i += 16;
  }
  return i + 1 == list.size();
}

// DPX headers state the sizes of the parts that follow them, and the image library sizes its
// buffers by them (user data of up to 4 GB, for one): a part larger than the file, or an
// image beyond the limits, is refused before the library sees the header.
std::string DpxHeaderRefusal(const InputFile& file, const InputLimits& limits) {
  constexpr int64_t kHeaderBytes = 2048;  // file, image, orientation, film and television headers
  uint8_t header[780];
  if (file.ReadAt(0, header, sizeof header) != sizeof header) return "the DPX header is cut short";
  const bool big_endian = header[0] == 'S';  // "SDPX"; "XPDS" is the little-endian form
  const auto word = [&](size_t at) -> int64_t {
    const uint8_t* p = header + at;
    return big_endian ? int64_t{p[0]} << 24 | int64_t{p[1]} << 16 | int64_t{p[2]} << 8 | int64_t{p[3]}
                      : int64_t{p[3]} << 24 | int64_t{p[2]} << 16 | int64_t{p[1]} << 8 | int64_t{p[0]};
  };
  const int64_t file_bytes = file.Size();
  const int64_t image_offset = word(4), user_bytes = word(32);
  if (image_offset > file_bytes) return "the DPX header places the image beyond the end of the file";
  if (user_bytes != 0xFFFFFFFF && user_bytes > file_bytes - kHeaderBytes)
    return "the DPX header declares " + std::to_string(user_bytes) + " bytes of user data, more than the file holds";
  const int64_t width = word(772), height = word(776);
  if (width > 0 && height > 0 && width > limits.max_pixels / height)
    return "the DPX image is " + std::to_string(width) + "x" + std::to_string(height) + ", beyond the size allowed";
  return {};
}

std::string ExrHeaderRefusal(const InputFile& file, const InputLimits& limits) {
  constexpr int64_t kMostAttributes = 1 << 16;  // real files have dozens
  constexpr int64_t kLongestList = 1 << 20;     // 256 channels of the longest names take 70 KB
  const int64_t file_bytes = file.Size();
  uint8_t word[4];
  if (file.ReadAt(4, word, 4) != 4) return "the OpenEXR header is cut short";
  const auto flags = static_cast<uint32_t>(ExrWord(word));
  const bool multipart = (flags & 0x1000) != 0;
  const size_t longest = (flags & 0x400) != 0 ? 255 : 31;
  int64_t position = 8;
  // A name or type: bytes up to a zero byte, at most `longest` of them.
  const auto read_text = [&](std::string& text) {
    char buffer[256];
    const size_t got = file.ReadAt(position, buffer, std::min(longest + 1, sizeof buffer));
    const size_t end = static_cast<size_t>(std::find(buffer, buffer + got, '\0') - buffer);
    if (end == got) return false;
    text.assign(buffer, end);
    position += static_cast<int64_t>(end) + 1;
    return true;
  };
  int64_t attributes = 0;
  for (std::string name, type;;) {
    int64_t in_header = 0, width = 0, height = 0, tile_width = 0, tile_height = 0;
    while (true) {
      if (!read_text(name)) return "an OpenEXR attribute name is cut short or too long";
      if (name.empty()) break;
      const std::string what = "OpenEXR attribute " + QuoteName(name);
      if (!read_text(type) || type.empty()) return what + " has no type";
      if (file.ReadAt(position, word, 4) != 4) return "the OpenEXR header is cut short";
      const int64_t bytes = ExrWord(word);
      position += 4;
      if (bytes < 0 || bytes > file_bytes - position)
        return what + " declares " + std::to_string(bytes) + " bytes in a file of " + std::to_string(file_bytes);
      const int64_t fixed = ExrFixedSize(type);
      if (fixed >= 0 && bytes != fixed) return what + " of type " + type + " has " + std::to_string(bytes) + " bytes";
      std::vector<uint8_t> v(static_cast<size_t>(std::min(bytes, type == "chlist" ? kLongestList : int64_t{128})));
      if (file.ReadAt(position, v.data(), v.size()) != v.size()) return "the OpenEXR header is cut short";
      if (type == "chlist" && (bytes > kLongestList || !ExrChannelListFits(v))) return what + " is a damaged channel list";
      if (type == "preview") {
        const int64_t w = bytes < 8 ? -1 : static_cast<uint32_t>(ExrWord(&v[0])), h = bytes < 8 ? -1 : static_cast<uint32_t>(ExrWord(&v[4]));
        if (w < 0 || w > 65535 || h > 65535 || w * h * 4 != bytes - 8) return what + " is a damaged preview";
      }
      if (name == "dataWindow" && type == "box2i") {
        width = int64_t{ExrWord(&v[8])} - ExrWord(&v[0]) + 1;
        height = int64_t{ExrWord(&v[12])} - ExrWord(&v[4]) + 1;
      }
      if ((name == "dataWindow" || name == "displayWindow") && type == "box2i") {
        const int64_t w = int64_t{ExrWord(&v[8])} - ExrWord(&v[0]) + 1, h = int64_t{ExrWord(&v[12])} - ExrWord(&v[4]) + 1;
        if (std::string why = limits.SizeRefusal(w, h); !why.empty()) return "OpenEXR " + name + ": " + why;
      }
      if (name == "tiles" && type == "tiledesc") {
        tile_width = static_cast<uint32_t>(ExrWord(&v[0]));
        tile_height = static_cast<uint32_t>(ExrWord(&v[4]));
        if (std::string why = limits.SizeRefusal(tile_width, tile_height); !why.empty()) return "OpenEXR tiles: " + why;
      }
      if (name == "chunkCount" && type == "int" && (ExrWord(&v[0]) < 0 || ExrWord(&v[0]) > file_bytes / 8))
        return "OpenEXR chunk count " + std::to_string(ExrWord(&v[0])) + " in a file of " + std::to_string(file_bytes) +
               " bytes";
      position += bytes;
      ++in_header;
      if (++attributes > kMostAttributes) return "more OpenEXR attributes than any picture has";
    }
    // Each tile's place is listed in the file: eight bytes apiece.
    if (tile_width > 0 && tile_height > 0 && width > 0 && height > 0 &&
        (width + tile_width - 1) / tile_width * ((height + tile_height - 1) / tile_height) > file_bytes / 8)
      return "OpenEXR tiles of " + std::to_string(tile_width) + "x" + std::to_string(tile_height) + " for " +
             std::to_string(width) + "x" + std::to_string(height) + " pixels in a file of " + std::to_string(file_bytes) +
             " bytes";
    if (!multipart || in_header == 0) return "";
  }
}

// An image file opened for reading: the file held open (a regular file, checked), and the
// chosen still-image reader reading it through the descriptor, so the file read is the file
// checked.
struct OpenedImage {
  InputFile file;
  std::string given;  // the name the reader was given: the descriptor under /proc
  std::unique_ptr<OIIO::ImageInput> in;
};

// `limits` are those the picture is checked against before the library reads a byte of it,
// where a format allows: a BMP's header is read here first.
OpenedImage OpenStillImage(const std::string& path, const InputLimits& limits) {
  ConfigureImageLibrary();
  OpenedImage opened{InputFile(path), {}, nullptr};
  opened.given = "/proc/self/fd/" + std::to_string(opened.file.fd());
  // Headers whose declared sizes the library would trust are checked here first.
  uint8_t magic[4] = {};
  const size_t got = opened.file.ReadAt(0, magic, 4);
  std::string why;
  if (got >= 2 && magic[0] == 'B' && magic[1] == 'M') why = BmpRefusalForImageLibrary(opened.file, limits);
  if (got == 4 && magic[0] == 0x76 && magic[1] == 0x2F && magic[2] == 0x31 && magic[3] == 0x01)
    why = ExrHeaderRefusal(opened.file, limits);
  if (got == 4 && (std::memcmp(magic, "SDPX", 4) == 0 || std::memcmp(magic, "XPDS", 4) == 0))
    why = DpxHeaderRefusal(opened.file, limits);
  if (!why.empty()) Fail(ErrorKind::BadData, path + ": not a readable image (" + why + ")");

  // The extension's format first, then every format that has a signature.
  std::vector<std::string> candidates;
  if (std::string hint = FormatForExtension(path); !hint.empty()) candidates.push_back(hint);
  for (const StillFormat& f : kStillFormats)
    if (f.by_content && (candidates.empty() || candidates.front() != f.name)) candidates.push_back(f.name);

  LibraryOutputCapture capture;
  for (const std::string& format : candidates) {
    auto reader = OIIO::ImageInput::create(format);
    if (!reader) {
      OIIO::geterror();  // this build of the library has no such reader
      continue;
    }
    if (!reader->valid_file(opened.given)) {
      reader->geterror();
      OIIO::geterror();
      continue;
    }
    // Alpha is a selection here, not a coverage to premultiply by: colour is read as stored.
    OIIO::ImageSpec config, header;
    config.attribute("oiio:UnassociatedAlpha", 1);
    if (!reader->open(opened.given, header, config))
      Fail(ErrorKind::BadData, path + ": not a readable image (" +
                                   Reason(reader->geterror(), capture.Text(), opened.given, path) + ")");
    opened.in = std::move(reader);
    return opened;
  }
  Fail(ErrorKind::BadData, path + ": not a readable image (not " + FormatLabels() + ")");
}

// The frame geometry of an opened file, validated before any pixel buffer exists.
struct Layout {
  ImageInfo info;
  int32_t alpha = -1;               // channel index of alpha, or -1
  std::array<int32_t, 3> colour{};  // channel indices feeding R, G, B
  int32_t channels_read = 0;        // channels 0..channels_read-1 hold all of them
  OIIO::ColorProcessorHandle to_srgb;  // set for samples of linear light
};

// Only the geometry and sample types are needed: the light copy leaves names and metadata out.
Layout CheckLayout(const std::string& path, OIIO::ImageInput& in, const InputLimits& limits) {
  const OIIO::ImageSpec layout = in.spec_dimensions(0);
  if (layout.deep) Fail(ErrorKind::BadData, path + ": deep images are not supported");
  if (layout.depth > 1) Fail(ErrorKind::BadData, path + ": volume images are not supported");
  if (layout.nchannels < 1) Fail(ErrorKind::BadData, path + ": the image has no channels");
  const int64_t w = layout.full_width > 0 ? layout.full_width : layout.width;
  const int64_t h = layout.full_height > 0 ? layout.full_height : layout.height;
  limits.CheckSize(path, w, h);
  // The stored pixels (the data window) are decoded too, so they are held to the limits as well.
  if (std::string why = limits.SizeRefusal(layout.width, layout.height); !why.empty())
    Fail(ErrorKind::BadData, path + ": the stored pixels' " + why);
  Layout l;
  l.info.width = static_cast<int32_t>(w);
  l.info.height = static_cast<int32_t>(h);
  l.info.channels = layout.nchannels;
  l.info.format = in.format_name();
  if (layout.alpha_channel >= 0 && layout.alpha_channel < layout.nchannels && layout.nchannels > 1) l.alpha = layout.alpha_channel;
  l.info.has_alpha = l.alpha >= 0;
  std::vector<int32_t> colour;
  for (int32_t c = 0; c < layout.nchannels && colour.size() < 3; ++c)
    if (c != l.alpha) colour.push_back(c);
  if (colour.size() >= 3)
    l.colour = {colour[0], colour[1], colour[2]};
  else
    l.colour = {colour[0], colour[0], colour[0]};  // grey
  l.channels_read = std::max({l.colour[0], l.colour[1], l.colour[2], l.alpha}) + 1;
  // Frames are sRGB: linear light (OpenEXR, Radiance HDR, a PNG of gamma 1) is converted by
  // the library's colour management before it is quantised.
  l.info.colour_space = in.spec().get_string_attribute("oiio:ColorSpace");
  if (IsLinearColourSpace(l.info.colour_space)) l.to_srgb = LinearSrgb(false);
  return l;
}

inline uint8_t FloatSample(float v) {
  // Clamped to 0..1 first; NaN falls through both comparisons and becomes 0 in RoundToByte.
  const double c = v < 0.0f ? 0.0 : (v > 1.0f ? 1.0 : static_cast<double>(v));
  return RoundToByte(c * 255.0);
}

// Reads the picture row by row in display-window order: `row(y, rgba)` receives rows 0..h-1
// of the picture, each four channel rows of w samples. Pixels outside the data window are
// black, transparent when the file has alpha. Reads in bands of rows that keep the buffer a
// few megabytes for any width, and only the channels that are used.
template <typename RowFn>
void ReadRows(const std::string& path, OpenedImage& image, const Layout& l, RowFn&& row) {
  OIIO::ImageInput& in = *image.in;
  const OIIO::ImageSpec layout = in.spec_dimensions(0);
  const int32_t w = l.info.width, h = l.info.height;
  const int32_t nch = l.channels_read;
  const bool bytes = layout.format == OIIO::TypeDesc::UINT8 && layout.channelformats.empty() && !l.to_srgb;
  const size_t sample = bytes ? 1 : sizeof(float);
  const int64_t row_bytes = int64_t{layout.width} * nch * static_cast<int64_t>(sample);
  int32_t band = static_cast<int32_t>(std::clamp<int64_t>((int64_t{8} << 20) / row_bytes, 1, layout.height));
  if (layout.tile_height > 0) band = std::max(layout.tile_height, band - band % layout.tile_height);
  std::vector<uint8_t> buffer(static_cast<size_t>(row_bytes) * static_cast<size_t>(band));
  std::array<std::vector<uint8_t>, 4> out;
  for (auto& o : out) o.resize(static_cast<size_t>(w));
  std::array<uint8_t*, 4> rgba{out[0].data(), out[1].data(), out[2].data(), out[3].data()};
  std::vector<float> srgb(l.to_srgb ? 3 * static_cast<size_t>(w) : 0);  // a row's colour, converted
  const uint8_t outside_alpha = l.info.has_alpha ? 0 : 255;
  auto blank_row = [&](int32_t y) {
    for (int c = 0; c < 3; ++c) std::fill(out[c].begin(), out[c].end(), 0);
    std::fill(out[3].begin(), out[3].end(), outside_alpha);
    row(y, rgba);
  };

  LibraryOutputCapture capture;
  in.geterror();  // whatever the header left behind is not about the pixels
  const int32_t fx = layout.full_width > 0 ? layout.full_x : layout.x, fy = layout.full_height > 0 ? layout.full_y : layout.y;
  const int32_t x0 = std::max(layout.x, fx), x1 = std::min(layout.x + layout.width, fx + w);
  // Rows of the data window that show; the rest of the picture is blank.
  const int32_t y_first = std::max(layout.y, fy), y_end = std::min(layout.y + layout.height, fy + h);
  int32_t next = 0;  // next picture row to hand over
  for (int32_t y = layout.y; y < layout.y + layout.height && y < y_end; y += band) {
    const int32_t yend = std::min(y + band, layout.y + layout.height);
    if (yend <= y_first) continue;
    const OIIO::TypeDesc type = bytes ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT;
    // Tiled files are read by whole rows of tiles (bands are tile-aligned); scanline reads
    // of tiled files are not supported by every reader.
    const bool read = layout.tile_width > 0
                          ? in.read_tiles(0, 0, layout.x, layout.x + layout.width, y, yend, layout.z, layout.z + 1, 0, nch,
                                          type, buffer.data())
                          : in.read_scanlines(0, 0, y, yend, layout.z, 0, nch, type, buffer.data());
    // Some readers fill in what is missing from a cut-short file and only record the error.
    const std::string recorded = in.geterror();
    if (!read || !recorded.empty())
      Fail(ErrorKind::BadData, path + ": cannot read the image (" +
                                   Reason(recorded, capture.Text(), image.given, path) + ")");
    for (int32_t yy = std::max(y, y_first); yy < std::min(yend, y_end); ++yy) {
      const int32_t picture_row = yy - fy;
      while (next < picture_row) blank_row(next++);
      for (int c = 0; c < 3; ++c) std::fill(out[c].begin(), out[c].end(), 0);
      std::fill(out[3].begin(), out[3].end(), outside_alpha);
      const uint8_t* src = buffer.data() + static_cast<size_t>(yy - y) * static_cast<size_t>(row_bytes);
      if (l.to_srgb && x1 > x0) {
        for (int32_t xx = x0; xx < x1; ++xx) {
          const float* s = reinterpret_cast<const float*>(src) + static_cast<size_t>(xx - layout.x) * static_cast<size_t>(nch);
          for (size_t c = 0; c < 3; ++c) srgb[static_cast<size_t>(xx - x0) * 3 + c] = s[l.colour[c]];
        }
        constexpr auto kF = static_cast<OIIO::stride_t>(sizeof(float));
        l.to_srgb->apply(srgb.data(), x1 - x0, 1, 3, kF, 3 * kF, (x1 - x0) * 3 * kF);
      }
      for (int32_t xx = x0; xx < x1; ++xx) {
        const size_t px = static_cast<size_t>(xx - layout.x) * static_cast<size_t>(nch);
        const size_t col = static_cast<size_t>(xx - fx);
        if (bytes) {
          const uint8_t* s = src + px;
          out[0][col] = s[l.colour[0]];
          out[1][col] = s[l.colour[1]];
          out[2][col] = s[l.colour[2]];
          out[3][col] = l.alpha >= 0 ? s[l.alpha] : 255;
        } else {
          const float* s = reinterpret_cast<const float*>(src) + px;
          if (l.to_srgb) {
            const float* converted = srgb.data() + static_cast<size_t>(xx - x0) * 3;
            for (size_t c = 0; c < 3; ++c) out[c][col] = FloatSample(converted[c]);
          } else {
            for (size_t c = 0; c < 3; ++c) out[c][col] = FloatSample(s[l.colour[c]]);
          }
          out[3][col] = l.alpha >= 0 ? FloatSample(s[l.alpha]) : 255;
        }
      }
      row(next++, rgba);
    }
  }
  while (next < h) blank_row(next++);
}

// Frame rows of a picture that arrives a row at a time, resampled as ResampleTsaPlane does
// a plane whose last row and column repeat: frame row y needs picture rows iy and iy + 1,
// so two rows per channel are all that is kept.
class StreamingResampler {
 public:
  StreamingResampler(int32_t w, int32_t h, std::array<Plane*, 3> dest)
      : scale_(w, h, dest[0]->width(), dest[0]->height()), dest_(dest) {
    for (auto& r : rows_) r.assign(2 * static_cast<size_t>(w + 1), 0);
  }

  // Picture row `y` (0, 1, ... in order), w samples per channel.
  void Push(int32_t y, const std::array<uint8_t*, 4>& rgba) {
    const int32_t w = scale_.width;
    for (int c = 0; c < 3; ++c) {
      uint8_t* slot = Slot(c, y);
      std::memcpy(slot, rgba[static_cast<size_t>(c)], static_cast<size_t>(w));
      slot[w] = slot[w - 1];  // the repeated last column
    }
    if (y > 0) Emit(y - 1);
    if (y == scale_.height - 1) Emit(y);  // the repeated last row: row h is row h - 1
  }

 private:
  uint8_t* Slot(int c, int32_t y) { return rows_[static_cast<size_t>(c)].data() + (y & 1) * (scale_.width + 1); }

  // Frame rows whose upper source row is `iy`.
  void Emit(int32_t iy) {
    while (next_ < scale_.frame_height) {
      float dy = 0;
      if (scale_.SourceRow(next_, dy) != iy) return;
      const int32_t below = std::min(iy + 1, scale_.height - 1);
      for (int c = 0; c < 3; ++c) scale_.Row(Slot(c, iy), Slot(c, below), dy, (*dest_[static_cast<size_t>(c)])[next_]);
      ++next_;
    }
  }

  ResampleScale scale_;
  std::array<Plane*, 3> dest_;
  std::array<std::vector<uint8_t>, 3> rows_;
  int32_t next_ = 0;
};

}  // namespace

// ---- sequence names ----

std::string SequencePattern::FileName(int64_t number) const {
  std::string digits = std::to_string(number);
  if (static_cast<int32_t>(digits.size()) < this->digits)
    digits.insert(0, static_cast<size_t>(this->digits) - digits.size(), '0');
  return prefix + digits + suffix;
}

std::optional<int64_t> SequencePattern::Match(std::string_view path) const {
  if (path.size() < prefix.size() + suffix.size() + 1) return std::nullopt;
  if (path.substr(0, prefix.size()) != prefix || path.substr(path.size() - suffix.size()) != suffix) return std::nullopt;
  const std::string_view mid = path.substr(prefix.size(), path.size() - prefix.size() - suffix.size());
  if (!AllDigits(mid) || mid.size() > kMaxNumberDigits) return std::nullopt;
  const int64_t n = std::stoll(std::string(mid));
  if (FileName(n) != path) return std::nullopt;  // "0012" is not "%d", "12" is not "%04d"
  return n;
}

std::string SequencePattern::Text() const {
  return prefix + (digits > 1 ? "%0" + std::to_string(digits) + "d" : "%d") + suffix;
}

std::optional<SequencePattern> ParseSequencePattern(const std::string& path) {
  const auto [folder, name] = SplitFolder(path);
  // Placeholders: "%d", "%0Nd" (N of one or two digits) or a run of '#'.
  struct Found {
    size_t at, length;
    int32_t digits;
  };
  std::vector<Found> found;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '#') {
      size_t j = i;
      while (j < name.size() && name[j] == '#') ++j;
      found.push_back({i, j - i, static_cast<int32_t>(j - i)});
      i = j - 1;
    } else if (name[i] == '%') {
      size_t j = i + 1;
      int32_t width = 1;
      if (j < name.size() && name[j] == '0') {
        size_t k = j + 1;
        while (k < name.size() && k - j <= 2 && name[k] >= '0' && name[k] <= '9') ++k;
        if (k == j + 1) continue;  // "%0d" is not a placeholder
        width = std::max(1, std::stoi(name.substr(j + 1, k - j - 1)));
        j = k;
      }
      if (j < name.size() && name[j] == 'd') {
        found.push_back({i, j + 1 - i, width});
        i = j;
      }
    }
  }
  if (found.empty()) return std::nullopt;
  if (found.size() > 1) Fail(ErrorKind::Usage, path + ": more than one frame number placeholder in the file name");
  const Found& f = found.front();
  if (f.digits > static_cast<int32_t>(kMaxNumberDigits))
    Fail(ErrorKind::Usage, path + ": a frame number of more than " + std::to_string(kMaxNumberDigits) + " digits");
  SequencePattern p;
  p.prefix = folder + name.substr(0, f.at);
  p.suffix = name.substr(f.at + f.length);
  p.digits = f.digits;
  return p;
}

std::optional<std::pair<SequencePattern, int64_t>> NumberedFile(const std::string& path) {
  const fs::path p(path);
  const std::string stem = p.stem().string();
  size_t start = stem.size();
  while (start > 0 && stem[start - 1] >= '0' && stem[start - 1] <= '9') --start;
  const size_t ndigits = stem.size() - start;
  if (ndigits == 0 || ndigits > kMaxNumberDigits) return std::nullopt;
  SequencePattern pattern;
  pattern.prefix = path.substr(0, path.size() - p.extension().string().size() - ndigits);
  pattern.suffix = p.extension().string();
  pattern.digits = static_cast<int32_t>(ndigits);
  const int64_t number = std::stoll(stem.substr(start));
  // "f7.png" is file 7 of "f%d.png", but "f007.png" is not file 7 of "f%d.png".
  if (pattern.FileName(number) != path) return std::nullopt;
  return std::pair{pattern, number};
}

SequenceTarget SequenceTargetFor(const std::string& path) {
  if (ParseSequencePattern(path)) return {path, 1};
  // Digits after a separator number frames already ("shot_0010.png"); digits that are part
  // of a word ("take2.png") are part of the name.
  if (const auto numbered = NumberedFile(path); numbered && !numbered->first.prefix.empty() &&
                                                std::string_view("._- ").find(numbered->first.prefix.back()) != std::string_view::npos)
    return {numbered->first.Text(), numbered->second};
  const auto [folder, name] = SplitFolder(path);
  const size_t dot = name.rfind('.');
  const size_t stem_end = dot == std::string::npos || dot == 0 ? name.size() : dot;
  const char last = stem_end > 0 ? name[stem_end - 1] : '.';
  const bool separated = last == '.' || last == '_' || last == '-';
  return {folder + name.substr(0, stem_end) + (separated ? "####" : ".####") + name.substr(stem_end), 1};
}

namespace {

// The numbers of the files in the pattern's folder that match it, ascending.
std::vector<int64_t> MatchingNumbers(const SequencePattern& pattern, const std::string& path) {
  const auto [folder, name_prefix] = SplitFolder(pattern.prefix);
  SequencePattern local = pattern;
  local.prefix = name_prefix;  // matched against bare file names
  std::vector<int64_t> numbers;
  std::error_code ec;
  fs::directory_iterator it(folder.empty() ? fs::path(".") : fs::path(folder), ec);
  for (fs::directory_iterator end; !ec && it != end; it.increment(ec))
    if (auto n = local.Match(it->path().filename().string())) numbers.push_back(*n);
  if (ec)
    Fail(ErrorKind::NoInput, "cannot open " + path + ": folder " + (folder.empty() ? "." : folder) + ": " + ec.message());
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// One file per number from numbers.front() to numbers.back(); missing numbers are gaps that
// name the file before them.
void FillFrames(ImageFiles& result, const SequencePattern& pattern, const std::vector<int64_t>& numbers,
                int32_t max_files, const std::string& what) {
  const int64_t first = numbers.front(), last = numbers.back();
  if (last - first >= max_files)
    Fail(ErrorKind::BadData, what + " has more than " + std::to_string(max_files) + " frames (numbers " +
                                 std::to_string(first) + " to " + std::to_string(last) + "; --max-frames)");
  result.pattern = pattern;
  result.first_number = first;
  size_t next = 0;
  std::string previous;
  for (int64_t n = first; n <= last; ++n) {
    if (next < numbers.size() && numbers[next] == n) {
      previous = pattern.FileName(n);
      ++next;
    } else {
      result.gaps.push_back(n);
    }
    result.files.push_back(previous);
  }
}

}  // namespace

ImageFiles ResolveImageFiles(const std::string& path, int32_t max_files) {
  ImageFiles result;
  // A file of exactly this name is that file, "#" or "%d" in its name or not.
  std::optional<SequencePattern> pattern;
  if (!FileExists(path)) pattern = ParseSequencePattern(path);
  if (pattern) {
    const std::vector<int64_t> numbers = MatchingNumbers(*pattern, path);
    if (numbers.empty()) Fail(ErrorKind::NoInput, "cannot open " + path + ": no file matches the pattern");
    FillFrames(result, *pattern, numbers, max_files, path);
    if (const auto why = NotAnInputFile(result.files.front()))
      Fail(ErrorKind::NoInput, "cannot open " + result.files.front() + ": " + *why);
    return result;
  }
  if (const auto why = NotAnInputFile(path)) Fail(ErrorKind::NoInput, "cannot open " + path + ": " + *why);
  result.files.push_back(path);
  // A stem ending in digits names the first file of a sequence when the next number exists,
  // or, when the number is padded to three digits or more (no word ends that way), when any
  // later number does: a missing second file is then a gap, not the end of the sequence.
  const auto numbered = NumberedFile(path);
  if (!numbered) return result;
  const auto& [next_pattern, first] = *numbered;
  const bool next_exists = FileExists(next_pattern.FileName(first + 1));
  if (!next_exists && next_pattern.digits < 3) return result;
  std::vector<int64_t> numbers = MatchingNumbers(next_pattern, path);
  numbers.erase(numbers.begin(), std::lower_bound(numbers.begin(), numbers.end(), first));
  if (numbers.size() < 2 || numbers.front() != first) return result;
  result.files.clear();
  FillFrames(result, next_pattern, numbers, max_files, next_pattern.Text());
  return result;
}

std::string GapText(const SequencePattern& pattern, const std::vector<int64_t>& gaps) {
  if (gaps.empty()) return {};
  const std::string first = pattern.FileName(gaps.front());
  if (gaps.size() == 1) return first + " is missing";
  return first + " and " + std::to_string(gaps.size() - 1) + " more file" + (gaps.size() == 2 ? " are" : "s are") +
         " missing (" + NumberRangesText(gaps) + ")";
}

// ---- reading ----

std::vector<std::string> StillImageFormats() {
  ConfigureImageLibrary();
  const std::string inputs(OIIO::get_string_attribute("input_format_list"));  // "bmp,cineon,..."
  std::vector<std::string> formats;
  for (const StillFormat& f : kStillFormats) {
    const std::string_view name = f.name;
    for (size_t at = inputs.find(name); at != std::string::npos; at = inputs.find(name, at + 1)) {
      const size_t end = at + name.size();
      if ((at == 0 || inputs[at - 1] == ',') && (end == inputs.size() || inputs[end] == ',')) {
        formats.emplace_back(name);
        break;
      }
    }
  }
  return formats;
}

bool IsReadableImage(const std::string& path) {
  try {
    OpenStillImage(path, InputLimits{});
    return true;
  } catch (const Error&) {
    return false;
  }
}

bool IsLinearColourSpace(const std::string& name) { return !name.empty() && Colours().isColorSpaceLinear(name); }

bool WritesLinear(const std::string& path) {
  const std::string format = FormatForExtension(path);
  return format == "openexr" || format == "hdr";
}

bool IsWritableImagePath(const std::string& path) {
  if (LowerExtension(path).empty()) return false;
  auto out = OIIO::ImageOutput::create(path);
  if (!out) {
    OIIO::geterror();
    return false;
  }
  return true;
}

ImageInfo ProbeImage(const std::string& path, const InputLimits& limits) {
  OpenedImage image = OpenStillImage(path, limits);
  ImageInfo info = CheckLayout(path, *image.in, limits).info;
  const OIIO::ImageSpec& header = image.in->spec();
  info.sample_type = header.channelformats.empty() ? std::string(header.format.c_str()) : "mixed";
  info.bits = header.get_int_attribute("oiio:BitsPerSample", static_cast<int>(header.format.size() * 8));
  return info;
}

namespace {

// `as_colour`: linear light is converted to sRGB; otherwise samples are taken as the data
// they are (a mask's coverage, a relief's heights).
ImageInfo ReadPlanes(const std::string& path, RgbaPlanes& out, const ImageInfo* expect, const InputLimits& limits,
                     bool as_colour) {
  OpenedImage image = OpenStillImage(path, limits);
  Layout l = CheckLayout(path, *image.in, limits);
  if (!as_colour) l.to_srgb = nullptr;
  const int32_t w = l.info.width, h = l.info.height;
  if (expect && (expect->width != w || expect->height != h))
    Fail(ErrorKind::BadData, path + ": frame size " + std::to_string(w) + "x" + std::to_string(h) +
                                 " differs from the first frame's " + std::to_string(expect->width) + "x" +
                                 std::to_string(expect->height));
  for (auto& p : out) p.EnsureSize(w, h);
  ReadRows(path, image, l, [&](int32_t y, const std::array<uint8_t*, 4>& rgba) {
    for (size_t c = 0; c < 4; ++c) std::memcpy(out[c][y], rgba[c], static_cast<size_t>(w));
  });
  for (auto& p : out) ReplicateEdges(p);
  return l.info;
}

}  // namespace

ImageInfo ReadImage(const std::string& path, RgbaPlanes& out, const ImageInfo* expect, const InputLimits& limits) {
  return ReadPlanes(path, out, expect, limits, /*as_colour=*/true);
}

ImageInfo ReadImageScaled(const std::string& path, int32_t frame_width, int32_t frame_height, Plane& r, Plane& g,
                          Plane& b, const InputLimits& limits) {
  const int64_t budget = limits.SwapBudget(frame_width, frame_height);
  InputLimits before_reading = limits;
  before_reading.max_pixels = budget;
  OpenedImage image = OpenStillImage(path, before_reading);
  const Layout l = CheckLayout(path, *image.in, limits);
  const int64_t pixels = int64_t{l.info.width} * l.info.height;
  if (pixels > budget)
    Fail(ErrorKind::BadData, path + ": image size " + std::to_string(l.info.width) + "x" + std::to_string(l.info.height) +
                                 " is too large for a second image of a " + std::to_string(frame_width) + "x" +
                                 std::to_string(frame_height) + " frame (at most " + std::to_string(budget) +
                                 " pixels; scale it down first)");
  for (Plane* p : {&r, &g, &b}) p->EnsureSize(frame_width, frame_height);
  StreamingResampler resampler(l.info.width, l.info.height, {&r, &g, &b});
  ReadRows(path, image, l, [&](int32_t y, const std::array<uint8_t*, 4>& rgba) { resampler.Push(y, rgba); });
  for (Plane* p : {&r, &g, &b}) ReplicateEdges(*p);
  return l.info;
}

Plane ReadGreyImage(const std::string& path, const InputLimits& limits) {
  RgbaPlanes planes;
  const ImageInfo info = ReadPlanes(path, planes, nullptr, limits, /*as_colour=*/false);
  const int32_t colour_channels = info.channels - (info.has_alpha ? 1 : 0);
  if (colour_channels < 3) return std::move(planes[0]);
  Plane grey = Plane::Uninitialized(info.width, info.height);
  for (int32_t y = 0; y <= info.height; ++y)
    for (int32_t x = 0; x <= info.width; ++x)
      grey[y][x] = RoundToByte(0.299 * planes[0][y][x] + 0.587 * planes[1][y][x] + 0.114 * planes[2][y][x]);
  return grey;
}

// ---- writing ----

namespace {

OIIO::TypeDesc StoredType(const std::string& path, SampleType type) {
  switch (type) {
    case SampleType::UInt8: return OIIO::TypeDesc::UINT8;
    case SampleType::UInt16: return OIIO::TypeDesc::UINT16;
    case SampleType::Half: return OIIO::TypeDesc::HALF;
    case SampleType::Float: return OIIO::TypeDesc::FLOAT;
    case SampleType::Default: break;
  }
  // Halves hold every 8-bit sRGB sample, as linear light, closely enough to read back the same
  // byte; .hdr only takes floats.
  const std::string ext = LowerExtension(path);
  return ext == ".exr" ? OIIO::TypeDesc::HALF
         : (ext == ".hdr" || ext == ".rgbe") ? OIIO::TypeDesc::FLOAT
                                             : OIIO::TypeDesc::UINT8;
}

// The compression names each writer of this image library honours. A writer given a name it
// does not know stores its default without a word (TIFF and OpenEXR fall back to zip, Targa
// and IFF to rle), so names outside these lists are refused before anything is written.
struct CompressionName {
  std::string_view name;
  int min_level = 0;  // the range of NAME:LEVEL; 0..0: the name takes no level
  int max_level = 0;
  bool lossy = false;  // --quality means something with it
};
constexpr CompressionName kPngCompressions[] = {{"zip", 0, 9},      {"default", 0, 9}, {"filtered", 0, 9},
                                                {"huffman", 0, 9}, {"rle", 0, 9},     {"fixed", 0, 9}};
constexpr CompressionName kTiffCompressions[] = {{"none"}, {"lzw"}, {"zip", 1, 9}, {"packbits"}, {"jpeg", 1, 100, true}};
constexpr CompressionName kExrCompressions[] = {{"none"}, {"rle"},  {"zip", 1, 9},           {"zips", 1, 9},
                                                {"piz"},  {"pxr24"}, {"b44"},                {"b44a"},
                                                {"dwaa", 1, 1000, true}, {"dwab", 1, 1000, true}};
constexpr CompressionName kRleOrNone[] = {{"none"}, {"rle"}};
constexpr CompressionName kWebpCompressions[] = {{"lossless"}};
// The level of a HEIF codec is its quality.
constexpr CompressionName kHeifCompressions[] = {{"heic", 1, 100, true}, {"avif", 1, 100, true}};

struct WriterChoices {
  std::string_view format;  // the library's format name
  std::span<const CompressionName> compressions;
  bool lossy_by_default;  // --quality means something without --compression
};
constexpr WriterChoices kWriterChoices[] = {
    {"png", kPngCompressions, false},  {"tiff", kTiffCompressions, false}, {"openexr", kExrCompressions, false},
    {"targa", kRleOrNone, false},      {"iff", kRleOrNone, false},         {"webp", kWebpCompressions, true},
    {"heif", kHeifCompressions, true}, {"jpeg", {}, true},
};

const WriterChoices* ChoicesOf(std::string_view format) {
  for (const WriterChoices& w : kWriterChoices)
    if (w.format == format) return &w;
  return nullptr;
}

std::string CompressionNamesText(std::span<const CompressionName> names) {
  std::string text;
  for (const CompressionName& n : names) {
    text += (text.empty() ? "" : ", ") + std::string(n.name);
    if (n.max_level > 0) text += "[:" + std::to_string(n.min_level) + "-" + std::to_string(n.max_level) + "]";
  }
  return text;
}

// Refuses a compression name or level, or a quality, that the writer of `format` would ignore.
void CheckCompressionAndQuality(const std::string& format, const ImageWriteOptions& options) {
  const WriterChoices* choices = ChoicesOf(format);
  const std::string label = FormatLabel(format);
  const CompressionName* chosen = nullptr;
  bool level_given = false;
  if (!options.compression.empty()) {
    const std::string given = "--compression " + options.compression + ": ";
    const bool any_quality = choices && (choices->lossy_by_default || !choices->compressions.empty());
    if (!choices || choices->compressions.empty())
      Fail(ErrorKind::Usage, given + "the " + label + " writer stores images one way only; leave --compression out" +
                                 (any_quality ? " (--quality sets the " + label + " quality)" : ""));
    const std::string_view text = options.compression;
    const size_t colon = text.find(':');
    const std::string_view name = text.substr(0, colon);
    for (const CompressionName& n : choices->compressions)
      if (n.name == name) chosen = &n;
    if (!chosen)
      Fail(ErrorKind::Usage, given + "the " + label + " writer knows " + CompressionNamesText(choices->compressions));
    level_given = colon != std::string_view::npos;
    if (level_given) {
      if (chosen->max_level == 0)
        Fail(ErrorKind::Usage, given + std::string(name) + " takes no level in " + label + " files");
      const std::string_view level_text = text.substr(colon + 1);
      int level = -1;
      const auto parsed = std::from_chars(level_text.data(), level_text.data() + level_text.size(), level);
      if (parsed.ec != std::errc{} || parsed.ptr != level_text.data() + level_text.size() ||
          level < chosen->min_level || level > chosen->max_level)
        Fail(ErrorKind::Usage, given + "the level of " + std::string(name) + " runs from " +
                                   std::to_string(chosen->min_level) + " to " + std::to_string(chosen->max_level));
    }
  }
  if (options.quality <= 0) return;
  const std::string given = "--quality " + std::to_string(options.quality) + ": ";
  if (chosen ? chosen->lossy : choices && choices->lossy_by_default) {
    // The level of a lossy compression is the writer's quality by another name.
    if (level_given)
      Fail(ErrorKind::Usage, given + "--compression " + options.compression + " sets the quality already; give one of them");
    return;
  }
  std::string lossy_names;
  if (choices)
    for (const CompressionName& n : choices->compressions)
      if (n.lossy) lossy_names += (lossy_names.empty() ? "" : " or ") + std::string(n.name);
  if (!lossy_names.empty())
    Fail(ErrorKind::Usage, given + label + " files take a quality with --compression " + lossy_names + " only");
  Fail(ErrorKind::Usage, given + "the " + label + " writer has no quality setting" +
                             (chosen ? " with --compression " + options.compression : "") + "; leave --quality out");
}

void SetWriteAttributes(const std::string& path, OIIO::ImageSpec& layout, const ImageWriteOptions& options) {
  if (options.quality > 0) layout.attribute("CompressionQuality", options.quality);
  // The HEIF writer takes its quality only as the compression's level ("heic:80"); without
  // a name it codes by the extension, .avif as AV1.
  if (options.quality > 0 && ImageFormatFor(path) == "heif") {
    std::string codec = options.compression.empty() ? (LowerExtension(path) == ".avif" ? "avif" : "heic")
                                                    : options.compression;
    layout.attribute("compression", codec + ":" + std::to_string(options.quality));
    return;
  }
  // Renders write many frames: PNG deflates at level 1 unless asked otherwise, several times
  // faster than the writer's 6 for files a little larger.
  if (options.compression.empty() && LowerExtension(path) == ".png") layout.attribute("png:compressionLevel", 1);
  if (options.compression.empty()) return;
  const size_t colon = options.compression.find(':');
  const std::string name = options.compression.substr(0, colon);
  // The PNG writer takes its deflate level apart from the compression name, which there
  // names a deflate strategy: "zip:9" means level 9 of the default strategy.
  if (LowerExtension(path) == ".png") {
    int level = 0;
    const char* digits = options.compression.c_str() + (colon == std::string::npos ? options.compression.size() : colon + 1);
    const char* end = options.compression.c_str() + options.compression.size();
    if (colon != std::string::npos && std::from_chars(digits, end, level).ptr == end)
      layout.attribute("png:compressionLevel", level);
    if (name != "zip") layout.attribute("compression", name);
    return;
  }
  layout.attribute("compression", options.compression);
}

}  // namespace

std::optional<SampleType> ParseSampleType(std::string_view text) {
  for (SampleType t : {SampleType::UInt8, SampleType::UInt16, SampleType::Half, SampleType::Float})
    if (text == SampleTypeName(t)) return t;
  return std::nullopt;
}

SampleType StoredSampleType(const std::string& path, SampleType type) {
  const OIIO::TypeDesc stored = StoredType(path, type);
  return stored == OIIO::TypeDesc::HALF    ? SampleType::Half
         : stored == OIIO::TypeDesc::FLOAT  ? SampleType::Float
         : stored == OIIO::TypeDesc::UINT16 ? SampleType::UInt16
                                            : SampleType::UInt8;
}

std::string ImageFormatFor(const std::string& path) {
  ConfigureImageLibrary();
  return FormatForExtension(path);
}

std::string SampleTypeName(SampleType type) {
  switch (type) {
    case SampleType::UInt8: return "uint8";
    case SampleType::UInt16: return "uint16";
    case SampleType::Half: return "half";
    case SampleType::Float: return "float";
    case SampleType::Default: break;
  }
  return "default";
}

void CheckImageWriteOptions(const std::string& path, const ImageWriteOptions& options, const std::string& scratch_folder) {
  if (options.sample_type == SampleType::Default && options.compression.empty() && options.quality <= 0) return;
  auto out = OIIO::ImageOutput::create(path);
  if (!out) Fail(ErrorKind::Usage, "cannot write " + path + ": no image writer for this file type");
  CheckCompressionAndQuality(out->format_name(), options);
  if (options.sample_type == SampleType::Default) return;
  const std::string probe = ClaimTempName(JoinPath(scratch_folder, "probe" + LowerExtension(path)));
  const OIIO::TypeDesc wanted = StoredType(path, options.sample_type);
  OIIO::ImageSpec layout(1, 1, 3, wanted);
  SetWriteAttributes(path, layout, options);
  bool opened = false;
  OIIO::TypeDesc stored;
  {
    LibraryOutputCapture capture;  // the PNG library complains of the probe closed without pixels
    opened = out->open(probe, layout);
    stored = out->spec().format;
    out->close();
  }
  ::unlink(probe.c_str());
  if (!opened) Fail(ErrorKind::CantCreate, "cannot write " + path + ": " + Reason(out->geterror()));
  if (stored != wanted)
    Fail(ErrorKind::Usage, "cannot write " + path + " with " + SampleTypeName(options.sample_type) + " samples: the " +
                               out->format_name() + " writer would store " + stored.c_str());
}

ImageFileWriter::~ImageFileWriter() {
  if (committed_) return;
  for (const auto& p : pending_) ::unlink(p.temp.c_str());
}

namespace {

// The layout of a frame of w x h written to `path`, with alpha as channel 3 when `alpha`.
OIIO::ImageSpec WriteLayout(const std::string& path, int32_t w, int32_t h, bool alpha, const ImageWriteOptions& options) {
  OIIO::ImageSpec layout(w, h, alpha ? 4 : 3, StoredType(path, options.sample_type));
  SetWriteAttributes(path, layout, options);
  if (alpha) {
    layout.alpha_channel = 3;
    layout.attribute("oiio:UnassociatedAlpha", 1);  // colour is not premultiplied; keep it as it is
  }
  if (WritesLinear(path)) layout.attribute("oiio:ColorSpace", "Linear");
  return layout;
}

constexpr auto kFloatStride = static_cast<OIIO::stride_t>(sizeof(float));

}  // namespace

std::string ImageFileWriter::Claim(const std::string& path) {
  const std::string target = SaveTarget(path);
  pending_.push_back({ClaimTempName(target), target});
  return pending_.back().temp;
}

namespace {

// Writes the picture to `temp`, the temporary file of `path`, checking every step.
void Encode(const std::string& path, const std::string& temp, OIIO::ImageOutput& out, const OIIO::ImageSpec& layout,
            OIIO::TypeDesc type, const void* pixels) {
  const int32_t w = layout.width, h = layout.height;
  LibraryOutputCapture capture;
  // Through our checked descriptor where the writer takes one; otherwise by name, and the
  // file is read back whole afterwards (a writer by name may hide a short write).
  std::optional<Descriptor> fd;
  std::optional<CheckedFileProxy> proxy;
  if (out.supports("ioproxy")) {
    fd.emplace(::open(temp.c_str(), O_RDWR | O_TRUNC | O_NOFOLLOW | O_CLOEXEC));
    if (fd->get() < 0) Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + std::strerror(errno));
    proxy.emplace(temp, fd->get());
    out.set_ioproxy(&*proxy);
  }
  if (!out.open(temp, layout))
    Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + Reason(out.geterror(), capture.Text(), temp, path));
  const bool wrote = out.write_image(type, pixels);
  const bool closed = out.close();
  // The error state is no verdict of its own: the TIFF writer leaves a message about its
  // Exif directory there after writing a whole file. The proxy and the results are.
  if (proxy && proxy->failure() != 0)
    Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(proxy->failure()));
  if (!wrote || !closed)
    Fail(ErrorKind::IoError, "cannot write " + path + ": " + Reason(out.geterror(), capture.Text(), temp, path));
  if (fd) {
    const int fault = InjectedCloseFault(path);
    const bool synced = fault == 0 && ::fsync(fd->get()) == 0;
    if (fault != 0) errno = fault;
    const bool closed_fd = ::close(fd->Release()) == 0;
    if (!synced || !closed_fd) Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(errno));
  } else {
    SyncFile(temp, path);
    VerifyReadsBack(temp, path, w, h);
  }
}

}  // namespace

void ImageFileWriter::Write(const std::string& path, const Plane& r, const Plane& g, const Plane& b, const Plane* a) {
  const int32_t w = r.width(), h = r.height();
  if (!g.SameSize(r) || !b.SameSize(r) || (a && !a->SameSize(r)) || w < 1 || h < 1)
    Fail(ErrorKind::Usage, "cannot write " + path + ": planes of different or empty sizes");
  auto out = OIIO::ImageOutput::create(path);
  if (!out) Fail(ErrorKind::Usage, "cannot write " + path + ": no image writer for this file type");
  const bool alpha = a != nullptr && out->supports("alpha");
  const int32_t nch = alpha ? 4 : 3;
  const OIIO::ImageSpec layout = WriteLayout(path, w, h, alpha, options_);
  const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(nch);

  if (WritesLinear(path)) {
    // Frames are sRGB; a format of linear light gets linear light, converted by the library.
    floats_.resize(n + kWriterSlack / sizeof(float));
    for (int32_t y = 0; y < h; ++y) {
      float* dst = floats_.data() + static_cast<size_t>(y) * static_cast<size_t>(w) * static_cast<size_t>(nch);
      const uint8_t *pr = r[y], *pg = g[y], *pb = b[y], *pa = alpha ? (*a)[y] : nullptr;
      for (int32_t x = 0; x < w; ++x, dst += nch) {
        dst[0] = static_cast<float>(pr[x]) / 255.0f;
        dst[1] = static_cast<float>(pg[x]) / 255.0f;
        dst[2] = static_cast<float>(pb[x]) / 255.0f;
        if (alpha) dst[3] = static_cast<float>(pa[x]) / 255.0f;
      }
    }
    LinearSrgb(true)->apply(floats_.data(), w, h, 3, kFloatStride, nch * kFloatStride, w * nch * kFloatStride);
    Encode(path, Claim(path), *out, layout, OIIO::TypeDesc::FLOAT, floats_.data());
    return;
  }

  // The library's HEIF writer copies whole padded rows of its own, reading past the last row
  // it is given; the slack keeps that read inside the buffer.
  pixels_.resize(n + kWriterSlack);
  for (int32_t y = 0; y < h; ++y) {
    uint8_t* dst = pixels_.data() + static_cast<size_t>(y) * static_cast<size_t>(w) * static_cast<size_t>(nch);
    const uint8_t *pr = r[y], *pg = g[y], *pb = b[y], *pa = alpha ? (*a)[y] : nullptr;
    for (int32_t x = 0; x < w; ++x, dst += nch) {
      dst[0] = pr[x];
      dst[1] = pg[x];
      dst[2] = pb[x];
      if (alpha) dst[3] = pa[x];
    }
  }
  Encode(path, Claim(path), *out, layout, OIIO::TypeDesc::UINT8, pixels_.data());
}

bool ImageFileWriter::CopyFrom(const std::string& path, const std::string& source, int32_t width, int32_t height,
                               bool with_alpha, const InputLimits& limits) {
  OpenedImage image = OpenStillImage(source, limits);
  const Layout l = CheckLayout(source, *image.in, limits);
  const OIIO::ImageSpec stored = image.in->spec_dimensions(0);
  const int32_t w = l.info.width, h = l.info.height;
  // A data window other than the picture is left to the 8-bit path, which places it.
  if (w != width || h != height || stored.width != w || stored.height != h || (stored.full_width > 0 && (stored.x != stored.full_x || stored.y != stored.full_y)))
    return false;
  auto out = OIIO::ImageOutput::create(path);
  if (!out) Fail(ErrorKind::Usage, "cannot write " + path + ": no image writer for this file type");
  const bool alpha = with_alpha && out->supports("alpha");
  const int32_t nch = alpha ? 4 : 3, read = l.channels_read;
  const size_t pixels = static_cast<size_t>(w) * static_cast<size_t>(h);
  std::vector<float> samples(pixels * static_cast<size_t>(read));
  {
    LibraryOutputCapture capture;
    image.in->geterror();
    const bool ok = image.in->read_image(0, 0, 0, read, OIIO::TypeDesc::FLOAT, samples.data());
    const std::string recorded = image.in->geterror();
    if (!ok || !recorded.empty())
      Fail(ErrorKind::BadData, source + ": cannot read the image (" + Reason(recorded, capture.Text(), image.given, source) + ")");
  }
  floats_.resize(pixels * static_cast<size_t>(nch) + kWriterSlack / sizeof(float));
  for (size_t i = 0; i < pixels; ++i) {
    const float* s = samples.data() + i * static_cast<size_t>(read);
    float* d = floats_.data() + i * static_cast<size_t>(nch);
    for (size_t c = 0; c < 3; ++c) d[c] = s[l.colour[c]];
    if (alpha) d[3] = l.alpha >= 0 ? s[l.alpha] : 1.0f;
  }
  samples = {};
  const bool linear_out = WritesLinear(path);
  if (linear_out != (l.to_srgb != nullptr))
    LinearSrgb(linear_out)->apply(floats_.data(), w, h, 3, kFloatStride, nch * kFloatStride, w * nch * kFloatStride);
  Encode(path, Claim(path), *out, WriteLayout(path, w, h, alpha, options_), OIIO::TypeDesc::FLOAT, floats_.data());
  return true;
}

void ImageFileWriter::Commit() {
  for (size_t i = 0; i < pending_.size(); ++i) {
    if (::rename(pending_[i].temp.c_str(), pending_[i].path.c_str()) == 0) continue;
    // The files renamed so far cannot be taken back: the message names them, and the others
    // stay as they were (their temporary files go with this writer).
    std::string why = "cannot replace " + pending_[i].path + ": " + std::strerror(errno);
    if (i == 0) why += "; no file was written";
    else {
      why += "; only " + std::to_string(i) + (i == 1 ? " file was" : " files were") + " written:";
      for (size_t k = 0; k < i; ++k) why += (k ? ", " : " ") + fs::path(pending_[k].path).filename().string();
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(i));
    Fail(ErrorKind::CantCreate, why);
  }
  committed_ = true;
}

}  // namespace tessfx
