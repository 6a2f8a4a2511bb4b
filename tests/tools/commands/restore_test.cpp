#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iostream>

#include "tests/support/engine_fixture.h"
#include "tools/backups/backup_store.h"
#include "tools/commands/commands.h"
#include "tools/files/paths.h"

namespace tarvel {
namespace {

struct Person final : ConfirmationPrompt {
  bool here = true;
  bool answer = true;
  /// The answer to the question about automatic sorting.
  bool wantsAgentOff = false;
  int asked = 0;
  /// What happens while they think.
  std::function<void()> meanwhile;

  bool isInteractive() override { return here; }
  bool confirm(const std::string& question) override {
    if (question.find("automatic sorting") != std::string::npos) return wantsAgentOff;
    ++asked;
    if (meanwhile) meanwhile();
    return answer;
  }
};

constexpr const char* kRestoredFile = "/Bookmarks.plist";
constexpr const char* kFirst = "/data/Tarvel/Bookmarks (Initial Copy).plist";

struct Restore : testing::Test, EngineFixture {
  BackupStore store{platform, kFirst, kRestoredFile};
  CommandLine line;
  CommandSettings settings;
  Person prompt;
  std::string said;
  bool isWatched = false;
  std::string wasAskedFor;
  std::string old = bookmarks("old");
  std::string now = bookmarks("now");
  Backup copy;

  Restore() {
    line.command = Command::kRestore;
    line.file = kRestoredFile;
    line.backupFile = kFirst;
    copy = store.keep(Data::copyOf(old)).backup;
    line.backups.from = copy.name;
    save(now);
  }

  [[nodiscard]] std::string bookmarks(const std::string& title) {
    const PropertyList list = tree("Root[ BookmarksBar[ " + title + " ] BookmarksMenu[ m ] ]");
    return serialization.dataWithPropertyList(list, 200).data.joined();
  }
  void save(const std::string& bytes) { memory.fileManager.putFile(kRestoredFile, bytes); }
  [[nodiscard]] std::optional<std::string> file() const { return memory.fileManager.bytesAt(kRestoredFile); }

  int run() {
    return runHere([&] {
      return runRestore(platform, line, settings,
                        {prompt,
                         [this](const std::string& path) {
                           wasAskedFor = path;
                           return isWatched;
                         },
                         [this] {
                           isWatched = false;
                           return std::string();
                         }});
    });
  }
  int runHere(const std::function<int()>& command) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = command();
    said = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    return status;
  }
  [[nodiscard]] bool says(const std::string& text) const { return said.find(text) != std::string::npos; }
  /// Whether bytes are in some file at all.
  [[nodiscard]] bool isSomewhere(const std::string& bytes) const {
    return std::ranges::any_of(memory.fileManager.filePaths(),
                               [&](const std::string& path) { return memory.fileManager.bytesAt(path) == bytes; });
  }
};

TEST_F(Restore, PutsABackupBackAndSavesWhatItReplaces) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(prompt.asked, 1);
  EXPECT_EQ(file(), old);
  EXPECT_EQ(memory.fileManager.bytesAt(copy.path), old);
  ASSERT_EQ(store.list().backups.size(), 2U);
  EXPECT_EQ(memory.fileManager.bytesAt(store.list().backups[1].path), now);
  EXPECT_TRUE(says(store.list().backups[1].name)) << said;
  // And back again.
  line.backups.from = store.list().backups[1].name;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), now);
  EXPECT_EQ(store.list().backups.size(), 3U);
}

TEST_F(Restore, WhatIsReplacedBecomesTheNewestBackupSoPruningKeepsIt) {
  // What the file holds is in a copy from long ago, too.
  save(old);
  memory.time.pass(std::chrono::hours(24 * 1000));
  ASSERT_TRUE(store.keep(Data::copyOf(now)).isNew);
  line.backups.from = store.list().backups[1].name;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), now);
  line.backups.keep = 1;
  line.backups.action = BackupAction::kPrune;
  EXPECT_EQ(runHere([&] { return runBackup(platform, line, settings); }), 0);
  ASSERT_EQ(store.list().backups.size(), 1U);
  EXPECT_EQ(memory.fileManager.bytesAt(store.list().backups[0].path), old);
}

