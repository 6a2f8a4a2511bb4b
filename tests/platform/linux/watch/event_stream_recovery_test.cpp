// Changes that the kernel reports late or never: found by comparing inodes and by polling.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "platform/linux/base/unique_fd.h"
#include "tests/platform/linux/watch/stream_situation.h"
#include "tests/support/child_process.h"

namespace tarvel {
namespace {

using testing::IsEmpty;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

struct StreamRecovery : StreamSituation {
  /// Keeps the inode of a removed folder alive, like a process with its working directory there. The kernel then
  /// reports the removal to the folder's own watch only when the descriptor is closed.
  [[nodiscard]] static UniqueFd holdOpen(const std::string& path) {
    return UniqueFd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  void recreateFolder() const {
    fs::remove_all(folder);
    fs::create_directory(folder);
  }
  /// Makes the bookmarks file a link to real/Safari/Real.plist, through another link to "real".
  void linkFile() {
    fs::create_directories(directory.path("real/Safari"));
    directory.write("real/Safari/Real.plist", "x");
    fs::create_directory_symlink("real", directory.path("way"));
    fs::remove(file());
    fs::create_symlink("../../way/Safari/Real.plist", file());
  }
  void watchWith(LinuxEventStreamService& polling) {
    stream = polling.createStream(client, folder, kEventStreamEventIdSinceNow, kSituationLatency,
                                  kEventStreamCreateFlagUseCFTypes);
    ASSERT_TRUE(stream && stream->start());
  }
  void writeTarget(const std::string& text) const { std::ofstream(directory.path("real/Safari/Real.plist")) << text; }
};

TEST_F(StreamRecovery, ReportsAFolderRecreatedWhileItsOldInodeIsHeld) {
  watch();
  const UniqueFd held = holdOpen(folder);
  recreateFolder();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist", "again");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsAnEmptyFolderRecreatedWhileItsOldInodeIsHeld) {
  fs::remove(file());
  watch();
  const UniqueFd held = holdOpen(folder);
  recreateFolder();
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsAParentRecreatedWhileItsOldInodeIsHeld) {
  fs::remove(file());
  watch();
  const UniqueFd held = holdOpen(folder);
  const UniqueFd heldParent = holdOpen(directory.path("Library"));
  fs::remove_all(directory.path("Library"));
  fs::create_directories(folder);
  write("Bookmarks.plist");
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
}

TEST_F(StreamRecovery, ReportsAFolderRecreatedWhilePausedAndHeld) {
  fs::remove(file());
  watch();
  stream->stop();
  const UniqueFd held = holdOpen(folder);
  recreateFolder();
  ASSERT_TRUE(stream->start());
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
}

TEST_F(StreamRecovery, ComparesThePathBeforeEachBatch) {
  fs::remove(file());
  fs::create_directory(directory.path("Library/New"));
  watch();
  const UniqueFd held = holdOpen(folder);
  // For an empty folder that is replaced, the kernel reports only a change of its attributes.
  fs::rename(directory.path("Library/New"), folder);
  ASSERT_TRUE(isReported());
  EXPECT_EQ(client->batches.size(), 1U);
  EXPECT_NE(client->flags() & kEventFlagRootChanged, 0U);
  forget();
  write("Bookmarks.plist");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ADeletionBesideTheFolderIsNotReported) {
  directory.write("Library/other", "x");
  fs::create_directory(directory.path("Library/Other"));
  watch();
  fs::remove(directory.path("Library/other"));
  fs::remove(directory.path("Library/Other"));
  EXPECT_TRUE(isQuiet());
}

TEST_F(StreamRecovery, ReportsARecreatedTargetFolderOfALinkedFile) {
  linkFile();
  watch();
  fs::remove_all(directory.path("real/Safari"));
  EXPECT_TRUE(isReported());
  forget();
  fs::create_directory(directory.path("real/Safari"));
  turnFor(20ms);
  writeTarget("made again");
  EXPECT_TRUE(isReported());
  forget();
  writeTarget("written again");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsATargetFolderRecreatedWithItsParent) {
  linkFile();
  watch();
  fs::remove_all(directory.path("real"));
  EXPECT_TRUE(isReported());
  forget();
  fs::create_directories(directory.path("real/Safari"));
  turnFor(20ms);
  writeTarget("made again");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsATargetFolderRecreatedWhileItsOldInodeIsHeld) {
  linkFile();
  watch();
  const UniqueFd held = holdOpen(directory.path("real/Safari"));
  fs::remove_all(directory.path("real/Safari"));
  fs::create_directory(directory.path("real/Safari"));
  writeTarget("made again");
  EXPECT_TRUE(isReported());
  forget();
  writeTarget("written again");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsASwappedLinkOnTheWayToALinkedFile) {
  linkFile();
  fs::create_directories(directory.path("second/Safari"));
  directory.write("second/Safari/Real.plist", "y");
  watch();
  fs::create_directory_symlink("second", directory.path("way.new"));
  fs::rename(directory.path("way.new"), directory.path("way"));
  EXPECT_TRUE(isReported());
  forget();
  directory.write("second/Safari/Real.plist", "written");
  EXPECT_TRUE(isReported());
  forget();
  writeTarget("the old target no longer counts");
  EXPECT_TRUE(isQuiet());
}

TEST_F(StreamRecovery, ReportsATargetFolderSwappedByRename) {
  linkFile();
  fs::create_directories(directory.path("real/New"));
  directory.write("real/New/Real.plist", "y");
  watch();
  ASSERT_EQ(::renameat2(AT_FDCWD, directory.path("real/New").c_str(), AT_FDCWD, directory.path("real/Safari").c_str(),
                        RENAME_EXCHANGE),
            0);
  EXPECT_TRUE(isReported());
  forget();
  writeTarget("written");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, ReportsATargetFolderCreatedLater) {
  fs::remove(file());
  fs::create_symlink(directory.path("later/Safari/Real.plist"), file());
  watch();
  fs::create_directories(directory.path("later/Safari"));
  turnFor(20ms);
  directory.write("later/Safari/Real.plist", "x");
  EXPECT_TRUE(isReported());
  forget();
  directory.write("later/Safari/Real.plist", "again");
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, AnUnknownFileSystemTypeDoesNotEndPolling) {
  fs::create_hard_link(file(), directory.path("other"));
  int asked = 0;
  const auto isNeeded = [&asked](const std::string&) {
    return ++asked <= 3 ? std::optional<bool>() : std::optional<bool>(true);
  };
  LinuxEventStreamService polling(*loop, {isNeeded, 20ms});
  watchWith(polling);
  EXPECT_TRUE(isQuiet());
  std::ofstream(directory.path("other")) << "longer than before";
  EXPECT_TRUE(isReported());
}

TEST_F(StreamRecovery, AMissingRemoteFolderIsPolled) {
  int looks = 0;
  LinuxEventStreamService counting(*loop, {[&looks](const std::string&) { return ++looks > 0; }, 20ms});
  fs::remove_all(directory.path("Library"));
  watchWith(counting);
  turnFor(kQuietTime);
  EXPECT_GT(looks, 2);
}

TEST_F(StreamRecovery, ALocalFolderIsNotPolled) {
  int looks = 0;
  LinuxEventStreamService counting(*loop, {[&looks](const std::string&) { return ++looks < 0; }, 20ms});
  watchWith(counting);
  const int atStart = looks;
  turnFor(kQuietTime);
  EXPECT_EQ(looks, atStart);
}

TEST_F(StreamRecovery, ARemoteTargetOfALinkIsPolled) {
  linkFile();
  fs::create_hard_link(directory.path("real/Safari/Real.plist"), directory.path("other"));
  const std::string target = fs::canonical(directory.path("real/Safari"));
  LinuxEventStreamService polling(*loop, {[target](const std::string& path) { return path == target; }, 20ms});
  watchWith(polling);
  EXPECT_TRUE(isQuiet());
  std::ofstream(directory.path("other")) << "longer than before";
  EXPECT_TRUE(isReported());
}

/// Whether the folder is on a ramfs, which the next test mounts.
std::optional<bool> isOnRamfs(const std::string& path) {
  struct statfs status {};
  if (::statfs(path.c_str(), &status) != 0) return std::nullopt;
  return status.f_type == RAMFS_MAGIC;
}

TEST_F(StreamRecovery, PollingStartsWhenARemoteFileSystemIsMountedOverTheFolder) {
  const int answer = inChild([this] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 50;
    RealLoop real;
    const auto received = std::make_shared<RecordingClient>();
    LinuxEventStreamService polling(*real.loop, {isOnRamfs, 20ms});
    const auto watching = polling.createStream(received, folder, kEventStreamEventIdSinceNow, kSituationLatency,
                                               kEventStreamCreateFlagUseCFTypes);
    if (!watching || !watching->start()) return 10;
    if (::mount("none", folder.c_str(), "ramfs", 0, nullptr) != 0) return 51;
    if (!real.turnUntil([&] { return (received->flags() & kEventFlagMount) != 0; })) return 1;
    fs::create_directory(folder + "/below");
    write("Bookmarks.plist");
    fs::create_hard_link(file(), folder + "/below/other");
    real.turnFor(kQuietTime);
    received->batches.clear();
    // The folder's watch does not report this, like a write by another machine.
    write("below/other", "longer than before");
    return real.turnUntil([&] { return !received->batches.empty(); }) ? 0 : 2;
  });
  if (answer >= 50) GTEST_SKIP() << "nothing can be mounted here, step " << answer;
  EXPECT_EQ(answer, 0);
}

TEST_F(StreamRecovery, APauseDoesNotStopRetriesForAnUnwatchableFolder) {
  fs::create_directory(directory.path("Library/New"));
  fs::permissions(directory.path(), fs::perms::all);
  fs::permissions(directory.path("Library"), fs::perms::all);
  const int answer = inChildWithoutPrivileges([this] {
    Situation child;
    if (!child.watch(folder)) return 1;
    if (::rename(directory.path("Library/Safari").c_str(), directory.path("Library/Old").c_str()) != 0) return 2;
    if (::mkdir(folder.c_str(), 0) != 0) return 3;
    child.turnFor(kQuietTime);
    child.stream->stop();
    child.client->batches.clear();
    if (!child.stream->start()) return 4;
    if (::chmod(folder.c_str(), 0755) != 0) return 5;
    return child.isReportedWith(kEventFlagRootChanged) ? 0 : 6;
  });
  EXPECT_EQ(answer, 0);
}

/// Creates a stream while every fstatat() with AT_SYMLINK_NOFOLLOW fails with `code`; later calls succeed. Returns 0 if
/// changes are reported nevertheless, 1 if no stream was created.
int recoversFrom(int code, const std::string& path, const std::string& file) {
  Situation situation;
  // Faults apply to the thread that installs them.
  std::thread([&] {
    constexpr int kFlags = 3;
    if (!installFaults({{SYS_newfstatat, code, kFlags, AT_SYMLINK_NOFOLLOW, AT_SYMLINK_NOFOLLOW}})) return;
    situation.stream = situation.service.createStream(situation.client, path, kEventStreamEventIdSinceNow,
                                                      kSituationLatency, kEventStreamCreateFlagUseCFTypes);
    if (situation.stream && !situation.stream->start()) situation.stream.reset();
  }).join();
  if (!situation.stream) return 1;
  if (!situation.isReportedWith(kEventFlagRootChanged)) return 2;
  situation.forget();
  std::ofstream(file) << "new";
  return situation.isReported() ? 0 : 3;
}

TEST_F(StreamRecovery, ATemporarilyUnreachablePathIsWatchedLater) {
  for (const int code : {ESTALE, EIO, ENOTCONN, ETIMEDOUT, EHOSTDOWN}) {
    EXPECT_EQ(inChild([&] { return recoversFrom(code, folder, file()); }), 0) << code;
  }
}

TEST_F(StreamRecovery, APathWithoutSearchPermissionCannotBeWatched) {
  EXPECT_EQ(inChild([&] { return recoversFrom(EACCES, folder, file()); }), 1);
}

TEST_F(StreamRecovery, APathWithATooLongNameCannotBeWatched) {
  const std::string path = directory.path(std::string(300, 'a') + "/Safari");
  EXPECT_EQ(service.createStream(client, path, kEventStreamEventIdSinceNow, 1, kEventStreamCreateFlagUseCFTypes),
            nullptr);
}

TEST_F(StreamRecovery, ALinkToATooLongNameCountsAsMissing) {
  fs::create_directory_symlink(std::string(300, 'a'), directory.path("way"));
  watch(directory.path("way/Safari"));
  fs::remove(directory.path("way"));
  fs::create_directory_symlink("Library", directory.path("way"));
  EXPECT_TRUE(isReportedWith(kEventFlagRootChanged));
}

}  // namespace
}  // namespace tarvel
