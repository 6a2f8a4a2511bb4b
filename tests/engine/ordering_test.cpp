#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

struct Ordering : testing::Test, EngineFixture {
  bool didSort = true;

  /// The child of a folder at a position.
  static PropertyListDictionary childOf(PropertyListDictionary folder, std::size_t position) {
    return folder.array(kChildrenKey).at(position).dictionary();
  }

  /// Sets a false "ShouldOmitFromUI", in one of its three forms.
  static void markAsShown(const PropertyList& list, PropertyListDictionary node, int way) {
    const PropertyListValue no = way == 0   ? list.tree->makeBoolean(false)
                                 : way == 1 ? list.tree->makeInteger(0)
                                            : list.tree->makeString("NO");
    node.set(kShouldOmitFromUIKey, no);
  }
  static constexpr int kWaysToSayNo = 3;

  /// Moves a folder's title to its "URIDictionary".
  static void moveTitleInside(const PropertyList& list, PropertyListDictionary folder) {
    const PropertyListDictionary uri = list.tree->makeDictionary();
    uri.setString(kURITitleKey, std::string(*folder.string(kTitleKey)));
    folder.remove(kTitleKey);
    folder.set(kURIDictionaryKey, uri.value());
  }
};

TEST_F(Ordering, FoldersAtTopPutsProxiesThenFoldersThenBookmarks) {
  tarvel.setArrangeFoldersAtTop(true);
  EXPECT_EQ(sorted("Menu[ beta Gamma[ x ] ^History Alpha delta[ y ] ]"),
            "Menu[ ^History delta[ y ] Gamma[ x ] Alpha beta ]");
}

TEST_F(Ordering, WithoutFoldersAtTopProxiesComeFirstAndTheRestIsOrderedByTitle) {
  EXPECT_EQ(sorted("Menu[ beta Gamma[ x ] ^History Alpha delta[ y ] ]"),
            "Menu[ ^History Alpha beta delta[ y ] Gamma[ x ] ]");
}

TEST_F(Ordering, FoldersAtTopPutsUntypedNodesLast) {
  tarvel.setArrangeFoldersAtTop(true);
  EXPECT_EQ(sorted("Menu[ ?a b ^z C[ x ] ]"), "Menu[ ^z C[ x ] b ?a ]");
}

TEST_F(Ordering, WithoutFoldersAtTopUntypedNodesAreOrderedByTitle) {
  EXPECT_EQ(sorted("Menu[ ?b c a ]"), "Menu[ a ?b c ]");
}

TEST_F(Ordering, ProxiesAreOrderedByTitle) { EXPECT_EQ(sorted("Menu[ ^b x ^a ]"), "Menu[ ^a ^b x ]"); }

TEST_F(Ordering, DigitsAreComparedOneByOne) {
  EXPECT_EQ(sorted("Menu[ \"Item 2\" \"Item 10\" ]"), "Menu[ \"Item 10\" \"Item 2\" ]");
}

TEST_F(Ordering, ChildrenThatCompareEqualKeepTheirOrder) {
  EXPECT_EQ(sorted("Menu[ b apple Apple APPLE a ]"), "Menu[ a apple Apple APPLE b ]");
  EXPECT_EQ(sorted("Menu[ APPLE apple Apple ]"), "Menu[ APPLE apple Apple ]");
}

TEST_F(Ordering, ManyChildrenThatCompareEqualKeepTheirOrder) {
  // Too many for an insertion sort, and not in order, so that a real sort takes place.
  for (const int count : {40, 400}) {
    const PropertyList list = tree("Menu[ z ]");
    const PropertyListArray children = list.root.dictionary().array(kChildrenKey);
    for (int i = 0; i < count; ++i) {
      const std::string title = i % 3 == 0 ? "SAME" : i % 3 == 1 ? "same" : "Same";
      children.append(treeIn(*list.tree, title + "@u" + std::to_string(i)).value());
    }
    const PropertyListArray sorted = tarvel.sortedArrayFromBookmarkChildArray(children);
    for (int i = 0; i < count; ++i) {
      const auto position = static_cast<std::size_t>(i);
      ASSERT_EQ(sorted.at(position).dictionary().string(kURLStringKey), "u" + std::to_string(i)) << count;
    }
  }
}

