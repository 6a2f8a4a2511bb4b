#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/random_tree.h"
#include "tests/support/sanitized.h"
#include "tests/support/tree_notation.h"
#include "tests/tools/captured_output.h"
#include "tools/compare/changes.h"
#include "tools/compare/tree_matching.h"
#include "tools/report/change_json.h"
#include "tools/report/change_text.h"
#include "tools/terminal/answer.h"

namespace tarvel {
namespace {

using Json = Answer::Json;

TreeComparison compared(std::string_view before, std::string_view after) {
  const PropertyList earlier = tree(before);
  const PropertyList later = tree(after);
  return comparisonOf(earlier.root.dictionary(), later.root.dictionary());
}

Json jsonOf(const TreeComparison& comparison) {
  const Captured captured;
  OutputOptions options;
  options.isJson = true;
  Answer answer("diff", options);
  setChanges(answer, comparison);
  EXPECT_EQ(answer.end(0), 0);
  return Json::parse(captured.output.str());
}

Json jsonOf(std::string_view before, std::string_view after) { return jsonOf(compared(before, after)); }

std::vector<std::string> keysOf(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

TEST(ChangeJson, HasItsFieldsInOrderAlsoWhenNothingDiffers) {
  const Json json = jsonOf("Root[ a#1 ]", "Root[ a#1 ]");
  EXPECT_EQ(keysOf(json), (std::vector<std::string>{"schema", "command", "exitStatus", "message", "counts", "moved",
                                                    "removed", "added", "renamed", "named", "readdressed"}));
  EXPECT_EQ(json["counts"].dump(), R"({"moved":0,"removed":0,"added":0,"renamed":0,"named":0,"readdressed":0})");
}

TEST(ChangeJson, AnEntryHasFolderPlaceKindTitleAndAddressAndPlacesCountFromOne) {
  const Json json = jsonOf("Root[ M#m[ F#f[ k#k x@u ] ] ]", "Root[ M#m[ F#f[ k#k ] ] ]");
  EXPECT_EQ(
      json["removed"].dump(),
      R"([{"folder":["M","F"],"place":2,"kind":"bookmark","title":"x","address":"u","reason":null,"kept":null}])");
  for (const char* other : {"moved", "added", "renamed", "named", "readdressed"}) EXPECT_TRUE(json[other].empty());
}

TEST(ChangeJson, AnEntryOfBothTreesIsAPair) {
  const Json json = jsonOf("Root[ A#a[ x@u#1 k#k ] B#b[ l#l ] ]", "Root[ A#a[ k#k ] B#b[ l#l y@v#1 ] ]");
  const Json expected =
      Json::parse(R"([{"before":{"folder":["A"],"place":1,"kind":"bookmark","title":"x","address":"u"},)"
                  R"("after":{"folder":["B"],"place":2,"kind":"bookmark","title":"y","address":"v"}}])");
  EXPECT_EQ(json["moved"], expected);
  EXPECT_EQ(json["renamed"], expected);
  EXPECT_EQ(json["readdressed"], expected);
}

TEST(ChangeJson, WhatIsAbsentIsNull) {
  const Json json = jsonOf("Root[ ~@u#1 \"\"@v#2 F#3[ x ] ]", "Root[ n@u#1 m@v#2 ]");
  ASSERT_EQ(json["named"].size(), 1U);
  EXPECT_TRUE(json["named"][0]["before"]["title"].is_null());
  EXPECT_EQ(json["named"][0]["after"]["title"], "n");
  EXPECT_EQ(json["renamed"][0]["before"]["title"], "");
  EXPECT_TRUE(json["removed"][0]["address"].is_null());
}

TEST(ChangeJson, EveryKindHasItsName) {
  const Json json = jsonOf("Root[ ]", "Root[ b@u F[ x ] ^p ?q ]");
  std::vector<std::string> kinds;
  for (const Json& entry : json["added"]) kinds.push_back(entry["kind"]);
  EXPECT_EQ(kinds, (std::vector<std::string>{"bookmark", "folder", "bookmark", "proxy", "other"}));
}

TEST(ChangeJson, ItsListsAreAsLongAsTheCounts) {
  for (std::uint32_t seed = 0; seed < casesOf(40); ++seed) {
    const PropertyList first = randomBookmarks(seed);
    const PropertyList second = randomBookmarks(seed + 1);
    const TreeComparison comparison = comparisonOf(first.root.dictionary(), second.root.dictionary());
    const Json json = jsonOf(comparison);
    const Changes changes = changesOf(comparison);
    for (const auto& [name, count] : json["counts"].items()) ASSERT_EQ(json[name].size(), count.get<std::size_t>());
    ASSERT_EQ(json["counts"]["moved"], changes.movedCount);
    ASSERT_EQ(json["counts"]["removed"], changes.removedCount);
    ASSERT_EQ(json["counts"]["added"], changes.addedCount);
    ASSERT_EQ(json["counts"]["renamed"], changes.renamedCount);
    ASSERT_EQ(json["counts"]["named"], changes.namedCount);
    ASSERT_EQ(json["counts"]["readdressed"], changes.readdressedCount);
  }
}

TEST(ChangeText, TheSummaryHasNoCountsOfZero) {
  EXPECT_EQ(summaryOf(changesOf(compared("Root[ a#1 b#2 ]", "Root[ b#2 a#1 ]"))), "1 entry moved in 1 folder.");
  EXPECT_EQ(summaryOf(changesOf(
                compared("Root[ M#m[ a#1 b#2 c@w#3 ~@u#4 e@u#5 x ] ]", "Root[ M#m[ c2@w#3 b#2 a#1 n@u#4 e@v#5 y ] ]"))),
            "2 entries moved in 1 folder, 1 removed, 1 added, 1 renamed, 1 named, 1 with another address.");
  EXPECT_EQ(summaryOf(changesOf(compared("Root[ a#1 b#2 ]", "Root[ a#1 ]"))), "1 entry removed.");
  EXPECT_EQ(summaryOf(changesOf(compared("Root[ a#1 ]", "Root[ a#1 ]"))), "");
}

TEST(ChangeText, ListsOnlyMovedEntriesUnlessAllAreAskedFor) {
  const TreeComparison comparison = compared("Root[ M#m[ a#1 b#2 c#3 ] ]", "Root[ M#m[ c#3 a#1 b#2 ] ]");
  EXPECT_EQ(movesAsText(changesOf(comparison), Painter(false)), "\nOrder of M (1 entry moves)\n*    1  c (was 3)\n");
  EXPECT_EQ(movesAsText(changesOf(comparison, OrderDetail::kAll), Painter(false)),
            "\nOrder of M (1 entry moves)\n*    1  c (was 3)\n     2  a\n     3  b\n");
}

TEST(ChangeText, ACutListSaysHowManyAreMissing) {
  Changes changes;
  changes.removedCount = 3;
  changes.removed.push_back({{"M"}, "x", "u", AbsenceReason::kNoAddress, "", {}});
  EXPECT_EQ(otherChangesAsText(changes, Painter(false)),
            "removed “x” <u> from M: no address\n... and 2 more removed\n");
}

TEST(ChangeText, SaysWhatWaitsForTheNextChangeOfOrder) {
  Changes changes;
  EXPECT_EQ(waitingSummaryOf(changes), "");
  changes.removedCount = 1;
  EXPECT_EQ(waitingSummaryOf(changes), "1 removal waits for the next change of order.");
  changes.renamedCount = 1;
  changes.namedCount = 1;
  EXPECT_EQ(waitingSummaryOf(changes), "1 removal and 2 new titles wait for the next change of order.");
}

TEST(ChangeText, NoTitleOrAddressSteersTheTerminal) {
  TreeComparison comparison = compared("Root[ M#m[ x@u#1 gone@g#2 ] ]", "Root[ M#m[ y@v#1 new@n#3 ] ]");
  for (EntryTree* tree : {&comparison.before, &comparison.after}) {
    for (TreeEntry& entry : *tree) {
      for (std::string* own : {&entry.title, &entry.address, &entry.otherTitle, &entry.otherAddress}) {
        *own = "\x1B[2J\n\u202E\xC2\x9B\xED\xC0\x1B";
      }
    }
  }
  const Changes changes = changesOf(comparison);
  const std::string text = movesAsText(changes, Painter(false)) + otherChangesAsText(changes, Painter(false));
  for (const char c : text) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
  EXPECT_EQ(text.find("\u202E"), std::string::npos);
  EXPECT_EQ(text.find("\xC2\x9B"), std::string::npos);
  // A line for each of removed, added, renamed and readdressed.
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4);
}

}  // namespace
}  // namespace tarvel
