#include <gtest/gtest.h>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

struct Cleaning : testing::Test, EngineFixture {};

TEST_F(Cleaning, FolderWhoseOnlyBookmarkHasABlankAddressGoesWithIt) {
  EXPECT_EQ(cleaned("Menu[ a F[ b@\" \t \" ] ]"), "Menu[ a ]");
}

TEST_F(Cleaning, EmptyFoldersGoAtAnyDepth) {
  EXPECT_EQ(cleaned("Menu[ a B[ C[ ] D[ E[ ] ] ] F[ g H[ ] ] ]"), "Menu[ a F[ g ] ]");
}

TEST_F(Cleaning, BookmarkWithoutAddressGoes) { EXPECT_EQ(cleaned("Menu[ a b@ ]"), "Menu[ a ]"); }

TEST_F(Cleaning, LineBreaksAreNoWhiteSpaceInAnAddress) {
  EXPECT_EQ(cleaned("Menu[ a@\"\n\" b@\"\xC2\xA0\xE3\x80\x80\" c@\"\xE2\x80\x8B\" ]"),
            "Menu[ a@\"\n\" c@\xE2\x80\x8B ]");
}

TEST_F(Cleaning, ProxiesAndUntypedNodesAreNeverRemoved) {
  EXPECT_EQ(cleaned("Menu[ ^p ^q[ ] ?u ?v[ ] 5 ]"), "Menu[ ^p ^q[ ] ?u ?v[ ] 5 ]");
}

TEST_F(Cleaning, OfDuplicatesInOneFolderTheLaterSurvives) {
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

TEST_F(Cleaning, AddressesAreComparedUntrimmed) {
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ a@u b@\"u \" ]"), "Menu[ a@u b@\"u \" ]");
}

TEST_F(Cleaning, WithoutRemovingDuplicatesTheyStayButBlankAndEmptyStillGo) {
  EXPECT_EQ(cleaned("Menu[ a@u b@u c@ D[ ] ]"), "Menu[ a@u b@u ]");
}

TEST_F(Cleaning, ThreeSameNamedSiblingsEndWithTheLastKeepingItsName) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a News@b News@c ]"), "Menu[ \"News 2 3\"@a \"News 2\"@b News@c ]");
}

TEST_F(Cleaning, TitlesThatDifferInCaseAreKept) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a news@b ]"), "Menu[ News@a news@b ]");
}

TEST_F(Cleaning, CandidatesThatAreTakenArePassedOver) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ News@a News@b \"News 2\"@c News@d ]"),
            "Menu[ \"News 2 3 4\"@a \"News 2 3\"@b \"News 2\"@c News@d ]");
}

TEST_F(Cleaning, ANameGivenToOneSiblingIsTakenForTheNext) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ \"News 2\"@a News@b News@c ]"), "Menu[ \"News 2 2\"@a \"News 2\"@b News@c ]");
}

TEST_F(Cleaning, FoldersBookmarksAndProxiesShareOneSetOfTitles) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ X@a X[ x ] ^X ]"), "Menu[ \"X 2 3\"@a \"X 2\"[ x ] ^X ]");
}

TEST_F(Cleaning, EqualTitlesInDifferentFoldersAreLeftAlone) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ X[ a@1 ] Y[ a@2 ] a@3 ]"), "Menu[ X[ a@1 ] Y[ a@2 ] a@3 ]");
}

TEST_F(Cleaning, ARemovedChildTakesNoPartInRenaming) {
  tarvel.setRenameSamenamed(true);
  tarvel.setRemoveDuplicates(true);
  EXPECT_EQ(cleaned("Menu[ X@u X@u ]"), "Menu[ X@u ]");
  EXPECT_EQ(cleaned("Menu[ X@u X@ ]"), "Menu[ X@u ]");
}

TEST_F(Cleaning, TwoUntitledFoldersBothGetTheSameName) {
  tarvel.setRenameSamenamed(true);
  EXPECT_EQ(cleaned("Menu[ ~[ a ] ~[ b ] ]"), "Menu[ \"No Name\"[ a ] \"No Name\"[ b ] ]");
}

TEST_F(Cleaning, ALaterRunRenamesOneOfTwoFoldersNamedInTheSameRun) {
  tarvel.setRenameSamenamed(true);
  const PropertyList list = tree("Menu[ ~[ a ] ~[ b ] ]");
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  tarvel.validateBookmarksInRootNode(list.root.dictionary());
  EXPECT_EQ(text(list), "Menu[ \"No Name 2\"[ a ] \"No Name\"[ b ] ]");
}

TEST_F(Cleaning, AnUntitledBookmarkTakesItsAddressUntrimmed) {
  EXPECT_EQ(cleaned("Menu[ ~@\" http://x \" ]"), "Menu[ \" http://x \"@\" http://x \" ]");
}

TEST_F(Cleaning, UntitledNodesAreNamedWhateverTheOptionSays) {
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

TEST_F(Cleaning, ChildrenOfAWrongTypeAreNone) {
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

TEST_F(Cleaning, ManySameNamedSiblingsGoOnWhereTheChainEnded) {
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

TEST_F(Cleaning, NewIdentifierReplacesTheOldInCanonicalForm) {
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
