// The BMP reader on arbitrary bytes: headers, then loading into a small frame (resampled)
// and, for small pictures, into a frame of the picture's own size (copied).
#include <cstdint>

#include "media/bmp.h"
#include "memory_file.h"

namespace {

struct IgnoredCaption final : tessfx::CaptionSink {
  void SetCaption(const std::string&) override {}
};

void LoadInto(tessfx::BmpReader& reader, const std::string& path, int32_t w, int32_t h) {
  tessfx::Plane r(w, h), g(w, h), b(w, h), a(w, h);
  IgnoredCaption caption;
  reader.LoadBmpToPlanes(path, r, g, b, a, caption);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tessfx::fuzz::MemoryFile file;
  file.Set(data, size);
  tessfx::BmpReader reader;
  if (reader.ReadBmpHeader(file.path()) != tessfx::kBmpLoaded) return 0;
  const int32_t w = reader.picture_width(), h = reader.picture_height();
  LoadInto(reader, file.path(), 7, 5);
  if (int64_t{w} * h <= 1 << 16) LoadInto(reader, file.path(), w, h);
  return 0;
}
