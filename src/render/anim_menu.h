#pragma once
// The Animation menu's "Create new animation": the answer to the frame-count box is read
// as its leading number, rounded half to even, and accepted for 1..10000 frames.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessfx {

inline constexpr const char* kCreateAnimPrompt = "Create new animation";
inline constexpr const char* kCreateAnimTitle = "Frame count";
inline constexpr const char* kCreateAnimDefault = "30";

// The number at the start of `text`, 0 when there is none. Blanks, tabs and line feeds are
// skipped wherever they stand; a sign, digits, a decimal point and an exponent (E or D)
// are taken, as are &H (hexadecimal) and &O (octal) numbers. "12abc" is 12, "2.5" is 2.5,
// " 1 2" is 12, "" is 0.
double LeadingNumber(std::string_view text);

// The frame count an answer asks for; nullopt for a cancelled box or a count outside
// 1..10000.
std::optional<int32_t> FrameCountFromAnswer(const std::optional<std::string>& answer);

}  // namespace tessfx
