// Concurrent writes by other programs, and recovery from interrupted writes.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

std::string hexadecimal(ino_t inode) {
  char digits[32] = {};
  (void)std::snprintf(digits, sizeof digits, "%llx", static_cast<unsigned long long>(inode));
  return digits;
}

struct WrittenFile : testing::Test {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  FileStatus write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return manager.writeDataToPath({{data.bytes()}, {}}, directory.path(name));
  }
  struct stat statOf(const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::lstat(directory.path(name).c_str(), &status), 0);
    return status;
  }
  [[nodiscard]] const char* cPath(const std::string& name) {
    kept_ = directory.path(name);
    return kept_.c_str();
  }
  void giveToNobody(const std::string& name) {
    constexpr uid_t kForeignUser = 65534;
    ASSERT_EQ(::chown(cPath(name), kForeignUser, kForeignUser), 0);
  }

 private:
  std::string kept_;
};

struct ReadVersion : WrittenFile {};
struct InterruptedWrite : WrittenFile {};

TEST_F(ReadVersion, AFileOpenForWritingCountsAsChangedAndOneOpenForReadingDoesNot) {
  directory.write("f", "old");
  const FileVersion version = manager.contentsAtPath(directory.path("f")).version;
  const Data data = Data::copyOf("new");
  {
    const UniqueFd writer(::open(cPath("f"), O_RDWR | O_CLOEXEC));
    const struct stat before = statOf("f");
    const FileStatus status = manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), version);
    EXPECT_EQ(status.code, kFileHasChanged);
    // A rename would have changed the date of the inode.
    EXPECT_EQ(statOf("f").st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    EXPECT_TRUE(manager.isOpenForWritingAtPath(directory.path("f")));
    EXPECT_EQ(directory.read("f"), "old");
    // The same file is back, not a copy.
    EXPECT_EQ(::pwrite(writer.get(), "OLD", 3, 0), 3);
    EXPECT_EQ(directory.read("f"), "OLD");
  }
  const UniqueFd reader(::open(cPath("f"), O_RDONLY | O_CLOEXEC));
  const FileVersion newVersion = manager.contentsAtPath(directory.path("f")).version;
  EXPECT_TRUE(manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), newVersion).ok());
  EXPECT_EQ(directory.read("f"), "new");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(ReadVersion, AnotherFileOfTheSameSizeAndDateCountsAsChanged) {
  directory.write("f", "old");
  directory.write("other", "OLD");
  struct stat status = statOf("f");
  const timespec times[2] = {status.st_atim, status.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, cPath("other"), times, 0), 0);
  const FileVersion version = manager.contentsAtPath(directory.path("f")).version;
  const Data data = Data::copyOf("new");
  ASSERT_TRUE(std::filesystem::remove(directory.path("f")));
  std::filesystem::create_symlink("other", directory.path("f"));
  EXPECT_EQ(manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), version).code, kFileHasChanged);
  EXPECT_EQ(directory.read("other"), "OLD");
}

TEST_F(ReadVersion, AChangedFileIsNotWrittenInPlaceEither) {
  directory.write("f", "old");
  ASSERT_EQ(::link(cPath("f"), directory.path("g").c_str()), 0);
  const FileVersion version = manager.contentsAtPath(directory.path("f")).version;
  const timespec times[2] = {{0, UTIME_OMIT}, {12345, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, cPath("f"), times, 0), 0);
  const Data data = Data::copyOf("new");
  EXPECT_EQ(manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), version).code, kFileHasChanged);
  EXPECT_EQ(directory.read("f"), "old");
  const FileVersion now = manager.contentsAtPath(directory.path("f")).version;
  EXPECT_TRUE(manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), now).ok());
  EXPECT_EQ(directory.read("g"), "new");
  EXPECT_EQ(directory.entryCount(), 2U);
}

/// The journal of an interrupted write of `fresh` over `old`, for a file with this status.
std::string recordOf(const std::string& old, const std::string& fresh, const struct stat& file) {
  std::string record("tarvel undo 2\n\0\0", 16);
  const std::uint64_t mayBeElsewhere = file.st_nlink > 1 ? 1 : 0;
  const std::uint64_t isBesideRecord = 0;
  for (const std::uint64_t number : {std::uint64_t{file.st_dev}, std::uint64_t{file.st_ino}, mayBeElsewhere,
                                     isBesideRecord, std::uint64_t{old.size()}, std::uint64_t{fresh.size()}}) {
    record.append(reinterpret_cast<const char*>(&number), sizeof number);  // NOLINT: bytes of a number
  }
  return record + old + fresh;
}

