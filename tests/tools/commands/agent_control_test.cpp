#include "tools/commands/agent_control.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"

#include <gmock/gmock.h>

#include "platform/memory/memory_agent_service.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/path_components.h"
#include "tests/tools/captured_output.h"
#include "tools/backups/initial_backup.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kControlDomain = kMainApplicationIdentifier;
constexpr const char* kControlledFile = "/home/user/Library/Safari/Bookmarks.plist";
constexpr const char* kAgent = "/app/TarvelHelper";

struct AgentControlTest : testing::Test {
  AgentControlTest() {
    service.putProgram(kAgent);
    files.putFile(kControlledFile, "");
  }

  int run(AgentAction action) {
    line.command = Command::kAgent;
    line.agentAction = action;
    Captured captured;
    const int status = runAgent({agent, service, kAgent, [this] { return problems; }}, line);
    output = captured.output.str();
    errors = captured.errors.str();
    return status;
  }

  [[nodiscard]] std::optional<bool> storedSetting() {
    return preferences.flushedValue(kAutoSortModeKey, kControlDomain).root.boolean();
  }

  MemoryPreferencesStore preferences;
  MemoryFileManager files;
  MemoryBundle bundle;
  MemoryAgentService service;
  AgentContext agent{preferences, files, bundle, "/config/preferences.plist",
                     [this] { return service.runningAgent(); }};
  std::vector<Message> problems;
  CommandLine line;
  std::string output;
  std::string errors;
};

TEST_F(AgentControlTest, EnablingTurnsItOnNowAndForEveryLoginAndSaysWhatComesNext) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_EQ(storedSetting(), true);
  EXPECT_THAT(service.requests(), ElementsAre("enable /app/TarvelHelper", "start /app/TarvelHelper"));
  EXPECT_EQ(output,
            "Automatic sorting is on.\n"
            "The agent is running, process 4711, and starts whenever you log in.\n"
            "Nothing is sorted yet: the first sort follows the next change of "
            "“/home/user/Library/Safari/Bookmarks.plist”.\n"
            "To see what it would do:\n  tarvel preview\n"
            "To turn it off again:\n  tarvel agent disable\n");
}

TEST_F(AgentControlTest, EnablingAgainSaysThatItIsAlreadyOn) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  const std::size_t flushes = preferences.flushCount();
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_EQ(output,
            "Automatic sorting is already on.\n"
            "The agent is running, process 4711, and starts whenever you log in.\n");
  EXPECT_EQ(preferences.flushCount(), flushes);
}

TEST_F(AgentControlTest, EnablingMovesAnotherFilesBackupAsideBeforeTheAgentCanTakeItForTheFilesOwn) {
  const std::string agents = agentBackupFile(files);
  const std::string folder = deletingLastPathComponent(agents);
  files.putFile("/other.plist", "other");
  files.putFolder(folder);
  ASSERT_TRUE(files.copyItemAtPathToPath("/other.plist", agents).ok());
  files.setMode(folder, 0500);
  EXPECT_EQ(run(AgentAction::kEnable), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("could not be moved aside"));
  EXPECT_EQ(storedSetting(), std::nullopt);
  EXPECT_TRUE(service.requests().empty());
  files.setMode(folder, 0700);
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_FALSE(files.fileExistsAtPath(agents));
  EXPECT_EQ(initialBackupOf(files, "/other.plist", kControlledFile).origin, BackupOrigin::kThisFile);
}

TEST_F(AgentControlTest, EnablingRepairsWhatIsMissing) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  service.setRunningAgent(std::nullopt);
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_THAT(output, Not(HasSubstr("already")));
  EXPECT_TRUE(service.runningAgent());
}

TEST_F(AgentControlTest, WithoutAManagerTheDesktopStartsTheAgent) {
  service.setHasManager(false);
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_THAT(output, HasSubstr("and starts whenever your desktop session begins.\nNo user service manager"));
  EXPECT_THAT(output, HasSubstr("Without a desktop, start it after each login:\n  tarvel agent start\n"));
}

TEST_F(AgentControlTest, EnablesAndSaysThatTheFileIsMissing) {
  preferences.setString(kBookmarksFilenameKey, "/elsewhere/B.plist", kControlDomain);
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_THAT(output, HasSubstr("There is no file “/elsewhere/B.plist” yet"));
  EXPECT_THAT(output, HasSubstr("tarvel settings set bookmarks-filename PATH"));
  EXPECT_THAT(output, Not(HasSubstr("tarvel preview")));
}

