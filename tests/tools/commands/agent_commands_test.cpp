#include "tools/commands/agent_commands.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/reported_error.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "platform/memory/memory_notifier.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "tests/support/temporary_directory.h"
#include "tests/tools/captured_output.h"
#include "tools/agent/settings_table.h"
#include "tools/command_line/command_settings.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kDomain = kMainApplicationIdentifier;
constexpr const char* kFile = "/home/user/Library/Safari/Bookmarks.plist";

struct AgentCommands : testing::Test {
  AgentCommands() { line.output.color = ColorChoice::kNever; }

  int settings(SettingsAction action, const std::string& key = "", const std::string& value = "") {
    line.command = Command::kSettings;
    line.settingsAction = action;
    line.key = key;
    line.value = value;
    return run([this] { return runSettings(agent, line); });
  }
  int set(const std::string& key, const std::string& value) { return settings(SettingsAction::kSet, key, value); }
  int get(const std::string& key) { return settings(SettingsAction::kGet, key); }

  template <typename Body>
  int run(const Body& body) {
    Captured captured;
    const int status = body();
    output = captured.output.str();
    errors = captured.errors.str();
    return status;
  }

  [[nodiscard]] PropertyListValue stored(const char* key) { return preferences.flushedValue(key, kDomain).root; }

  MemoryPreferencesStore preferences;
  MemoryFileManager files;
  MemoryBundle bundle;
  std::optional<int> process;
  AgentContext agent{preferences, files, bundle, "/config/preferences.plist", [this] { return process; }};
  CommandLine line;
  std::string output;
  std::string errors;
};

TEST_F(AgentCommands, TheAgentSortsTheFileOfItsSettingsWhileItIsRunning) {
  const TemporaryDirectory directory;
  directory.write("Bookmarks.plist", "");
  std::filesystem::create_directory_symlink(directory.path(), directory.path("link"));
  std::filesystem::create_symlink(directory.path("Bookmarks.plist"), directory.path("mine"));
  preferences.setString(kBookmarksFilenameKey, directory.path("Bookmarks.plist"), kDomain);
  EXPECT_FALSE(isSortedByAgent(agent, directory.path("Bookmarks.plist")));
  process = 0;
  for (const char* name : {"Bookmarks.plist", "link/Bookmarks.plist", "mine"}) {
    EXPECT_TRUE(isSortedByAgent(agent, directory.path(name))) << name;
  }
  for (const char* name : {"Other.plist", "nothing/Bookmarks.plist"}) {
    EXPECT_FALSE(isSortedByAgent(agent, directory.path(name))) << name;
  }
  // The last one may have been lost.
  std::filesystem::remove(directory.path("Bookmarks.plist"));
  EXPECT_TRUE(isSortedByAgent(agent, directory.path("link/Bookmarks.plist")));
}

TEST_F(AgentCommands, EverySettingIsListedWithItsValueAndWhereItComesFrom) {
  preferences.setBoolean(kFoldersAtTopKey, false, kDomain);
  EXPECT_EQ(settings(SettingsAction::kList), 0);
  EXPECT_THAT(output, HasSubstr("folders-at-top = no\n    Folders before bookmarks. set; from the next sort\n"));
  EXPECT_THAT(output, HasSubstr("auto-sort-mode = no\n    Sort automatically. default; from the agent's next start\n"));
  for (const Setting& setting : settingsTable()) EXPECT_THAT(output, HasSubstr(settingName(setting.key) + " = "));
}

TEST_F(AgentCommands, TheDefaultFileIsShownWithTheHomeFolder) {
  EXPECT_EQ(get(kBookmarksFilenameKey), 0);
  EXPECT_EQ(output, std::string(kFile) + "\n");
}

TEST_F(AgentCommands, BooleansAreGivenInWordsAndStoredAsBooleans) {
  for (const char* word : {"yes", "TRUE", "on", "1"}) {
    preferences.setBoolean(kAutoSortModeKey, false, kDomain);
    EXPECT_EQ(set(kAutoSortModeKey, word), 0);
    EXPECT_EQ(stored(kAutoSortModeKey).boolean(), true) << word;
  }
  for (const char* word : {"no", "False", "OFF", "0"}) {
    preferences.setBoolean(kAutoSortModeKey, true, kDomain);
    EXPECT_EQ(set(kAutoSortModeKey, word), 0);
    EXPECT_EQ(stored(kAutoSortModeKey).boolean(), false) << word;
  }
}

TEST_F(AgentCommands, AWordThatIsNotABooleanIsRefused) {
  EXPECT_EQ(set(kAutoSortModeKey, "maybe"), kExitUsage);
  EXPECT_EQ(errors, "tarvel: auto-sort-mode: “maybe” is not yes or no.\nNothing was changed.\n");
  EXPECT_FALSE(stored(kAutoSortModeKey));
}

