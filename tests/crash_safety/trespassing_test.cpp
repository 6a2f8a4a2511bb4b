// Other users cannot interfere through files: new files are private and exclusive, names change only relative to open
// folders, no program is executed, and planted links are not followed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/crash_safety/crash_home.h"
#include "tests/support/file_contents.h"

namespace tarvel {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

struct Trespassing : testing::Test {
  CrashHome home;

  /// Traces a sort, a restore and a change of the settings.
  void eachCall(const DecideCall& decide) {
    home.reset();
    ASSERT_EQ(runTraced(home.sort(), decide).exitStatus, 0);
    ASSERT_EQ(runTraced(home.restore(), decide).exitStatus, 0);
    home.resetSettings();
    ASSERT_EQ(runTraced(home.set(), decide).exitStatus, 0);
  }
};

TEST_F(Trespassing, NoProgramIsExecutedAndNoProcessIsForked) {
  const std::set<long> forbidden = {SYS_execve, SYS_execveat, SYS_fork, SYS_vfork, SYS_clone, SYS_clone3};
  std::size_t calls = 0;
  eachCall([&](pid_t, const SystemCall& call) {
    ++calls;
    EXPECT_FALSE(forbidden.contains(call.number)) << "call " << call.number;
    return CallVerdict::pass();
  });
  EXPECT_GT(calls, 300U);
}

TEST_F(Trespassing, NewFilesArePrivateAndUnnamedOrExclusiveAndNeverBehindALink) {
  std::size_t made = 0;
  eachCall([&](pid_t pid, const SystemCall& call) {
    if (call.number != SYS_openat) return CallVerdict::pass();
    const auto flags = static_cast<int>(call.arguments[2]);
    const bool hasNoName = (flags & O_TMPFILE) == O_TMPFILE;
    if (!hasNoName && (flags & O_CREAT) == 0) return CallVerdict::pass();
    ++made;
    EXPECT_EQ(call.arguments[3] & 077U, 0U);
    // The lock of the settings is shared by processes, so it is not exclusive.
    const bool isLock = textOf(pid, call.arguments[1]).ends_with("preferences.plist.lock");
    EXPECT_TRUE(hasNoName || (flags & O_NOFOLLOW) != 0);
    EXPECT_TRUE(hasNoName || isLock || (flags & O_EXCL) != 0);
    EXPECT_NE(flags & O_CLOEXEC, 0);
    return CallVerdict::pass();
  });
  EXPECT_GT(made, 3U);
}

TEST_F(Trespassing, WithoutUnnamedFilesNewNamesAreExclusiveAndNeverBehindALink) {
  std::size_t made = 0;
  eachCall([&](pid_t, const SystemCall& call) {
    if (call.number != SYS_openat) return CallVerdict::pass();
    const auto flags = static_cast<int>(call.arguments[2]);
    if ((flags & O_TMPFILE) == O_TMPFILE) return CallVerdict{CallVerdict::Kind::kFail, EOPNOTSUPP};
    if ((flags & O_EXCL) == 0) return CallVerdict::pass();
    ++made;
    EXPECT_NE(flags & O_NOFOLLOW, 0);
    EXPECT_EQ(call.arguments[3] & 077U, 0U);
    return CallVerdict::pass();
  });
  EXPECT_GT(made, 2U);
}

TEST_F(Trespassing, NamesChangeOnlyRelativeToOpenFolders) {
  std::size_t changed = 0;
  eachCall([&](pid_t pid, const SystemCall& call) {
    const std::set<long> byPathAlone = {SYS_rename, SYS_link, SYS_unlink, SYS_symlink, SYS_creat, SYS_truncate};
    EXPECT_FALSE(byPathAlone.contains(call.number));
    const auto isHeld = [&](std::uint64_t folder, std::uint64_t name) {
      return static_cast<int>(folder) >= 0 && textOf(pid, name).find('/') == std::string::npos;
    };
    const auto& a = call.arguments;
    if (call.number == SYS_renameat || call.number == SYS_renameat2) {
      ++changed;
      EXPECT_TRUE(isHeld(a[0], a[1]) && isHeld(a[2], a[3]));
    }
    if (call.number == SYS_linkat) {
      EXPECT_TRUE(isHeld(a[2], a[3]));
    }
    if (call.number == SYS_unlinkat) {
      EXPECT_TRUE(isHeld(a[0], a[1]));
    }
    return CallVerdict::pass();
  });
  EXPECT_GT(changed, 2U);
}

TEST_F(Trespassing, NewFilesAreForTheUserAloneAndAnExistingFileKeepsItsMode) {
  const mode_t mask = ::umask(0);
  home.reset();
  fs::remove_all(home.root() + "/data");
  fs::remove_all(home.root() + "/config");
  ASSERT_EQ(::chmod(home.file().c_str(), 0640), 0);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_EQ(CrashHome::run(home.set()), 0);
  (void)::umask(mask);
  EXPECT_EQ(modeOf(home.file()), 0640U);
  // The backup is as readable as the file.
  EXPECT_EQ(modeOf(home.backup()), 0640U);
  EXPECT_EQ(modeOf(home.root() + "/data/Tarvel"), 0700U);
  EXPECT_EQ(modeOf(home.settings()), 0600U);
  EXPECT_EQ(modeOf(home.settings() + ".lock"), 0600U);
  EXPECT_EQ(modeOf(fs::path(home.settings()).parent_path().string()), 0700U);
}

/// In a folder that others may write to, a link may replace the file during a sort. Its target is not what was read.
TEST_F(Trespassing, ALinkThatReplacesTheFileDuringASortIsNotWrittenThrough) {
  const std::string victim = home.root() + "/victim";
  home.reset();
  const std::size_t calls = runTraced(home.sort(), [](pid_t, const SystemCall&) { return CallVerdict::pass(); }).calls;
  std::size_t placed = 0;
  for (const std::size_t place : chosen(calls, 60)) {
    home.reset();
    std::ofstream(victim) << "another file";
    const TraceEnd end = runTraced(home.sort(), [&](pid_t, const SystemCall& call) {
      if (call.index != place) return CallVerdict::pass();
      fs::remove(home.file());
      fs::create_symlink(victim, home.file());
      ++placed;
      return CallVerdict::pass();
    });
    SCOPED_TRACE("at call " + std::to_string(place) + ": " + end.output.substr(0, 200));
    EXPECT_EQ(end.signal, 0);
    EXPECT_EQ(contentsOf(victim), "another file");
    if (HasFailure()) return;
  }
  EXPECT_GT(placed, 20U);
}

/// A link that exists when the command resolves the path is the user's and is followed. A later one is not.
TEST_F(Trespassing, ALinkThatReplacesTheFileDuringARestoreIsNotWrittenThrough) {
  const std::string victim = home.root() + "/victim";
  for (const TracedProgram& program : {home.restore(), home.putBack()}) {
    home.resetToSorted();
    // The last resolution of the path before the backup is read.
    std::size_t first = 0;
    bool isReading = false;
    const auto noteLook = [&](pid_t pid, const SystemCall& call) {
      isReading = isReading || (call.number == SYS_openat && textOf(pid, call.arguments[1]) == home.backup());
      const bool looks = call.number == SYS_readlink && textOf(pid, call.arguments[0]) == home.file();
      if (looks && !isReading) first = call.index;
      return CallVerdict::pass();
    };
    const std::size_t calls = runTraced(program, noteLook).calls;
    ASSERT_TRUE(isReading);
    ASSERT_GT(first, 0U);
    for (const std::size_t place : chosen(calls - first - 1, 60)) {
      home.resetToSorted();
      std::ofstream(victim) << "another file";
      const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
        if (call.index != first + 1 + place) return CallVerdict::pass();
        fs::remove(home.file());
        fs::create_symlink(victim, home.file());
        return CallVerdict::pass();
      });
      SCOPED_TRACE("at call " + std::to_string(first + 1 + place) + ": " + end.output.substr(0, 300));
      EXPECT_EQ(end.signal, 0);
      EXPECT_EQ(contentsOf(victim), "another file");
      if (HasFailure()) return;
    }
  }
}

