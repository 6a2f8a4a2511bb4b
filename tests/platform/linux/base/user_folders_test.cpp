#include "platform/linux/base/user_folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

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
};

TEST_F(UserFolders, AFolderWithMode0700IsPrivate) { EXPECT_EQ(privateFolderAt(folder), folder); }

TEST_F(UserFolders, AFolderWithAnyOtherPermissionIsNotPrivate) {
  for (const mode_t mode : {0755U, 0750U, 0701U, 01700U, 02700U}) {
    ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
    EXPECT_EQ(privateFolderAt(folder), "") << std::oct << mode;
  }
}

TEST_F(UserFolders, AFolderWithoutAllOwnerPermissionsIsNotPrivate) {
  ASSERT_EQ(::chmod(folder.c_str(), 0500), 0);
  EXPECT_EQ(privateFolderAt(folder), "");
}

TEST_F(UserFolders, AnotherUsersFolderIsNotPrivate) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  ASSERT_EQ(::chown(folder.c_str(), 1, 1), 0);
  EXPECT_EQ(privateFolderAt(folder), "");
}

TEST_F(UserFolders, LinksFilesAndMissingPathsAreNotPrivate) {
  fs::create_directory_symlink(folder, directory.path("link"));
  directory.write("file", "");
  ASSERT_EQ(::chmod(directory.path("file").c_str(), 0700), 0);
  for (const char* name : {"link", "file", "nothing"}) EXPECT_EQ(privateFolderAt(directory.path(name)), "") << name;
}

TEST_F(UserFolders, TheRuntimeFolderOfTheEnvironmentComesFirst) {
  ::setenv("XDG_RUNTIME_DIR", directory.path("other").c_str(), 1);
  EXPECT_EQ(userRuntimeFolder(), directory.path("other"));
}

TEST_F(UserFolders, WithoutAUsableVariableTheRuntimeFolderIsTheDefault) {
  const std::string expected = runtimeFolderIn("/run/user");
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(userRuntimeFolder(), expected);
  for (const char* unusable : {"", "relative"}) {
    ::setenv("XDG_RUNTIME_DIR", unusable, 1);
    EXPECT_EQ(userRuntimeFolder(), expected) << unusable;
  }
}

TEST_F(UserFolders, TheFallbackRuntimeFolderIsNamedByUserIdAndPrivate) {
  const std::string own = directory.path(std::to_string(::geteuid()));
  EXPECT_EQ(runtimeFolderIn(directory.path()), "");
  fs::create_directory(own);
  ASSERT_EQ(::chmod(own.c_str(), 0700), 0);
  EXPECT_EQ(runtimeFolderIn(directory.path()), own);
  ASSERT_EQ(::chmod(own.c_str(), 0755), 0);
  EXPECT_EQ(runtimeFolderIn(directory.path()), "");
}

TEST_F(UserFolders, ARelativePathInAVariableCountsAsUnset) {
  struct Case {
    const char* variable;
    std::string (*folder)();
    const char* belowHome;
  };
  for (const Case& one :
       {Case{"XDG_CONFIG_HOME", userSettingsFolder, "/.config"}, Case{"XDG_DATA_HOME", userDataFolder, "/.local/share"},
        Case{"XDG_CACHE_HOME", userCacheFolder, "/.cache"}}) {
    ::setenv(one.variable, "/elsewhere", 1);
    EXPECT_EQ(one.folder(), "/elsewhere") << one.variable;
    ::setenv(one.variable, "elsewhere", 1);
    EXPECT_EQ(one.folder(), userHomeFolder() + one.belowHome) << one.variable;
    ::unsetenv(one.variable);
  }
}

}  // namespace
}  // namespace tarvel
