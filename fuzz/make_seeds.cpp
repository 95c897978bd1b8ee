// Writes the fuzzers' seed corpus: make_seeds DIR writes DIR/bmp_reader/*.bmp,
// DIR/tsa_reader/*.tsa and DIR/project_loader/*.json, one small file for each layout the
// readers distinguish.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "core/error.h"
#include "media/bmp_samples.h"
#include "media/tsa.h"

#include <nlohmann/json.hpp>

namespace {

using tessfx::samples::BmpSample;

void WriteBmpSeeds(const std::filesystem::path& dir) {
  auto put = [&](const std::string& name, const BmpSample& s) {
    tessfx::samples::WriteFile((dir / name).string(), tessfx::samples::BuildBmp(s));
  };
  BmpSample s = tessfx::samples::Gradient24(5, 3);
  put("rgb24.bmp", s);
  s.height = -3;
  put("rgb24-top-down.bmp", s);
  s.height = 3;
  s.header_size = 124;
  put("rgb24-v5.bmp", s);

  BmpSample p;
  p.width = 6;
  p.height = 2;
  p.bit_count = 8;
  p.palette = {0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0x808080};
  p.pixels = {0, 1, 2, 3, 4, 9, 0, 0, 4, 3, 2, 1, 0, 7, 0, 0};
  put("palette8.bmp", p);
  p.colours_used = 0;
  put("palette8-no-count.bmp", p);

  BmpSample q;
  q.width = 2;
  q.height = 2;
  q.bit_count = 32;
  q.pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  put("bgra32.bmp", q);
  q.header_size = 108;
  q.compression = 3;
  put("bgra32-masks.bmp", q);
  q.masks[0] = 0x000000FF;
  q.masks[2] = 0x00FF0000;
  put("rgba32-masks.bmp", q);

  BmpSample other;
  other.width = 4;
  other.bit_count = 16;
  other.pixels.assign(8, 0x5A);
  put("rgb16.bmp", other);
  other.bit_count = 4;
  put("palette4.bmp", other);
  other.bit_count = 8;
  other.compression = 1;
  other.palette = {0x123456};
  put("rle8.bmp", other);
}

void WriteTsaSeeds(const std::filesystem::path& dir) {
  auto put = [&](const std::string& name, int32_t w, int32_t h, int32_t frames) {
    tessfx::TsaWriter writer((dir / name).string(), w, h, frames, 7);
    for (int32_t f = 0; f < frames; ++f)
      for (tessfx::Channel c : {tessfx::Channel::R, tessfx::Channel::G, tessfx::Channel::B})
        writer.WritePlane(f, c, tessfx::Plane(w, h, static_cast<uint8_t>(40 * f + 10 * static_cast<int>(c) + 1)));
    writer.Commit();
  };
  put("one-frame.tsa", 4, 3, 1);
  put("three-frames.tsa", 5, 2, 3);
  put("wide.tsa", 16, 1, 2);
}

void WriteProjectSeeds(const std::filesystem::path& dir) {
  auto put = [&](const std::string& name, const nlohmann::json& j) { std::ofstream(dir / name) << j.dump(1); };
  using nlohmann::json;
  const json minimal = {{"format", "tessfx-project"}, {"version", 1}, {"effect", "Gaussian blur"}};
  put("minimal.json", minimal);
  json keyed = {{"format", "tessfx-project"},
                {"version", 1},
                {"effect", "Color adjustment"},
                {"sliders", {10, 20, 30, 0, 0, 0}},
                {"spline", true},
                {"keys",
                 {{{"frame", 0}, {"values", {0.0, 0.5, 1.0, 0, 0, 0}}},
                  {{"frame", 2}, {"values", {1.0, 0.25, 0.0, 0, 0, 0}}},
                  {{"frame", 4}, {"values", {0.5, 0.5, 0.5, 0, 0, 0}}}}},
                {"sequence", {{"base_name", "shot."}, {"start_number", 1}, {"digit_count", 4}}},
                {"swap", {{"animation_file", ""}, {"active", false}}}};
  put("keyed-spline.json", keyed);
  keyed["effect"] = "Sunset filter";
  keyed["spline"] = false;
  put("keyed-linear.json", keyed);
  keyed["effect"] = "Lens flare";
  keyed["sliders"] = {50, 50, 100, 0, 0, 0};
  put("lens-flare.json", keyed);
  json wrong = minimal;
  wrong["version"] = 2;
  put("other-version.json", wrong);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_seeds DIR\n";
    return 64;
  }
  try {
    const std::filesystem::path root = argv[1];
    std::filesystem::create_directories(root / "bmp_reader");
    std::filesystem::create_directories(root / "tsa_reader");
    std::filesystem::create_directories(root / "project_loader");
    WriteBmpSeeds(root / "bmp_reader");
    WriteTsaSeeds(root / "tsa_reader");
    WriteProjectSeeds(root / "project_loader");
  } catch (const std::exception& e) {
    std::cerr << "make_seeds: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
