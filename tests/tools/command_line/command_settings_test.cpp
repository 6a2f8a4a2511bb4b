#include "tools/command_line/command_settings.h"
#include "settings/preference_keys.h"

#include <gtest/gtest.h>

#include "platform/memory/memory_file_manager.h"
#include "platform/memory/memory_preferences_store.h"

namespace tarvel {
namespace {

constexpr const char* kDefaultFile = "/home/user/Library/Safari/Bookmarks.plist";

struct CommandSettingsTest : testing::Test {
  MemoryFileManager files;
  MemoryPreferencesStore preferences;
  CommandLine line;

  template <typename Make>
  void store(const char* key, Make make) {
    const auto tree = std::make_shared<PropertyListTree>();
    preferences.setAppValue(key, {tree, make(*tree)}, kMainApplicationIdentifier);
  }
  void store(const char* key, bool value) {
    store(key, [value](PropertyListTree& tree) { return tree.makeBoolean(value); });
  }
  void storeFile(const std::string& path) {
    store(kBookmarksFilenameKey, [&path](PropertyListTree& tree) { return tree.makeString(path); });
  }
  [[nodiscard]] CommandSettings read() { return readCommandSettings(preferences, files); }
  [[nodiscard]] std::string inForce() {
    std::string text;
    for (const NamedSetting& setting : settingsInForce(line, read(), files)) {
      text += setting.name + "=" + setting.text + ";";
    }
    return text;
  }
};

TEST_F(CommandSettingsTest, NothingStoredMeansTheDefaultsOfTheAgent) {
  const CommandSettings settings = read();
  EXPECT_EQ(settings.bookmarksFile, kDefaultFile);
  EXPECT_EQ(settings.rules, (SortRules{true, true, true, false}));
  EXPECT_EQ(inForce(), "");
}

TEST_F(CommandSettingsTest, ASettingBeatsTheDefaultAndAnOptionBeatsTheSetting) {
  for (const char* key : {kFoldersAtTopKey, kRemoveDuplicatesKey, kRenameSamenamedKey}) store(key, false);
  store(kSortBookmarksBarKey, true);
  EXPECT_EQ(rulesOf(line, read()), (SortRules{false, false, false, true}));
  line.foldersAtTop = true;
  EXPECT_EQ(rulesOf(line, read()), (SortRules{true, false, false, true}));
  line.removeDuplicates = true;
  EXPECT_EQ(rulesOf(line, read()), (SortRules{true, true, false, true}));
  line.renameSamenamed = true;
  EXPECT_EQ(rulesOf(line, read()), (SortRules{true, true, true, true}));
  line.sortBookmarksBar = false;
  EXPECT_EQ(rulesOf(line, read()), SortRules{});
}

TEST_F(CommandSettingsTest, TheAnswerNamesWhatDiffersFromTheDefaultAndIsNotOverruled) {
  storeFile("/elsewhere/Bookmarks.plist");
  store(kFoldersAtTopKey, true);
  store(kRemoveDuplicatesKey, false);
  store(kSortBookmarksBarKey, true);
  EXPECT_EQ(inForce(), "bookmarks-filename=/elsewhere/Bookmarks.plist;remove-duplicates=no;sort-bookmarks-bar=yes;");
  line.sortBookmarksBar = true;
  line.file = "given.plist";
  EXPECT_EQ(inForce(), "remove-duplicates=no;");
}

TEST(SettingName, IsTheKeyInKebabCase) {
  EXPECT_EQ(settingName(kFoldersAtTopKey), "folders-at-top");
  EXPECT_EQ(settingName(kAutoSortModeKey), "auto-sort-mode");
  EXPECT_EQ(settingName(kAutomaticUpdateChecksKey), "enable-automatic-checks");
}

TEST_F(CommandSettingsTest, WithoutSettingsOnlyOptionsAndDefaultsCount) {
  store(kSortBookmarksBarKey, true);
  store(kFoldersAtTopKey, false);
  line.ignoresSettings = true;
  line.removeDuplicates = false;
  EXPECT_EQ(rulesOf(line, read()), (SortRules{true, false, true, false}));
  EXPECT_EQ(inForce(), "");
}

TEST_F(CommandSettingsTest, AValueThatTheAgentCannotUseMeansTheDefault) {
  store(kSortBookmarksBarKey, [](PropertyListTree& tree) { return tree.makeString("perhaps"); });
  store(kBookmarksFilenameKey, [](PropertyListTree& tree) { return tree.makeInteger(3); });
  EXPECT_EQ(rulesOf(line, read()), SortRules{});
  EXPECT_EQ(read().bookmarksFile, kDefaultFile);
}

}  // namespace
}  // namespace tarvel
