#include "media/sequence.h"

#include <algorithm>

#include "core/convert.h"
#include "core/error.h"

namespace tessfx {
namespace {

// Length of the run of digits ending the name; names of length 0 or 1 have none.
size_t TrailingDigitRun(const std::string& name) {
  if (name.size() <= 1) return 0;
  size_t run = 0;
  while (run < name.size() && name[name.size() - 1 - run] >= '0' && name[name.size() - 1 - run] <= '9') ++run;
  return run;
}

}  // namespace

std::string StripExtension(const std::string& name) {
  if (name.size() > 4 && name[name.size() - 4] == '.') return name.substr(0, name.size() - 4);
  return name;
}

int16_t SequenceStartNumber(const std::string& nameNoExt) {
  const size_t run = TrailingDigitRun(nameNoExt);
  double value = 0;
  for (size_t i = nameNoExt.size() - run; i < nameNoExt.size(); ++i) {
    value = value * 10 + (nameNoExt[i] - '0');
    // Clamping would name another file (take40000 would start at take32767).
    if (value > 32767)
      Fail(ErrorKind::BadData, "its number " + nameNoExt.substr(nameNoExt.size() - run) +
                                   " is beyond 32767, the highest number a sequence can start from");
  }
  return RoundHalfEven16(value);
}

int16_t SequenceDigitCount(const std::string& nameNoExt) {
  return RoundHalfEven16(static_cast<double>(TrailingDigitRun(nameNoExt)));
}

std::string StripTrailingDigits(const std::string& nameNoExt) {
  return nameNoExt.substr(0, nameNoExt.size() - TrailingDigitRun(nameNoExt));
}

std::optional<std::string> SequenceFrameFileName(const SequenceSettings& settings, int32_t frame) {
  if (settings.base_name.empty()) return std::nullopt;
  const int64_t number = int64_t{frame} + settings.start_number;
  std::string digits = std::to_string(number < 0 ? -number : number);
  if (digits.size() < static_cast<size_t>(std::max<int16_t>(settings.digit_count, 0)))
    digits.insert(0, static_cast<size_t>(settings.digit_count) - digits.size(), '0');
  if (number < 0) digits.insert(0, 1, '-');
  return settings.base_name + digits + ".bmp";
}

SequenceSettings SequenceFromFirstFile(const std::string& path) {
  const std::string stem = StripExtension(path);
  SequenceSettings s;
  try {
    s.start_number = SequenceStartNumber(stem);
  } catch (const Error& e) {
    Fail(e.kind(), path + ": " + e.what());
  }
  s.digit_count = SequenceDigitCount(stem);
  s.base_name = StripTrailingDigits(stem);
  return s;
}

SequenceSettings SelectSequence(FileDialog& dialog) {
  const std::optional<std::string> path = dialog.GetOpenFileName("Select first file of sequence", "bmp(*.bmp)|*.bmp");
  if (!path || path->empty()) return {};
  return SequenceFromFirstFile(*path);
}

}  // namespace tessfx
