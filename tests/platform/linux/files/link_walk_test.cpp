// Other users' symbolic links in world-writable folders: the kernel's protected_symlinks rule, applied by every write
// that follows links.

#include "platform/linux/files/link_walk.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

constexpr unsigned kWriter = 64001;
constexpr unsigned kOther = 64002;
constexpr mode_t kSticky = 01777;

/// A file that the writer owns, and a shared folder with a link to it.
struct LinkWalk : testing::Test {
  TemporaryDirectory folder;
  LinuxFileManager files;

  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can create another user's link";
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    for (const char* name : {"home", "shared"}) ASSERT_EQ(::mkdir(folder.path(name).c_str(), 0755), 0);
    give("home", kWriter);
    folder.write("home/file", "old");
    give("home/file", kWriter);
  }

  void give(const std::string& name, unsigned user) const {
    ASSERT_EQ(::lchown(folder.path(name).c_str(), user, user), 0);
  }

  /// Gives the shared folder, which root owns, this mode and a link that `owner` owns.
  void shareLink(mode_t mode, unsigned owner) const {
    ASSERT_EQ(::chmod(folder.path("shared").c_str(), mode), 0);
    std::filesystem::remove(folder.path("shared/link"));
    ASSERT_EQ(::symlink("../home/file", folder.path("shared/link").c_str()), 0);
    give("shared/link", owner);
  }

  /// Writes to the path as this user and returns the code.
  int writeAs(unsigned user, const std::string& name) {
    return inChildAs(user, [&] {
      const Data data = Data::copyOf("new");
      return files.writeDataToPath({{data.bytes()}, {}}, folder.path(name)).code;
    });
  }
};

TEST_F(LinkWalk, AnotherUsersLinkInAStickySharedFolderIsNotWrittenThrough) {
  shareLink(kSticky, kOther);
  EXPECT_EQ(writeAs(kWriter, "shared/link"), EACCES);
  EXPECT_EQ(writeAs(0, "shared/link"), EACCES);
  EXPECT_EQ(folder.read("home/file"), "old");
}

TEST_F(LinkWalk, ALinkOfTheWriterOrOfTheFoldersOwnerIsFollowed) {
  for (const unsigned owner : {kWriter, 0U}) {
    shareLink(kSticky, owner);
    folder.write("home/file", "old");
    EXPECT_EQ(writeAs(kWriter, "shared/link"), 0);
    EXPECT_EQ(folder.read("home/file"), "new");
  }
}

TEST_F(LinkWalk, OnlyStickyWorldWritableFoldersAreChecked) {
  for (const mode_t mode : {01775U, 0777U, 0755U}) {
    shareLink(mode, kOther);
    folder.write("home/file", "old");
    EXPECT_EQ(writeAs(kWriter, "shared/link"), 0) << mode;
    EXPECT_EQ(folder.read("home/file"), "new");
  }
}

TEST_F(LinkWalk, ALinkFurtherAlongTheChainIsCheckedToo) {
  shareLink(kSticky, kOther);
  ASSERT_EQ(::symlink("../shared/link", folder.path("home/own").c_str()), 0);
  give("home/own", kWriter);
  EXPECT_EQ(writeAs(kWriter, "home/own"), EACCES);
  EXPECT_EQ(folder.read("home/file"), "old");
}

TEST_F(LinkWalk, ADanglingLinkCreatesNoFile) {
  shareLink(kSticky, kOther);
  ASSERT_TRUE(std::filesystem::remove(folder.path("home/file")));
  EXPECT_EQ(writeAs(kWriter, "shared/link"), EACCES);
  EXPECT_FALSE(std::filesystem::exists(folder.path("home/file")));
}

TEST_F(LinkWalk, NoItemIsReplacedThroughAnotherUsersLink) {
  shareLink(kSticky, kOther);
  folder.write("home/new", "new");
  const int code = inChildAs(
      kWriter, [this] { return files.replaceItem(folder.path("shared/link"), folder.path("home/new")).status.code; });
  EXPECT_EQ(code, EACCES);
  EXPECT_EQ(folder.read("home/file"), "old");
  EXPECT_EQ(folder.read("home/new"), "new");
}

}  // namespace
}  // namespace tarvel
