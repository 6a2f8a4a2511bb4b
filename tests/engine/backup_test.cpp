#include "engine/backup.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

constexpr const char* kBackedUpFile = "/safari/Bookmarks.plist";
constexpr const char* kBackup = "/data/Tarvel/copy.plist";

struct Backup : testing::Test, EngineFixture {
  Backup() {
    tarvel.setBookmarksFilename(kBackedUpFile);
    tarvel.setBackupFilename(kBackup);
  }
  bool replace() {
    return replaceItemAtPathWithItemAtPath(memory.fileManager, memory.systemLog, kBackedUpFile, kBackup);
  }
};

TEST_F(Backup, DerivedBackupPathIsTheBookmarksPathWithASuffixAndIsKept) {
  Tarvel fresh(platform);
  fresh.setBookmarksFilename(kBackedUpFile);
  EXPECT_EQ(fresh.backupFilename(), std::nullopt);
  memory.fileManager.putFile(kBackedUpFile, "");
  EXPECT_EQ(fresh.backupFilename(), "/safari/Bookmarks.plist.bak");
  memory.fileManager.putFile("/other.plist", "");
  fresh.setBookmarksFilename("/other.plist");
  EXPECT_EQ(fresh.backupFilename(), "/safari/Bookmarks.plist.bak");
}

TEST_F(Backup, BackupPathIsExpandedWhenSet) {
  tarvel.setBackupFilename("~/copy");
  EXPECT_EQ(tarvel.backupFilename(), "/home/user/copy");
}

TEST_F(Backup, ExistingBackupIsLeftUntouched) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  const auto date = memory.fileManager.modificationDateAtPath(kBackup);
  EXPECT_TRUE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "old");
  EXPECT_EQ(memory.fileManager.modificationDateAtPath(kBackup), date);
}

TEST_F(Backup, MissingFoldersAreCreatedForTheBackup) {
  memory.fileManager.putFile(kBackedUpFile, "bytes");
  EXPECT_TRUE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_TRUE(memory.fileManager.isFolder("/data/Tarvel"));
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "bytes");
}

TEST_F(Backup, AMissingSourceIsASuccessAndCreatesNothing) {
  EXPECT_TRUE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_FALSE(memory.fileManager.isFolder("/data"));
}

TEST_F(Backup, ASourceThatCannotBeExaminedDoesNotCountAsMissing) {
  memory.fileManager.putFile(kBackedUpFile, "bytes");
  // The missing backup is looked up first.
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kExists && call.path == kBackedUpFile) {
      memory.fileManager.failNext(FileOperation::kExists, EIO);
    }
  });
  EXPECT_TRUE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "bytes");
}

TEST_F(Backup, AFailedFolderOrCopyIsAFailureWithoutALogLine) {
  memory.fileManager.putFile(kBackedUpFile, "bytes");
  memory.fileManager.failNext(FileOperation::kCreateDirectory, EACCES);
  EXPECT_FALSE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  memory.fileManager.failNext(FileOperation::kCopy, ENOSPC);
  EXPECT_FALSE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Backup, ABackupCreatedConcurrentlyByAnotherProcessCountsAsExisting) {
  memory.fileManager.putFile(kBackedUpFile, "bytes");
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation == FileOperation::kCopy) memory.fileManager.putFile(kBackup, "concurrent backup");
  });
  EXPECT_TRUE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "concurrent backup");
}

TEST_F(Backup, ADanglingLinkIsNotABackup) {
  memory.fileManager.putFile(kBackedUpFile, "bytes");
  memory.fileManager.putLink(kBackup, "/nowhere");
  EXPECT_FALSE(tarvel.writeBackupFileForFilename(kBackedUpFile));
  EXPECT_FALSE(memory.fileManager.bytesAt("/nowhere").has_value());
}

TEST_F(Backup, RestoreGives2WithoutABookmarksFileEvenWithABackup) {
  memory.fileManager.putFile(kBackup, "old");
  EXPECT_EQ(tarvel.restoreBackedUpBookmarks(), TarvelErrorOutputFileNotFound);
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "old");
}

