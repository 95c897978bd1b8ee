#pragma once
// The gallery: every effect of the catalogue run at the values the panel gives right after
// picking it, on one frame, with the swap image, a sequence picture and the host's assets
// in place, so that each effect shows what it does. It walks the catalogue, so effects
// added later appear by themselves.
#include <array>
#include <string>
#include <vector>

#include "core/plane.h"
#include "effects/effect.h"

namespace tessfx {

struct GalleryOptions {
  int32_t cell_width = 240;  // each picture of the sheet; the built-in frame has this size
  int32_t cell_height = 135;
  std::string input;           // an animation, sequence or image instead of the built-in scene
  int32_t frame = 12;          // frame of the input (of the built-in scene's 48)
  std::string scratch_folder;  // where the sequence picture is written for the sequence effects
};

struct GalleryEntry {
  const EffectDef* effect = nullptr;
  std::array<Plane, 3> picture;  // the result reduced to the cell size
  std::string message;           // what the effect showed in the caption, if anything
};

// The untouched frame first (effect nullptr), then one entry per effect in list order.
std::vector<GalleryEntry> RenderGallery(const GalleryOptions& options);

}  // namespace tessfx
