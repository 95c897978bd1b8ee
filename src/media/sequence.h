#pragma once
// Numbered picture sequences ("take0012.bmp", "take0013.bmp", ...): a sequence is named by
// its first file, which gives the base name, the first number and the digit count.
#include <cstdint>
#include <optional>
#include <string>

#include "media/dialogs.h"

namespace tessfx {

struct SequenceSettings {
  std::string base_name;  // empty: no sequence selected
  int16_t start_number = 0;
  int16_t digit_count = 0;
};

// Drops a three-letter extension: the last 4 characters when the name is longer than 4 and
// the 4th character from the end is '.'. Anything else (".jpeg" too) is returned unchanged.
std::string StripExtension(const std::string& name);

// The run of '0'..'9' at the end of a name without extension. Names of one character or
// none have no run. A number beyond 32767 is refused (BadData), never clamped.
int16_t SequenceStartNumber(const std::string& nameNoExt);
int16_t SequenceDigitCount(const std::string& nameNoExt);
std::string StripTrailingDigits(const std::string& nameNoExt);

// File of frame `frame`: base name, frame + start number with at least digit_count digits
// (zero-padded; larger numbers written in full), ".bmp". nullopt without a base name.
std::optional<std::string> SequenceFrameFileName(const SequenceSettings& settings, int32_t frame);

// The settings for a sequence whose first file `path` names; a number beyond 32767 in the
// name is refused with a message naming the file.
SequenceSettings SequenceFromFirstFile(const std::string& path);

// Asks for the first file of a sequence; a cancelled dialog gives an empty base name.
SequenceSettings SelectSequence(FileDialog& dialog);

}  // namespace tessfx
