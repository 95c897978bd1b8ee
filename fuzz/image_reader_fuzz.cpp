// Pictures as a document, a swap image and a mask reach them: any bytes, recognised by their
// contents (and once more under a Targa name, the one still format without a signature),
// through the still-image allow-list into the image library. Limits are lowered so that a
// run spends its time on formats rather than on large allocations.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "core/error.h"
#include "media/image_io.h"
#include "memory_file.h"

namespace {

// The memory file under a name with an extension, through a link in a folder of its own.
std::string NamedLink(const std::string& target, const std::string& name) {
  char dir[] = "/tmp/tessfx-fuzz-XXXXXX";
  if (::mkdtemp(dir) == nullptr) std::abort();
  const std::string link = std::string(dir) + "/" + name;
  if (::symlink(target.c_str(), link.c_str()) != 0) std::abort();
  return link;
}

void ReadEveryWay(const std::string& path, const tessfx::InputLimits& limits) {
  try {
    tessfx::ProbeImage(path, limits);
    tessfx::RgbaPlanes planes;
    tessfx::ReadImage(path, planes, nullptr, limits);
  } catch (const tessfx::Error&) {
  }
  try {
    tessfx::Plane r, g, b;
    tessfx::ReadImageScaled(path, 7, 5, r, g, b, limits);
  } catch (const tessfx::Error&) {
  }
  try {
    tessfx::ReadGreyImage(path, limits);
  } catch (const tessfx::Error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tessfx::fuzz::MemoryFile file;
  static const std::string targa = NamedLink(file.path(), "picture.tga");
  tessfx::InputLimits limits;
  limits.max_pixels = int64_t{1} << 22;
  file.Set(data, size);
  ReadEveryWay(file.path(), limits);
  ReadEveryWay(targa, limits);
  return 0;
}
