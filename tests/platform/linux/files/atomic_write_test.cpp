// What an atomic write keeps, on a real file system.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/files/file_size_limit.h"
#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

constexpr uid_t kNobody = 65534;

struct AtomicWrite : testing::Test {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  FileStatus write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return manager.writeDataToPath({{data.bytes()}, {}}, directory.path(name));
  }
  struct stat statOf(const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::lstat(directory.path(name).c_str(), &status), 0) << std::strerror(errno);
    return status;
  }
  [[nodiscard]] const char* cPath(const std::string& name) {
    kept_ = directory.path(name);
    return kept_.c_str();
  }

  void giveToNobody(const std::string& name) {
    if (::geteuid() == 0) {
      ASSERT_EQ(::chown(cPath(name), kNobody, kNobody), 0);
    }
  }

 private:
  std::string kept_;
};

TEST_F(AtomicWrite, ReplacesTheFileAndLeavesNoTemporaryFile) {
  directory.write("f", "old");
  const ino_t before = statOf("f").st_ino;
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_EQ(directory.read("f"), "new");
  EXPECT_NE(statOf("f").st_ino, before);
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(AtomicWrite, NewFilesAndFoldersArePrivateForAnyUmask) {
  const mode_t mask = ::umask(0);
  ASSERT_TRUE(write("f", "x").ok());
  ASSERT_TRUE(manager.createDirectoryAtPath(directory.path("a/b")).ok());
  (void)::umask(mask);
  EXPECT_EQ(statOf("f").st_mode & 07777, 0600U);
  EXPECT_EQ(statOf("a").st_mode & 07777, 0700U);
  EXPECT_EQ(statOf("a/b").st_mode & 07777, 0700U);
  EXPECT_EQ(directory.entryCount(), 2U);
}

TEST_F(AtomicWrite, ModeOwnerAndAttributesAreKept) {
  directory.write("f", "old");
  ASSERT_EQ(::chmod(cPath("f"), 0604), 0);
  giveToNobody("f");
  const bool hasAttributes = ::setxattr(cPath("f"), "user.note", "kept", 4, 0) == 0;
  const struct stat before = statOf("f");
  ASSERT_TRUE(write("f", "new").ok());
  const struct stat after = statOf("f");
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  if (hasAttributes) {
    char value[8] = {};
    ASSERT_EQ(::getxattr(cPath("f"), "user.note", value, sizeof value), 4);
    EXPECT_STREQ(value, "kept");
  }
}

TEST_F(AtomicWrite, AclsAreKept) {
  directory.write("f", "old");
  // Version 2; owner rw-, user 65534 r--, group r--, mask r--, others ---.
  const unsigned char list[] = {2, 0,    0,    0,    1,    0,    6,    0, 0xFF, 0xFF, 0xFF, 0xFF, 2,    0,    4,
                                0, 0xFE, 0xFF, 0,    0,    4,    0,    4, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0,
                                4, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0,    0,    0xFF, 0xFF, 0xFF, 0xFF};
  if (::setxattr(cPath("f"), "system.posix_acl_access", list, sizeof list, 0) != 0) {
    ASSERT_EQ(errno, EOPNOTSUPP) << std::strerror(errno);
    return;  // This file system does not support ACLs.
  }
  ASSERT_TRUE(write("f", "new").ok());
  unsigned char kept[sizeof list] = {};
  ASSERT_EQ(::getxattr(cPath("f"), "system.posix_acl_access", kept, sizeof kept), static_cast<ssize_t>(sizeof list));
  EXPECT_EQ(std::memcmp(kept, list, sizeof list), 0);
}

TEST_F(AtomicWrite, SymbolicLinksAreWrittenThrough) {
  std::filesystem::create_directory(directory.path("deep"));
  directory.write("deep/real", "old");
  std::filesystem::create_symlink("deep/real", directory.path("first"));
  std::filesystem::create_symlink(directory.path("first"), directory.path("second"));
  ASSERT_TRUE(write("second", "new").ok());
  EXPECT_EQ(directory.read("deep/real"), "new");
  EXPECT_TRUE(S_ISLNK(statOf("first").st_mode));
  EXPECT_TRUE(S_ISLNK(statOf("second").st_mode));
}

TEST_F(AtomicWrite, WritingThroughADanglingLinkCreatesItsTarget) {
  std::filesystem::create_symlink("target", directory.path("link"));
  EXPECT_FALSE(manager.fileExistsAtPath(directory.path("link")));
  ASSERT_TRUE(write("link", "new").ok());
  EXPECT_EQ(directory.read("target"), "new");
  EXPECT_TRUE(S_ISLNK(statOf("link").st_mode));
}

TEST_F(AtomicWrite, ALinkToItselfFails) {
  std::filesystem::create_symlink("loop", directory.path("loop"));
  EXPECT_EQ(write("loop", "x").code, ELOOP);
}

TEST_F(AtomicWrite, HardLinksAreNotBroken) {
  directory.write("f", "old and long");
  std::filesystem::create_hard_link(directory.path("f"), directory.path("g"));
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_EQ(directory.read("g"), "new");
  EXPECT_EQ(statOf("f").st_ino, statOf("g").st_ino);
  ASSERT_TRUE(write("g", "a longer text than any before").ok());
  EXPECT_EQ(directory.read("f"), "a longer text than any before");
}

TEST_F(AtomicWrite, AReadOnlyFileIsLeftUnchanged) {
  directory.write("f", "old");
  giveToNobody("f");
  giveToNobody("");
  ASSERT_EQ(::chmod(cPath("f"), 0444), 0);
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("f", "new").code; }), EACCES);
  EXPECT_EQ(directory.read("f"), "old");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(AtomicWrite, InAReadOnlyFolderTheFileIsWrittenInPlace) {
  directory.write("f", "old");
  giveToNobody("f");
  ASSERT_EQ(::chmod(cPath("f"), 0666), 0);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0555), 0);
  const ino_t before = statOf("f").st_ino;
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("f", "new and longer").code; }), 0);
  EXPECT_EQ(directory.read("f"), "new and longer");
  EXPECT_EQ(statOf("f").st_ino, before);
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("f", "n").code; }), 0);
  EXPECT_EQ(directory.read("f"), "n");
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("new", "x").code; }), EACCES);
}

