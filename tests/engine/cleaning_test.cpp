#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "engine/conditional_insert.h"
#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

struct Cleaning : testing::Test, EngineFixture {
  /// The title given to a bookmark titled "News" after its siblings used every counter below `next`. `titles` are
  /// taken, in addition to "News".
  std::string renamedWithCounter(std::uint64_t next, const std::vector<std::string>& titles = {}) {
    taken = titles;
    node = tree("News@u");
    lookupSet = TitleLookupSet(8, ListTextHash());
    lookupSet.titles.insert("News");
    for (const std::string& title : taken) lookupSet.titles.insert(title);
    lookupSet.chains.insert_or_assign("News", RenamingChain{next, "News"});
    tarvel.setRenameSamenamed(true);
    tarvel.validateBookmarkNodeTitleUseDuplicateTitleLookupSet(node.root.dictionary(), lookupSet);
    return std::string(*tarvel.titleFromBookmarkNode(node.root.dictionary()));
  }

  // The set borrows its titles.
  std::vector<std::string> taken;
  PropertyList node;
  TitleLookupSet lookupSet{8, ListTextHash()};
};

TEST_F(Cleaning, AFolderIsRemovedWithItsOnlyBookmarkIfThatHasABlankAddress) {
  EXPECT_EQ(cleaned("Menu[ a F[ b@\" \t \" ] ]"), "Menu[ a ]");
}

TEST_F(Cleaning, EmptyFoldersAreRemovedAtAnyDepth) {
  EXPECT_EQ(cleaned("Menu[ a B[ C[ ] D[ E[ ] ] ] F[ g H[ ] ] ]"), "Menu[ a F[ g ] ]");
}

TEST_F(Cleaning, ABookmarkWithoutAnAddressIsRemoved) { EXPECT_EQ(cleaned("Menu[ a b@ ]"), "Menu[ a ]"); }

TEST_F(Cleaning, LineBreaksAreNotWhiteSpaceInAnAddress) {
  EXPECT_EQ(cleaned("Menu[ a@\"\n\" b@\"\xC2\xA0\xE3\x80\x80\" c@\"\xE2\x80\x8B\" ]"),
            "Menu[ a@\"\n\" c@\xE2\x80\x8B ]");
}

TEST_F(Cleaning, ProxiesAndUntypedNodesAreNeverRemoved) {
  EXPECT_EQ(cleaned("Menu[ ^p ^q[ ] ?u ?v[ ] 5 ]"), "Menu[ ^p ^q[ ] ?u ?v[ ] 5 ]");
}

TEST_F(Cleaning, NothingInsideAProxyIsCleaned) {
  tarvel.setRemoveDuplicates(true);
  tarvel.setRenameSamenamed(true);
  const char* content = "Menu[ ^p[ a@ a@u a@u B[ ] ~@u ] ]";
  EXPECT_EQ(cleaned(content), content);
}

TEST_F(Cleaning, NothingInsideAnUntypedNodeIsCleaned) {
  tarvel.setRemoveDuplicates(true);
  tarvel.setRenameSamenamed(true);
  const char* content = "Menu[ ?p[ a@ a@u a@u B[ ] ~@u ] ]";
  EXPECT_EQ(cleaned(content), content);
}

TEST_F(Cleaning, OfDuplicatesInOneFolderTheLastSurvives) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ a@u b@v c@u ]"), "Menu[ b@v c@u ]");
}

TEST_F(Cleaning, OfDuplicatesAcrossFoldersTheLastInDocumentOrderSurvives) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ a@u F[ b@u G[ c@u ] x ] d@w ]"), "Menu[ F[ G[ c@u ] x ] d@w ]");
  EXPECT_EQ(cleaned("Menu[ F[ b@u x ] a@u ]"), "Menu[ F[ x ] a@u ]");
}

TEST_F(Cleaning, AddressesThatDifferInCaseOrATrailingSlashAreDifferent) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ a@http://x b@http://X c@http://x/ ]"), "Menu[ a@http://x b@http://X c@http://x/ ]");
}

TEST_F(Cleaning, AddressesAreComparedWithoutTrimming) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ a@u b@\"u \" ]"), "Menu[ a@u b@\"u \" ]");
}

