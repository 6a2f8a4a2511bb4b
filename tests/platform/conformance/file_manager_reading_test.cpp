// Reading files and listing folders, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerReading : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerReading, FileManagerSettings);

TYPED_TEST(FileManagerReading, WrittenBytesAreReadBack) {
  EXPECT_FALSE(this->exists("a"));
  this->put("a", "one");
  EXPECT_TRUE(this->exists("a"));
  EXPECT_EQ(this->read("a"), "one");
  this->put("a", "");
  EXPECT_EQ(this->read("a"), "");
  this->put("a", "a longer text than before");
  EXPECT_EQ(this->read("a"), "a longer text than before");
}

TYPED_TEST(FileManagerReading, AnOwnFileIsNeitherReadNorReplacedThroughALink) {
  const Data data = Data::copyOf("mine");
  this->put("a", "first");
  this->setting.makeLink("link", "a");
  this->setting.makeLink("dangling", "nothing");
  const FileVersion version = this->manager.contentsAtPath(this->path("a")).version;
  for (const char* name : {"link", "dangling"}) {
    EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path(name)).status.code, ELOOP) << name;
    EXPECT_EQ(this->manager.replaceOwnFileAtPath({{data.bytes()}, {}}, this->path(name), version).code,
              kFileHasChanged);
  }
  EXPECT_EQ(this->read("a"), "first");
  EXPECT_FALSE(this->exists("nothing"));
  EXPECT_TRUE(this->setting.isLink("link"));
}

TYPED_TEST(FileManagerReading, OnlyAMissingOwnFileGivesEnoent) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  this->put("f", "x");
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("a")).status.code, ENOENT);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("d")).status.code, EISDIR);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("f/a")).status.code, ENOTDIR);
  this->setting.setMode("f", 0);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("f")).status.code, EACCES);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path(std::string("a\0b", 3))).status.code, EINVAL);
}

TYPED_TEST(FileManagerReading, ReadingAMissingFileFailsWithEnoent) {
  const FileReading reading = this->manager.contentsAtPath(this->path("none"));
  EXPECT_EQ(reading.status.code, ENOENT);
  EXPECT_FALSE(reading.status.reason.empty());
  EXPECT_EQ(reading.data.size(), 0U);
}

TYPED_TEST(FileManagerReading, ListsRegularFilesByName) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d/sub")).ok());
  EXPECT_TRUE(this->manager.filesInDirectoryAtPath(this->path("d")).fileNames.empty());
  EXPECT_TRUE(this->manager.filesInDirectoryAtPath(this->path("d")).status.ok());
  for (const char* name : {"d/b", "d/a", "d/.hidden", "d/a b", "d/sub/deep", "beside"}) this->put(name, "x");
  this->setting.makeLink("d/link", "a");
  const std::vector<std::string> expected = {".hidden", "a", "a b", "b"};
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("d")).fileNames, expected);
  this->setting.makeLink("folder", "d");
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("folder/")).fileNames, expected);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("none")).status.code, ENOENT);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("beside")).status.code, ENOTDIR);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path(std::string("d\0l", 3))).status.code, EINVAL);
  this->setting.setMode("d", 0333);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("d")).status.code, EACCES);
  this->setting.setMode("d", 0755);
}

TYPED_TEST(FileManagerReading, AnUnreadableFileIsNotRead) {
  this->put("a", "old");
  this->setting.setMode("a", 0200);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a")).status.code, EACCES);
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).code, EACCES);
  EXPECT_FALSE(this->exists("b"));
}

}  // namespace
}  // namespace tarvel
