// tessfx recover: frame stores and temporary files left behind by a process that ended
// without closing its document.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include "cli/cli.h"
#include "cli/session.h"
#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "host/embedded/settings_store.h"
#include "media/file_util.h"
#include "media/private_folder.h"

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
  for (const UndescribedStore& u : FindUndescribedStores(folder)) {
    ++count;
    Say(u.path + ": no readable description (its process was killed before writing one), " +
        (u.pid != 0 ? "process " + std::to_string(u.pid) + " (ended)" : "process unknown") + ", " + DiskUsage(u.path) +
        "; discard it with --clean");
  }
  if (count == 0) Say("no frame stores left behind in " + folder);
}

// Temporary files of ended processes directly in `folder` (links and folders are left
// alone): half-written outputs of a killed save. In the private folder they are reached
// through its descriptor.
std::vector<std::string> DeadTemporaries(const std::string& folder, bool is_private) {
  std::vector<std::string> names;
  if (is_private) {
    names = PrivateFolder::Open(folder).List();
  } else {
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
      std::error_code kind;
      if (entry.is_regular_file(kind) && !entry.is_symlink(kind)) names.push_back(entry.path().filename().string());
    }
    if (ec) Fail(ErrorKind::NoInput, "cannot list " + folder + ": " + ec.message());
  }
  std::vector<std::string> dead;
  for (const std::string& name : names)
    if (const auto owner = TemporaryOwner(name); owner && !ProcessAlive(*owner)) dead.push_back(name);
  std::sort(dead.begin(), dead.end());
  return dead;
}

// Lists (or with `clean` removes) what killed processes left in `folder`: temporary files,
// and in the private folder stores that were never described.
void Leftovers(const std::string& folder, bool is_private, bool clean) {
  int32_t count = 0;
  std::optional<PrivateFolder> dir;
  if (is_private) dir.emplace(PrivateFolder::Open(folder));
  for (const std::string& name : DeadTemporaries(folder, is_private)) {
    ++count;
    const std::string path = JoinPath(folder, name);
    if (!clean) {
      Say(path + ": temporary file of process " + std::to_string(*TemporaryOwner(name)) + " (ended), " + DiskUsage(path));
    } else {
      const bool removed = dir ? dir->Remove(name) : ::unlink(path.c_str()) == 0 || errno == ENOENT;
      if (!removed) Fail(ErrorKind::IoError, "cannot remove " + path + ": " + std::strerror(errno));
      Say("removed " + path);
    }
  }
  if (clean && is_private)
    for (const UndescribedStore& u : FindUndescribedStores(folder)) {
      ++count;
      DiscardUndescribedStore(u.path);
      Say("removed " + u.path);
    }
  if (count == 0 && (clean || !is_private)) Say("no temporary files of ended processes in " + folder);
}

}  // namespace

void AddRecoverCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand(
      "recover", "List frame stores left behind by a crash, or turn one back into a document");
  auto store = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  auto first = std::make_shared<int64_t>(1);
  auto discard = std::make_shared<bool>(false);
  auto clean = std::make_shared<bool>(false);
  auto folders = std::make_shared<std::vector<std::string>>();
  cmd->add_option("STORE", *store, "A left-behind store (or its .json description); none lists them");
  cmd->add_option("-o,--output", *out, "Document to write: .tsa, image sequence pattern or image");
  cmd->add_option("--first", *first, "Number of the first file of an output sequence")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  cmd->add_flag("--discard", *discard, "Delete the store afterwards (after writing --output, if given)");
  cmd->add_option("--folder", *folders, "Also look in this folder (an output's) for temporary files of ended processes");
  cmd->add_flag("--clean", *clean,
                "Remove the temporary files of ended processes and the stores they never described; stores with "
                "a description are kept (discard them one by one)");
  cmd->footer(
      "Without STORE, lists the frame stores of ended processes in the private temporary folder, the stores they "
      "never got to describe, and their temporary files (hidden names holding .tmp-PID-); --folder DIR looks for "
      "such files beside outputs in DIR as well. A process killed with SIGKILL leaves these; one stopped by "
      "Ctrl-C, SIGTERM or SIGHUP removes its own.");
  cmd->callback([=] {
    InterruptGuard interrupt;
    if (store->empty()) {
      if (!out->empty() || *discard) Fail(ErrorKind::Usage, "recover: name the STORE to write or discard");
      if (!*clean) ListLeftBehind(DefaultTempDir());
      Leftovers(DefaultTempDir(), true, *clean);
      for (const std::string& folder : *folders) Leftovers(folder, false, *clean);
      return;
    }
    if (*clean || !folders->empty()) Fail(ErrorKind::Usage, "recover: --clean and --folder go without a STORE");
    if (out->empty() && !*discard) Fail(ErrorKind::Usage, "recover: give --output FILE, --discard, or both");
    // A store killed before it was described holds nothing to recover: it can only go.
    if (StoreOwnerFromName(std::filesystem::path(*store).filename().string()) && !FileExists(*store + ".json")) {
      if (!out->empty()) Fail(ErrorKind::BadData, *store + " has no description to recover it by; remove it with --discard");
      DiscardUndescribedStore(*store);
      Say("removed " + *store);
      return;
    }
    const StoreDescription d = ReadStoreDescription(*store);
    if (!out->empty()) {
      auto host = MakeHost();
      host->RecoverStore(*store);
      host->SaveDocument(*out, StoppableSave(interrupt, *out, *first));
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
