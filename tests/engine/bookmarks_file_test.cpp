#include "engine/tarvel.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

constexpr const char* kPath = "/safari/Bookmarks.plist";

struct BookmarksFile : testing::Test, EngineFixture {
  BookmarksFile() { tarvel.setBookmarksFilename(kPath); }

  PropertyList list = tree("Root[ ]");
  PropertyListTree& owner = *list.tree;

  PropertyListDictionary node() { return owner.makeDictionary(); }

  std::string putBack(std::string_view root, std::string_view bar, std::string_view menu) {
    const PropertyListDictionary rootNode = treeIn(owner, root);
    const PropertyListDictionary result = tarvel.bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(
        rootNode, bar.empty() ? PropertyListDictionary() : treeIn(owner, bar),
        menu.empty() ? PropertyListDictionary() : treeIn(owner, menu));
    if (result) {
      EXPECT_TRUE(result == rootNode);
    }
    return text(result);
  }
};

TEST_F(BookmarksFile, APathWithATildeIsExpandedAndReturnedOnlyWhileTheFileExists) {
  tarvel.setBookmarksFilename("~/b.plist");
  EXPECT_EQ(tarvel.bookmarksFilename(), std::nullopt);
  memory.fileManager.putFile("/home/user/b.plist", "");
  EXPECT_EQ(tarvel.bookmarksFilename(), "/home/user/b.plist");
  memory.fileManager.removeTree("/home/user/b.plist");
  EXPECT_EQ(tarvel.bookmarksFilename(), std::nullopt);
}

TEST_F(BookmarksFile, TheDefaultPathIsTheBrowsersFileInTheHomeFolder) {
  Tarvel fresh(platform);
  EXPECT_EQ(fresh.bookmarksFilename(), std::nullopt);
  memory.fileManager.putFile("/home/user/Library/Safari/Bookmarks.plist", "");
  EXPECT_EQ(fresh.bookmarksFilename(), "/home/user/Library/Safari/Bookmarks.plist");
}

TEST_F(BookmarksFile, AFolderAtTheBookmarksPathCountsAsExisting) {
  memory.fileManager.putFolder(kPath);
  EXPECT_EQ(tarvel.bookmarksFilename(), kPath);
}

TEST_F(BookmarksFile, AFileOrFolderNamedLockBesideTheFileIsALock) {
  memory.fileManager.putFile(kPath, "");
  EXPECT_FALSE(tarvel.isBookmarksFileLocked());
  memory.fileManager.putFolder("/safari/lock");
  EXPECT_TRUE(tarvel.isBookmarksFileLocked());
  memory.fileManager.removeTree("/safari/lock");
  memory.fileManager.putFile("/safari/lock", "");
  EXPECT_TRUE(tarvel.isBookmarksFileLocked());
  memory.fileManager.removeTree("/safari/lock");
  memory.fileManager.putFile("/lock", "");
  EXPECT_FALSE(tarvel.isBookmarksFileLocked());
}

TEST_F(BookmarksFile, TheModificationDateIsThatOfTheFileOrNone) {
  EXPECT_EQ(tarvel.bookmarksFileModificationDate(), std::nullopt);
  memory.fileManager.putFile(kPath, "");
  const auto date = tarvel.bookmarksFileModificationDate();
  ASSERT_TRUE(date.has_value());
  memory.fileManager.putFile(kPath, "");
  EXPECT_NE(tarvel.bookmarksFileModificationDate(), date);
  memory.fileManager.failNext(FileOperation::kDate, EACCES);
  EXPECT_EQ(tarvel.bookmarksFileModificationDate(), std::nullopt);
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(BookmarksFile, RootWithBarAndMenuGetsTheGivenNodesInPlaceAndNothingAppended) {
  EXPECT_EQ(putBack("Root[ BookmarksBar[ a ] BookmarksMenu[ b ] ]", "BookmarksBar[ x ]", "BookmarksMenu[ y ]"),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ y ] ]");
}

TEST_F(BookmarksFile, RootWithoutMenuGetsItAfterAllOtherChildren) {
  EXPECT_EQ(putBack("Root[ BookmarksBar[ a ] c ]", "BookmarksBar[ x ]", "BookmarksMenu[ y ]"),
            "Root[ BookmarksBar[ x ] c BookmarksMenu[ y ] ]");
}

