#pragma once
// From ProgID to a host factory. Start-up creates the one host object the editor talks to
// from "Tessaline.Tessaline_Class"; the embedded host is registered under it by default,
// and another host (an out-of-process one behind LateBoundHost) can be registered instead.
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/host.h"

namespace tessfx {

inline constexpr const char* kHostProgId = "Tessaline.Tessaline_Class";

class HostRegistry {
 public:
  using Factory = std::function<std::shared_ptr<TessalineHost>()>;
  void Register(const std::string& prog_id, Factory factory) { factories_[prog_id] = std::move(factory); }
  bool Has(const std::string& prog_id) const { return factories_.count(prog_id) != 0; }
  // Throws an Error when nothing is registered under prog_id or the factory fails.
  std::shared_ptr<TessalineHost> CreateObject(const std::string& prog_id) const;

 private:
  std::map<std::string, Factory> factories_;
};

}  // namespace tessfx
