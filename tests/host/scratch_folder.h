#pragma once
// A fresh folder per test under the build's temporary folder, removed afterwards, so that
// tests running side by side (also in other test binaries) never see each other's files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tessfx::testing {

// Creates `dir` below `base` with every folder from `base` down private to the user, as the
// program's temporary folder must be (tests use these folders as temporary folders).
inline void CreatePrivateFolders(const std::filesystem::path& base, const std::filesystem::path& dir) {
  std::filesystem::create_directories(dir);
  for (std::filesystem::path p = dir; !p.empty(); p = p.parent_path()) {
    std::filesystem::permissions(p, std::filesystem::perms::owner_all, std::filesystem::perm_options::replace);
    if (p == base || p == p.parent_path()) break;
  }
}

// The whole file at `path` ("" when it cannot be read).
inline std::string FileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class ScratchFolder {
 public:
  ScratchFolder() {
    const char* env = std::getenv("TESSFX_TEMP_DIR");
    const std::filesystem::path base = env && *env ? env : "/tmp";
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = base / ("scratch-" + std::to_string(getpid()) + "-" + info->test_suite_name() + "-" + info->name());
    std::filesystem::remove_all(path_);
    CreatePrivateFolders(env && *env ? base : path_, path_);
  }
  ~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string str() const { return path_.string(); }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace tessfx::testing
