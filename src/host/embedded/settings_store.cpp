#include "host/embedded/settings_store.h"

#include <unistd.h>

#include <QSettings>
#include <QString>
#include <cstdlib>
#include <filesystem>

#include "core/error.h"

namespace tessfx {
namespace {

QString GroupKey(const std::string& app, const std::string& section, const std::string& key) {
  return QString::fromStdString(app + "/" + section + "/" + key);
}

std::string EnvOr(const char* name, const std::string& fallback) {
  const char* v = std::getenv(name);
  return (v && *v) ? std::string(v) : fallback;
}

}  // namespace

std::string SettingsStore::DefaultPath() {
  std::string dir = EnvOr("TESSFX_CONFIG_DIR", "");
  if (dir.empty()) {
    std::string base = EnvOr("XDG_CONFIG_HOME", "");
    if (base.empty()) base = EnvOr("HOME", "/tmp") + "/.config";
    dir = base + "/tessfx";
  }
  return (std::filesystem::path(dir) / "settings.ini").string();
}

SettingsStore::SettingsStore(const std::string& ini_path) : path_(ini_path.empty() ? DefaultPath() : ini_path) {
  std::error_code ec;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ec);
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
  settings_->setValue(GroupKey(app, section, key), QString::fromStdString(value));
  settings_->sync();
}

void SettingsStore::Sync() { settings_->sync(); }

std::string DefaultTempDir() {
  std::string dir = EnvOr("TESSFX_TEMP_DIR", "");
  if (dir.empty()) dir = EnvOr("TMPDIR", "/tmp") + "/tessfx-" + std::to_string(::getuid());
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) Fail(ErrorKind::CantCreate, "cannot create the temporary folder " + dir + ": " + ec.message());
  return dir;
}

}  // namespace tessfx
