// The command is killed before each of its system calls in turn.

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <functional>

#include "tests/crash_safety/crash_home.h"

namespace tarvel {
namespace {

constexpr std::size_t kMostKilledInQuickForm = 120;
/// For commands that share most of their calls with a sort.
constexpr std::size_t kFewInQuickForm = 50;

/// Runs `program` once for each call, killing it there.
void killAtEachCall(CrashHome& home, const TracedProgram& program, const std::function<void()>& prepare,
                    const std::function<void()>& check, std::size_t most = kMostKilledInQuickForm) {
  prepare();
  const std::size_t calls = runTraced(program, [](pid_t, const SystemCall&) { return CallVerdict{}; }).calls;
  ASSERT_GT(calls, 30U);
  for (const std::size_t place : chosen(calls, most)) {
    SCOPED_TRACE("killed before call " + std::to_string(place) + " of " + std::to_string(calls));
    prepare();
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      return CallVerdict{call.index == place ? CallVerdict::Kind::kKill : CallVerdict::Kind::kPass};
    });
    // The number of calls differs between runs, since a sort waits for a later timestamp.
    if (end.signal != SIGKILL) continue;
    SCOPED_TRACE(home.description());
    check();
    if (testing::Test::HasFailure()) return;
  }
}

struct Killed : testing::TestWithParam<FilePlacing> {
  CrashHome home{GetParam()};

