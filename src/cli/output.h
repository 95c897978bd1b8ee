#pragma once
// What the commands that write frames (render, convert, apply, undo) share: where the
// frames go and how they are numbered, what may be replaced, how samples are stored, how
// much is reported; and the checks made before any frame is read or rendered.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/progress.h"
#include "host/embedded/document_io.h"
#include "media/image_io.h"
#include "render/frame_range.h"

namespace tessfx::cli {

struct OutputOptions {
  std::string path;  // -o (or the OUT argument); empty with --in-place: the input itself
  bool in_place = false;
  bool no_clobber = false;
  bool allow_8bit = false;  // --allow-8bit: replace files of a deeper source with 8-bit frames
  std::optional<int64_t> first;  // number of the input's first frame in the output's file names
  std::string depth;
  std::string compression;
  int32_t quality = 0;
  bool quiet = false;
  bool verbose = false;

  Verbosity verbosity() const;
};

// Adds the options; `output_flag` adds -o/--output (commands with an OUT argument add their own).
void AddOutputOptions(CLI::App* cmd, OutputOptions& options, bool output_flag);

// What a .tsa output receives: the whole document (render and undo write every frame back)
// or only the chosen frames (convert cuts them out).
enum class AnimationOutput { Whole, Chosen };

struct OutputPlan {
  std::string path;
  DocumentKind kind = DocumentKind::Animation;
  int64_t first_number = 0;      // the number frame 0 gets in the output's file names
  std::vector<int32_t> frames;   // the frames written, ascending (none: nothing is left to write)
  std::vector<int32_t> skipped;  // frames left out by -n because their files exist
  ImageWriteOptions image;
  bool allow_8bit = false;

  // The file frame `frame` goes to.
  std::string FileOf(int32_t frame) const;
};

// Checks, before any work, that the chosen frames can be written as asked: the output names
// a writable type and one file per frame (a single image takes one frame), its folder exists
// and is writable, the options fit it, and no input file is replaced without --in-place.
// With -n, frames whose files exist are left out (and listed as skipped). A single image
// output of several chosen frames is refused unless `first_for_image` lets it take the first.
OutputPlan PlanOutput(const OutputOptions& options, const DocumentInfo& input, const FrameSelection& chosen,
                      AnimationOutput animation, bool first_for_image = false);

// How a command that replaces a deeper source's files is told to allow it.
inline constexpr const char* kAllow8BitAdvice = "--allow-8bit writes them anyway";

// "1001-1005,1007" for frames given by index.
std::string FrameNumbersText(const std::vector<int32_t>& frames, int64_t number_base);
// What the plan wrote: "frames 1001-1005" and, for a sequence, "as out.0001.png .. out.0005.png".
std::string WrittenText(const OutputPlan& plan, int64_t number_base);

}  // namespace tessfx::cli
