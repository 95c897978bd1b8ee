#include "media/image_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "core/convert.h"
#include "core/error.h"
#include "media/file_util.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

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

// The reader's or writer's own message, else the library-wide one.
// Readers report on several lines; messages here are one line each.
std::string Reason(const std::string& specific) {
  std::string e = specific.empty() ? OIIO::geterror() : specific;
  if (e.empty()) return "unknown error";
  while (!e.empty() && (e.back() == '\n' || e.back() == ' ')) e.pop_back();
  for (size_t at; (at = e.find('\n')) != std::string::npos;) e.replace(at, 1, "; ");
  return e;
}

// A unique temporary name beside `path` that keeps its extension, so that whatever looks
// at the name to choose a format sees the right one. The file is created empty to claim it.
std::string ClaimTempName(const std::string& path) {
  const fs::path p(path);
  const std::string folder = p.parent_path().string();
  const std::string stem = p.stem().string(), ext = p.extension().string();
  std::random_device rd;
  for (int attempt = 0; attempt < 16; ++attempt) {
    const std::string name = stem + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(rd() % 1000000) + ext;
    const std::string temp = folder.empty() ? name : JoinPath(folder, name);
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
      ::close(fd);
      return temp;
    }
    if (errno != EEXIST) break;
  }
  Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + std::strerror(errno));
}

void SyncFile(const std::string& temp, const std::string& path) {
  const int fd = ::open(temp.c_str(), O_RDONLY | O_CLOEXEC);
  const bool ok = fd >= 0 && ::fsync(fd) == 0;
  if (fd >= 0) ::close(fd);
  if (!ok) Fail(ErrorKind::IoError, "cannot write " + path + ": " + std::strerror(errno));
}

// The frame geometry of an opened file, validated before any pixel buffer exists.
struct Layout {
  ImageInfo info;
  int32_t alpha = -1;              // channel index of alpha, or -1
  std::array<int32_t, 3> colour{};  // channel indices feeding R, G, B
};

// Only the geometry and sample types are needed: the light copy leaves names and metadata out.
Layout CheckLayout(const std::string& path, OIIO::ImageInput& in) {
  const OIIO::ImageSpec layout = in.spec_dimensions(0);
  if (layout.deep) Fail(ErrorKind::BadData, path + ": deep images are not supported");
  if (layout.depth > 1) Fail(ErrorKind::BadData, path + ": volume images are not supported");
  if (layout.nchannels < 1) Fail(ErrorKind::BadData, path + ": the image has no channels");
  const int64_t w = layout.full_width > 0 ? layout.full_width : layout.width;
  const int64_t h = layout.full_height > 0 ? layout.full_height : layout.height;
  if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide || layout.width < 1 || layout.height < 1 ||
      layout.width > kMaxSide || layout.height > kMaxSide)
    Fail(ErrorKind::BadData, path + ": image size " + std::to_string(w) + "x" + std::to_string(h) +
                                 " is outside 1.." + std::to_string(kMaxSide) + " per side");
  try {
    PlaneBytes(w, h);
  } catch (const Error& e) {
    Fail(ErrorKind::BadData, path + ": " + e.what());
  }
  Layout l;
  l.info.width = static_cast<int32_t>(w);
  l.info.height = static_cast<int32_t>(h);
  l.info.channels = layout.nchannels;
  l.info.format = in.format_name();
  if (layout.alpha_channel >= 0 && layout.alpha_channel < layout.nchannels && layout.nchannels > 1) l.alpha = layout.alpha_channel;
  l.info.has_alpha = l.alpha >= 0;
  std::vector<int32_t> colour;
  for (int32_t c = 0; c < layout.nchannels; ++c)
    if (c != l.alpha) colour.push_back(c);
  if (colour.size() >= 3)
    l.colour = {colour[0], colour[1], colour[2]};
  else
    l.colour = {colour[0], colour[0], colour[0]};  // grey
  return l;
}

