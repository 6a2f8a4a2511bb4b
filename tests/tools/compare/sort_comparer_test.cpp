#include "tools/compare/sort_comparer.h"
#include "tests/support/file_contents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "engine/bookmark_node.h"
#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/random_tree.h"
#include "tests/support/sanitized.h"
#include "tests/support/tree_notation.h"
#include "tests/support/vectors.h"
#include "tools/compare/change_recorder.h"
#include "tools/compare/changes.h"
#include "tools/report/change_text.h"

namespace tarvel {
namespace {

/// The rules of a sort, as bits.
constexpr unsigned kEveryRule = 7;

struct Sorter : EngineFixture {
  explicit Sorter(unsigned rules = kEveryRule) {
    tarvel.setArrangeFoldersAtTop((rules & 1) != 0);
    tarvel.setRemoveDuplicates((rules & 2) != 0);
    tarvel.setRenameSamenamed((rules & 4) != 0);
    tarvel.setSortBookmarksBar((rules & 8) != 0);
    tarvel.setBookmarksFilename("/f");
  }

  TarvelError sort(const std::string& bytes, SortObserver& observer) {
    memory.fileManager.putFile("/f", bytes);
    tarvel.setSortObserver(&observer);
    return tarvel.sortBookmarks();
  }

  [[nodiscard]] PropertyList written() {
    return serialization.propertyListFromData(memory.fileManager.contentsAtPath("/f").data).list;
  }
};

std::string bytesOf(const PropertyList& list) {
  return PlistSerialization().dataWithPropertyList(list, 200).data.joined();
}

TreeComparison comparisonFor(std::string_view notation, unsigned rules = kEveryRule) {
  Sorter sorter(rules);
  SortComparer comparer;
  EXPECT_EQ(sorter.sort(bytesOf(tree(notation)), comparer), TarvelErrorNone);
  return comparer.comparison();
}

/// The entry of a title; a test failure when there is not exactly one.
std::size_t entryNamed(const EntryTree& tree, const std::string& title) {
  const auto isIt = [&](const TreeEntry& entry) { return entry.title == title; };
  EXPECT_EQ(std::ranges::count_if(tree, isIt), 1) << title;
  return static_cast<std::size_t>(std::ranges::find_if(tree, isIt) - tree.begin());
}

TEST(SortComparer, EachRemovalHasItsReason) {
  const TreeComparison comparison =
      comparisonFor("Root[ BookmarksBar[ k ] BookmarksMenu[ z E[ inner[ ] ] blank@ spaces@\"  \" y@u F[ a@u x ] c ] ]");
  const std::vector<std::pair<std::string, AbsenceReason>> expected = {{"E", AbsenceReason::kEmptyFolder},
                                                                       {"inner", AbsenceReason::kEmptyFolder},
                                                                       {"blank", AbsenceReason::kNoAddress},
                                                                       {"spaces", AbsenceReason::kNoAddress},
                                                                       {"y", AbsenceReason::kDuplicate}};
  EXPECT_EQ(comparison.count(kEntryRemoved), expected.size());
  for (const auto& [title, reason] : expected) {
    const std::size_t entry = entryNamed(comparison.before, title);
    EXPECT_NE(comparison.before[entry].changes & kEntryRemoved, 0) << title;
    EXPECT_EQ(comparison.removals[entry].reason, reason) << title;
  }
  const Removal& duplicate = comparison.removals[entryNamed(comparison.before, "y")];
  EXPECT_EQ(duplicate.kept, entryNamed(comparison.after, "a"));
}

TEST(SortComparer, TheSurvivorOfADuplicateIsInTheSamePartOfTheTree) {
  const TreeComparison comparison =
      comparisonFor("Root[ BookmarksBar[ b1@u b2@u ] BookmarksMenu[ z m1@u m2@u ] T[ t1@u w ] t2@u !H[ h@u ] ]");
  for (const auto& [gone, kept] :
       std::vector<std::pair<std::string, std::string>>{{"b1", "b2"}, {"m1", "m2"}, {"t1", "t2"}}) {
    const Removal& removal = comparison.removals[entryNamed(comparison.before, gone)];
    EXPECT_EQ(removal.reason, AbsenceReason::kDuplicate) << gone;
    EXPECT_EQ(removal.kept, entryNamed(comparison.after, kept)) << gone;
  }
  EXPECT_EQ(comparison.count(kEntryRemoved), 3U);
}

TEST(SortComparer, LongAddressesThatDifferAtTheirEndsHaveTheirOwnSurvivors) {
  const std::string head(3000, 'x');
  const TreeComparison comparison = comparisonFor("Root[ BookmarksBar[ k ] BookmarksMenu[ z p1@" + head + "1 q1@" +
                                                  head + "2 q2@" + head + "2 p2@" + head + "1 ] ]");
  EXPECT_EQ(comparison.removals[entryNamed(comparison.before, "p1")].kept, entryNamed(comparison.after, "p2"));
  EXPECT_EQ(comparison.removals[entryNamed(comparison.before, "q1")].kept, entryNamed(comparison.after, "q2"));
}

TEST(SortComparer, ABookmarkOutsideOfFoldersIsNotASurvivor) {
  const TreeComparison comparison =
      comparisonFor("Root[ BookmarksBar[ k ] BookmarksMenu[ z a@u b@u ^p[ deep@u ] ?q[ odd@u ] c ] ]");
  EXPECT_EQ(comparison.count(kEntryRemoved), 1U);
  EXPECT_EQ(comparison.removals[entryNamed(comparison.before, "a")].kept, entryNamed(comparison.after, "b"));
}

TEST(SortComparer, NewTitlesAreOnBothSides) {
  const TreeComparison comparison = comparisonFor("Root[ BookmarksBar[ k ] BookmarksMenu[ z News News@v ~@u ] ]");
  const std::size_t renamed = entryNamed(comparison.after, "News 2");
  const TreeEntry& earlier = comparison.before[comparison.after[renamed].counterpart];
  EXPECT_EQ(earlier.title, "News");
  EXPECT_EQ(earlier.otherTitle, "News 2");
  EXPECT_EQ(comparison.after[renamed].otherTitle, "News");
  EXPECT_NE(earlier.changes & kEntryRenamed, 0);
  const TreeEntry& named = comparison.after[entryNamed(comparison.after, "u")];
  EXPECT_NE(named.changes & kEntryNamed, 0);
  EXPECT_FALSE(comparison.before[named.counterpart].hasTitle);
  EXPECT_EQ(comparison.before[named.counterpart].otherTitle, "u");
}

TEST(SortComparer, WhenNothingWouldBeWrittenTheLaterTreeIsTheEarlierOne) {
  const TreeComparison comparison =
      comparisonFor("Root[ BookmarksBar[ k ] BookmarksMenu[ E[ ] News[ x ] a@u b@u News@m ] ]");
  EXPECT_EQ(comparison.after.size(), comparison.before.size());
  EXPECT_EQ(comparison.count(kEntryRemoved), 2U);
  EXPECT_EQ(comparison.count(kEntryRenamed), 1U);
  EXPECT_EQ(comparison.count(kEntryMoved), 0U);
  for (const TreeEntry& entry : comparison.after) EXPECT_EQ(entry.changes, 0);
  const std::size_t gone = entryNamed(comparison.before, "a");
  EXPECT_EQ(comparison.removals[gone].kept, entryNamed(comparison.after, "b"));
}

TEST(SortComparer, EntriesOfASecondBarAreReplaced) {
  const TreeComparison comparison =
      comparisonFor("Root[ BookmarksBar#1[ mine ] BookmarksBar#2[ lost ] BookmarksMenu[ b a ] ]");
  const std::size_t lost = entryNamed(comparison.before, "lost");
  EXPECT_NE(comparison.before[lost].changes & kEntryRemoved, 0);
  EXPECT_EQ(comparison.removals[lost].reason, AbsenceReason::kReplaced);
  EXPECT_EQ(comparison.removals[comparison.before[lost].parent].reason, AbsenceReason::kReplaced);
}

TEST(SortComparer, OnlyTheLastAttemptCounts) {
  Sorter sorter;
  SortComparer comparer;
  const PropertyList first = tree("Root[ BookmarksBar[ x@ ] BookmarksMenu[ b a ] ]");
  const PropertyList second = tree("Root[ BookmarksBar[ k ] BookmarksMenu[ d c ] ]");
  sorter.tarvel.setSortObserver(&comparer);
  for (const PropertyList* list : {&first, &second}) {
    bool didSort = false;
    comparer.attemptBegan(list->root.dictionary());
    const auto sorted = sorter.tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list->root.dictionary(), &didSort);
    comparer.attemptEnded(sorted, didSort);
  }
  EXPECT_EQ(comparer.comparison().count(kEntryRemoved), 0U);
  EXPECT_EQ(comparer.comparison().count(kEntryMoved), 1U);
  EXPECT_EQ(comparer.comparison().before.size(), 6U);
}

/// Title, address, kind and place of each entry.
std::vector<std::string> linesOf(const EntryTree& tree) {
  std::vector<std::string> lines;
  for (const TreeEntry& entry : tree) {
    lines.push_back(std::to_string(static_cast<int>(entry.kind)) + " " + (entry.hasTitle ? "+" : "-") + entry.title +
                    " <" + entry.address + "> " + std::to_string(entry.parent) + "/" + std::to_string(entry.place));
  }
  return lines;
}

/// The recorder counts what the comparison has, and lists the beginning of it in the same words.
void expectSameChanges(const Changes& recorded, const TreeComparison& comparison) {
  Changes compared = changesOf(comparison);
  compared.isOrderChanged = recorded.isOrderChanged;
  ASSERT_EQ(compared.renamedCount, recorded.renamedCount);
  ASSERT_EQ(compared.namedCount, recorded.namedCount);
  ASSERT_EQ(compared.removedCount, recorded.removedCount);
  // The recorder counts an entry that replaces another bar as moved.
  if (compared.addedCount == 0) {
    ASSERT_EQ(compared.movedCount, recorded.movedCount);
    ASSERT_EQ(compared.folderCount, recorded.folderCount);
  }
  const auto linesOf = [](const Changes& changes) {
    Changes listed = changes;
    listed.added.clear();
    // Lines that say how many are missing would differ.
    listed.removedCount = listed.removed.size();
    listed.renamedCount = listed.renamed.size();
    listed.namedCount = listed.named.size();
    std::multiset<std::string> lines;
    std::istringstream text(otherChangesAsText(listed, Painter(false)));
    // Of a sort that writes nothing, the survivor may have its old title or its new one.
    const bool isWhole = changes.isOrderChanged;
    for (std::string line; std::getline(text, line);)
      lines.insert(isWhole ? line : line.substr(0, line.find(": same")));
    return lines;
  };
  const std::multiset<std::string> all = linesOf(compared);
  const std::multiset<std::string> first = linesOf(recorded);
  for (const std::string& line : first) ASSERT_LE(first.count(line), all.count(line)) << line;
}

/// Removals have a reason, and duplicates a survivor with the same address.
void expectReasons(const TreeComparison& comparison) {
  for (std::size_t i = 1; i < comparison.before.size(); ++i) {
    const TreeEntry& entry = comparison.before[i];
    const Removal& removal = comparison.removals[i];
    ASSERT_EQ((entry.changes & kEntryRemoved) != 0, removal.reason != AbsenceReason::kGone) << entry.title;
    ASSERT_EQ(removal.kept != kNoEntry, removal.reason == AbsenceReason::kDuplicate) << entry.title;
    if (removal.kept == kNoEntry) continue;
    ASSERT_EQ(comparison.after[removal.kept].address, entry.address);
    ASSERT_EQ(comparison.after[removal.kept].kind, EntryKind::kBookmark);
  }
}

/// One file, sorted three times: as itself, to be reported, and to be compared. All three agree.
void expectWhatTheSortDoes(const std::string& bytes, unsigned rules) {
  SCOPED_TRACE("rules " + std::to_string(rules));
  Sorter alone(rules);
  Sorter reported(rules);
  Sorter compared(rules);
  ChangeRecorder recorder;
  SortComparer comparer;
  SortObserver nobody;
  const TarvelError code = alone.sort(bytes, nobody);
  ASSERT_EQ(reported.sort(bytes, recorder), code);
  ASSERT_EQ(compared.sort(bytes, comparer), code);
  if (code != TarvelErrorNone) return;
  const TreeComparison& comparison = comparer.comparison();
  ASSERT_EQ(comparer.isOrderChanged(), recorder.changes().isOrderChanged);
  ASSERT_EQ(
      linesOf(comparison.before),
      linesOf(entryTreeOf(PlistSerialization().propertyListFromData(Data::copyOf(bytes)).list.root.dictionary(), {})));
  ASSERT_EQ(linesOf(comparison.after), linesOf(entryTreeOf(alone.written().root.dictionary(), {})));
  ASSERT_NO_FATAL_FAILURE(expectSameChanges(recorder.changes(), comparison));
  ASSERT_NO_FATAL_FAILURE(expectReasons(comparison));
  for (std::size_t i = 1; i < comparison.before.size(); ++i) {
    const std::size_t later = comparison.before[i].counterpart;
    if (later != kNoEntry) {
      ASSERT_EQ(comparison.after[later].counterpart, i);
    }
  }
}

/// Drops elements that are not nodes: the recorder counts their moves, and a comparison has no entries for them.
void dropOddElements(PropertyListDictionary node) {
  const PropertyListArray children = node.array(kChildrenKey);
  if (children.empty()) return;
  children.retainBackwards([](PropertyListValue child) { return static_cast<bool>(child.dictionary()); });
  for (std::size_t i = 0; i < children.size(); ++i) dropOddElements(children.at(i).dictionary());
}

std::string randomBytes(std::uint32_t seed) {
  const PropertyList list = randomBookmarks(seed);
  dropOddElements(list.root.dictionary());
  return bytesOf(list);
}

TEST(SortComparer, TheComparisonOfARandomTreeIsWhatTheSortDoes) {
  std::size_t sorted = 0;
  constexpr std::uint32_t kTrees = casesOf(250);
  for (std::uint32_t seed = 0; seed < kTrees; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_NO_FATAL_FAILURE(expectWhatTheSortDoes(randomBytes(seed), seed % 16));
    ASSERT_NO_FATAL_FAILURE(expectWhatTheSortDoes(randomBytes(seed), kEveryRule));
    Sorter sorter;
    SortComparer comparer;
    if (sorter.sort(randomBytes(seed), comparer) == TarvelErrorNone) ++sorted;
  }
  EXPECT_GT(sorted, kTrees / 5 * 4);
}

std::size_t expectWhatTheSortDoesToEach(const std::string& folder) {
  std::size_t count = 0;
  for (const auto& sample : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(sample.path().filename().string());
    const std::string bytes = contentsOf(sample.path());
    for (unsigned rules = 0; rules < 16; ++rules) expectWhatTheSortDoes(bytes, rules);
    ++count;
  }
  return count;
}

TEST(SortComparer, TheComparisonOfABookmarksFileIsWhatTheSortDoes) {
  EXPECT_EQ(expectWhatTheSortDoesToEach(bookmarksFolder()), 5U);
}

TEST(SortComparer, TheComparisonOfASampleIsWhatTheSortDoes) {
  if (!samplesFolder()) GTEST_SKIP() << "other projects' files: TARVEL_SAMPLES names no folder";
  EXPECT_GT(expectWhatTheSortDoesToEach(*samplesFolder() + "/bookmarks"), 5U);
}

}  // namespace
}  // namespace tarvel