  void expectThatTheNextSortSucceeds() {
    EXPECT_TRUE(home.hasOnlyHiddenStrays());
    EXPECT_EQ(CrashHome::run(home.sort()), 0);
    EXPECT_TRUE(home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
    // Also after a sort that writes nothing.
    EXPECT_EQ(home.strays(), std::vector<std::string>());
  }
};

INSTANTIATE_TEST_SUITE_P(Placings, Killed,
                         testing::Values(FilePlacing::kOrdinary, FilePlacing::kLinked, FilePlacing::kTwoNames));

TEST_P(Killed, ASortLeavesAllOldOrAllNewBytesAndTheNextOneSucceeds) {
  killAtEachCall(
      home, home.sort(), [&] { home.reset(); },
      [&] {
        // A file with two names cannot be replaced atomically; the next reader repairs torn bytes from the journal.
        const bool mayBeTorn = GetParam() == FilePlacing::kTwoNames && home.hasRecord();
        EXPECT_TRUE(home.isUnsorted() || home.isSorted() || mayBeTorn);
        EXPECT_TRUE(home.hasNoBackup() || home.hasWholeBackup());
        EXPECT_TRUE(home.isUnsorted() || home.hasWholeBackup()) << "written before there was a backup";
        expectThatTheNextSortSucceeds();
      });
}

TEST_P(Killed, ARestoreIsDoneOrNotAndTheNextSortSucceeds) {
  killAtEachCall(
      home, home.restore(), [&] { home.resetToSorted(); },
      [&] {
        const bool mayBeTorn = GetParam() == FilePlacing::kTwoNames && home.hasRecord();
        EXPECT_TRUE(home.isUnsorted() || home.isSorted() || mayBeTorn);
        EXPECT_TRUE(home.isUnsorted() || home.hasWholeBackup());
        EXPECT_TRUE(home.hasNoBackup() || home.hasWholeBackup());
        EXPECT_TRUE(home.isSorted() || home.hasBackupOfSorted()) << "what was replaced is lost";
        EXPECT_TRUE(home.hasOnlyWholeBackups());
        expectThatTheNextSortSucceeds();
      });
}

struct KilledWithoutUnnamedFiles : testing::Test {
  CrashHome home;
};

TEST_F(KilledWithoutUnnamedFiles, TheNextSortRemovesWhatAKilledOneLeaves) {
  home.reset();
  std::size_t calls = 0;
  const auto refuse = [&](const SystemCall& call) {
    return makesUnnamedFile(call) ? CallVerdict{CallVerdict::Kind::kFail, EOPNOTSUPP} : CallVerdict{};
  };
  calls = runTraced(home.sort(), [&](pid_t, const SystemCall& call) { return refuse(call); }).calls;
  for (const std::size_t place : chosen(calls, kFewInQuickForm)) {
    home.reset();
    const TraceEnd end = runTraced(home.sort(), [&](pid_t, const SystemCall& call) {
      return call.index == place ? CallVerdict{CallVerdict::Kind::kKill, 0} : refuse(call);
    });
    if (end.signal != SIGKILL) continue;
    SCOPED_TRACE("killed before call " + std::to_string(place) + ": " + home.description());
    EXPECT_EQ(CrashHome::runWithoutUnnamedFiles(home.sort()), 0);
    EXPECT_TRUE(home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
    EXPECT_EQ(home.strays(), std::vector<std::string>());
    if (HasFailure()) return;
  }
}

struct KilledBackups : testing::Test {
  CrashHome home;
};

TEST_F(KilledBackups, ABackupIsWholeOrAbsentAndTheNextOneSucceeds) {
  killAtEachCall(
      home, home.keep(), [&] { home.reset(); },
      [&] {
        EXPECT_TRUE(home.isUnsorted());
        EXPECT_TRUE(home.hasOnlyWholeBackups());
        EXPECT_TRUE(home.hasOnlyHiddenStrays());
        EXPECT_EQ(CrashHome::run(home.keep()), 0);
        EXPECT_EQ(home.backups().size(), 1U);
        EXPECT_TRUE(home.hasOnlyWholeBackups());
      },
      kFewInQuickForm);
}

TEST_F(KilledBackups, ARestoredBackupAndWhatItReplacesBothExist) {
  killAtEachCall(
      home, home.putBack(), [&] { home.resetToSorted(); },
      [&] {
        EXPECT_TRUE(home.isUnsorted() || home.isSorted());
        EXPECT_TRUE(home.hasWholeBackup());
        EXPECT_TRUE(home.isSorted() || home.hasBackupOfSorted()) << "what was replaced is lost";
        EXPECT_TRUE(home.hasOnlyWholeBackups());
        EXPECT_TRUE(home.hasOnlyHiddenStrays());
        EXPECT_EQ(CrashHome::run(home.putBack()), 0);
        EXPECT_TRUE(home.isUnsorted());
      },
      kFewInQuickForm);
}

TEST_F(KilledBackups, APruneLeavesTheNewestAndTheInitialBackupAndTheNextOneSucceeds) {
  killAtEachCall(
      home, home.prune(), [&] { home.resetToThreeBackups(); },
      [&] {
        EXPECT_TRUE(home.isSorted());
        EXPECT_TRUE(home.hasWholeBackup());
        EXPECT_TRUE(home.hasBackupOfSorted()) << "the newest is gone";
        EXPECT_TRUE(home.hasOnlyWholeBackups());
        EXPECT_TRUE(home.hasOnlyHiddenStrays());
        EXPECT_EQ(CrashHome::run(home.prune()), 0);
        EXPECT_EQ(home.backups().size(), 1U);
        EXPECT_TRUE(home.hasBackupOfSorted());
      },
      kFewInQuickForm);
}

struct KilledSettings : testing::Test {
  CrashHome home;
};

TEST_F(KilledSettings, AChangeOfSettingsIsDoneOrNotAndTheNextOneSucceeds) {
  killAtEachCall(
      home, home.set(), [&] { home.resetSettings(); },
      [&] {
        EXPECT_TRUE(home.hasOldSettings() || home.hasNewSettings());
        EXPECT_EQ(CrashHome::run(home.set()), 0);
        EXPECT_TRUE(home.hasNewSettings());
        EXPECT_EQ(home.strays(), std::vector<std::string>());
      });
}

}  // namespace
}  // namespace tarvel
