#include <gmock/gmock.h>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;

struct Lifecycle : testing::Test, AgentFixture {};

TEST_F(Lifecycle, WithoutAutoSortModeTheAgentLogsAndTerminatesWithoutALaunch) {
  preferences.setAppValue(kAutoSortModeKey, {}, kMainApplicationIdentifier);
  preferences.setInteger(kLastHelperErrorKey, 5, kMainApplicationIdentifier);
  application.launch(delegate);
  EXPECT_THAT(log(), ElementsAre("Automatic sorting is not set, terminating."));
  EXPECT_TRUE(application.isTerminated());
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_THAT(launches(), IsEmpty());
  EXPECT_THAT(eventStreams.calls(), IsEmpty());
}

TEST_F(Lifecycle, WithAutoSortModeOffTheAgentTerminates) {
  preferences.setBoolean(kAutoSortModeKey, false, kMainApplicationIdentifier);
  application.launch(delegate);
  EXPECT_THAT(log(), ElementsAre("Automatic sorting is not set, terminating."));
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(Lifecycle, AnOldCodeIsRemovedAtLaunch) {
  preferences.setInteger(kLastHelperErrorKey, 5, kMainApplicationIdentifier);
  launchWithFile();
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_FALSE(application.isTerminated());
}

TEST_F(Lifecycle, AnOldCodeIsRemovedFromDiskBeforeAutoSortModeIsRead) {
  preferences.setInteger(kLastHelperErrorKey, 5, kMainApplicationIdentifier);
  // A setting changed at this very moment is respected.
  preferences.setFlushHook([&] { preferences.setBoolean(kAutoSortModeKey, false, kMainApplicationIdentifier); });
  application.launch(delegate);
  EXPECT_EQ(preferences.flushCount(), 1U);
  EXPECT_FALSE(preferences.flushedValue(kLastHelperErrorKey, kMainApplicationIdentifier).root);
  EXPECT_THAT(log(), ElementsAre("Automatic sorting is not set, terminating."));
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(Lifecycle, TheLatencyIsReadBeforeWatchingBegins) {
  preferences.setInteger(kBookmarksUpdateLatencyKey, 7, kMainApplicationIdentifier);
  save(kUnsorted);
  std::optional<std::int64_t> latencyAtFirstLook;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.path == kFile && !latencyAtFirstLook) latencyAtFirstLook = delegate.bookmarksFileUpdateLatency();
  });
  application.launch(delegate);
  EXPECT_EQ(latencyAtFirstLook, 7);
}

TEST_F(Lifecycle, LaunchRecordsTheDateAndWatchesTheFolderWithoutSorting) {
  launchWithFile();
  EXPECT_EQ(delegate.bookmarksFileDate(), memory.fileManager.modificationDateAtPath(kFile));
  EXPECT_THAT(eventStreams.calls(), ElementsAre("create /home/user/Library/Safari 2", "start"));
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 0U);
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_FALSE(application.isTerminated());
}

TEST_F(Lifecycle, AMissingFileAtLaunchIsLoggedAndItsFolderWatched) {
  application.launch(delegate);
  EXPECT_EQ(delegate.bookmarksFileDate(), std::nullopt);
  ASSERT_EQ(log().size(), 1U);
  EXPECT_THAT(log()[0], testing::StartsWith("Could not read the file‘s modification date: "));
  EXPECT_FALSE(application.isTerminated());
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(Lifecycle, AWatcherThatCannotBeCreatedIsReportedAs101) {
  save(kUnsorted);
  eventStreams.setCreationWorks(false);
  application.launch(delegate);
  EXPECT_THAT(log(), ElementsAre("Could not begin watching the bookmarks file for file system events.",
                                 "Could not begin watching bookmarks file."));
  EXPECT_EQ(storedCode(), 101);
  EXPECT_THAT(launches(), ElementsAre("url /A/Main.app 0x30000"));
  EXPECT_TRUE(application.isTerminated());
  EXPECT_TRUE(updaters.askedPaths().empty());
}

TEST_F(Lifecycle, TheMainApplicationIsLaunchedBeforeTheAgentTerminates) {
  save(kUnsorted);
  eventStreams.setCreationWorks(false);
  bool wasTerminated = true;
  preferences.setFlushHook([&] { wasTerminated = application.isTerminated(); });
  application.launch(delegate);
  EXPECT_FALSE(wasTerminated);
}

TEST_F(Lifecycle, TerminationStopsTheWatcher) {
  launchWithFile();
  application.terminate();
  EXPECT_THAT(eventStreams.calls(),
              ElementsAre("create /home/user/Library/Safari 2", "start", "stop", "invalidate", "release"));
  EXPECT_EQ(eventStreams.streamCount(), 0U);
}

TEST_F(Lifecycle, TerminationAfterAFailedStartStopsNoWatcher) {
  eventStreams.setCreationWorks(false);
  application.launch(delegate);
  EXPECT_THAT(eventStreams.calls(), Not(Contains("stop")));
  delegate.stopWatchingBookmarksFile();
  EXPECT_THAT(eventStreams.calls(), Not(Contains("stop")));
}

TEST_F(Lifecycle, AnAgentTerminatedDuringTheLatencyLeavesTheFileUnchanged) {
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(10s);
  const auto bytes = memory.fileManager.bytesAt(kFile);
  application.terminate();
  loop.advanceBy(1h);
  EXPECT_EQ(memory.fileManager.bytesAt(kFile), bytes);
  EXPECT_EQ(sorts(), 0U);
}

TEST_F(Lifecycle, StartingToWatchAgainRecordsTheDateAndKeepsTheWatcher) {
  launchWithFile();
  const auto first = delegate.bookmarksFileDate();
  memory.fileManager.putFile(kFile, bytesOf(kUnsorted));
  EXPECT_TRUE(delegate.startWatchingBookmarksFile());
  EXPECT_NE(delegate.bookmarksFileDate(), first);
  EXPECT_EQ(eventStreams.streamCount(), 1U);
}

TEST_F(Lifecycle, AChangedFilenameChangesTheSortedFileButNotTheWatchedFolder) {
  launchWithFile();
  preferences.setString(kBookmarksFilenameKey, "/elsewhere/B.plist", kMainApplicationIdentifier);
  save(kUnsorted, "/elsewhere/B.plist");
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 0U);
  // An event in the watched folder triggers a sort of the other file.
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(sorts(), 1U);
  EXPECT_EQ(written(), kUnsorted);
}

TEST_F(Lifecycle, TheAgentsOwnLogLinesAreNotTranslated) {
  memory.bundle.translate("Automatic sorting is not set, terminating.", "übersetzt");
  preferences.setBoolean(kAutoSortModeKey, false, kMainApplicationIdentifier);
  application.launch(delegate);
  EXPECT_THAT(log(), ElementsAre("Automatic sorting is not set, terminating."));
}

}  // namespace
}  // namespace tarvel
