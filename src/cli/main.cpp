// tessfx: the key-frame effects editor and its command line.
#include <OpenImageIO/oiioversion.h>

#include <cstdio>
#include <iostream>
#include <string_view>

#include "cli/cli.h"
#include "cli/session.h"
#include "core/error.h"

namespace {

// The first argument that is not an option: the subcommand's name, or empty.
std::string_view FirstWord(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    if (argv[i][0] != '-') return argv[i];
  return {};
}

bool Asked(int argc, char** argv, std::initializer_list<std::string_view> flags) {
  for (int i = 1; i < argc; ++i)
    for (std::string_view f : flags)
      if (f == argv[i]) return true;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"tessfx: key-frame effects over animations", "tessfx"};
  app.set_version_flag("--version", std::string("tessfx ") + TESSFX_VERSION + " (OpenImageIO " OIIO_VERSION_STRING ")");
  app.require_subcommand(1);
  app.footer("Run `tessfx COMMAND --help` for a command's options.");
  tessfx::cli::AddNewCommand(app);
  tessfx::cli::AddInfoCommand(app);
  tessfx::cli::AddConvertCommand(app);
  tessfx::cli::AddDemoCommand(app);
  tessfx::cli::AddEditCommand(app);
  tessfx::cli::AddRecoverCommand(app);
  tessfx::cli::AddRenderCommand(app);
  tessfx::cli::AddUndoCommand(app);
  tessfx::cli::AddKeysCommand(app);
  tessfx::cli::AddEffectsCommand(app);
  tessfx::cli::AddApplyCommand(app);
  tessfx::cli::AddGalleryCommand(app);
  tessfx::cli::AddFarmCommand(app);

  // No command: the list of commands. An unknown one: the same, after saying so.
  if (!Asked(argc, argv, {"-h", "--help", "--help-all", "--version"})) {
    const std::string_view word = FirstWord(argc, argv);
    if (word.empty()) {
      std::cout << app.help();
      return 0;
    }
    bool known = false;
    for (const CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; })) known |= sub->check_name(std::string(word));
    if (!known) {
      std::cerr << "tessfx: unknown command \"" << word << "\"\n\n" << app.help();
      return static_cast<int>(tessfx::ErrorKind::Usage);
    }
  }
  try {
    app.parse(argc, argv);
    // A signal after the command's last look: its work is done and on disk, but the exit
    // status still says it was stopped, as a scheduler expects.
    if (const int signal = tessfx::cli::CaughtSignal(); signal != 0) {
      const tessfx::cli::ExitStatus e = tessfx::cli::InterruptedStatus(signal, "after the work was done");
      return tessfx::cli::ReportFailure(e.code, e.message);
    }
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    return tessfx::cli::ReportFailure(static_cast<int>(tessfx::ErrorKind::Usage), e.what());
  } catch (const tessfx::cli::ExitStatus& e) {
    return tessfx::cli::ReportFailure(e.code, e.message);
  } catch (const tessfx::Error& e) {
    return tessfx::cli::ReportFailure(static_cast<int>(e.kind()), e.what());
  } catch (const std::bad_alloc&) {
    return tessfx::cli::ReportFailure(static_cast<int>(tessfx::ErrorKind::Software), "out of memory");
  } catch (const std::exception& e) {
    return tessfx::cli::ReportFailure(static_cast<int>(tessfx::ErrorKind::Software), e.what());
  }
  return 0;
}
