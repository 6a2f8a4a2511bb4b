#include <gmock/gmock.h>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr double kDay = 86400;

struct UpdateChecks : testing::Test, AgentFixture {
  UpdateChecks() {
    updater.setFeed("https://updates.example/feed");
    updater.setVersion("1.0");
    updater.setAutomaticallyChecks(true);
    updater.setInterval(kDay);
  }

  [[nodiscard]] Date ago(std::chrono::seconds distance) const {
    Date date = memory.time.wallClock();
    date.seconds -= distance.count();
    return date;
  }

  /// Lets time pass, and finishes the check that started meanwhile without an update.
  void passWithACheck(std::chrono::seconds duration) {
    loop.advanceBy(duration);
    EXPECT_TRUE(updater.isChecking());
    updater.finishCheck(std::nullopt);
  }

  MemoryUpdater& updater = updaters.at(kMain);
};

TEST_F(UpdateChecks, WithAutomaticChecksOffNoTimerIsCreated) {
  updater.setAutomaticallyChecks(false);
  launchWithFile();
  EXPECT_EQ(delegate.updateTimer(), nullptr);
  loop.advanceBy(1000h);
  EXPECT_EQ(updater.checks(), 0U);
}

TEST_F(UpdateChecks, ChecksTurnedOnLaterTakeEffectAtTheNextLaunch) {
  updater.setAutomaticallyChecks(false);
  launchWithFile();
  updater.setAutomaticallyChecks(true);
  loop.advanceBy(1000h);
  EXPECT_EQ(updater.checks(), 0U);
}

TEST_F(UpdateChecks, AfterALastCheckTwoDaysAgoTheNextIsImmediateThenDaily) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  EXPECT_NE(delegate.updateTimer(), nullptr);
  passWithACheck(0s);
  EXPECT_EQ(updater.checks(), 1U);
  loop.advanceBy(24h - 1s);
  EXPECT_EQ(updater.checks(), 1U);
  passWithACheck(1s);
  EXPECT_EQ(updater.checks(), 2U);
  passWithACheck(24h);
  passWithACheck(24h);
  EXPECT_EQ(updater.checks(), 4U);
}

TEST_F(UpdateChecks, AfterALastCheckOneHourAgoTheNextIsIn23Hours) {
  updater.setLastCheckDate(ago(1h));
  launchWithFile();
  loop.advanceBy(23h - 1ns);
  EXPECT_EQ(updater.checks(), 0U);
  loop.advanceBy(1ns);
  EXPECT_EQ(updater.checks(), 1U);
  updater.finishCheck(std::nullopt);
  passWithACheck(24h);
  EXPECT_EQ(updater.checks(), 2U);
}

TEST_F(UpdateChecks, WithoutALastCheckTheFirstComesOneIntervalAfterLaunch) {
  launchWithFile();
  loop.advanceBy(24h - 1ns);
  EXPECT_EQ(updater.checks(), 0U);
  loop.advanceBy(1ns);
  EXPECT_EQ(updater.checks(), 1U);
}

TEST_F(UpdateChecks, TheAgentBecomesTheDelegateAtEveryFiring) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  passWithACheck(0s);
  updater.setDelegate(nullptr);
  loop.advanceBy(24h);
  updater.finishCheck("2.0");
  EXPECT_EQ(storedCode(), 103);
}

TEST_F(UpdateChecks, AFoundUpdateIsReportedOnceAndTheAgentKeepsWatching) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  loop.advanceBy(0s);
  updater.finishCheck("2.0");
  EXPECT_EQ(storedCode(), 103);
  EXPECT_THAT(launches(), ElementsAre("url /A/Main.app 0x30000"));
  EXPECT_FALSE(application.isTerminated());
  save(kUnsorted);
  loop.advanceBy(2s + 30s);
  EXPECT_EQ(written(), kSorted);
  loop.advanceBy(24h);
  EXPECT_EQ(updater.checks(), 2U);
}

TEST_F(UpdateChecks, AnUpdateFoundAgainIsReportedAgain) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  for (std::size_t checks = 1; checks <= 3; ++checks) {
    loop.advanceBy(checks == 1 ? 0s : 24h);
    updater.finishCheck("2.0");
    EXPECT_EQ(launches(), std::vector<std::string>(checks, "url /A/Main.app 0x30000"));
    EXPECT_EQ(storedCode(), 103);
    // The main application has shown the second one.
    if (checks == 2) preferences.setFlushedValue(kLastHelperErrorKey, {}, kMainApplicationIdentifier);
  }
  EXPECT_FALSE(application.isTerminated());
}

TEST_F(UpdateChecks, NoSecondCheckStartsWhileOneIsRunning) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  loop.advanceBy(72h);
  EXPECT_EQ(updater.checks(), 1U);
  updater.finishCheck("2.0");
  EXPECT_EQ(storedCode(), 103);
  loop.advanceBy(24h);
  EXPECT_EQ(updater.checks(), 2U);
}

TEST_F(UpdateChecks, WithoutAFeedNoTimerIsCreated) {
  updater.setFeed("");
  launchWithFile();
  EXPECT_EQ(delegate.updateTimer(), nullptr);
}

TEST_F(UpdateChecks, TheUserIsNeverAskedForPermission) {
  EXPECT_FALSE(delegate.updaterShouldPromptForPermissionToCheckForUpdates(updater));
}

TEST_F(UpdateChecks, TheUpdaterBelongsToTheMainApplicationsBundle) {
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  loop.advanceBy(0s);
  EXPECT_THAT(updaters.askedPaths(), Each(kMain));
}

TEST_F(UpdateChecks, AnExcessiveIntervalDoesNotCauseRepeatedImmediateChecks) {
  updater.setInterval(1e300);
  updater.setLastCheckDate(ago(48h));
  launchWithFile();
  loop.advanceBy(1000h);
  EXPECT_LE(updater.checks(), 1U);
}

}  // namespace
}  // namespace tarvel
