// Properties of plans for random trees, applied to a model of each browser.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "browser/host/removed_title.h"
#include "engine/tarvel.h"
#include "tests/browser/host/session_fixture.h"
#include "tests/support/sanitized.h"

namespace tarvel {

namespace {

constexpr std::uint32_t kSeeds = casesOf(400);

class BothBrowsers : public testing::TestWithParam<BrowserFamily> {};
INSTANTIATE_TEST_SUITE_P(Plans, BothBrowsers, testing::Values(BrowserFamily::kChromium, BrowserFamily::kFirefox),
                         [](const auto& parameter) {
                           return parameter.param == BrowserFamily::kChromium ? "Chromium" : "Firefox";
                         });

/// The engine's own sort of a folder, by ids. Each group between separators is sorted as a
/// folder of its own.
class EngineOrder {
 public:
  EngineOrder(const Platform& platform, bool foldersAtTop) : tarvel_(platform) {
    tarvel_.setArrangeFoldersAtTop(foldersAtTop);
  }

  std::vector<std::string> of(const BrowserModel& model, const std::string& folder, bool isBar) {
    PropertyListTree tree;
    std::vector<std::string> all;
    PropertyListArray group = tree.makeArray(0);
    const auto finish = [&] {
      const PropertyListDictionary around = tree.makeDictionary();
      around.setString(kWebBookmarkTypeKey, kListTypeName);
      around.setString(kTitleKey, isBar ? kBookmarksBarTitle : "Folder");
      around.set(kChildrenKey, group.value());
      const PropertyListArray sorted = tarvel_.sortBookmarksInDictionary(around).array(kChildrenKey);
      for (std::size_t i = 0; i < sorted.size(); ++i) {
        all.emplace_back(*sorted.at(i).dictionary().string(kWebBookmarkUUIDKey));
      }
      group = tree.makeArray(0);
    };
    for (const std::string& child : model.nodes().at(folder).children) {
      const auto& node = model.nodes().at(child);
      if (node.type == "separator") {
        finish();
        all.push_back(child);
        continue;
      }
      const PropertyListDictionary made = tree.makeDictionary();
      made.setString(kWebBookmarkTypeKey, node.type == "folder" ? kListTypeName : kLeafTypeName);
      made.setString(kTitleKey, node.title);
      made.setString(kWebBookmarkUUIDKey, child);
      group.append(made.value());
    }
    finish();
    return all;
  }

 private:
  Tarvel tarvel_;
};

/// The number of entries less the longest ascending run, by the plain quadratic method.
std::size_t fewestMoves(const std::vector<std::string>& before, const std::vector<std::string>& after) {
  std::vector<std::size_t> longest(after.size(), 1);
  std::size_t best = 0;
  const auto placeOf = [&before](const std::string& id) { return std::ranges::find(before, id) - before.begin(); };
  for (std::size_t i = 0; i < after.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (placeOf(after[j]) < placeOf(after[i])) longest[i] = std::max(longest[i], longest[j] + 1);
    }
    best = std::max(best, longest[i]);
  }
  return after.size() - best;
}

TEST_P(BothBrowsers, PlansGiveTheEnginesOrderWithTheFewestMovesAndASecondPlanIsEmpty) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    SessionFixture t;
    const bool sortsBar = seed % 2 == 0;
    t.preferences.setBoolean(kSortBookmarksBarKey, sortsBar, kMainApplicationIdentifier);
    t.preferences.setBoolean(kFoldersAtTopKey, seed % 3 != 0, kMainApplicationIdentifier);
    BrowserModel model = randomModel(GetParam(), seed);
    const BrowserModel before = model;
    const std::size_t steps = t.run(model, "sort");
    EngineOrder engine(t.platform, seed % 3 != 0);
    std::size_t fewest = 0;
    for (const auto& [id, node] : before.nodes()) {
      const bool keeps = id == before.roots().front() && !sortsBar;
      const auto expected = keeps ? node.children : engine.of(before, id, keeps);
      EXPECT_EQ(model.nodes().at(id).children, expected) << "seed " << seed;
      fewest += fewestMoves(node.children, expected);
    }
    EXPECT_EQ(model.moveCount(), fewest) << "seed " << seed;
    EXPECT_EQ(steps, fewest) << "seed " << seed;
    EXPECT_EQ(t.run(model, "sort"), 0) << "seed " << seed;
    if (testing::Test::HasFailure()) return;
  }
}