TEST_F(Cleaning, WithoutTheOptionDuplicatesStayButBlankAndEmptyEntriesAreRemoved) {
  EXPECT_EQ(cleaned("Menu[ a@u b@u c@ D[ ] ]"), "Menu[ a@u b@u ]");
}

TEST_F(Cleaning, OfSameNamedSiblingsTheLastKeepsItsTitle) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a News@b News@c ]"), "Menu[ \"News 2 3\"@a \"News 2\"@b News@c ]");
}

TEST_F(Cleaning, TitlesThatDifferInCaseAreKept) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a news@b ]"), "Menu[ News@a news@b ]");
}

TEST_F(Cleaning, CandidatesThatAreTakenAreSkipped) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a News@b \"News 2\"@c News@d ]"),
            "Menu[ \"News 2 3 4\"@a \"News 2 3\"@b \"News 2\"@c News@d ]");
}

TEST_F(Cleaning, ATitleGivenToOneSiblingIsTakenForTheNext) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ \"News 2\"@a News@b News@c ]"), "Menu[ \"News 2 2\"@a \"News 2\"@b News@c ]");
}

TEST_F(Cleaning, FoldersBookmarksAndProxiesMustNotShareATitle) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ X@a X[ x ] ^X ]"), "Menu[ \"X 2 3\"@a \"X 2\"[ x ] ^X ]");
}

TEST_F(Cleaning, EqualTitlesInDifferentFoldersAreLeftAlone) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ X[ a@1 ] Y[ a@2 ] a@3 ]"), "Menu[ X[ a@1 ] Y[ a@2 ] a@3 ]");
}

TEST_F(Cleaning, ARemovedChildDoesNotCauseRenaming) {
  tarvel.setRenameSamenamed(true);
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ X@u X@u ]"), "Menu[ X@u ]");
  EXPECT_EQ(cleaned("Menu[ X@u X@ ]"), "Menu[ X@u ]");
}

TEST_F(Cleaning, TwoUntitledFoldersGetTheSameTitle) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ ~[ a ] ~[ b ] ]"), "Menu[ \"No Name\"[ a ] \"No Name\"[ b ] ]");
}

TEST_F(Cleaning, ATitleGivenToAnUntitledEntryIsNotTakenForItsSiblings) {
  tarvel.setRenameSamenamed(true);
  // Children are visited from the last to the first, so the untitled ones are named first.
  EXPECT_EQ(cleaned("Menu[ \"No Name\"[ a ] ~[ b ] ]"), "Menu[ \"No Name\"[ a ] \"No Name\"[ b ] ]");
  EXPECT_EQ(cleaned("Menu[ u@v ~@u ]"), "Menu[ u@v u@u ]");
}

TEST_F(Cleaning, AFolderWhoseTitleIsInItsUriDictionaryIsNotUntitled) {
  const PropertyList list = tree("Menu[ ~[ a ] ]");
  const PropertyListDictionary folder = list.root.dictionary().array(kChildrenKey).at(0).dictionary();
  const PropertyListDictionary uri = list.tree->makeDictionary();
  uri.setString(kURITitleKey, "inner");
  folder.set(kURIDictionaryKey, uri.value());
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  EXPECT_EQ(text(list), "Menu[ inner[ a ] ]");
}

TEST_F(Cleaning, TheNextRunRenamesOneOfTwoFoldersNamedInTheSameRun) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Menu[ ~[ a ] ~[ b ] ]");
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  EXPECT_EQ(text(list), "Menu[ \"No Name 2\"[ a ] \"No Name\"[ b ] ]");
}

TEST_F(Cleaning, AnUntitledBookmarkIsTitledWithItsUntrimmedAddress) {
  EXPECT_EQ(cleaned("Menu[ ~@\" http://x \" ]"), "Menu[ \" http://x \"@\" http://x \" ]");
}