TEST_F(AgentCommands, SecondsThatTheAgentWouldNotUseAreRefused) {
  EXPECT_EQ(set(kBookmarksUpdateLatencyKey, "1000"), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("The agent would use 300 instead of 1000."));
  EXPECT_EQ(set(kBookmarksUpdateLatencyKey, "0"), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("The agent would use 1 instead of 0."));
  for (const char* text : {"", "five", "5s", "5.5", "99999999999999999999", " 5"}) {
    EXPECT_EQ(set(kBookmarksUpdateLatencyKey, text), kExitUsage) << text;
    EXPECT_THAT(errors, HasSubstr("is not a whole number of seconds.")) << text;
  }
  EXPECT_FALSE(stored(kBookmarksUpdateLatencyKey));
  EXPECT_EQ(set(kBookmarksUpdateLatencyKey, "300"), 0);
  EXPECT_EQ(stored(kBookmarksUpdateLatencyKey).integer(), 300);
  EXPECT_EQ(output, "bookmarks-update-latency is now 300, from the agent's next start.\n");
}

TEST_F(AgentCommands, AnotherFileIsSortedAtOnceAndWatchedFromTheNextStart) {
  EXPECT_EQ(set(kBookmarksFilenameKey, "/home/user/B.plist"), 0);
  EXPECT_THAT(output,
              HasSubstr("is now /home/user/B.plist, from the next sort; watched from the agent's next start.\n"));
}

TEST_F(AgentCommands, AChangeThatWaitsForTheAgentsNextStartSaysHowToStartIt) {
  EXPECT_EQ(set(kAutoSortModeKey, "yes"), 0);
  EXPECT_EQ(output,
            "auto-sort-mode is now yes, from the agent's next start.\nTo turn it on now:\n  tarvel agent enable\n");
  EXPECT_EQ(set(kBookmarksUpdateLatencyKey, "10"), 0);
  EXPECT_THAT(output, Not(HasSubstr("tarvel agent")));
  process = 4711;
  EXPECT_EQ(set(kBookmarksUpdateLatencyKey, "11"), 0);
  EXPECT_THAT(output, HasSubstr("To restart the agent now:\n  tarvel agent stop && tarvel agent start\n"));
  EXPECT_EQ(set(kFoldersAtTopKey, "no"), 0);
  EXPECT_THAT(output, Not(HasSubstr("tarvel agent")));
  EXPECT_EQ(set(kAutoSortModeKey, "no"), 0);
  EXPECT_THAT(output, HasSubstr("To turn it off now:\n  tarvel agent disable\n"));
}

TEST_F(AgentCommands, ARelativePathIsRefusedWithTheFullOne) {
  EXPECT_EQ(set(kBookmarksFilenameKey, "~/B.plist"), kExitUsage);
  EXPECT_EQ(errors,
            "tarvel: bookmarks-filename: The agent needs a full path.\nNothing was changed.\nDid you mean this one?\n"
            "  tarvel settings set bookmarks-filename '/home/user/B.plist'\n");
  EXPECT_EQ(set(kBookmarksFilenameKey, "B.plist"), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("/B.plist'\n"));
  EXPECT_EQ(set(kBookmarksFilenameKey, ""), kExitUsage);
  EXPECT_FALSE(stored(kBookmarksFilenameKey));
}

TEST_F(AgentCommands, APathIsStoredUnchangedAndAMissingFileReported) {
  EXPECT_EQ(set(kBookmarksFilenameKey, "/elsewhere/B.plist"), 0);
  EXPECT_EQ(stored(kBookmarksFilenameKey).string(), "/elsewhere/B.plist");
  EXPECT_THAT(output, HasSubstr("There is no such file yet.\n"));
  files.putFile("/elsewhere/B.plist", "");
  EXPECT_EQ(set(kBookmarksFilenameKey, "/elsewhere/B.plist"), 0);
  EXPECT_THAT(output, Not(HasSubstr("There is no such file")));
}

TEST_F(AgentCommands, AnUnknownSettingIsRefusedWithTheNearestOne) {
  EXPECT_EQ(set("auto-sort-mod", "yes"), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("Did you mean “auto-sort-mode”?"));
  EXPECT_EQ(get("Nonsense"), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("There is no setting “Nonsense”."));
  EXPECT_THAT(errors, HasSubstr("\n  tarvel settings list\n"));
}

