#include "media/contact_sheet.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>

#include "core/error.h"

namespace tessfx {
namespace {

constexpr int kGap = 8;         // pixels between cells and around the sheet
constexpr int kTitleSize = 14;  // font sizes in pixels
constexpr int kNoteSize = 11;
constexpr int kTextHeight = kTitleSize + kNoteSize + 10;
constexpr float kGround[3] = {0.12f, 0.12f, 0.13f};

// The sans-serif fonts Debian installs with its desktop libraries, then the image
// library's own default.
constexpr const char* kFonts[] = {"DejaVuSans", "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", ""};

void Text(OIIO::ImageBuf& sheet, int x, int y, const std::string& text, int size, const float (&colour)[3]) {
  for (const char* font : kFonts)
    if (OIIO::ImageBufAlgo::render_text(sheet, x, y, text, size, font, colour)) return;
  Fail(ErrorKind::Software, "cannot draw the contact sheet's titles: no font found (Debian package fonts-dejavu-core)");
}

}  // namespace

std::array<Plane, 3> ComposeContactSheet(const std::vector<SheetCell>& cells, int32_t columns) {
  if (cells.empty() || columns < 1) Fail(ErrorKind::Usage, "a contact sheet needs cells and columns");
  const int w = cells.front().picture.r.width, h = cells.front().picture.r.height;
  const int rows = (static_cast<int>(cells.size()) + columns - 1) / columns;
  const int cell_w = w + kGap, cell_h = h + kTextHeight + kGap;
  OIIO::ImageBuf sheet(OIIO::ImageSpec(kGap + columns * cell_w, kGap + rows * cell_h, 3, OIIO::TypeDesc::UINT8));
  OIIO::ImageBufAlgo::fill(sheet, kGround);
  const float title[3] = {0.92f, 0.92f, 0.9f}, note[3] = {0.6f, 0.6f, 0.62f}, mark[3] = {0.9f, 0.25f, 0.2f};
  std::vector<uint8_t> pixels(static_cast<size_t>(w) * h * 3);
  for (size_t i = 0; i < cells.size(); ++i) {
    const SheetCell& c = cells[i];
    const int x0 = kGap + static_cast<int>(i % columns) * cell_w, y0 = kGap + static_cast<int>(i / columns) * cell_h;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        uint8_t* p = &pixels[(static_cast<size_t>(y) * w + x) * 3];
        p[0] = c.picture.r.at(y, x);
        p[1] = c.picture.g.at(y, x);
        p[2] = c.picture.b.at(y, x);
      }
    sheet.set_pixels(OIIO::ROI(x0, x0 + w, y0, y0 + h, 0, 1, 0, 3), OIIO::TypeDesc::UINT8, pixels.data());
    if (c.marked) {
      // A frame of two pixels round the picture.
      OIIO::ImageBufAlgo::render_box(sheet, x0, y0, x0 + w - 1, y0 + h - 1, mark);
      OIIO::ImageBufAlgo::render_box(sheet, x0 + 1, y0 + 1, x0 + w - 2, y0 + h - 2, mark);
    }
    Text(sheet, x0, y0 + h + kTitleSize + 2, c.title, kTitleSize, title);
    if (!c.note.empty())
      Text(sheet, x0, y0 + h + kTitleSize + kNoteSize + 6, c.note, kNoteSize, c.marked ? mark : note);
  }
  const OIIO::ROI layout = sheet.roi();
  std::array<Plane, 3> out = {Plane(layout.width(), layout.height()), Plane(layout.width(), layout.height()),
                              Plane(layout.width(), layout.height())};
  std::vector<uint8_t> row(static_cast<size_t>(layout.width()) * 3);
  for (int y = 0; y < layout.height(); ++y) {
    sheet.get_pixels(OIIO::ROI(0, layout.width(), y, y + 1, 0, 1, 0, 3), OIIO::TypeDesc::UINT8, row.data());
    for (int x = 0; x < layout.width(); ++x)
      for (int c = 0; c < 3; ++c) out[static_cast<size_t>(c)][y][x] = row[static_cast<size_t>(x) * 3 + c];
  }
  return out;
}

}  // namespace tessfx
