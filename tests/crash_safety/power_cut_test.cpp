// The power is cut at any moment: every state that the disk may have is whole, and the next run succeeds from it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/crash_safety/crash_home.h"
#include "tests/crash_safety/crash_model.h"

namespace tarvel {
namespace {

constexpr const char* kFile = "browser/Bookmarks.plist";
constexpr const char* kBackup = "data/Tarvel/Bookmarks (Initial Copy).plist";
constexpr const char* kSettings = "config/org.tarvel.Tarvel/preferences.plist";
constexpr std::size_t kMostRunsInQuickForm = 25;

/// Traces one run without faults and passes each state that it may leave to `check`. `goOn` continues from some of
/// them, or from all in the long form. After the program's end `isDone` must hold: what it reported as done is on disk.
void cutThePowerOf(CrashHome& home, const TracedProgram& program, const std::function<void(const DiskState&)>& check,
                   const std::function<bool(const DiskState&)>& isDone, const std::function<void()>& goOn) {
  CrashModel model(home.root());
  const TraceEnd end = runTraced(
      program, [](pid_t, const SystemCall&) { return CallVerdict{}; },
      [&](pid_t pid, const SystemCall& call) { model.observe(pid, call); });
  ASSERT_EQ(end.exitStatus, 0) << end.output;
  ASSERT_GT(model.changes(), 3U);
  std::vector<DiskState> states;
  model.forEachState([&](const DiskState& state) { states.push_back(state); });
  ASSERT_GT(states.size(), 1U);
  for (const DiskState& state : states) {
    check(state);
    if (testing::Test::HasFailure()) return;
  }
  model.forEachLastState([&](const DiskState& state) { EXPECT_TRUE(isDone(state)); });
  for (const std::size_t i : chosen(states.size(), kMostRunsInQuickForm)) {
    states[i].materialise(home.root());
    SCOPED_TRACE("state " + std::to_string(i) + " of " + std::to_string(states.size()) + ": " + home.description());
    goOn();
    if (testing::Test::HasFailure()) return;
  }
}

struct PowerCut : testing::TestWithParam<FilePlacing> {
  CrashHome home{GetParam()};

  [[nodiscard]] bool isUnsorted(const DiskState& state) const {
    const std::string* bytes = state.bytesAt(kFile);
    return bytes != nullptr && *bytes == home.unsortedBytes();
  }
  [[nodiscard]] bool isSorted(const DiskState& state) const {
    const std::string* bytes = state.bytesAt(kFile);
    return bytes != nullptr && home.isSortedBytes(*bytes);
  }
  [[nodiscard]] bool hasWholeBackup(const DiskState& state) const {
    const std::string* bytes = state.bytesAt(kBackup);
    return bytes != nullptr && *bytes == home.unsortedBytes();
  }
  /// A file that is overwritten in place has an undo journal until it is whole.
  [[nodiscard]] bool hasRecord(const DiskState& state) const {
    for (const auto& [path, inode] : state.entries) {
      if (path.starts_with("browser/.tarvel-undo-")) return true;
    }
    return false;
  }
  [[nodiscard]] bool mayBeTorn(const DiskState& state) const {
    return GetParam() == FilePlacing::kTwoNames && hasRecord(state);
  }
  [[nodiscard]] bool hasBackupOfSorted(const DiskState& state) const {
    return std::ranges::any_of(state.entries, [&](const auto& entry) {
      const std::string* bytes = state.bytesAt(entry.first);
      return CrashHome::isBackup(entry.first) && bytes != nullptr && home.isSortedBytes(*bytes);
    });
  }
  void expectThatTheNextSortSucceeds() const {
    EXPECT_EQ(CrashHome::run(home.sort()), 0);
    EXPECT_TRUE(home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
  }
};

INSTANTIATE_TEST_SUITE_P(Placings, PowerCut,
                         testing::Values(FilePlacing::kOrdinary, FilePlacing::kLinked, FilePlacing::kTwoNames));

TEST_P(PowerCut, ASortLeavesAllOldOrAllNewBytesAndNoNewOnesWithoutABackup) {
  home.reset();
  cutThePowerOf(
      home, home.sort(),
      [&](const DiskState& state) {
        EXPECT_TRUE(isUnsorted(state) || isSorted(state) || mayBeTorn(state));
        EXPECT_TRUE(state.bytesAt(kBackup) == nullptr || hasWholeBackup(state));
        EXPECT_TRUE(isUnsorted(state) || hasWholeBackup(state));
      },
      [&](const DiskState& state) { return isSorted(state) && hasWholeBackup(state); },
      [&] { expectThatTheNextSortSucceeds(); });
}

TEST_P(PowerCut, ARestoreIsDoneOrNot) {
  home.resetToSorted();
  cutThePowerOf(
      home, home.restore(),
      [&](const DiskState& state) {
        EXPECT_TRUE(isUnsorted(state) || isSorted(state) || mayBeTorn(state));
        EXPECT_TRUE(isUnsorted(state) || hasWholeBackup(state));
        EXPECT_TRUE(isSorted(state) || hasBackupOfSorted(state)) << "what was replaced is lost";
        EXPECT_TRUE(state.bytesAt(kBackup) == nullptr || hasWholeBackup(state));
      },
      [&](const DiskState& state) { return isUnsorted(state); }, [&] { expectThatTheNextSortSucceeds(); });
}

TEST_P(PowerCut, ARestoredBackupAndWhatItReplacesBothExist) {
  home.resetToSorted();
  cutThePowerOf(
      home, home.putBack(),
      [&](const DiskState& state) {
        EXPECT_TRUE(isUnsorted(state) || isSorted(state) || mayBeTorn(state));
        EXPECT_TRUE(isSorted(state) || hasBackupOfSorted(state)) << "what was replaced is lost";
        EXPECT_TRUE(hasWholeBackup(state));
      },
      [&](const DiskState& state) { return isUnsorted(state); }, [&] { expectThatTheNextSortSucceeds(); });
}

struct PowerCutSettings : testing::Test {
  CrashHome home;
};

TEST_F(PowerCutSettings, AChangeOfSettingsIsDoneOrNot) {
  home.resetSettings();
  const std::string* before = nullptr;
  const DiskState first = DiskState::of(home.root());
  before = first.bytesAt(kSettings);
  ASSERT_NE(before, nullptr);
  cutThePowerOf(
      home, home.set(),
      [&](const DiskState& state) {
        const std::string* bytes = state.bytesAt(kSettings);
        ASSERT_NE(bytes, nullptr);
        EXPECT_TRUE(*bytes == *before || home.areNewSettings(*bytes));
      },
      [&](const DiskState& state) {
        const std::string* bytes = state.bytesAt(kSettings);
        return bytes != nullptr && home.areNewSettings(*bytes);
      },
      [&] {
        EXPECT_EQ(CrashHome::run(home.set()), 0);
        EXPECT_TRUE(home.hasNewSettings());
      });
}

}  // namespace
}  // namespace tarvel
