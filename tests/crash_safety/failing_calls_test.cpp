// Each system call of the command fails in turn, and each read and write transfers only half.

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <system_error>

#include "tests/crash_safety/crash_home.h"

namespace tarvel {
namespace {

constexpr std::size_t kMostFailedInQuickForm = 12;

struct Failure {
  const char* name;
  CallVerdict verdict;
};

const std::vector<Failure>& failures() {
  static const std::vector<Failure> all = {
      {"EIO", CallVerdict::failWith(EIO)},       {"ENOSPC", CallVerdict::failWith(ENOSPC)},
      {"EDQUOT", CallVerdict::failWith(EDQUOT)}, {"EACCES", CallVerdict::failWith(EACCES)},
      {"EPERM", CallVerdict::failWith(EPERM)},   {"EROFS", CallVerdict::failWith(EROFS)},
      {"EMFILE", CallVerdict::failWith(EMFILE)}, {"ENOMEM", CallVerdict::failWith(ENOMEM)},
      {"EINTR", CallVerdict::failWith(EINTR)},   {"half", {CallVerdict::Kind::kShorten, 0}},
  };
  return all;
}

/// Calls that cannot fail with an errno value, or before and after the program's own code.
bool isSpared(long number) {
  static const std::set<long> spared = {SYS_exit_group, SYS_exit, SYS_execve, SYS_munmap, SYS_futex, SYS_brk};
  return spared.contains(number);
}

/// How often a failure was injected, and how the program ended.
struct Tally {
  std::size_t struck = 0;
  std::map<int, std::size_t> statuses;
};

class FailingCalls {
 public:
  FailingCalls(CrashHome& home, TracedProgram program, std::function<void()> prepare)
      : home_(home), program_(std::move(program)), prepare_(std::move(prepare)) {}

  /// Runs the program once for each failure of each call, and `check` after each run.
  void each(const std::function<void(const TraceEnd&, const Failure&)>& check) {
    findMain();
    for (const Failure& failure : failures()) {
      for (const std::size_t place : chosen(calls_ - firstOfMain_, kMostFailedInQuickForm)) {
        one(failure, firstOfMain_ + place, check);
        if (testing::Test::HasFailure()) return;
      }
      EXPECT_GT(tallies_[failure.name].struck, 0U) << failure.name << " never struck";
    }
  }

  [[nodiscard]] const Tally& tally(const std::string& failure) { return tallies_[failure]; }

 private:
  /// Skips the loader's calls, whose failures end the program before its own code runs.
  void findMain() {
    prepare_();
    // The loader's last call unmaps its cache of libraries.
    const TraceEnd end = runTraced(program_, [&](pid_t, const SystemCall& call) {
      if (call.number == SYS_munmap && firstOfMain_ == 0) firstOfMain_ = call.index + 1;
      return CallVerdict{};
    });
    calls_ = end.calls;
    ASSERT_GT(firstOfMain_, 0U);
    ASSERT_GT(calls_, firstOfMain_ + 10);
  }

  void one(const Failure& failure, std::size_t place,
           const std::function<void(const TraceEnd&, const Failure&)>& check) {
    prepare_();
    bool hasStruck = false;
    long number = -1;
    const TraceEnd end = runTraced(program_, [&](pid_t, const SystemCall& call) {
      if (call.index != place || isSpared(call.number)) return CallVerdict{};
      hasStruck = true;
      number = call.number;
      return failure.verdict;
    });
    if (!hasStruck) return;
    Tally& tally = tallies_[failure.name];
    ++tally.struck;
    ++tally.statuses[end.exitStatus];
    SCOPED_TRACE(std::string(failure.name) + " at call " + std::to_string(place) + ", number " +
                 std::to_string(number));
    SCOPED_TRACE(home_.description() + ", status " + std::to_string(end.exitStatus) + ": " + end.output.substr(0, 400));
    EXPECT_EQ(end.signal, 0);
    check(end, failure);
  }

