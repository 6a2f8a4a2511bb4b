#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/plist/serialization.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/temporary_directory.h"
#include "tests/tools/captured_output.h"
#include "tools/compare/change_recorder.h"
#include "tools/compare/changes.h"
#include "tools/compare/sort_comparer.h"
#include "tools/files/preview_file_manager.h"
#include "tools/report/change_text.h"
#include "tools/report/property_list_json.h"
#include "tools/report/sort_report.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/terminal.h"

namespace tarvel {
namespace {

struct Reports : testing::Test, EngineFixture {
  Reports() {
    tarvel.setArrangeFoldersAtTop(true);
    tarvel.setRemoveDuplicates(true);
    tarvel.setRenameSamenamed(true);
  }

  /// What a preview would show of a tree.
  Changes sortChanges(std::string_view notation) {
    SortComparer comparer;
    sort(notation, comparer);
    Changes changes = changesOf(comparer.comparison(), OrderDetail::kAll);
    changes.isOrderChanged = comparer.isOrderChanged();
    return changes;
  }
  /// What a sort counts of it.
  Changes recordedChanges(std::string_view notation) {
    ChangeRecorder recorder;
    sort(notation, recorder);
    return recorder.changes();
  }
  void sort(std::string_view notation, SortObserver& observer) {
    const PropertyList list = tree(notation);
    memory.fileManager.putFile("/f", serialization.dataWithPropertyList(list, 200).data.joined());
    tarvel.setSortObserver(&observer);
    tarvel.setBookmarksFilename("/f");
    EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  }
};

TEST_F(Reports, AFileInOrderHasNoChanges) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ z a ] BookmarksMenu[ a b ] ]");
  EXPECT_FALSE(changes.isOrderChanged);
  EXPECT_TRUE(changes.isEmpty());
  EXPECT_TRUE(changes.ordered.empty());
}

TEST_F(Reports, ListsTheFewestMoves) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ b c d e a ] ]");
  ASSERT_EQ(changes.ordered.size(), 1U);
  EXPECT_EQ(changes.ordered[0].folder, FolderPath{"BookmarksMenu"});
  EXPECT_EQ(changes.ordered[0].movedCount, 1U);
  EXPECT_TRUE(changes.ordered[0].entries[0].isMoved);
  EXPECT_EQ(changes.ordered[0].entries[0].title, "a");
  EXPECT_EQ(changes.ordered[0].entries[0].earlierPlace, 5U);
  EXPECT_EQ(changes.movedCount, 1U);
}

TEST_F(Reports, TheTopLevelIsListedWithItsFixedEntries) {
  const Changes changes = sortChanges("Root[ b BookmarksBar[ x ] a BookmarksMenu[ y ] ]");
  ASSERT_EQ(changes.ordered.size(), 1U);
  EXPECT_TRUE(changes.ordered[0].folder.empty());
  std::vector<std::string> titles;
  for (const OrderedEntry& entry : changes.ordered[0].entries) titles.push_back(entry.title);
  EXPECT_EQ(titles, (std::vector<std::string>{"BookmarksBar", "BookmarksMenu", "a", "b"}));
}

TEST_F(Reports, ADuplicateNamesTheSurvivorInItsOwnTree) {
  const Changes changes =
      sortChanges("Root[ BookmarksBar[ bar@u ] BookmarksMenu[ z first@u F[ second@u w ] ] other@u ]");
  ASSERT_EQ(changes.removed.size(), 1U);
  EXPECT_EQ(changes.removed[0].title, "first");
  EXPECT_EQ(changes.removed[0].reason, AbsenceReason::kDuplicate);
  EXPECT_EQ(changes.removed[0].folder, FolderPath{"BookmarksMenu"});
  EXPECT_EQ(changes.removed[0].keptTitle, "second");
  EXPECT_EQ(changes.removed[0].keptFolder, (FolderPath{"BookmarksMenu", "F"}));
}

TEST_F(Reports, ADuplicateDoesNotNameABookmarkOfAReplacedBar) {
  const Changes changes =
      sortChanges("Root[ BookmarksMenu[ y ] BookmarksBar#1[ first@u second@u ] BookmarksBar#2[ spare@u ] b a ]");
  ASSERT_EQ(changes.removed.size(), 1U);
  EXPECT_EQ(changes.removed[0].keptTitle, "second");
}

