#include "cli/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

#include "core/error.h"
#include "core/number_ranges.h"
#include "host/embedded/settings_store.h"
#include "media/file_util.h"

namespace tessfx::cli {
namespace {

namespace fs = std::filesystem;

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> IdOf(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return std::nullopt;
  return FileId{st.st_dev, st.st_ino};
}

void CheckFolder(const std::string& output, const std::string& a_file) {
  const fs::path parent = fs::path(a_file).parent_path();
  const std::string folder = parent.empty() ? "." : parent.string();
  std::error_code ec;
  if (!fs::exists(folder, ec))
    Fail(ErrorKind::CantCreate, "cannot write " + output + ": the folder " + folder + " does not exist");
  if (!fs::is_directory(folder, ec)) Fail(ErrorKind::CantCreate, "cannot write " + output + ": " + folder + " is not a folder");
  // Creating a file is the only test that holds for every user and file system (root
  // passes access() checks on read-only mounts and on /proc).
  const std::string probe = JoinPath(folder, ".tessfx-probe-" + std::to_string(::getpid()));
  const int fd = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0 && errno != EEXIST)
    Fail(ErrorKind::CantCreate, "cannot write into the folder " + folder + ": " + std::strerror(errno));
  if (fd >= 0) {
    ::close(fd);
    ::unlink(probe.c_str());
  }
}

ImageWriteOptions ImageOptions(const OutputOptions& o) {
  ImageWriteOptions image;
  if (!o.depth.empty()) {
    const auto type = ParseSampleType(o.depth);
    if (!type) Fail(ErrorKind::Usage, "-d " + o.depth + ": give uint8, uint16, half or float");
    image.sample_type = *type;
  }
  // Names and levels are checked against the writer of the output's format.
  image.compression = o.compression;
  image.quality = o.quality;
  return image;
}

}  // namespace

Verbosity OutputOptions::verbosity() const {
  return quiet ? Verbosity::Quiet : (verbose ? Verbosity::Verbose : Verbosity::Normal);
}

void AddOutputOptions(CLI::App* cmd, OutputOptions& o, bool output_flag) {
  if (output_flag) cmd->add_option("-o,--output", o.path, "Where the result goes (.tsa, image, or sequence pattern f.####.png)");
  cmd->add_flag("--in-place", o.in_place, "Allow the output to replace the input's files (without -o: write back to the input)");
  cmd->add_flag("--allow-8bit", o.allow_8bit,
                "Allow 8-bit frames to replace the files of a deeper source (16-bit, half or float) they came from");
  cmd->add_flag("-n,--no-clobber", o.no_clobber,
                "Leave output files that exist alone and skip their frames (to finish an interrupted or split job)");
  cmd->add_option("--first", o.first, "Number the input's first frame N in the output's file names (default: as the input)")
      ->check(CLI::Range(int64_t{0}, int64_t{999999999}));
  cmd->add_option("-d,--depth", o.depth, "Sample type of written images: uint8, uint16, half or float (default: the format's usual)")
      ->check(CLI::IsMember({"uint8", "uint16", "half", "float"}));
  cmd->add_option("--compression", o.compression, "Compression of written images, NAME[:LEVEL] as the format names it (zip:9, dwaa:45, lzw)");
  cmd->add_option("--quality", o.quality, "Quality 1..100 of lossy image formats (JPEG, WebP, HEIF/AVIF; TIFF with jpeg, OpenEXR with dwaa or dwab)")->check(CLI::Range(1, 100));
  auto* quiet = cmd->add_flag("-q,--quiet", o.quiet, "Print no progress and no summary, only errors");
  auto* verbose = cmd->add_flag("-v,--verbose", o.verbose, "Print a line for every frame read, rendered and written");
  quiet->excludes(verbose);
}

std::string OutputPlan::FileOf(int32_t frame) const {
  if (kind != DocumentKind::ImageSequence) return path;
  return ParseSequencePattern(path)->FileName(first_number + frame);
}

