#include <gmock/gmock.h>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct ErrorHandover : testing::Test, AgentFixture {};

TEST_F(ErrorHandover, ASuccessfulLaunchByUrlIsTheOnlyAttempt) {
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(5));
  EXPECT_THAT(launches(), ElementsAre("url /A/Main.app 0x30000"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ErrorHandover, WithoutLaunchingByUrlThePathIsTriedFirst) {
  memory.workspace.setOffersUrl(false);
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(5));
  EXPECT_THAT(launches(), ElementsAre("path /A/Main.app"));
}

TEST_F(ErrorHandover, WithoutLaunchingByUrlTheIdentifierIsTriedLast) {
  memory.workspace.setOffersUrl(false);
  memory.workspace.setPathLaunchWorks(false);
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(5));
  EXPECT_THAT(launches(), ElementsAre("path /A/Main.app", "identifier org.tarvel.Tarvel 0x30000"));
}

TEST_F(ErrorHandover, AFailedLaunchByUrlIsFollowedByThePathAndThenTheIdentifier) {
  memory.workspace.setUrlLaunchWorks(false);
  memory.workspace.setPathLaunchWorks(false);
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(5));
  EXPECT_THAT(launches(),
              ElementsAre("url /A/Main.app 0x30000", "path /A/Main.app", "identifier org.tarvel.Tarvel 0x30000"));
}

TEST_F(ErrorHandover, IfEveryLaunchFailsTheCodeStaysAndThePathIsLogged) {
  memory.workspace.setUrlLaunchWorks(false);
  memory.workspace.setPathLaunchWorks(false);
  memory.workspace.setIdentifierLaunchWorks(false);
  EXPECT_FALSE(delegate.launchMainApplicationWithErrorCode(5));
  EXPECT_EQ(storedCode(), 5);
  EXPECT_THAT(log(), ElementsAre("Could not launch the main application: /A/Main.app"));
}

TEST_F(ErrorHandover, TheCodeIsFlushedBeforeTheLaunch) {
  std::size_t launchesAtFlush = 99;
  preferences.setFlushHook([&] { launchesAtFlush = launches().size(); });
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(8));
  EXPECT_EQ(launchesAtFlush, 0U);
  EXPECT_EQ(preferences.flushedValue(kLastHelperErrorKey, kMainApplicationIdentifier).root.integer(), 8);
}

TEST_F(ErrorHandover, AFailedFlushDoesNotPreventTheLaunch) {
  preferences.setFlushWorks(false);
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(8));
  EXPECT_EQ(launches().size(), 1U);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ErrorHandover, AResetRemovesTheCodeFromDisk) {
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(8));
  delegate.resetLastErrorCode();
  EXPECT_EQ(storedCode(), std::nullopt);
  EXPECT_FALSE(preferences.flushedValue(kLastHelperErrorKey, kMainApplicationIdentifier).root);
}

TEST_F(ErrorHandover, TheSameUpdateFoundTwiceLaunchesTwiceAndStores103) {
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(103));
  EXPECT_TRUE(delegate.launchMainApplicationWithErrorCode(103));
  EXPECT_EQ(launches().size(), 2U);
  EXPECT_EQ(storedCode(), 103);
}

}  // namespace
}  // namespace tarvel
