// One QApplication for every test of the windows.
#include <gtest/gtest.h>

#include <QApplication>

namespace {

class QtApplication : public ::testing::Environment {
 public:
  void SetUp() override {
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    app_ = std::make_unique<QApplication>(argc, argv);
  }
  void TearDown() override { app_.reset(); }

 private:
  std::unique_ptr<QApplication> app_;
};

[[maybe_unused]] ::testing::Environment* const kQtApplication =
    ::testing::AddGlobalTestEnvironment(new QtApplication);

}  // namespace
