// File operations with failing system calls, and on file systems that lack some of them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

constexpr unsigned kUnnamedFlag = O_TMPFILE & ~O_DIRECTORY;
constexpr CallFault kNoUnnamedFiles{SYS_openat, EOPNOTSUPP, 2, kUnnamedFlag, kUnnamedFlag};
constexpr CallFault kNoRenameFlags{SYS_renameat2, EINVAL};

/// The system calls of file operations, except those needed for cleaning up.
const std::vector<long>& calls() {
  static const std::vector<long> all = {SYS_openat,    SYS_readlinkat, SYS_newfstatat, SYS_faccessat2, SYS_fchmod,
                                        SYS_fchown,    SYS_flistxattr, SYS_pwritev,    SYS_pwrite64,   SYS_pread64,
                                        SYS_read,      SYS_fallocate,  SYS_fsync,      SYS_linkat,     SYS_renameat2,
                                        SYS_utimensat, SYS_getrandom,  SYS_renameat};
  return all;
}

/// A device error, and a missing permission, which sometimes selects another strategy.
const std::vector<int>& codes() {
  static const std::vector<int> all = {EIO, EACCES};
  return all;
}

struct FileFaults : testing::Test {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  int write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return manager.writeDataToPath({{data.bytes()}, {}}, directory.path(name)).code;
  }
  int copy(const std::string& from, const std::string& to) {
    return manager.copyItemAtPathToPath(directory.path(from), directory.path(to)).code;
  }
  bool exists(const std::string& name) { return std::filesystem::exists(directory.path(name)); }

  /// Runs `body` once for each call and error, and passes its result to `check`.
  template <typename Body, typename Check>
  void withEachFault(std::vector<CallFault> faults, const Body& body, const Check& check) {
    for (const long number : calls()) {
      for (const int code : codes()) {
        SCOPED_TRACE("call " + std::to_string(number) + " fails with " + std::to_string(code));
        faults.push_back({number, code});
        const int answer = inChildWithFaults(faults, body);
        faults.pop_back();
        ASSERT_LT(answer, 200);
        check(answer);
        if (HasFatalFailure()) return;
      }
    }
  }
};

