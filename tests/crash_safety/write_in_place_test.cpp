// A file with two names is overwritten in place. Signals, and a second command, while that happens.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/crash_safety/other_program.h"
#include "tests/crash_safety/proof_home.h"

namespace tarvel {
namespace {

struct WriteInPlace : testing::Test {
  ProofHome home{FilePlacing::kTwoNames};

  void SetUp() override { home.reset(); }

  [[nodiscard]] bool overwritesFile(pid_t program, const SystemCall& call) const {
    const bool isWrite = call.number == SYS_pwrite64 || call.number == SYS_pwritev || call.number == SYS_ftruncate;
    std::error_code error;
    const auto link = "/proc/" + std::to_string(program) + "/fd/" + std::to_string(call.arguments[0]);
    return isWrite && std::filesystem::read_symlink(link, error) == home.file();
  }

  /// Leaves a torn file and the record of the write.
  void killInTheMiddle() {
    std::size_t written = 0;
    const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
      if (overwritesFile(program, call)) ++written;
      return CallVerdict{written == 2 ? CallVerdict::Kind::kKill : CallVerdict::Kind::kPass};
    });
    EXPECT_EQ(end.signal, SIGKILL);
    EXPECT_FALSE(home.isSorted() || home.isUnsorted());
    EXPECT_TRUE(home.hasRecord());
  }

  void copyFile(const std::string& from, const std::string& to) const {
    std::filesystem::copy_file(home.root() + "/" + from, home.root() + "/" + to);
  }
};

TEST_F(WriteInPlace, ATornFileIsMadeWholeByWhicheverOfItsNamesItIsRead) {
  const std::string second = home.root() + "/links/second.plist";
  killInTheMiddle();
  EXPECT_EQ(ProofHome::run(home.sort(second)), 0);
  EXPECT_TRUE(home.isSorted());
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

TEST_F(WriteInPlace, AFileThatWasMountedIsMadeWholeByTheNameItWasMountedFrom) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may mount";
  copyFile("browser/Bookmarks.plist", "data/mounted.plist");
  copyFile("browser/Bookmarks.plist", "browser/other.plist");
  const std::string mounted = home.root() + "/data/mounted.plist";
  if (::mount(mounted.c_str(), home.file().c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "mounting is forbidden here";
  }
  killInTheMiddle();
  ASSERT_EQ(::umount(home.file().c_str()), 0);
  EXPECT_EQ(ProofHome::run(home.sort(home.root() + "/browser/other.plist")), 0);
  EXPECT_EQ(ProofHome::run(home.sort(mounted)), 0);
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_FALSE(home.hasRecord());
}

/// Where something is mounted on a name, reading the folder gives the inode number of what lies below.
TEST_F(WriteInPlace, ASortOfAnotherFileLeavesTheRecordOfOneThatIsMountedInTheFolder) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may mount";
  copyFile("browser/Bookmarks.plist", "data/mounted.plist");
  copyFile("browser/Bookmarks.plist", "browser/other.plist");
  const std::string mounted = home.root() + "/data/mounted.plist";
  if (::mount(mounted.c_str(), home.file().c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "mounting is forbidden here";
  }
  killInTheMiddle();
  EXPECT_EQ(ProofHome::run(home.sort(home.root() + "/browser/other.plist")), 0);
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_TRUE(home.isSorted());
  EXPECT_EQ(::umount(home.file().c_str()), 0);
}

TEST_F(WriteInPlace, ASignalInItsMiddleEndsTheCommandOnlyWhenTheFileIsWhole) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    home.reset();
    std::size_t written = 0;
    const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
      // After the first stretch of several.
      if (overwritesFile(program, call) && ++written == 2) (void)::kill(program, signal);
      return CallVerdict{};
    });
    SCOPED_TRACE(home.description());
    EXPECT_GT(written, 1U);
    EXPECT_EQ(end.signal, signal);
    EXPECT_TRUE(home.isSorted());
    EXPECT_EQ(home.strays(), std::vector<std::string>());
  }
}

TEST_F(WriteInPlace, ASaveWhileItsRecordIsMadeIsNotOverwritten) {
  OtherProgram other(home.file(), SaveMethod::kInPlace);
  const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
    const bool makesRecord =
        call.number == SYS_renameat && textOf(program, call.arguments[3]).starts_with(".tarvel-undo-");
    if (makesRecord && other.lastSave() == 0) {
      EXPECT_TRUE(other.save());
    }
    return CallVerdict{};
  });
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_EQ(other.lastSave(), 1);
  std::ifstream file(home.file(), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_EQ(OtherProgram::numberIn(bytes), 1);
}

TEST_F(WriteInPlace, ASecondSortMeanwhileWaitsForItsEnd) {
  int second = -1;
  std::thread other;
  std::size_t written = 0;
  const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
    if (!overwritesFile(program, call) || ++written != 2) return CallVerdict{};
    other = std::thread([&] { second = ProofHome::run(home.sort()); });
    // Long enough for the other one to come to the file, which it then must not read.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return CallVerdict{};
  });
  ASSERT_TRUE(other.joinable());
  other.join();
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_EQ(second, 0);
  EXPECT_TRUE(home.isSorted());
}

}  // namespace
}  // namespace tarvel
