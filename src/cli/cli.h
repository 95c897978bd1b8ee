#pragma once
// Shared pieces of the tessfx command line: each subcommand registers itself on the app.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "host/embedded/embedded_host.h"

namespace tessfx::cli {

// "WxH" to a pair; throws a usage Error with the text otherwise.
std::pair<int32_t, int32_t> ParseSize(const std::string& text);

// The embedded host a command works on, set up from the environment (temporary folder and
// settings store as the editor uses them).
std::unique_ptr<EmbeddedHost> MakeHost();

// Prints a line to standard output (commands report what they wrote).
void Say(const std::string& line);

// Options every command that opens a document accepts.
struct DocumentOptions {
  std::string alpha_mask;  // --alpha FILE: a greyscale image of the frame size as every frame's alpha
  int32_t alpha_bits = 0;  // --alphabits N: the document's alpha-bits flag
};
void AddDocumentOptions(CLI::App* cmd, DocumentOptions& options);
// Opens `path` in the host, then applies the options (mask size checked against the frames).
void OpenDocumentWithOptions(EmbeddedHost& host, const std::string& path, const DocumentOptions& options);

void AddNewCommand(CLI::App& app);
void AddInfoCommand(CLI::App& app);
void AddConvertCommand(CLI::App& app);
void AddDemoCommand(CLI::App& app);
void AddRecoverCommand(CLI::App& app);

}  // namespace tessfx::cli
