// Symbolic links, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerLinks : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerLinks, FileManagerSettings);

TYPED_TEST(FileManagerLinks, ADanglingLinkDoesNotExist) {
  this->setting.makeLink("link", "none");
  EXPECT_FALSE(this->exists("link"));
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("link")), std::nullopt);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("link")).status.code, ENOENT);
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("link")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("link/below")).ok());
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerLinks, LinksAreReadAndWrittenThrough) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("deep")).ok());
  this->put("deep/real", "old");
  this->setting.makeLink("first", "deep/real");
  this->setting.makeLink("second", this->path("first"));
  this->setting.makeLink("folder", "deep");
  EXPECT_EQ(this->read("second"), "old");
  EXPECT_EQ(this->read("folder/real"), "old");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("second")),
            this->manager.modificationDateAtPath(this->path("deep/real")));
  this->put("second", "new");
  EXPECT_EQ(this->read("deep/real"), "new");
  this->put("folder/real", "newer");
  EXPECT_EQ(this->read("deep/real"), "newer");
  EXPECT_TRUE(this->setting.isLink("first"));
  EXPECT_TRUE(this->setting.isLink("second"));
}

TYPED_TEST(FileManagerLinks, WritingThroughADanglingLinkCreatesItsTarget) {
  this->setting.makeLink("link", "target");
  this->put("link", "x");
  EXPECT_EQ(this->read("target"), "x");
  EXPECT_TRUE(this->setting.isLink("link"));
  this->setting.makeLink("astray", "none/target");
  EXPECT_EQ(this->write("astray", "x").code, ENOENT);
}

TYPED_TEST(FileManagerLinks, LinksInARingFail) {
  this->setting.makeLink("a", "b");
  this->setting.makeLink("b", "a");
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a")).status.code, ELOOP);
  EXPECT_EQ(this->write("a", "x").code, ELOOP);
  EXPECT_EQ(this->write("a/below", "x").code, ELOOP);
}

TYPED_TEST(FileManagerLinks, RemovingALinkKeepsItsTarget) {
  this->put("real", "x");
  this->setting.makeLink("link", "real");
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("link")).ok());
  EXPECT_FALSE(this->setting.isLink("link"));
  EXPECT_EQ(this->read("real"), "x");
}

}  // namespace
}  // namespace tarvel
