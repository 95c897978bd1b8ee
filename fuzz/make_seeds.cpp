// Writes the fuzzers' seed corpus: make_seeds DIR writes DIR/bmp_reader/*.bmp,
// DIR/tsa_reader/*.tsa, DIR/project_loader/*.json, DIR/image_reader/* (a small picture in
// every still format the image library writes, and files that once did harm) and
// DIR/sequence_loader/* (frames joined by the loader's "<<NEXT>>"), one small file for each
// layout the readers distinguish.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "core/error.h"
#include "media/bmp_samples.h"
#include "media/image_io.h"
#include "media/test_patterns.h"
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

std::string Contents(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void WriteImageSeeds(const std::filesystem::path& dir, const std::filesystem::path& sequences) {
  tessfx::Plane r(6, 4), g(6, 4), b(6, 4), a(6, 4);
  tessfx::DrawPattern(tessfx::Pattern::Noise, 3, 0, 1, r, g, b);
  for (int32_t y = 0; y <= 4; ++y)
    for (int32_t x = 0; x <= 6; ++x) a[y][x] = static_cast<uint8_t>(40 * x + y);
  std::vector<std::string> written;
  for (const char* ext : {"png", "jpg", "tif", "exr", "bmp", "tga", "dpx", "ppm", "pgm", "hdr", "webp", "heic"}) {
    const std::filesystem::path file = dir / (std::string("picture.") + ext);
    try {
      tessfx::ImageFileWriter writer;
      writer.Write(file.string(), r, g, b, &a);
      writer.Commit();
      written.push_back(file.string());
    } catch (const tessfx::Error&) {
      // The library has no writer for this format here.
    }
  }
  // Frames of a sequence: two of one size, and one of another size after them.
  for (size_t i = 0; i + 1 < written.size(); ++i)
    std::ofstream(sequences / ("pair-" + std::to_string(i)), std::ios::binary)
        << Contents(written[i]) << "<<NEXT>>" << Contents(written[i]) << "<<NEXT>>" << Contents(written[i + 1]);

  // A 24-bit BMP that claims RLE8, and headers that declare far more than their files hold.
  tessfx::samples::BmpSample rle = tessfx::samples::Gradient24(4, 4);
  rle.compression = 1;
  rle.pixels.resize(12);
  tessfx::samples::WriteFile((dir / "rle8-24bit.bmp").string(), tessfx::samples::BuildBmp(rle));
  tessfx::samples::BmpSample huge;
  huge.width = huge.height = 32767;
  huge.pixels.assign(970, 0);
  tessfx::samples::WriteFile((dir / "declares-huge.bmp").string(), tessfx::samples::BuildBmp(huge));
  // PNG signature and header of a 32767 x 16383 picture, without its data.
  const uint8_t png_header[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R',
                                0, 0, 0x7F, 0xFF, 0, 0, 0x3F, 0xFF, 8, 2, 0, 0, 0, 0x82, 0x9B, 0xE4, 0x13};
  std::ofstream(dir / "declares-huge.png", std::ios::binary)
      .write(reinterpret_cast<const char*>(png_header), sizeof png_header);
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
  // Close to the size limit of the runs: a key on every frame of a long animation.
  json many = minimal;
  many["keys"] = json::array();
  for (int f = 0; f < 4000; ++f) many["keys"].push_back({{"frame", f}, {"values", {f / 4000.0, 0.5, 0, 0, 0, 1}}});
  put("many-keys.json", many);
  std::ofstream(dir / "deep.json") << std::string(64, '[') << std::string(64, ']');
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
    std::filesystem::create_directories(root / "image_reader");
    std::filesystem::create_directories(root / "sequence_loader");
    WriteBmpSeeds(root / "bmp_reader");
    WriteImageSeeds(root / "image_reader", root / "sequence_loader");
    WriteTsaSeeds(root / "tsa_reader");
    WriteProjectSeeds(root / "project_loader");
  } catch (const std::exception& e) {
    std::cerr << "make_seeds: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
