// Changes of a folder and of the path to it, and the events reported for them.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <sched.h>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "tests/platform/linux/watch/stream_situation.h"
#include "tests/support/child_process.h"

namespace tarvel {
namespace {

using testing::IsEmpty;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

struct EventStreamSituations : StreamSituation {};

TEST_F(EventStreamSituations, ReportsAFileWrittenInPlace) {
  watch();
  write("Bookmarks.plist", "new");
  EXPECT_TRUE(isReported());
  EXPECT_EQ(client->flags(), kEventFlagNone);
}

TEST_F(EventStreamSituations, ReportsAFileReplacedByRename) {
  write("fresh");
  watch();
  fs::rename(folder + "/fresh", file());
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsAFileMovedIn) {
  directory.write("fresh", "x");
  watch();
  fs::rename(directory.path("fresh"), file());
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsAMappedFileOnceItIsClosed) {
  watch();
  const int fd = ::open(file().c_str(), O_RDWR | O_CLOEXEC);
  void* memory = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  ASSERT_NE(memory, MAP_FAILED);
  ::close(fd);
  *static_cast<char*>(memory) = 'y';
  ::msync(memory, 1, MS_SYNC);
  EXPECT_TRUE(isQuiet());
  ::munmap(memory, 1);
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsATouchedFile) {
  watch();
  fs::last_write_time(file(), fs::file_time_type::clock::now() - 1h);
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsChangedPermissions) {
  watch();
  fs::permissions(file(), fs::perms::owner_read);
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsADeletedFile) {
  watch();
  fs::remove(file());
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, IgnoresReads) {
  watch();
  std::ifstream in(file());
  std::string text;
  in >> text;
  in.close();
  EXPECT_TRUE(isQuiet());
}

TEST_F(EventStreamSituations, IgnoresAWriteThroughAHardLinkElsewhere) {
  fs::create_hard_link(file(), directory.path("other"));
  watch();
  std::ofstream(directory.path("other")) << "new";
  EXPECT_TRUE(isQuiet());
}

TEST_F(EventStreamSituations, IgnoresChangesInSubfolders) {
  fs::create_directory(folder + "/below");
  watch();
  write("below/file");
  EXPECT_TRUE(isQuiet());
}

TEST_F(EventStreamSituations, IgnoresChangesBesideTheFolder) {
  watch();
  directory.write("Library/other", "x");
  directory.write("another", "x");
  EXPECT_TRUE(isQuiet());
}

TEST_F(EventStreamSituations, CoalescesRewritesIntoOneBatchALatencyAfterTheFirst) {
  watch();
  for (int i = 0; i < 20; ++i) write("Bookmarks.plist", std::to_string(i));
  ASSERT_TRUE(isReported());
  EXPECT_EQ(client->batches.size(), 1U);
  EXPECT_GT(client->batches[0].size(), 1U);
}

TEST_F(EventStreamSituations, ABookmarksFileThatIsALinkIsFollowedToItsTarget) {
  fs::create_directory(directory.path("real"));
  directory.write("real/Real.plist", "x");
  fs::remove(file());
  fs::create_symlink(directory.path("real/Real.plist"), file());
  watch();
  std::ofstream(directory.path("real/Real.plist")) << "new";
  EXPECT_TRUE(isReported());
  forget();
  directory.write("real/unrelated", "x");
  EXPECT_TRUE(isQuiet());
  directory.write("fresh", "x");
  fs::rename(directory.path("fresh"), directory.path("real/Real.plist"));
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ALinkIsFollowedThroughOtherLinks) {
  fs::create_directory(directory.path("real"));
  fs::create_directory(directory.path("middle"));
  directory.write("real/Real.plist", "x");
  directory.write("real/Second.plist", "x");
  fs::create_symlink("../real/Real.plist", directory.path("middle/link"));
  fs::remove(file());
  fs::create_symlink(directory.path("middle/link"), file());
  watch();
  std::ofstream(directory.path("real/Real.plist")) << "new";
  EXPECT_TRUE(isReported());
  forget();
  fs::remove(directory.path("middle/link"));
  fs::create_symlink("../real/Second.plist", directory.path("middle/link"));
  EXPECT_TRUE(isReported());
  forget();
  std::ofstream(directory.path("real/Second.plist")) << "new";
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ALinkCreatedLaterIsFollowed) {
  fs::create_directory(directory.path("real"));
  directory.write("real/Real.plist", "x");
  fs::remove(file());
  watch();
  fs::create_symlink(directory.path("real/Real.plist"), file());
  EXPECT_TRUE(isReported());
  forget();
  std::ofstream(directory.path("real/Real.plist")) << "new";
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ASwappedLinkOnTheWayLeadsToAnotherFolder) {
  fs::create_directory(directory.path("second"));
  fs::create_directory_symlink("Library", directory.path("way"));
  watch(directory.path("way/Safari"));
  fs::create_directories(directory.path("other/Safari"));
  fs::create_directory_symlink("other", directory.path("way.new"));
  fs::rename(directory.path("way.new"), directory.path("way"));
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  directory.write("other/Safari/Bookmarks.plist", "x");
  EXPECT_TRUE(isReported());
  forget();
  write("Bookmarks.plist", "written to the old folder");
  EXPECT_TRUE(isQuiet());
}

TEST_F(EventStreamSituations, ReportsAParentRenamedAndRestored) {
  watch();
  fs::rename(directory.path("Library"), directory.path("Away"));
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  fs::rename(directory.path("Away"), directory.path("Library"));
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist", "new");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ARecreatedFolderIsWatchedAgain) {
  watch();
  fs::remove_all(folder);
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  fs::create_directory(folder);
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsFolderRecreatedBeforeQueueIsRead) {
  watch();
  fs::remove_all(folder);
  fs::create_directory(folder);
  write("Bookmarks.plist");
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist", "again");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, AReplacedFolderIsWatched) {
  watch();
  fs::create_directory(directory.path("Library/New"));
  fs::rename(folder, directory.path("Library/Old"));
  fs::rename(directory.path("Library/New"), folder);
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsCreationOfAMissingFolderAndItsParents) {
  fs::remove_all(directory.path("Library"));
  watch();
  EXPECT_TRUE(isQuiet());
  fs::create_directory(directory.path("Library"));
  turnFor(50ms);
  EXPECT_THAT(client->batches, IsEmpty());
  fs::create_directory(folder);
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, AFileInTheFoldersPlaceCountsAsMissing) {
  fs::remove_all(folder);
  std::ofstream(folder) << "x";
  watch();
  fs::remove(folder);
  fs::create_directory(folder);
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
}

TEST_F(EventStreamSituations, ACircularLinkCountsAsMissing) {
  fs::create_directory_symlink("circle", directory.path("circle"));
  watch(directory.path("circle/Safari"));
  fs::remove(directory.path("circle"));
  fs::create_directory_symlink("Library", directory.path("circle"));
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
}

TEST_F(EventStreamSituations, AFolderRecreatedContinuouslyDoesNotStarveTheLoop) {
  watch();
  for (int i = 0; i < 200; ++i) {
    fs::remove_all(folder);
    fs::create_directory(folder);
    bool isCalled = false;
    const auto call = loop->callAfter(0ns, [&] { isCalled = true; });
    // The folder changes between any two iterations.
    for (int turns = 0; !isCalled && turns < 20; ++turns) {
      fs::remove_all(folder);
      fs::create_directory(folder);
      ASSERT_TRUE(loop->turnOnce(1ms));
    }
    ASSERT_TRUE(isCalled) << "round " << i;
  }
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ManyEventsBecomeOneBatchThatAsksForARescan) {
  watch();
  for (int i = 0; i < 10'000; ++i) {
    fs::rename(file(), folder + "/moved");
    fs::rename(folder + "/moved", file());
  }
  ASSERT_TRUE(isReported());
  EXPECT_NE(client->flags() & kEventFlagMustScanSubDirs, 0U);
  for (const auto& batch : client->batches) EXPECT_LE(batch.size(), 256U);
  forget();
  write("Bookmarks.plist", "after");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsAQueueOverflowAsDropped) {
  watch();
  std::ifstream limitFile("/proc/sys/fs/inotify/max_queued_events");
  long limit = 0;
  limitFile >> limit;
  ASSERT_GT(limit, 0);
  if (limit > 200'000) GTEST_SKIP() << "the queue holds " << limit << " events here";
  for (long i = 0; i < limit; i += 2) {
    fs::rename(file(), folder + "/moved");
    fs::rename(folder + "/moved", file());
  }
  EXPECT_TRUE(isReportedWith(kEventFlagMustScanSubDirs | kEventFlagKernelDropped));
}

TEST_F(EventStreamSituations, ReportsChangesWhilePausedALatencyAfterStart) {
  watch();
  stream->stop();
  write("Bookmarks.plist", "new");
  EXPECT_TRUE(isQuiet());
  ASSERT_TRUE(stream->start());
  const auto started = std::chrono::steady_clock::now();
  EXPECT_TRUE(isReported());
  EXPECT_GE(std::chrono::steady_clock::now() - started, 30ms);
}

TEST_F(EventStreamSituations, APauseKeepsAPendingBatch) {
  watch();
  write("Bookmarks.plist", "new");
  turnFor(10ms);
  stream->stop();
  EXPECT_TRUE(isQuiet());
  ASSERT_TRUE(stream->start());
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, AFolderReplacedWhilePausedIsWatchedAfterwards) {
  watch();
  stream->stop();
  fs::remove_all(folder);
  fs::create_directory(folder);
  ASSERT_TRUE(stream->start());
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ARemoteFolderIsPolled) {
  // The file system here reports everything, so a write through a hard link, which inotify does not report, stands for
  // a remote change.
  fs::create_hard_link(file(), directory.path("other"));
  LinuxEventStreamService polling(*loop, {[](const std::string&) { return true; }, 20ms});
  stream = polling.createStream(client, folder, kEventStreamEventIdSinceNow, kSituationLatency,
                                kEventStreamCreateFlagUseCFTypes);
  ASSERT_TRUE(stream && stream->start());
  EXPECT_TRUE(isQuiet());
  std::ofstream(directory.path("other")) << "longer than before";
  EXPECT_TRUE(isReported());
  stream->stop();
  client->batches.clear();
  std::ofstream(directory.path("other")) << "and changed while paused";
  EXPECT_TRUE(isQuiet());
  ASSERT_TRUE(stream->start());
  EXPECT_TRUE(isReported());
}

TEST_F(EventStreamSituations, ReportsMountsAndUnmountsOverTheFoldersPath) {
  // In a mount namespace that ends with the child.
  const int answer = inChild([this] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 50;
    // A run loop cannot be used after fork().
    Situation child;
    if (!child.watch(folder)) return 10;
    if (::mount("none", folder.c_str(), "tmpfs", 0, nullptr) != 0) return 51;
    if (!child.isReportedWith(kEventFlagMount)) return 1;
    child.forget();
    write("Bookmarks.plist");
    if (!child.isReportedWith(kEventFlagNone)) return 2;
    child.forget();
    if (::umount2(folder.c_str(), MNT_DETACH) != 0) return 52;
    if (!child.isReportedWith(kEventFlagUnmount)) return 3;
    child.forget();
    write("Bookmarks.plist", "below");
    return child.isReportedWith(kEventFlagNone) ? 0 : 4;
  });
  if (answer >= 50) GTEST_SKIP() << "nothing can be mounted here, step " << answer;
  EXPECT_EQ(answer, 0);
}

TEST_F(EventStreamSituations, AnEmptyPathCannotBeWatched) {
  EXPECT_EQ(service.createStream(client, "", kEventStreamEventIdSinceNow, 1, kEventStreamCreateFlagUseCFTypes),
            nullptr);
}

/// Returns 0 if no stream could be created.
int cannotWatch(const std::string& path) {
  RealLoop real;
  if (!real.loop) return 1;
  LinuxEventStreamService service(*real.loop);
  const auto stream = service.createStream(std::make_shared<RecordingClient>(), path, kEventStreamEventIdSinceNow, 1,
                                           kEventStreamCreateFlagUseCFTypes);
  return stream == nullptr ? 0 : 2;
}

TEST_F(EventStreamSituations, WithoutWatchesLeftAFolderCannotBeWatched) {
  EXPECT_EQ(inChildWithFaults({{SYS_inotify_add_watch, ENOSPC}}, [this] { return cannotWatch(folder); }), 0);
}

TEST_F(EventStreamSituations, WithoutMemoryForWatchesAFolderCannotBeWatched) {
  EXPECT_EQ(inChildWithFaults({{SYS_inotify_add_watch, ENOMEM}}, [this] { return cannotWatch(folder); }), 0);
}

TEST_F(EventStreamSituations, WithoutDescriptorsAFolderCannotBeWatched) {
  EXPECT_EQ(inChildWithFaults({{SYS_inotify_init1, EMFILE}}, [this] { return cannotWatch(folder); }), 0);
}

TEST_F(EventStreamSituations, AnUnreadableFolderCannotBeWatched) {
  fs::permissions(folder, fs::perms::none);
  EXPECT_EQ(inChildWithoutPrivileges([this] { return cannotWatch(folder); }), 0);
  fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(EventStreamSituations, AFolderBelowAnUnreadableOneCanBeWatched) {
  fs::permissions(directory.path(), fs::perms::owner_all | fs::perms::others_exec | fs::perms::others_read);
  fs::permissions(directory.path("Library"), fs::perms::others_exec);
  const int answer = inChildWithoutPrivileges([this] { return cannotWatch(folder); });
  fs::permissions(directory.path("Library"), fs::perms::owner_all);
  EXPECT_EQ(answer, 2);
}

}  // namespace
}  // namespace tarvel