TEST_F(AtomicWrite, InAStickyFolderAnotherUsersFileIsWrittenInPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can create another user's file";
  directory.write("f", "old");
  ASSERT_EQ(::chmod(cPath("f"), 0666), 0);
  ASSERT_EQ(::chmod(directory.path().c_str(), 01777), 0);
  const ino_t before = statOf("f").st_ino;
  EXPECT_EQ(inChildWithoutPrivileges([&] { return write("f", "new").code; }), 0);
  EXPECT_EQ(directory.read("f"), "new");
  EXPECT_EQ(statOf("f").st_ino, before);
}

TEST_F(AtomicWrite, SpecialFilesAreNeitherReadNorWritten) {
  ASSERT_EQ(::mkfifo(cPath("pipe"), 0666), 0);
  EXPECT_FALSE(write("pipe", "x").ok());
  EXPECT_FALSE(manager.contentsAtPath(directory.path("pipe")).status.ok());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, cPath("socket"), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_FALSE(write("socket", "x").ok());
  EXPECT_FALSE(manager.contentsAtPath(directory.path("socket")).status.ok());
  (void)::close(socket);
  EXPECT_FALSE(manager.contentsAtPath("/dev/null").status.ok());
  EXPECT_FALSE(manager.contentsAtPath("/dev/zero").status.ok());
}

