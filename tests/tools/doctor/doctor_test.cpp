#include "tools/doctor/doctor.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "platform/memory/memory_agent_service.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_system_probe.h"
#include "tests/support/engine_fixture.h"
#include "tests/tools/captured_output.h"

namespace tarvel {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kDomain = kMainApplicationIdentifier;
constexpr const char* kFile = "/home/user/Library/Safari/Bookmarks.plist";
constexpr const char* kFolder = "/home/user/Library/Safari";
constexpr const char* kLock = "/home/user/Library/Safari/lock";
constexpr const char* kAgent = "/app/TarvelHelper";
constexpr const char* kSettings = "/config/preferences.plist";
constexpr double kNow = 800'000'000;
constexpr std::int64_t kNowSince1970 = 1'778'307'200;

/// A finding of this state with these words in its sentence, and those in its advice or its command.
testing::Matcher<const Finding&> finding(FindingState state, const std::string& text, const std::string& advice = "") {
  return AllOf(Field(&Finding::state, state), Field(&Finding::text, HasSubstr(text)),
               AnyOf(Field(&Finding::advice, HasSubstr(advice)), Field(&Finding::command, HasSubstr(advice))));
}
testing::Matcher<const Finding&> isFine(const std::string& text) { return finding(FindingState::kFine, text); }
testing::Matcher<const Finding&> isNote(const std::string& text, const std::string& advice = "") {
  return finding(FindingState::kNote, text, advice);
}
testing::Matcher<const Finding&> isProblem(const std::string& text, const std::string& advice) {
  return finding(FindingState::kProblem, text, advice);
}

/// A machine on which everything is as it should be, and sorting is on.
struct Doctor : testing::Test, EngineFixture {
  Doctor() {
    ::setenv("XDG_DATA_HOME", "/home/user/data", 1);
    putBookmarks("Root[ BookmarksBar[ x ] BookmarksMenu[ a b ] ]");
    probe.put(kFolder, PathKind::kFolder);
    probe.put("/home/user", PathKind::kFolder);
    probe.put(kAgent, PathKind::kFile).isExecutable = true;
    preferences.setBoolean(kAutoSortModeKey, true, kDomain);
    service.putProgram(kAgent);
    service.setRunningAgent(4711);
    service.setLoginEntry({LoginStart::kServiceManager, "/units/TarvelHelper.service", kAgent});
    probe.process = {kAgent, false, "en_GB.UTF-8"};
  }
  ~Doctor() override { ::unsetenv("XDG_DATA_HOME"); }

  void putBookmarks(const std::string& notation) {
    const std::string bytes = serialization.dataWithPropertyList(tree(notation), 200).data.joined();
    memory.fileManager.putFile(kFile, bytes);
    probe.put(kFile, PathKind::kFile).size = bytes.size();
  }

  int run(bool json = false) {
    CommandLine line;
    line.output.isJson = json;
    line.output.color = ColorChoice::kNever;
    Captured captured;
    const int status = runDoctor(context, line);
    output = captured.output.str();
    return status;
  }

