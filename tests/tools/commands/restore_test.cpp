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
  int asked = 0;
  /// What happens while they think.
  std::function<void()> meanwhile;

  bool isInteractive() override { return here; }
  bool confirm(const std::string& /*question*/) override {
    ++asked;
    if (meanwhile) meanwhile();
    return answer;
  }
};

constexpr const char* kRestoredFile = "/Bookmarks.plist";
constexpr const char* kFirst = "/data/Tarvel/Bookmarks (Initial Copy).plist";

struct Restore : testing::Test, EngineFixture {
  BackupStore copies{platform, kFirst, kRestoredFile};
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
    copy = copies.keep(Data::copyOf(old)).copy;
    line.copies.from = copy.name;
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
      return runRestore(platform, line, settings, prompt, [this](const std::string& path) {
        wasAskedFor = path;
        return isWatched;
      });
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

TEST_F(Restore, ACopyIsPutBackStaysAndWhatItReplacesIsKept) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(prompt.asked, 1);
  EXPECT_EQ(file(), old);
  EXPECT_EQ(memory.fileManager.bytesAt(copy.path), old);
  ASSERT_EQ(copies.list().copies.size(), 2U);
  EXPECT_EQ(memory.fileManager.bytesAt(copies.list().copies[1].path), now);
  EXPECT_TRUE(says(copies.list().copies[1].name)) << said;
  // And back again.
  line.copies.from = copies.list().copies[1].name;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), now);
  EXPECT_EQ(copies.list().copies.size(), 3U);
}

TEST_F(Restore, WhatIsReplacedIsTheNewestCopySoThatPruningLeavesIt) {
  // What the file holds is in a copy from long ago, too.
  save(old);
  memory.time.pass(std::chrono::hours(24 * 1000));
  ASSERT_TRUE(copies.keep(Data::copyOf(now)).isNew);
  line.copies.from = copies.list().copies[1].name;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), now);
  line.copies.keep = 1;
  line.copies.action = BackupAction::kPrune;
  EXPECT_EQ(runHere([&] { return runBackup(platform, line, settings); }), 0);
  ASSERT_EQ(copies.list().copies.size(), 1U);
  EXPECT_EQ(memory.fileManager.bytesAt(copies.list().copies[0].path), old);
}

TEST_F(Restore, TheDifferenceIsShownBeforeAnybodyIsAsked) {
  bool wasUntouched = false;
  prompt.meanwhile = [&] { wasUntouched = file() == now && copies.list().copies.size() == 1; };
  prompt.answer = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(wasUntouched);
  EXPECT_TRUE(says("1 renamed")) << said;
  EXPECT_TRUE(says("“old”")) << said;
  EXPECT_EQ(file(), now);
  EXPECT_EQ(copies.list().copies.size(), 1U);
}

TEST_F(Restore, WhereNobodyCanBeAskedItTakesAYes) {
  prompt.here = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(says("--yes")) << said;
  EXPECT_EQ(file(), now);
  line.copies.isAgreed = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  EXPECT_EQ(prompt.asked, 0);
}

TEST_F(Restore, AnAgentThatSortsTheFileIsToldOfBeforeAnybodyAgrees) {
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(says("agent")) << said;
  save(now);
  isWatched = true;
  prompt.answer = false;
  EXPECT_EQ(run(), kExitWouldChange);
  EXPECT_TRUE(says("would sort what is put back")) << said;
  EXPECT_TRUE(says("tarvel agent disable")) << said;
  EXPECT_EQ(wasAskedFor, kRestoredFile);
}

TEST_F(Restore, AnAgentThatIsAboutToSortTheFileAgainIsToldOf) {
  isWatched = true;
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(says("is about to sort this file again")) << said;
  save(now);
  memory.fileManager.putFile(kFirst, old);
  line.copies.from.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  EXPECT_TRUE(says("is about to sort this file again")) << said;
  EXPECT_TRUE(says("tarvel agent disable")) << said;
}