std::unique_ptr<OIIO::ImageInput> OpenInput(const std::string& path) {
  if (!FileExists(path)) {
    std::error_code ec;
    if (fs::is_directory(path, ec)) Fail(ErrorKind::NoInput, "cannot open " + path + ": it is a folder");
    Fail(ErrorKind::NoInput, "cannot open " + path + ": no such file");
  }
  if (::access(path.c_str(), R_OK) != 0) Fail(ErrorKind::NoInput, "cannot open " + path + ": " + std::strerror(errno));
  // Alpha is a selection here, not a coverage to premultiply by: colour is read as stored.
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  auto in = OIIO::ImageInput::open(path, &config);
  if (!in) Fail(ErrorKind::BadData, path + ": not a readable image (" + Reason("") + ")");
  return in;
}

inline uint8_t FloatSample(float v) {
  // Clamped to 0..1 first; NaN falls through both comparisons and becomes 0 in RoundToByte.
  const double c = v < 0.0f ? 0.0 : (v > 1.0f ? 1.0 : static_cast<double>(v));
  return RoundToByte(c * 255.0);
}

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

ImageFiles ResolveImageFiles(const std::string& path, int32_t max_files) {
  ImageFiles result;
  auto too_many = [&](const std::string& what) {
    Fail(ErrorKind::Usage, what + " has more than " + std::to_string(max_files) + " frames");
  };
  if (auto pattern = ParseSequencePattern(path)) {
    const auto [folder, name_prefix] = SplitFolder(pattern->prefix);
    SequencePattern local = *pattern;
    local.prefix = name_prefix;  // matched against bare file names
    std::vector<int64_t> numbers;
    std::error_code ec;
    fs::directory_iterator it(folder.empty() ? fs::path(".") : fs::path(folder), ec);
    if (ec)
      Fail(ErrorKind::NoInput, "cannot open " + path + ": folder " + (folder.empty() ? "." : folder) + ": " + ec.message());
    for (const auto& entry : it) {
      if (auto n = local.Match(entry.path().filename().string())) numbers.push_back(*n);
    }
    if (numbers.empty()) Fail(ErrorKind::NoInput, "cannot open " + path + ": no file matches the pattern");
    std::sort(numbers.begin(), numbers.end());
    result.pattern = *pattern;
    result.first_number = numbers.front();
    for (size_t i = 0; i < numbers.size() && numbers[i] == numbers.front() + static_cast<int64_t>(i); ++i) {
      if (static_cast<int32_t>(i) >= max_files) too_many(path);
      result.files.push_back(pattern->FileName(numbers[i]));
    }
    return result;
  }
  if (!FileExists(path)) {
    std::error_code ec;
    Fail(ErrorKind::NoInput, "cannot open " + path + ": " + (fs::is_directory(path, ec) ? "it is a folder" : "no such file"));
  }
  result.files.push_back(path);
  // A stem ending in digits names the first file of a sequence when the next number exists.
  const auto numbered = NumberedFile(path);
  if (!numbered) return result;
  const auto& [pattern, first] = *numbered;
  if (!FileExists(pattern.FileName(first + 1))) return result;
  result.pattern = pattern;
  result.first_number = first;
  for (int64_t n = first + 1; FileExists(pattern.FileName(n)); ++n) {
    if (static_cast<int32_t>(result.files.size()) >= max_files) too_many(pattern.Text());
    result.files.push_back(pattern.FileName(n));
  }
  return result;
}

// ---- reading ----

