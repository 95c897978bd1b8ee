#pragma once
// Routines index the shared planes by the frame size; a host that hands over planes of
// another size must not lead them outside the storage.
#include <string>

#include "core/error.h"
#include "host/image_state.h"

namespace tessfx {

inline void RequireFramePlanes(const ImageState& s) {
  const Plane* planes[] = {&s.host_r, &s.host_g, &s.host_b, &s.host_a, &s.work_r, &s.work_g, &s.work_b};
  for (const Plane* p : planes) {
    if (p->empty() || p->width() != s.width || p->height() != s.height)
      Fail(ErrorKind::BadData, "the frame's planes do not match its size " + std::to_string(s.width) + "x" +
                                   std::to_string(s.height));
  }
}

}  // namespace tessfx