TEST_F(AgentControlTest, EnablesAndSaysWhyTheFirstSortWouldFail) {
  problems = {{{"It is not a bookmarks file.", "Name another:"}, "tarvel settings"},
              {{"The disk is full.", "Make room."}, {}}};
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_THAT(output, HasSubstr("The first sort would fail:\nIt is not a bookmarks file.\nName another:\n"
                                "  tarvel settings\nThe disk is full.\nMake room.\n"));
  EXPECT_THAT(output, Not(HasSubstr("tarvel preview")));
  EXPECT_TRUE(service.runningAgent());
}

TEST_F(AgentControlTest, ARefusalChangesNothing) {
  service.setComplaint("It is in the way.");
  EXPECT_EQ(run(AgentAction::kEnable), kExitFailed);
  EXPECT_EQ(errors, "tarvel: It is in the way.\nNothing was changed.\n");
  EXPECT_EQ(output, "");
  EXPECT_EQ(storedSetting(), std::nullopt);
}

TEST_F(AgentControlTest, SettingsThatCannotBeWrittenStartNothing) {
  preferences.setFlushWorks(false);
  EXPECT_EQ(run(AgentAction::kEnable), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("could not be written to “/config/preferences.plist”"));
  EXPECT_FALSE(service.runningAgent());
}

TEST_F(AgentControlTest, DisablingTakesEverythingBack) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_EQ(run(AgentAction::kDisable), 0);
  EXPECT_EQ(storedSetting(), false);
  EXPECT_FALSE(service.runningAgent());
  EXPECT_EQ(service.loginEntry().by, LoginStart::kNone);
  EXPECT_THAT(output, HasSubstr("To turn it on again:\n  tarvel agent enable\n"));
  EXPECT_EQ(run(AgentAction::kDisable), 0);
  EXPECT_THAT(output, HasSubstr("already off"));
}

TEST_F(AgentControlTest, DisablingWhatWasNeverSetUpWritesNothing) {
  EXPECT_EQ(run(AgentAction::kDisable), 0);
  EXPECT_THAT(output, HasSubstr("already off"));
  EXPECT_EQ(preferences.flushCount(), 0U);
}

TEST_F(AgentControlTest, DisablingStoresTheSettingEvenWhenTheManagerRefuses) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  service.setComplaint("No.");
  EXPECT_EQ(run(AgentAction::kDisable), kExitFailed);
  EXPECT_EQ(errors, "tarvel: Automatic sorting is off from the agent's next start.\nNo.\n");
  EXPECT_EQ(storedSetting(), false);
}

TEST_F(AgentControlTest, StartingIsRefusedWhileAutomaticSortingIsOff) {
  EXPECT_EQ(run(AgentAction::kStart), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("tarvel agent enable"));
  EXPECT_TRUE(service.requests().empty());
}

TEST_F(AgentControlTest, StartingAndStoppingChangeNothingAboutTheNextLogin) {
  preferences.setBoolean(kAutoSortModeKey, true, kControlDomain);
  EXPECT_EQ(run(AgentAction::kStart), 0);
  EXPECT_EQ(output, "The agent is running, process 4711.\nTo start it whenever you log in:\n  tarvel agent enable\n");
  EXPECT_EQ(run(AgentAction::kStart), 0);
  EXPECT_THAT(output, HasSubstr("already running"));
  EXPECT_EQ(run(AgentAction::kStop), 0);
  EXPECT_EQ(output, "The agent has stopped.\n");
  EXPECT_EQ(run(AgentAction::kStop), 0);
  EXPECT_EQ(output, "The agent is not running.\n");
  EXPECT_EQ(storedSetting(), true);
}

TEST_F(AgentControlTest, StoppingAnEnabledAgentSaysThatItComesBack) {
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_EQ(run(AgentAction::kStop), 0);
  EXPECT_THAT(output, HasSubstr("It starts again when you next log in."));
}

TEST_F(AgentControlTest, TheStateNeedsAttentionWhenTheAgentShouldRunAndDoesNot) {
  EXPECT_EQ(run(AgentAction::kStatus), 0);
  EXPECT_EQ(output,
            "Automatic sorting is off.\nThe agent is not running, and starts only when you start it.\n"
            "To turn it on:\n  tarvel agent enable\n");
  EXPECT_EQ(run(AgentAction::kEnable), 0);
  EXPECT_EQ(run(AgentAction::kStatus), 0);
  EXPECT_EQ(output,
            "Automatic sorting is on.\nThe agent is running, process 4711, and starts whenever you log in "
            "(“/config/systemd/user/TarvelHelper.service”).\n"
            "To see its settings and the last error:\n  tarvel status\n");
  service.setRunningAgent(std::nullopt);
  EXPECT_EQ(run(AgentAction::kStatus), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("To see why it does not run:\n  tarvel status\n"));
}

}  // namespace
}  // namespace tarvel
