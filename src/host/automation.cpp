#include "host/automation.h"

#include "core/convert.h"
#include "core/error.h"

namespace tessfx {

const char* AutomationTypeName(const AutomationValue& v) {
  static const char* const names[] = {"Empty", "Integer", "Long", "Single", "Double", "Boolean",
                                      "String", "Byte plane", "Byte array", "Object"};
  return names[v.index()];
}

double AutomationToDouble(const AutomationValue& v, const std::string& what) {
  if (auto p = std::get_if<int16_t>(&v)) return *p;
  if (auto p = std::get_if<int32_t>(&v)) return *p;
  if (auto p = std::get_if<float>(&v)) return *p;
  if (auto p = std::get_if<double>(&v)) return *p;
  if (auto p = std::get_if<bool>(&v)) return *p ? -1 : 0;
  Fail(ErrorKind::Usage, what + ": expected a number, got " + AutomationTypeName(v));
}

int32_t AutomationToLong(const AutomationValue& v, const std::string& what) {
  if (auto p = std::get_if<int32_t>(&v)) return *p;
  if (auto p = std::get_if<int16_t>(&v)) return *p;
  return RoundHalfEven(AutomationToDouble(v, what));
}

}  // namespace tessfx