TEST_F(InterruptedWrite, StaleFilesAreRemovedAndFilesOfRunningProcessesAreKept) {
  directory.write("f", "old");
  directory.write(".tarvel-0123456789abcdef", "left");
  directory.write(".tarvel-fedcba9876543210", "in the making");
  directory.write(".tarvel-notes", "of the user");
  struct stat gone = statOf("f");
  gone.st_ino = 1;
  directory.write(".tarvel-undo-1", recordOf("old", "new", gone));
  // The journal of a file with a second hard link, which may be torn under a name in another folder.
  gone.st_ino = 2;
  gone.st_nlink = 2;
  directory.write(".tarvel-undo-2", recordOf("old", "new", gone));
  const UniqueFd maker(::open(cPath(".tarvel-fedcba9876543210"), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(maker.get(), LOCK_EX), 0);
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_FALSE(manager.fileExistsAtPath(directory.path(".tarvel-0123456789abcdef")));
  EXPECT_FALSE(manager.fileExistsAtPath(directory.path(".tarvel-undo-1")));
  EXPECT_EQ(directory.read(".tarvel-fedcba9876543210"), "in the making");
  EXPECT_EQ(directory.read(".tarvel-notes"), "of the user");
  EXPECT_TRUE(manager.fileExistsAtPath(directory.path(".tarvel-undo-2")));
  EXPECT_EQ(directory.entryCount(), 4U);
}

TEST_F(InterruptedWrite, AWriteToAnyFileOfTheFolderRestoresATornOne) {
  const std::string old(5000, 'o');
  directory.write("f", "old");
  directory.write("torn", std::string(1000, 'n') + std::string(4000, 'o'));
  directory.write(".tarvel-undo-" + hexadecimal(statOf("torn").st_ino),
                  recordOf(old, std::string(5000, 'n'), statOf("torn")));
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_EQ(directory.read("torn"), old);
  EXPECT_EQ(directory.entryCount(), 2U);
}

TEST_F(InterruptedWrite, AJournalOfTheSameInodeOnAnotherDeviceIsIgnored) {
  const std::string torn = std::string(1000, 'n') + std::string(4000, 'o');
  directory.write("f", torn);
  struct stat elsewhere = statOf("f");
  elsewhere.st_dev += 1;
  const std::string name = ".tarvel-undo-" + hexadecimal(elsewhere.st_ino);
  directory.write(name, recordOf(std::string(5000, 'o'), std::string(5000, 'n'), elsewhere));
  EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
  EXPECT_EQ(directory.read("f"), torn);
  EXPECT_TRUE(manager.fileExistsAtPath(directory.path(name)));
}

TEST_F(InterruptedWrite, RootsStaleFilesAreRemovedByTheFoldersOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can create root's files";
  directory.write("f", "old");
  directory.write(".tarvel-0123456789abcdef", "left");
  ASSERT_EQ(::chmod(cPath(".tarvel-0123456789abcdef"), 0600), 0);
  giveToNobody("f");
  giveToNobody("");
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("f", "new").code; }), 0);
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(InterruptedWrite, RootsStaleFilesWithAnotherOwnerAreRemovedByRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  directory.write("f", "old");
  directory.write(".tarvel-0123456789abcdef", "left");
  giveToNobody(".tarvel-0123456789abcdef");
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(InterruptedWrite, StaleFilesOfACopyAreRemovedByTheNextCopyOrListing) {
  directory.write("f", "bytes");
  directory.write(".tarvel-0123456789abcdef", "left");
  ASSERT_TRUE(manager.copyItemAtPathToPath(directory.path("f"), directory.path("g")).ok());
  EXPECT_EQ(directory.entryCount(), 2U);
  directory.write(".tarvel-0123456789abcdef", "left");
  const std::vector<std::string> names = manager.filesInDirectoryAtPath(directory.path()).fileNames;
  EXPECT_EQ(names, (std::vector<std::string>{"f", "g"}));
}

TEST_F(InterruptedWrite, AnInterruptedInPlaceWriteIsUndoneByTheNextReader) {
  const std::string old(5000, 'o');
  const std::string fresh(4000, 'n');
  const auto readWithRecord = [&](const std::string& now) {
    directory.write("f", now);
    directory.write(".tarvel-undo-" + hexadecimal(statOf("f").st_ino), recordOf(old, fresh, statOf("f")));
    EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
    EXPECT_EQ(directory.entryCount(), 1U);
    return directory.read("f");
  };
  EXPECT_EQ(readWithRecord(fresh.substr(0, 1234) + old.substr(1234)), old);
  EXPECT_EQ(readWithRecord(old.substr(0, 4321)), old);
  // The write completed, never began, or another program has saved since.
  EXPECT_EQ(readWithRecord(fresh), fresh);
  EXPECT_EQ(readWithRecord(old), old);
  EXPECT_EQ(readWithRecord(fresh.substr(0, 1234) + "x" + old.substr(1235)),
            fresh.substr(0, 1234) + "x" + old.substr(1235));
  EXPECT_EQ(readWithRecord("something else"), "something else");
}

TEST_F(InterruptedWrite, AnInvalidForeignOrLockedJournalUndoesNothing) {
  const std::string old(5000, 'o');
  const std::string torn = std::string(1000, 'n') + std::string(4000, 'o');
  directory.write("f", torn);
  const std::string name = ".tarvel-undo-" + hexadecimal(statOf("f").st_ino);
  for (const std::string& record : {std::string(), std::string("tarvel undo 2\n"),
                                    recordOf(old, old, statOf("f")).substr(0, 9000), std::string(64, '\xff')}) {
    directory.write(name, record);
    EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
    EXPECT_EQ(directory.read("f"), torn);
  }
  directory.write(name, recordOf(old, std::string(5000, 'n'), statOf("f")));
  {
    const UniqueFd writer(::open(cPath(name), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
    EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
    EXPECT_EQ(directory.read("f"), torn);
  }
  if (::geteuid() == 0) {
    giveToNobody(name);
    EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
    EXPECT_EQ(directory.read("f"), torn);
  }
}

}  // namespace
}  // namespace tarvel
