// tessfx new, info and convert: making, describing and converting documents.
#include "cli/cli.h"
#include "core/error.h"
#include "host/embedded/document_io.h"
#include "media/image_io.h"
#include "media/test_patterns.h"
#include "media/tsa.h"

namespace tessfx::cli {

void AddNewCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("new", "Write a generated test animation");
  auto out = std::make_shared<std::string>();
  auto size = std::make_shared<std::string>("320x240");
  auto frames = std::make_shared<int32_t>(30);
  auto pattern = std::make_shared<std::string>("gradient");
  auto seed = std::make_shared<uint32_t>(1);
  cmd->add_option("OUT", *out, "Output: .tsa, image sequence pattern (f.####.png) or image")->required();
  cmd->add_option("--size", *size, "Frame size WIDTHxHEIGHT")->capture_default_str();
  cmd->add_option("--frames", *frames, "Number of frames (1..10000)")->capture_default_str();
  cmd->add_option("--pattern", *pattern, "gradient, bars, checker, noise, circles, scene or greenscreen")->capture_default_str();
  cmd->add_option("--seed", *seed, "Seed of the noise pattern")->capture_default_str();
  cmd->callback([=] {
    auto [w, h] = ParseSize(*size);
    auto p = ParsePattern(*pattern);
    if (!p) Fail(ErrorKind::Usage, "unknown pattern \"" + *pattern + "\" (gradient, bars, checker, noise, circles, scene, greenscreen)");
    if (*frames < 1 || *frames > kMaxFrames)
      Fail(ErrorKind::Usage, "--frames must be 1.." + std::to_string(kMaxFrames));
    OutputKind(*out);
    auto host = MakeHost();
    host->NewAnimation(w, h, *frames);
    DrawPatternAnimation(*host, *p, *seed);
    host->SaveDocument(*out);
    Say("wrote " + *out + ": " + std::to_string(w) + "x" + std::to_string(h) + ", " + std::to_string(*frames) +
        (*frames == 1 ? " frame, " : " frames, ") + PatternName(*p));
  });
}

namespace {

std::string SizeText(int32_t w, int32_t h) { return std::to_string(w) + "x" + std::to_string(h); }

std::string Summary(const DocumentInfo& info) {
  std::string text = SizeText(info.width, info.height) + ", " + std::to_string(info.frames) +
                     (info.frames == 1 ? " frame" : " frames") + ", format " + info.Describe();
  if (info.kind == DocumentKind::ImageSequence) text += " (" + info.first_file + " .. " + info.last_file + ")";
  return text;
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Print a document's size, frame count and format");
  auto in = std::make_shared<std::string>();
  auto options = std::make_shared<DocumentOptions>();
  cmd->add_option("FILE", *in, "Animation (.tsa), image, or image sequence (f.####.png, f.%04d.png, f0001.png)")
      ->required();
  AddDocumentOptions(cmd, *options);
  cmd->callback([=] {
    // Headers only: describing a document never copies its frames.
    const DocumentInfo info = ProbeDocument(*in);
    std::string line = *in + ": " + Summary(info);
    if (!options->alpha_mask.empty()) {
      const ImageInfo mask = ProbeImage(options->alpha_mask);
      if (mask.width != info.width || mask.height != info.height)
        Fail(ErrorKind::BadData, options->alpha_mask + ": mask size " + SizeText(mask.width, mask.height) +
                                     " differs from the frame size " + SizeText(info.width, info.height));
      line += ", alpha from " + options->alpha_mask;
    } else if (info.has_alpha) {
      line += ", alpha from the file";
    }
    if (options->alpha_bits != 0) line += ", alpha bits " + std::to_string(options->alpha_bits);
    Say(line);
  });
}

void AddConvertCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("convert", "Convert between animations, image sequences and single images");
  auto in = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  auto bmp_size = std::make_shared<std::string>();
  auto first = std::make_shared<int64_t>(1);
  auto options = std::make_shared<DocumentOptions>();
  cmd->add_option("IN", *in, "Input: .tsa, image, or image sequence")->required();
  cmd->add_option("OUT", *out, "Output: .tsa, image (the first frame), or sequence pattern (f.####.png)")->required();
  cmd->add_option("--first", *first, "Number of the first file of an output sequence")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  cmd->add_option("--size", *bmp_size, "Frame size WIDTHxHEIGHT for BMP input (default: the first picture's)");
  AddDocumentOptions(cmd, *options);
  cmd->callback([=] {
    OutputKind(*out);  // an output that cannot be written is refused before reading anything
    auto host = MakeHost();
    DocumentOptions opened = *options;
    if (!bmp_size->empty()) opened.bmp_size = ParseSize(*bmp_size);
    OpenDocumentWithOptions(*host, *in, opened);
    host->SaveDocument(*out, *first);
    const int32_t frames = host->tes_GetTotalFrames();
    if (OutputKind(*out) == DocumentKind::Image && frames > 1)
      Say("wrote " + *out + ": frame 1 of " + std::to_string(frames));
    else
      Say("wrote " + *out + ": " + SizeText(host->Tes_BufferWidth(), host->Tes_BufferHeight()) + ", " +
          std::to_string(frames) + (frames == 1 ? " frame" : " frames"));
  });
}

}  // namespace tessfx::cli