TEST_F(Cleaning, AnUntitledBookmarkSharesItsAddressInsteadOfCopyingIt) {
  const PropertyList list = tree("Menu[ ~@http://x ]");
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  const PropertyListDictionary leaf = list.root.dictionary().array(kChildrenKey).at(0).dictionary();
  const PropertyListValue title =
      leaf.dictionary(kURIDictionaryKey) ? leaf.dictionary(kURIDictionaryKey).get(kURITitleKey) : leaf.get(kTitleKey);
  EXPECT_EQ(title, leaf.get(kURLStringKey));
}

TEST_F(Cleaning, UntitledNodesAreNamedEvenWithTheOptionOff) {
  EXPECT_EQ(cleaned("Menu[ ~@u ~[ a ] ^~ ?~ ]"), "Menu[ u@u \"No Name\"[ a ] ^\"No Name\" ?\"No Name\" ]");
}

TEST_F(Cleaning, AnEmptyTitleIsATitle) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ \"\"@a \"\"@b ]"), "Menu[ \" 2\"@a \"\"@b ]");
}

TEST_F(Cleaning, RootStaysWhenAllItsChildrenAreRemoved) { EXPECT_EQ(cleaned("Menu[ a@ B[ ] ]"), "Menu[ ]"); }

TEST_F(Cleaning, RootIsNeitherNamedNorRemoved) {
  EXPECT_EQ(cleaned("~[ ]"), "~[ ]");
  EXPECT_EQ(cleaned("a@"), "a@");
}

TEST_F(Cleaning, ATitleInBothPlacesIsCopiedToTheUriDictionary) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Menu[ inner ]");
  const PropertyListDictionary leaf = list.root.dictionary().array(kChildrenKey).at(0).dictionary();
  leaf.setString(kTitleKey, "outer");
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  EXPECT_EQ(leaf.dictionary(kURIDictionaryKey).string(kURITitleKey), "outer");
  EXPECT_EQ(leaf.string(kTitleKey), "outer");
}

TEST_F(Cleaning, OmittedFoldersInsideATreeAreCleanedLikeOthers) {
  EXPECT_EQ(cleaned("Menu[ !H[ ] !I[ a b@ ] ]"), "Menu[ !I[ a ] ]");
}

TEST_F(Cleaning, ChildrenOfTheWrongTypeCountAsNone) {
  const PropertyList list = tree("Menu[ F[ a ] b ]");
  list.root.dictionary().array(kChildrenKey).at(0).dictionary().setString(kChildrenKey, "text");
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  EXPECT_EQ(text(list), "Menu[ b ]");
}

TEST_F(Cleaning, NoAddressIsStale) {
  EXPECT_FALSE(tarvel.isStaleResource("http://gone.example/"));
  EXPECT_FALSE(tarvel.isStaleResource(""));
}

TEST_F(Cleaning, UntitledNameIsLookedUpInTheBundle) { EXPECT_EQ(tarvel.nameForUntitledBookmarkNode(), "No Name"); }

TEST_F(Cleaning, RenamingContinuesWhereTheChainOfCandidatesEnded) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Menu[ ]");
  const PropertyListArray children = list.root.dictionary().array(kChildrenKey);
  for (int i = 0; i < 3000; ++i) children.append(treeIn(*list.tree, "News@u" + std::to_string(i)).value());
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  const auto titleAt = [&](std::size_t i) { return *tarvel.titleFromBookmarkNode(children.at(i).dictionary()); };
  EXPECT_EQ(titleAt(2999), "News");
  EXPECT_EQ(titleAt(2998), "News 2");
  EXPECT_EQ(titleAt(2996), "News 2 3 4");
  EXPECT_TRUE(titleAt(0).ends_with(" 2999 3000"));
}

