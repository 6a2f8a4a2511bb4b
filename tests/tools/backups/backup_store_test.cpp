#include "tools/backups/backup_store.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <set>

#include "tests/support/engine_fixture.h"
#include "tools/backups/backup_name.h"
#include "tools/commands/commands.h"
#include "tools/report/backup_list.h"

namespace tarvel {
namespace {

TEST(BackupName, SaysTheInstantInUtcAndTheFileAndIsReadBack) {
  const BackupName name{{1'795'258'923, 417'000'000}, "5c0d1e2f"};
  EXPECT_EQ(textOf(name), "Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist");
  EXPECT_EQ(backupNameFrom(textOf(name)), name);
  EXPECT_EQ(utcText(name.time), "2026-11-21T11:02:03.417Z");
}

TEST(BackupName, NamesSortByTime) {
  std::string last;
  for (const std::int64_t second : {0LL, 1LL, 951'782'399LL, 951'782'400LL, 1'795'258'923LL, 253'402'300'799LL}) {
    for (const std::uint32_t nanosecond : {0U, 1'000'000U, 10'000'000U, 999'000'000U}) {
      const std::string name = textOf({{second, nanosecond}, "00000000"});
      EXPECT_LT(last, name);
      EXPECT_EQ(backupNameFrom(name), (BackupName{{second, nanosecond}, "00000000"}));
      last = name;
    }
  }
}

TEST(BackupName, AnyOtherNameIsNone) {
  const std::string good = "Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist";
  ASSERT_TRUE(backupNameFrom(good).has_value());
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string other = good;
    other[i] = '?';
    EXPECT_EQ(backupNameFrom(other), std::nullopt) << other;
    EXPECT_EQ(backupNameFrom(good.substr(0, i)), std::nullopt);
  }
  for (const char* other :
       {"Bookmarks 2026-13-21 110203.417Z 5c0d1e2f.plist", "Bookmarks 2026-02-30 110203.417Z 5c0d1e2f.plist",
        "Bookmarks 2026-11-21 246060.417Z 5c0d1e2f.plist", "Bookmarks 2026-11-21 116103.417Z 5c0d1e2f.plist",
        "Bookmarks 2026-11-21 110203.417Z 5C0D1E2F.plist", "Bookmarks (Initial Copy).plist",
        "Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist ", ""}) {
    EXPECT_EQ(backupNameFrom(other), std::nullopt) << other;
  }
}

TEST(BackupName, AClockThatIsFarOffStillGivesAName) {
  EXPECT_TRUE(backupNameFrom(textOf({{-5'000'000'000, 0}, "00000000"})).has_value());
  EXPECT_TRUE(backupNameFrom(textOf({{9'000'000'000'000, 999'999'999}, "00000000"})).has_value());
}

TEST(BackupName, APathHasOneTagHoweverItIsSpelled) {
  EXPECT_EQ(tagOfFile("/home/me/Bookmarks.plist"), tagOfFile("/home//me/./there/../Bookmarks.plist"));
  EXPECT_NE(tagOfFile("/home/me/Bookmarks.plist"), tagOfFile("/home/me/bookmarks.plist"));
  // Copies made by an earlier version have to be found.
  EXPECT_EQ(tagOfFile("/home/me/Bookmarks.plist"), "0c59b420");
}

TEST(BackupName, AMillisecondLaterIsTheNextName) {
  EXPECT_EQ(nextMillisecond({5, 1'999'999}), (Date{5, 2'000'000}));
  EXPECT_EQ(nextMillisecond({5, 999'000'001}), (Date{6, 0}));
}

TEST(BackupOptions, AgesAreANumberAndAUnit) {
  EXPECT_EQ(secondsOfAge("36h"), 36 * 3600);
  EXPECT_EQ(secondsOfAge("90d"), 90 * 86'400);
  EXPECT_EQ(secondsOfAge("2w"), 14 * 86'400);
  EXPECT_EQ(secondsOfAge("1y"), 365 * 86'400);
  for (const char* wrong : {"", "d", "90", "-1d", "1.5d", "90 d", "90dd", "90m", "99999999d"}) {
    EXPECT_EQ(secondsOfAge(wrong), std::nullopt) << wrong;
  }
}

struct Copies : testing::Test, EngineFixture {
  BackupStore store{platform, "/data/Tarvel/Bookmarks (Initial Copy).plist", "/Bookmarks.plist"};
  CommandLine line;

  Copies() {
    line.command = Command::kBackup;
    line.file = "/Bookmarks.plist";
    line.backupFile = "/data/Tarvel/Bookmarks (Initial Copy).plist";
    memory.fileManager.putFolder("/");
  }

  [[nodiscard]] std::string bookmarks(const std::string& titles) {
    const PropertyList list = tree("Root[ BookmarksBar[ " + titles + " ] BookmarksMenu[ m ] ]");
    return serialization.dataWithPropertyList(list, 200).data.joined();
  }
  void save(const std::string& bytes) { memory.fileManager.putFile("/Bookmarks.plist", bytes); }
  void pass(std::chrono::hours hours) { memory.time.pass(hours); }

  KeptBackup keep(const std::string& bytes) { return store.keep(Data::copyOf(bytes)); }
  [[nodiscard]] std::vector<std::string> contents() {
    std::vector<std::string> all;
    for (const Backup& copy : store.list().backups) all.push_back(*memory.fileManager.bytesAt(copy.path));
    return all;
  }
  /// Runs the command without showing what it says.
  int run(BackupAction action) {
    line.backups.action = action;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = runBackup(platform, line, {});
    said = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    return status;
  }

  std::string said;
};

TEST_F(Copies, ACopyIsPrivateAndMadeWithItsFolder) {
  EXPECT_TRUE(store.list().status.ok());
  const KeptBackup made = keep("one");
  ASSERT_TRUE(made.status.ok());
  EXPECT_TRUE(made.isNew);
  EXPECT_EQ(memory.fileManager.bytesAt(made.backup.path), "one");
  EXPECT_EQ(memory.fileManager.modeAt(made.backup.path), 0600U);
}

TEST_F(Copies, CopiesOfOneInstantHaveNamesOfTheirOwnInOrder) {
  for (const char* bytes : {"one", "two", "three"}) EXPECT_TRUE(keep(bytes).isNew);
  EXPECT_EQ(contents(), (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(Copies, ANameThatSomebodyElseTakesMeanwhileIsLeftToThem) {
  std::string taken;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation != FileOperation::kCreateFile || !taken.empty()) return;
    taken = call.path;
    memory.fileManager.putFile(taken, "theirs");
  });
  const KeptBackup made = keep("mine");
  EXPECT_TRUE(made.isNew);
  EXPECT_NE(made.backup.path, taken);
  EXPECT_EQ(contents(), (std::vector<std::string>{"theirs", "mine"}));
}

TEST_F(Copies, BytesOfTheNewestAreNotKeptAgainAndThoseOfAnOlderOneAre) {
  const KeptBackup first = keep("one");
  const KeptBackup same = keep("one");
  EXPECT_FALSE(same.isNew);
  EXPECT_EQ(same.backup.path, first.backup.path);
  EXPECT_TRUE(keep("two").isNew);
  EXPECT_TRUE(keep("one").isNew);
}

TEST_F(Copies, ACopyMadeAfterTheClockWasSetBackIsTheNewestAllTheSame) {
  ASSERT_TRUE(keep(bookmarks("a")).isNew);
  memory.time.shiftWallClock(-std::chrono::hours(24 * 365));
  ASSERT_TRUE(keep(bookmarks("b")).isNew);
  ASSERT_TRUE(keep(bookmarks("c")).isNew);
  EXPECT_EQ(contents(), (std::vector<std::string>{bookmarks("a"), bookmarks("b"), bookmarks("c")}));
  line.backups.keep = 1;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents(), std::vector<std::string>{bookmarks("c")});
}

TEST_F(Copies, AfterTheLastInstantThatANameCanSayCopiesAreStillMade) {
  const std::string last = textOf({{253'402'300'799, 999'000'000}, tagOfFile("/Bookmarks.plist")});
  memory.fileManager.putFile("/data/Tarvel/" + last, "last");
  EXPECT_TRUE(keep("one").isNew);
  EXPECT_EQ(contents(), (std::vector<std::string>{"one", "last"}));
}

TEST_F(Copies, ACopyOfTomorrowIsNotOlderThanAnything) {
  memory.time.shiftWallClock(std::chrono::hours(48));
  for (const char* title : {"a", "b"}) ASSERT_TRUE(keep(bookmarks(title)).isNew);
  memory.time.shiftWallClock(-std::chrono::hours(48));
  line.backups.olderThan = 0;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents().size(), 2U);
}

TEST_F(Copies, TheFirstCopyIsNeverListedAmongThemNorPrunedWhateverItsName) {
  ASSERT_TRUE(keep(bookmarks("a")).isNew);
  line.backupFile = store.list().backups.front().path;
  const BackupStore others(platform, line.backupFile, line.file);
  EXPECT_TRUE(others.list().backups.empty());
  pass(std::chrono::hours(1));
  ASSERT_TRUE(keep(bookmarks("b")).isNew);
  line.backups.keep = 0;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents().size(), 2U);
}

TEST_F(Copies, CopiesOfOtherFilesAndOtherNamesAreNotSeen) {
  const BackupStore others(platform, line.backupFile, "/Other.plist");
  ASSERT_TRUE(others.keep(Data::copyOf("other")).isNew);
  memory.fileManager.putFile("/data/Tarvel/Bookmarks (Initial Copy).plist", "first");
  memory.fileManager.putFile("/data/Tarvel/Bookmarks 2026.plist", "whatever");
  EXPECT_TRUE(store.list().backups.empty());
  EXPECT_TRUE(keep("other").isNew);
  EXPECT_EQ(contents(), std::vector<std::string>{"other"});
}

TEST_F(Copies, AFolderThatCannotBeMadeOrReadOrWrittenFails) {
  memory.fileManager.failNext(FileOperation::kCreateDirectory, EACCES);
  EXPECT_EQ(keep("one").status.code, EACCES);
  memory.fileManager.failNext(FileOperation::kList, EIO);
  EXPECT_EQ(keep("one").status.code, EIO);
  memory.fileManager.failNext(FileOperation::kCreateFile, ENOSPC);
  EXPECT_EQ(keep("one").status.code, ENOSPC);
  EXPECT_TRUE(contents().empty());
}

TEST_F(Copies, TheCommandKeepsOnlyWhatIsABookmarksFile) {
  EXPECT_EQ(run(BackupAction::kCreate), TarvelErrorBookmarksFileNotFound);
  for (const char* bytes : {"", "bplist00 no list", "{ a = b; }"}) {
    save(bytes);
    EXPECT_EQ(run(BackupAction::kCreate), TarvelErrorNotBookmarksFile);
  }
  save(bookmarks("a b"));
  memory.fileManager.setMode("/Bookmarks.plist", 0200);
  EXPECT_EQ(run(BackupAction::kCreate), TarvelErrorReadFailed);
  memory.fileManager.setMode("/Bookmarks.plist", 0644);
  EXPECT_TRUE(contents().empty());
  EXPECT_EQ(run(BackupAction::kCreate), 0);
  EXPECT_NE(said.find("(3 bookmarks)"), std::string::npos) << said;
  EXPECT_EQ(run(BackupAction::kCreate), 0);
  EXPECT_NE(said.find("no other was made"), std::string::npos) << said;
  EXPECT_EQ(contents(), std::vector<std::string>{bookmarks("a b")});
}

TEST_F(Copies, AFileThatChangesWhileItIsReadIsReadAgainAndLeftAfterTenTimes) {
  save(bookmarks("a"));
  int changes = 0;
  memory.fileManager.setAfterHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kRead && changes++ == 0) save(bookmarks("b"));
  });
  EXPECT_EQ(run(BackupAction::kCreate), 0);
  EXPECT_EQ(contents(), std::vector<std::string>{bookmarks("b")});
  memory.fileManager.setAfterHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kRead) save(bookmarks("c" + std::to_string(changes++)));
  });
  EXPECT_EQ(run(BackupAction::kCreate), TarvelErrorFileInUse);
  EXPECT_EQ(memory.clock.sleeps().size(), 10U);
}

TEST_F(Copies, PruneKeepsTheNewestTheFirstTheForeignAndWhatIsNoBookmarksFile) {
  memory.fileManager.putFile(line.backupFile, bookmarks("first"));
  memory.fileManager.putFile("/data/Tarvel/notes.txt", "mine");
  ASSERT_TRUE(keep("broken").isNew);
  for (const char* title : {"a", "b", "c", "d"}) {
    pass(std::chrono::hours(24));
    ASSERT_TRUE(keep(bookmarks(title)).isNew);
  }
  line.backups.keep = 3;
  line.isDryRun = true;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents().size(), 5U);
  EXPECT_NE(said.find("1 backup would be removed, 4 would stay."), std::string::npos) << said;
  line.isDryRun = false;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents(), (std::vector<std::string>{"broken", bookmarks("b"), bookmarks("c"), bookmarks("d")}));
  line.backups.keep = 0;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents(), (std::vector<std::string>{"broken", bookmarks("d")}));
  EXPECT_EQ(memory.fileManager.bytesAt(line.backupFile), bookmarks("first"));
  EXPECT_EQ(memory.fileManager.bytesAt("/data/Tarvel/notes.txt"), "mine");
}

TEST_F(Copies, PruneByAgeAndCountTakesWhatBothLetGo) {
  for (const char* title : {"a", "b", "c", "d"}) {
    ASSERT_TRUE(keep(bookmarks(title)).isNew);
    pass(std::chrono::hours(24));
  }
  line.backups.olderThan = 100 * 86'400;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents().size(), 4U);
  line.backups.olderThan = 36 * 3600;
  line.backups.keep = 3;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents(), (std::vector<std::string>{bookmarks("b"), bookmarks("c"), bookmarks("d")}));
  line.backups.keep.reset();
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_EQ(contents(), std::vector<std::string>{bookmarks("d")});
}

TEST_F(Copies, PruneTellsWhatCouldNotBeRemoved) {
  for (const char* title : {"a", "b"}) ASSERT_TRUE(keep(bookmarks(title)).isNew);
  line.backups.keep = 1;
  memory.fileManager.failNext(FileOperation::kRemove, EACCES);
  EXPECT_EQ(run(BackupAction::kPrune), kExitFailed);
  EXPECT_NE(said.find("could not be removed"), std::string::npos) << said;
  EXPECT_EQ(contents().size(), 2U);
}

TEST_F(Copies, PruneLeavesWhatItCannotReadAndDoesNotCountIt) {
  for (const char* title : {"a", "b", "c"}) ASSERT_TRUE(keep(bookmarks(title)).isNew);
  memory.fileManager.setMode(store.list().backups[0].path, 0200);
  memory.fileManager.setMode(store.list().backups[2].path, 0200);
  line.backups.keep = 1;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_NE(said.find("No backups removed, 3 stay."), std::string::npos) << said;
  EXPECT_EQ(contents().size(), 3U);
}

TEST_F(Copies, WhatSomebodyElseHasPrunedMeanwhileIsGoneAsItShould) {
  for (const char* title : {"a", "b", "c"}) ASSERT_TRUE(keep(bookmarks(title)).isNew);
  const std::string oldest = store.list().backups.front().path;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kRemove) memory.fileManager.removeTree(oldest);
  });
  line.backups.keep = 1;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  EXPECT_NE(said.find("2 backups removed, 1 stays."), std::string::npos) << said;
  EXPECT_EQ(contents(), std::vector<std::string>{bookmarks("c")});
}

