#pragma once
// Errors carry a clear message for the user and a kind that the command line maps to
// its conventional exit code.
#include <stdexcept>
#include <string>

namespace tessfx {

enum class ErrorKind {
  Usage = 64,        // bad arguments or names
  BadData = 65,      // input exists but is not valid
  NoInput = 66,      // input missing or unreadable
  Unavailable = 69,  // a service it needs (the cluster's scheduler) is missing or does not answer
  CantCreate = 73,   // output cannot be created
  IoError = 74,      // read or write failed part-way
  Software = 70,     // anything else
};

class Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  ErrorKind kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

[[noreturn]] inline void Fail(ErrorKind kind, const std::string& message) { throw Error(kind, message); }

}  // namespace tessfx
