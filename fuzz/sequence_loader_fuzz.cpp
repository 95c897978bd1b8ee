// Opening an image sequence: the input is cut into up to three files at each "<<NEXT>>" and
// they become frames 1, 2, 3 of a sequence of files without an extension, opened by its
// pattern into an in-memory store, as a document is opened: names resolved, the first file
// probed, every frame read and checked against the first one's size.
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "core/error.h"
#include "host/embedded/document_io.h"
#include "host/embedded/frame_store.h"

namespace {

std::string Folder() {
  char dir[] = "/tmp/tessfx-fuzz-XXXXXX";
  if (::mkdtemp(dir) == nullptr) std::abort();
  return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string folder = Folder();
  constexpr std::string_view kNext = "<<NEXT>>";
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  for (int n = 1; n <= 3; ++n) std::filesystem::remove(folder + "/f." + std::to_string(n));
  size_t start = 0;
  for (int n = 1; n <= 3 && start <= input.size(); ++n) {
    size_t end = n == 3 ? std::string_view::npos : input.find(kNext, start);
    if (end == std::string_view::npos) end = input.size();
    std::ofstream(folder + "/f." + std::to_string(n), std::ios::binary).write(input.data() + start, static_cast<std::streamsize>(end - start));
    start = end + kNext.size();
  }
  tessfx::OpenOptions options;
  options.limits.max_pixels = int64_t{1} << 22;
  options.limits.max_frames = 3;
  try {
    tessfx::DocumentInfo info;
    tessfx::LoadDocument(
        folder + "/f.#", [](int32_t w, int32_t h, int32_t frames) { return std::make_unique<tessfx::MemoryFrameStore>(w, h, frames); },
        info, options);
  } catch (const tessfx::Error&) {
  }
  return 0;
}