TEST_F(Backup, RestoreGives1WithoutABackup) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  EXPECT_EQ(tarvel.restoreBackedUpBookmarks(), TarvelErrorBookmarksFileNotFound);
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "new");
}

TEST_F(Backup, RestoreGives2WhenBothFilesAreMissing) {
  EXPECT_EQ(tarvel.restoreBackedUpBookmarks(), TarvelErrorOutputFileNotFound);
}

TEST_F(Backup, ARestoreMovesTheBackupOverTheBookmarksFile) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  EXPECT_EQ(tarvel.restoreBackedUpBookmarks(), TarvelErrorNone);
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "old");
  EXPECT_FALSE(memory.fileManager.bytesAt(kBackup).has_value());
}

TEST_F(Backup, RestoreGives6WhenTheReplacementFails) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNext(FileOperation::kReplace, EIO);
  EXPECT_EQ(tarvel.restoreBackedUpBookmarks(), TarvelErrorWriteFailed);
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "new");
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "old");
}

TEST_F(Backup, AReplacementThatFailsHalfwayIsUndoneAndIsAFailure) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNextReplaceHalfWay("/safari/aside");
  EXPECT_FALSE(replace());
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "new");
  EXPECT_FALSE(memory.fileManager.bytesAt("/safari/aside").has_value());
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Backup, AFailedUndoOfAReplacementIsLogged) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNextReplaceHalfWay("/safari/aside");
  memory.fileManager.failNext(FileOperation::kMove, EIO);
  EXPECT_FALSE(replace());
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0],
            "Error while trying to restore the original file (currently at \xE2\x80\x9C/safari/aside\xE2\x80\x9D) "
            "reason: Input/output error");
  EXPECT_EQ(memory.fileManager.bytesAt("/safari/aside"), "new");
}

TEST_F(Backup, APlatformExceptionDuringTheReplacementIsAFailureWithoutALogLine) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.throwNext();
  EXPECT_FALSE(replace());
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "new");
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Backup, AnyOtherExceptionDuringTheReplacementPropagates) {
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNextReplaceHalfWay("/safari/aside");
  for (const FileOperation failing : {FileOperation::kReplace, FileOperation::kMove}) {
    memory.fileManager.setHook([failing](const FileCall& call) {
      if (call.operation == failing) throw std::runtime_error("not a platform exception");
    });
    EXPECT_THROW((void)replace(), std::runtime_error);
    memory.fileManager.setHook({});
  }
}

TEST_F(Backup, WithoutAReplaceOperationTheItemsAreExchangedAndTheOldOneRemoved) {
  memory.fileManager.setOffersReplaceItem(false);
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  EXPECT_TRUE(replace());
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "old");
  EXPECT_FALSE(memory.fileManager.bytesAt(kBackup).has_value());
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kReplace), 0U);
}

TEST_F(Backup, AnExchangeWhoseRemovalFailsIsAFailureAlthoughTheTargetIsReplaced) {
  memory.fileManager.setOffersReplaceItem(false);
  memory.fileManager.putFile(kBackedUpFile, "new");
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNext(FileOperation::kRemove, EACCES);
  EXPECT_FALSE(replace());
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "old");
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "new");
}

TEST_F(Backup, AnExchangeThatFailsOrLacksAnItemChangesNothing) {
  memory.fileManager.setOffersReplaceItem(false);
  memory.fileManager.putFile(kBackedUpFile, "new");
  EXPECT_FALSE(replace());
  memory.fileManager.putFile(kBackup, "old");
  memory.fileManager.failNext(FileOperation::kExchange, EINVAL);
  EXPECT_FALSE(replace());
  EXPECT_EQ(memory.fileManager.bytesAt(kBackedUpFile), "new");
  EXPECT_EQ(memory.fileManager.bytesAt(kBackup), "old");
}

}  // namespace
}  // namespace tarvel
