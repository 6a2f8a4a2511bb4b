// Invariants that hold for every tree.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "engine/tarvel.h"
#include "engine/value_coercion.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/random_tree.h"
#include "tests/support/sanitized.h"

namespace tarvel {
namespace {

constexpr std::uint32_t kTrees = casesOf(400);
constexpr const char* kTreeFile = "/f/Bookmarks.plist";

struct RandomTrees : testing::TestWithParam<int>, EngineFixture {
  RandomTrees() {
    const int options = GetParam();
    tarvel.setArrangeFoldersAtTop((options & 1) != 0);
    tarvel.setRemoveDuplicates((options & 2) != 0);
    tarvel.setRenameSamenamed((options & 4) != 0);
    tarvel.setSortBookmarksBar((options & 8) != 0);
    tarvel.setBookmarksFilename(kTreeFile);
  }

  std::string bytesOf(const PropertyList& list) {
    const PropertyListWriting writing = serialization.dataWithPropertyList(list, 200);
    EXPECT_FALSE(writing.error.has_value());
    return writing.data.joined();
  }
  PropertyList listOf(const std::string& bytes) {
    PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
    EXPECT_FALSE(reading.error.has_value());
    return reading.list;
  }
};

using Visit = std::function<void(PropertyListDictionary)>;

void visitAll(PropertyListDictionary node, const Visit& visit) {
  visit(node);
  const PropertyListArray children = node.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) visitAll(children.at(i).dictionary(), visit);
}

/// The bookmarks with an address, by serial number, and their tree (top level, bar, menu, or none).
struct Bookmark {
  std::string tree;
  std::string address;
};

std::map<std::string, Bookmark> bookmarksIn(const Tarvel& tarvel, PropertyListDictionary root) {
  std::map<std::string, Bookmark> found;
  std::set<std::string> taken;
  const PropertyListArray children = root.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary child = children.at(i).dictionary();
    std::string tree(child.string(kTitleKey).value_or(""));
    // By the rules, the first bar replaces a second one together with its content.
    const bool isSpecial = tree == kBookmarksBarTitle || tree == kBookmarksMenuTitle;
    if (isSpecial && !taken.insert(tree).second) continue;
    if (!isSpecial) tree = "top";
    visitAll(child, [&](PropertyListDictionary node) {
      const auto address = node.string(kURLStringKey);
      if (tarvel.typeFromBookmarkNode(node) != BookmarkNodeTypeLeaf || !address || isBlank(*address)) return;
      found[std::string(*node.string("Serial"))] = {tree, std::string(*address)};
    });
  }
  return found;
}

TEST_P(RandomTrees, NoBookmarkWithAnAddressIsLostUnlessItIsADuplicateInItsTree) {
  for (std::uint32_t seed = 0; seed < kTrees; ++seed) {
    const std::string before = bytesOf(randomBookmarks(seed));
    memory.fileManager.putFile(kTreeFile, before);
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    const PropertyList old = listOf(before);
    const PropertyList now = listOf(*memory.fileManager.bytesAt(kTreeFile));
    const auto had = bookmarksIn(tarvel, old.root.dictionary());
    const auto has = bookmarksIn(tarvel, now.root.dictionary());
    std::set<std::pair<std::string, std::string>> kept;
    for (const auto& [serial, bookmark] : has) kept.emplace(bookmark.tree, bookmark.address);
    for (const auto& [serial, bookmark] : had) {
      if (has.contains(serial)) continue;
      EXPECT_TRUE(tarvel.removeDuplicates()) << seed << " lost " << serial;
      EXPECT_TRUE(kept.contains({bookmark.tree, bookmark.address})) << seed << " lost " << serial;
    }
    for (const auto& [serial, bookmark] : has) EXPECT_TRUE(had.contains(serial)) << seed << " gained " << serial;
  }
}

TEST_P(RandomTrees, EverythingButTitlesChildrenAndTheRootsIdentifierSurvives) {
  for (std::uint32_t seed = 0; seed < kTrees; ++seed) {
    const std::string before = bytesOf(randomBookmarks(seed));
    memory.fileManager.putFile(kTreeFile, before);
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    const PropertyList old = listOf(before);
    const PropertyList now = listOf(*memory.fileManager.bytesAt(kTreeFile));
    EXPECT_EQ(now.root.dictionary().get("Unknown").type(), old.root.dictionary().get("Unknown").type());
    std::map<std::string, PropertyListDictionary> nodes;
    visitAll(old.root.dictionary(), [&](PropertyListDictionary node) {
      if (const auto serial = node.string("Serial")) nodes.emplace(*serial, node);
    });
    visitAll(now.root.dictionary(), [&](PropertyListDictionary node) {
      const auto serial = node.string("Serial");
      if (!serial) return;
      const PropertyListDictionary was = nodes.at(std::string(*serial));
      for (std::size_t i = 0; i < was.size(); ++i) {
        const std::string key(*was.keyAt(i).string());
        EXPECT_EQ(node.get(PropertyListKey(key)).type() == PropertyListType::kAbsent, false) << seed << " " << key;
        if (key == "Title" || key == "Children" || key == "URIDictionary") continue;
        EXPECT_EQ(node.string(PropertyListKey(key)), was.string(PropertyListKey(key))) << seed << " " << key;
        EXPECT_EQ(node.get(PropertyListKey(key)).type(), was.valueAt(i).type()) << seed << " " << key;
      }
    });
  }
}

TEST_P(RandomTrees, ASecondRunChangesNoOrder) {
  std::size_t settled = 0;
  for (std::uint32_t seed = 0; seed < kTrees; ++seed) {
    memory.fileManager.putFile(kTreeFile, bytesOf(randomBookmarks(seed)));
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    // Titles given to untitled entries are made unique by the next run, and may then sort elsewhere.
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    const std::string settledText = text(listOf(*memory.fileManager.bytesAt(kTreeFile)));
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    const std::string after = text(listOf(*memory.fileManager.bytesAt(kTreeFile)));
    EXPECT_EQ(after, settledText) << seed;
    ++settled;
  }
  EXPECT_EQ(settled, kTrees);
}

TEST_P(RandomTrees, TheWrittenFileIsNoLargerThanTheReadOne) {
  for (std::uint32_t seed = 0; seed < kTrees; ++seed) {
    const std::string before = bytesOf(randomBookmarks(seed));
    memory.fileManager.putFile(kTreeFile, before);
    ASSERT_EQ(tarvel.sortBookmarks(), TarvelErrorNone) << seed;
    const std::string once = *memory.fileManager.bytesAt(kTreeFile);
    // New titles may be long. Otherwise only the root's identifier is new.
    std::size_t made = 0;
    const PropertyList old = listOf(before);
    const PropertyList now = listOf(once);
    std::set<std::string_view> known;
    visitAll(old.root.dictionary(),
             [&](PropertyListDictionary node) { known.insert(tarvel.titleFromBookmarkNode(node).value_or("")); });
    visitAll(now.root.dictionary(), [&](PropertyListDictionary node) {
      const auto title = tarvel.titleFromBookmarkNode(node).value_or("");
      // In UTF-16, with its header, a reference, its place in the table, and "title" or "Title" as a new key.
      if (!known.contains(title)) made += 2 * title.size() + 40;
    });
    EXPECT_LE(once.size(), before.size() + made + 100) << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(Options, RandomTrees, testing::Values(0, 2, 7, 11, 15));

}  // namespace
}  // namespace tarvel