TEST_F(Restore, ShowsTheDifferenceBeforeAsking) {
  bool wasUntouched = false;
  prompt.meanwhile = [&] { wasUntouched = file() == now && store.list().backups.size() == 1; };
  prompt.answer = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(wasUntouched);
  EXPECT_TRUE(says("1 entry renamed")) << said;
  EXPECT_TRUE(says("“old”")) << said;
  EXPECT_EQ(file(), now);
  EXPECT_EQ(store.list().backups.size(), 1U);
}

TEST_F(Restore, NeedsYesWithoutATerminal) {
  prompt.here = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(says("--yes")) << said;
  EXPECT_EQ(file(), now);
  line.backups.isAgreed = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  EXPECT_EQ(prompt.asked, 0);
}

TEST_F(Restore, WarnsOfTheAgentBeforeAsking) {
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(says("agent")) << said;
  save(now);
  isWatched = true;
  prompt.answer = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(says("would sort the restored file again")) << said;
  prompt.here = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(says("To turn it off first:\n  tarvel agent disable\n")) << said;
  EXPECT_EQ(wasAskedFor, kRestoredFile);
}

TEST_F(Restore, SaysThatTheAgentIsAboutToSortAgain) {
  isWatched = true;
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(says("is about to sort this file again")) << said;
  save(now);
  memory.fileManager.putFile(kFirst, old);
  line.backups.from.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  EXPECT_TRUE(says("is about to sort this file again")) << said;
  EXPECT_TRUE(says("tarvel agent disable")) << said;
}

TEST_F(Restore, OffersToTurnAutomaticSortingOffFirst) {
  isWatched = true;
  prompt.wantsAgentOff = true;
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(isWatched);
  EXPECT_EQ(file(), old);
  EXPECT_TRUE(says("Automatic sorting is off.")) << said;
  EXPECT_FALSE(says("is about to sort")) << said;
}

TEST_F(Restore, PlainRestoreShowsTheDifferenceAndAsksOnATerminal) {
  memory.fileManager.putFile(kFirst, old);
  line.backups.from.clear();
  prompt.answer = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_EQ(prompt.asked, 1);
  EXPECT_TRUE(says("1 entry renamed")) << said;
  EXPECT_TRUE(said.ends_with("Nothing was changed.\n")) << said;
  EXPECT_EQ(file(), now);
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), old);
  line.backups.isAgreed = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(prompt.asked, 1);
  EXPECT_EQ(file(), old);
}

TEST_F(Restore, PlainRestoreWithoutATerminalDoesNotAsk) {
  save(old);
  ASSERT_TRUE(memory.fileManager.copyItemAtPathToPath(kRestoredFile, kFirst).ok());
  save(now);
  line.backups.from.clear();
  prompt.here = false;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(file(), old);
}

TEST_F(Restore, ADryRunShowsTheDifferenceAndChangesNothing) {
  memory.fileManager.putFile(kFirst, old);
  line.isDryRun = true;
  for (const std::string& from : {copy.name, std::string()}) {
    line.backups.from = from;
    line.backups.isAgreed = true;
    EXPECT_EQ(run(), kExitWouldChange);
    EXPECT_TRUE(says("“old”")) << said;
    EXPECT_TRUE(said.ends_with("Nothing was changed.\n")) << said;
    EXPECT_EQ(file(), now);
    EXPECT_EQ(prompt.asked, 0);
  }
}

TEST_F(Restore, AFailureDoesNotMentionTheAgent) {
  isWatched = true;
  line.backups.from.clear();
  EXPECT_NE(run(), 0);
  EXPECT_FALSE(says("agent")) << said;
}

