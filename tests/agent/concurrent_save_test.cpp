// A concurrent write between the agent's own write and the moment it records the file's date.

#include <gmock/gmock.h>

#include <cerrno>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr const char* kLater = "Root[ BookmarksBar[ x ] BookmarksMenu[ d c ] ]";
constexpr const char* kLaterSorted = "Root[ BookmarksBar[ x ] BookmarksMenu[ c d ] ]";

struct ConcurrentSave : testing::Test, AgentFixture {
  /// Another program saves once, right before the agent records the date: the first date read after a call of
  /// `operation`.
  void saveBeforeTheDateIsRecorded(FileOperation operation) {
    memory.fileManager.setHook([this, operation](const FileCall& call) {
      const bool isAfter = memory.fileManager.callCount(operation) > 0;
      if (call.operation != FileOperation::kDate || !isAfter || hasSaved) return;
      hasSaved = true;
      save(kLater);
    });
  }
  void changeAndWait(std::string_view notation) {
    save(notation);
    loop.advanceBy(2s + 30s);
  }

  bool hasSaved = false;
};

TEST_F(ConcurrentSave, AfterTheAgentsWriteIsSortedALatencyLater) {
  launchWithFile();
  saveBeforeTheDateIsRecorded(FileOperation::kWrite);
  changeAndWait(kUnsorted);
  ASSERT_TRUE(hasSaved);
  EXPECT_EQ(sorts(), 1U);
  loop.advanceBy(30s - 1ms);
  EXPECT_EQ(sorts(), 1U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 2U);
  EXPECT_EQ(written(), kLaterSorted);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ConcurrentSave, DuringTheRefreshOfTheBrowserIsSortedALatencyLater) {
  launchWithFile();
  runningApplications.addRunning("com.apple.Safari", "one");
  memory.clock.setHook([this](std::size_t) {
    if (!hasSaved) save(kLater);
    hasSaved = true;
  });
  changeAndWait(kUnsorted);
  ASSERT_TRUE(hasSaved);
  loop.advanceBy(30s);
  EXPECT_EQ(written(), kLaterSorted);
}

TEST_F(ConcurrentSave, AfterAFileInOrderWasReadIsSortedALatencyLater) {
  launchWithFile();
  saveBeforeTheDateIsRecorded(FileOperation::kRead);
  changeAndWait(kSorted);
  ASSERT_TRUE(hasSaved);
  loop.advanceBy(30s);
  EXPECT_EQ(written(), kLaterSorted);
}

TEST_F(ConcurrentSave, LeavesTheCurrentDateRecorded) {
  launchWithFile();
  saveBeforeTheDateIsRecorded(FileOperation::kWrite);
  changeAndWait(kUnsorted);
  EXPECT_EQ(delegate.bookmarksFileDate(), memory.fileManager.modificationDateAtPath(kFile));
}

TEST_F(ConcurrentSave, FollowedByAnotherIsSortedOnceALatencyAfterTheLast) {
  launchWithFile();
  saveBeforeTheDateIsRecorded(FileOperation::kWrite);
  changeAndWait(kUnsorted);
  loop.advanceBy(10s);
  save(kLater);
  loop.advanceBy(2s + 30s - 1ms);
  EXPECT_EQ(sorts(), 1U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 2U);
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 2U);
}

TEST_F(ConcurrentSave, IsNotAssumedIfTheDateIsUnreadable) {
  // Only the sort expands the tilde, so the date of such a file is never readable.
  preferences.setString(kBookmarksFilenameKey, "~/Library/Safari/Bookmarks.plist", kMainApplicationIdentifier);
  save(kUnsorted);
  delegate.sortBookmarks();
  EXPECT_EQ(written(), kSorted);
  EXPECT_EQ(loop.pendingRequestCount(), 0U);
}

}  // namespace
}  // namespace tarvel
