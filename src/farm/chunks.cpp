#include "farm/chunks.h"

#include "core/error.h"
#include "core/number_ranges.h"

namespace tessfx::farm {

std::string FrameRangeText(const std::vector<int64_t>& numbers) {
  std::string text;
  auto add = [&](const std::string& part) {
    if (!text.empty()) text += ',';
    text += part;
  };
  for (size_t i = 0; i < numbers.size();) {
    // The longest run from i with one step between its members.
    size_t j = i;
    if (i + 1 < numbers.size()) {
      const int64_t step = numbers[i + 1] - numbers[i];
      j = i + 1;
      while (j + 1 < numbers.size() && numbers[j + 1] - numbers[j] == step) ++j;
      // Two frames further apart read as well alone as "A-BxN"; three or more do not.
      if (step != 1 && j - i < 2) j = i;
      if (j > i) {
        std::string part = std::to_string(numbers[i]) + "-" + std::to_string(numbers[j]);
        if (step != 1) part.append("x").append(std::to_string(step));
        add(part);
        i = j + 1;
        continue;
      }
    }
    add(std::to_string(numbers[i]));
    ++i;
  }
  return text;
}

std::vector<Chunk> SplitIntoChunks(const std::vector<int64_t>& numbers, int32_t chunk_size) {
  if (chunk_size < 1)
    Fail(ErrorKind::Usage, "--chunk " + std::to_string(chunk_size) + ": give 1 or more frames per chunk");
  std::vector<Chunk> chunks;
  const auto size = static_cast<size_t>(chunk_size);
  for (size_t i = 0; i < numbers.size(); i += size) {
    Chunk c;
    c.numbers.assign(numbers.begin() + static_cast<std::ptrdiff_t>(i),
                     numbers.begin() + static_cast<std::ptrdiff_t>(std::min(numbers.size(), i + size)));
    c.frames = FrameRangeText(c.numbers);
    chunks.push_back(std::move(c));
  }
  return chunks;
}

std::string ArrayIndexText(const std::vector<int32_t>& indices) {
  return NumberRangesText(std::vector<int64_t>(indices.begin(), indices.end()));
}

}  // namespace tessfx::farm