TEST_F(BookmarksFile, RootWithoutBarAndMenuGetsBothBarFirst) {
  EXPECT_EQ(putBack("Root[ c ]", "BookmarksBar[ x ]", "BookmarksMenu[ y ]"),
            "Root[ c BookmarksBar[ x ] BookmarksMenu[ y ] ]");
  EXPECT_EQ(putBack("Root[ ]", "BookmarksBar[ x ]", "BookmarksMenu[ y ]"),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ y ] ]");
}

TEST_F(BookmarksFile, RootWithoutChildrenIsReturnedUnchanged) {
  const PropertyListDictionary root = node();
  root.setString(kTitleKey, "Root");
  EXPECT_TRUE(tarvel.bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(root, node(), node()) == root);
  EXPECT_EQ(root.size(), 1U);
}

TEST_F(BookmarksFile, BothChildrenWithTheBarsTitleBeforeTheMenuAreReplacedByTheBar) {
  EXPECT_EQ(putBack("Root[ BookmarksBar[ a ] BookmarksBar[ b ] BookmarksMenu[ c ] ]", "BookmarksBar[ x ]",
                    "BookmarksMenu[ y ]"),
            "Root[ BookmarksBar[ x ] BookmarksBar[ x ] BookmarksMenu[ y ] ]");
}

TEST_F(BookmarksFile, ScanStopsOnceBarAndMenuArePlaced) {
  EXPECT_EQ(putBack("Root[ BookmarksBar[ a ] BookmarksMenu[ c ] BookmarksBar[ b ] ]", "BookmarksBar[ x ]",
                    "BookmarksMenu[ y ]"),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ y ] BookmarksBar[ b ] ]");
}

TEST_F(BookmarksFile, AnAbsentBarOrMenuThatIsNeededGivesNone) {
  EXPECT_EQ(putBack("Root[ BookmarksMenu[ b ] ]", "", "BookmarksMenu[ y ]"), "(none)");
  EXPECT_EQ(putBack("Root[ BookmarksBar[ b ] ]", "BookmarksBar[ x ]", ""), "(none)");
  EXPECT_EQ(putBack("Root[ ]", "", ""), "(none)");
}

TEST_F(BookmarksFile, TheFirstChildWithTheTitleIsTheBarRegardlessOfItsType) {
  const PropertyListDictionary root = treeIn(owner, "Root[ x ^BookmarksBar#first BookmarksBar[ ] BookmarksMenu[ ] ]");
  EXPECT_EQ(tarvel.bookmarksBarDictionaryFromBookmarksFileRootNode(root).string(kWebBookmarkUUIDKey), "first");
  EXPECT_EQ(text(tarvel.bookmarksMenuDictionaryFromBookmarksFileRootNode(root)), "BookmarksMenu[ ]");
}

TEST_F(BookmarksFile, TheBarIsSearchedOnTheTopLevelOnlyAndCaseSensitively) {
  const PropertyListDictionary root = treeIn(owner, "Root[ bookmarksbar[ ] A[ BookmarksBar[ ] ] ]");
  EXPECT_FALSE(tarvel.bookmarksBarDictionaryFromBookmarksFileRootNode(root));
  EXPECT_FALSE(tarvel.bookmarksMenuDictionaryFromBookmarksFileRootNode(node()));
}

TEST_F(BookmarksFile, TheRootMustBeADictionaryOfTheListType) {
  const PropertyListDictionary root = node();
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(root.value()));
  root.setString(kWebBookmarkTypeKey, "WebBookmarkTypeLeaf");
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(root.value()));
  root.set(kWebBookmarkTypeKey, owner.makeInteger(2));
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(root.value()));
  root.setString(kWebBookmarkTypeKey, "WebBookmarkTypeList");
  EXPECT_TRUE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(root.value()));
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(owner.makeArray(0).value()));
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(owner.makeString("WebBookmarkTypeList")));
  EXPECT_FALSE(tarvel.verifyThatDictionaryIsBookmarksFileRootNode({}));
}

