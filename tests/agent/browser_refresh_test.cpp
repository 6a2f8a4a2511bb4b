#include "agent/browser_refresh.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr const char* kSafari = "/Applications/Safari.app";
constexpr const char* kSettings = "/home/user/Library/Preferences/com.apple.Safari.plist";

struct BrowserRefresh : testing::Test, AgentFixture {
  void install(const std::string& version) { bundles.at(kSafari).setInfo("CFBundleShortVersionString", version); }

  [[nodiscard]] bool needsRefresh(const std::string& version) {
    resetSafariVersionAnswer();
    install(version);
    return safariVersionNeedsRefresh(bundles);
  }

  void putSettings(const std::string& xml) { memory.fileManager.putFile(kSettings, "<plist>" + xml + "</plist>"); }
  [[nodiscard]] bool showsBarWith(const std::string& xml) {
    putSettings(xml);
    return safariShowsFavoritesBar(platform.sorting);
  }
};

TEST_F(BrowserRefresh, VersionsUpTo51AreOldAndFrom511New) {
  for (const char* version : {"5.1", "5.1.0", "5.0.6", "5.0", "5", "4.9.9", "4.1.3", "0", "5.1.0.9", "5.-1", "-7.9"}) {
    EXPECT_TRUE(needsRefresh(version)) << version;
  }
  for (const char* version : {"5.1.1", "5.1.7", "5.2", "6.0", "6", "17.4.1", "5.10", "10.0"}) {
    EXPECT_FALSE(needsRefresh(version)) << version;
  }
}

TEST_F(BrowserRefresh, AMinorVersionOfALetterIsZero) { EXPECT_TRUE(needsRefresh("5.x")); }

TEST_F(BrowserRefresh, AVersionThatIsNotANumberIsZero) {
  EXPECT_TRUE(needsRefresh(""));
  EXPECT_TRUE(needsRefresh("unknown"));
}

TEST_F(BrowserRefresh, OnlyTheLeadingDigitsOfAComponentCount) {
  EXPECT_FALSE(needsRefresh("5.1.1b2"));
  EXPECT_TRUE(needsRefresh("5.1.b1"));
  EXPECT_FALSE(needsRefresh(" 6.0"));
}

TEST_F(BrowserRefresh, AMissingBrowserCountsAsOld) { EXPECT_TRUE(safariVersionNeedsRefresh(bundles)); }

TEST_F(BrowserRefresh, ABrowserWithoutAVersionCountsAsOld) {
  (void)bundles.at(kSafari);
  EXPECT_TRUE(safariVersionNeedsRefresh(bundles));
}

TEST_F(BrowserRefresh, TheVersionIsLookedUpOncePerProcess) {
  EXPECT_TRUE(needsRefresh("5.1"));
  install("6.0");
  EXPECT_TRUE(safariVersionNeedsRefresh(bundles));
  resetSafariVersionAnswer();
  EXPECT_FALSE(safariVersionNeedsRefresh(bundles));
}

TEST_F(BrowserRefresh, AMissingBrowserIsCachedToo) {
  EXPECT_TRUE(safariVersionNeedsRefresh(bundles));
  install("6.0");
  EXPECT_TRUE(safariVersionNeedsRefresh(bundles));
}