TEST_F(Ordering, AMissingTitleComparesAsTheEmptyText) { EXPECT_EQ(sorted("Menu[ a ~ \"\" ]"), "Menu[ ~ \"\" a ]"); }

TEST_F(Ordering, ElementsThatAreNotDictionariesAreOrderedAsUntypedNodes) {
  EXPECT_EQ(sorted("Menu[ b 7 a ]"), "Menu[ 7 a b ]");
  tarvel.setArrangeFoldersAtTop(true);
  EXPECT_EQ(sorted("Menu[ b 7 a ]"), "Menu[ a b 7 ]");
}

TEST_F(Ordering, SortedArrayIsANewArrayWithTheSameNodes) {
  const PropertyList list = tree("Menu[ b a ]");
  const PropertyListArray children = list.root.dictionary().array(kChildrenKey);
  const PropertyListArray result = tarvel.sortedArrayFromBookmarkChildArray(children);
  EXPECT_FALSE(result == children);
  EXPECT_EQ(text(list), "Menu[ b a ]");
  EXPECT_EQ(result.at(0), children.at(1));
  EXPECT_EQ(result.at(1), children.at(0));
}

TEST_F(Ordering, OmittedFolderIsReturnedItselfWithNothingInItSorted) {
  const PropertyList list = tree("!Hidden[ b a C[ z y ] ]");
  EXPECT_TRUE(tarvel.sortBookmarksInDictionary(list.root.dictionary()) == list.root.dictionary());
  EXPECT_EQ(text(list), "!Hidden[ b a C[ z y ] ]");
}

TEST_F(Ordering, AFolderWithAFalseOmitFlagIsSorted) {
  for (int way = 0; way < kWaysToSayNo; ++way) {
    const PropertyList list = tree("Menu[ F[ b a ] ]");
    markAsShown(list, childOf(list.root.dictionary(), 0), way);
    EXPECT_EQ(text(tarvel.sortBookmarksInDictionary(list.root.dictionary())), "Menu[ F[ a b ] ]") << way;
  }
}

TEST_F(Ordering, AFolderTitledInItsUriDictionaryIsOrderedByThatTitle) {
  const PropertyList list = tree("Menu[ C[ x ] a b ]");
  moveTitleInside(list, childOf(list.root.dictionary(), 0));
  EXPECT_EQ(text(tarvel.sortBookmarksInDictionary(list.root.dictionary())), "Menu[ a b C[ x ] ]");
}

TEST_F(Ordering, AFolderTitledLikeTheBarInItsUriDictionaryKeepsItsOrder) {
  const PropertyList list = tree("Menu[ BookmarksBar[ b a ] ]");
  moveTitleInside(list, childOf(list.root.dictionary(), 0));
  EXPECT_EQ(text(tarvel.sortBookmarksInDictionary(list.root.dictionary())), "Menu[ BookmarksBar[ b a ] ]");
}

TEST_F(Ordering, NodeWithoutChildrenIsReturnedItself) {
  const PropertyList list = tree("a");
  EXPECT_TRUE(tarvel.sortBookmarksInDictionary(list.root.dictionary()) == list.root.dictionary());
}

TEST_F(Ordering, FolderSortMakesNewFoldersAndSharesBookmarksAndOmittedFolders) {
  const PropertyList list = tree("Menu[ B[ y x ] !H[ z ] a ]");
  const PropertyListDictionary root = list.root.dictionary();
  const PropertyListDictionary result = tarvel.sortBookmarksInDictionary(root);
  EXPECT_EQ(text(list), "Menu[ B[ y x ] !H[ z ] a ]");
  EXPECT_EQ(text(result), "Menu[ a B[ x y ] !H[ z ] ]");
  EXPECT_EQ(result.array(kChildrenKey).at(0), root.array(kChildrenKey).at(2));
  EXPECT_EQ(result.array(kChildrenKey).at(2), root.array(kChildrenKey).at(1));
  EXPECT_FALSE(result.array(kChildrenKey).at(1) == root.array(kChildrenKey).at(0));
}

