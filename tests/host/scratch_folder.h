#pragma once
// A fresh folder per test under the build's temporary folder, removed afterwards, so that
// tests running side by side (also in other test binaries) never see each other's files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tessfx::testing {

class ScratchFolder {
 public:
  ScratchFolder() {
    const char* base = std::getenv("TESSFX_TEMP_DIR");
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::path(base && *base ? base : "/tmp") /
            ("scratch-" + std::to_string(getpid()) + "-" + info->test_suite_name() + "-" + info->name());
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
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
