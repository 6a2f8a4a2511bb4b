#include "tools/compare/tree_matching.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/support/random_tree.h"
#include "tests/support/sanitized.h"
#include "tests/support/tree_notation.h"
#include "tools/compare/changes.h"
#include "tools/report/change_text.h"

namespace tarvel {
namespace {

TreeComparison compared(std::string_view before, std::string_view after) {
  const PropertyList earlier = tree(before);
  const PropertyList later = tree(after);
  return comparisonOf(earlier.root.dictionary(), later.root.dictionary());
}

/// The lines below the counts, as `tarvel diff` shows them.
std::string differences(std::string_view before, std::string_view after) {
  const Changes changes = changesOf(compared(before, after));
  return movesAsText(changes, Painter(false)) + otherChangesAsText(changes, Painter(false));
}

/// The lines of one folder in which one entry moved.
std::string oneMove(const std::string& folder, const std::string& line) {
  return "\nOrder of " + folder + " (1 entry moves)\n*    " + line + "\n";
}

TEST(TreeMatching, TheSameTreeHasNoDifferences) {
  const std::string_view notation = "Root[ BookmarksBar[ a F[ b ~@u ] ] BookmarksMenu[ ^p ?x c ] ]";
  EXPECT_TRUE(isUnchanged(compared(notation, notation)));
  EXPECT_EQ(differences(notation, notation), "");
}

TEST(TreeMatching, ListsTheFewestMoves) {
  EXPECT_EQ(differences("Root[ M#m[ a#1 b#2 c#3 d#4 ] ]", "Root[ M#m[ d#4 a#1 b#2 c#3 ] ]"),
            oneMove("M", "1  d (was 4)"));
}

TEST(TreeMatching, AnEntryThatMovedToItsOldPlaceIsSaidToBePassedByOthers) {
  EXPECT_EQ(differences("Root[ M#m[ k#1 l#2 x#3 b#4 c#5 ] ]", "Root[ M#m[ b#4 c#5 x#3 ] ]"),
            oneMove("M", "3  x (was 3, others moved past it)") +
                "removed “k” <http://k/> from M\nremoved “l” <http://l/> from M\n");
}

TEST(TreeMatching, AnIdentifierFindsAnEntryThatChangedInEveryOtherWay) {
  EXPECT_EQ(differences("Root[ A#a[ x@u#1 k ] B#b[ l ] ]", "Root[ A#a[ k ] B#b[ l y@v#1 ] ]"),
            oneMove("B", "2  y (from A)") + "renamed “x” to “y” in A\naddress of “x” in A: <u> became <v>\n");
}

TEST(TreeMatching, ADuplicateIdentifierMatchesNothing) {
  EXPECT_EQ(differences("Root[ M#m[ x@u#1 y@v#1 ] ]", "Root[ M#m[ y@v#1 x@u#1 ] ]"), oneMove("M", "1  y (was 2)"));
}

TEST(TreeMatching, WithoutIdentifiersTitleAndAddressInTheSameFolderCount) {
  EXPECT_EQ(differences("Root[ A#-[ x@u#- ] B#-[ x@u#- z#- ] ]", "Root[ A#-[ x@u#- ] B#-[ z#- x@u#- ] ]"),
            oneMove("B", "1  z (was 2)"));
}

TEST(TreeMatching, ABookmarkIsFoundInAnotherFolderByItsAddress) {
  EXPECT_EQ(differences("Root[ A#a[ x@u#- k ] B#b[ l ] ]", "Root[ A#a[ k ] B#b[ l y@u#- ] ]"),
            oneMove("B", "2  y (from A)") + "renamed “x” to “y” in A\n");
}

TEST(TreeMatching, AFolderWithAnotherTitleAndIdentifierIsMatchedByItsContents) {
  EXPECT_EQ(differences("Root[ Old#1[ G#2[ x@u#- y@v#- ] ] ]", "Root[ New#8[ H#9[ x@u#- y@v#- ] ] ]"),
            "renamed “Old” to “New” in the top level\nrenamed “G” to “H” in Old\n");
}

TEST(TreeMatching, ABookmarkWithAnotherAddressIsMatchedByItsTitleInItsFolder) {
  EXPECT_EQ(differences("Root[ M#m[ x@u#- ] ]", "Root[ M#m[ x@v#- ] ]"), "address of “x” in M: <u> became <v>\n");
}

TEST(TreeMatching, AnEntryOnOneSideWasRemovedOrAdded) {
  EXPECT_EQ(differences("Root[ M#m[ a#1 F[ b@u ] ] ]", "Root[ M#m[ a#1 c@v ] ]"),
            "removed “F” from M\nremoved “b” <u> from M / F\nadded   “c” <v> to M\n");
}

TEST(TreeMatching, AnUntitledEntryThatHasATitleLaterWasNamed) {
  EXPECT_EQ(differences("Root[ M#m[ ~@u#1 ] ]", "Root[ M#m[ n@u#1 ] ]"), "named   “n”, which had no title, in M\n");
}

TEST(TreeMatching, ARemovedTitleIsListed) {
  EXPECT_EQ(differences("Root[ M#m[ n@u#1 ] ]", "Root[ M#m[ ~@u#1 ] ]"), "renamed “n” to no title in M\n");
}

TEST(TreeMatching, TextsThatDifferOnlyNearTheirEndsStillDiffer) {
  const std::string head(5000, 'x');
  const TreeComparison comparison = compared("Root[ M#m[ " + head + "a@u#1 ] ]", "Root[ M#m[ " + head + "b@u#1 ] ]");
  EXPECT_EQ(comparison.count(kEntryRenamed), 1U);
}

TEST(TreeMatching, EntriesOfDifferentKindsNeverMatch) {
  const TreeComparison comparison = compared("Root[ M#m[ x#1[ a ] ] ]", "Root[ M#m[ x@u#1 ] ]");
  EXPECT_EQ(comparison.count(kEntryRemoved), 2U);
  EXPECT_EQ(comparison.count(kEntryAdded), 1U);
}

TEST(TreeMatching, AnEmptyTreeHasNoEntries) {
  EXPECT_TRUE(isUnchanged(comparisonOf({}, {})));
  const PropertyList one = tree("Root[ a ]");
  EXPECT_EQ(comparisonOf(one.root.dictionary(), {}).count(kEntryRemoved), 1U);
}

/// What holds for any two trees.
void expectSound(const TreeComparison& comparison) {
  std::set<std::size_t> taken;
  for (std::size_t i = 0; i < comparison.before.size(); ++i) {
    const TreeEntry& entry = comparison.before[i];
    ASSERT_EQ((entry.changes & kEntryRemoved) != 0, entry.counterpart == kNoEntry);
    if (entry.counterpart == kNoEntry) continue;
    ASSERT_TRUE(taken.insert(entry.counterpart).second);
    const TreeEntry& other = comparison.after[entry.counterpart];
    ASSERT_EQ(other.counterpart, i);
    ASSERT_EQ(other.kind, entry.kind);
    ASSERT_EQ(other.changes, entry.changes);
    ASSERT_EQ((entry.changes & (kEntryRenamed | kEntryNamed)) == 0,
              entry.title == other.title && entry.hasTitle == other.hasTitle);
    ASSERT_EQ((entry.changes & kEntryReaddressed) == 0, entry.address == other.address);
  }
  // A bookmark is never gone and new at once.
  std::map<std::string, int> gone;
  for (const TreeEntry& entry : comparison.before) {
    if (entry.kind == EntryKind::kBookmark && entry.counterpart == kNoEntry && !entry.address.empty()) {
      ++gone[entry.address];
    }
  }
  for (const TreeEntry& entry : comparison.after) {
    if (entry.kind == EntryKind::kBookmark && entry.counterpart == kNoEntry) {
      ASSERT_FALSE(gone.contains(entry.address));
    }
  }
}

TEST(TreeMatching, AnyTwoTreesAreMatchedOneToOne) {
  for (std::uint32_t seed = 0; seed < casesOf(60); ++seed) {
    const PropertyList first = randomBookmarks(seed);
    const PropertyList second = randomBookmarks(seed + 1);
    const TreeComparison comparison = comparisonOf(first.root.dictionary(), second.root.dictionary());
    ASSERT_NO_FATAL_FAILURE(expectSound(comparison)) << "seed " << seed;
    const PropertyList again = randomBookmarks(seed);
    ASSERT_TRUE(isUnchanged(comparisonOf(first.root.dictionary(), again.root.dictionary()))) << "seed " << seed;
  }
}

}  // namespace
}  // namespace tarvel