TEST_F(Reports, WhatASecondBarReplacesIsRemoved) {
  constexpr std::string_view kTree =
      "Root[ BookmarksBar#1[ mine ] BookmarksBar#2[ lost F[ deep ] ] BookmarksMenu#3[ b a ] BookmarksMenu#4[ kept ] ]";
  for (const Changes& changes : {sortChanges(kTree), recordedChanges(kTree)}) {
    std::vector<std::string> gone;
    for (const RemovedEntry& entry : changes.removed) {
      EXPECT_EQ(entry.reason, AbsenceReason::kReplaced);
      std::string path;
      for (const std::string& title : entry.folder) path += title + "/";
      gone.push_back(path + entry.title);
    }
    // The second menu comes after both were placed, and stays.
    EXPECT_EQ(gone,
              (std::vector<std::string>{"BookmarksBar", "BookmarksBar/lost", "BookmarksBar/F", "BookmarksBar/F/deep"}));
    const std::string words = otherChangesAsText(changes, Painter(false));
    EXPECT_NE(words.find("removed “BookmarksBar” from the top level: the first top-level folder of this name takes its "
                         "place\n"),
              std::string::npos)
        << words;
    EXPECT_NE(
        words.find("removed “deep” <http://deep/> from BookmarksBar / F: in a top-level folder that the first one "
                   "of its name replaces\n"),
        std::string::npos)
        << words;
  }
}

TEST_F(Reports, ASecondBarThatStaysIsNotListed) {
  const Changes changes =
      sortChanges("Root[ BookmarksBar#1[ mine ] BookmarksMenu[ b a ] BookmarksBar#2[ kept@ ] BookmarksBar@u#3 ]");
  EXPECT_TRUE(changes.isOrderChanged);
  EXPECT_TRUE(changes.removed.empty());
}

TEST_F(Reports, ASortThatWritesNothingReplacesNothing) {
  const Changes changes = sortChanges("Root[ BookmarksBar#1[ x ] BookmarksBar#2[ y ] BookmarksMenu[ a b ] ]");
  EXPECT_FALSE(changes.isOrderChanged);
  EXPECT_TRUE(changes.removed.empty());
}

TEST_F(Reports, ABookmarkRemovedFromTheTopLevelIsListedOnce) {
  constexpr std::string_view kTree = "Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] BookmarksBar@u#7 z@u c@ ]";
  for (const Changes& changes : {sortChanges(kTree), recordedChanges(kTree)}) {
    EXPECT_EQ(changes.removed.size(), 2U);
    for (const RemovedEntry& entry : changes.removed) EXPECT_NE(entry.reason, AbsenceReason::kReplaced);
  }
}

TEST_F(Reports, TheContentsOfAProxyAreOrderedAndListed) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ F[ ^p[ b a ] ] ] ]");
  ASSERT_EQ(changes.ordered.size(), 1U);
  EXPECT_EQ(changes.ordered[0].folder, (FolderPath{"BookmarksMenu", "F", "p"}));
  EXPECT_EQ(changes.ordered[0].movedCount, 1U);
}

TEST_F(Reports, AnEntryOfTheTopLevelIsKnownWithoutIdentifierAndTitle) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ y ] ~#-[ k ] c#- b#- a#- ]");
  ASSERT_EQ(changes.ordered.size(), 1U);
  std::vector<std::size_t> positions;
  for (const OrderedEntry& entry : changes.ordered[0].entries)
    positions.push_back(entry.isMoved ? entry.earlierPlace : 0);
  EXPECT_EQ(std::ranges::count(positions, 0U), 4);
  EXPECT_EQ(recordedChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ y ] ~#-[ k ] c#- b#- a#- ]").movedCount, 2U);
}

TEST_F(Reports, AnOrderThatIsNotWrittenIsNotListed) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ b#same a#same ] ]");
  EXPECT_FALSE(changes.isOrderChanged);
  EXPECT_TRUE(changes.ordered.empty());
}

TEST_F(Reports, FoldersEmptiedByCleaningAreListedWithTheirContents) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ ] BookmarksMenu[ b F[ G[ x@ ] ] a ] ]");
  ASSERT_EQ(changes.removed.size(), 3U);
  EXPECT_EQ(changes.removed[0].title, "F");
  EXPECT_EQ(changes.removed[0].folder, FolderPath{"BookmarksMenu"});
  EXPECT_EQ(changes.removed[1].title, "G");
  EXPECT_EQ(changes.removed[2].folder, (FolderPath{"BookmarksMenu", "F", "G"}));
}

TEST_F(Reports, OnlyTheLastAttemptCounts) {
  ChangeRecorder recorder;
  const PropertyList list = tree("Root[ BookmarksBar[ ] BookmarksMenu[ b@ ] ]");
  tarvel.setSortObserver(&recorder);
  bool didSort = false;
  for (int i = 0; i < 3; ++i) {
    recorder.attemptBegan(list.root.dictionary());
    (void)tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
  }
  EXPECT_TRUE(recorder.changes().removed.empty());
}

