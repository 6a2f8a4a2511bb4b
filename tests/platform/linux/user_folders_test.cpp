#include "platform/linux/user_folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform/linux/instance_lock.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

namespace fs = std::filesystem;

struct UserFolders : testing::Test {
  UserFolders() {
    if (const char* value = std::getenv("XDG_RUNTIME_DIR")) before = value;
    fs::create_directory(folder);
    ::chmod(folder.c_str(), 0700);
  }
  ~UserFolders() override {
    ::unsetenv("XDG_RUNTIME_DIR");
    if (before) ::setenv("XDG_RUNTIME_DIR", before->c_str(), 1);
  }

  std::optional<std::string> before;
  TemporaryDirectory directory;
  std::string folder = directory.path("folder");
  /// Where a login puts it. Only ever looked for, as it may be that of whoever runs this.
  std::string usual = "/run/user/" + std::to_string(::geteuid());
};

TEST_F(UserFolders, AFolderForItsUserAloneIsPrivate) { EXPECT_EQ(privateFolderAt(folder), folder); }

TEST_F(UserFolders, AFolderThatOthersHaveRightsToIsNotPrivate) {
  for (const mode_t mode : {0755U, 0750U, 0701U, 01700U, 02700U}) {
    ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
    EXPECT_EQ(privateFolderAt(folder), "") << std::oct << mode;
  }
}

TEST_F(UserFolders, AFolderThatItsUserHasNotEveryRightToIsNotPrivate) {
  ASSERT_EQ(::chmod(folder.c_str(), 0500), 0);
  EXPECT_EQ(privateFolderAt(folder), "");
}

TEST_F(UserFolders, AnotherUsersFolderIsNotPrivate) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  ASSERT_EQ(::chown(folder.c_str(), 1, 1), 0);
  EXPECT_EQ(privateFolderAt(folder), "");
}

TEST_F(UserFolders, ALinkAFileAndNothingAreNotPrivate) {
  fs::create_directory_symlink(folder, directory.path("link"));
  directory.write("file", "");
  ASSERT_EQ(::chmod(directory.path("file").c_str(), 0700), 0);
  for (const char* name : {"link", "file", "nothing"}) EXPECT_EQ(privateFolderAt(directory.path(name)), "") << name;
}

TEST_F(UserFolders, TheRuntimeFolderOfTheEnvironmentComesFirst) {
  ::setenv("XDG_RUNTIME_DIR", directory.path("other").c_str(), 1);
  EXPECT_EQ(userRuntimeFolder(), directory.path("other"));
}

TEST_F(UserFolders, WithoutAUsableVariableTheRuntimeFolderIsTheOneOfTheLogin) {
  const std::string expected = privateFolderAt(usual);
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(userRuntimeFolder(), expected);
  for (const char* unusable : {"", "relative"}) {
    ::setenv("XDG_RUNTIME_DIR", unusable, 1);
    EXPECT_EQ(userRuntimeFolder(), expected) << unusable;
  }
}

TEST_F(UserFolders, CommandAndAgentLookAtOneLockWithAndWithoutTheVariable) {
  if (privateFolderAt(usual).empty()) GTEST_SKIP() << "nobody has logged in here, so there is no " << usual;
  ::setenv("XDG_RUNTIME_DIR", usual.c_str(), 1);
  const std::string told = instanceLockPath("org.tarvel.Test");
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(instanceLockPath("org.tarvel.Test"), told);
}

}  // namespace
}  // namespace tarvel