TEST_F(Ordering, BarKeepsItsOrderButFoldersInsideAreSorted) {
  EXPECT_EQ(sorted("BookmarksBar[ c B[ y x ] a ]"), "BookmarksBar[ c B[ x y ] a ]");
}

TEST_F(Ordering, FolderTitledLikeTheBarInsideTheMenuKeepsItsOrderToo) {
  EXPECT_EQ(sorted("BookmarksMenu[ z BookmarksBar[ c a ] a ]"), "BookmarksMenu[ a BookmarksBar[ c a ] z ]");
}

TEST_F(Ordering, BarIsSortedWithTheOption) {
  tarvel.setSortBookmarksBar(true);
  EXPECT_EQ(sorted("BookmarksBar[ c B[ y x ] a ]"), "BookmarksBar[ a B[ x y ] c ]");
}

TEST_F(Ordering, TitleOfTheBarIsComparedExactly) { EXPECT_EQ(sorted("bookmarksbar[ c a ]"), "bookmarksbar[ a c ]"); }

TEST_F(Ordering, FixedTopLevelNodesMoveAheadInTheirOrderWhenTheFileIsRewritten) {
  EXPECT_EQ(sortedRoot("Root[ BookmarksMenu[ m ] b BookmarksBar[ x ] a[ y ] !omitted[ z ] ]", &didSort),
            "Root[ BookmarksMenu[ m ] BookmarksBar[ x ] !omitted[ z ] a[ y ] b ]");
  EXPECT_TRUE(didSort);
}

TEST_F(Ordering, TopLevelProxiesAndUntypedNodesAreFixed) {
  EXPECT_EQ(sortedRoot("Root[ c ^p BookmarksBar[ x ] ?u b 3 BookmarksMenu[ m ] ]", &didSort),
            "Root[ ^p BookmarksBar[ x ] ?u 3 BookmarksMenu[ m ] b c ]");
  EXPECT_TRUE(didSort);
}

TEST_F(Ordering, ATopLevelFolderWithAFalseOmitFlagIsSorted) {
  for (int way = 0; way < kWaysToSayNo; ++way) {
    const PropertyList list = tree("Root[ BookmarksBar[ x ] F[ b a ] BookmarksMenu[ m ] ]");
    markAsShown(list, childOf(list.root.dictionary(), 1), way);
    const PropertyListDictionary result =
        tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
    EXPECT_EQ(text(result), "Root[ BookmarksBar[ x ] BookmarksMenu[ m ] F[ a b ] ]") << way;
  }
}

TEST_F(Ordering, ATopLevelBookmarkTitledLikeTheBarIsSortable) {
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ x ] BookmarksMenu[ m ] c BookmarksBar@u BookmarksMenu@v a ]", &didSort),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ m ] a BookmarksBar@u BookmarksMenu@v c ]");
}

TEST_F(Ordering, ATopLevelBookmarkThatIsOmittedIsSortable) {
  const PropertyList list = tree("Root[ BookmarksBar[ x ] BookmarksMenu[ m ] b a ]");
  childOf(list.root.dictionary(), 2).set(kShouldOmitFromUIKey, list.tree->makeBoolean(true));
  const PropertyListDictionary result =
      tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
  EXPECT_EQ(text(result), "Root[ BookmarksBar[ x ] BookmarksMenu[ m ] a b ]");
}

