#include <gmock/gmock.h>

#include <cerrno>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr const char* kInUse = "Safari is currently using the bookmarks file, please wait a while before sorting.";

struct SortCycle : testing::Test, AgentFixture {
  /// Up to the first attempt: batching, then the latency.
  void changeAndWait() {
    save(kUnsorted);
    loop.advanceBy(2s + 30s);
  }
};

TEST_F(SortCycle, AChangeIsSortedTwoSecondsAndTheLatencyLater) {
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(2s + 30s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
  EXPECT_EQ(written(), kSorted);
  EXPECT_TRUE(memory.fileManager.bytesAt(kBackup).has_value());
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SortCycle, TheShortestLatencyIsExact) {
  preferences.setInteger(kBookmarksUpdateLatencyKey, 1, kMainApplicationIdentifier);
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(2s + 1s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, TheLongestLatencyIsExact) {
  preferences.setInteger(kBookmarksUpdateLatencyKey, 300, kMainApplicationIdentifier);
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(2s + 300s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, ThreeEventsASecondApartCauseOneSortALatencyAfterTheThird) {
  launchWithFile();
  for (int i = 0; i < 3; ++i) {
    memory.fileManager.putFile(kFile, bytesOf(kUnsorted));
    eventStreams.deliver({0}, {static_cast<std::uint64_t>(i) + 1});
    if (i < 2) loop.advanceBy(1s);
  }
  loop.advanceBy(30s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, AChangeOfAnotherFileCausesNoSort) {
  launchWithFile();
  save(kUnsorted, "/home/user/Library/Safari/History.plist");
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 0U);
  EXPECT_EQ(loop.pendingRequestCount(), 0U);
}

TEST_F(SortCycle, AChangeOfAnotherFileDuringTheLatencyDelaysTheSort) {
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(20s);
  // The old date is still recorded, so any event in the folder counts.
  save(kUnsorted, "/home/user/Library/Safari/History.plist");
  loop.advanceBy(2s + 30s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, TheAgentsOwnWriteCausesNoSecondSort) {
  launchWithFile();
  changeAndWait();
  ASSERT_EQ(written(), kSorted);
  EXPECT_EQ(delegate.bookmarksFileDate(), memory.fileManager.modificationDateAtPath(kFile));
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, AFileInOrderIsReadButNotWritten) {
  launchWithFile();
  save(kSorted);
  const auto bytes = memory.fileManager.bytesAt(kFile);
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 1U);
  EXPECT_EQ(memory.fileManager.bytesAt(kFile), bytes);
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), std::nullopt);
}

TEST_F(SortCycle, AnEventIsIgnoredIfTheFileHasItsRecordedDate) {
  launchWithFile();
  eventStreams.post(kFolder, kEventFlagMustScanSubDirs | kEventFlagKernelDropped);
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 0U);
}

TEST_F(SortCycle, AFileOlderThanTheRecordedDateIsSorted) {
  save(kUnsorted, "/elsewhere/Old.plist");
  launchWithFile();
  // As after restoring a backup with its date.
  memory.fileManager.removeTree(kFile);
  ASSERT_TRUE(memory.fileManager.copyItemAtPathToPath("/elsewhere/Old.plist", kFile).ok());
  ASSERT_LT(memory.fileManager.modificationDateAtPath(kFile), delegate.bookmarksFileDate());
  eventStreams.post(kFolder);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(sorts(), 1U);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortCycle, AnEmptyBatchIsAnEventToo) {
  launchWithFile();
  memory.fileManager.putFile(kFile, bytesOf(kUnsorted));
  eventStreams.deliver({}, {});
  loop.advanceBy(30s);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortCycle, TheWatcherIsPausedDuringASort) {
  launchWithFile();
  std::vector<std::string> callsDuringRead;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kRead) callsDuringRead = eventStreams.calls();
  });
  changeAndWait();
  EXPECT_THAT(callsDuringRead, ElementsAre("create /home/user/Library/Safari 2", "start", "stop"));
  EXPECT_THAT(eventStreams.calls(), ElementsAre("create /home/user/Library/Safari 2", "start", "stop", "start"));
}

