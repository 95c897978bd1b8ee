// tessfx recover: frame stores left behind by a process that did not close its document.
#include <sys/stat.h>

#include "cli/cli.h"
#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "host/embedded/settings_store.h"

namespace tessfx::cli {
namespace {

std::string DiskUsage(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return "?";
  const double mib = static_cast<double>(st.st_blocks) * 512.0 / (1024.0 * 1024.0);
  return std::to_string(static_cast<int64_t>(mib + 0.5)) + " MiB on disk";
}

void ListLeftBehind(const std::string& folder) {
  int32_t count = 0;
  for (const StoreDescription& d : FindLeftBehindStores(folder)) {
    ++count;
    Say(d.store_path + ": " + std::to_string(d.width) + "x" + std::to_string(d.height) + ", " +
        std::to_string(d.frames) + (d.frames == 1 ? " frame, " : " frames, ") + (d.source.empty() ? "new animation" : "from " + d.source) +
        ", process " + std::to_string(d.pid) + " (ended), created " + d.created + ", " + DiskUsage(d.store_path));
  }
  if (count == 0) Say("no frame stores left behind in " + folder);
}

}  // namespace

void AddRecoverCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand(
      "recover", "List frame stores left behind by a crash, or turn one back into a document");
  auto store = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  auto first = std::make_shared<int64_t>(1);
  auto discard = std::make_shared<bool>(false);
  cmd->add_option("STORE", *store, "A left-behind store (or its .json description); none lists them");
  cmd->add_option("-o,--output", *out, "Document to write: .tsa, image sequence pattern or image");
  cmd->add_option("--first", *first, "Number of the first file of an output sequence")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  cmd->add_flag("--discard", *discard, "Delete the store afterwards (after writing --output, if given)");
  cmd->callback([=] {
    if (store->empty()) {
      if (!out->empty() || *discard) Fail(ErrorKind::Usage, "recover: name the STORE to write or discard");
      ListLeftBehind(DefaultTempDir());
      return;
    }
    if (out->empty() && !*discard) Fail(ErrorKind::Usage, "recover: give --output FILE, --discard, or both");
    const StoreDescription d = ReadStoreDescription(*store);
    if (!out->empty()) {
      auto host = MakeHost();
      host->RecoverStore(*store);
      host->SaveDocument(*out, *first);
      Say("wrote " + *out + ": " + std::to_string(d.width) + "x" + std::to_string(d.height) + ", " +
          std::to_string(d.frames) + (d.frames == 1 ? " frame" : " frames") + " recovered from " + d.store_path);
    }
    if (*discard) {
      DiscardStore(d);
      Say("removed " + d.store_path);
    } else {
      Say("the store is kept; remove it with: tessfx recover " + d.store_path + " --discard");
    }
  });
}

}  // namespace tessfx::cli
