// tessfx new, info and convert: making, describing and converting animation files.
#include "cli/cli.h"
#include "core/error.h"
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
  cmd->add_option("OUT", *out, "Output animation (.tsa)")->required();
  cmd->add_option("--size", *size, "Frame size WIDTHxHEIGHT")->capture_default_str();
  cmd->add_option("--frames", *frames, "Number of frames (1..10000)")->capture_default_str();
  cmd->add_option("--pattern", *pattern, "gradient, bars, checker, noise or circles")->capture_default_str();
  cmd->add_option("--seed", *seed, "Seed of the noise pattern")->capture_default_str();
  cmd->callback([=] {
    auto [w, h] = ParseSize(*size);
    auto p = ParsePattern(*pattern);
    if (!p) Fail(ErrorKind::Usage, "unknown pattern \"" + *pattern + "\" (gradient, bars, checker, noise, circles)");
    if (*frames < 1 || *frames > kMaxFrames)
      Fail(ErrorKind::Usage, "--frames must be 1.." + std::to_string(kMaxFrames));
    auto host = MakeHost();
    host->NewAnimation(w, h, *frames);
    Plane r(w, h), g(w, h), b(w, h);
    for (int32_t f = 0; f < *frames; ++f) {
      DrawPattern(*p, *seed, f, *frames, r, g, b);
      host->WriteFramePlane(f, Channel::R, r);
      host->WriteFramePlane(f, Channel::G, g);
      host->WriteFramePlane(f, Channel::B, b);
    }
    host->SaveDocument(*out);
    Say("wrote " + *out + ": " + std::to_string(w) + "x" + std::to_string(h) + ", " + std::to_string(*frames) +
        " frames, " + PatternName(*p));
  });
}

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Print an animation's size, frame count and format");
  auto in = std::make_shared<std::string>();
  cmd->add_option("FILE", *in, "Animation file")->required();
  cmd->callback([=] {
    auto host = MakeHost();
    host->OpenDocument(*in);
    Say(*in + ": " + std::to_string(host->Tes_BufferWidth()) + "x" + std::to_string(host->Tes_BufferHeight()) +
        ", " + std::to_string(host->tes_GetTotalFrames()) + " frames, format tsa");
  });
}

void AddConvertCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("convert", "Convert an animation between formats");
  auto in = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  cmd->add_option("IN", *in, "Input animation")->required();
  cmd->add_option("OUT", *out, "Output animation")->required();
  auto bmp_size = std::make_shared<std::string>();
  cmd->add_option("--size", *bmp_size, "Frame size WIDTHxHEIGHT for BMP input (default: the first picture's)");
  cmd->callback([=] {
    auto host = MakeHost();
    if (LowerExtension(*in) == ".bmp")  // a picture or numbered sequence, through the BMP reader
      ReadBmpSequenceIntoHost(*host, *in, bmp_size->empty() ? std::nullopt : std::optional(ParseSize(*bmp_size)));
    else
      host->OpenDocument(*in);
    host->SaveDocument(*out);
    Say("wrote " + *out);
  });
}

}  // namespace tessfx::cli
