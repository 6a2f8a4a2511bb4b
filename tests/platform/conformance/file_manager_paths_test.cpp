// Paths and error messages, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerPaths : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerPaths, FileManagerSettings);

TYPED_TEST(FileManagerPaths, PathsThatCannotBeUrlsThrow) {
  this->put("a", "x");
  EXPECT_THROW((void)this->manager.replaceItem("", this->path("a")), PlatformException);
  EXPECT_THROW((void)this->manager.replaceItem(this->path("a"), std::string("b\0c", 3)), PlatformException);
  EXPECT_THROW((void)this->manager.moveItem(this->path("a"), ""), PlatformException);
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerPaths, OnlyALeadingTildeIsExpanded) {
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath("/~/x/"), "/~/x/");
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath(" ~"), " ~");
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath(""), "");
  EXPECT_NE(this->manager.stringByExpandingTildeInPath("~/x").find("/x"), std::string::npos);
  EXPECT_NE(this->manager.stringByExpandingTildeInPath("~/x").front(), '~');
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath("~no-such-user/x/"), "~no-such-user/x");
}

TYPED_TEST(FileManagerPaths, EmptyPathsAndPathsWithZeroBytesFail) {
  this->put("a", "x");
  for (const std::string& path : {std::string(), this->path(std::string("a\0b", 3))}) {
    EXPECT_FALSE(this->manager.fileExistsAtPath(path));
    EXPECT_EQ(this->manager.modificationDateAtPath(path), std::nullopt);
    const int code = path.empty() ? ENOENT : EINVAL;
    EXPECT_EQ(this->manager.contentsAtPath(path).status.code, code);
    EXPECT_EQ(this->manager.createDirectoryAtPath(path).code, code);
    EXPECT_EQ(this->manager.removeItemAtPath(path).code, code);
    EXPECT_EQ(this->manager.writeDataToPath({}, path).code, code);
    EXPECT_EQ(this->manager.copyItemAtPathToPath(path, this->path("b")).code, code);
    EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), path).code, code);
    EXPECT_EQ(this->manager.exchangeItems(this->path("a"), path).code, code);
    EXPECT_THROW((void)this->manager.replaceItem(this->path("a"), path), PlatformException);
    EXPECT_THROW((void)this->manager.replaceItem(path, this->path("a")), PlatformException);
    EXPECT_THROW((void)this->manager.moveItem(this->path("a"), path), PlatformException);
    EXPECT_THROW((void)this->manager.moveItem(path, this->path("b")), PlatformException);
  }
  EXPECT_EQ(this->read("a"), "x");
  EXPECT_FALSE(this->exists("b"));
}

TYPED_TEST(FileManagerPaths, FailuresAreExplainedAndSuccessIsSilent) {
  this->put("a", "x");
  const FileStatus missing = this->manager.removeItemAtPath(this->path("none"));
  EXPECT_EQ(missing.code, ENOENT);
  EXPECT_FALSE(missing.reason.empty());
  const FileStatus removed = this->manager.removeItemAtPath(this->path("a"));
  EXPECT_EQ(removed.code, 0);
  EXPECT_TRUE(removed.reason.empty());
}

TYPED_TEST(FileManagerPaths, ATrailingSlashAsksForAFolder) {
  this->put("a", "x");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_TRUE(this->exists("d/"));
  EXPECT_FALSE(this->exists("a/"));
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a/")), std::nullopt);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a/")).status.code, ENOTDIR);
  EXPECT_FALSE(this->write("a/", "y").ok());
  EXPECT_FALSE(this->write("new/", "y").ok());
  EXPECT_FALSE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("new/")).ok());
  EXPECT_FALSE(this->exists("new"));
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerPaths, ABlankPathComponentAndDotsChangeNothing) {
  this->put("a", "x");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_EQ(this->read(".//d/..///./a"), "x");
  EXPECT_FALSE(this->exists("none/../a"));
  EXPECT_FALSE(this->exists("a/../a"));
}

}  // namespace
}  // namespace tarvel
