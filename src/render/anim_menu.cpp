#include "render/anim_menu.h"

#include <charconv>
#include <cctype>
#include <cmath>

#include "core/convert.h"
#include "media/tsa.h"

namespace tessfx {

double LeadingNumber(std::string_view text) {
  std::string s;
  s.reserve(text.size());
  for (char c : text)
    if (c != ' ' && c != '\t' && c != '\n') s.push_back(c);
  size_t i = 0;
  if (s.size() >= 2 && s[0] == '&') {
    const char kind = static_cast<char>(std::toupper(static_cast<unsigned char>(s[1])));
    const int base = kind == 'H' ? 16 : (kind == 'O' ? 8 : 0);
    if (base == 0) return 0.0;
    double v = 0.0;
    for (i = 2; i < s.size(); ++i) {
      const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(s[i])));
      int d = -1;
      if (c >= '0' && c <= '9') d = c - '0';
      if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
      if (d < 0 || d >= base) break;
      v = v * base + d;
    }
    return v;
  }
  // The longest prefix of the form [sign] digits [. digits] [(E|D) [sign] digits].
  std::string number;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
    if (s[i] == '-') number.push_back('-');
    ++i;
  }
  bool digits = false;
  auto take_digits = [&] {
    while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
      number.push_back(s[i++]);
      digits = true;
    }
  };
  take_digits();
  if (i < s.size() && s[i] == '.') {
    number.push_back(s[i++]);
    take_digits();
  }
  if (!digits) return 0.0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D')) {
    size_t j = i + 1;
    std::string exponent = "e";
    if (j < s.size() && (s[j] == '+' || s[j] == '-')) exponent.push_back(s[j++]);
    const size_t before = exponent.size();
    while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) exponent.push_back(s[j++]);
    if (exponent.size() > before) number += exponent;
  }
  // from_chars, unlike strtod, ignores the locale: a decimal point is always '.'.
  double v = 0.0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), v);
  if (ec == std::errc::result_out_of_range) {
    // Too large or too small for a double: infinity or zero, with the number's sign.
    const bool tiny = number.find("e-") != std::string::npos;
    const double magnitude = tiny ? 0.0 : HUGE_VAL;
    return number[0] == '-' ? -magnitude : magnitude;
  }
  return v;
}

std::optional<int32_t> FrameCountFromAnswer(const std::optional<std::string>& answer) {
  // A cancelled box answers with empty text, which reads as 0.
  const double n = RoundHalfEvenD(LeadingNumber(answer.value_or(std::string())));
  if (!(n >= 1.0 && n <= kMaxFrames)) return std::nullopt;
  return static_cast<int32_t>(n);
}

}  // namespace tessfx
