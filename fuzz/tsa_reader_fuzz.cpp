// The .tsa readers on arbitrary bytes: TsaReader reading every plane of the first frames,
// and the external swap source opening the file and loading frames at other sizes.
#include <algorithm>
#include <cstdint>

#include "core/error.h"
#include "media/tsa.h"
#include "memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tessfx::fuzz::MemoryFile file;
  file.Set(data, size);
  using tessfx::Channel;
  try {
    tessfx::TsaReader reader(file.path());
    tessfx::Plane plane;
    for (int32_t f = 0; f < std::min(reader.header().frames, 4); ++f)
      for (Channel c : {Channel::R, Channel::G, Channel::B}) reader.ReadPlane(f, c, plane);
  } catch (const tessfx::Error&) {
  }
  try {
    tessfx::ExternalAnimation source;
    if (source.OpenAnimationFile(file.path(), [](const std::string&) {}) != 0) return 0;
    source.set_active(true);
    const tessfx::TsaHeader& h = source.header();
    tessfx::Plane r, g, b;
    source.LoadAnimationFrame(0, 7, 5, r, g, b);
    source.LoadAnimationFrame(h.frames - 1, h.width, h.height, r, g, b);
    source.LoadAnimationFrame(h.frames, 3, 3, r, g, b);  // past the end: left alone
    source.LoadAnimationFrame(0, 1, 1, r, g, b);
  } catch (const tessfx::Error&) {
  }
  return 0;
}