TEST_F(AtomicWrite, AFullDiskKeepsTheOldBytesAndLeavesNoStrayFile) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting is root's";
  const std::string disk = directory.path("disk");
  ASSERT_TRUE(std::filesystem::create_directory(disk));
  if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "mounting is forbidden here: " << std::strerror(errno);
  }
  directory.write("disk/f", "old bytes");
  std::filesystem::create_hard_link(disk + "/f", disk + "/linked");
  directory.write("disk/g", "other");
  const std::string large(200'000, 'x');
  EXPECT_EQ(write("disk/g", large).code, ENOSPC);
  EXPECT_EQ(directory.read("disk/g"), "other");
  // In place, because of the hard link: the space is reserved before a byte is overwritten.
  EXPECT_EQ(write("disk/f", large).code, ENOSPC);
  EXPECT_EQ(directory.read("disk/f"), "old bytes");
  EXPECT_EQ(write("disk/new", large).code, ENOSPC);
  EXPECT_FALSE(manager.fileExistsAtPath(disk + "/new"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(disk), std::filesystem::directory_iterator()), 3);
  EXPECT_EQ(::umount(disk.c_str()), 0);
}

TEST_F(AtomicWrite, AFileSizeLimitKeepsTheOldBytesAndLeavesNoStrayFile) {
  directory.write("f", "old");
  std::filesystem::create_hard_link(directory.path("f"), directory.path("linked"));
  directory.write("g", "other");
  const auto limited = [&](const std::string& name) {
    return inChild([&] {
      const rlimit limit{8192, 8192};
      (void)::signal(SIGXFSZ, SIG_IGN);
      (void)::setrlimit(RLIMIT_FSIZE, &limit);
      return write(name, std::string(100'000, 'x')).code;
    });
  };
  EXPECT_EQ(limited("g"), EFBIG);
  EXPECT_EQ(limited("f"), EFBIG);
  EXPECT_EQ(directory.read("f"), "old");
  EXPECT_EQ(directory.read("g"), "other");
  EXPECT_EQ(directory.entryCount(), 3U);
}

TEST_F(AtomicWrite, LargeFilesAreReadAndWrittenWhole) {
  std::string bytes;
  for (int i = 0; i < 1'000'000; ++i) bytes += std::to_string(i);
  ASSERT_TRUE(write("f", bytes).ok());
  const FileReading reading = manager.contentsAtPath(directory.path("f"));
  ASSERT_TRUE(reading.status.ok());
  EXPECT_EQ(std::string(reading.data.bytes().begin(), reading.data.bytes().end()), bytes);
}

TEST_F(AtomicWrite, TwoQuickWritesHaveDifferentMtimes) {
  ASSERT_TRUE(write("f", "one").ok());
  const auto date = manager.modificationDateAtPath(directory.path("f"));
  directory.write("f", "two");
  EXPECT_NE(manager.modificationDateAtPath(directory.path("f")), date);
}

TEST_F(AtomicWrite, ReplacementFollowsALinkAtTheTarget) {
  directory.write("real", "old");
  std::filesystem::create_symlink("real", directory.path("link"));
  directory.write("backup", "new");
  EXPECT_TRUE(manager.replaceItem(directory.path("link"), directory.path("backup")).status.ok());
  EXPECT_EQ(directory.read("real"), "new");
  EXPECT_TRUE(S_ISLNK(statOf("link").st_mode));
}

TEST_F(AtomicWrite, AReplacementThatIsALinkIsResolvedAndRemoved) {
  std::filesystem::create_directory(directory.path("deep"));
  directory.write("deep/real", "new");
  directory.write("target", "old");
  std::filesystem::create_symlink("real", directory.path("deep/link"));
  EXPECT_TRUE(manager.replaceItem(directory.path("target"), directory.path("deep/link")).status.ok());
  EXPECT_TRUE(S_ISREG(statOf("target").st_mode));
  EXPECT_EQ(directory.read("target"), "new");
  EXPECT_FALSE(std::filesystem::is_symlink(directory.path("deep/link")));
  EXPECT_EQ(directory.read("deep/real"), "new");
}

TEST_F(AtomicWrite, ADanglingOrSelfReferringReplacementChangesNothing) {
  directory.write("target", "old");
  std::filesystem::create_symlink("none", directory.path("dangling"));
  std::filesystem::create_symlink("target", directory.path("same"));
  EXPECT_FALSE(manager.replaceItem(directory.path("target"), directory.path("dangling")).status.ok());
  EXPECT_FALSE(manager.replaceItem(directory.path("target"), directory.path("same")).status.ok());
  EXPECT_EQ(directory.read("target"), "old");
  EXPECT_EQ(directory.entryCount(), 3U);
}

TEST_F(AtomicWrite, AMountPointIsWrittenInPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting is root's";
  directory.write("real", "old");
  directory.write("f", "under the mount");
  if (::mount(directory.path("real").c_str(), directory.path("f").c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "mounting is forbidden here: " << std::strerror(errno);
  }
  EXPECT_TRUE(write("f", "new").ok());
  EXPECT_EQ(directory.read("real"), "new");
  EXPECT_EQ(::umount(directory.path("f").c_str()), 0);
}

TEST_F(AtomicWrite, ReplacingAcrossFileSystemsCopiesAndRemoves) {
  if (!std::filesystem::is_directory("/dev/shm")) return;
  struct stat other {};
  ASSERT_EQ(::stat("/dev/shm", &other), 0);
  if (other.st_dev == statOf("").st_dev) return;
  directory.write("target", "old");
  std::string folder = "/dev/shm/tarvel-test-XXXXXX";
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  const std::string replacement = folder + "/f";
  std::ofstream(replacement) << "new";
  ASSERT_EQ(::chmod(replacement.c_str(), 0604), 0);
  const auto date = manager.modificationDateAtPath(replacement);
  EXPECT_TRUE(manager.replaceItem(directory.path("target"), replacement).status.ok());
  EXPECT_EQ(manager.modificationDateAtPath(directory.path("target")), date);
  EXPECT_EQ(statOf("target").st_mode & 07777, 0604U);
  EXPECT_EQ(directory.read("target"), "new");
  // The replacement is gone.
  EXPECT_EQ(::rmdir(folder.c_str()), 0);
  EXPECT_EQ(directory.entryCount(), 1U);
}

/// An ACL in version 2 of its format: owner rw-, user 65534 rw-, group r--, mask rw-, others ---.
constexpr unsigned char kAccessList[] = {2,    0, 0, 0,                          //
                                         1,    0, 6, 0, 0xFF, 0xFF, 0xFF, 0xFF,  //
                                         2,    0, 6, 0, 0xFE, 0xFF, 0,    0,     //
                                         4,    0, 4, 0, 0xFF, 0xFF, 0xFF, 0xFF,  //
                                         0x10, 0, 6, 0, 0xFF, 0xFF, 0xFF, 0xFF,  //
                                         0x20, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};

TEST_F(AtomicWrite, ADefaultAclDoesNotApplyToARewrittenFile) {
  directory.write("f", "old");
  ASSERT_EQ(::chmod(cPath("f"), 0640), 0);
  if (::setxattr(directory.path().c_str(), "system.posix_acl_default", kAccessList, sizeof kAccessList, 0) != 0) {
    ASSERT_EQ(errno, EOPNOTSUPP) << std::strerror(errno);
    return;  // This file system does not support ACLs.
  }
  directory.write("plain", "x");
  ASSERT_GT(::getxattr(cPath("plain"), "system.posix_acl_access", nullptr, 0), 0);
  ASSERT_TRUE(write("f", "new").ok());
  EXPECT_EQ(::getxattr(cPath("f"), "system.posix_acl_access", nullptr, 0), -1);
  EXPECT_EQ(statOf("f").st_mode & 07777, 0640U);
  // The new file inherits the default ACL, and still grants no access to others.
  ASSERT_TRUE(write("new", "x").ok());
  EXPECT_EQ(statOf("new").st_mode & 077, 0U);
}

TEST_F(AtomicWrite, InAnAppendOnlyOrImmutableFolderTheFileIsWrittenInPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can set these flags";
  for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
    const std::string name = flag == FS_APPEND_FL ? "growing" : "fixed";
    ASSERT_TRUE(std::filesystem::create_directory(directory.path(name)));
    directory.write(name + "/f", "old");
    const int folder = ::open(cPath(name), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto setFlags = [&](int flags) { return ::ioctl(folder, FS_IOC_SETFLAGS, &flags) == 0; };
    int ordinary = 0;
    const bool hasFlags = ::ioctl(folder, FS_IOC_GETFLAGS, &ordinary) == 0 && setFlags(ordinary | flag);
    if (hasFlags) {
      EXPECT_TRUE(write(name + "/f", "new").ok());
      EXPECT_EQ(directory.read(name + "/f"), "new");
      EXPECT_TRUE(setFlags(ordinary));
      EXPECT_EQ(std::filesystem::remove_all(directory.path(name)), 2U);
    }
    (void)::close(folder);
    if (!hasFlags) GTEST_SKIP() << "this file system does not support these flags";
  }
}

TEST_F(AtomicWrite, AFileLargerThanMemoryFailsWithoutDamage) {
  directory.write("f", "old");
  constexpr off_t kHuge = off_t{8} << 40;
  if (::truncate(cPath("f"), kHuge) != 0) GTEST_SKIP() << "this file system does not support files of this size";
  EXPECT_EQ(manager.contentsAtPath(directory.path("f")).status.code, EFBIG);
  ::setenv(kFileSizeLimitVariable, "16384G", 1);
  EXPECT_EQ(manager.contentsAtPath(directory.path("f")).status.code, ENOMEM);
  ::unsetenv(kFileSizeLimitVariable);
  std::filesystem::create_hard_link(directory.path("f"), directory.path("g"));
  EXPECT_EQ(inChild([&] { return write("f", "new").code; }), ENOMEM);
  EXPECT_EQ(statOf("g").st_size, kHuge);
}

TEST_F(AtomicWrite, TheReportedSizeIsNotTrusted) {
  // Files with a reported size of zero, and with a reported size above the real one.
  const FileReading more = manager.contentsAtPath("/proc/self/status");
  ASSERT_TRUE(more.status.ok()) << more.status.reason;
  EXPECT_GT(more.data.size(), 100U);
  const FileReading less = manager.contentsAtPath("/sys/kernel/mm/transparent_hugepage/enabled");
  if (less.status.code == ENOENT) return;
  ASSERT_TRUE(less.status.ok()) << less.status.reason;
  EXPECT_LT(less.data.size(), 200U);
}

TEST_F(AtomicWrite, ACopyHasTheAttributesOfItsSource) {
  directory.write("f", "x");
  if (::setxattr(cPath("f"), "user.note", "kept", 4, 0) != 0) return;
  ASSERT_TRUE(manager.copyItemAtPathToPath(directory.path("f"), directory.path("g")).ok());
  char value[8] = {};
  ASSERT_EQ(::getxattr(cPath("g"), "user.note", value, sizeof value), 4);
  EXPECT_STREQ(value, "kept");
}

TEST_F(AtomicWrite, ACopyWithoutItsAclGrantsNoAdditionalAccess) {
  directory.write("f", "x");
  if (::setxattr(cPath("f"), "system.posix_acl_access", kAccessList, sizeof kAccessList, 0) != 0) return;
  // The mode's group bits are the ACL's mask (rw-), while the group has r-- only; without the ACL that would be lost.
  ASSERT_EQ(statOf("f").st_mode & 0777, 0660U);
  const CallFault noLists{SYS_fsetxattr, EOPNOTSUPP};
  EXPECT_EQ(inChildWithFaults(
                {noLists}, [&] { return manager.copyItemAtPathToPath(directory.path("f"), directory.path("g")).code; }),
            0);
  EXPECT_EQ(statOf("g").st_mode & 0777, 0600U);
}

}  // namespace
}  // namespace tarvel