TEST_F(BrowserRefresh, WithoutSettingsTheBarCountsAsShown) {
  EXPECT_TRUE(safariShowsFavoritesBar(platform.sorting));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(BrowserRefresh, SettingsWithoutTheKeyMeanThatTheBarIsHidden) {
  EXPECT_FALSE(showsBarWith("<dict/>"));
  EXPECT_FALSE(showsBarWith("<array/>"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(BrowserRefresh, SettingsSayWhetherTheBarIsShown) {
  EXPECT_TRUE(showsBarWith("<dict><key>ShowFavoritesBar</key><true/></dict>"));
  EXPECT_FALSE(showsBarWith("<dict><key>ShowFavoritesBar</key><false/></dict>"));
  EXPECT_TRUE(showsBarWith("<dict><key>ShowFavoritesBar</key><integer>1</integer></dict>"));
  EXPECT_FALSE(showsBarWith("<dict><key>ShowFavoritesBar</key><string>NO</string></dict>"));
}

TEST_F(BrowserRefresh, SettingsThatCannotBeParsedAreLoggedAndMeanThatTheBarIsShown) {
  memory.fileManager.putFile(kSettings, "<plist><foo/></plist>");
  EXPECT_TRUE(safariShowsFavoritesBar(platform.sorting));
  EXPECT_THAT(log(),
              ElementsAre("Could not read Safari‘s preferences: Encountered unknown tag foo on line 1, format: 0"));
}

TEST_F(BrowserRefresh, SettingsThatCannotBeReadAreLoggedAndMeanThatTheBarIsShown) {
  putSettings("<dict/>");
  memory.fileManager.failNext(FileOperation::kRead, EACCES);
  EXPECT_TRUE(safariShowsFavoritesBar(platform.sorting));
  EXPECT_THAT(log(),
              ElementsAre("Could not read Safari‘s preferences: Cannot parse a NULL or zero-length data, format: 0"));
}

TEST_F(BrowserRefresh, TheBarSettingIsReadEveryTime) {
  EXPECT_TRUE(showsBarWith("<dict><key>ShowFavoritesBar</key><true/></dict>"));
  EXPECT_FALSE(showsBarWith("<dict/>"));
}

TEST_F(BrowserRefresh, WithoutARunningBrowserNothingIsReadOrActivated) {
  install("5.0");
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), IsEmpty());
  EXPECT_EQ(bundles.lookups(), 0U);
  EXPECT_THAT(memory.fileManager.calls(), IsEmpty());
}

TEST_F(BrowserRefresh, ANewBrowserIsNotActivatedAndItsSettingsAreNotRead) {
  runningApplications.addRunning("com.apple.Safari", "one");
  install("6.0");
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), IsEmpty());
  EXPECT_THAT(memory.fileManager.calls(), IsEmpty());
}

TEST_F(BrowserRefresh, AnOldBrowserWithAHiddenBarIsNotActivated) {
  runningApplications.addRunning("com.apple.Safari", "one");
  install("5.0");
  putSettings("<dict/>");
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), IsEmpty());
  EXPECT_THAT(memory.clock.sleeps(), IsEmpty());
}

TEST_F(BrowserRefresh, AnOldBrowserWithoutSettingsIsActivatedAndThenTheAgent) {
  runningApplications.addRunning("com.apple.Safari", "one");
  install("5.0");
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), ElementsAre("one 2", "self 2"));
  EXPECT_THAT(memory.clock.sleeps(), ElementsAre(100ms));
}

TEST_F(BrowserRefresh, TwoBrowsersAreActivatedInOrderBeforeOnePause) {
  runningApplications.addRunning("com.apple.Safari", "one");
  runningApplications.addRunning("com.apple.Safari", "two");
  std::vector<std::string> beforePause;
  memory.clock.setHook([&](std::size_t) { beforePause = runningApplications.activations(); });
  refreshSafariAfterSort(platform);
  EXPECT_THAT(beforePause, ElementsAre("one 2", "two 2"));
  EXPECT_THAT(runningApplications.activations(), ElementsAre("one 2", "two 2", "self 2"));
  EXPECT_THAT(memory.clock.sleeps(), ElementsAre(100ms));
}

TEST_F(BrowserRefresh, AFailedActivationDoesNotPreventTheNext) {
  runningApplications.addRunning("com.apple.Safari", "one");
  runningApplications.addRunning("com.apple.Safari", "two");
  runningApplications.setActivationWorks(false);
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), ElementsAre("one 2", "two 2", "self 2"));
}

TEST_F(BrowserRefresh, ABrowserStartedDuringTheActivationsIsNotActivated) {
  runningApplications.addRunning("com.apple.Safari", "one");
  runningApplications.setActivationHook([&](const std::string& name) {
    if (name == "one") runningApplications.addRunning("com.apple.Safari", "late");
  });
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), ElementsAre("one 2", "self 2"));
}

TEST_F(BrowserRefresh, TheAgentsOwnApplicationIsLookedUpFirst) {
  runningApplications.addRunning("com.apple.Safari", "one");
  runningApplications.setActivationHook([&](const std::string& /*name*/) { runningApplications.setCurrent("other"); });
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), ElementsAre("one 2", "self 2"));
}

TEST_F(BrowserRefresh, OtherApplicationsAreIgnored) {
  runningApplications.addRunning("com.example.Other", "one");
  refreshSafariAfterSort(platform);
  EXPECT_THAT(runningApplications.activations(), IsEmpty());
}

}  // namespace
}  // namespace tarvel
