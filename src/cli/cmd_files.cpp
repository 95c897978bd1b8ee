// tessfx new, info and convert: making, describing and converting documents.
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/cli.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/session.h"
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
    InterruptGuard interrupt;
    auto [w, h] = ParseSize(*size);
    auto p = ParsePattern(*pattern);
    if (!p) Fail(ErrorKind::Usage, "unknown pattern \"" + *pattern + "\" (gradient, bars, checker, noise, circles, scene, greenscreen)");
    if (*frames < 1 || *frames > kMaxFrames)
      Fail(ErrorKind::Usage, "--frames must be 1.." + std::to_string(kMaxFrames));
    OutputKind(*out);
    auto host = MakeHost();
    host->NewAnimation(w, h, *frames);
    DrawPatternAnimation(*host, *p, *seed);
    host->SaveDocument(*out, StoppableSave(interrupt, *out));
    Say("wrote " + *out + ": " + std::to_string(w) + "x" + std::to_string(h) + ", " + std::to_string(*frames) +
        (*frames == 1 ? " frame, " : " frames, ") + PatternName(*p));
  });
}

namespace {

std::string SizeText(int32_t w, int32_t h) { return std::to_string(w) + "x" + std::to_string(h); }

const char* KindName(DocumentKind kind) {
  switch (kind) {
    case DocumentKind::Animation: return "animation";
    case DocumentKind::ImageSequence: return "sequence";
    case DocumentKind::Image: return "image";
  }
  return "animation";
}

std::string Summary(const DocumentInfo& info) {
  std::string text = SizeText(info.width, info.height) + ", " + std::to_string(info.frames) +
                     (info.frames == 1 ? " frame" : " frames") + ", format " + info.Describe();
  if (info.kind == DocumentKind::ImageSequence) text += " (" + info.first_file + " .. " + info.last_file + ")";
  const int64_t base = info.FrameNumberBase();
  text += ", frames " + std::to_string(base) + ".." + std::to_string(base + info.frames - 1) +
          (info.kind == DocumentKind::ImageSequence ? " by file number" : " by index");
  text += ", " + std::to_string(info.channels) + " channels of " + info.sample_type + " (" + info.DepthText() + ")";
  // Frames are 8-bit sRGB: say what reading does to the file's samples.
  if (IsLinearColourSpace(info.colour_space))
    text += ", colour space " + info.colour_space + " (converted to sRGB on reading)";
  else
    text += ", colour space " + (info.colour_space.empty() ? "not stated (read as sRGB)" : info.colour_space);
  if (info.pattern && !info.gaps.empty()) text += ", gaps: " + GapText(*info.pattern, info.gaps);
  return text;
}

nlohmann::json InfoJson(const std::string& path, const DocumentInfo& info) {
  const int64_t base = info.FrameNumberBase();
  nlohmann::json j;
  j["path"] = path;
  j["kind"] = KindName(info.kind);
  j["format"] = info.format;
  j["width"] = info.width;
  j["height"] = info.height;
  j["frames"] = info.frames;
  j["numbering"] = info.kind == DocumentKind::ImageSequence ? "file" : "index";
  j["first_frame"] = base;
  j["last_frame"] = base + info.frames - 1;
  j["gaps"] = info.gaps;
  j["pattern"] = info.pattern ? nlohmann::json(info.pattern->Text()) : nlohmann::json(nullptr);
  j["first_file"] = info.first_file;
  j["last_file"] = info.last_file;
  j["channels"] = info.channels;
  j["alpha"] = info.has_alpha;
  j["sample_type"] = info.sample_type;
  j["bits_per_sample"] = info.bits;
  j["colour_space"] = info.colour_space.empty() ? nlohmann::json(nullptr) : nlohmann::json(info.colour_space);
  j["linear"] = IsLinearColourSpace(info.colour_space);  // converted to sRGB on reading
  j["deep"] = info.Deep();  // more than 8 bits: saving 8-bit frames over it is refused
  return j;
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Print a document's size, frame count, frame numbers and format");
  auto in = std::make_shared<std::string>();
  auto options = std::make_shared<DocumentOptions>();
  auto json = std::make_shared<bool>(false);
  cmd->add_option("FILE", *in, "Animation (.tsa), image, or image sequence (f.####.png, f.%04d.png, f0001.png)")
      ->required();
  AddDocumentOptions(cmd, *options);
  cmd->add_flag("--json", *json, "Print JSON: size, frames, frame numbers, gaps, channels, sample type, colour space");
  cmd->footer("A sequence's frames go by the files' numbers, an animation's by their index from 0: these are the "
              "numbers --frames and --frame take. Missing files of a sequence are listed, not refused.");
  cmd->callback([=] {
    // Headers only: describing a document never reads its frames.
    const DocumentInfo info = ProbeDocumentWithOptions(*in, *options);
    if (!options->alpha_mask.empty()) {
      const ImageInfo mask = ProbeImage(options->alpha_mask, options->limits);
      if (mask.width != info.width || mask.height != info.height)
        Fail(ErrorKind::BadData, options->alpha_mask + ": mask size " + SizeText(mask.width, mask.height) +
                                     " differs from the frame size " + SizeText(info.width, info.height));
    }
    if (*json) {
      nlohmann::json j = InfoJson(*in, info);
      if (!options->alpha_mask.empty()) {
        j["alpha"] = true;
        j["alpha_mask"] = options->alpha_mask;
      }
      j["alpha_bits"] = options->alpha_bits;
      std::cout << j.dump(2) << "\n";
      return;
    }
    std::string line = *in + ": " + Summary(info);
    if (!options->alpha_mask.empty())
      line += ", alpha from " + options->alpha_mask;
    else if (info.has_alpha)
      line += ", alpha from the file";
    if (options->alpha_bits != 0) line += ", alpha bits " + std::to_string(options->alpha_bits);
    Say(line);
  });
}

void AddConvertCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("convert", "Convert between animations, image sequences and single images");
  struct Options {
    std::string in, bmp_size, frames;
    DocumentOptions document;
    OutputOptions output;
  };
  auto o = std::make_shared<Options>();
  cmd->add_option("IN", o->in, "Input: .tsa, image, or image sequence")->required();
  cmd->add_option("OUT", o->output.path, "Output: .tsa, image (one frame), or sequence pattern (f.####.png)");
  AddOutputOptions(cmd, o->output, false);
  cmd->add_option("--frames", o->frames, "Frames to convert, by their numbers: 1001-1040, 1001-1100x5 (default all)");
  cmd->add_option("--size", o->bmp_size, "Frame size WIDTHxHEIGHT for BMP input (default: the first picture's)");
  AddDocumentOptions(cmd, o->document);
  AddGapOption(cmd, o->document);
  cmd->footer("A sequence output is numbered as the input (a .tsa's frames from 0) unless --first says otherwise; "
              "with --frames it gets exactly those files, and a .tsa output just those frames. A single image takes "
              "the first frame. Replacing the input's files needs --in-place.");
  cmd->callback([o] {
    InterruptGuard interrupt;
    std::shared_ptr<EmbeddedHost> host = MakeHost();
    DocumentOptions opened = o->document;
    if (!o->bmp_size.empty()) opened.bmp_size = ParseSize(o->bmp_size);
    OpenDocumentWithOptions(*host, o->in, opened);
    const DocumentInfo& info = host->document_info();
    const int32_t total = host->tes_GetTotalFrames();
    const int64_t base = info.FrameNumberBase();
    const FrameSelection chosen =
        o->frames.empty() ? FrameSelection::All(total) : FrameSelection::Parse(o->frames, total, base);
    const OutputPlan plan = PlanOutput(o->output, info, chosen, AnimationOutput::Chosen, /*first_for_image=*/true);
    const bool quiet = o->output.quiet;
    if (plan.frames.empty()) {
      if (!quiet) Say("nothing to convert: the files of all " + std::to_string(plan.skipped.size()) + " frames exist");
      return;
    }
    Progress progress(o->output.verbosity());
    EmbeddedHost::SaveOptions save = StoppableSave(interrupt, plan.path, plan.first_number);
    save.frames = plan.frames;
    save.image = plan.image;
    save.allow_8bit = plan.allow_8bit;
    save.depth_advice = kAllow8BitAdvice;
    save.on_frame = [&, stop = save.on_frame](int32_t f, const std::string& file) {
      progress.Step(base + f, "made " + file);
      stop(f, file);
    };
    progress.Begin("converting", static_cast<int64_t>(plan.frames.size()));
    host->SaveDocument(plan.path, save);
    progress.End();
    if (quiet) return;
    const int64_t written = static_cast<int64_t>(plan.frames.size());
    if (plan.kind == DocumentKind::Image && total > 1)
      Say("wrote " + plan.path + ": frame " + std::to_string(base + plan.frames.front()) + " of " + o->in);
    else
      Say("wrote " + plan.path + ": " + SizeText(host->Tes_BufferWidth(), host->Tes_BufferHeight()) + ", " +
          std::to_string(written) + (written == 1 ? " frame" : " frames") + " (" + WrittenText(plan, base) + ")" +
          (plan.skipped.empty() ? "" : "; " + std::to_string(plan.skipped.size()) + " skipped, their files exist"));
  });
}

}  // namespace tessfx::cli
