// A running agent whose program file was replaced by another version.

#include <gmock/gmock.h>

#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::IsEmpty;
using namespace std::chrono_literals;

struct Restart : testing::Test, AgentFixture {};

TEST_F(Restart, AReplacedAgentRestartsAfterThePendingSort) {
  launchWithFile();
  application.setIsReplaced();
  save(kUnsorted);
  loop.advanceBy(2s + 30s - 1ms);
  EXPECT_FALSE(application.isTerminated());
  loop.advanceBy(1ms);
  EXPECT_EQ(written(), kSorted);
  EXPECT_TRUE(application.isRestarting());
  EXPECT_THAT(launches(), IsEmpty());
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_EQ(eventStreams.streamCount(), 0U);
}

TEST_F(Restart, ASaveDuringTheSortIsSortedBeforeTheRestart) {
  launchWithFile();
  application.setIsReplaced();
  bool hasSaved = false;
  memory.fileManager.setHook([&](const FileCall& call) {
    const bool isWritten = memory.fileManager.callCount(FileOperation::kWrite) > 0;
    if (call.operation != FileOperation::kDate || !isWritten || hasSaved) return;
    hasSaved = true;
    save(kUnsorted);
  });
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_TRUE(hasSaved);
  EXPECT_FALSE(application.isTerminated());
  // The event of the own write is ignored, while the sort of the save is still pending.
  loop.advanceBy(30s - 1ms);
  EXPECT_FALSE(application.isTerminated());
  loop.advanceBy(1ms);
  EXPECT_EQ(written(), kSorted);
  EXPECT_TRUE(application.isRestarting());
}

TEST_F(Restart, AReplacedAgentRestartsAtAnEventThatNeedsNoSort) {
  launchWithFile();
  loop.advanceBy(1h);
  application.setIsReplaced();
  save(kUnsorted, "/home/user/Library/Safari/History.plist");
  loop.advanceBy(2s);
  EXPECT_TRUE(application.isRestarting());
}

TEST_F(Restart, AReplacedAgentDoesNotRestartBetweenTwoAttempts) {
  launchWithFile();
  application.setIsReplaced();
  memory.fileManager.putFile(kLock, "");
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(sortRetryCount(), 1U);
  EXPECT_FALSE(application.isTerminated());
  memory.fileManager.removeTree(kLock);
  loop.advanceBy(5s);
  EXPECT_TRUE(application.isRestarting());
}

TEST_F(Restart, AReplacedAgentThatReportsAnErrorTerminatesWithoutARestart) {
  launchWithFile();
  application.setIsReplaced();
  memory.fileManager.failAlways(FileOperation::kWrite, EIO);
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_TRUE(application.isTerminated());
  EXPECT_FALSE(application.isRestarting());
  EXPECT_EQ(storedCode(), 6);
}

}  // namespace
}  // namespace tarvel
