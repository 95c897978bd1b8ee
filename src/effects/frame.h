#pragma once
// The frame an effect routine works on. The dispatch builds it for one call: it has fetched
// the host's current frame, copied it into the working planes, checked that every plane
// has the frame's size, and fetched the inputs the effect's definition declares. Routines
// read `host` (the untouched frame) or `work`, write `work` (never `host`), and leave the
// composite to the dispatch, which applies the step the definition declares.
#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "core/effect_host.h"
#include "core/lookup_tables.h"
#include "core/plane.h"

namespace tessfx {

struct EffectFrame {
  int32_t width = 0;
  int32_t height = 0;
  int32_t alpha_bits = 0;  // the host's flag: the alpha composite runs only when it is 0
  int32_t frame = 0;       // the host's current frame: the time base of animated effects
  int32_t total_frames = 0;

  ConstRgbaView host;  // the frame as fetched
  RgbaView work;       // copies of the host planes; the result goes here

  // Declared inputs; empty views (and a null host) for effects that do not declare them.
  ConstRgbView swap;       // the swap image, or the external swap source's frame
  ConstRgbaView sequence;  // this frame's picture of the chosen sequence, at the frame size
  EffectHost* host_calls = nullptr;

  const LookupTables* tables = nullptr;
  // The main window's caption, for messages a routine shows (a picture it could not read).
  std::function<void(const std::string&)> caption;

  // The alpha-bits flag as the filter kernels take it: a byte that is 0 exactly when the
  // flag is 0 (a flag of 256 must not wrap to 0).
  uint8_t AlphaFlagByte() const { return alpha_bits == 0 ? 0 : 255; }
};

// The six parameter values of the frame, slider 1 first, as the dispatch passes them.
using EffectParams = std::array<float, 6>;

// A routine with its argument conversions: the values arrive as the sliders or keys give
// them and the routine converts them as its effect says (rounding, floor, scaling).
using EffectRoutine = void (*)(EffectFrame& frame, const EffectParams& p);

}  // namespace tessfx
