#include <gmock/gmock.h>

#include <cerrno>
#include <limits>

#include "settings/preference_keys.h"
#include "tests/support/agent_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
constexpr const char* kDomain = kMainApplicationIdentifier;

struct Preferences : testing::Test, AgentFixture {
  [[nodiscard]] std::int64_t latency() {
    delegate.initiateBookmarksFileUpdateLatencyField();
    return delegate.bookmarksFileUpdateLatency();
  }
  [[nodiscard]] std::int64_t latencyStoredAs(std::int64_t stored) {
    preferences.setInteger(kBookmarksUpdateLatencyKey, stored, kDomain);
    return latency();
  }
};

TEST_F(Preferences, TheDefaultLatencyIs30) { EXPECT_EQ(latency(), 30); }

TEST_F(Preferences, TheLatencyIsClampedTo1To300) {
  EXPECT_EQ(latencyStoredAs(0), 1);
  EXPECT_EQ(latencyStoredAs(-5), 1);
  EXPECT_EQ(latencyStoredAs(1), 1);
  EXPECT_EQ(latencyStoredAs(2), 2);
  EXPECT_EQ(latencyStoredAs(299), 299);
  EXPECT_EQ(latencyStoredAs(300), 300);
  EXPECT_EQ(latencyStoredAs(301), 300);
  EXPECT_EQ(latencyStoredAs(1000), 300);
  EXPECT_EQ(latencyStoredAs(std::numeric_limits<std::int64_t>::max()), 300);
  EXPECT_EQ(latencyStoredAs(std::numeric_limits<std::int64_t>::min()), 1);
}

TEST_F(Preferences, AClampedLatencyIsNotWrittenBack) {
  EXPECT_EQ(latencyStoredAs(1000), 300);
  EXPECT_EQ(preferences.appIntegerValue(kBookmarksUpdateLatencyKey, kDomain), 1000);
}

TEST_F(Preferences, AnUnusableLatencyIs30) {
  preferences.setBoolean(kBookmarksUpdateLatencyKey, true, kDomain);
  EXPECT_EQ(latency(), 30);
  preferences.setString(kBookmarksUpdateLatencyKey, "soon", kDomain);
  EXPECT_EQ(latency(), 30);
}

TEST_F(Preferences, AChangedLatencyTakesEffectAtTheNextLaunch) {
  launchWithFile();
  preferences.setInteger(kBookmarksUpdateLatencyKey, 7, kDomain);
  EXPECT_EQ(delegate.bookmarksFileUpdateLatency(), 30);
}

TEST_F(Preferences, AStoredFalseOverridesADefaultOfTrue) {
  preferences.setBoolean("Key", false, kDomain);
  EXPECT_FALSE(delegate.userPreferenceBooleanForKeyWithDefault("Key", true));
}

TEST_F(Preferences, AStoredZeroOverridesADefault) {
  preferences.setInteger("Key", 0, kDomain);
  EXPECT_EQ(delegate.userPreferenceIntegerForKeyWithDefault("Key", 30), 0);
}

TEST_F(Preferences, AnAbsentKeyGivesTheDefault) {
  EXPECT_TRUE(delegate.userPreferenceBooleanForKeyWithDefault("Key", true));
  EXPECT_FALSE(delegate.userPreferenceBooleanForKeyWithDefault("Key", false));
  EXPECT_EQ(delegate.userPreferenceIntegerForKeyWithDefault("Key", -3), -3);
  EXPECT_EQ(delegate.userPreferenceStringForKeyWithDefault("Key", "default"), "default");
}

TEST_F(Preferences, ANumberReadAsATextGivesTheDefault) {
  preferences.setInteger("Key", 5, kDomain);
  EXPECT_EQ(delegate.userPreferenceStringForKeyWithDefault("Key", "default"), "default");
}

TEST_F(Preferences, AnEmptyTextOverridesTheDefault) {
  preferences.setString("Key", "", kDomain);
  EXPECT_EQ(delegate.userPreferenceStringForKeyWithDefault("Key", "default"), "");
}

TEST_F(Preferences, ARemovedKeyReadsAsTheDefault) {
  delegate.setUserPreferenceIntForKey(9, "Key");
  EXPECT_EQ(delegate.userPreferenceIntegerForKeyWithDefault("Key", 1), 9);
  delegate.removeUserPreferenceKey("Key");
  EXPECT_EQ(delegate.userPreferenceIntegerForKeyWithDefault("Key", 1), 1);
}

TEST_F(Preferences, AnUnsignedNumberIsStoredAsASigned32BitNumber) {
  delegate.setUserPreferenceIntForKey(0xFFFFFFFF, "Key");
  EXPECT_EQ(delegate.userPreferenceIntegerForKeyWithDefault("Key", 0), -1);
}

TEST_F(Preferences, ATextIsStoredUnchanged) {
  delegate.setUserPreferenceStringForKey("~/ä", "Key");
  EXPECT_EQ(delegate.userPreferenceStringForKeyWithDefault("Key", ""), "~/ä");
}

TEST_F(Preferences, AValueReachesTheDiskOnlyWithAFlush) {
  delegate.setUserPreferenceIntForKey(9, "Key");
  EXPECT_FALSE(preferences.flushedValue("Key", kDomain).root);
  EXPECT_TRUE(delegate.synchronizeUserPreferences());
  EXPECT_EQ(preferences.flushedValue("Key", kDomain).root.integer(), 9);
  preferences.setFlushWorks(false);
  delegate.setUserPreferenceIntForKey(10, "Key");
  EXPECT_FALSE(delegate.synchronizeUserPreferences());
  EXPECT_EQ(preferences.flushedValue("Key", kDomain).root.integer(), 9);
}

