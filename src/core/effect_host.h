#pragma once
// The few host operations that effect routines call, under their host names: other frames
// of the animation, the gradients, the paper, the brush, and the lens flare that the host
// draws into its current frame. The full host interface (host/host.h) extends this one;
// routines see only this part, and only when their definition declares that they use it.
#include <cstdint>
#include <vector>

#include "core/plane.h"

namespace tessfx {

class EffectHost {
 public:
  virtual ~EffectHost() = default;

  // The current frame as the host stores it, and writing it back.
  virtual Plane Tes_GetRBuffer() = 0;
  virtual Plane Tes_GetGBuffer() = 0;
  virtual Plane Tes_GetBBuffer() = 0;
  virtual void tes_setrbuffer(const Plane& plane) = 0;
  virtual void tes_setgbuffer(const Plane& plane) = 0;
  virtual void tes_setbbuffer(const Plane& plane) = 0;
  virtual void tes_clearbuffer(int16_t red, int16_t green, int16_t blue) = 0;

  // One channel of any frame, without moving the host.
  virtual Plane Tes_GetRFrame(int32_t frame) = 0;
  virtual Plane Tes_GetGFrame(int32_t frame) = 0;
  virtual Plane Tes_GetBFrame(int32_t frame) = 0;

  virtual int32_t Tes_GetPaperWidth() = 0;
  virtual int32_t Tes_GetPaperHeight() = 0;
  virtual Plane tes_GetBump() = 0;
  virtual int32_t Tes_GetBrushWidth() = 0;
  virtual int32_t Tes_GetBrushHeight() = 0;
  virtual Plane Tes_GetBrushrBuffer() = 0;
  virtual Plane Tes_GetBrushgBuffer() = 0;
  virtual Plane Tes_GetBrushbBuffer() = 0;
  virtual Plane Tes_GetBrushaBuffer() = 0;
  // 3 x 256 bytes, component (0 red, 1 green, 2 blue) major: [component * 256 + entry].
  virtual std::vector<uint8_t> Tes_GetGradient(int16_t index) = 0;
  virtual void Tes_RenderLensFlare(float scale, float x, float y, float angle, int16_t a, int16_t b, int16_t c) = 0;
  // Shows the host's own lens-flare settings.
  virtual void Tes_FlareSettings() = 0;
};

}  // namespace tessfx
