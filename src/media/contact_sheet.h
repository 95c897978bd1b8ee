#pragma once
// A contact sheet: pictures in a grid on a dark ground, each titled below.
#include <string>
#include <vector>

#include "core/plane.h"

namespace tessfx {

struct SheetCell {
  ConstRgbView picture;  // every cell of one sheet has the same size
  std::string title;
  std::string note;     // a second, smaller line
  bool marked = false;  // drawn with a red frame and note, for pictures that are placeholders
};

// The sheet's R, G, B planes: `columns` cells to a row. Throws an Error when no font can be
// found to draw the titles with.
std::array<Plane, 3> ComposeContactSheet(const std::vector<SheetCell>& cells, int32_t columns);

}  // namespace tessfx
