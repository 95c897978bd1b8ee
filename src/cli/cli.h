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

void AddNewCommand(CLI::App& app);
void AddInfoCommand(CLI::App& app);
void AddConvertCommand(CLI::App& app);
void AddDemoCommand(CLI::App& app);
void AddEffectsCommand(CLI::App& app);
void AddApplyCommand(CLI::App& app);

}  // namespace tessfx::cli