TEST_F(SortCycle, AChangeRightAfterTheWriteIsNotLost) {
  launchWithFile();
  bool isSaved = false;
  memory.fileManager.setHook([&](const FileCall& call) {
    // The agent reads the date first after the write. This save follows right after that.
    if (call.operation != FileOperation::kDate || memory.fileManager.callCount(FileOperation::kWrite) == 0 || isSaved) {
      return;
    }
    isSaved = true;
    loop.callAfter(1ms, [this] { save("Root[ BookmarksBar[ x ] BookmarksMenu[ d c ] ]"); });
  });
  changeAndWait();
  loop.advanceBy(1ms + 2s + 30s);
  EXPECT_TRUE(isSaved);
  EXPECT_EQ(sorts(), 2U);
  EXPECT_EQ(written(), "Root[ BookmarksBar[ x ] BookmarksMenu[ c d ] ]");
}

TEST_F(SortCycle, OptionsAreReadBeforeEverySort) {
  launchWithFile();
  changeAndWait();
  preferences.setBoolean(kSortBookmarksBarKey, true, kMainApplicationIdentifier);
  save("Root[ BookmarksBar[ y x ] BookmarksMenu[ a b ] ]");
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(written(), "Root[ BookmarksBar[ x y ] BookmarksMenu[ a b ] ]");
}

TEST_F(SortCycle, AConcurrentWriteThatWasKeptIsLogged) {
  launchWithFile();
  memory.fileManager.addKeptSave(kFile, "/kept");
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(log(), std::vector<std::string>{"A save of “" + std::string(kFile) +
                                            "” by another program is kept as “/kept”: a newer one has its place, or it "
                                            "could not be put back."});
}

TEST_F(SortCycle, ADeletedFileIsReportedAs1AfterTheLatency) {
  launchWithFile();
  memory.fileManager.removeTree(kFile);
  eventStreams.post(kFolder);
  loop.advanceBy(2s);
  ASSERT_EQ(log().size(), 1U);
  EXPECT_THAT(log()[0], testing::StartsWith("Could not read the file‘s modification date: "));
  EXPECT_EQ(loop.untilNextRequest(), 30s);
  loop.advanceBy(30s);
  ASSERT_EQ(log().size(), 2U);
  EXPECT_EQ(log()[1],
            "The bookmarks file “/home/user/Library/Safari/Bookmarks.plist” could not be located. Please "
            "locate the file and try again.");
  EXPECT_EQ(storedCode(), 1);
  EXPECT_THAT(launches(), ElementsAre("url /A/Main.app 0x30000"));
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, TenConsecutiveResults8AreReportedAfterNineRetriesFiveSecondsApart) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  for (std::uint64_t attempt = 1; attempt <= 9; ++attempt) {
    ASSERT_EQ(sortRetryCount(), attempt);
    ASSERT_FALSE(application.isTerminated());
    // An attempt sleeps ten times while the lock exists.
    ASSERT_EQ(memory.clock.sleeps().size(), 10 * attempt);
    loop.advanceBy(*loop.untilNextRequest() - 1ns);
    ASSERT_EQ(sortRetryCount(), attempt);
    loop.runNext();
  }
  EXPECT_EQ(memory.clock.sleeps().size(), 100U);
  EXPECT_THAT(log(), ElementsAre(kInUse));
  EXPECT_EQ(storedCode(), 8);
  EXPECT_EQ(launches().size(), 1U);
  EXPECT_TRUE(application.isTerminated());
  EXPECT_EQ(sortRetryCount(), 0U);
}

TEST_F(SortCycle, ARetryFollowsFiveSecondsAfterTheEndOfTheAttempt) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  EXPECT_EQ(loop.untilNextRequest(), 5s);
}

TEST_F(SortCycle, EveryRetryIsScheduledOnceFiveSecondsAhead) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  for (int retry = 1; retry <= 9; ++retry) {
    EXPECT_EQ(loop.untilNextRequest(), 5s) << retry;
    EXPECT_EQ(loop.pendingRequestCount(), 1U) << retry;
    loop.runNext();
  }
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, TheWatcherStaysPausedUntilTheLastRetry) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  for (int retry = 1; retry <= 9; ++retry) {
    ASSERT_EQ(eventStreams.calls().back(), "stop") << retry;
    // A running watcher would report this batch before the retry and move it.
    save(kUnsorted);
    loop.advanceBy(3s);
    ASSERT_EQ(loop.untilNextRequest(), 2s) << retry;
    if (retry == 9) memory.fileManager.removeTree(kLock);
    loop.runNext();
  }
  EXPECT_EQ(written(), kSorted);
  EXPECT_EQ(eventStreams.calls().back(), "start");
}

TEST_F(SortCycle, ASuccessAfterNineResults8ReportsNothingAndResetsTheCount) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  for (int i = 0; i < 8; ++i) loop.runNext();
  ASSERT_EQ(sortRetryCount(), 9U);
  memory.fileManager.removeTree(kLock);
  loop.runNext();
  EXPECT_EQ(written(), kSorted);
  EXPECT_EQ(sortRetryCount(), 0U);
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_FALSE(application.isTerminated());
}