TEST_F(Reports, ASortListsAtMostTwentyRemovalsAndCountsAll) {
  std::string notation = "Root[ BookmarksBar[ x ] BookmarksMenu[ b a ";
  for (int i = 0; i < 30; ++i) notation += "gone" + std::to_string(i) + "@ ";
  const Changes changes = recordedChanges(notation + "] ]");
  EXPECT_EQ(changes.removedCount, 30U);
  EXPECT_EQ(changes.removed.size(), 20U);
  EXPECT_TRUE(otherChangesAsText(changes, Painter(false)).ends_with("... and 10 more removed\n"));
}

TEST_F(Reports, APreviewAndASortCountTheSame) {
  constexpr std::string_view kTree =
      "Root[ b BookmarksBar[ x ] a BookmarksMenu[ d c@u e@u F[ g f ] News News ~@v E[ ] ] ]";
  const Changes foretold = sortChanges(kTree);
  const Changes done = recordedChanges(kTree);
  EXPECT_EQ(summaryOf(foretold), summaryOf(done));
  EXPECT_EQ(foretold.folderCount, done.folderCount);
}

TEST_F(Reports, JsonOfAnyTitleCanBeParsed) {
  const Captured captured;
  OutputOptions options;
  options.isJson = true;
  Answer answer("sort", options);
  answer["file"] = "/a\"b\n\xED\xA0\xBD";
  answer.say("\x01\"");
  EXPECT_EQ(answer.end(0), 0);
  const auto json = nlohmann::json::parse(captured.output.str());
  EXPECT_EQ(json["message"], "\x01\"");
  EXPECT_EQ(json["command"], "sort");
  EXPECT_EQ(json["exitStatus"], 0);
  EXPECT_EQ(json["schema"], Answer::kSchema);
}

TEST(Answers, MessagesGoToTheErrorOutputWithTheCommandOnTheLastLine) {
  const Captured captured;
  Answer answer("sort", {});
  EXPECT_EQ(answer.fail(5, {{"It failed.", "", kNothingChanged}, "tarvel help"}), 5);
  EXPECT_EQ(captured.output.str(), "");
  EXPECT_EQ(captured.errors.str(), "tarvel: It failed.\nNothing was changed.\n  tarvel help\n");
}

TEST(Answers, QuietLeavesAdviceOut) {
  const Captured captured;
  OutputOptions options;
  options.isQuiet = true;
  Answer answer("sort", options);
  answer.say("Done.");
  answer.hint("Next:", "tarvel status");
  EXPECT_EQ(captured.output.str(), "Done.\n");
}

TEST(Terminal, CharactersThatCouldSteerATerminalAreSpelledOut) {
  EXPECT_EQ(printable("plain ünïcode 日本 \xF0\x9F\x98\x80"), "plain ünïcode 日本 \xF0\x9F\x98\x80");
  EXPECT_EQ(printable("\x1B[31m"), "\\u{001B}[31m");
  EXPECT_EQ(printable("a\nb\tc\x7F"), "a\\u{000A}b\\u{0009}c\\u{007F}");
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m"),
            "\\u{009B}31m");
  EXPECT_EQ(printable("\xE2\x80\xAE"
                      "x"),
            "\\u{202E}x");
  EXPECT_EQ(printable("\xED\xA0\xBD"), "\\u{D83D}");
  EXPECT_EQ(printable("\xFF"), "\\u{FFFD}");
  // What only begins like a surrogate hides nothing behind it.
  EXPECT_EQ(printable("\xED\xC0\x1B[2J"), "\\u{FFFD}\\u{FFFD}\\u{001B}[2J");
  EXPECT_EQ(printable("\xED\xA0\x1B[2J"), "\\u{FFFD}\\u{FFFD}\\u{001B}[2J");
}

TEST(Terminal, ColorsAreAddedOnlyWhenAskedFor) {
  EXPECT_EQ(Painter(false).red("x"), "x");
  EXPECT_EQ(Painter(true).red("x"), "\x1B[31mx\x1B[0m");
  EXPECT_TRUE(usesColor(ColorChoice::kAlways, -1));
  EXPECT_FALSE(usesColor(ColorChoice::kNever, 1));
  EXPECT_FALSE(usesColor(ColorChoice::kAuto, -1));
}

std::string jsonOf(PropertyListValue root) {
  std::string json;
  writePropertyListAsJson(root, [&](std::string_view piece) {
    json += piece;
    return true;
  });
  return json;
}

TEST(PropertyListJson, EveryKindOfValueIsWritten) {
  PropertyListTree tree;
  const PropertyListDictionary root = tree.makeDictionary();
  const std::vector<std::uint8_t> bytes = {1, 2, 3, 4};
  root.set("z", tree.makeInteger(-1));
  root.set("big", tree.makeUnsigned(UINT64_MAX));
  root.set("real", tree.makeReal(0.5));
  root.set("nan", tree.makeReal(std::nan("")));
  root.set("date", tree.makeDate(0.5));
  root.set("far", tree.makeDate(1e18));
  root.set("data", tree.makeData(bytes));
  root.set("uid", tree.makeUid(7));
  root.set("null", tree.makeNull());
  const auto json = nlohmann::ordered_json::parse(jsonOf(root.value()));
  EXPECT_EQ(json.dump(),
            R"({"z":-1,"big":18446744073709551615,"real":0.5,"nan":"nan","date":"2001-01-01T00:00:00Z","far":1e+18,)"
            R"("data":"AQIDBA==","uid":{"CF$UID":7},"null":null})");
}

