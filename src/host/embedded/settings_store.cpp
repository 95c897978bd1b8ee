#include "host/embedded/settings_store.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QSettings>
#include <QString>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "core/error.h"
#include "media/file_util.h"
#include "media/private_folder.h"

namespace tessfx {
namespace {

QString GroupKey(const std::string& app, const std::string& section, const std::string& key) {
  return QString::fromStdString(app + "/" + section + "/" + key);
}

namespace fs = std::filesystem;

std::string EnvOr(const char* name, const std::string& fallback) {
  const char* v = std::getenv(name);
  return (v && *v) ? std::string(v) : fallback;
}

// XDG base folders must be absolute; a relative value is ignored as the rules require.
std::string XdgFolder(const char* name) {
  std::string v = EnvOr(name, "");
  return fs::path(v).is_absolute() ? v : std::string();
}

std::string HomeFolder() {
  std::string home = EnvOr("HOME", "");
  if (!home.empty()) return home;
  // No HOME (a service or a cleared environment): the account's home from the user database.
  std::vector<char> buffer(16384);
  passwd pw{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &pw, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      *found->pw_dir)
    return found->pw_dir;
  Fail(ErrorKind::NoInput, "cannot find the home folder: HOME is not set and the user has no home entry");
}

}  // namespace

std::string SettingsStore::DefaultPath() {
  fs::path dir = EnvOr("TESSFX_CONFIG_DIR", "");
  if (dir.empty()) {
    fs::path base = XdgFolder("XDG_CONFIG_HOME");
    if (base.empty()) base = fs::path(HomeFolder()) / ".config";
    dir = base / "tessfx";
  }
  return (dir / "settings.ini").string();
}

SettingsStore::SettingsStore(const std::string& ini_path) : path_(ini_path.empty() ? DefaultPath() : ini_path) {
  // A missing folder is created; one that cannot be is reported when saving fails.
  std::error_code ec;
  const fs::path folder = fs::path(path_).parent_path();
  if (!folder.empty()) fs::create_directories(folder, ec);
  CheckSettingsFile();
  settings_ = std::make_unique<QSettings>(QString::fromStdString(path_), QSettings::IniFormat);
}

SettingsStore::~SettingsStore() = default;

std::string SettingsStore::Get(const std::string& app, const std::string& section, const std::string& key,
                               const std::string& fallback) const {
  QVariant v = settings_->value(GroupKey(app, section, key));
  if (!v.isValid()) return fallback;
  return v.toString().toStdString();
}

void SettingsStore::Save(const std::string& app, const std::string& section, const std::string& key,
                         const std::string& value) {
  CheckSettingsFile();
  settings_->setValue(GroupKey(app, section, key), QString::fromStdString(value));
  settings_->sync();
  if (settings_->status() == QSettings::AccessError)
    Fail(ErrorKind::CantCreate, "cannot write the settings file " + path_);
}

void SettingsStore::Sync() { settings_->sync(); }

void SettingsStore::CheckSettingsFile() const {
  // The file is read whole by the settings library, which opens it by name: a pipe there
  // would stall every command, a huge file would be read into memory.
  if (NotAnInputFile(path_) == std::string("no such file")) return;
  const InputFile file(path_);
  if (file.Size() > kMaxSettingsBytes)
    Fail(ErrorKind::BadData, "the settings file " + path_ + " is " + std::to_string(file.Size()) +
                                 " bytes, more than a settings file holds (" + std::to_string(kMaxSettingsBytes) + ")");
}

std::string DefaultTempDir() {
  std::string dir = EnvOr("TESSFX_TEMP_DIR", "");
  if (dir.empty()) {
    fs::path base = EnvOr("TMPDIR", "");
    if (!base.is_absolute()) base = "/tmp";
    dir = (base / ("tessfx-" + std::to_string(::getuid()))).string();
  }
  return EnsureTempDir(dir);
}

std::string EnsureTempDir(const std::string& dir) {
  PrivateFolder::Open(dir);  // created or checked: a real folder of the user's, mode 0700
  return dir;
}

}  // namespace tessfx