  MemoryPreferencesStore preferences;
  MemoryAgentService service;
  MemorySystemProbe probe;
  AgentContext agent{preferences, memory.fileManager, memory.bundle, kSettings,
                     [this] { return service.runningAgent(); }};
  DoctorContext context{platform, agent, service, probe, kAgent, kNow};
  std::string output;
};

TEST_F(Doctor, ASaveThatASortDisplacedIsAProblemWithItsPath) {
  EXPECT_THAT(checkKeptSaves(context), IsEmpty());
  memory.fileManager.addKeptSave(kFile, "/home/user/Library/Safari/.tarvel-displaced-1");
  EXPECT_THAT(checkKeptSaves(context), ElementsAre(isProblem(".tarvel-displaced-1", "tarvel restore --from")));
}

TEST_F(Doctor, OfAHealthyMachineEverythingIsFineAndNothingIsWritten) {
  const std::size_t writes = preferences.flushCount();
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(output, HasSubstr("\nNo problems found.\n"));
  EXPECT_THAT(output, Not(HasSubstr("\nproblem")));
  EXPECT_THAT(output, Not(HasSubstr("note")));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_EQ(preferences.flushCount(), writes);
}

TEST_F(Doctor, QuietSaysOnlyTheResultOfAHealthyMachine) {
  CommandLine line;
  line.output.isQuiet = true;
  const Captured captured;
  EXPECT_EQ(runDoctor(context, line), 0);
  EXPECT_EQ(captured.output.str(), "No problems found.\n");
}

TEST_F(Doctor, OneProblemNeedsAttentionAndTheCommandToPasteIsAloneOnTheLastLine) {
  service.setRunningAgent(std::nullopt);
  EXPECT_EQ(run(), kExitNeedsAttention);
  EXPECT_THAT(output, HasSubstr("problem Automatic sorting is on, but the agent is not running.\n"
                                "        → To start it:\n          tarvel agent start\n"));
  EXPECT_THAT(output, HasSubstr("\n1 problem found.\n"));
}

TEST_F(Doctor, NotesNeedNoAttention) {
  probe.system.isRemote = true;
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(output, HasSubstr("note    The file system"));
}

TEST_F(Doctor, JsonHasTheSameFindings) {
  probe.paths.erase(kFile);
  EXPECT_EQ(run(true), kExitNeedsAttention);
  const auto json = nlohmann::json::parse(output);
  EXPECT_EQ(json["problems"], 1);
  EXPECT_EQ(json["findings"][0]["check"], "bookmarks-file");
  EXPECT_EQ(json["findings"][0]["state"], "problem");
  EXPECT_EQ(json["findings"][0]["text"], std::string("There is no bookmarks file “") + kFile + "”.");
  EXPECT_EQ(json["findings"][0]["advice"], "If your file is elsewhere, name it:");
  EXPECT_EQ(json["findings"][0]["command"], "tarvel settings set bookmarks-filename PATH");
  EXPECT_TRUE(json["findings"].back()["command"].is_null());
}

TEST_F(Doctor, ControlCharactersAreSpelledOut) {
  preferences.setString(kBookmarksFilenameKey, "/a\x1b[31m", kDomain);
  EXPECT_EQ(run(), kExitNeedsAttention);
  EXPECT_THAT(output, Not(HasSubstr("\x1b")));
}

TEST_F(Doctor, TheFileMustExistAndBeAFile) {
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isFine(kFile)));
  probe.put(kFile, PathKind::kFolder);
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("is not a file", "bookmarks-filename")));
  probe.paths[kFile] = {};
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("There is no bookmarks file", "bookmarks-filename")));
  probe.paths[kFile].isLink = true;
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("a link that leads nowhere", "bookmarks-filename")));
  probe.paths[kFile].kind = PathKind::kUnknown;
  probe.paths[kFile].reason = "Permission denied";
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("Permission denied", "folders above")));
}

TEST_F(Doctor, ARelativePathIsAProblem) {
  preferences.setString(kBookmarksFilenameKey, "~/B.plist", kDomain);
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("is not a full path", "bookmarks-filename")));
}

TEST_F(Doctor, TheFileMustBeReadAndWritten) {
  probe.paths[kFile].isWritable = false;
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("permission to write “", "chmod u+rw")));
  probe.paths[kFile].isReadable = false;
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("permission to read “", "chmod u+rw")));
  probe.paths[kFile].isOwn = false;
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isProblem("permission to read “", "another user")));
}

TEST_F(Doctor, ALinkIsFollowedAndItsTargetsFolderLookedAt) {
  probe.paths[kFile].isLink = true;
  probe.paths[kFile].realPath = "/elsewhere/B.plist";
  EXPECT_THAT(checkBookmarksFile(context), ElementsAre(isFine(kFile), isFine("“/elsewhere/B.plist”")));
  probe.put("/elsewhere", PathKind::kFolder).isWritable = false;
  EXPECT_THAT(checkFolder(context), ElementsAre(isNote("“/elsewhere”")));
}

TEST_F(Doctor, TheContentsAreSortedInMemory) {
  EXPECT_THAT(checkContents(context), ElementsAre(isFine("in order")));
  putBookmarks("Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]");
  EXPECT_THAT(checkContents(context), ElementsAre(isNote("would change", "tarvel preview")));
  EXPECT_THAT(memory.systemLog.lines(), IsEmpty());
  putBookmarks("Root[ a ]");
  EXPECT_THAT(checkContents(context), ElementsAre(isProblem(kFile, "bookmarks-filename")));
}

TEST_F(Doctor, ABrokenFileIsAMatterOfItsContentsNotOfAccess) {
  memory.fileManager.putFile(kFile, "<plist>\n<dict><foo/>");
  EXPECT_THAT(checkContents(context), ElementsAre(isProblem("not a property list", "bookmarks-filename")));
  EXPECT_THAT(checkContents(context), ElementsAre(Field(&Finding::text, Not(HasSubstr("verify")))));
}

