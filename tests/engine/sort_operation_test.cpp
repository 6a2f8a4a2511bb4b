#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <string>
#include <vector>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

constexpr const char* kSortedFile = "/home/user/Library/Safari/Bookmarks.plist";
constexpr const char* kLock = "/home/user/Library/Safari/lock";
constexpr const char* kSortBackup = "/data/Tarvel/Bookmarks (Initial Copy).plist";
constexpr const char* kUnsorted = "Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]";
constexpr const char* kSorted = "Root[ BookmarksBar[ x ] BookmarksMenu[ a b ] ]";

struct SortOperation : testing::Test, EngineFixture {
  SortOperation() {
    tarvel.setBackupFilename(kSortBackup);
    tarvel.setWriteBackupFile(true);
  }

  std::string bytesOf(const PropertyList& list, PropertyListFormat format = PropertyListFormat::kBinary) {
    const PropertyListWriting writing = serialization.dataWithPropertyList(list, static_cast<std::uint32_t>(format));
    EXPECT_FALSE(writing.error.has_value());
    return writing.data.joined();
  }

  std::string put(std::string_view notation) {
    const std::string bytes = bytesOf(tree(notation));
    memory.fileManager.putFile(kSortedFile, bytes);
    return bytes;
  }

  PropertyListReading read() {
    return serialization.propertyListFromData(Data::copyOf(memory.fileManager.bytesAt(kSortedFile).value_or("")));
  }

  std::string written() { return text(read().list); }

  std::size_t reads() { return memory.fileManager.callCount(FileOperation::kRead); }

  /// A concurrent write, right after the engine read the file.
  void interfereAfterReading(std::size_t times) {
    memory.fileManager.setHook([this, times, count = std::size_t{0}, isRead = false](const FileCall& call) mutable {
      if (call.operation == FileOperation::kRead) isRead = true;
      if (call.operation != FileOperation::kDate || !isRead || count == times) return;
      isRead = false;
      ++count;
      memory.fileManager.putFile(kSortedFile, bytesOf(tree(kUnsorted)));
    });
  }
};

TEST_F(SortOperation, AnUnsortedFileIsBackedUpGetsANewIdentifierAndIsWrittenInBinaryForm) {
  const std::string before = put(kUnsorted);
  const std::string uuid(*read().list.root.dictionary().string(kWebBookmarkUUIDKey));
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(written(), kSorted);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortBackup), before);
  const PropertyListReading after = read();
  EXPECT_EQ(after.format, PropertyListFormat::kBinary);
  EXPECT_NE(after.list.root.dictionary().string(kWebBookmarkUUIDKey), uuid);
  EXPECT_EQ(memory.workspace.announced(), std::vector<std::string>{"/home/user/Library/Safari"});
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(SortOperation, AFileReadInXmlFormIsWrittenBackInBinaryForm) {
  memory.fileManager.putFile(kSortedFile, bytesOf(tree(kUnsorted), PropertyListFormat::kXml));
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(read().format, PropertyListFormat::kBinary);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortOperation, TheRootIsCheckedBeforeTheVersion) {
  const PropertyList list = tree(kUnsorted);
  list.root.dictionary().setString(kWebBookmarkTypeKey, kLeafTypeName);
  list.root.dictionary().set(kWebBookmarkFileVersionKey, list.tree->makeInteger(2));
  memory.fileManager.putFile(kSortedFile, bytesOf(list));
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNotBookmarksFile);
}

TEST_F(SortOperation, MoreSameNamedEntriesThanCanBeRenamedAreStillSorted) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]");
  const PropertyListArray children =
      tarvel.bookmarksMenuDictionaryFromBookmarksFileRootNode(list.root.dictionary()).array(kChildrenKey);
  for (int i = 0; i < 20'000; ++i) {
    children.append(treeIn(*list.tree, "News@u" + std::to_string(i) + "#" + std::to_string(i)).value());
  }
  memory.fileManager.putFile(kSortedFile, bytesOf(list));
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  const PropertyListReading after = read();
  const PropertyListDictionary root = after.list.root.dictionary();
  const PropertyListArray sorted = tarvel.bookmarksMenuDictionaryFromBookmarksFileRootNode(root).array(kChildrenKey);
  ASSERT_EQ(sorted.size(), 20'002U);
  EXPECT_EQ(tarvel.titleFromBookmarkNode(sorted.at(0).dictionary()), "a");
  EXPECT_EQ(memory.systemLog.lines().size(), 1U);
}

