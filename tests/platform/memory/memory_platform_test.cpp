#include "platform/memory/memory_platform.h"

#include <gtest/gtest.h>

#include <set>

namespace tarvel {
namespace {

TEST(MemoryPlatform, TitlesThatDifferOnlyInAsciiCaseShareARank) {
  MemoryCollator collator;
  const std::vector<std::string_view> titles = {"b", "A", "a", "B", "", "\xC3\x84"};
  const auto ranks = collator.rank(titles);
  ASSERT_EQ(ranks.size(), titles.size());
  EXPECT_EQ(ranks[0], ranks[3]);
  EXPECT_EQ(ranks[1], ranks[2]);
  EXPECT_LT(ranks[1], ranks[0]);
  EXPECT_LT(ranks[4], ranks[1]);
  EXPECT_LT(ranks[0], ranks[5]);
}

TEST(MemoryPlatform, SleepsAreRecordedAndTakeVirtualTime) {
  VirtualTime time;
  MemoryClock clock(time);
  std::size_t last = 0;
  clock.setHook([&](std::size_t count) { last = count; });
  clock.sleepFor(std::chrono::hours(10));
  clock.sleepFor(std::chrono::milliseconds(300));
  EXPECT_EQ(clock.sleeps(),
            (std::vector<std::chrono::milliseconds>{std::chrono::hours(10), std::chrono::milliseconds(300)}));
  EXPECT_EQ(last, 2U);
  EXPECT_EQ(time.monotonic(), std::chrono::hours(10) + std::chrono::milliseconds(300));
}

TEST(MemoryPlatform, IdentifiersAreDistinctAndOfTheRandomVersion) {
  MemoryUuidSource source;
  std::set<std::array<std::uint8_t, 16>> seen;
  for (int i = 0; i < 70'000; ++i) {
    const auto uuid = source.createUuid();
    EXPECT_EQ(uuid[6] & 0xF0, 0x40);
    EXPECT_EQ(uuid[8] & 0xC0, 0x80);
    ASSERT_TRUE(seen.insert(uuid).second) << i;
  }
}

TEST(MemoryPlatform, TextsWithoutATranslationAreTheValueOrTheKey) {
  MemoryBundle bundle;
  bundle.translate("Untitled", "Ohne Titel");
  EXPECT_EQ(bundle.localizedStringForKeyValue("Untitled", "x"), "Ohne Titel");
  EXPECT_EQ(bundle.localizedStringForKeyValue("Other", "value"), "value");
  EXPECT_EQ(bundle.localizedStringForKeyValue("Other", ""), "Other");
}

TEST(MemoryPlatform, LinesAndAnnouncementsAreKeptInOrder) {
  MemorySystemLog log;
  log.log("one");
  log.log("two\nlines");
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"one", "two\nlines"}));
  MemoryWorkspace workspace;
  workspace.noteFileSystemChanged("/a");
  EXPECT_EQ(workspace.announced(), std::vector<std::string>{"/a"});
}

}  // namespace
}  // namespace tarvel
