#include "core/error.h"

#include <cstdint>
#include <cstdio>

namespace tessfx {
namespace {

// Length of the UTF-8 sequence starting at text[i] and its code point; 0 when the bytes
// there are not well-formed UTF-8 (overlong forms and surrogates included).
size_t DecodeUtf8(std::string_view text, size_t i, uint32_t& code) {
  const auto byte = [&](size_t k) { return static_cast<uint8_t>(text[k]); };
  const uint8_t b0 = byte(i);
  size_t length = 0;
  uint32_t min = 0;
  if (b0 < 0x80) {
    code = b0;
    return 1;
  } else if ((b0 & 0xE0) == 0xC0) {
    length = 2, code = b0 & 0x1F, min = 0x80;
  } else if ((b0 & 0xF0) == 0xE0) {
    length = 3, code = b0 & 0x0F, min = 0x800;
  } else if ((b0 & 0xF8) == 0xF0) {
    length = 4, code = b0 & 0x07, min = 0x10000;
  } else {
    return 0;
  }
  if (i + length > text.size()) return 0;
  for (size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i + k) & 0x3F);
  }
  if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

// Code points a terminal acts on or that reorder what it shows.
bool IsHidden(uint32_t code) {
  return code < 0x20 || code == 0x7F || (code >= 0x80 && code <= 0x9F) || code == 0x061C ||
         (code >= 0x200E && code <= 0x200F) || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069) || code == 0x2028 || code == 0x2029;
}

void AppendHex(std::string& out, const char* format, uint32_t value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, format, value);
  out += buffer;
}

// Appends the escaped form of the character at text[i]; returns the bytes it took.
size_t EscapeOne(std::string_view text, size_t i, bool keep_tabs, std::string& out) {
  uint32_t code = 0;
  const size_t length = DecodeUtf8(text, i, code);
  if (length == 0) {
    AppendHex(out, "\\x%02X", static_cast<uint8_t>(text[i]));
    return 1;
  }
  if (code == '\t' && keep_tabs) {
    out += '\t';
  } else if (code < 0x80 && IsHidden(code)) {
    AppendHex(out, "\\x%02X", code);
  } else if (IsHidden(code)) {
    AppendHex(out, "\\u{%04X}", code);
  } else {
    out.append(text.substr(i, length));
  }
  return length;
}

}  // namespace

std::string EscapeControls(std::string_view text, bool keep_tabs) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) i += EscapeOne(text, i, keep_tabs, out);
  return out;
}

std::string OneLineMessage(std::string_view text, size_t limit) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.remove_suffix(1);
  std::string out;
  size_t i = 0;
  while (i < text.size() && out.size() < limit) {
    if (text[i] == '\n' || text[i] == '\r') {
      // A run of line breaks and the indentation after it is one separator.
      while (i < text.size() && (text[i] == '\n' || text[i] == '\r' || text[i] == ' ')) ++i;
      if (!out.empty() && out.back() != ' ') out += ';';
      out += ' ';
      continue;
    }
    i += EscapeOne(text, i, false, out);
  }
  if (i < text.size()) out += "... (" + std::to_string(text.size()) + " bytes in all)";
  return out;
}

std::string QuoteName(std::string_view name, size_t limit) {
  std::string out = "\"";
  size_t i = 0;
  while (i < name.size() && out.size() < limit + 1) i += EscapeOne(name, i, false, out);
  out += '"';
  if (i < name.size()) {
    out.insert(out.size() - 1, "...");
    out += " (" + std::to_string(name.size()) + " bytes)";
  }
  return out;
}

}  // namespace tessfx