TEST_F(Doctor, ReasonsForAFailingSortAreKnownBeforehand) {
  EXPECT_THAT(problemsOfSorting(context), IsEmpty());
  putBookmarks("Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]");
  service.setRunningAgent(std::nullopt);
  EXPECT_THAT(problemsOfSorting(context), IsEmpty());
  putBookmarks("Root[ a ]");
  probe.system.isReadOnly = true;
  EXPECT_THAT(problemsOfSorting(context),
              ElementsAre(Field(&Message::command, "tarvel settings set bookmarks-filename PATH"),
                          Field(&Message::sentences, Contains(HasSubstr("Remount it read-write")))));
}

TEST_F(Doctor, TheContentsAreTriedWithTheAgentsSettings) {
  putBookmarks("Root[ BookmarksBar[ z a ] BookmarksMenu[ b ] ]");
  EXPECT_THAT(checkContents(context), ElementsAre(isFine("in order")));
  preferences.setBoolean(kSortBookmarksBarKey, true, kDomain);
  EXPECT_THAT(checkContents(context), ElementsAre(isNote("would change", "tarvel preview")));
}

TEST_F(Doctor, WhatCannotBeReadIsNotTried) {
  probe.paths[kFile].isReadable = false;
  EXPECT_THAT(checkContents(context), IsEmpty());
}

TEST_F(Doctor, TheFolderMustBeWatchedAndShouldBeWritten) {
  EXPECT_THAT(checkFolder(context), ElementsAre(isFine("watched")));
  probe.paths[kFolder].isWritable = false;
  EXPECT_THAT(checkFolder(context), ElementsAre(isNote("overwritten in place", "chmod u+w")));
  probe.paths[kFolder].isReadable = false;
  EXPECT_THAT(checkFolder(context), ElementsAre(isProblem("cannot be watched", "chmod u+rx")));
  probe.paths.erase(kFolder);
  EXPECT_THAT(checkFolder(context), ElementsAre(isNote("waits for it")));
}

TEST_F(Doctor, FileSystemsAreDistinguished) {
  EXPECT_THAT(checkFileSystem(context), ElementsAre(isFine("of the kind ext4"), isFine("enough space")));
  probe.system.name = "vfat";
  probe.system.takesNamelessFiles = false;
  EXPECT_THAT(checkFileSystem(context), Contains(isNote("vfat, has no unnamed files")));
  probe.system.isRemote = true;
  EXPECT_THAT(checkFileSystem(context), Contains(isNote("every 30 seconds")));
  probe.system.isReadOnly = true;
  EXPECT_THAT(checkFileSystem(context), Contains(isProblem("read-only", "Remount it")));
}

TEST_F(Doctor, ASortNeedsSpaceForTheFileAndItsBackup) {
  probe.paths[kFile].size = 10'000'000;
  probe.system.freeBytes = 21'000'000;
  EXPECT_THAT(checkFileSystem(context), Contains(isFine("enough space")));
  probe.system.freeBytes = 20'999'999;
  EXPECT_THAT(checkFileSystem(context),
              Contains(isProblem("20.9 MB are free, and 21.0 MB may be needed", "Free some space")));
}

TEST_F(Doctor, ALockIsABrowserAtWorkOrLeftBehind) {
  EXPECT_THAT(checkLock(context), ElementsAre(isFine("No browser")));
  probe.put(kLock, PathKind::kFolder).changed = Date{kNowSince1970 - 599, 0};
  EXPECT_THAT(checkLock(context), ElementsAre(isNote("using the file now")));
  probe.paths[kLock].changed = Date{kNowSince1970 - 601, 0};
  EXPECT_THAT(checkLock(context), ElementsAre(isProblem("for 10 minutes", "remove it")));
  probe.paths[kLock].changed = Date{kNowSince1970 - 3 * 86400, 0};
  EXPECT_THAT(checkLock(context), ElementsAre(isProblem("for 3 days", "remove it")));
}

