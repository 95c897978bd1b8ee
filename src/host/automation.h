#pragma once
// Self-describing values that cross the host's by-name interface, as an out-of-process
// host would send them: 16-bit Integers, 32-bit Longs, singles, doubles, strings, byte
// planes, byte arrays and object references.
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "core/plane.h"

namespace tessfx {

struct ObjectRef {
  void* pointer = nullptr;  // an object handed across the interface (the tool window)
};

using AutomationValue =
    std::variant<std::monostate, int16_t, int32_t, float, double, bool, std::string, Plane, std::vector<uint8_t>, ObjectRef>;

// An argument list; values move in (planes are not copyable).
template <typename... A>
std::vector<AutomationValue> MakeArgs(A&&... a) {
  std::vector<AutomationValue> v;
  v.reserve(sizeof...(A));
  (v.emplace_back(std::forward<A>(a)), ...);
  return v;
}

// Name of the type a value holds, for error messages ("Integer", "Long", ...).
const char* AutomationTypeName(const AutomationValue& v);

// Numeric conversions of a value the way a late-bound caller converts results: counts and
// sizes to 32-bit integers (rounding halves to even), anything else is an error naming `what`.
int32_t AutomationToLong(const AutomationValue& v, const std::string& what);
double AutomationToDouble(const AutomationValue& v, const std::string& what);

}  // namespace tessfx