TEST_F(SortOperation, AMissingFileGives1BeforeTheLockIsChecked) {
  memory.fileManager.putFile(kLock, "");
  bool lockWasLookedAt = false;
  memory.fileManager.setHook([&](const FileCall& call) { lockWasLookedAt |= call.path == kLock; });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorBookmarksFileNotFound);
  EXPECT_FALSE(lockWasLookedAt);
  EXPECT_EQ(reads(), 0U);
}

TEST_F(SortOperation, FileInOrderGives0WithoutBackupAndWithItsDateUnchanged) {
  const std::string before = put(kSorted);
  const auto date = memory.fileManager.modificationDateAtPath(kSortedFile);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
  EXPECT_EQ(memory.fileManager.modificationDateAtPath(kSortedFile), date);
  EXPECT_FALSE(memory.fileManager.bytesAt(kSortBackup).has_value());
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kWrite), 0U);
  EXPECT_TRUE(memory.workspace.announced().empty());
}

TEST_F(SortOperation, LockForTheWholeOperationGives8AfterTenSleepsAndTheFileIsNeverRead) {
  put(kUnsorted);
  memory.fileManager.putFolder(kLock);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(memory.clock.sleeps(), std::vector(10, std::chrono::milliseconds(300)));
  EXPECT_EQ(reads(), 0U);
}

TEST_F(SortOperation, ALockDuringTheFirstAttemptsDelaysTheSort) {
  put(kUnsorted);
  memory.fileManager.putFile(kLock, "");
  memory.clock.setHook([this](std::size_t sleeps) {
    if (sleeps == 3) memory.fileManager.removeTree(kLock);
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(memory.clock.sleeps().size(), 3U);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortOperation, FileChangedDuringEveryAttemptGives8AfterTenReads) {
  put(kUnsorted);
  interfereAfterReading(100);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(reads(), 10U);
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kWrite), 0U);
  EXPECT_FALSE(memory.fileManager.bytesAt(kSortBackup).has_value());
  EXPECT_TRUE(memory.clock.sleeps().empty());
}

TEST_F(SortOperation, FileChangedDuringTheFirstAttemptIsSortedOnTheSecond) {
  put("Root[ BookmarksBar[ x ] BookmarksMenu[ d c ] ]");
  interfereAfterReading(1);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(reads(), 2U);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortOperation, FileChangedBetweenTheComparisonAndTheWriteIsSortedOnTheNextAttempt) {
  put("Root[ BookmarksBar[ x ] BookmarksMenu[ d c ] ]");
  bool hasInterfered = false;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation != FileOperation::kWrite || hasInterfered) return;
    hasInterfered = true;
    memory.fileManager.putFile(kSortedFile, bytesOf(tree(kUnsorted)));
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(reads(), 2U);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortOperation, FileChangedBeforeEveryWriteGives8AfterTenReads) {
  put(kUnsorted);
  std::string last;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation != FileOperation::kWrite) return;
    last = bytesOf(tree(kUnsorted));
    memory.fileManager.putFile(kSortedFile, last);
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(reads(), 10U);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), last);
}

TEST_F(SortOperation, AFileThatIsOpenForWritingGives8AfterTenReadsWithoutABackupOrAWrite) {
  put(kUnsorted);
  memory.fileManager.setOpenForWriting(kSortedFile, true);
  tarvel.setWriteBackupFile(true);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(reads(), 10U);
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kCopy), 0U);
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kWrite), 0U);
}

TEST_F(SortOperation, AStaleFileHandleIsAFailureToWrite) {
  put(kUnsorted);
  memory.fileManager.failNext(FileOperation::kWrite, ESTALE);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorWriteFailed);
  EXPECT_EQ(reads(), 1U);
}

TEST_F(SortOperation, AnUnreadableDateGives8AfterTenReadsIfSomethingMustChange) {
  put(kUnsorted);
  memory.fileManager.failAlways(FileOperation::kDate, EACCES);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(reads(), 10U);
}

TEST_F(SortOperation, AnUnreadableDateGives0IfNothingMustChange) {
  put(kSorted);
  memory.fileManager.failAlways(FileOperation::kDate, EACCES);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(reads(), 1U);
}