TEST_F(Doctor, TheInitialBackupExistsOrCanBeMade) {
  const std::string backup = "/home/user/data/Tarvel/Bookmarks (Initial Copy).plist";
  EXPECT_THAT(checkBackup(context), ElementsAre(isFine("no backup of your bookmarks yet")));
  probe.paths["/home/user"].isWritable = false;
  EXPECT_THAT(checkBackup(context), ElementsAre(isProblem("cannot be made", "nothing is sorted")));
  probe.put(backup, PathKind::kFile);
  EXPECT_THAT(checkBackup(context), ElementsAre(isFine(backup)));
  probe.paths[backup].isReadable = false;
  EXPECT_THAT(checkBackup(context), ElementsAre(isProblem(backup, "Move it away")));
}

TEST_F(Doctor, TheSettingsFileIsMissingGoodCorruptOrOpenToOthers) {
  EXPECT_THAT(checkSettingsFile(context), ElementsAre(isFine("There are no settings")));
  probe.put(kSettings, PathKind::kFile);
  memory.fileManager.putFile(kSettings, "<plist><dict/></plist>");
  EXPECT_THAT(checkSettingsFile(context), ElementsAre(isFine("only by you")));
  probe.paths[kSettings].mode = 0644;
  EXPECT_THAT(checkSettingsFile(context), ElementsAre(isNote("by other users", "chmod 600")));
  for (const char* corrupt : {"", "<plist><dict><key>", "<plist><string>x</string></plist>"}) {
    memory.fileManager.putFile(kSettings, corrupt);
    EXPECT_THAT(checkSettingsFile(context), ElementsAre(isProblem("corrupt", "kept beside"))) << corrupt;
  }
  probe.paths[kSettings].isReadable = false;
  EXPECT_THAT(checkSettingsFile(context), ElementsAre(isProblem("cannot be read", "chmod")));
}

TEST_F(Doctor, EveryUnusableValueIsAProblem) {
  EXPECT_THAT(checkSettingsValues(context), ElementsAre(isFine("Every setting")));
  preferences.setString(kBookmarksUpdateLatencyKey, "soon", kDomain);
  preferences.setString(kFoldersAtTopKey, "perhaps", kDomain);
  EXPECT_THAT(
      checkSettingsValues(context),
      ElementsAre(isProblem("bookmarks-update-latency is set to “soon”, which cannot be used; 30 is used instead.",
                            "tarvel settings unset bookmarks-update-latency"),
                  isProblem("“perhaps”", "tarvel settings unset folders-at-top")));
}

TEST_F(Doctor, WatchesAreCountedWhileNoAgentIsRunning) {
  probe.watchFacts = {100, 100, 8, 8};
  EXPECT_THAT(checkWatches(context), ElementsAre(isFine("has the inotify watches that it needs")));
  service.setRunningAgent(std::nullopt);
  EXPECT_THAT(checkWatches(context), ElementsAre(isProblem("100 of 100 watches", "fs.inotify.max_user_watches=200"),
                                                 isProblem("8 of 8 queues", "fs.inotify.max_user_instances=16")));
  probe.watchFacts = {100, 68, 8, 7};
  EXPECT_THAT(checkWatches(context), ElementsAre(isFine("Enough inotify watches")));
  probe.watchFacts.usedWatches = 69;
  EXPECT_THAT(checkWatches(context), ElementsAre(isProblem("69 of 100 watches", "max_user_watches")));
  probe.watchFacts = {};
  EXPECT_THAT(checkWatches(context), ElementsAre(isNote("unknown here")));
}

TEST_F(Doctor, APendingErrorIsShownInWords) {
  EXPECT_THAT(checkError(context), ElementsAre(isFine("No pending error")));
  preferences.setInteger(kLastHelperErrorKey, 8, kDomain);
  EXPECT_THAT(checkError(context),
              ElementsAre(isProblem("Pending error 8: Safari is currently", "tarvel agent start")));
  preferences.setInteger(kLastHelperErrorKey, 103, kDomain);
  EXPECT_THAT(checkError(context), ElementsAre(isNote("newer version", "tarvel report")));
}

TEST_F(Doctor, AnAgentRunsAsWantedOrNot) {
  EXPECT_THAT(checkAgent(context), ElementsAre(isFine("the agent is running")));
  preferences.setBoolean(kAutoSortModeKey, false, kDomain);
  EXPECT_THAT(checkAgent(context), ElementsAre(isNote("is off, but the agent is still running", "tarvel agent stop")));
  service.setRunningAgent(std::nullopt);
  EXPECT_THAT(checkAgent(context), ElementsAre(isNote("is off", "tarvel agent enable")));
  probe.paths.erase(kAgent);
  EXPECT_THAT(checkAgent(context), Contains(isProblem("is not installed", "Install all of Tarvel")));
}