TEST_F(SortCycle, AChangeBeforeARetryDoesNotMoveTheRetry) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  changeAndWait();
  loop.advanceBy(4s);
  save(kUnsorted);
  EXPECT_EQ(loop.untilNextRequest(), 1s);
  memory.fileManager.removeTree(kLock);
  loop.advanceBy(1s);
  EXPECT_EQ(written(), kSorted);
  // The event of the meantime is ignored, since the date is recorded.
  loop.advanceBy(1h);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, ASortContinuesWhenTheLockIsRemovedDuringTheWait) {
  launchWithFile();
  memory.fileManager.putFile(kLock, "");
  memory.clock.setHook([this](std::size_t count) {
    if (count == 9) memory.fileManager.removeTree(kLock);
  });
  changeAndWait();
  EXPECT_EQ(written(), kSorted);
  EXPECT_EQ(memory.clock.sleeps(), std::vector<std::chrono::milliseconds>(9, 300ms));
}

TEST_F(SortCycle, Result7IsReportedWithTheBackupFile) {
  launchWithFile();
  memory.fileManager.failAlways(FileOperation::kCopy, ENOSPC);
  const std::string before = bytesOf(kUnsorted);
  changeAndWait();
  EXPECT_THAT(log(),
              ElementsAre("A backup for the bookmarks file “/home/user/Library/Application Support/Tarvel/Bookmarks "
                          "(Initial Copy).plist” could not be created. Please verify that you have read and "
                          "write access to the file’s directory."));
  EXPECT_EQ(storedCode(), 7);
  EXPECT_EQ(memory.fileManager.bytesAt(kFile), before);
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, OtherResultsAreReportedWithTheBookmarksFile) {
  launchWithFile();
  memory.fileManager.failAlways(FileOperation::kWrite, EIO);
  changeAndWait();
  EXPECT_THAT(log(), ElementsAre("The bookmarks file “/home/user/Library/Safari/Bookmarks.plist” could not be saved. "
                                 "Please verify that you have read and write access to the file."));
  EXPECT_EQ(storedCode(), 6);
  EXPECT_THAT(launches(), ElementsAre("url /A/Main.app 0x30000"));
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, MessagesAreLoggedInTranslation) {
  memory.bundle.translate(
      "The bookmarks file “%@” could not be read. Please verify that you have read and write access "
      "to the file.",
      "Nicht lesbar: %@");
  launchWithFile();
  memory.fileManager.failAlways(FileOperation::kRead, EIO);
  changeAndWait();
  EXPECT_THAT(log(), ElementsAre("Nicht lesbar: /home/user/Library/Safari/Bookmarks.plist"));
  EXPECT_EQ(storedCode(), 5);
}

TEST_F(SortCycle, AfterAReportedFailureTheWatcherStaysPausedUntilTermination) {
  launchWithFile();
  memory.fileManager.failAlways(FileOperation::kWrite, EIO);
  changeAndWait();
  EXPECT_THAT(eventStreams.calls(),
              ElementsAre("create /home/user/Library/Safari 2", "start", "stop", "stop", "invalidate", "release"));
}

TEST_F(SortCycle, TheAgentTerminatesEvenIfEveryLaunchFails) {
  launchWithFile();
  memory.workspace.setUrlLaunchWorks(false);
  memory.workspace.setPathLaunchWorks(false);
  memory.workspace.setIdentifierLaunchWorks(false);
  memory.fileManager.failAlways(FileOperation::kWrite, EIO);
  changeAndWait();
  EXPECT_EQ(log().back(), "Could not launch the main application: /A/Main.app");
  EXPECT_EQ(storedCode(), 6);
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, WithoutAWatcherASuccessfulSortStartsOneAndIgnoresItsFailure) {
  save(kUnsorted);
  delegate.sortBookmarks();
  EXPECT_THAT(eventStreams.calls(), ElementsAre("create /home/user/Library/Safari 2", "start"));
  delegate.stopWatchingBookmarksFile();
  eventStreams.setCreationWorks(false);
  delegate.sortBookmarks();
  EXPECT_THAT(log(), ElementsAre("Could not begin watching the bookmarks file for file system events."));
  EXPECT_FALSE(application.isTerminated());
}