TEST_F(Cleaning, SiblingsWhoseNewTitlesWouldTakeTooMuchMemoryKeepTheirTitleWithOneWarning) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Menu[ ]");
  const PropertyListArray children = list.root.dictionary().array(kChildrenKey);
  for (int i = 0; i < 20'000; ++i) children.append(treeIn(*list.tree, "News@u" + std::to_string(i)).value());
  // A short title in another folder still fits.
  children.append(treeIn(*list.tree, "Zoo[ a@v1 a@v2 ]").value());
  EXPECT_NO_THROW(tarvel.validateBookmarksInRootNode(list.root.dictionary()));
  const auto titleAt = [&](std::size_t i) { return *tarvel.titleFromBookmarkNode(children.at(i).dictionary()); };
  EXPECT_EQ(children.size(), 20'001U);
  EXPECT_EQ(titleAt(19'999), "News");
  EXPECT_EQ(titleAt(19'998), "News 2");
  EXPECT_TRUE(titleAt(17'000).ends_with(" 2999 3000"));
  EXPECT_EQ(titleAt(0), "News");
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < 20'000; ++i) bytes += titleAt(i).size();
  // New titles, and unchanged ones.
  EXPECT_LT(bytes, (std::size_t{32} << 20) + 20'000 * 4);
  EXPECT_EQ(text(children.at(20'000).dictionary()), "Zoo[ \"a 2\"@v1 a@v2 ]");
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_TRUE(memory.systemLog.lines()[0].starts_with("WARNING: some entries keep the title of a sibling"));
}

TEST_F(Cleaning, EveryCallHasItsOwnMemoryLimitForTitles) {
  tarvel.setRenameSamenamed(true);
  const std::string title(std::size_t{10} << 20, 'x');
  for (int call = 0; call < 5; ++call) {
    const PropertyList list = tree("Menu[ a@1 a@2 ]");
    const PropertyListArray children = list.root.dictionary().array(kChildrenKey);
    for (std::size_t i = 0; i < 2; ++i) {
      children.at(i).dictionary().dictionary(kURIDictionaryKey).setString(kURITitleKey, title);
    }
    ASSERT_NO_THROW(tarvel.validateBookmarksInRootNode(list.root.dictionary()));
    ASSERT_EQ(tarvel.titleFromBookmarkNode(children.at(0).dictionary())->size(), title.size() + 2) << call;
  }
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Cleaning, TheCounterOfTitlesWrapsAroundWithAWarningAndASuffix) {
  constexpr std::uint64_t kLast = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(renamedWithCounter(kLast), "News 18446744073709551615 1");
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  const std::string& line = memory.systemLog.lines()[0];
  EXPECT_TRUE(
      line.starts_with("WARNING: assigning a possibly non-unique title “News 18446744073709551615 1” for "
                       "bookmark node: {"))
      << line;
  EXPECT_NE(line.find("URLString = u"), std::string::npos) << line;
  EXPECT_TRUE(lookupSet.titles.contains("News 18446744073709551615"));
  // Not added to the set, since it may not be unique.
  EXPECT_FALSE(lookupSet.titles.contains("News 18446744073709551615 1"));
}

TEST_F(Cleaning, AWrapAroundIsDetectedByTheNextCounter) {
  constexpr std::uint64_t kLast = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(renamedWithCounter(kLast, {"News 18446744073709551615"}), "News 18446744073709551615 0 1");
  EXPECT_EQ(memory.systemLog.lines().size(), 1U);
  memory.systemLog.forgetLines();
  EXPECT_EQ(renamedWithCounter(kLast, {"News 18446744073709551615", "News 18446744073709551615 0"}),
            "News 18446744073709551615 0 1");
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Cleaning, TheLastCounterBeforeTheWrapAroundNeedsNoWarning) {
  EXPECT_EQ(renamedWithCounter(std::numeric_limits<std::uint64_t>::max() - 1), "News 18446744073709551614");
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Cleaning, ANewIdentifierInCanonicalFormReplacesTheOldOne) {
  const PropertyList list = tree("Root#old[ ]");
  tarvel.updateWebBookmarkUUIDInDictionary(list.root.dictionary());
  const std::string first(*list.root.dictionary().string(kWebBookmarkUUIDKey));
  EXPECT_EQ(first.size(), 36U);
  for (std::size_t i = 0; i < first.size(); ++i) {
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    EXPECT_TRUE(isDash ? first[i] == '-'
                       : std::string_view("0123456789ABCDEF").find(first[i]) != std::string_view::npos)
        << first;
  }
  tarvel.updateWebBookmarkUUIDInDictionary(list.root.dictionary());
  EXPECT_NE(list.root.dictionary().string(kWebBookmarkUUIDKey), first);
}

}  // namespace
}  // namespace tarvel