TEST_F(Doctor, TheStartAtLoginIsShownWithItsFile) {
  EXPECT_THAT(checkLogin(context), ElementsAre(isFine("service manager (“/units/TarvelHelper.service”)")));
  service.setLoginEntry({LoginStart::kDesktop, "/autostart/x.desktop", kAgent});
  EXPECT_THAT(checkLogin(context), ElementsAre(isFine("by your desktop (“/autostart/x.desktop”)")));
  service.setLoginEntry({LoginStart::kDesktop, "/autostart/x.desktop", "/old/TarvelHelper"});
  EXPECT_THAT(checkLogin(context),
              ElementsAre(isProblem("does not exist: “/old/TarvelHelper”", "tarvel agent enable")));
  probe.put("/old/TarvelHelper", PathKind::kFile).isExecutable = true;
  EXPECT_THAT(checkLogin(context), ElementsAre(isNote("Another agent", "tarvel agent enable")));
  service.setLoginEntry({});
  EXPECT_THAT(checkLogin(context), ElementsAre(isProblem("does not start when you log in", "tarvel agent enable")));
  preferences.setBoolean(kAutoSortModeKey, false, kDomain);
  EXPECT_THAT(checkLogin(context), IsEmpty());
  service.setLoginEntry({LoginStart::kServiceManager, "/units/TarvelHelper.service", kAgent});
  EXPECT_THAT(checkLogin(context), ElementsAre(isNote("exits at once", "tarvel agent disable")));
}

TEST_F(Doctor, WhatTheSessionLacksIsNoted) {
  EXPECT_THAT(checkSession(context), ElementsAre(isFine("service manager"), isFine("session bus")));
  service.setHasManager(false);
  probe.sessionBus = false;
  probe.superUser = true;
  EXPECT_THAT(checkSession(context),
              ElementsAre(isNote("No user service manager"), isNote("No session bus", "tarvel status"),
                          isNote("You are root", "without sudo")));
}

TEST_F(Doctor, AgentAndCommandAreOfOneBuild) {
  EXPECT_THAT(checkVersion(context), ElementsAre(isFine("have version")));
  memory.bundle.setInfo("CFBundleShortVersionString", "0.0.9");
  EXPECT_THAT(checkVersion(context), ElementsAre(isProblem("has version 0.0.9", "the same version")));
  probe.process.program = "/elsewhere/TarvelHelper";
  EXPECT_THAT(checkVersion(context), ElementsAre(isNote("“/elsewhere/TarvelHelper”", "tarvel agent stop")));
  probe.process.isProgramGone = true;
  EXPECT_THAT(checkVersion(context), ElementsAre(isProblem("was replaced", "tarvel agent stop")));
}

TEST_F(Doctor, UpdateChecksNeedTheirProgram) {
  EXPECT_THAT(checkUpdates(context), ElementsAre(isFine("Update checks are off")));
  preferences.setBoolean("SUEnableAutomaticChecks", true, kDomain);
  EXPECT_THAT(checkUpdates(context),
              ElementsAre(isProblem("“/app/tarvel-update-check”", "unset enable-automatic-checks")));
  probe.put("/app/tarvel-update-check", PathKind::kFile).isExecutable = true;
  EXPECT_THAT(checkUpdates(context), ElementsAre(isFine("Update checks are on")));
}

TEST_F(Doctor, WithoutALanguageSaysHowToSetOne) {
  for (const char* none : {"", "C", "POSIX", "C.UTF-8"}) {
    probe.language = none;
    probe.process = {};
    EXPECT_THAT(checkLanguage(context), ElementsAre(isFine("LANG sets yours"))) << none;
  }
}

TEST_F(Doctor, AnAgentThatOrdersByAnotherLanguageIsNoted) {
  EXPECT_THAT(checkLanguage(context), ElementsAre(isFine("“en_GB.UTF-8”")));
  probe.process.orderLanguage = "";
  EXPECT_THAT(checkLanguage(context),
              ElementsAre(isNote("“none”, this command by “en_GB.UTF-8”", "tarvel agent stop")));
  probe.process = {};
  EXPECT_THAT(checkLanguage(context), ElementsAre(isFine("“en_GB.UTF-8”")));
}

}  // namespace
}  // namespace tarvel