TEST_P(BothBrowsers, UndoGivesEveryOrderTitleFolderAndDateAsBefore) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    SessionFixture t;
    t.preferences.setBoolean(kSortBookmarksBarKey, true, kMainApplicationIdentifier);
    BrowserModel model = randomModel(GetParam(), seed);
    const auto before = model.nodes();
    int runs = t.run(model, "clean") > 0 ? 1 : 0;
    t.reconnect();
    runs += t.run(model, "sort") > 0 ? 1 : 0;
    for (; runs > 0; --runs) {
      EXPECT_GT(t.run(model, "undo"), 0);
      (void)t.ask({{"type", "done"}});
    }
    EXPECT_EQ(model.nodes(), before) << "seed " << seed;
    EXPECT_EQ(t.run(model, "undo"), 0);
    if (testing::Test::HasFailure()) return;
  }
}

TEST_P(BothBrowsers, UndoFromThePrefixOfARunGivesTheStateBefore) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    SessionFixture t;
    BrowserModel model = randomModel(GetParam(), seed);
    const auto before = model.nodes();
    const nlohmann::json operations = t.plan(model, seed % 2 == 0 ? "clean" : "sort");
    for (std::size_t i = 0; i < operations.size() * (seed % 7) / 6; ++i) EXPECT_TRUE(model.apply(operations[i]));
    t.reconnect();
    (void)t.run(model, "undo");
    EXPECT_EQ(model.nodes(), before) << "seed " << seed;
    if (testing::Test::HasFailure()) return;
  }
}

TEST_P(BothBrowsers, CleaningOnlyMovesAndRenamesWhatTheEngineFindsAndASecondOneFindsNothing) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    SessionFixture t;
    BrowserModel model = randomModel(GetParam(), seed);
    const auto before = model.nodes();
    (void)t.run(model, "clean");
    for (const auto& [id, node] : before) {
      ASSERT_TRUE(model.nodes().contains(id)) << "seed " << seed;
      EXPECT_EQ(model.nodes().at(id).dateAdded, node.dateAdded);
      EXPECT_EQ(model.nodes().at(id).address, node.address);
    }
    // Two untitled entries may get one name; the next run numbers them.
    t.reconnect();
    for (const auto& operation : t.plan(model, "clean")) EXPECT_EQ(operation[0], "retitle") << "seed " << seed;
    if (testing::Test::HasFailure()) return;
  }
}

TEST_P(BothBrowsers, UndoAfterOthersChangedTheBookmarksLosesNothingAndCanBeApplied) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    SessionFixture t;
    std::mt19937 random(seed);
    BrowserModel model = randomModel(GetParam(), seed);
    (void)t.run(model, seed % 2 == 0 ? "clean" : "sort");
    std::vector<std::string> ids;
    for (const auto& [id, node] : model.nodes()) ids.push_back(id);
    for (int i = 0; i < 30; ++i) {
      const std::string& id = ids[random() % ids.size()];
      const std::string& parent = ids[random() % ids.size()];
      if (model.nodes()[parent].type == "folder") (void)model.move(id, parent, 0);
    }
    const std::string added = model.add(model.otherRoot(), "New", "bookmark", "https://example.org/new");
    (void)t.run(model, "undo");
    for (const std::string& id : ids) {
      const bool wasMade = model.nodes().contains(id) && isTitleOfRemoved(model.nodes()[id].title);
      EXPECT_TRUE(model.nodes().contains(id) || wasMade || seed % 2 == 0) << "seed " << seed;
    }
    EXPECT_TRUE(model.nodes().contains(added));
    (void)t.ask({{"type", "done"}});
    if (testing::Test::HasFailure()) return;
  }
}