TEST_F(AgentCommands, ASettingIsKnownByItsNameAndByItsStoredKey) {
  for (const Setting& setting : settingsTable()) {
    EXPECT_EQ(settingNamed(settingName(setting.key)), &setting) << setting.key;
    EXPECT_EQ(settingNamed(setting.key), &setting);
  }
  EXPECT_EQ(set("sort-bookmarks-bar", "yes"), 0);
  EXPECT_EQ(stored(kSortBookmarksBarKey).boolean(), true);
  EXPECT_EQ(get("SortBookmarksBar"), 0);
  EXPECT_EQ(output, "yes\n");
}

TEST_F(AgentCommands, ReadOnlySettingsCannotBeSet) {
  EXPECT_EQ(set(kLastHelperErrorKey, "5"), kExitUsage);
  EXPECT_EQ(settings(SettingsAction::kUnset, "SULastCheckTime"), kExitUsage);
  EXPECT_EQ(preferences.flushCount(), 0U);
}

TEST_F(AgentCommands, AStoredValueThatCannotBeUsedIsShownWithWhatIsUsedInstead) {
  preferences.setString(kBookmarksUpdateLatencyKey, "soon", kDomain);
  preferences.setInteger(kBookmarksFilenameKey, 5, kDomain);
  EXPECT_EQ(settings(SettingsAction::kList), 0);
  EXPECT_THAT(output, HasSubstr("bookmarks-update-latency = 30\n"));
  EXPECT_THAT(output, HasSubstr("set to “soon”, which cannot be used"));
  EXPECT_THAT(output, HasSubstr(std::string("bookmarks-filename = ") + kFile));
  preferences.setInteger(kBookmarksUpdateLatencyKey, 1000, kDomain);
  EXPECT_EQ(get(kBookmarksUpdateLatencyKey), 0);
  EXPECT_EQ(output, "300\n");
}

TEST_F(AgentCommands, AnUnsetSettingIsTheDefaultAgain) {
  preferences.setInteger(kBookmarksUpdateLatencyKey, 7, kDomain);
  EXPECT_EQ(settings(SettingsAction::kUnset, kBookmarksUpdateLatencyKey), 0);
  EXPECT_EQ(output, "bookmarks-update-latency is the default again, 30, from the agent's next start.\n");
  EXPECT_FALSE(stored(kBookmarksUpdateLatencyKey));
  EXPECT_EQ(settings(SettingsAction::kUnset, kBookmarksUpdateLatencyKey), 0);
  EXPECT_EQ(output, "bookmarks-update-latency was not set.\n");
}

TEST_F(AgentCommands, SettingsThatCannotBeWrittenAreAFailure) {
  preferences.setFlushWorks(false);
  EXPECT_EQ(set(kAutoSortModeKey, "yes"), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("could not be written to “/config/preferences.plist”"));
  EXPECT_EQ(output, "");
}

TEST_F(AgentCommands, ControlCharactersInAStoredPathAreSpelledOut) {
  preferences.setString(kBookmarksFilenameKey, "/a\x1b[31m", kDomain);
  EXPECT_EQ(settings(SettingsAction::kList), 0);
  EXPECT_THAT(output, Not(HasSubstr("\x1b")));
}

TEST_F(AgentCommands, StatusExaminesTheStoredPathNotTheShownOne) {
  const std::string odd = "/a\x1b[31m";
  files.putFile(odd, "");
  preferences.setString(kBookmarksFilenameKey, odd, kDomain);
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), 0);
  EXPECT_THAT(output, HasSubstr("[31m, changed "));
  EXPECT_THAT(output, Not(HasSubstr("\x1b")));
}

TEST_F(AgentCommands, StatusWithoutSetupSaysHowToBegin) {
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), 0);
  EXPECT_THAT(output, HasSubstr("Agent:             not running\n"));
  EXPECT_THAT(output, HasSubstr("Automatic sorting: off"));
  EXPECT_THAT(output, HasSubstr("which does not exist"));
  EXPECT_THAT(output, HasSubstr("not made yet"));
  EXPECT_THAT(output, HasSubstr("Last error:        none"));
  EXPECT_THAT(output, HasSubstr("tarvel agent enable"));
}

TEST_F(AgentCommands, StatusOfAnAgentThatShouldRunAndDoesNotNeedsAttention) {
  preferences.setBoolean(kAutoSortModeKey, true, kDomain);
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("To start the agent:\n  tarvel agent start\n"));
}

TEST_F(AgentCommands, StatusOfARunningAgentShowsProcessFileAndDate) {
  preferences.setBoolean(kAutoSortModeKey, true, kDomain);
  files.putFile(kFile, "");
  process = 4711;
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), 0);
  EXPECT_THAT(output, HasSubstr("Agent:             running, process 4711\n"));
  EXPECT_THAT(output, HasSubstr(std::string("Bookmarks file:    ") + kFile + ", changed "));
  EXPECT_THAT(output, HasSubstr("Folder watched:    /home/user/Library/Safari\n"));
}

