#include "host/late_bound_host.h"

#include "core/error.h"

namespace tessfx {

int32_t LateBoundHost::Long(std::string_view name) {
  std::vector<AutomationValue> none;
  return AutomationToLong(transport_(name, none), std::string(name) + " result");
}

Plane LateBoundHost::PlaneResult(std::string_view name, std::vector<AutomationValue> args) {
  AutomationValue v = transport_(name, args);
  if (auto p = std::get_if<Plane>(&v)) return std::move(*p);  // adopted, not copied
  Fail(ErrorKind::BadData, std::string(name) + ": host returned " + AutomationTypeName(v) + " instead of a byte plane");
}

void LateBoundHost::SendPlane(std::string_view name, const Plane& p) {
  // A by-reference plane argument: the transport sees the caller's samples. The copy here
  // is what marshalling to another process costs anyway.
  std::vector<AutomationValue> args;
  args.emplace_back(p.Clone());
  transport_(name, args);
}

std::string LateBoundHost::Text(std::string_view name, std::vector<AutomationValue> args) {
  AutomationValue v = transport_(name, args);
  if (auto s = std::get_if<std::string>(&v)) return *s;
  Fail(ErrorKind::BadData, std::string(name) + ": host returned " + AutomationTypeName(v) + " instead of a string");
}

std::vector<uint8_t> LateBoundHost::Tes_GetGradient(int16_t index) {
  auto args = Args(index);
  AutomationValue v = transport_("Tes_GetGradient", args);
  if (auto a = std::get_if<std::vector<uint8_t>>(&v)) return std::move(*a);
  Fail(ErrorKind::BadData, std::string("Tes_GetGradient: host returned ") + AutomationTypeName(v) +
                               " instead of a byte array");
}

}  // namespace tessfx
