#include "tools/report/report_html.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/random_tree.h"
#include "tests/support/sanitized.h"
#include "tests/support/sha256.h"
#include "tests/support/tree_notation.h"
#include "tests/support/vector_tree.h"
#include "tests/tools/report/page_reader.h"
#include "tools/compare/sort_comparer.h"
#include "tools/compare/tree_matching.h"
#include "tools/terminal/terminal.h"

namespace tarvel {
namespace {

const std::vector<EntryChange> kKinds = {kEntryMoved,   kEntryRemoved, kEntryAdded,
                                         kEntryRenamed, kEntryNamed,   kEntryReaddressed};

PageTexts plainTexts() { return {"Page", {"A note."}, "Before", "After", kKinds}; }

TreeComparison comparedFiles(std::string_view before, std::string_view after) {
  const PropertyList earlier = tree(before);
  const PropertyList later = tree(after);
  return comparisonOf(earlier.root.dictionary(), later.root.dictionary());
}

/// Something of every kind of entry and change.
TreeComparison varied() {
  return comparedFiles(
      "Root[ ^History BookmarksBar#bar[ a#1 b#2 ] M#m[ x@u#3 ~@v#4 F#f[ y@w#5 gone@g#6 ] E#e[ ] ?odd#o l@l#l ] ]",
      "Root[ ^History BookmarksBar#bar[ b#2 a#1 ] M#m[ x2@u#3 n@v#4 F#f[ new@n#7 ] E#e[ ] ?odd#o y@w#5 l@k#l ] ]");
}

/// What a sort would show of a tree.
TreeComparison previewOf(EngineFixture& t, const PropertyList& list) {
  t.memory.fileManager.putFile("/f", t.serialization.dataWithPropertyList(list, 200).data.joined());
  SortComparer comparer;
  t.tarvel.setArrangeFoldersAtTop(true);
  t.tarvel.setRemoveDuplicates(true);
  t.tarvel.setRenameSamenamed(true);
  t.tarvel.setSortObserver(&comparer);
  t.tarvel.setBookmarksFilename("/f");
  EXPECT_EQ(t.tarvel.sortBookmarks(), TarvelErrorNone);
  return comparer.comparison();
}

/// Comparisons of all kinds: what sorts would do, and trees that have little in common.
void forManyComparisons(const std::function<void(const TreeComparison&)>& look) {
  look(varied());
  for (std::uint32_t seed = 0; seed < casesOf(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    EngineFixture t;
    look(previewOf(t, randomBookmarks(seed)));
    const PropertyList first = randomBookmarks(seed);
    const PropertyList second = randomBookmarks(seed + 1);
    look(comparisonOf(first.root.dictionary(), second.root.dictionary()));
    if (testing::Test::HasFatalFailure() || testing::Test::HasNonfatalFailure()) return;
  }
}

void setTexts(EntryTree& tree, const std::string& text) {
  for (TreeEntry& entry : tree) {
    for (std::string* own : {&entry.title, &entry.address, &entry.otherTitle, &entry.otherAddress}) {
      if (!own->empty()) *own = text;
    }
  }
}

/// The page with one text in the place of every title, address and heading.
std::string pageWith(const std::string& text) {
  TreeComparison comparison = varied();
  setTexts(comparison.before, text);
  setTexts(comparison.after, text);
  return comparisonAsHtml(comparison, {text, {text}, text, text, kKinds});
}

/// Elements and attributes without any text.
std::string structureOf(const PageReader& page) {
  std::string structure;
  for (const PageElement& element : page.elements) {
    structure += std::to_string(element.depth) + " " + element.name;
    for (const auto& [key, value] : element.attributes) structure += " " + key + "=" + value;
    structure += "\n";
  }
  return structure;
}

TEST(ReportHtml, HostileTextsNeitherBeginAnElementNorLeaveAnAttribute) {
  const std::string plain = structureOf(PageReader(pageWith("plain")));
  for (const char* hostile :
       {"</title></style></script><script>alert(1)</script>", "\"><img src=x onerror=alert(1)>", "' onclick='x",
        "\" autofocus onfocus=\"x", "<!--", "-->", "&lt;b&gt;", "&#60;b&#62;", "]]><b>", "</li></ul></details>",
        "javascript:alert(1)", "\n<b\n>", "\xED\xC0<b>", "\xF0<b>", "<bdi dir=\"rtl\">", "a\u202E\u2066b"}) {
    const PageReader page(pageWith(hostile));
    EXPECT_EQ(structureOf(page), plain) << hostile;
    // And it is still to be read, letter for letter.
    EXPECT_EQ(page.elements[page.all("h1").at(0)].text, printable(hostile));
    for (const std::size_t title : page.all("bdi", "t")) EXPECT_EQ(page.elements[title].text, printable(hostile));
    for (const std::size_t address : page.all("bdi", "u")) EXPECT_EQ(page.elements[address].text, printable(hostile));
  }
}

TEST(ReportHtml, NoAddressBecomesALink) {
  for (const char* address : {"javascript:alert(1)", "https://tea.example/", "data:text/html,x", "#before", "//x"}) {
    const PageReader page(pageWith(address));
    std::size_t count = 0;
    for (const PageElement& element : page.elements) {
      for (const auto& [key, value] : element.attributes) {
        EXPECT_EQ(value.find("tea.example"), std::string::npos) << element.name << " " << key;
        if (key != "href") continue;
        ++count;
        EXPECT_EQ(element.name, "a");
        EXPECT_TRUE(value.starts_with("#")) << value;
      }
    }
    EXPECT_GT(count, 3U);
  }
}

TEST(ReportHtml, ThePageFetchesNothing) {
  const std::string html = comparisonAsHtml(varied(), plainTexts());
  const PageReader page(html);
  const std::set<std::string> harmless = {
      "html", "head",     "meta",  "title",    "style", "body", "a",      "header",  "h1",     "p",      "nav",
      "div",  "fieldset", "label", "legend",   "input", "b",    "button", "main",    "h2",     "output", "section",
      "ul",   "li",       "bdi",   "noscript", "i",     "span", "script", "details", "summary"};
  const std::set<std::string> known = {
      "charset",         "http-equiv", "content", "name",    "lang",        "class",        "href",   "id",
      "aria-labelledby", "aria-label", "type",    "checked", "disabled",    "role",         "hidden", "for",
      "autocomplete",    "spellcheck", "dir",     "open",    "placeholder", "aria-controls"};
  for (const PageElement& element : page.elements) {
    EXPECT_TRUE(harmless.contains(element.name)) << element.name;
    for (const auto& [key, value] : element.attributes) EXPECT_TRUE(known.contains(key)) << element.name << " " << key;
  }
  // Neither do style and script, or they ask for nothing by name.
  const std::string own = page.elements[page.all("style").at(0)].text + page.elements[page.all("script").at(0)].text;
  for (const char* word :
       {"url(", "@import", "@font-face", "image-set", "fetch", "XMLHttpRequest", "WebSocket", "import", "src",
        "innerHTML", "eval", "Function", "location", "://", "navigator", "document.write"}) {
    EXPECT_EQ(own.find(word), std::string::npos) << word;
  }
}

/// As a policy names a text.
std::string policyHash(const std::string& text) {
  const std::string hex = sha256(text);
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return "'sha256-" + encodeBase64(bytes) + "'";
}

TEST(ReportHtml, ThePolicyAllowsItsOwnStyleAndScriptAndNothingElse) {
  const PageReader page(comparisonAsHtml(varied(), plainTexts()));
  ASSERT_EQ(page.all("style").size(), 1U);
  ASSERT_EQ(page.all("script").size(), 1U);
  std::vector<std::size_t> policies;
  for (const std::size_t meta : page.all("meta")) {
    if (page.elements[meta].attribute("http-equiv") == "Content-Security-Policy") policies.push_back(meta);
  }
  ASSERT_EQ(policies.size(), 1U);
  EXPECT_EQ(page.elements[policies[0]].attribute("content"),
            "default-src 'none'; script-src " + policyHash(page.elements[page.all("script")[0]].text) + "; style-src " +
                policyHash(page.elements[page.all("style")[0]].text) + "; base-uri 'none'; form-action 'none'");
  // It holds for what comes after it.
  EXPECT_LT(policies[0], page.all("style")[0]);
  EXPECT_LT(policies[0], page.all("script")[0]);
}

TEST(ReportHtml, EveryLinkLeadsToExactlyOnePlace) {
  forManyComparisons([](const TreeComparison& comparison) {
    const PageReader page(comparisonAsHtml(comparison, plainTexts()));
    std::map<std::string, std::size_t> identifiers;
    for (const PageElement& element : page.elements) {
      if (element.has("id")) ++identifiers[element.attribute("id")];
    }
    for (const auto& [identifier, count] : identifiers) ASSERT_EQ(count, 1U) << identifier;
    for (const PageElement& element : page.elements) {
      if (!element.has("href")) continue;
      ASSERT_EQ(identifiers.count(element.attribute("href").substr(1)), 1U) << element.attribute("href");
    }
  });
}

/// The text of the title in a row, without what is in the rows below.
std::string titleIn(const PageReader& page, std::size_t row) {
  for (std::size_t i = row; i < page.elements.size() && page.isInside(i, row); ++i) {
    if (page.elements[i].hasClass("t")) return page.elements[i].text;
  }
  return "nothing";
}

std::size_t rowOf(const PageReader& page, std::size_t element) {
  while (page.elements[element].name != "li") element = page.elements[element].parent;
  return element;
}

TEST(ReportHtml, AMarkLeadsToTheSameEntryInTheOtherTree) {
  const PageReader page(comparisonAsHtml(
      comparedFiles("Root[ M#m[ a#1 b#2 x@u#3 c#4 ] ]", "Root[ M#m[ b#2 y@u#3 c#4 a#1 ] ]"), plainTexts()));
  std::vector<std::string> jumps;
  for (const std::size_t link : page.all("a", "k")) {
    const std::string target = page.elements[link].attribute("href").substr(1);
    for (const std::size_t row : page.all("li")) {
      if (page.elements[row].attribute("id") != target) continue;
      jumps.push_back(page.elements[link].text + " " + titleIn(page, rowOf(page, link)) + " " + titleIn(page, row));
    }
  }
  EXPECT_EQ(jumps, (std::vector<std::string>{"moved a a", "renamed x y", "renamed y x", "moved a a"}));
}

TEST(ReportHtml, ADuplicateLeadsToTheOneThatStays) {
  EngineFixture t;
  const PageReader page(comparisonAsHtml(
      previewOf(t, tree("Root[ BookmarksBar[ k ] BookmarksMenu[ z first@u F[ second@u w ] ] ]")), plainTexts()));
  const auto links = page.all("a");
  const auto found = std::ranges::find_if(
      links, [&](std::size_t link) { return page.elements[page.elements[link].parent].hasClass("why"); });
  ASSERT_NE(found, links.end());
  EXPECT_EQ(page.elements[page.elements[*found].parent].text, "same address as “second” in BookmarksMenu / F");
  EXPECT_EQ(titleIn(page, rowOf(page, *found)), "first");
  const PageElement& kept = page.byId(page.elements[*found].attribute("href").substr(1));
  EXPECT_TRUE(kept.text.starts_with("second")) << kept.text;
}

bool hasChoice(const PageReader& page, const std::string& choice) {
  return std::ranges::any_of(
      page.all("input"), [&](std::size_t input) { return page.elements[input].attribute("id") == "only-" + choice; });
}

/// The number that a filter shows; 0 where there is no such filter.
std::string countAt(const PageReader& page, const std::string& choice) {
  if (!hasChoice(page, choice)) return "0";
  const PageElement& input = page.byId("only-" + choice);
  for (const std::size_t number : page.all("b")) {
    if (page.elements[number].parent == input.parent) return page.elements[number].text;
  }
  return "none";
}

std::string wordOf(EntryChange change) {
  const std::map<EntryChange, std::string> words = {{kEntryMoved, "moved"}, {kEntryRemoved, "removed"},
                                                    {kEntryAdded, "added"}, {kEntryRenamed, "renamed"},
                                                    {kEntryNamed, "named"}, {kEntryReaddressed, "readdressed"}};
  return words.at(change);
}

/// The rows of both trees that a choice leaves, one for each entry: what was added is in the later tree alone.
std::size_t rowsMarked(const PageReader& page, EntryChange change) {
  const std::string side = change == kEntryAdded ? "after" : "before";
  std::size_t count = 0;
  for (const std::size_t row : page.all("li", wordOf(change))) {
    for (const std::size_t section : page.all("section")) {
      if (page.elements[section].attribute("id") == side && page.isInside(row, section)) ++count;
    }
  }
  return count;
}

TEST(ReportHtml, TheCountsAreThoseOfTheComparisonAndOfTheRows) {
  forManyComparisons([](const TreeComparison& comparison) {
    const PageReader page(comparisonAsHtml(comparison, plainTexts()));
    ASSERT_EQ(countAt(page, "all"), std::to_string(comparison.before.size() - 1 + comparison.count(kEntryAdded)));
    for (const EntryChange kind : kKinds) {
      ASSERT_EQ(countAt(page, wordOf(kind)), std::to_string(comparison.count(kind))) << wordOf(kind);
      ASSERT_EQ(rowsMarked(page, kind), comparison.count(kind)) << wordOf(kind);
    }
    std::size_t changed = comparison.count(kEntryAdded);
    for (const TreeEntry& entry : comparison.before) changed += entry.changes == 0 ? 0 : 1;
    ASSERT_EQ(countAt(page, "changed"), std::to_string(changed));
  });
}

TEST(ReportHtml, EveryEntryHasOneRowInItsTree) {
  forManyComparisons([](const TreeComparison& comparison) {
    const PageReader page(comparisonAsHtml(comparison, plainTexts()));
    ASSERT_EQ(page.all("li").size(), comparison.before.size() - 1 + comparison.after.size() - 1);
  });
}

TEST(ReportHtml, ARowInsideAFolderThatAChoiceLeavesIsFoundThroughAllFoldersAboveIt) {
  forManyComparisons([](const TreeComparison& comparison) {
    const PageReader page(comparisonAsHtml(comparison, plainTexts()));
    for (const EntryChange kind : kKinds) {
      for (const std::size_t row : page.all("li", wordOf(kind))) {
        for (std::size_t above = page.elements[row].parent; page.elements[above].name != "section";
             above = page.elements[above].parent) {
          if (page.elements[above].name != "li") continue;
          ASSERT_TRUE(page.elements[above].hasClass("in-" + wordOf(kind)));
          ASSERT_TRUE(page.elements[above].hasClass("in-c"));
        }
        ASSERT_TRUE(page.elements[row].hasClass("c"));
      }
    }
  });
}

TEST(ReportHtml, AFilterThatWouldShowNothingIsLeftOut) {
  const PageReader page(comparisonAsHtml(comparedFiles("Root[ a#1 b#2 ]", "Root[ b#2 a#1 ]"), plainTexts()));
  for (const char* choice : {"all", "changed", "moved"}) EXPECT_TRUE(hasChoice(page, choice)) << choice;
  for (const char* choice : {"removed", "added", "renamed", "named", "readdressed"}) {
    EXPECT_FALSE(hasChoice(page, choice)) << choice;
  }
  EXPECT_TRUE(page.byId("only-all").has("checked"));
}

TEST(ReportHtml, AllIsThereEvenForAnEmptyTree) {
  const PageReader page(comparisonAsHtml({}, plainTexts()));
  EXPECT_EQ(countAt(page, "all"), "0");
  EXPECT_TRUE(hasChoice(page, "all"));
  EXPECT_FALSE(hasChoice(page, "changed"));
  EXPECT_TRUE(page.all("li").empty());
}

TEST(ReportHtml, OnlyTheKindsAskedForAreChoices) {
  PageTexts texts = plainTexts();
  texts.kinds = {kEntryRemoved, kEntryMoved};
  const PageReader page(comparisonAsHtml(varied(), texts));
  std::vector<std::string> choices;
  for (const std::size_t input : page.all("input")) {
    if (page.elements[input].attribute("type") == "radio") choices.push_back(page.elements[input].attribute("id"));
  }
  EXPECT_EQ(choices, (std::vector<std::string>{"only-all", "only-changed", "only-removed", "only-moved"}));
}

TEST(ReportHtml, FoldersBelowAHundredLevelsFollowTheirFolderInsteadOfStandingInIt) {
  constexpr std::size_t kLevels = 300;
  std::string notation = "Root[";
  for (std::size_t i = 0; i < kLevels; ++i) notation += " f" + std::to_string(i) + "[";
  notation += " deepest";
  for (std::size_t i = 0; i < kLevels; ++i) notation += " ]";
  notation += " ]";
  const PageReader page(comparisonAsHtml(comparedFiles(notation, notation), plainTexts()));
  // Each folder is there once in each tree, and the bookmark.
  EXPECT_EQ(page.all("li").size(), 2 * (kLevels + 1));
  EXPECT_EQ(page.all("details").size(), 2U * 100);
  EXPECT_EQ(page.all("li", "flat").size(), 2 * (kLevels - 100));
  std::size_t deepest = 0;
  for (const PageElement& element : page.elements) deepest = std::max(deepest, element.depth);
  EXPECT_LT(deepest, 320U);
  const PageElement& last = page.elements[page.all("li").back()];
  EXPECT_TRUE(last.text.starts_with("deepest")) << last.text;
}

TEST(ReportHtml, ALargeTreeIsOpenOnlyWhereSomethingChanged) {
  std::string common;
  for (int i = 0; i < 400; ++i) common += " b" + std::to_string(i) + "#b" + std::to_string(i);
  const PageReader page(comparisonAsHtml(comparedFiles("Root[ Quiet#q[" + common + " ] Busy#y[ k#k[ u#1 v#2 ] ] ]",
                                                       "Root[ Quiet#q[" + common + " ] Busy#y[ k#k[ v#2 u#1 ] ] ]"),
                                         plainTexts()));
  std::map<std::string, bool> open;
  for (const std::size_t details : page.all("details")) {
    open[titleIn(page, rowOf(page, details))] = page.elements[details].has("open");
  }
  EXPECT_EQ(open, (std::map<std::string, bool>{{"Quiet", false}, {"Busy", true}, {"k", true}}));
  const PageReader small(comparisonAsHtml(comparedFiles("Root[ F[ a ] ]", "Root[ F[ a ] ]"), plainTexts()));
  for (const std::size_t details : small.all("details")) EXPECT_TRUE(small.elements[details].has("open"));
}

/// What each row says of itself, in one tree.
std::vector<std::string> explanations(const PageReader& page, const std::string& side) {
  std::vector<std::string> told;
  for (std::size_t i = 0; i < page.elements.size(); ++i) {
    if (!page.elements[i].hasClass("k")) continue;
    const std::size_t row = rowOf(page, i);
    bool isHere = false;
    for (const std::size_t section : page.all("section")) {
      isHere = isHere || (page.elements[section].attribute("id") == side && page.isInside(row, section));
    }
    if (!isHere) continue;
    const bool isExplained = i + 1 < page.elements.size() && page.elements[i + 1].hasClass("why");
    told.push_back(titleIn(page, row) + ": " + page.elements[i].text +
                   (isExplained ? " " + page.elements[i + 1].text : ""));
  }
  return told;
}

TEST(ReportHtml, EachRowTellsWhatBecameOfItsEntry) {
  const PageReader page(comparisonAsHtml(varied(), plainTexts()));
  EXPECT_EQ(explanations(page, "before"),
            (std::vector<std::string>{"b: moved from place 2 to 1", "x: renamed to “x2”", "(no title): named to be “n”",
                                      "y: moved to M", "gone: removed", "l: address changed to “k”"}));
  EXPECT_EQ(explanations(page, "after"),
            (std::vector<std::string>{"b: moved from place 2 to 1", "x2: renamed was “x”", "n: named had no title",
                                      "new: added", "y: moved from M / F", "l: address changed was “l”"}));
}

TEST(ReportHtml, EachRemovalTellsItsReason) {
  EngineFixture t;
  const PageReader page(comparisonAsHtml(
      previewOf(t, tree("Root[ BookmarksBar#1[ k ] BookmarksBar#2[ lost ] BookmarksMenu[ z E[ ] blank@ y@u a@u ] ]")),
      plainTexts()));
  const std::vector<std::string> told = explanations(page, "before");
  for (const char* expected :
       {"E: removed empty folder", "blank: removed no address", "y: removed same address as “a” in BookmarksMenu"}) {
    EXPECT_TRUE(std::ranges::count(told, expected) == 1) << expected;
  }
}

TEST(ReportHtml, EveryPageIsKnownByItsBeginning) {
  const std::string page = comparisonAsHtml(varied(), plainTexts());
  EXPECT_TRUE(page.starts_with(kPageBeginning));
  EXPECT_TRUE(page.ends_with("</html>\n"));
}

}  // namespace
}  // namespace tarvel
