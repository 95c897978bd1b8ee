// Saving as a user relies on it: a full disk ends with one line and exit 74 for every kind
// of output, leaving the previous file as it was and no temporary files; a save keeps the
// replaced file's permissions and writes through a symlinked document.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "host/scratch_folder.h"
#include "run_tessfx.h"

namespace {

using tessfx::testing_support::CommandResult;
using tessfx::testing_support::RunTessfx;
namespace fs = std::filesystem;

using ::tessfx::testing::FileContents;

// Renders `in` to `out` (both in `folder`) in a child whose files may not grow past `limit`
// bytes once its frames are rendered, as on a disk that fills up while the output is written:
// writes past it fail with EFBIG, the signal that would end the process being ignored. The
// limit comes only then because the frames themselves live in a file of the temporary
// folder: the child's first progress line just fits the pipe and its second one waits on
// it, after the render and before the save, while the limit is set.
CommandResult RenderWithFileLimit(const std::string& folder, const std::string& in, const std::string& out,
                                  rlim_t limit) {
  const std::vector<std::string> args = {"render", in, "-o", out, "--effect", "Negative", "-v"};
  const std::string first_line = "read " + in + " frame 0\n";
  std::vector<char*> argv{const_cast<char*>(TESSFX_BINARY)};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int out_pipe[2];
  if (::pipe(out_pipe) != 0) return {-1, "no pipe"};
  const int capacity = ::fcntl(out_pipe[1], F_SETPIPE_SZ, 4096);
  const std::string filler(static_cast<size_t>(capacity) - first_line.size(), '.');
  if (capacity <= 0 || ::write(out_pipe[1], filler.data(), filler.size()) != static_cast<ssize_t>(filler.size()))
    return {-1, "cannot fill the pipe"};
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(out_pipe[1], STDOUT_FILENO);
    ::dup2(out_pipe[1], STDERR_FILENO);
    ::close(out_pipe[0]);
    ::signal(SIGXFSZ, SIG_IGN);
    if (::chdir(folder.c_str()) != 0) ::_exit(127);
    ::execv(TESSFX_BINARY, argv.data());
    ::_exit(127);
  }
  ::close(out_pipe[1]);
  // Waits (at most 20 s) for the child to block on its second line.
  for (int i = 0; i < 2000; ++i) {
    std::ifstream wchan("/proc/" + std::to_string(child) + "/wchan");
    std::string where;
    wchan >> where;
    if (where.find("pipe_write") != std::string::npos) break;
    ::usleep(10000);
  }
  const rlimit r{limit, limit};
  const bool limited = ::prlimit(child, RLIMIT_FSIZE, &r, nullptr) == 0;
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = ::read(out_pipe[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
  ::close(out_pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!limited) return {-1, "cannot limit the child's file size"};
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text.substr(std::min(text.size(), filler.size()))};
}

std::set<std::string> Names(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.insert(e.path().filename().string());
  return names;
}

TEST(Saving, AFullDiskEndsEveryOutputKindWithOneLineAndKeepsThePreviousFile) {
  tessfx::testing::ScratchFolder dir;
  // Noise does not compress: every output of it is far larger than the limit.
  ASSERT_EQ(RunTessfx("new " + dir / "in.tsa" + " --size 256x256 --frames 1 --pattern noise").code, 0);
  ASSERT_EQ(RunTessfx("new " + dir / "old.tsa" + " --size 256x256 --frames 1 --pattern gradient").code, 0);
  for (const char* ext : {"png", "jpg", "tif", "exr", "bmp", "tsa"}) {
    SCOPED_TRACE(ext);
    const std::string out = std::string("out.") + ext;
    ASSERT_EQ(RunTessfx("convert " + dir / "old.tsa" + " " + dir / out).code, 0);
    const std::string previous = FileContents(dir / out);
    const std::set<std::string> before = Names(dir.str());
    const CommandResult r = RenderWithFileLimit(dir.str(), "in.tsa", out, 16384);
    EXPECT_EQ(r.code, 74) << r.output;
    // Progress lines, then the one line of the failure; never a "wrote".
    EXPECT_EQ(r.output.substr(std::min(r.output.find("tessfx:"), r.output.size())), "tessfx: cannot write " + out + ": File too large\n")
        << r.output;
    EXPECT_EQ(r.output.find("wrote"), std::string::npos) << r.output;
    EXPECT_EQ(FileContents(dir / out), previous);
    EXPECT_EQ(Names(dir.str()), before);  // no temporary file left beside it
  }
}

TEST(Saving, KeepsTheModeOfTheReplacedFileAndWritesThroughLinks) {
  tessfx::testing::ScratchFolder dir;
  const std::string in = dir / "in.tsa";
  ASSERT_EQ(RunTessfx("new " + in + " --size 16x8 --frames 2 --pattern noise").code, 0);
  for (const char* ext : {"tsa", "png"}) {
    SCOPED_TRACE(ext);
    const std::string doc = dir / (std::string("doc.") + ext), real = dir / (std::string("real.") + ext);
    const std::string link_name = dir / (std::string("link.") + ext);
    const std::string source = std::string(ext) == "png" ? " --frames 1" : " --frames 2";
    ASSERT_EQ(RunTessfx("new " + doc + " --size 16x8" + source + " --pattern bars").code, 0);
    ASSERT_EQ(::chmod(doc.c_str(), 0600), 0);
    ASSERT_EQ(RunTessfx("new " + doc + " --size 16x8" + source + " --pattern noise").code, 0);
    struct stat st {};
    ASSERT_EQ(::stat(doc.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    // A document reached by a relative link: the link stays, its target gets the frames.
    fs::rename(doc, real);
    fs::create_symlink(fs::path(real).filename(), link_name);
    ASSERT_EQ(RunTessfx("new " + link_name + " --size 16x8" + source + " --pattern checker").code, 0);
    EXPECT_TRUE(fs::is_symlink(link_name));
    ASSERT_EQ(::stat(real.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    ASSERT_EQ(RunTessfx("new " + dir / (std::string("fresh.") + ext) + " --size 16x8" + source +
                        " --pattern checker").code, 0);
    EXPECT_EQ(FileContents(real), FileContents(dir / (std::string("fresh.") + ext)));
  }
}

}  // namespace