TEST_F(SortOperation, ALockedAttemptUsesTheResultOfAnEarlierReadIfTheDateIsTheSame) {
  put(kUnsorted);
  std::size_t dates = 0;
  memory.fileManager.setHook([&](const FileCall& call) {
    if (call.operation != FileOperation::kDate) return;
    // The date after the first read is unreadable. Then the browser takes its lock.
    if (++dates == 2) {
      memory.fileManager.failNext(FileOperation::kDate, EIO);
      memory.fileManager.putFile(kLock, "");
    }
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(reads(), 1U);
  EXPECT_EQ(memory.clock.sleeps().size(), 1U);
  EXPECT_EQ(written(), kSorted);
}

TEST_F(SortOperation, ALockedAttemptAfterAReadFailsIfTheDateHasChanged) {
  put(kUnsorted);
  std::string latest;
  memory.clock.setHook([&](std::size_t sleeps) {
    if (sleeps == 1) memory.fileManager.putFile(kSortedFile, latest);
  });
  std::size_t dates = 0;
  memory.fileManager.setHook([&, inner = true](const FileCall& call) mutable {
    if (call.operation == FileOperation::kRead && inner) {
      inner = false;
      latest = bytesOf(tree("Root[ BookmarksBar[ x ] BookmarksMenu[ z y ] ]"));
      memory.fileManager.putFile(kLock, "");
    }
    // The first date after the read is unreadable, so a locked attempt follows.
    if (call.operation == FileOperation::kDate && ++dates == 2) memory.fileManager.failNext(FileOperation::kDate, EIO);
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(reads(), 1U);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), latest);
  EXPECT_EQ(memory.clock.sleeps().size(), 9U);
}

TEST_F(SortOperation, AFileDeletedDuringTheAttemptsIsUnreadable) {
  put(kUnsorted);
  memory.fileManager.setHook([this](const FileCall& call) {
    if (call.operation == FileOperation::kRead) memory.fileManager.removeTree(kSortedFile);
  });
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorReadFailed);
}

TEST_F(SortOperation, WithoutWriteBackupFileNoBackupIsAttempted) {
  put(kUnsorted);
  tarvel.setWriteBackupFile(false);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_FALSE(memory.fileManager.bytesAt(kSortBackup).has_value());
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kCopy), 0U);
}

TEST_F(SortOperation, WithAnExistingBackupTheStepSucceedsWithoutCopying) {
  put(kUnsorted);
  memory.fileManager.putFile(kSortBackup, "initial backup");
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortBackup), "initial backup");
  EXPECT_EQ(memory.fileManager.callCount(FileOperation::kCopy), 0U);
}

TEST_F(SortOperation, BackupThatCannotBeMadeGives7AndLeavesTheFile) {
  const std::string before = put(kUnsorted);
  memory.fileManager.failNext(FileOperation::kCopy, ENOSPC);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorBackupFailed);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
  EXPECT_TRUE(memory.systemLog.lines().empty());
  memory.fileManager.failNext(FileOperation::kCreateDirectory, EACCES);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorBackupFailed);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
}

TEST_F(SortOperation, FileThatCannotBeWrittenGives6AndTheFolderIsAnnouncedAnyway) {
  const std::string before = put(kUnsorted);
  memory.fileManager.failNext(FileOperation::kWrite, ENOSPC);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorWriteFailed);
  EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
  EXPECT_EQ(memory.workspace.announced().size(), 1U);
  EXPECT_TRUE(memory.fileManager.bytesAt(kSortBackup).has_value());
}

TEST_F(SortOperation, TreeThatCannotBeSerialisedGives6AndALogLine) {
  const PropertyList list = tree(kUnsorted);
  memory.fileManager.putFile(kSortedFile, bytesOf(list));
  // A null is read from a binary file and cannot be written: 0x00 in place of a one-byte object.
  std::string bytes = *memory.fileManager.bytesAt(kSortedFile);
  list.root.dictionary().set("Odd", list.tree->makeBoolean(false));
  bytes = bytesOf(list);
  const std::size_t at = bytes.find(std::string("\x08", 1), 8);
  for (std::size_t i = at; i < bytes.size(); ++i) {
    std::string changed = bytes;
    if (changed[i] != '\x08') continue;
    changed[i] = '\0';
    memory.fileManager.putFile(kSortedFile, changed);
    const PropertyListReading reading = read();
    if (reading.error || reading.list.root.dictionary().get("Odd").type() != PropertyListType::kNull) continue;
    EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorWriteFailed);
    EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), changed);
    ASSERT_EQ(memory.systemLog.lines().size(), 1U);
    EXPECT_EQ(memory.systemLog.lines()[0],
              "Error writing to file: Property list invalid for format: 200 (property lists cannot contain objects of "
              "type 'CFNull')");
    return;
  }
  FAIL() << "no null could be planted";
}