TEST_F(AgentCommands, StatusNamesASaveThatASortDisplaced) {
  files.putFile(kFile, "");
  files.addKeptSave(kFile, "/home/user/Library/Safari/.tarvel-displaced-1");
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("Kept save:         /home/user/Library/Safari/.tarvel-displaced-1\n"));
  EXPECT_THAT(output, HasSubstr("To see how it differs, and to put it back:\n  tarvel restore --from "
                                "'/home/user/Library/Safari/.tarvel-displaced-1' '/home/user/Library/Safari/"
                                "Bookmarks.plist'\n"));
  line.output.isJson = true;
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("\"keptSaves\": [\n    \"/home/user/Library/Safari/.tarvel-displaced-1\"\n  ]"));
}

TEST_F(AgentCommands, StatusShowsThePendingErrorInWords) {
  preferences.setInteger(kLastHelperErrorKey, 8, kDomain);
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("Last error:        8: Safari is currently using the bookmarks file"));
  EXPECT_EQ(preferences.appIntegerValue(kLastHelperErrorKey, kDomain), 8);
}

TEST_F(AgentCommands, EveryCodeHasAMessage) {
  bundle.translate(
      "The bookmarks file “%@” could not be read. Please verify that you have read and write access to the file.",
      "Nicht lesbar: %@");
  EXPECT_EQ(messageOfCode(agent, 5), std::string("Nicht lesbar: ") + kFile);
  EXPECT_THAT(messageOfCode(agent, 7), HasSubstr("/Tarvel/Bookmarks (Initial Copy).plist”"));
  EXPECT_THAT(messageOfCode(agent, 101), HasSubstr("could not be watched"));
  EXPECT_THAT(messageOfCode(agent, 103), HasSubstr("newer version"));
  EXPECT_THAT(messageOfCode(agent, 77), HasSubstr("unknown error: 77"));
}

TEST_F(AgentCommands, AReportIsShownOnceAndThenCleared) {
  preferences.setInteger(kLastHelperErrorKey, 4, kDomain);
  EXPECT_EQ(run([this] { return runReport(agent, line); }), 0);
  EXPECT_EQ(output, std::string("The file “") + kFile + "” is a bookmarks file, but the version is too advanced.\n");
  EXPECT_FALSE(stored(kLastHelperErrorKey));
  EXPECT_EQ(run([this] { return runReport(agent, line); }), 0);
  EXPECT_EQ(output, "No pending error.\n");
}

TEST_F(AgentCommands, StatusStillShowsTheReportedError) {
  preferences.setInteger(kLastHelperErrorKey, 4, kDomain);
  EXPECT_EQ(run([this] { return runReport(agent, line); }), 0);
  EXPECT_EQ(run([this] { return runStatus(agent, line); }), 0);
  EXPECT_THAT(output, HasSubstr("Last error:        4, reported 20"));
  EXPECT_THAT(output, HasSubstr("the version is too advanced."));
}

TEST_F(AgentCommands, AReportThatCannotBeClearedIsAFailure) {
  preferences.setInteger(kLastHelperErrorKey, 4, kDomain);
  preferences.setFlushWorks(false);
  EXPECT_EQ(run([this] { return runReport(agent, line); }), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("will be shown again"));
}

TEST_F(AgentCommands, TheApplicationNotifiesAndClears) {
  MemoryNotifier notifier;
  MemorySystemLog log;
  preferences.setInteger(kLastHelperErrorKey, 103, kDomain);
  EXPECT_EQ(run([&] { return runReportAsApplication(agent, notifier, log); }), 0);
  EXPECT_THAT(notifier.shown(), ElementsAre("Tarvel: A newer version of Tarvel is available."));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_FALSE(stored(kLastHelperErrorKey));
  EXPECT_EQ(output, "");
}

TEST_F(AgentCommands, TheApplicationLogsWhereNotificationsAreNotShown) {
  MemoryNotifier notifier;
  notifier.setWorks(false);
  MemorySystemLog log;
  preferences.setInteger(kLastHelperErrorKey, 8, kDomain);
  EXPECT_EQ(run([&] { return runReportAsApplication(agent, notifier, log); }), 0);
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("Safari is currently using")));
  EXPECT_FALSE(stored(kLastHelperErrorKey));
}

TEST_F(AgentCommands, TheApplicationIsSilentWithoutAPendingError) {
  MemoryNotifier notifier;
  MemorySystemLog log;
  EXPECT_EQ(run([&] { return runReportAsApplication(agent, notifier, log); }), 0);
  EXPECT_THAT(notifier.shown(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(output, "");
  EXPECT_EQ(preferences.flushCount(), 0U);
}

}  // namespace
}  // namespace tarvel