TEST_F(Preferences, TheAgentsOwnDomainIsNeverUsed) {
  preferences.setBoolean(kAutoSortModeKey, false, "org.tarvel.TarvelHelper");
  launchWithFile();
  EXPECT_FALSE(application.isTerminated());
  EXPECT_THAT(preferences.copyKeyList("org.tarvel.TarvelHelper"), ElementsAre(kAutoSortModeKey));
}

TEST_F(Preferences, ASorterGetsTheDefaultsAndABackup) {
  Tarvel tarvel(platform.sorting);
  delegate.setupTarvel(tarvel);
  EXPECT_TRUE(tarvel.arrangeFoldersAtTop());
  EXPECT_TRUE(tarvel.removeDuplicates());
  EXPECT_TRUE(tarvel.renameSamenamed());
  EXPECT_FALSE(tarvel.sortBookmarksBar());
  EXPECT_TRUE(tarvel.writeBackupFile());
  EXPECT_EQ(tarvel.backupFilename(), kBackup);
}

TEST_F(Preferences, ASorterGetsTheStoredSettings) {
  preferences.setBoolean(kFoldersAtTopKey, false, kDomain);
  preferences.setBoolean(kRemoveDuplicatesKey, false, kDomain);
  preferences.setBoolean(kRenameSamenamedKey, false, kDomain);
  preferences.setBoolean(kSortBookmarksBarKey, true, kDomain);
  preferences.setString(kBookmarksFilenameKey, "/elsewhere/B.plist", kDomain);
  memory.fileManager.putFile("/elsewhere/B.plist", "");
  Tarvel tarvel(platform.sorting);
  delegate.setupTarvel(tarvel);
  EXPECT_FALSE(tarvel.arrangeFoldersAtTop());
  EXPECT_FALSE(tarvel.removeDuplicates());
  EXPECT_FALSE(tarvel.renameSamenamed());
  EXPECT_TRUE(tarvel.sortBookmarksBar());
  EXPECT_TRUE(tarvel.writeBackupFile());
  EXPECT_EQ(tarvel.bookmarksFilename(), "/elsewhere/B.plist");
}

TEST_F(Preferences, FoldersAtTopStoredAsFalseOverridesItsDefault) {
  preferences.setBoolean(kFoldersAtTopKey, false, kDomain);
  Tarvel tarvel(platform.sorting);
  delegate.setupTarvel(tarvel);
  EXPECT_FALSE(tarvel.arrangeFoldersAtTop());
}

TEST_F(Preferences, TheDefaultBookmarksFileIsInTheHomeFolder) {
  EXPECT_EQ(delegate.bookmarksFilename(), kFile);
  EXPECT_EQ(delegate.defaultBookmarksFile(), kFile);
}

TEST_F(Preferences, AStoredFilenameKeepsItsTilde) {
  preferences.setString(kBookmarksFilenameKey, "~/Safari/B.plist", kDomain);
  EXPECT_EQ(delegate.bookmarksFilename(), "~/Safari/B.plist");
}

TEST_F(Preferences, AFilenameStoredAsANumberGivesTheDefault) {
  preferences.setInteger(kBookmarksFilenameKey, 5, kDomain);
  EXPECT_EQ(delegate.bookmarksFilename(), kFile);
}

TEST_F(Preferences, TheFilenameIsReadAtEveryCall) {
  EXPECT_EQ(delegate.bookmarksFilename(), kFile);
  preferences.setString(kBookmarksFilenameKey, "/other", kDomain);
  EXPECT_EQ(delegate.bookmarksFilename(), "/other");
}

TEST_F(Preferences, TheBackupPathIsDeterminedOnce) {
  EXPECT_EQ(delegate.backupFilename(), kBackup);
  memory.fileManager.setHome("/home/other");
  EXPECT_EQ(delegate.backupFilename(), kBackup);
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kSupportDirectory), 1U);
}

TEST_F(Preferences, TheDefaultBookmarksFileIsDeterminedOnce) {
  EXPECT_EQ(delegate.defaultBookmarksFile(), kFile);
  memory.fileManager.setHome("/home/other");
  EXPECT_EQ(delegate.defaultBookmarksFile(), kFile);
}

TEST_F(Preferences, TheSupportFolderIsNotCreated) {
  EXPECT_EQ(delegate.applicationFolder(), "/home/user/Library/Application Support/Tarvel");
  EXPECT_FALSE(memory.fileManager.isFolder("/home/user/Library/Application Support/Tarvel"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(Preferences, WithoutASupportDirectoryTheDefaultIsUsedAndLoggedOnce) {
  memory.fileManager.failAlways(FileOperation::kSupportDirectory, EACCES);
  EXPECT_EQ(delegate.backupFilename(), kBackup);
  EXPECT_EQ(delegate.backupFilename(), kBackup);
  const std::string reason = memory.fileManager.applicationSupportDirectory().status.reason;
  ASSERT_FALSE(reason.empty());
  EXPECT_THAT(log(), ElementsAre("Could not find the system’s support directory: " + reason +
                                 " (using the default: /home/user/Library/Application Support)"));
}

TEST_F(Preferences, TheMainApplicationIsThreeComponentsAboveTheAgentsBundle) {
  memory.bundle.setPath("/A/Main.app/Contents/X/TarvelHelper.app");
  EXPECT_EQ(delegate.mainApplicationPath(), "/A/Main.app");
  memory.bundle.setPath("/TarvelHelper.app");
  EXPECT_EQ(delegate.mainApplicationPath(), "/");
  memory.bundle.setPath("");
  EXPECT_EQ(delegate.mainApplicationPath(), "");
}

}  // namespace
}  // namespace tarvel