TEST_F(Trespassing, ADanglingLinkInPlaceOfTheBackupIsNotWrittenThrough) {
  const std::string victim = home.root() + "/victim";
  home.reset();
  fs::create_directories(home.root() + "/data/Tarvel");
  // There is no backup, and none is created at the link's target.
  fs::create_symlink(victim, home.backup());
  EXPECT_EQ(CrashHome::run(home.sort()), 7);
  EXPECT_TRUE(home.isUnsorted());
  EXPECT_FALSE(fs::exists(victim));
}

/// A user who can write to the settings folder could do anything, so the file is read. The new one is the user's own.
TEST_F(Trespassing, SettingsOwnedByAnotherUserAreReadAndRewrittenAsTheUsersOwn) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  home.resetSettings();
  ASSERT_EQ(::chown(home.settings().c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(CrashHome::run(home.set()), 0);
  EXPECT_TRUE(home.hasNewSettings());
  struct stat status {};
  ASSERT_EQ(::stat(home.settings().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, ::geteuid());
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Trespassing, AFileInAWorldWritableFolderIsSortedAndNothingIsLeftBehind) {
  home.reset();
  ASSERT_EQ(::chmod((home.root() + "/browser").c_str(), 0777), 0);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_TRUE(home.isSorted());
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

}  // namespace
}  // namespace tarvel
