#include "media/document_name.h"

#include <algorithm>
#include <filesystem>

#include "media/image_io.h"

namespace tessfx {

std::string DocumentTitleName(const std::string& path) {
  std::optional<SequencePattern> pattern;
  try {
    pattern = ParseSequencePattern(path);
  } catch (const std::exception&) {
    // A name with a malformed placeholder is shown as it is.
  }
  if (!pattern) return std::filesystem::path(path).filename().string();
  const std::string prefix = std::filesystem::path(pattern->prefix + "x").filename().string();
  return prefix.substr(0, prefix.size() - 1) + std::string(static_cast<size_t>(std::max(pattern->digits, 1)), '#') +
         pattern->suffix;
}

}  // namespace tessfx