TEST_F(Ordering, ATopLevelFolderTitledLikeTheMenuInItsUriDictionaryIsFixedAndUnchanged) {
  const PropertyList list = tree("Root[ b BookmarksBar[ x ] BookmarksMenu#other[ d c@ ] a BookmarksMenu[ m ] ]");
  moveTitleInside(list, childOf(list.root.dictionary(), 2));
  const PropertyListDictionary result =
      tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
  EXPECT_EQ(text(result), "Root[ BookmarksBar[ x ] BookmarksMenu[ d c@ ] BookmarksMenu[ m ] a b ]");
}

TEST_F(Ordering, NothingInsideATopLevelProxyOrUntypedNodeIsCleanedOrSorted) {
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ x ] BookmarksMenu[ n m ] ^p[ c@ b a E[ ] ] ?u[ d@ c b F[ ] ] ]", &didSort),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ m n ] ^p[ c@ b a E[ ] ] ?u[ d@ c b F[ ] ] ]");
}

TEST_F(Ordering, MisplacedFixedNodesAloneCauseNoRewrite) {
  EXPECT_EQ(sortedRoot("Root[ a BookmarksBar[ x ] b BookmarksMenu[ m ] ]", &didSort), "(same)");
  EXPECT_FALSE(didSort);
}

TEST_F(Ordering, NothingInsideAnOmittedTopLevelFolderIsCleanedOrSorted) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ x ] BookmarksMenu[ n m ] !H[ c@ c@same a@same E[ ] ] ]", &didSort),
            "Root[ BookmarksBar[ x ] BookmarksMenu[ m n ] !H[ c@ c@same a@same E[ ] ] ]");
}

TEST_F(Ordering, AFileInOrderWhoseNodesAllHaveIdentifiersIsReturnedItself) {
  EXPECT_EQ(sortedRoot("Root[ ^p BookmarksBar[ z y ] BookmarksMenu[ a b C[ d e ] ] f g ]", &didSort), "(same)");
  EXPECT_FALSE(didSort);
}

TEST_F(Ordering, ABookmarkWithoutIdentifierMakesEveryRunAChange) {
  const PropertyList list = tree("Root[ BookmarksBar[ x ] BookmarksMenu[ a b#- ] ]");
  PropertyListDictionary root = list.root.dictionary();
  for (int run = 0; run < 3; ++run) {
    didSort = false;
    root = tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(root, &didSort);
    EXPECT_EQ(text(root), "Root[ BookmarksBar[ x ] BookmarksMenu[ a b ] ]");
    EXPECT_TRUE(didSort);
  }
}

TEST_F(Ordering, RemovalAloneDoesNotSetTheFlag) {
  tarvel.setRemoveDuplicates(true);
  const PropertyList list = tree("Root[ BookmarksBar[ x ] BookmarksMenu[ a@u b@u ] ]");
  const PropertyListDictionary root = list.root.dictionary();
  EXPECT_TRUE(tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(root, &didSort) == root);
  EXPECT_FALSE(didSort);
  EXPECT_EQ(text(root), "Root[ BookmarksBar[ x ] BookmarksMenu[ b@u ] ]");
}

TEST_F(Ordering, RenamingAloneDoesNotSetTheFlag) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ a a@v ] BookmarksMenu[ b ] ]", &didSort), "(same)");
  EXPECT_FALSE(didSort);
}

TEST_F(Ordering, ARootWithEmptyOrMissingChildrenIsReturnedItself) {
  EXPECT_EQ(sortedRoot("Root[ ]", &didSort), "(same)");
  EXPECT_FALSE(didSort);
  const PropertyList list = tree("Root[ ]");
  list.root.dictionary().remove(kChildrenKey);
  didSort = true;
  EXPECT_TRUE(tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort) ==
              list.root.dictionary());
  EXPECT_FALSE(didSort);
}

TEST_F(Ordering, RootWithoutBarOrMenuGivesNoneWithTheFlagSet) {
  EXPECT_EQ(sortedRoot("Root[ BookmarksMenu[ a ] ]", &didSort), "(none)");
  EXPECT_TRUE(didSort);
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ a ] ]", &didSort), "(none)");
  EXPECT_TRUE(didSort);
}

