// The temporary folder and the files in it: made private, refused when it is not the user's
// own folder, and never a way to write through a link someone planted.
#include "media/private_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/error.h"
#include "host/scratch_folder.h"
#include "media/file_util.h"
#include "media/image_io.h"
#include "media/tsa.h"

namespace tessfx {
namespace {

using ::testing::HasSubstr;
using testing::ScratchFolder;
namespace fs = std::filesystem;

using ::tessfx::testing::FileContents;

unsigned ModeOf(const std::string& path) {
  struct stat st {};
  ::stat(path.c_str(), &st);
  return st.st_mode & 07777;
}

TEST(PrivateFolderTest, IsMadePrivateAndRefusedUnlessItIsTheUsersOwn) {
  ScratchFolder dir;
  // Even a umask that takes the owner's own bits leaves a new folder usable and private.
  const mode_t old_mask = ::umask(0277);
  PrivateFolder::Open(dir / "new/temp");
  ::umask(old_mask);
  EXPECT_EQ(ModeOf(dir / "new/temp"), 0700u);

  fs::create_directories(dir / "shared");
  fs::permissions(dir / "shared", fs::perms::owner_all | fs::perms::group_all | fs::perms::others_all);
  fs::create_directories(dir / "target");
  fs::create_directory_symlink(dir / "target", dir / "link");
  fs::create_symlink(dir / "nowhere", dir / "dangling");
  std::ofstream(dir / "file") << "x";
  const std::pair<std::string, std::string> refused[] = {
      {"shared", "has mode 0777; it must be 0700"},
      {"link", "is a link"},
      {"dangling", "is a link"},  // not created at the place the link points to
      {"file", "is not a folder"},
  };
  for (const auto& [name, why] : refused) {
    SCOPED_TRACE(name);
    try {
      PrivateFolder::Open(dir / name);
      ADD_FAILURE() << "accepted";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::CantCreate);
      EXPECT_THAT(e.what(), HasSubstr("temporary folder " + dir / name + " " + why));
    }
  }
  EXPECT_FALSE(fs::exists(dir / "nowhere"));
  if (::geteuid() == 0) {  // only root can give a folder away
    fs::create_directories(dir / "theirs");
    fs::permissions(dir / "theirs", fs::perms::owner_all, fs::perm_options::replace);
    ASSERT_EQ(::chown((dir / "theirs").c_str(), 4242, 4242), 0);
    EXPECT_THROW(
        try { PrivateFolder::Open(dir / "theirs"); } catch (const Error& e) {
          EXPECT_THAT(e.what(), HasSubstr("belongs to another user (uid 4242)"));
          throw;
        },
        Error);
  }
}

TEST(PrivateFolderTest, PlantedLinksAndPipesInsideAreNeverFollowed) {
  ScratchFolder dir;
  const PrivateFolder folder = PrivateFolder::Open(dir / "temp");
  std::ofstream(dir / "victim") << "precious";
  const auto plant = [&](const std::string& name) { fs::create_symlink(dir / "victim", dir / ("temp/" + name)); };
  plant("new");
  EXPECT_THROW(folder.CreateFile("new"), Error);
  plant("read");
  EXPECT_THAT([&] { folder.OpenFile("read"); }, ::testing::ThrowsMessage<Error>(HasSubstr("it is a link")));
  EXPECT_FALSE(folder.HoldsFile("read"));
  plant("replaced");
  folder.ReplaceFile("replaced", "fresh");  // the link is replaced, not written through
  EXPECT_TRUE(folder.HoldsFile("replaced"));
  EXPECT_EQ(FileContents(dir / "temp/replaced"), "fresh");
  EXPECT_TRUE(folder.Remove("read"));
  EXPECT_FALSE(fs::is_symlink(dir / "temp/read"));
  EXPECT_EQ(FileContents(dir / "victim"), "precious");
  ::mkfifo((dir / "temp/pipe").c_str(), 0600);
  EXPECT_THAT([&] { folder.OpenFile("pipe"); }, ::testing::ThrowsMessage<Error>(HasSubstr("named pipe")));
  EXPECT_EQ(folder.OpenFile("absent"), -1);
  std::string name;
  const int fd = folder.CreateUniqueFile("a-", ".b", name);
  ::close(fd);
  EXPECT_TRUE(folder.HoldsFile(name));
  EXPECT_EQ(ModeOf(folder.PathOf(name)), 0600u);
}

// Inputs are regular files: pipes, devices and folders are refused at once, by every reader.
TEST(InputFileTest, OnlyRegularFilesAreOpenedAndNothingWaitsOnAPipe) {
  ScratchFolder dir;
  ::mkfifo((dir / "pipe.png").c_str(), 0600);
  fs::create_directories(dir / "folder.tsa");
  const std::pair<std::string, std::string> refused[] = {
      {dir / "pipe.png", "it is a named pipe, not a file"},
      {"/dev/null", "it is a character device, not a file"},
      {dir / "folder.tsa", "it is a folder"},
      {dir / "absent.png", "no such file"},
  };
  for (const auto& [path, why] : refused) {
    SCOPED_TRACE(path);
    const std::string message = "cannot open " + path + ": " + why;
    EXPECT_THAT([&] { InputFile f(path); }, ::testing::ThrowsMessage<Error>(HasSubstr(message)));
    EXPECT_EQ(NotAnInputFile(path), why);
    RgbaPlanes planes;
    EXPECT_THAT([&] { ReadImage(path, planes); }, ::testing::ThrowsMessage<Error>(HasSubstr(message)));
    EXPECT_THAT([&] { TsaReader r(path); }, ::testing::ThrowsMessage<Error>(HasSubstr(message)));
  }
  EXPECT_EQ(NotAnInputFile("/dev/null"), "it is a character device, not a file");
}

TEST(InputFileTest, TemporaryNamesFitBesideTheLongestNameAndNameTheirProcess) {
  for (const std::string& name : {std::string(255, 'n'), std::string(250, 'n') + ".exr", std::string("a.png"),
                                  "x." + std::string(200, 'e')}) {
    const std::string temp = TemporaryNameFor(name);
    EXPECT_LE(temp.size(), 255u) << name;
    EXPECT_EQ(temp.front(), '.');
    if (name.ends_with(".exr") || name == "a.png") {
      EXPECT_EQ(temp.substr(temp.size() - 4), name.substr(name.size() - 4));
    }
    EXPECT_NE(TemporaryNameFor(name), temp);
    EXPECT_EQ(TemporaryOwner(temp), ::getpid()) << temp;
    EXPECT_EQ(TemporaryOwner(name), std::nullopt);
  }
  // Only our own pattern: a user's file that merely looks alike is never taken for one.
  for (const char* other : {".a.tmp-12-short.png", "a.tmp-12-abcdefghij.png", ".a.tmp--abcdefghij", ".a.tmp-x1-abcdefghij"})
    EXPECT_EQ(TemporaryOwner(other), std::nullopt) << other;
  EXPECT_EQ(TemporaryOwner(".a.tmp-7.tmp-12-abcdefghij.exr"), 12);
}

}  // namespace
}  // namespace tessfx
