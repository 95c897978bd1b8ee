#pragma once
// The saved-settings store: values by application, section and key, kept in an INI file.
// The file lives under the user's configuration folder ($XDG_CONFIG_HOME/tessfx/settings.ini
// when that variable holds an absolute path, else ~/.config/tessfx/settings.ini), or wherever
// TESSFX_CONFIG_DIR points (tests use that, never the real home).
#include <cstdint>
#include <memory>
#include <string>

class QSettings;

namespace tessfx {

inline constexpr int64_t kMaxSettingsBytes = 1 << 20;

class SettingsStore {
 public:
  // Opens the store at `ini_path`, or at the default location when it is empty.
  explicit SettingsStore(const std::string& ini_path = "");
  ~SettingsStore();
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  std::string Get(const std::string& app, const std::string& section, const std::string& key,
                  const std::string& fallback) const;
  void Save(const std::string& app, const std::string& section, const std::string& key, const std::string& value);
  void Sync();
  const std::string& path() const { return path_; }

  static std::string DefaultPath();

 private:
  // Refuses a settings file that is not a regular file or is too large to be one.
  void CheckSettingsFile() const;

  std::string path_;
  std::unique_ptr<QSettings> settings_;
};

// The per-user temporary folder (TESSFX_TEMP_DIR, else $TMPDIR or /tmp, then "tessfx-<uid>"),
// created private to the user when missing, and refused unless it is a real folder of the
// user's with mode 0700 (see PrivateFolder).
std::string DefaultTempDir();
// Creates `dir` when missing (mode 0700) and checks it as DefaultTempDir does.
std::string EnsureTempDir(const std::string& dir);

}  // namespace tessfx