TEST_F(Restore, NothingIsSaidOfAnAgentWhereNothingWasPutBack) {
  isWatched = true;
  line.copies.from.clear();
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

TEST_F(Restore, NobodysSaveIsLost) {
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
  line.copies.from.clear();
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), bookmarks("later"));
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), old);
}

TEST_F(Restore, TheBrowserIsWaitedForThreeSeconds) {
  memory.fileManager.putFile("/lock", "");
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(memory.clock.sleeps().size(), 10U);
  memory.clock.forgetSleeps();
  memory.clock.setHook([&](std::size_t sleeps) {
    if (sleeps == 2) memory.fileManager.removeTree("/lock");
  });
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
}

TEST_F(Restore, ABrowserThatComesWhileThePersonThinksIsWaitedForToo) {
  prompt.meanwhile = [&] { memory.fileManager.putFile("/lock", ""); };
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, ABrokenFileIsReplacedAndKept) {
  save("broken");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(says("cannot be shown")) << said;
  EXPECT_EQ(file(), old);
  EXPECT_TRUE(isSomewhere("broken"));
}

TEST_F(Restore, AFileThatIsGoneIsMadeButNotOverOneThatComes) {
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  memory.fileManager.removeTree(kRestoredFile);
  prompt.meanwhile = [&] { save(now); };
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, ACopyThatIsMissingOrNoBookmarksFileChangesNothing) {
  line.copies.from = "2001";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  line.copies.from = "/none.plist";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  memory.fileManager.putFile("/other.plist", "no list at all");
  line.copies.from = "/other.plist";
  EXPECT_EQ(run(), TarvelErrorNotBookmarksFile);
  memory.fileManager.setMode("/other.plist", 0200);
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_EQ(file(), now);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(copies.list().copies.size(), 1U);
}

TEST_F(Restore, APartOfANameWillDoIfOnlyOneHasIt) {
  memory.fileManager.putFile(kFirst, bookmarks("first"));
  line.copies.from = "Bookmarks";
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  EXPECT_TRUE(says("several")) << said;
  line.copies.from = "Initial";
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("first"));
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), bookmarks("first"));
  line.copies.from = copy.name.substr(10, 17);
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
}

TEST_F(Restore, AWholeNameComesBeforeAPathAndAPathBeforeAPartOfAName) {
  const auto put = [&](const std::string& name, const std::string& title) {
    memory.fileManager.putFile(absolutePath(name), bookmarks(title));
  };
  put(copy.name, "a whole name");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), old);
  line.copies.from = copy.name.substr(10, 10);
  put(line.copies.from, "a part of a name");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("a part of a name"));
}

TEST_F(Restore, WithoutACopyOfWhatItReplacesNothingIsReplaced) {
  for (const FileOperation operation : {FileOperation::kCreateDirectory, FileOperation::kCreateFile}) {
    memory.fileManager.failNext(operation, ENOSPC);
    EXPECT_EQ(run(), TarvelErrorBackupFailed);
    EXPECT_EQ(file(), now);
  }
}

