#pragma once
// Frame numbers written the way --frames reads them: runs of consecutive numbers as
// "A-B", separated by commas ("1001-1005,1007").
#include <cstdint>
#include <string>
#include <vector>

namespace tessfx {

// `numbers` ascending.
inline std::string NumberRangesText(const std::vector<int64_t>& numbers) {
  std::string text;
  for (size_t i = 0; i < numbers.size();) {
    size_t j = i;
    while (j + 1 < numbers.size() && numbers[j + 1] == numbers[j] + 1) ++j;
    if (!text.empty()) text += ',';
    text += std::to_string(numbers[i]);
    if (j > i) text += '-' + std::to_string(numbers[j]);
    i = j + 1;
  }
  return text;
}

}  // namespace tessfx
