// Replacing, moving and exchanging items, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerReplacing : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerReplacing, FileManagerSettings);

TYPED_TEST(FileManagerReplacing, AReplacementMovesToTheTarget) {
  ASSERT_TRUE(this->manager.offersReplaceItem());
  this->put("target", "old");
  this->put("replacement", "new");
  const FileReplacement replaced = this->manager.replaceItem(this->path("target"), this->path("replacement"));
  EXPECT_TRUE(replaced.status.ok()) << replaced.status.reason;
  EXPECT_EQ(this->read("target"), "new");
  EXPECT_FALSE(this->exists("replacement"));
}

TYPED_TEST(FileManagerReplacing, ReplacementThatLacksAnItemChangesNothing) {
  this->put("target", "old");
  EXPECT_EQ(this->manager.replaceItem(this->path("target"), this->path("none")).status.code, ENOENT);
  EXPECT_EQ(this->manager.replaceItem(this->path("none"), this->path("target")).status.code, ENOENT);
  EXPECT_EQ(this->read("target"), "old");
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerReplacing, AnItemCannotReplaceItself) {
  this->put("a", "x");
  EXPECT_FALSE(this->manager.replaceItem(this->path("a"), this->path("a")).status.ok());
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerReplacing, ItemsOfDifferentKindsReplaceEachOther) {
  this->put("target", "old");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("folder")).ok());
  EXPECT_TRUE(this->manager.replaceItem(this->path("target"), this->path("folder")).status.ok());
  EXPECT_EQ(this->manager.contentsAtPath(this->path("target")).status.code, EISDIR);
  EXPECT_FALSE(this->exists("folder"));
}

TYPED_TEST(FileManagerReplacing, MoveNeverReplaces) {
  this->put("a", "one");
  EXPECT_TRUE(this->manager.moveItem(this->path("a"), this->path("b")).ok());
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->read("b"), "one");
  this->put("c", "two");
  EXPECT_EQ(this->manager.moveItem(this->path("b"), this->path("c")).code, EEXIST);
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->read("c"), "two");
  EXPECT_EQ(this->manager.moveItem(this->path("none"), this->path("d")).code, ENOENT);
}

TYPED_TEST(FileManagerReplacing, ExchangeSwapsTwoItems) {
  this->put("a", "one");
  this->put("b", "two");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("b")).ok());
  EXPECT_EQ(this->read("a"), "two");
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->manager.exchangeItems(this->path("a"), this->path("none")).code, ENOENT);
  EXPECT_EQ(this->read("a"), "two");
}

TYPED_TEST(FileManagerReplacing, AReplacementReachesTheTargetThroughItsLink) {
  this->put("real", "old");
  this->setting.makeLink("link", "real");
  this->put("replacement", "new");
  EXPECT_TRUE(this->manager.replaceItem(this->path("link"), this->path("replacement")).status.ok());
  EXPECT_TRUE(this->setting.isLink("link"));
  EXPECT_EQ(this->read("real"), "new");
  EXPECT_FALSE(this->exists("replacement"));
}

TYPED_TEST(FileManagerReplacing, ALinkAsReplacementContributesItsTarget) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  this->put("d/real", "new");
  this->setting.makeLink("d/link", "real");
  this->put("target", "old");
  EXPECT_TRUE(this->manager.replaceItem(this->path("target"), this->path("d/link")).status.ok());
  EXPECT_FALSE(this->setting.isLink("target"));
  EXPECT_FALSE(this->setting.isLink("d/link"));
  EXPECT_EQ(this->read("target"), "new");
  EXPECT_EQ(this->read("d/real"), "new");
}

TYPED_TEST(FileManagerReplacing, AReplacementKeepsItsDateAndMode) {
  this->put("target", "old");
  this->put("replacement", "new");
  this->setting.setMode("replacement", 0604);
  const auto date = this->manager.modificationDateAtPath(this->path("replacement"));
  const FileReplacement replaced = this->manager.replaceItem(this->path("target"), this->path("replacement"));
  EXPECT_TRUE(replaced.status.ok());
  EXPECT_EQ(replaced.originalItemLocation, std::nullopt);
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("target")), date);
  EXPECT_EQ(this->setting.mode("target"), 0604U);
}

TYPED_TEST(FileManagerReplacing, AFailedReplacementReportsNoItemAside) {
  this->put("target", "old");
  const FileReplacement failed = this->manager.replaceItem(this->path("target"), this->path("none"));
  EXPECT_FALSE(failed.status.ok());
  EXPECT_EQ(failed.originalItemLocation, std::nullopt);
}

TYPED_TEST(FileManagerReplacing, FoldersMoveReplaceAndExchangeWithTheirContents) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b")).ok());
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("c")).ok());
  this->put("a/b/deep", "deep");
  this->put("c/flat", "flat");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("c")).ok());
  EXPECT_EQ(this->read("c/b/deep"), "deep");
  EXPECT_EQ(this->read("a/flat"), "flat");
  EXPECT_TRUE(this->manager.moveItem(this->path("c/b"), this->path("moved")).ok());
  EXPECT_EQ(this->read("moved/deep"), "deep");
  EXPECT_FALSE(this->exists("c/b/deep"));
  this->put("file", "old");
  EXPECT_TRUE(this->manager.replaceItem(this->path("file"), this->path("moved")).status.ok());
  EXPECT_EQ(this->read("file/deep"), "deep");
  EXPECT_FALSE(this->exists("moved"));
  this->put("plain", "plain");
  EXPECT_TRUE(this->manager.replaceItem(this->path("file"), this->path("plain")).status.ok());
  EXPECT_EQ(this->read("file"), "plain");
  EXPECT_FALSE(this->exists("plain"));
}

TYPED_TEST(FileManagerReplacing, AFolderCannotMoveBelowItself) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b")).ok());
  EXPECT_EQ(this->manager.moveItem(this->path("a"), this->path("a/b/c")).code, EINVAL);
  EXPECT_EQ(this->manager.exchangeItems(this->path("a"), this->path("a/b")).code, EINVAL);
  EXPECT_FALSE(this->manager.replaceItem(this->path("a/b"), this->path("a")).status.ok());
  EXPECT_TRUE(this->exists("a/b"));
}

TYPED_TEST(FileManagerReplacing, MovingAndExchangingDoNotFollowLinks) {
  this->put("real", "x");
  this->put("other", "y");
  this->setting.makeLink("link", "real");
  EXPECT_EQ(this->manager.moveItem(this->path("other"), this->path("link")).code, EEXIST);
  EXPECT_TRUE(this->manager.moveItem(this->path("link"), this->path("moved")).ok());
  EXPECT_TRUE(this->setting.isLink("moved"));
  EXPECT_TRUE(this->manager.exchangeItems(this->path("moved"), this->path("other")).ok());
  EXPECT_TRUE(this->setting.isLink("other"));
  EXPECT_EQ(this->read("moved"), "y");
  EXPECT_EQ(this->read("real"), "x");
}

TYPED_TEST(FileManagerReplacing, AnItemMayBeExchangedWithItself) {
  this->put("a", "x");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "x");
}

}  // namespace
}  // namespace tarvel