TEST(PropertyListJson, IsLaidOutAsTheLibraryLaysItOut) {
  PropertyListTree tree;
  const PropertyListArray inner = tree.makeArray(0);
  inner.append(tree.makeString("a\"b\n"));
  inner.append(tree.makeArray(0).value());
  inner.append(tree.makeDictionary().value());
  inner.append(tree.makeSet(std::vector<PropertyListValue>{tree.makeInteger(1)}));
  const PropertyListDictionary root = tree.makeDictionary();
  root.set("k", inner.value());
  root.set("uid", tree.makeUid(7));
  const std::string json = jsonOf(root.value());
  EXPECT_EQ(json, nlohmann::ordered_json::parse(json).dump(2) + "\n");
  EXPECT_EQ(jsonOf(tree.makeString("x")), "\"x\"\n");
}

TEST(PropertyListJson, ComesInPiecesUntilTheSinkRefuses) {
  PropertyListTree tree;
  const PropertyListArray root = tree.makeArray(0);
  const PropertyListValue text = tree.makeString(std::string(1000, 'x'));
  for (int i = 0; i < 1000; ++i) root.append(text);
  std::size_t largest = 0;
  std::size_t pieces = 0;
  writePropertyListAsJson(root.value(), [&](std::string_view piece) {
    largest = std::max(largest, piece.size());
    return ++pieces < 3;
  });
  EXPECT_EQ(pieces, 3U);
  EXPECT_LT(largest, 100'000U);
}

TEST_F(Reports, PathsOfDeepFoldersAreCutAtTheirOuterEnd) {
  const std::string title(600, 'f');
  std::string notation = "b@u a@u";
  for (const char letter : {'i', 'h', 'g', 'f', 'e', 'd'}) notation = letter + title + "[ " + notation + " ]";
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ " + notation + " ] ]");
  ASSERT_EQ(changes.removed.size(), 1U);
  const FolderPath expected = {"…", "g" + title, "h" + title, "i" + title};
  EXPECT_EQ(changes.removed[0].folder, expected);
  EXPECT_EQ(changes.removed[0].keptFolder, expected);
}

TEST_F(Reports, OneTopLevelAddressOfManyNamesItsSurvivorWhenNothingIsWritten) {
  const Changes changes = sortChanges("Root[ BookmarksBar[ x ] BookmarksMenu[ y ] a@u b@u c@u ]");
  EXPECT_FALSE(changes.isOrderChanged);
  ASSERT_EQ(changes.removed.size(), 2U);
  for (const RemovedEntry& entry : changes.removed) {
    EXPECT_EQ(entry.keptTitle, "c");
    EXPECT_TRUE(entry.keptFolder.empty());
  }
}

TEST(PreviewFileManager, HoldsOneFileAndWritesNothing) {
  TemporaryDirectory directory;
  directory.write("f", "bytes");
  directory.write("lock", "");
  LinuxFileManager real;
  PreviewFileManager preview(real, directory.path("f"));
  directory.write("f", "changed");
  EXPECT_TRUE(preview.fileExistsAtPath(directory.path("f")));
  EXPECT_FALSE(preview.fileExistsAtPath(directory.path("lock")));
  EXPECT_EQ(preview.contentsAtPath(directory.path("f")).data.size(), 5U);
  EXPECT_EQ(preview.modificationDateAtPath(directory.path("f")), preview.modificationDateAtPath(directory.path("f")));
  EXPECT_TRUE(preview.writeDataToPath({}, directory.path("f")).ok());
  EXPECT_FALSE(preview.writeDataToPath({}, directory.path("g")).ok());
  EXPECT_FALSE(preview.createDirectoryAtPath(directory.path("d")).ok());
  EXPECT_FALSE(preview.copyItemAtPathToPath(directory.path("f"), directory.path("g")).ok());
  EXPECT_FALSE(preview.removeItemAtPath(directory.path("f")).ok());
  EXPECT_FALSE(preview.replaceItem(directory.path("f"), directory.path("lock")).status.ok());
  EXPECT_FALSE(preview.moveItem(directory.path("f"), directory.path("g")).ok());
  EXPECT_FALSE(preview.exchangeItems(directory.path("f"), directory.path("lock")).ok());
  EXPECT_EQ(directory.read("f"), "changed");
  EXPECT_EQ(directory.entryCount(), 2U);
}

}  // namespace
}  // namespace tarvel