bool IsReadableImage(const std::string& path) {
  if (!FileExists(path)) return false;
  auto in = OIIO::ImageInput::open(path);
  if (!in) {
    OIIO::geterror();  // clear the reason, nobody asked for it
    return false;
  }
  return true;
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

ImageInfo ProbeImage(const std::string& path) {
  auto in = OpenInput(path);
  return CheckLayout(path, *in).info;
}

ImageInfo ReadImage(const std::string& path, RgbaPlanes& out, const ImageInfo* expect) {
  auto in = OpenInput(path);
  const Layout l = CheckLayout(path, *in);
  const int32_t w = l.info.width, h = l.info.height;
  if (expect && (expect->width != w || expect->height != h))
    Fail(ErrorKind::BadData, path + ": frame size " + std::to_string(w) + "x" + std::to_string(h) +
                                 " differs from the first frame's " + std::to_string(expect->width) + "x" +
                                 std::to_string(expect->height));
  const OIIO::ImageSpec layout = in->spec_dimensions(0);
  const int32_t nch = layout.nchannels;
  const bool bytes = layout.format == OIIO::TypeDesc::UINT8 && layout.channelformats.empty();
  const size_t sample = bytes ? 1 : sizeof(float);
  // Read in bands of rows so that the buffer stays a few megabytes for any width.
  const int64_t row_bytes = int64_t{layout.width} * nch * static_cast<int64_t>(sample);
  int32_t band = static_cast<int32_t>(std::clamp<int64_t>((int64_t{8} << 20) / row_bytes, 1, layout.height));
  if (layout.tile_height > 0) band = std::max(layout.tile_height, band - band % layout.tile_height);
  std::vector<uint8_t> buffer(static_cast<size_t>(row_bytes) * static_cast<size_t>(band));

  for (auto& p : out) p.EnsureSize(w, h);
  out[0].Fill(0);
  out[1].Fill(0);
  out[2].Fill(0);
  out[3].Fill(l.info.has_alpha ? 0 : 255);  // outside the data window: transparent only if the file has alpha

  in->geterror();  // whatever the header left behind is not about the pixels
  const int32_t fx = layout.full_width > 0 ? layout.full_x : layout.x, fy = layout.full_height > 0 ? layout.full_y : layout.y;
  const int32_t x0 = std::max(layout.x, fx), x1 = std::min(layout.x + layout.width, fx + w);
  for (int32_t y = layout.y; y < layout.y + layout.height; y += band) {
    const int32_t yend = std::min(y + band, layout.y + layout.height);
    const OIIO::TypeDesc type = bytes ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT;
    // Tiled files are read by whole rows of tiles (bands are tile-aligned); scanline reads
    // of tiled files are not supported by every reader.
    const bool read = layout.tile_width > 0
                          ? in->read_tiles(0, 0, layout.x, layout.x + layout.width, y, yend, layout.z, layout.z + 1, 0, nch, type,
                                           buffer.data())
                          : in->read_scanlines(0, 0, y, yend, layout.z, 0, nch, type, buffer.data());
    // Some readers fill in what is missing from a cut-short file and only record the error.
    const std::string recorded = in->geterror();
    if (!read || !recorded.empty())
      Fail(ErrorKind::BadData, path + ": cannot read the image (" + Reason(recorded) + ")");
    for (int32_t yy = std::max(y, fy); yy < std::min(yend, fy + h); ++yy) {
      const int32_t row = yy - fy;
      uint8_t* dst[4] = {out[0][row], out[1][row], out[2][row], out[3][row]};
      const uint8_t* src = buffer.data() + static_cast<size_t>(yy - y) * static_cast<size_t>(row_bytes);
      for (int32_t xx = x0; xx < x1; ++xx) {
        const size_t px = static_cast<size_t>(xx - layout.x) * static_cast<size_t>(nch);
        const int32_t col = xx - fx;
        if (bytes) {
          const uint8_t* s = src + px;
          dst[0][col] = s[l.colour[0]];
          dst[1][col] = s[l.colour[1]];
          dst[2][col] = s[l.colour[2]];
          dst[3][col] = l.alpha >= 0 ? s[l.alpha] : 255;
        } else {
          const float* s = reinterpret_cast<const float*>(src) + px;
          dst[0][col] = FloatSample(s[l.colour[0]]);
          dst[1][col] = FloatSample(s[l.colour[1]]);
          dst[2][col] = FloatSample(s[l.colour[2]]);
          dst[3][col] = l.alpha >= 0 ? FloatSample(s[l.alpha]) : 255;
        }
      }
    }
  }
  for (auto& p : out) ReplicateEdges(p);
  return l.info;
}

Plane ReadGreyImage(const std::string& path) {
  RgbaPlanes planes;
  const ImageInfo info = ReadImage(path, planes);
  const int32_t colour_channels = info.channels - (info.has_alpha ? 1 : 0);
  if (colour_channels < 3) return std::move(planes[0]);
  Plane grey = Plane::Uninitialized(info.width, info.height);
  for (int32_t y = 0; y <= info.height; ++y)
    for (int32_t x = 0; x <= info.width; ++x)
      grey[y][x] = RoundToByte(0.299 * planes[0][y][x] + 0.587 * planes[1][y][x] + 0.114 * planes[2][y][x]);
  return grey;
}

// ---- writing ----

ImageFileWriter::~ImageFileWriter() {
  if (committed_) return;
  for (const auto& p : pending_) ::unlink(p.temp.c_str());
}

void ImageFileWriter::Write(const std::string& path, const Plane& r, const Plane& g, const Plane& b, const Plane* a) {
  const int32_t w = r.width(), h = r.height();
  if (!g.SameSize(r) || !b.SameSize(r) || (a && !a->SameSize(r)) || w < 1 || h < 1)
    Fail(ErrorKind::Usage, "cannot write " + path + ": planes of different or empty sizes");
  auto out = OIIO::ImageOutput::create(path);
  if (!out) Fail(ErrorKind::Usage, "cannot write " + path + ": no image writer for this file type");
  const bool alpha = a != nullptr && out->supports("alpha");
  const int32_t nch = alpha ? 4 : 3;
  const std::string ext = LowerExtension(path);
  // Float formats hold 8-bit samples exactly as halves (v / 255 round-trips); .hdr only takes floats.
  const OIIO::TypeDesc format = ext == ".exr"                     ? OIIO::TypeDesc::HALF
                                : (ext == ".hdr" || ext == ".rgbe") ? OIIO::TypeDesc::FLOAT
                                                                    : OIIO::TypeDesc::UINT8;
  OIIO::ImageSpec layout(w, h, nch, format);
  // Compression chosen for speed, as renders write many frames: deflate level 1 rather than
  // the writer's 6 for PNG, run lengths rather than zlib for OpenEXR (larger files, no
  // deflate at all).
  if (ext == ".png") layout.attribute("png:compressionLevel", 1);
  if (ext == ".exr") layout.attribute("compression", "rle");
  if (alpha) {
    layout.alpha_channel = 3;
    layout.attribute("oiio:UnassociatedAlpha", 1);  // colour is not premultiplied; keep it as it is
  }

  const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(nch);
  pixels_.resize(n);
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

  const std::string temp = ClaimTempName(path);
  pending_.push_back({temp, path});
  if (!out->open(temp, layout))
    Fail(ErrorKind::CantCreate, "cannot create " + path + ": " + Reason(out->geterror()));
  const bool wrote = out->write_image(OIIO::TypeDesc::UINT8, pixels_.data());
  const bool closed = out->close();
  if (!wrote || !closed) Fail(ErrorKind::IoError, "cannot write " + path + ": " + Reason(out->geterror()));
  SyncFile(temp, path);
}

void ImageFileWriter::Commit() {
  for (const auto& p : pending_)
    if (::rename(p.temp.c_str(), p.path.c_str()) != 0)
      Fail(ErrorKind::CantCreate, "cannot replace " + p.path + ": " + std::strerror(errno));
  committed_ = true;
}

}  // namespace tessfx