TEST_F(FileFaults, AnyFailingCallLeavesAllOldOrAllNewBytesAndNoStrayFile) {
  const std::string old = "old bytes";
  const std::string fresh(300'000, 'n');
  const std::vector<std::vector<CallFault>> fileSystems = {{}, {kNoUnnamedFiles}, {kNoUnnamedFiles, kNoRenameFlags}};
  for (const auto& fileSystem : fileSystems) {
    int failures = 0;
    directory.write("f", old);
    withEachFault(
        fileSystem, [&] { return write("f", fresh); },
        [&](int answer) {
          failures += answer != 0 ? 1 : 0;
          ASSERT_EQ(directory.read("f"), answer == 0 ? fresh : old);
          ASSERT_EQ(directory.entryCount(), 1U);
          directory.write("f", old);
        });
    // The faults took effect.
    EXPECT_GT(failures, 5);
  }
}

TEST_F(FileFaults, AnyFailingCallLeavesAHardLinkedFileWithAllOldOrAllNewBytes) {
  for (const auto& [old, fresh] : {std::pair<std::string, std::string>{"old", std::string(300'000, 'n')},
                                   std::pair<std::string, std::string>{std::string(300'000, 'o'), "new"}}) {
    directory.write("f", old);
    std::error_code ignored;
    std::filesystem::create_hard_link(directory.path("f"), directory.path("g"), ignored);
    int failures = 0;
    withEachFault(
        {}, [&, bytes = fresh] { return write("f", bytes); },
        [&, before = old, after = fresh](int answer) {
          failures += answer != 0 ? 1 : 0;
          ASSERT_EQ(directory.read("f"), answer == 0 ? after : before);
          ASSERT_EQ(directory.read("g"), directory.read("f"));
          ASSERT_EQ(directory.entryCount(), 2U);
          directory.write("f", before);
        });
    EXPECT_GT(failures, 5);
  }
}

TEST_F(FileFaults, WithoutAnExchangeAChangedFileIsNotOverwritten) {
  directory.write("f", "read");
  const FileVersion version = manager.contentsAtPath(directory.path("f")).version;
  directory.write("f", "saved since");
  const Data data = Data::copyOf("sorted");
  const auto write = [&](const FileVersion& read) {
    return manager.writeDataToPath({{data.bytes()}, {}}, directory.path("f"), read).code;
  };
  EXPECT_EQ(inChildWithFaults({kNoRenameFlags}, [&] { return write(version) == kFileHasChanged ? 1 : 0; }), 1);
  EXPECT_EQ(directory.read("f"), "saved since");
  const FileVersion now = manager.contentsAtPath(directory.path("f")).version;
  EXPECT_EQ(inChildWithFaults({kNoRenameFlags}, [&] { return write(now); }), 0);
  EXPECT_EQ(directory.read("f"), "sorted");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(FileFaults, AnyFailingCallLeavesANewFileCompleteOrAbsent) {
  const std::string fresh(300'000, 'n');
  for (const auto& fileSystem : {std::vector<CallFault>{}, std::vector<CallFault>{kNoUnnamedFiles}}) {
    withEachFault(
        fileSystem, [&] { return write("f", fresh); },
        [&](int answer) {
          ASSERT_EQ(exists("f"), answer == 0);
          if (answer == 0) {
            ASSERT_EQ(directory.read("f"), fresh);
            ASSERT_TRUE(std::filesystem::remove(directory.path("f")));
          }
          ASSERT_EQ(directory.entryCount(), 0U);
        });
  }
}

TEST_F(FileFaults, AnyFailingCallLeavesACopyCompleteOrAbsent) {
  const std::string bytes(300'000, 'c');
  directory.write("f", bytes);
  for (const auto& fileSystem : {std::vector<CallFault>{}, std::vector<CallFault>{kNoUnnamedFiles}}) {
    withEachFault(
        fileSystem, [&] { return copy("f", "copy"); },
        [&](int answer) {
          ASSERT_EQ(exists("copy"), answer == 0);
          if (answer == 0) {
            ASSERT_EQ(directory.read("copy"), bytes);
            ASSERT_TRUE(std::filesystem::remove(directory.path("copy")));
          }
          ASSERT_EQ(directory.entryCount(), 1U);
          ASSERT_EQ(directory.read("f"), bytes);
        });
  }
}

TEST_F(FileFaults, AnyFailingCallLeavesAReplacementDoneOrUndone) {
  const auto prepare = [&] {
    directory.write("target", "old");
    directory.write("replacement", "new");
  };
  prepare();
  withEachFault(
      {}, [&] { return manager.replaceItem(directory.path("target"), directory.path("replacement")).status.code; },
      [&](int answer) {
        ASSERT_EQ(directory.read("target"), answer == 0 ? "new" : "old");
        ASSERT_EQ(exists("replacement"), answer != 0);
        ASSERT_EQ(directory.entryCount(), answer == 0 ? 1U : 2U);
        prepare();
      });
}

TEST_F(FileFaults, AFailedInPlaceWriteRestoresTheOldBytes) {
  directory.write("f", "old bytes");
  std::filesystem::create_hard_link(directory.path("f"), directory.path("g"));
  const std::string first(400'000, 'a');
  const std::string second(400'000, 'b');
  const auto twoPieces = [&] {
    const Data one = Data::copyOf(first);
    const Data two = Data::copyOf(second);
    return manager.writeDataToPath({{one.bytes(), two.bytes()}, {}}, directory.path("f")).code;
  };
  const CallFault atSecond{SYS_pwritev, EIO, 3, 0xFFFFFFFF, 400'000};
  EXPECT_EQ(inChildWithFaults({atSecond}, twoPieces), EIO);
  EXPECT_EQ(directory.read("f"), "old bytes");
  EXPECT_EQ(twoPieces(), 0);
  EXPECT_EQ(directory.read("g"), first + second);
}

TEST_F(FileFaults, WithoutUnnamedFilesEverythingStillWorks) {
  for (const int code : {EOPNOTSUPP, EISDIR, ENOENT}) {
    directory.write("f", "old");
    ASSERT_EQ(::chmod(directory.path("f").c_str(), 0640), 0);
    const CallFault fault{SYS_openat, code, 2, kUnnamedFlag, kUnnamedFlag};
    EXPECT_EQ(inChildWithFaults({fault}, [&] { return write("f", "new") + copy("f", "g") + write("h", "x"); }), 0);
    EXPECT_EQ(directory.read("f"), "new");
    EXPECT_EQ(directory.read("g"), "new");
    struct stat status {};
    ASSERT_EQ(::stat(directory.path("f").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(directory.entryCount(), 3U);
    std::filesystem::remove(directory.path("g"));
  }
}

TEST_F(FileFaults, WithoutRenameFlagsNothingIsEverReplacedByAMoveOrACopy) {
  directory.write("a", "one");
  directory.write("b", "two");
  const auto move = [&](const std::string& from, const std::string& to) {
    return manager.moveItem(directory.path(from), directory.path(to)).code;
  };
  for (const CallFault& fault : {kNoRenameFlags, CallFault{SYS_renameat2, ENOSYS}}) {
    EXPECT_EQ(inChildWithFaults({fault}, [&] { return move("a", "b"); }), EEXIST);
    EXPECT_EQ(inChildWithFaults({fault}, [&] { return copy("a", "b"); }), EEXIST);
    EXPECT_EQ(inChildWithFaults({fault, kNoUnnamedFiles}, [&] { return copy("a", "b"); }), EEXIST);
    EXPECT_EQ(directory.read("b"), "two");
    EXPECT_EQ(inChildWithFaults({fault}, [&] { return copy("a", "c"); }), 0);
    EXPECT_EQ(inChildWithFaults({fault}, [&] { return move("c", "d"); }), 0);
    EXPECT_EQ(directory.read("d"), "one");
    // Without hard links too, as on FAT.
    const CallFault noLinks{SYS_linkat, EPERM};
    EXPECT_EQ(inChildWithFaults({fault, kNoUnnamedFiles, noLinks}, [&] { return copy("a", "c"); }), 0);
    EXPECT_EQ(inChildWithFaults({fault, kNoUnnamedFiles, noLinks}, [&] { return copy("a", "b"); }), EEXIST);
    EXPECT_EQ(inChildWithFaults({fault, kNoUnnamedFiles, noLinks}, [&] { return move("c", "b"); }), EEXIST);
    EXPECT_EQ(inChildWithFaults({fault, kNoUnnamedFiles, noLinks}, [&] { return move("c", "e"); }), 0);
    EXPECT_EQ(directory.read("e"), "one");
    EXPECT_EQ(directory.entryCount(), 4U);
    std::filesystem::remove(directory.path("d"));
    std::filesystem::remove(directory.path("e"));
  }
}

TEST_F(FileFaults, WithoutAnExchangeItemsOfDifferentKindsStillReplaceEachOther) {
  directory.write("target", "old");
  std::filesystem::create_directory(directory.path("folder"));
  directory.write("folder/inside", "new");
  const auto replace = [&](const std::string& target, const std::string& replacement) {
    return manager.replaceItem(directory.path(target), directory.path(replacement)).status.code;
  };
  EXPECT_EQ(inChildWithFaults({kNoRenameFlags}, [&] { return replace("target", "folder"); }), 0);
  EXPECT_EQ(directory.read("target/inside"), "new");
  EXPECT_EQ(directory.entryCount(), 1U);
  directory.write("plain", "plain");
  EXPECT_EQ(inChildWithFaults({kNoRenameFlags}, [&] { return replace("target", "plain"); }), 0);
  EXPECT_EQ(directory.read("target"), "plain");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(FileFaults, AFailedReplacementRestoresTheOldItem) {
  ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
  directory.write("target", "old");
  std::filesystem::create_directories(directory.path("locked/folder"));
  ASSERT_EQ(::chmod(directory.path("locked").c_str(), 0555), 0);
  const int answer = inChildWithoutPrivileges([&] {
    if (!installFaults({kNoRenameFlags})) return 99;
    const FileReplacement replaced = manager.replaceItem(directory.path("target"), directory.path("locked/folder"));
    return replaced.originalItemLocation ? 98 : replaced.status.code;
  });
  ASSERT_EQ(::chmod(directory.path("locked").c_str(), 0755), 0);
  EXPECT_EQ(answer, EACCES);
  EXPECT_EQ(directory.read("target"), "old");
  EXPECT_TRUE(exists("locked/folder"));
  EXPECT_EQ(directory.entryCount(), 2U);
}

TEST_F(FileFaults, AnOldItemThatCannotBeRemovedUndoesTheReplacement) {
  const int answer = inChildWithoutPrivileges([&] {
    TemporaryDirectory own;
    std::filesystem::create_directory(own.path("target"));
    own.write("target/inside", "old");
    if (::chmod(own.path("target").c_str(), 0555) != 0) return 99;
    own.write("replacement", "new");
    if (!installFaults({kNoRenameFlags})) return 99;
    const FileReplacement replaced = manager.replaceItem(own.path("target"), own.path("replacement"));
    const bool isAsBefore = own.read("target/inside") == "old" && own.read("replacement") == "new";
    const std::size_t count = own.entryCount();
    (void)::chmod(own.path("target").c_str(), 0755);
    if (replaced.originalItemLocation || !isAsBefore || count != 2) return 98;
    return replaced.status.code;
  });
  EXPECT_EQ(answer, EACCES);
}

/// Where a rename is not possible: a copy replaces the target and the replacement is removed last. In a sticky folder
/// that may fail.
struct CopyAsReplacement : testing::Test {
  /// The code of a replacement whose source cannot be removed; 97 to 99 for other failures. `isOurs`: whether the user
  /// owns the target.
  static int replace(const std::string& stickyFolder, const std::string& replacement, bool isOurs) {
    TemporaryDirectory target;
    target.write("file", "old");
    if (::chmod(target.path().c_str(), 0777) != 0) return 99;
    if (isOurs && ::chown(target.path("file").c_str(), kNobody, kNobody) != 0) return 99;
    if (::chmod(stickyFolder.c_str(), 01777) != 0) return 99;
    const int answer = inChildWithoutPrivileges([&] {
      LinuxFileManager manager;
      const FileReplacement replaced = manager.replaceItem(target.path("file"), stickyFolder + "/" + replacement);
      return replaced.originalItemLocation ? 98 : replaced.status.code;
    });
    return target.read("file") == "old" && target.entryCount() == 1 ? answer : 97;
  }

  static constexpr uid_t kNobody = 65534;
};

TEST_F(CopyAsReplacement, ALinkThatCannotBeRemovedUndoesTheReplacement) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  TemporaryDirectory sticky;
  sticky.write("real", "new");
  std::filesystem::create_symlink("real", sticky.path("link"));
  for (const bool isOurs : {true, false}) {
    EXPECT_EQ(replace(sticky.path(), "link", isOurs), EPERM) << isOurs;
    EXPECT_EQ(sticky.entryCount(), 2U);
  }
}

TEST_F(CopyAsReplacement, AFileOnAnotherFileSystemThatCannotBeRemovedUndoesTheReplacement) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  const TemporaryDirectory here;
  std::string path = "/dev/shm/tarvel-test-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) GTEST_SKIP() << "there is no other file system";
  const auto deviceOf = [](const std::string& folder) {
    struct stat status {};
    return ::stat(folder.c_str(), &status) == 0 ? status.st_dev : 0;
  };
  const bool isOther = deviceOf(path) != deviceOf(here.path());
  std::ofstream(path + "/file") << "new";
  std::vector<int> answers;
  for (const bool isOurs : {true, false}) answers.push_back(replace(path, "file", isOurs));
  std::filesystem::remove_all(path);
  if (!isOther) GTEST_SKIP() << "there is no other file system";
  EXPECT_EQ(answers, (std::vector<int>{EPERM, EPERM}));
}

TEST_F(FileFaults, AnyFailingCallLeavesTheCopyOrTheOldItemAtTheTarget) {
  const auto prepare = [&] {
    directory.write("target", "old");
    directory.write("real", "new");
    std::filesystem::remove(directory.path("replacement"));
    std::filesystem::create_symlink("real", directory.path("replacement"));
  };
  for (const auto& fileSystem :
       {std::vector<CallFault>{}, std::vector<CallFault>{{SYS_linkat, EPERM}, kNoUnnamedFiles}}) {
    prepare();
    int failures = 0;
    withEachFault(
        fileSystem,
        [&] {
          const FileReplacement replaced = manager.replaceItem(directory.path("target"), directory.path("replacement"));
          return replaced.originalItemLocation ? 150 : replaced.status.code;
        },
        [&](int answer) {
          failures += answer != 0 ? 1 : 0;
          ASSERT_EQ(directory.read("target"), answer == 0 ? "new" : "old");
          ASSERT_EQ(std::filesystem::is_symlink(directory.path("replacement")), answer != 0);
          ASSERT_EQ(directory.entryCount(), answer == 0 ? 2U : 3U);
          prepare();
        });
    EXPECT_GT(failures, 5);
  }
}

TEST_F(FileFaults, WithoutReservingSpaceAFileIsStillWrittenInPlace) {
  directory.write("f", "old");
  std::filesystem::create_hard_link(directory.path("f"), directory.path("g"));
  const std::string fresh(100'000, 'n');
  EXPECT_EQ(inChildWithFaults({{SYS_fallocate, EOPNOTSUPP}}, [&] { return write("f", fresh); }), 0);
  EXPECT_EQ(directory.read("g"), fresh);
}

TEST_F(FileFaults, WhereUnnamedFilesAreForbiddenAnExistingFileIsWrittenInPlace) {
  directory.write("f", "old");
  const CallFault forbidden{SYS_openat, EACCES, 2, kUnnamedFlag, kUnnamedFlag};
  EXPECT_EQ(inChildWithFaults({forbidden}, [&] { return write("f", "new"); }), 0);
  EXPECT_EQ(directory.read("f"), "new");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(FileFaults, ACopyIsLinkedDirectlyToItsFinalName) {
  directory.write("f", "bytes");
  // Nothing can be renamed or removed here, so a copy could not lose a temporary name.
  EXPECT_EQ(inChildWithFaults({{SYS_renameat2, EIO}, {SYS_renameat, EIO}, {SYS_unlinkat, EIO}},
                              [&] { return copy("f", "g"); }),
            0);
  EXPECT_EQ(directory.read("g"), "bytes");
  EXPECT_EQ(directory.entryCount(), 2U);
}

}  // namespace
}  // namespace tarvel
