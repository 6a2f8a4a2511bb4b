// What a sort reports to its observers, and how an observer stops it.

#include "engine/sort_observer.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "engine/tarvel.h"
#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kObservedFile = "/f";
constexpr const char* kObservedBackup = "/b";

/// Records removals as "title: reason, survivor".
class RemovalRecorder final : public SortObserver {
 public:
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override {
    constexpr const char* kReasons[] = {"empty", "no address", "duplicate"};
    lines.push_back(titleOf(entry) + ": " + kReasons[static_cast<int>(reason)] +
                    (survivor ? ", " + titleOf(survivor) : ""));
  }

  std::vector<std::string> lines;

 private:
  static std::string titleOf(PropertyListDictionary node) {
    if (const auto title = node.string(kTitleKey)) return std::string(*title);
    return std::string(node.dictionary(kURIDictionaryKey).string(kURITitleKey).value_or("(none)"));
  }
};

/// Requests a stop after `after` polls, and counts the polls during the write.
class Stopper final : public StageObserver {
 public:
  explicit Stopper(std::size_t after) : after_(after) {}

  void stageBegan(SortStage stage) override { isWriting_ = stage == SortStage::kWriting; }
  [[nodiscard]] bool isStopRequested() override {
    askedWhileWriting += isWriting_ ? 1 : 0;
    return ++asked > after_;
  }

  std::size_t asked = 0;
  std::size_t askedWhileWriting = 0;

 private:
  std::size_t after_;
  bool isWriting_ = false;
};

struct SortObservers : testing::Test, EngineFixture {
  SortObservers() {
    tarvel.setRemoveDuplicates(true);
    tarvel.setRenameSamenamed(true);
  }

  std::vector<std::string> removals(std::string_view notation) {
    RemovalRecorder recorder;
    tarvel.setSortObserver(&recorder);
    const PropertyList list = tree(notation);
    bool didSort = false;
    (void)tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
    tarvel.setSortObserver(nullptr);
    return recorder.lines;
  }
};

TEST_F(SortObservers, EveryRemovedDuplicateIsReportedWithItsSurvivor) {
  EXPECT_THAT(removals("Root[ BookmarksBar[ a@u F[ b@u ] c@u ] BookmarksMenu[ d@v e@v ] x@u y@u ]"),
              ElementsAre("x: duplicate, y", "b: duplicate, c", "F: empty", "a: duplicate, c", "d: duplicate, e"));
}

TEST_F(SortObservers, TheSurvivorOfALaterRenamedDuplicateHasItsFinalTitle) {
  EXPECT_THAT(removals("Root[ BookmarksBar[ a@u News@u News@v ] BookmarksMenu[ k ] ]"),
              ElementsAre("a: duplicate, News 2"));
}

TEST_F(SortObservers, TheRootOfATreeIsNeverReportedAsRemoved) {
  EXPECT_THAT(removals("Root[ BookmarksBar[ ] BookmarksMenu[ ] ]"), IsEmpty());
  EXPECT_THAT(removals("Root[ BookmarksBar[ a@ ] BookmarksMenu[ k ] ]"), ElementsAre("a: no address"));
  const PropertyList bookmark = tree("a@");
  RemovalRecorder recorder;
  tarvel.setSortObserver(&recorder);
  tarvel.validateBookmarksInRootNode(bookmark.root.dictionary());
  EXPECT_THAT(recorder.lines, IsEmpty());
}

TEST_F(SortObservers, AStopAtAnyPointLeavesTheFileAndMakesNoBackup) {
  const std::string before =
      serialization.dataWithPropertyList(tree("Root[ BookmarksBar[ x ] BookmarksMenu[ G[ d c ] F[ b a ] ] y w ]"), 200)
          .data.joined();
  std::size_t stops = 0;
  for (std::size_t after = 0;; ++after) {
    Tarvel one(platform);
    Stopper stopper(after);
    memory.fileManager.putFile(kObservedFile, before);
    one.setBookmarksFilename(kObservedFile);
    one.setBackupFilename(kObservedBackup);
    one.setWriteBackupFile(true);
    one.setStageObserver(&stopper);
    ASSERT_EQ(one.sortBookmarks(), TarvelErrorNone) << after;
    EXPECT_EQ(stopper.askedWhileWriting, 0U);
    if (!one.wasStopped()) break;
    ++stops;
    EXPECT_EQ(memory.fileManager.bytesAt(kObservedFile), before) << after;
    EXPECT_FALSE(memory.fileManager.bytesAt(kObservedBackup)) << after;
  }
  // Before the read, at each folder during cleaning and ordering, and at the end.
  EXPECT_GT(stops, 8U);
  EXPECT_NE(memory.fileManager.bytesAt(kObservedFile), before);
}

TEST_F(SortObservers, AStopEndsTheWaitForTheBrowser) {
  Stopper stopper(2);
  memory.fileManager.putFile(kObservedFile, "bytes");
  memory.fileManager.putFile("/lock", "");
  tarvel.setBookmarksFilename(kObservedFile);
  tarvel.setStageObserver(&stopper);
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorNone);
  EXPECT_TRUE(tarvel.wasStopped());
  EXPECT_EQ(memory.clock.sleeps().size(), 2U);
}

}  // namespace
}  // namespace tarvel