TEST_F(Ordering, NewRootKeepsEveryOtherEntryOfTheOld) {
  const PropertyList list = tree("Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]");
  const PropertyListDictionary root = list.root.dictionary();
  root.set("Unknown", list.tree->makeDate(1.5));
  const PropertyListDictionary result = tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(root, &didSort);
  EXPECT_FALSE(result == root);
  EXPECT_EQ(result.get("Unknown"), root.get("Unknown"));
  EXPECT_EQ(text(result), "Root[ BookmarksBar[ x ] BookmarksMenu[ a b ] ]");
}

TEST_F(Ordering, DuplicatesAreSearchedInEachTreeSeparately) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ a@u ] BookmarksMenu[ c@v b@u ] d@u ]", &didSort),
            "Root[ BookmarksBar[ a@u ] BookmarksMenu[ b@u c@v ] d@u ]");
}

TEST_F(Ordering, EqualityRequiresOnlyTheSameShapeAndIdentifiers) {
  const auto equal = [this](std::string_view first, std::string_view second) {
    const PropertyList a = tree(first);
    const PropertyList b = tree(second);
    return tarvel.areBookmarksEqualInDictionaryAndDictionary(a.root.dictionary(), b.root.dictionary());
  };
  EXPECT_TRUE(equal("A#1[ b#2 C#3[ d#4 ] ]", "Z#1[ y#2 x#3[ w#4 ] ]"));
  EXPECT_FALSE(equal("A#1[ b#2 c#3 ]", "A#1[ b#3 c#2 ]"));
  EXPECT_FALSE(equal("A#1[ b#2 ]", "A#1[ b#2 c#3 ]"));
  EXPECT_FALSE(equal("A#1[ b#2[ ] ]", "A#1[ b#2 ]"));
  EXPECT_FALSE(equal("a#-", "a#-"));
  EXPECT_FALSE(equal("a#1", "a#-"));
  EXPECT_FALSE(equal("A#1[ 5 ]", "A#1[ 5 ]"));
  EXPECT_TRUE(equal("!A#1[ b#2 ]", "!A#1[ c#3 ]"));
  EXPECT_FALSE(equal("!A#1[ b#2 ]", "A#1[ c#3 ]"));
  EXPECT_FALSE(equal("!A#1[ b#2 ]", "!A#2[ b#2 ]"));
}

TEST_F(Ordering, EqualityComparesTheChildrenOfFoldersWithAFalseOmitFlag) {
  for (int way = 0; way < kWaysToSayNo; ++way) {
    const PropertyList first = tree("A#1[ b#2 c#3 ]");
    const PropertyList second = tree("A#1[ c#3 b#2 ]");
    markAsShown(first, first.root.dictionary(), way);
    markAsShown(second, second.root.dictionary(), way);
    EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary(first.root.dictionary(), second.root.dictionary()));
    // One omitted folder does not suffice either.
    second.root.dictionary().set(kShouldOmitFromUIKey, second.tree->makeBoolean(true));
    EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary(first.root.dictionary(), second.root.dictionary()));
  }
}

TEST_F(Ordering, ANodeWhoseIdentifierIsNoStringIsNotEvenEqualToItself) {
  const PropertyList list = tree("A#1[ b#2 ]");
  const PropertyListDictionary root = list.root.dictionary();
  const PropertyListDictionary bookmark = childOf(root, 0);
  ASSERT_TRUE(tarvel.areBookmarksEqualInDictionaryAndDictionary(bookmark, bookmark));
  for (const PropertyListValue identifier :
       {list.tree->makeInteger(2), list.tree->makeBoolean(true), list.tree->makeDictionary().value()}) {
    bookmark.set(kWebBookmarkUUIDKey, identifier);
    EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary(bookmark, bookmark));
    EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary(root, root));
  }
}