TEST_F(Copies, PruneLooksAtEachCopyBeforeTheFirstOneGoes) {
  for (const char* title : {"a", "b", "c"}) ASSERT_TRUE(keep(bookmarks(title)).isNew);
  memory.fileManager.forgetCalls();
  line.backups.keep = 0;
  EXPECT_EQ(run(BackupAction::kPrune), 0);
  bool hasRemoved = false;
  for (const FileCall& call : memory.fileManager.calls()) {
    hasRemoved |= call.operation == FileOperation::kRemove;
    EXPECT_FALSE(hasRemoved && call.operation == FileOperation::kRead);
  }
  EXPECT_TRUE(hasRemoved);
}

TEST_F(Copies, TheWayBackThatIsToldNamesTheFileAndThePlace) {
  save(bookmarks("a"));
  EXPECT_EQ(run(BackupAction::kCreate), 0);
  EXPECT_NE(said.find("plist' --backup-file '/data/Tarvel/Bookmarks (Initial Copy).plist' '/Bookmarks.plist'\n"),
            std::string::npos)
      << said;
}

TEST_F(Copies, TheListTellsEachCopyTheNewestFirstAndTheFirstCopyLast) {
  memory.fileManager.putFile(line.backupFile, bookmarks("f"));
  ASSERT_TRUE(keep(bookmarks("a")).isNew);
  ASSERT_TRUE(keep("broken").isNew);
  save(bookmarks("a"));
  const BackupList list = backupList(platform, line.file, line.backupFile, store);
  ASSERT_EQ(list.backups.size(), 3U);
  EXPECT_EQ(list.backups[0].bookmarks, std::nullopt);
  EXPECT_EQ(list.backups[0].size, 6U);
  EXPECT_EQ(list.backups[1].bookmarks, 2U);
  EXPECT_TRUE(list.backups[1].isCurrent);
  EXPECT_FALSE(list.backups[1].isInitial);
  EXPECT_TRUE(list.backups[2].isInitial);
  EXPECT_FALSE(list.backups[2].isCurrent);
  EXPECT_EQ(run(BackupAction::kList), 0);
  memory.fileManager.failNext(FileOperation::kList, EACCES);
  EXPECT_EQ(run(BackupAction::kList), TarvelErrorReadFailed);
}

}  // namespace
}  // namespace tarvel
