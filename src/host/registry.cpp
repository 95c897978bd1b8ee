#include "host/registry.h"

#include "core/error.h"

namespace tessfx {

std::shared_ptr<TessalineHost> HostRegistry::CreateObject(const std::string& prog_id) const {
  auto it = factories_.find(prog_id);
  if (it == factories_.end()) Fail(ErrorKind::Software, "cannot create host object \"" + prog_id + "\": not registered");
  auto host = it->second();
  if (!host) Fail(ErrorKind::Software, "cannot create host object \"" + prog_id + "\"");
  return host;
}

}  // namespace tessfx
