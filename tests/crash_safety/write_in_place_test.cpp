// Kills, signals, saves and a second command during a write in place, which a file with two names needs.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/crash_safety/crash_home.h"
#include "tests/crash_safety/other_program.h"
#include "tests/support/file_contents.h"

namespace tarvel {
namespace {

struct WriteInPlace : testing::Test {
  CrashHome home{FilePlacing::kTwoNames};

  void SetUp() override { home.reset(); }

  [[nodiscard]] bool overwritesFile(pid_t program, const SystemCall& call) const {
    const bool isWrite = call.number == SYS_pwrite64 || call.number == SYS_pwritev || call.number == SYS_ftruncate;
    std::error_code error;
    const auto link = "/proc/" + std::to_string(program) + "/fd/" + std::to_string(call.arguments[0]);
    return isWrite && std::filesystem::read_symlink(link, error) == home.file();
  }

  /// Leaves a torn file and its undo journal.
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
};

/// Another file is mounted over the bookmarks file.
struct MountedFile : WriteInPlace {
  const std::string mounted = home.root() + "/data/mounted.plist";
  const std::string other = home.root() + "/browser/other.plist";

  void SetUp() override {
    WriteInPlace::SetUp();
    if (::geteuid() != 0) GTEST_SKIP() << "only root may mount";
    std::filesystem::copy_file(home.file(), mounted);
    std::filesystem::copy_file(home.file(), other);
    isMounted = ::mount(mounted.c_str(), home.file().c_str(), nullptr, MS_BIND, nullptr) == 0;
    if (!isMounted) GTEST_SKIP() << "mounting is not permitted";
    killInTheMiddle();
  }

  void TearDown() override { unmount(); }

  void unmount() {
    if (isMounted) {
      EXPECT_EQ(::umount(home.file().c_str()), 0);
    }
    isMounted = false;
  }

  bool isMounted = false;
};

TEST_F(WriteInPlace, ATornFileIsRepairedWhenItIsReadByEitherName) {
  const std::string second = home.root() + "/links/second.plist";
  killInTheMiddle();
  EXPECT_EQ(CrashHome::run(home.sort(second)), 0);
  EXPECT_TRUE(home.isSorted());
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

TEST_F(MountedFile, IsRepairedByTheNameItWasMountedFrom) {
  unmount();
  EXPECT_EQ(CrashHome::run(home.sort(other)), 0);
  EXPECT_EQ(CrashHome::run(home.sort(mounted)), 0);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_FALSE(home.hasRecord());
}

/// readdir() returns the inode number of the file below a mount point.
TEST_F(MountedFile, KeepsItsJournalWhenAnotherFileOfTheFolderIsSorted) {
  EXPECT_EQ(CrashHome::run(home.sort(other)), 0);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_TRUE(home.isSorted());
}

TEST_F(WriteInPlace, ASignalEndsTheCommandOnlyWhenTheFileIsWhole) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    home.reset();
    std::size_t written = 0;
    const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
      // After the first of several writes.
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

TEST_F(WriteInPlace, ASaveWhileTheJournalIsWrittenIsNotOverwritten) {
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
  EXPECT_EQ(OtherProgram::numberIn(contentsOf(home.file())), 1);
}

TEST_F(WriteInPlace, ASecondSortWaitsForItsEnd) {
  int second = -1;
  std::thread other;
  std::size_t written = 0;
  const TraceEnd end = runTraced(home.sort(), [&](pid_t program, const SystemCall& call) {
    if (!overwritesFile(program, call) || ++written != 2) return CallVerdict{};
    other = std::thread([&] { second = CrashHome::run(home.sort()); });
    // Long enough for the other sort to reach the file, which it must not read now.
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