TEST_F(SortOperation, UnreadableFileGives5AndTheDocumentLogs) {
  memory.fileManager.putFile(kSortedFile, "<plist><foo/></plist>");
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorReadFailed);
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0], "Error reading plist: Encountered unknown tag foo on line 1, format: 0");
  memory.fileManager.failNext(FileOperation::kRead, EIO);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorReadFailed);
  EXPECT_EQ(memory.systemLog.lines().size(), 1U);
}

TEST_F(SortOperation, ARootOfAnotherTypeGives3AndAVersionTooNew4) {
  memory.fileManager.putFile(kSortedFile, "{ a = b; }");
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNotBookmarksFile);
  const PropertyList list = tree(kUnsorted);
  list.root.dictionary().set(kWebBookmarkFileVersionKey, list.tree->makeInteger(2));
  memory.fileManager.putFile(kSortedFile, bytesOf(list));
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorUnknownVersion);
}

TEST_F(SortOperation, RootWithoutBarOrMenuGives3BeforeBackupIdentifierAndWrite) {
  for (const char* notation : {"Root[ BookmarksMenu[ b a ] ]", "Root[ BookmarksBar[ a ] x ]", "Root[ x ]"}) {
    const std::string before = put(notation);
    EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNotBookmarksFile) << notation;
    EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
    EXPECT_FALSE(memory.fileManager.bytesAt(kSortBackup).has_value());
  }
}

TEST_F(SortOperation, EmptyRootGives0) {
  put("Root[ ]");
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
}

TEST_F(SortOperation, FileByNameIsSetWithItsTildeExpanded) {
  put(kUnsorted);
  EXPECT_EQ(tarvel.sortBookmarksInFileWithName("~/Library/Safari/Bookmarks.plist"), TarvelErrorNone);
  EXPECT_EQ(tarvel.bookmarksFilename(), kSortedFile);
  EXPECT_EQ(tarvel.sortBookmarksInFileWithName("/elsewhere.plist"), TarvelErrorBookmarksFileNotFound);
}

TEST_F(SortOperation, ServiceHandlerStoresTheShortMessageOnFailureOnly) {
  std::string error = "untouched";
  tarvel.sortBookmarksUserDataError(nullptr, "ignored", &error);
  EXPECT_EQ(error, "Could not find the bookmark plist file.");
  put(kUnsorted);
  error = "untouched";
  tarvel.sortBookmarksUserDataError(nullptr, "ignored", &error);
  EXPECT_EQ(error, "untouched");
}

TEST_F(SortOperation, EngineCodesAreThoseBelow10AsUnsigned) {
  EXPECT_TRUE(Tarvel::isTarvelError(0));
  EXPECT_TRUE(Tarvel::isTarvelError(9));
  EXPECT_FALSE(Tarvel::isTarvelError(10));
  EXPECT_FALSE(Tarvel::isTarvelError(101));
  EXPECT_FALSE(Tarvel::isTarvelError(static_cast<std::uint64_t>(std::int64_t{-1})));
}

TEST_F(SortOperation, ShortMessagesMatchByteForByte) {
  const std::array<const char*, 9> kTexts = {
      "The sorted bookmark plist file was successfully written to disk.",
      "Could not find the bookmark plist file.",
      "Could not find the output bookmark plist file.",
      "Given file is not a bookmarks plist file.",
      "Given file is a bookmarks plist file, but has unknown version.",
      "Could not read the bookmark plist file.",
      "Could not write the bookmark plist file.",
      "Could not write the backup file for the bookmark plist file.",
      "Could not write the bookmark plist file, some other process is using it."};
  for (std::int32_t code = 0; code <= 8; ++code) {
    EXPECT_EQ(Tarvel::stringFromTarvelError(memory.bundle, code), kTexts[static_cast<std::size_t>(code)]);
  }
  for (const std::int32_t code : {9, 10, 101, -1, INT32_MIN}) {
    EXPECT_EQ(Tarvel::stringFromTarvelError(memory.bundle, code), kTexts[0]) << code;
  }
}