TEST_F(Restore, TheSameBytesAreNotWrittenAgain) {
  save(old);
  const auto date = memory.fileManager.modificationDateAtPath(kRestoredFile);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(memory.fileManager.modificationDateAtPath(kRestoredFile), date);
}

TEST_F(Restore, NoConcurrentWriteIsLost) {
  const std::string theirs = bookmarks("theirs");
  prompt.meanwhile = [&] { save(theirs); };
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), theirs);
  // At the last instant too.
  prompt.meanwhile = nullptr;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kWrite) save(bookmarks("later"));
  });
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), bookmarks("later"));
  // And when the initial backup is put back.
  memory.fileManager.putFile(kFirst, old);
  line.backups.from.clear();
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), bookmarks("later"));
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), old);
}

TEST_F(Restore, TheLockIsCheckedTenTimes) {
  memory.fileManager.putFile("/lock", "");
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(memory.clock.sleeps().size(), 9U);
  memory.clock.forgetSleeps();
  memory.clock.setHook([&](std::size_t sleeps) {
    if (sleeps == 2) memory.fileManager.removeTree("/lock");
  });
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
}

TEST_F(Restore, TheLockIsCheckedAgainAfterTheQuestion) {
  prompt.meanwhile = [&] { memory.fileManager.putFile("/lock", ""); };
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, ABrokenFileIsReplacedAndSaved) {
  save("broken");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(says("cannot be shown")) << said;
  EXPECT_EQ(file(), old);
  EXPECT_TRUE(isSomewhere("broken"));
}

TEST_F(Restore, AMissingFileIsCreatedButReplacesNoFile) {
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  memory.fileManager.removeTree(kRestoredFile);
  prompt.meanwhile = [&] { save(now); };
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, AMissingOrForeignBackupChangesNothing) {
  line.backups.from = "2001";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  line.backups.from = "/none.plist";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  memory.fileManager.putFile("/other.plist", "no list at all");
  line.backups.from = "/other.plist";
  EXPECT_EQ(run(), TarvelErrorNotBookmarksFile);
  memory.fileManager.setMode("/other.plist", 0200);
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_EQ(file(), now);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(store.list().backups.size(), 1U);
}

TEST_F(Restore, AUniquePartOfANameIsEnough) {
  memory.fileManager.putFile(kFirst, bookmarks("first"));
  line.backups.from = "Bookmarks";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  EXPECT_TRUE(says("several")) << said;
  line.backups.from = "Initial";
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("first"));
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), bookmarks("first"));
  line.backups.from = copy.name.substr(10, 17);
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
}

TEST_F(Restore, AWholeNameComesBeforeAPathAndAPathBeforeAPartOfAName) {
  const auto put = [&](const std::string& name, const std::string& title) {
    memory.fileManager.putFile(absolutePath(name), bookmarks(title));
  };
  put(copy.name, "a whole name");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  line.backups.from = copy.name.substr(10, 10);
  put(line.backups.from, "a part of a name");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("a part of a name"));
}

TEST_F(Restore, NothingIsReplacedThatCouldNotBeSaved) {
  for (const FileOperation operation : {FileOperation::kCreateDirectory, FileOperation::kCreateFile}) {
    memory.fileManager.failNext(operation, ENOSPC);
    EXPECT_EQ(run(), TarvelErrorBackupFailed);
    EXPECT_EQ(file(), now);
  }
}

TEST_F(Restore, NothingIsLostWhenAnyCallFails) {
  for (const bool isInitial : {false, true}) {
    for (int operation = 0; operation <= static_cast<int>(FileOperation::kSupportDirectory); ++operation) {
      save(now);
      memory.fileManager.putFile(kFirst, old);
      line.backups.from = isInitial ? "" : copy.name;
      memory.fileManager.failAlways(static_cast<FileOperation>(operation), EIO);
      const int status = run();
      // From here on nothing fails any more.
      memory.fileManager.failAlways(static_cast<FileOperation>(operation), 0);
      EXPECT_TRUE(isSomewhere(now)) << operation << said;
      EXPECT_TRUE(isSomewhere(old)) << operation << said;
      const bool isBack = status == 0 || (isInitial && status == kExitFailed);
      EXPECT_EQ(file(), isBack ? old : now) << operation << said;
    }
  }
}