/// Moves as Firefox does: the positions between the old and the new one are shifted, whatever they are.
void moveByPosition(std::map<std::string, std::size_t>& positions, const std::string& id, std::size_t index) {
  const std::size_t from = positions[id];
  for (auto& [other, position] : positions) {
    if (other == id) continue;
    if (index < from && position >= index && position < from) {
      ++position;
    } else if (index > from && position > from && position <= index) {
      --position;
    }
  }
  positions[id] = index;
}

TEST(CorruptPositions, AreRepairedBySorting) {
  for (std::uint32_t seed = 0; seed < 2 * kSeeds; ++seed) {
    SessionFixture t;
    std::mt19937 random(seed);
    const std::size_t count = 2 + random() % 8;
    std::vector<std::size_t> given(count);
    for (std::size_t& position : given) position = random() % (count + 2);
    std::ranges::sort(given);
    nlohmann::json tree = BrowserModel(BrowserFamily::kFirefox).tree();
    std::map<std::string, std::size_t> positions;
    std::map<std::string, std::string> titles;
    bool isCorrupt = false;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string id = "n" + std::to_string(i);
      titles[std::to_string(random())] = id;
      positions[id] = given[i];
      isCorrupt = isCorrupt || given[i] != i;
    }
    std::map<std::string, std::string> titleOf;
    for (const auto& [title, id] : titles) titleOf[id] = title;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string id = "n" + std::to_string(i);
      tree[0]["children"][1]["children"].push_back(
          {{"id", id}, {"title", titleOf[id]}, {"type", "bookmark"}, {"url", "https://x"}, {"index", given[i]}});
    }
    const auto replies = t.ask({{"type", "plan"}, {"task", "sort"}, {"tree", tree}});
    for (const auto& operation : replies.back()["list"]) moveByPosition(positions, operation[1], operation[3]);
    std::size_t place = 0;
    for (const auto& [title, id] : titles) EXPECT_EQ(positions[id], place++) << "seed " << seed << " " << isCorrupt;
    if (testing::Test::HasFailure()) return;
  }
}

TEST(CorruptPositions, AreRepairedByACleaningThatTakesEntriesAway) {
  for (std::uint32_t seed = 0; seed < 2 * kSeeds; ++seed) {
    SessionFixture t;
    std::mt19937 random(seed);
    const std::size_t count = 2 + random() % 8;
    nlohmann::json tree = BrowserModel(BrowserFamily::kFirefox).tree();
    std::map<std::string, std::size_t> positions;
    std::size_t given = random() % 2;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string id = "n" + std::to_string(i);
      const std::string address = "https://example.org/" + std::to_string(random() % count);
      positions[id] = given;
      tree[0]["children"][0]["children"].push_back(
          {{"id", id}, {"title", id}, {"type", "bookmark"}, {"url", address}, {"index", given}});
      given += random() % 3;
    }
    const auto replies = t.ask({{"type", "plan"}, {"task", "clean"}, {"tree", tree}});
    for (const auto& operation : replies.back()["list"]) {
      if (operation[0] != "move") continue;
      if (operation[2] == "toolbar_____") {
        moveByPosition(positions, operation[1], operation[3]);
        continue;
      }
      const std::size_t left = positions.at(operation[1]);
      positions.erase(operation[1]);
      for (auto& [id, position] : positions) position -= position > left ? 1 : 0;
    }
    std::size_t place = 0;
    for (const auto& [id, position] : positions) EXPECT_EQ(position, place++) << "seed " << seed;
    if (testing::Test::HasFailure()) return;
  }
}

}  // namespace

}  // namespace tarvel