OutputPlan PlanOutput(const OutputOptions& o, const DocumentInfo& input, const FrameSelection& chosen,
                      AnimationOutput animation, bool first_for_image) {
  OutputPlan plan;
  plan.path = o.path;
  if (plan.path.empty()) {
    if (!o.in_place) Fail(ErrorKind::Usage, "give the output (-o FILE), or --in-place to write back to the input");
    if (input.save_path.empty()) Fail(ErrorKind::Usage, "--in-place: the input has no file to write back to");
    plan.path = input.save_path;
  }
  plan.kind = OutputKind(plan.path);
  plan.first_number = o.first.value_or(input.FrameNumberBase());
  plan.image = ImageOptions(o);
  plan.allow_8bit = o.allow_8bit;
  const bool image_options = plan.image.sample_type != SampleType::Default || !plan.image.compression.empty() ||
                             plan.image.quality > 0;
  std::vector<int32_t> frames = chosen.Frames();

  switch (plan.kind) {
    case DocumentKind::Animation:
      if (o.no_clobber)
        Fail(ErrorKind::Usage, "-n: " + plan.path + " is written whole; --no-clobber skips the files of an image sequence");
      if (image_options && (plan.image.sample_type != SampleType::UInt8 || !plan.image.compression.empty() ||
                            plan.image.quality > 0))
        Fail(ErrorKind::Usage, plan.path + ": a .tsa holds 8-bit samples uncompressed; -d, --compression and --quality are for images");
      if (animation == AnimationOutput::Whole) {
        frames.clear();
        for (int32_t f = 0; f < input.frames; ++f) frames.push_back(f);
      }
      plan.frames = frames;
      break;
    case DocumentKind::Image:
      if (frames.size() > 1 && !first_for_image)
        Fail(ErrorKind::Usage, plan.path + " is a single image, but " + std::to_string(frames.size()) +
                                   " frames are to be written: write an image sequence such as " +
                                   SequenceTargetFor(plan.path).pattern + ", or a .tsa");
      frames.resize(std::min<size_t>(frames.size(), 1));
      plan.frames = frames;
      break;
    case DocumentKind::ImageSequence:
      plan.frames = frames;
      break;
  }
  if (o.first && plan.kind != DocumentKind::ImageSequence)
    Fail(ErrorKind::Usage, "--first numbers the files of an image sequence, and " + plan.path + " is not one");

  CheckFolder(plan.path, plan.FileOf(0));

  if (o.no_clobber) {
    std::vector<int32_t> kept;
    for (int32_t f : plan.frames) (FileExists(plan.FileOf(f)) ? plan.skipped : kept).push_back(f);
    plan.frames = std::move(kept);
  }

  // Replacing an input file needs --in-place: a wrong pattern must not re-encode the source.
  if (!o.in_place) {
    std::set<FileId> inputs;
    for (const std::string& file : input.files)
      if (auto id = IdOf(file)) inputs.insert(*id);
    auto check = [&](const std::string& file) {
      const auto id = IdOf(file);
      if (id && inputs.count(*id))
        Fail(ErrorKind::Usage, plan.path + " would replace the input file " + file + ": give --in-place to allow it");
    };
    if (plan.kind == DocumentKind::Animation) {
      check(plan.path);
    } else {
      for (int32_t f : plan.frames) check(plan.FileOf(f));
    }
  }

  if (plan.kind != DocumentKind::Animation) CheckImageWriteOptions(plan.FileOf(0), plan.image, DefaultTempDir());
  return plan;
}

std::string FrameNumbersText(const std::vector<int32_t>& frames, int64_t number_base) {
  std::vector<int64_t> numbers;
  numbers.reserve(frames.size());
  for (int32_t f : frames) numbers.push_back(number_base + f);
  std::sort(numbers.begin(), numbers.end());
  return NumberRangesText(numbers);
}

std::string WrittenText(const OutputPlan& plan, int64_t number_base) {
  std::string text = (plan.frames.size() == 1 ? "frame " : "frames ") + FrameNumbersText(plan.frames, number_base);
  if (plan.kind == DocumentKind::ImageSequence && !plan.frames.empty())
    text += " as " + plan.FileOf(plan.frames.front()) +
            (plan.frames.size() > 1 ? " .. " + plan.FileOf(plan.frames.back()) : std::string());
  return text;
}

}  // namespace tessfx::cli