TEST_F(Restore, TheInitialBackupMovesAndWhatItReplacesIsSaved) {
  memory.fileManager.putFile(kFirst, bookmarks("first"));
  line.backups.from.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("first"));
  EXPECT_FALSE(memory.fileManager.bytesAt(kFirst).has_value());
  EXPECT_TRUE(isSomewhere(now));
  EXPECT_TRUE(says("Previous contents saved as")) << said;
  // No initial backup is left, and no copy is made for nothing.
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  EXPECT_EQ(store.list().backups.size(), 2U);
  memory.fileManager.putFile(kFirst, old);
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorOutputFileNotFound);
  EXPECT_TRUE(says("restore --from '" + std::string(kFirst) + "'")) << said;
}

TEST_F(Restore, WithoutFileAndInitialBackupPointsToTheOtherBackups) {
  line.backups.from.clear();
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorOutputFileNotFound);
  EXPECT_TRUE(says("tarvel backup list")) << said;
  EXPECT_FALSE(says("restore --from")) << said;
}

TEST_F(Restore, AnInitialBackupThatCannotBeRemovedIsPutBackAndStays) {
  memory.fileManager.putFile(kFirst, old);
  line.backups.from.clear();
  memory.fileManager.failNext(FileOperation::kRemove, EACCES);
  EXPECT_EQ(run(), kExitFailed);
  EXPECT_TRUE(says("stays too")) << said;
  EXPECT_EQ(file(), old);
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), old);
  EXPECT_TRUE(isSomewhere(now));
}

TEST_F(Restore, AnInitialBackupThatIsNotABookmarksFileIsNotPutBack) {
  line.backups.from.clear();
  memory.fileManager.putFile(kFirst, "notes");
  EXPECT_EQ(run(), TarvelErrorNotBookmarksFile);
  memory.fileManager.removeTree(kFirst);
  memory.fileManager.putFolder(kFirst);
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_EQ(file(), now);
  EXPECT_TRUE(memory.fileManager.isFolder(kFirst));
  EXPECT_EQ(store.list().backups.size(), 1U);
}

TEST_F(Restore, AnInitialBackupThatIsTheFileItselfIsLeftAlone) {
  line.backups.from.clear();
  memory.fileManager.putLink(kFirst, kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_EQ(file(), now);
  EXPECT_TRUE(memory.fileManager.isLink(kFirst));
  line.backupFile = kRestoredFile;
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, CreatesNothingThroughADanglingLink) {
  memory.fileManager.removeTree(kRestoredFile);
  memory.fileManager.putLink(kRestoredFile, "/gone");
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_TRUE(says("leads nowhere")) << said;
  EXPECT_TRUE(memory.fileManager.isLink(kRestoredFile));
}

TEST_F(Restore, AFolderThatCannotBeListedIsAnError) {
  memory.fileManager.failNext(FileOperation::kList, EACCES);
  line.backups.from = "2020";
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_TRUE(says("could not be listed")) << said;
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, DoesNotAskWhenTheDifferenceCouldNotBeShown) {
  EXPECT_EQ(runHere([&] {
              std::cout.setstate(std::ios::badbit);
              const int status =
                  runRestore(platform, line, settings,
                             {prompt, [](const std::string&) { return false; }, [] { return std::string(); }});
              std::cout.clear();
              return status;
            }),
            kExitWouldChange);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, AConcurrentWriteAfterTheBackupIsNotReplaced) {
  memory.fileManager.putFile(kFirst, old);
  line.backups.from.clear();
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kCreateFile) save(bookmarks("theirs"));
  });
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), bookmarks("theirs"));
}

}  // namespace
}  // namespace tarvel
