#include "tools/compare/difference_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/random_tree.h"
#include "tests/support/tree_notation.h"
#include "tools/compare/tree_matching.h"

namespace tarvel {
namespace {

using Json = nlohmann::ordered_json;

DifferenceReport reportOf(std::string_view before, std::string_view after) {
  const PropertyList earlier = tree(before);
  const PropertyList later = tree(after);
  return {"/old", "/new", comparisonOf(earlier.root.dictionary(), later.root.dictionary())};
}

Json jsonOf(std::string_view before, std::string_view after) {
  return Json::parse(differenceAsJson(reportOf(before, after)));
}

std::vector<std::string> keysOf(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

TEST(DifferenceJson, HasItsFieldsInTheirOrderAlsoWhenNothingDiffers) {
  const Json json = jsonOf("Root[ a#1 ]", "Root[ a#1 ]");
  EXPECT_EQ(json.dump(), R"({"code":0,"old":"/old","new":"/new","same":true,"moved":[],"removed":[],"added":[],)"
                         R"("renamed":[],"named":[],"readdressed":[]})");
}

TEST(DifferenceJson, AnEntryIsItsFolderPlaceKindTitleAndAddress) {
  const Json json = jsonOf("Root[ M#m[ F#f[ k#k x@u ] ] ]", "Root[ M#m[ F#f[ k#k ] ] ]");
  EXPECT_FALSE(json["same"].get<bool>());
  EXPECT_EQ(json["removed"].dump(), R"([{"folder":["M","F"],"place":1,"kind":"bookmark","title":"x","address":"u"}])");
  for (const char* other : {"moved", "added", "renamed", "named", "readdressed"}) EXPECT_TRUE(json[other].empty());
}

TEST(DifferenceJson, WhatIsInBothTreesIsToldAsItWasAndAsItIs) {
  const Json json = jsonOf("Root[ A#a[ x@u#1 k#k ] B#b[ l#l ] ]", "Root[ A#a[ k#k ] B#b[ l#l y@v#1 ] ]");
  const Json expected =
      Json::parse(R"([{"before":{"folder":["A"],"place":0,"kind":"bookmark","title":"x","address":"u"},)"
                  R"("after":{"folder":["B"],"place":1,"kind":"bookmark","title":"y","address":"v"}}])");
  EXPECT_EQ(json["moved"], expected);
  EXPECT_EQ(json["renamed"], expected);
  EXPECT_EQ(json["readdressed"], expected);
  EXPECT_TRUE(json["named"].empty());
  EXPECT_TRUE(json["removed"].empty());
  EXPECT_TRUE(json["added"].empty());
}

TEST(DifferenceJson, NoTitleIsNullAndAnEmptyOneIsEmpty) {
  const Json json = jsonOf("Root[ ~@u#1 \"\"@v#2 ]", "Root[ n@u#1 m@v#2 ]");
  ASSERT_EQ(json["named"].size(), 1U);
  EXPECT_TRUE(json["named"][0]["before"]["title"].is_null());
  EXPECT_EQ(json["named"][0]["after"]["title"], "n");
  ASSERT_EQ(json["renamed"].size(), 1U);
  EXPECT_EQ(json["renamed"][0]["before"]["title"], "");
}

TEST(DifferenceJson, EveryKindHasItsName) {
  const Json json = jsonOf("Root[ ]", "Root[ b@u F[ x ] ^p ?q ]");
  std::vector<std::string> kinds;
  for (const Json& entry : json["added"]) kinds.push_back(entry["kind"]);
  EXPECT_EQ(kinds, (std::vector<std::string>{"bookmark", "folder", "bookmark", "proxy", "other"}));
}

TEST(DifferenceJson, ItsListsAreAsLongAsTheCounts) {
  for (std::uint32_t seed = 0; seed < 40; ++seed) {
    const PropertyList first = randomBookmarks(seed);
    const PropertyList second = randomBookmarks(seed + 1);
    const DifferenceReport report{"o\xFF", "n\x1B\"", comparisonOf(first.root.dictionary(), second.root.dictionary())};
    const Json json = Json::parse(differenceAsJson(report));
    EXPECT_EQ(keysOf(json), (std::vector<std::string>{"code", "old", "new", "same", "moved", "removed", "added",
                                                      "renamed", "named", "readdressed"}));
    EXPECT_EQ(json["new"], "n\x1B\"");
    EXPECT_EQ(json["moved"].size(), report.comparison.count(kEntryMoved));
    EXPECT_EQ(json["removed"].size(), report.comparison.count(kEntryRemoved));
    EXPECT_EQ(json["added"].size(), report.comparison.count(kEntryAdded));
    EXPECT_EQ(json["renamed"].size(), report.comparison.count(kEntryRenamed));
    EXPECT_EQ(json["named"].size(), report.comparison.count(kEntryNamed));
    EXPECT_EQ(json["readdressed"].size(), report.comparison.count(kEntryReaddressed));
    for (const Json& pair : json["moved"]) {
      EXPECT_EQ(keysOf(pair), (std::vector<std::string>{"before", "after"}));
      EXPECT_EQ(keysOf(pair["after"]), (std::vector<std::string>{"folder", "place", "kind", "title", "address"}));
    }
  }
}

TEST(DifferenceJson, AFailureIsToldAsAFailure) {
  const Json json = Json::parse(differenceFailureAsJson({"/old", "/n\xFF", {}}, 3, "why"));
  EXPECT_EQ(keysOf(json), (std::vector<std::string>{"code", "message", "old", "new"}));
  EXPECT_EQ(json["code"], 3);
  EXPECT_EQ(json["message"], "why");
}

TEST(DifferenceText, ItsSummaryCountsEachKind) {
  EXPECT_EQ(summaryOf(reportOf("Root[ a#1 b#2 ]", "Root[ b#2 a#1 ]").comparison),
            "1 entry moved, 0 removed, 0 added, 0 renamed, 0 named.");
  EXPECT_EQ(
      summaryOf(reportOf("Root[ M#m[ a#1 b#2 c@w#3 ~@u#4 e@u#5 x ] ]", "Root[ M#m[ c2@w#3 b#2 a#1 n@u#4 e@v#5 y ] ]")
                    .comparison),
      "2 entries moved, 1 removed, 1 added, 1 renamed, 1 named, 1 with another address.");
  EXPECT_EQ(summaryOf(reportOf("Root[ a#1 ]", "Root[ a#1 ]").comparison),
            "No difference: the same entries, with the same titles and addresses, in the same order.");
}

TEST(DifferenceText, NoTitleAddressOrFileNameSteersTheTerminal) {
  DifferenceReport report = reportOf("Root[ M#m[ x@u#1 gone@g#2 ] ]", "Root[ M#m[ y@v#1 new@n#3 ] ]");
  for (EntryTree* tree : {&report.comparison.before, &report.comparison.after}) {
    for (TreeEntry& entry : *tree) {
      for (std::string* own : {&entry.title, &entry.address, &entry.otherTitle, &entry.otherAddress}) {
        *own = "\x1B[2J\n\u202E\xC2\x9B\xED\xC0\x1B";
      }
    }
  }
  report.oldFile = "\x1B]0;x\x07";
  report.newFile = "\r\xED\xA0\x1B";
  const std::string text = differenceAsText(report, Painter(false));
  for (const char c : text) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
  EXPECT_EQ(text.find("\u202E"), std::string::npos);
  EXPECT_EQ(text.find("\xC2\x9B"), std::string::npos);
  // Two lines, a blank one, and one for each of removed, added, renamed and readdressed.
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7);
}

}  // namespace
}  // namespace tarvel