TEST_F(SortCycle, TheBrowserIsRefreshedWhileTheWatcherIsStillPaused) {
  launchWithFile();
  runningApplications.addRunning("com.apple.Safari", "one");
  std::vector<std::string> callsDuringPause;
  memory.clock.setHook([&](std::size_t) { callsDuringPause = eventStreams.calls(); });
  changeAndWait();
  EXPECT_EQ(memory.clock.sleeps(), std::vector<std::chrono::milliseconds>{100ms});
  ASSERT_FALSE(callsDuringPause.empty());
  EXPECT_EQ(callsDuringPause.back(), "stop");
  EXPECT_EQ(eventStreams.calls().back(), "start");
}

TEST_F(SortCycle, TheDateIsRecordedAfterTheRefreshAndBeforeTheWatcherResumes) {
  launchWithFile();
  runningApplications.addRunning("com.apple.Safari", "one");
  std::vector<std::string> happened;
  memory.clock.setHook([&](std::size_t) { happened.emplace_back("refresh"); });
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation != FileOperation::kDate || call.path != kFile) return;
    happened.push_back(eventStreams.calls().back() == "stop" ? "date while paused" : "date while watching");
  });
  save(kUnsorted);
  loop.advanceBy(2s);
  happened.clear();
  loop.advanceBy(30s);
  ASSERT_EQ(written(), kSorted);
  ASSERT_GE(happened.size(), 2U);
  EXPECT_EQ(happened[happened.size() - 2], "refresh");
  EXPECT_EQ(happened.back(), "date while paused");
  EXPECT_EQ(eventStreams.calls().back(), "start");
}

TEST_F(SortCycle, AFailureIsLoggedAndReportedBeforeTheAgentTerminates) {
  launchWithFile();
  memory.fileManager.failAlways(FileOperation::kWrite, EIO);
  std::size_t flushes = 0;
  preferences.setFlushHook([&] {
    ++flushes;
    EXPECT_EQ(log().size(), 1U);
    EXPECT_FALSE(application.isTerminated());
    EXPECT_EQ(eventStreams.streamCount(), 1U);
  });
  changeAndWait();
  EXPECT_EQ(flushes, 1U);
  EXPECT_TRUE(application.isTerminated());
}

TEST_F(SortCycle, AFileThatChangesDuringEveryAttemptIsInUse) {
  launchWithFile();
  bool isRead = false;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kRead) isRead = true;
    if (call.operation != FileOperation::kDate || !isRead) return;
    isRead = false;
    memory.fileManager.putFile(kFile, bytesOf(kUnsorted));
  });
  changeAndWait();
  EXPECT_EQ(sortRetryCount(), 1U);
  EXPECT_EQ(loop.untilNextRequest(), 5s);
}

TEST_F(SortCycle, AnUnreadableDateAtAnEventSchedulesASort) {
  launchWithFile();
  memory.fileManager.failNext(FileOperation::kDate, EACCES);
  eventStreams.post(kFolder);
  loop.advanceBy(2s);
  EXPECT_EQ(log().size(), 1U);
  EXPECT_EQ(loop.untilNextRequest(), 30s);
  loop.advanceBy(30s);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortCycle, AChangeOfTheWallClockDoesNotDelayASort) {
  launchWithFile();
  save(kUnsorted);
  loop.advanceBy(2s);
  memory.time.shiftWallClock(-24h);
  loop.advanceBy(30s - 1ms);
  EXPECT_EQ(sorts(), 0U);
  loop.advanceBy(1ms);
  EXPECT_EQ(sorts(), 1U);
}

TEST_F(SortCycle, AMissingFileIsReportedWithItsExpandedPath) {
  preferences.setString(kBookmarksFilenameKey, "~/Safari/B.plist", kMainApplicationIdentifier);
  delegate.sortBookmarks();
  EXPECT_THAT(log().back(), testing::HasSubstr("“/home/user/Safari/B.plist”"));
}

TEST_F(SortCycle, ATerminationRequestStopsTheSort) {
  launchWithFile();
  memory.fileManager.setHook([this](const FileCall& call) {
    if (call.operation == FileOperation::kRead) application.requestEnd();
  });
  const std::string before = bytesOf(kUnsorted);
  changeAndWait();
  EXPECT_EQ(sorts(), 1U);
  EXPECT_EQ(memory.fileManager.bytesAt(kFile), before);
  EXPECT_FALSE(memory.fileManager.bytesAt(kBackup).has_value());
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_THAT(log(), IsEmpty());
  // It is not a failure either, so there is no retry.
  loop.advanceBy(60s);
  EXPECT_EQ(sorts(), 1U);
}

}  // namespace
}  // namespace tarvel
