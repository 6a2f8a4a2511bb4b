// Creating, copying and removing items, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerCopying : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerCopying, FileManagerSettings);

TYPED_TEST(FileManagerCopying, ACopyRecordsWhereItCameFromAndKeepsThatWhenItIsRenamed) {
  this->put("a", "1");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).ok());
  ASSERT_TRUE(this->manager.moveItem(this->path("b"), this->path("c")).ok());
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("c")), this->path("a"));
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("a")), std::nullopt);
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("none")), std::nullopt);
  // A copy of the copy is one of the copy.
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("c"), this->path("d")).ok());
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("d")), this->path("c"));
}

TYPED_TEST(FileManagerCopying, FolderChainsAreMadeAndExistingFoldersAreFine) {
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c")).ok());
  EXPECT_TRUE(this->exists("a/b/c"));
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c")).ok());
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c/")).ok());
  this->put("file", "x");
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("file")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("file/below")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath("").ok());
}

TYPED_TEST(FileManagerCopying, AFileIsCreatedOnlyIfNothingExists) {
  const Data data = Data::copyOf("new");
  const DataPieces pieces{{data.bytes()}, {}};
  ASSERT_TRUE(this->manager.createFileAtPath(pieces, this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "new");
  EXPECT_EQ(this->setting.mode("a"), 0600U);
  this->put("b", "old");
  this->setting.makeLink("link", "none");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  for (const char* taken : {"a", "b", "link", "d"}) {
    EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path(taken)).code, EEXIST);
  }
  EXPECT_EQ(this->read("b"), "old");
  EXPECT_FALSE(this->exists("none"));
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("none/a")).code, ENOENT);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("b/a")).code, ENOTDIR);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path(std::string("n\0l", 3))).code, EINVAL);
  EXPECT_FALSE(this->manager.createFileAtPath(pieces, this->path("new/")).ok());
  this->setting.setMode("d", 0555);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("d/a")).code, EACCES);
  this->setting.setMode("d", 0755);
  EXPECT_FALSE(this->exists("d/a"));
}

TYPED_TEST(FileManagerCopying, CopyKeepsBytesAndDateAndNeverReplaces) {
  this->put("a", "one");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).ok());
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a")),
            this->manager.modificationDateAtPath(this->path("b")));
  this->put("c", "other");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("c")).code, EEXIST);
  EXPECT_EQ(this->read("c"), "other");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("none"), this->path("d")).code, ENOENT);
  EXPECT_FALSE(this->exists("d"));
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("none/d")).code, ENOENT);
}

TYPED_TEST(FileManagerCopying, RemovesFilesAndEmptyFolders) {
  this->put("a", "x");
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("a")).ok());
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->manager.removeItemAtPath(this->path("a")).code, ENOENT);
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d/e")).ok());
  EXPECT_EQ(this->manager.removeItemAtPath(this->path("d")).code, ENOTEMPTY);
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("d/e")).ok());
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("d")).ok());
}

TYPED_TEST(FileManagerCopying, CopyFollowsSourceLinksAndNeverTargetLinks) {
  this->put("real", "x");
  this->setting.makeLink("link", "real");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("link"), this->path("copy")).ok());
  EXPECT_FALSE(this->setting.isLink("copy"));
  EXPECT_EQ(this->read("copy"), "x");
  this->setting.makeLink("dangling", "none");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("real"), this->path("dangling")).code, EEXIST);
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerCopying, OnlyFilesAreCopied) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("d"), this->path("e")).code, EISDIR);
  EXPECT_FALSE(this->exists("e"));
}

}  // namespace
}  // namespace tarvel