TEST_F(Ordering, ANodeWithoutIdentifierIsNotEvenEqualToItself) {
  const PropertyList list = tree("A[ b#- ]");
  const PropertyListDictionary root = list.root.dictionary();
  EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary(root, root));
  EXPECT_FALSE(tarvel.areBookmarksEqualInDictionaryAndDictionary({}, {}));
}

TEST_F(Ordering, SwappedSiblingsWithTheSameIdentifierAreNoChange) {
  EXPECT_EQ(sortedRoot("Root[ BookmarksBar[ x ] BookmarksMenu[ b#1 a#1 ] ]", &didSort), "(same)");
  EXPECT_FALSE(didSort);
}

TEST_F(Ordering, CountIncludesBookmarksInFoldersOnly) {
  const PropertyList list = tree("A[ b C[ d e !F[ g ] ] ^H[ i ] ?j[ k ] L[ ] 5 ]");
  EXPECT_EQ(tarvel.numberOfBookmarksInDictionary(list.root.dictionary()), 4U);
  EXPECT_EQ(tarvel.numberOfBookmarksInDictionary({}), 0U);
}

TEST_F(Ordering, ANewTarvelHasEveryOptionOff) {
  EXPECT_FALSE(tarvel.arrangeFoldersAtTop());
  EXPECT_FALSE(tarvel.removeDuplicates());
  EXPECT_FALSE(tarvel.renameSamenamed());
  EXPECT_FALSE(tarvel.sortBookmarksBar());
  EXPECT_FALSE(tarvel.writeBackupFile());
}

/// Keeps the titles of each call.
class RecordingCollator final : public Collator {
 public:
  explicit RecordingCollator(Collator& collator) : collator_(collator) {}
  [[nodiscard]] std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) override {
    calls.emplace_back(titles.begin(), titles.end());
    return collator_.rank(titles);
  }

  std::vector<std::vector<std::string>> calls;

 private:
  Collator& collator_;
};

Platform rankedBy(Collator& collator, const Platform& platform) {
  return {platform.propertyLists, platform.fileManager, collator,           platform.uuidSource,
          platform.systemLog,     platform.bundle,      platform.workspace, platform.clock};
}

TEST_F(Ordering, ALongTitleOfSeveralChildrenIsRankedOnce) {
  const std::string b = "b" + std::string(1000, 'x');
  const std::string a = "a" + std::string(1000, 'x');
  const std::string notation = "Menu[ c@1 " + b + "@2 " + a + "@3 " + b + "@4 c@5 " + a + "@6 ]";
  RecordingCollator collator(platform.collator);
  const Platform recorded = rankedBy(collator, platform);
  Tarvel other(recorded);
  const PropertyList list = tree(notation);
  EXPECT_EQ(text(other.sortBookmarksInDictionary(list.root.dictionary())),
            "Menu[ " + a + "@3 " + a + "@6 " + b + "@2 " + b + "@4 c@1 c@5 ]");
  ASSERT_EQ(collator.calls.size(), 1U);
  EXPECT_EQ(collator.calls[0].size(), 4U);
}

TEST_F(Ordering, TitlesOfFoldersAndBookmarksAreRankedApartWhenFoldersComeFirst) {
  RecordingCollator collator(platform.collator);
  const Platform recorded = rankedBy(collator, platform);
  Tarvel other(recorded);
  other.setArrangeFoldersAtTop(true);
  const PropertyList list = tree("Menu[ c B[ ] ^H[ ] ?j a A[ ] b ]");
  EXPECT_EQ(text(other.sortBookmarksInDictionary(list.root.dictionary())), "Menu[ ^H[ ] A[ ] B[ ] a b c ?j ]");
  EXPECT_EQ(collator.calls, (std::vector<std::vector<std::string>>{{"H"}, {"B", "A"}, {"c", "a", "b"}, {"j"}}));
}

}  // namespace
}  // namespace tarvel