TEST_F(Restore, NothingIsLostWhicheverCallFails) {
  for (const bool isInitial : {false, true}) {
    for (int operation = 0; operation <= static_cast<int>(FileOperation::kSupportDirectory); ++operation) {
      save(now);
      memory.fileManager.putFile(kFirst, old);
      line.copies.from = isInitial ? "" : copy.name;
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

TEST_F(Restore, TheFirstCopyMovesAndWhatItReplacesIsKept) {
  memory.fileManager.putFile(kFirst, bookmarks("first"));
  line.copies.from.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(file(), bookmarks("first"));
  EXPECT_FALSE(memory.fileManager.bytesAt(kFirst).has_value());
  EXPECT_TRUE(isSomewhere(now));
  EXPECT_TRUE(says("is kept as")) << said;
  // No initial backup is left, and no copy is made for nothing.
  EXPECT_EQ(run(), TarvelErrorBookmarksFileNotFound);
  EXPECT_EQ(copies.list().copies.size(), 2U);
  memory.fileManager.putFile(kFirst, old);
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorOutputFileNotFound);
  EXPECT_TRUE(says("restore --from '" + std::string(kFirst) + "'")) << said;
}

TEST_F(Restore, WithNeitherFileNorFirstCopyTheOtherCopiesAreNamedAndNoneThatIsNotThere) {
  line.copies.from.clear();
  memory.fileManager.removeTree(kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorOutputFileNotFound);
  EXPECT_TRUE(says("tarvel backup list")) << said;
  EXPECT_FALSE(says("restore --from")) << said;
}

TEST_F(Restore, AFirstCopyThatCannotBeRemovedIsBackAndStays) {
  memory.fileManager.putFile(kFirst, old);
  line.copies.from.clear();
  memory.fileManager.failNext(FileOperation::kRemove, EACCES);
  EXPECT_EQ(run(), kExitFailed);
  EXPECT_TRUE(says("stays too")) << said;
  EXPECT_EQ(file(), old);
  EXPECT_EQ(memory.fileManager.bytesAt(kFirst), old);
  EXPECT_TRUE(isSomewhere(now));
}

TEST_F(Restore, AFirstCopyThatIsNoBookmarksFileIsNotPutBack) {
  line.copies.from.clear();
  memory.fileManager.putFile(kFirst, "notes");
  EXPECT_EQ(run(), TarvelErrorNotBookmarksFile);
  memory.fileManager.removeTree(kFirst);
  memory.fileManager.putFolder(kFirst);
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_EQ(file(), now);
  EXPECT_TRUE(memory.fileManager.isFolder(kFirst));
  EXPECT_EQ(copies.list().copies.size(), 1U);
}

TEST_F(Restore, AFirstCopyThatIsTheFileItselfIsLeftAlone) {
  line.copies.from.clear();
  memory.fileManager.putLink(kFirst, kRestoredFile);
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_EQ(file(), now);
  EXPECT_TRUE(memory.fileManager.isLink(kFirst));
  line.backupFile = kRestoredFile;
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, WhereALinkLeadsNowhereNothingIsMade) {
  memory.fileManager.removeTree(kRestoredFile);
  memory.fileManager.putLink(kRestoredFile, "/gone");
  EXPECT_EQ(run(), TarvelErrorWriteFailed);
  EXPECT_TRUE(says("leads nowhere")) << said;
  EXPECT_TRUE(memory.fileManager.isLink(kRestoredFile));
}

TEST_F(Restore, AFolderThatCannotBeListedIsNotTakenForAnEmptyOne) {
  memory.fileManager.failNext(FileOperation::kList, EACCES);
  line.copies.from = "2020";
  EXPECT_EQ(run(), TarvelErrorReadFailed);
  EXPECT_TRUE(says("could not be looked at")) << said;
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, NobodyIsAskedWhoCouldNotSeeTheDifference) {
  EXPECT_EQ(runHere([&] {
              std::cout.setstate(std::ios::badbit);
              const int status = runRestore(platform, line, settings, prompt, [](const std::string&) { return false; });
              std::cout.clear();
              return status;
            }),
            kExitWouldChange);
  EXPECT_EQ(prompt.asked, 0);
  EXPECT_EQ(file(), now);
}

TEST_F(Restore, AFileSavedAfterItWasKeptIsNotReplacedByTheFirstCopy) {
  memory.fileManager.putFile(kFirst, old);
  line.copies.from.clear();
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kCreateFile) save(bookmarks("theirs"));
  });
  EXPECT_EQ(run(), TarvelErrorFileInUse);
  EXPECT_EQ(file(), bookmarks("theirs"));
}

}  // namespace
}  // namespace tarvel