  CrashHome& home_;
  TracedProgram program_;
  std::function<void()> prepare_;
  std::size_t firstOfMain_ = 0;
  std::size_t calls_ = 0;
  std::map<std::string, Tally> tallies_;
};

/// The output could not be written, after everything was done.
constexpr int kNoAnswer = 74;

bool isShort(const Failure& failure) { return failure.verdict.kind == CallVerdict::Kind::kShorten; }

struct FailedCalls : testing::TestWithParam<FilePlacing> {
  CrashHome home{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Placings, FailedCalls,
                         testing::Values(FilePlacing::kOrdinary, FilePlacing::kLinked, FilePlacing::kTwoNames));

TEST_P(FailedCalls, ASortSucceedsOrLeavesTheFileAsItWasWithACodeAndAMessage) {
  const std::set<int> codes = {0, 1, 5, 6, 7, 8, 70, kNoAnswer};
  FailingCalls calls(home, home.sort(), [&] { home.reset(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    const bool isDone = end.exitStatus == 0 || end.exitStatus == kNoAnswer;
    EXPECT_TRUE(isDone ? home.isSorted() : home.isUnsorted());
    EXPECT_TRUE(home.isUnsorted() ? home.hasNoBackup() || home.hasWholeBackup() : home.hasWholeBackup());
    EXPECT_TRUE(home.hasOnlyHiddenStrays());
    if (end.exitStatus != 0) {
      EXPECT_NE(end.output, "");
    }
  });
}

TEST_P(FailedCalls, ARestoreSucceedsOrLeavesBothFilesAsTheyWere) {
  const std::set<int> codes = {0, 1, 2, 3, 5, 6, 7, 8, 12, 70, kNoAnswer};
  FailingCalls calls(home, home.restore(), [&] { home.resetToSorted(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    const bool isBack = home.isUnsorted() && home.hasBackupOfSorted();
    const bool isDone = isBack && home.hasNoBackup();
    EXPECT_TRUE(home.hasOnlyWholeBackups());
    if (end.exitStatus == 12) {
      // The backup was restored but could not be removed.
      EXPECT_TRUE(isBack && home.hasWholeBackup());
    } else {
      EXPECT_TRUE(isDone || (home.isSorted() && home.hasWholeBackup()));
    }
    if (end.exitStatus == 0 || end.exitStatus == kNoAnswer) {
      EXPECT_TRUE(isDone);
    }
    if (end.exitStatus != 0) {
      EXPECT_NE(end.output, "");
    }
  });
}

struct FailedBackups : testing::Test {
  CrashHome home;
};

TEST_F(FailedBackups, ABackupIsMadeOrThereIsACodeAndAMessage) {
  const std::set<int> codes = {0, 1, 3, 5, 7, 8, 70, kNoAnswer};
  FailingCalls calls(home, home.keep(), [&] { home.reset(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    EXPECT_TRUE(home.isUnsorted());
    EXPECT_TRUE(home.hasOnlyWholeBackups());
    EXPECT_TRUE(home.hasOnlyHiddenStrays());
    EXPECT_TRUE(end.exitStatus != 0 || home.backups().size() == 1);
    if (end.exitStatus != 0) {
      EXPECT_NE(end.output, "");
    }
  });
}

TEST_F(FailedBackups, ABackupIsRestoredOrTheFileStaysAsItWas) {
  const std::set<int> codes = {0, 1, 3, 5, 6, 7, 8, 70, kNoAnswer};
  FailingCalls calls(home, home.putBack(), [&] { home.resetToSorted(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    const bool isDone = home.isUnsorted() && home.hasBackupOfSorted();
    EXPECT_TRUE(isDone || home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
    EXPECT_TRUE(home.hasOnlyWholeBackups());
    EXPECT_TRUE(home.hasOnlyHiddenStrays());
    if (end.exitStatus == 0 || end.exitStatus == kNoAnswer) {
      EXPECT_TRUE(isDone);
    }
    if (end.exitStatus != 0) {
      EXPECT_NE(end.output, "");
    }
  });
}

TEST_F(FailedBackups, APruneSucceedsOrFailsWithAMessageAndNeverRemovesTheNewestOrTheInitialBackup) {
  const std::set<int> codes = {0, 1, 5, 12, 70, kNoAnswer};
  FailingCalls calls(home, home.prune(), [&] { home.resetToThreeBackups(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    EXPECT_TRUE(home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
    EXPECT_TRUE(home.hasBackupOfSorted()) << "the newest is gone";
    EXPECT_TRUE(home.hasOnlyWholeBackups());
    EXPECT_NE(end.output, "");
  });
}

/// A full disk is noticed while the old bytes are still there, also on a copy-on-write file system.
TEST(ReplacedInPlace, SpaceIsReservedBeforeAByteIsOverwritten) {
  CrashHome home(FilePlacing::kTwoNames);
  home.reset();
  bool isTaken = false;
  std::size_t overwritten = 0;
  const auto isOfFile = [&](pid_t pid, std::uint64_t fd) {
    std::error_code error;
    const auto link = "/proc/" + std::to_string(pid) + "/fd/" + std::to_string(fd);
    return std::filesystem::read_symlink(link, error) == home.file();
  };
  const TraceEnd end = runTraced(home.sort(), [&](pid_t pid, const SystemCall& call) {
    const bool isWrite = call.number == SYS_pwrite64 || call.number == SYS_pwritev || call.number == SYS_write;
    if (call.number == SYS_fallocate && isOfFile(pid, call.arguments[0])) isTaken = true;
    if (isWrite && isOfFile(pid, call.arguments[0])) {
      ++overwritten;
      EXPECT_TRUE(isTaken);
    }
    return CallVerdict{};
  });
  EXPECT_EQ(end.exitStatus, 0);
  EXPECT_GT(overwritten, 0U);
}

struct FailedSettings : testing::Test {
  CrashHome home;
};

TEST_F(FailedSettings, AChangeOfSettingsSucceedsOrTheOldOnesStay) {
  const std::set<int> codes = {0, 12, 70, kNoAnswer};
  FailingCalls calls(home, home.set(), [&] { home.resetSettings(); });
  calls.each([&](const TraceEnd& end, const Failure& failure) {
    EXPECT_TRUE(codes.contains(end.exitStatus));
    if (isShort(failure)) {
      EXPECT_EQ(end.exitStatus, 0);
    }
    const bool isDone = end.exitStatus == 0 || end.exitStatus == kNoAnswer;
    EXPECT_TRUE(isDone ? home.hasNewSettings() : home.hasOldSettings());
    EXPECT_TRUE(home.hasOnlyHiddenStrays());
    if (end.exitStatus != 0) {
      EXPECT_NE(end.output, "");
    }
  });
}

}  // namespace
}  // namespace tarvel
