// Antialiased lines and the surfaces that hide them.
#include "filters/lines.h"

#include <gtest/gtest.h>

#include "planes.h"

namespace tessfx {
namespace {

using testing::Rgb;

Rgb Blank(int32_t w, int32_t h) { return {Plane(w, h, 9), Plane(w, h, 9), Plane(w, h, 9)}; }

TEST(LineScene, LinesAreAntialiasedAndSurfacesInFrontHideThem) {
  const auto draw = [](const LineScene& scene) {
    Rgb out = Blank(20, 12);
    DrawLineScene(out.view(), scene);
    return out;
  };
  LineScene scene;
  scene.vertices = {{2, 3, 0.01f, 200, 100, 50},
                    {17, 3, 0.01f, 200, 100, 50},  // on row 3
                    {2, 7.5f, 0.01f, 0, 0, 255},
                    {17, 7.5f, 0.01f, 0, 0, 255}};  // between rows 7 and 8
  scene.lines = {{0, 1}, {2, 3}};
  Rgb out = draw(scene);
  for (int32_t x = 3; x <= 16; ++x) {
    EXPECT_EQ(out.r[3][x], 200);
    EXPECT_EQ(out.g[3][x], 100);
    EXPECT_EQ(out.r[2][x] + out.r[4][x], 0);
    EXPECT_EQ(out.b[7][x], 128);  // half on each of the two rows
    EXPECT_EQ(out.b[8][x], 128);
  }
  EXPECT_EQ(out.r[3][0] + out.b[0][10] + out.b[11][10], 0);  // the rest is black
  EXPECT_EQ(out.r[12][5], 9);                                // the extra row is left alone

  // A surface over the middle columns: at distance 50 it hides lines at 100, not lines at
  // 51 (within the tolerance of 2) nor in front of it.
  scene.vertices.push_back({8, -5, 1 / 50.0f});
  scene.vertices.push_back({12, -5, 1 / 50.0f});
  scene.vertices.push_back({10, 30, 1 / 50.0f});
  scene.surfaces = {{4, 5, 6}};
  scene.tolerance = 2;
  for (auto [distance, hidden] : {std::pair{100.0f, true}, std::pair{51.0f, false}, std::pair{20.0f, false}}) {
    for (ScreenVertex& v : scene.vertices) {
      if (&v - scene.vertices.data() < 4) v.inv_depth = 1 / distance;
    }
    out = draw(scene);
    EXPECT_EQ(out.r[3][10] == 0, hidden) << distance;
    EXPECT_EQ(out.r[3][4], 200) << distance;
  }
}

}  // namespace
}  // namespace tessfx
