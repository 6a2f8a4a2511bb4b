// The settings lock among competing processes.

#include "platform/linux/preferences/settings_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct SettingsLockTest : testing::Test {
  TemporaryDirectory directory;
  std::string path = directory.path("lock");

  /// Waits for one byte from another process.
  static bool receivesByte(int pipe) {
    std::uint8_t byte = 0;
    return ::read(pipe, &byte, 1) == 1;
  }
};

TEST_F(SettingsLockTest, HasOneHolderAtATime) {
  const SettingsLock mine(path);
  ASSERT_TRUE(mine);
  EXPECT_EQ(inChild([this] { return SettingsLock(path) ? 1 : 0; }), 0);
}

TEST_F(SettingsLockTest, IsFreeAfterRelease) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(SettingsLock(path));
    EXPECT_EQ(inChild([this] { return SettingsLock(path) ? 1 : 0; }), 1);
  }
}

TEST_F(SettingsLockTest, IsFreeAfterItsHolderIsKilled) {
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  const UniqueFd reading(ends[0]);
  UniqueFd writing(ends[1]);
  const pid_t holder = ::fork();
  ASSERT_GE(holder, 0);
  if (holder == 0) {
    const SettingsLock lock(path);
    (void)!::write(writing.get(), "1", lock ? 1 : 0);
    for (;;) (void)::pause();
  }
  writing = UniqueFd();
  ASSERT_TRUE(receivesByte(reading.get()));
  ASSERT_EQ(::kill(holder, SIGKILL), 0);
  ASSERT_EQ(::waitpid(holder, nullptr, 0), holder);
  EXPECT_TRUE(SettingsLock(path));
}

TEST_F(SettingsLockTest, AFrequentHolderDoesNotStarveOthers) {
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  const UniqueFd reading(ends[0]);
  UniqueFd writing(ends[1]);
  const pid_t greedy = ::fork();
  ASSERT_GE(greedy, 0);
  if (greedy == 0) {
    // The lock is free for an instant only, too short for a poller.
    for (;;) {
      const SettingsLock lock(path);
      (void)!::write(writing.get(), "1", 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  writing = UniqueFd();
  constexpr int kTimes = 20;
  int times = 0;
  for (int i = 0; i < kTimes && times == i && receivesByte(reading.get()); ++i) times += SettingsLock(path) ? 1 : 0;
  EXPECT_EQ(times, kTimes);
  ASSERT_EQ(::kill(greedy, SIGKILL), 0);
  ASSERT_EQ(::waitpid(greedy, nullptr, 0), greedy);
}

TEST_F(SettingsLockTest, FailsWhileTheDirectoryLockIsBusy) {
  const UniqueFd folder(::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(::flock(folder.get(), LOCK_EX), 0);
  EXPECT_FALSE(SettingsLock(path));
}

TEST_F(SettingsLockTest, FailsWithoutItsFolder) { EXPECT_FALSE(SettingsLock(directory.path("none/lock"))); }

TEST_F(SettingsLockTest, ALinkInItsPlaceIsNotFollowed) {
  std::filesystem::create_symlink(directory.path("elsewhere"), path);
  EXPECT_FALSE(SettingsLock(path));
  EXPECT_FALSE(std::filesystem::exists(directory.path("elsewhere")));
}

}  // namespace
}  // namespace tarvel
