#pragma once
// Picking on the preview picture: clicking or dragging on the preview sets sliders of the
// selected effect from the picture, as its definition's pick kind says:
//
//  - white balance by gains: gains that turn the picked colour into a neutral grey of the
//    same brightness; by offsets: offsets that do the same by addition;
//  - colour, key colour: the picked colour itself (sliders 1..3, or 3..5);
//  - grey: the picked pixel's grey level;
//  - position: the centre or position, in percent of the frame, follows the pointer;
//  - translate: dragging adds the drag distance (percent of the frame) to the translation;
//  - rotate: dragging turns the object: horizontal drag changes the heading, vertical drag
//    the pitch, one degree per 0.5 percent of the frame, wrapping at 360.
// Effects without a pick kind ignore the preview's mouse.
#include <array>
#include <cstdint>
#include <optional>

#include "engine/panel.h"
#include "host/image_state.h"

namespace tessfx {

struct PreviewPoint {
  double fx = 0;                // 0..1 across the frame
  double fy = 0;                // 0..1 down the frame
  uint8_t r = 0, g = 0, b = 0;  // the untouched frame's colour under the pointer
};

// The point at fractions (fx, fy) of the frame with the untouched frame's colour there
// (the host planes as last fetched); fractions outside 0..1 pick the nearest edge pixel.
PreviewPoint PointAt(const ImageState& image, double fx, double fy);

class PreviewPicker {
 public:
  // True when the selected effect reacts to the preview's mouse.
  static bool Accepts(const ParameterPanel& panel);
  // Press and drag update the sliders (one preview per event); release ends the drag.
  void Press(ParameterPanel& panel, const PreviewPoint& p);
  void Move(ParameterPanel& panel, const PreviewPoint& p);
  void Release() { pressed_ = false; }
  bool pressed() const { return pressed_; }

 private:
  void Apply(ParameterPanel& panel, const PreviewPoint& p);
  bool pressed_ = false;
  PreviewPoint press_point_;
  std::array<int16_t, 6> values_at_press_{};
};

}  // namespace tessfx