TEST_F(BookmarksFile, VersionAbsentZeroOneNegativeOrTextOnePassesAndTwoFails) {
  const PropertyListDictionary root = node();
  const auto passesWith = [&](PropertyListValue version) {
    root.set(kWebBookmarkFileVersionKey, version);
    return tarvel.verifyThatDictionaryHasCorrectVersionWithRootNode(root);
  };
  EXPECT_TRUE(tarvel.verifyThatDictionaryHasCorrectVersionWithRootNode(root));
  EXPECT_TRUE(passesWith(owner.makeInteger(0)));
  EXPECT_TRUE(passesWith(owner.makeInteger(1)));
  EXPECT_TRUE(passesWith(owner.makeInteger(-5)));
  EXPECT_TRUE(passesWith(owner.makeString("1")));
  EXPECT_TRUE(passesWith(owner.makeReal(1.9)));
  EXPECT_TRUE(passesWith(owner.makeBoolean(true)));
  EXPECT_TRUE(passesWith(owner.makeArray(0).value()));
  EXPECT_FALSE(passesWith(owner.makeInteger(2)));
  EXPECT_FALSE(passesWith(owner.makeString("2")));
  EXPECT_FALSE(passesWith(owner.makeString(" 3 beta")));
  EXPECT_FALSE(passesWith(owner.makeReal(2.0)));
}

TEST_F(BookmarksFile, TitleIsReadFromTitleAndElseFromTheUriDictionary) {
  EXPECT_EQ(tarvel.titleFromBookmarkNode(treeIn(owner, "leaf")), "leaf");
  EXPECT_EQ(tarvel.titleFromBookmarkNode(treeIn(owner, "folder[ ]")), "folder");
  EXPECT_EQ(tarvel.titleFromBookmarkNode(treeIn(owner, "~[ ]")), std::nullopt);
  EXPECT_EQ(tarvel.titleFromBookmarkNode(treeIn(owner, "~")), std::nullopt);
  EXPECT_EQ(tarvel.titleFromBookmarkNode(treeIn(owner, "\"\"")), "");
}

TEST_F(BookmarksFile, NodeWithBothTitlesIsReadThroughTitleAndWrittenThroughTheUriDictionary) {
  const PropertyListDictionary both = treeIn(owner, "inner");
  both.setString(kTitleKey, "outer");
  EXPECT_EQ(tarvel.titleFromBookmarkNode(both), "outer");
  tarvel.setTitleForBookmarkNode("new", both);
  EXPECT_EQ(both.string(kTitleKey), "outer");
  EXPECT_EQ(both.dictionary(kURIDictionaryKey).string(kURITitleKey), "new");
  EXPECT_EQ(tarvel.titleFromBookmarkNode(both), "outer");
}

TEST_F(BookmarksFile, NodeWithoutUriDictionaryIsTitledUnderTitle) {
  const PropertyListDictionary folder = treeIn(owner, "old[ ]");
  tarvel.setTitleForBookmarkNode("new", folder);
  EXPECT_EQ(folder.string(kTitleKey), "new");
  const PropertyListDictionary odd = node();
  odd.setString(kURIDictionaryKey, "no dictionary");
  tarvel.setTitleForBookmarkNode("new", odd);
  EXPECT_EQ(odd.string(kTitleKey), "new");
  EXPECT_EQ(odd.string(kURIDictionaryKey), "no dictionary");
}

TEST_F(BookmarksFile, ATitleOfTheWrongTypeReadsAsAbsent) {
  const PropertyListDictionary odd = treeIn(owner, "inner");
  odd.set(kTitleKey, owner.makeInteger(5));
  EXPECT_EQ(tarvel.titleFromBookmarkNode(odd), "inner");
}

TEST_F(BookmarksFile, TypeNamesMatchExactlyAndAnyOtherTypeIsNone) {
  const PropertyListDictionary any = node();
  EXPECT_EQ(tarvel.typeFromBookmarkNode(any), BookmarkNodeTypeNone);
  const auto kindOf = [&](const char* name) {
    any.setString(kWebBookmarkTypeKey, name);
    return tarvel.typeFromBookmarkNode(any);
  };
  EXPECT_EQ(kindOf("WebBookmarkTypeLeaf"), 1);
  EXPECT_EQ(kindOf("WebBookmarkTypeList"), 2);
  EXPECT_EQ(kindOf("WebBookmarkTypeProxy"), 3);
  EXPECT_EQ(kindOf("webbookmarktypeleaf"), 0);
  EXPECT_EQ(kindOf("WebBookmarkTypeLeaf "), 0);
  any.set(kWebBookmarkTypeKey, owner.makeInteger(1));
  EXPECT_EQ(tarvel.typeFromBookmarkNode(any), BookmarkNodeTypeNone);
  EXPECT_EQ(tarvel.typeFromBookmarkNode({}), BookmarkNodeTypeNone);
}

}  // namespace
}  // namespace tarvel