TEST_F(SortOperation, LongMessagesMatchByteForByte) {
  const std::array<const char*, 9> kTexts = {
      "The bookmarks file was opened, sorted and saved.",
      "The bookmarks file \xE2\x80\x9C/a b\xE2\x80\x9D could not be located. Please locate the file and try again.",
      "The program ran into an unknown error: 2.\n\nA restart of your computer will hopefully solve the error.",
      "The file \xE2\x80\x9C/a b\xE2\x80\x9D is not a bookmarks file. Please locate and select Safari\xE2\x80\x99s "
      "bookmarks file.",
      "The file \xE2\x80\x9C/a b\xE2\x80\x9D is a bookmarks file, but the version is too advanced.",
      "The bookmarks file \xE2\x80\x9C/a b\xE2\x80\x9D could not be read. Please verify that you have read and write "
      "access to the file.",
      "The bookmarks file \xE2\x80\x9C/a b\xE2\x80\x9D could not be saved. Please verify that you have read and write "
      "access to the file.",
      "A backup for the bookmarks file \xE2\x80\x9C/a b\xE2\x80\x9D could not be created. Please verify that you have "
      "read and write access to the file\xE2\x80\x99s directory.",
      "Safari is currently using the bookmarks file, please wait a while before sorting."};
  for (std::int32_t code = 0; code <= 8; ++code) {
    EXPECT_EQ(Tarvel::stringFromTarvelErrorAndFilename(memory.bundle, code, "/a b"),
              kTexts[static_cast<std::size_t>(code)]);
  }
}

TEST_F(SortOperation, TheLongMessageOfAnUnknownCodeContainsTheCode) {
  for (const std::int32_t code : {9, -1, 101}) {
    EXPECT_EQ(Tarvel::stringFromTarvelErrorAndFilename(memory.bundle, code, "f"),
              "The program ran into an unknown error: " + std::to_string(code) +
                  ".\n\nA restart of your computer will hopefully solve the error.");
  }
}

TEST_F(SortOperation, AFileNameIsNotInterpretedAsAFormat) {
  EXPECT_EQ(Tarvel::stringFromTarvelErrorAndFilename(memory.bundle, 4, "%@%d%%"),
            "The file \xE2\x80\x9C%@%d%%\xE2\x80\x9D is a bookmarks file, but the version is too advanced.");
}

TEST_F(SortOperation, MessagesAreLookedUpByTheirEnglishText) {
  memory.bundle.translate("Could not read the bookmark plist file.", "Nicht lesbar.");
  memory.bundle.translate("The file “%@” is a bookmarks file, but the version is too advanced.", "Zu neu: %@");
  EXPECT_EQ(Tarvel::stringFromTarvelError(memory.bundle, 5), "Nicht lesbar.");
  EXPECT_EQ(Tarvel::stringFromTarvelErrorAndFilename(memory.bundle, 4, "f"), "Zu neu: f");
}

constexpr const char* kNoMemory =
    "There is not enough memory to sort the bookmarks file “/home/user/Library/Safari/Bookmarks.plist”.";

/// Memory runs out in one file operation of the sort. The file stays unchanged, and the cause is logged.
struct MemoryShortage : SortOperation {
  TarvelError sortUntil(FileOperation operation) {
    const std::string before = put(kUnsorted);
    memory.fileManager.setHook([operation](const FileCall& call) {
      if (call.operation == operation) throw std::bad_alloc();
    });
    const TarvelError code = tarvel.sortBookmarksInFileWithName(kSortedFile);
    EXPECT_EQ(memory.systemLog.lines(), std::vector<std::string>{kNoMemory});
    EXPECT_EQ(memory.fileManager.bytesAt(kSortedFile), before);
    return code;
  }
};

TEST_F(MemoryShortage, WhileReadingGivesReadFailed) {
  EXPECT_EQ(sortUntil(FileOperation::kRead), TarvelErrorReadFailed);
}

TEST_F(MemoryShortage, DuringTheBackupGivesBackupFailed) {
  EXPECT_EQ(sortUntil(FileOperation::kCopy), TarvelErrorBackupFailed);
}

TEST_F(MemoryShortage, WhileWritingGivesWriteFailed) {
  EXPECT_EQ(sortUntil(FileOperation::kWrite), TarvelErrorWriteFailed);
}

TEST_F(MemoryShortage, ReportedByTheSystemIsLoggedToo) {
  (void)put(kUnsorted);
  memory.fileManager.failNext(FileOperation::kRead, ENOMEM);
  EXPECT_EQ(tarvel.sortBookmarksInFileWithName(kSortedFile), TarvelErrorReadFailed);
  EXPECT_EQ(memory.systemLog.lines(), std::vector<std::string>{kNoMemory});
  memory.fileManager.failNext(FileOperation::kWrite, ENOMEM);
  EXPECT_EQ(tarvel.sortBookmarksInFileWithName(kSortedFile), TarvelErrorWriteFailed);
  EXPECT_EQ(memory.systemLog.lines(), (std::vector<std::string>{kNoMemory, kNoMemory}));
}

}  // namespace
}  // namespace tarvel
