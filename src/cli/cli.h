#pragma once
// Shared pieces of the tessfx command line: each subcommand registers itself on the app.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/embedded/embedded_host.h"
#include "media/input_limits.h"
#include "media/sequence.h"

namespace tessfx::cli {

// "WxH" to a pair; throws a usage Error with the text otherwise.
std::pair<int32_t, int32_t> ParseSize(const std::string& text);

// The embedded host a command works on, set up from the environment (temporary folder and
// settings store as the editor uses them).
std::unique_ptr<EmbeddedHost> MakeHost();

// Prints a line to standard output (commands report what they wrote), control characters
// of names in it escaped.
void Say(const std::string& line);

// Prints "tessfx: " and the message as one escaped, bounded line to standard error and
// returns `code`: every command ends a failure through here.
int ReportFailure(int code, const std::string& message);


// Options every command that opens a document accepts.
struct DocumentOptions {
  std::string alpha_mask;  // --alpha FILE: a greyscale image of the frame size as every frame's alpha
  int32_t alpha_bits = 0;  // --alphabits N: the document's alpha-bits flag
  // BMP input only: the frame size the pictures are fitted to (default: the first picture's).
  std::optional<std::pair<int32_t, int32_t>> bmp_size;
  // --allow-gaps: a sequence's missing files repeat the frame before them instead of being refused.
  bool allow_gaps = false;
  InputLimits limits;  // --max-pixels, --max-frames
};
void AddDocumentOptions(CLI::App* cmd, DocumentOptions& options);
void AddGapOption(CLI::App* cmd, DocumentOptions& options);
// Opens `path` in the host (.bmp pictures and sequences through the BMP reader), then applies
// the options (mask size checked against the frames). On demand, frames are read from the
// files when first used (see LazyFrameStore); the windows load them all, so that the store
// they recover after a crash is the whole document.
void OpenDocumentWithOptions(EmbeddedHost& host, const std::string& path, const DocumentOptions& options,
                             bool on_demand = true);
// Describes the document at `path` from its headers, as OpenDocumentWithOptions would read it.
DocumentInfo ProbeDocumentWithOptions(const std::string& path, const DocumentOptions& options);
// The sequence whose first file `--sequence` names; the file must be there.
SequenceSettings SequenceOption(const std::string& first_file);

// Refuses an effect that takes the swap image when no swap source was given, before any
// work is done: "no swap image: give --swap FILE" (usage).
void RequireSwapSource(std::string_view effect_name, bool swap_given);

void AddNewCommand(CLI::App& app);
void AddInfoCommand(CLI::App& app);
void AddConvertCommand(CLI::App& app);
void AddDemoCommand(CLI::App& app);
void AddEditCommand(CLI::App& app);
void AddRecoverCommand(CLI::App& app);
void AddRenderCommand(CLI::App& app);
void AddUndoCommand(CLI::App& app);
void AddKeysCommand(CLI::App& app);

// Ends a command with a given exit status after `message` (an interrupted render: 130).
struct ExitStatus {
  int code;
  std::string message;
};
void AddEffectsCommand(CLI::App& app);
void AddApplyCommand(CLI::App& app);
void AddGalleryCommand(CLI::App& app);
void AddFarmCommand(CLI::App& app);

}  // namespace tessfx::cli
