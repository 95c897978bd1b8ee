// tessfx: the key-frame effects editor and its command line.
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "core/error.h"

int main(int argc, char** argv) {
  CLI::App app{"tessfx: key-frame effects over animations"};
  app.require_subcommand(1);
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
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
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
