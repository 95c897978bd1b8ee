#pragma once
// Errors carry a clear message for the user and a kind that the command line maps to
// its conventional exit code.
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tessfx {

// One kind per fault, whichever command meets it (the README lists them).
enum class ErrorKind {
  Usage = 64,        // bad arguments, option values or names given by the user
  BadData = 65,      // the input exists but is not valid, or lies beyond the input limits
  NoInput = 66,      // the input is missing, unreadable, or not a regular file
  Unavailable = 69,  // a service it needs (the cluster's scheduler) is missing or does not answer
  Software = 70,     // anything else (out of memory, a fault of the program)
  CantCreate = 73,   // an output, or the private temporary folder, cannot be made or used
  IoError = 74,      // a read or write failed part-way
};

class Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  ErrorKind kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

[[noreturn]] inline void Fail(ErrorKind kind, const std::string& message) { throw Error(kind, message); }

// Longest message printed, in bytes; anything longer is cut and marked.
inline constexpr size_t kMaxMessageBytes = 4096;
// Longest part of a name (an effect name, a value) that a message quotes.
inline constexpr size_t kMaxQuotedNameBytes = 64;

// Text made safe for a terminal: control characters (C0, DEL, C1), bytes that are not
// UTF-8 and the invisible direction overrides become \xNN or \u{NNNN} escapes. Tabs and
// line breaks are escaped too unless `keep_tabs` keeps tabs.
std::string EscapeControls(std::string_view text, bool keep_tabs = false);

// A message as one line: line breaks (a library's own several lines) become "; ", the rest
// is escaped as above, and more than `limit` bytes are cut at a character boundary with
// "... (N bytes in all)".
std::string OneLineMessage(std::string_view text, size_t limit = kMaxMessageBytes);

// A name for a message: in double quotes, escaped, and at most `limit` bytes of it, the cut
// marked with its full length ("Colo..." (10485760 bytes)).
std::string QuoteName(std::string_view name, size_t limit = kMaxQuotedNameBytes);

}  // namespace tessfx
