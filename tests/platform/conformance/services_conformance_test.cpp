// Conformance of the small services, for every implementation: clock, identifiers, log, title order.

#include <gtest/gtest.h>

#include <set>

#include "platform/collation/icu_collator.h"
#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "platform/linux/log/linux_system_log.h"
#include "platform/memory/memory_platform.h"

namespace tarvel {
namespace {

using namespace std::chrono_literals;

struct MemoryServices {
  VirtualTime time;
  MemoryClock clock{time};
  MemoryUuidSource uuidSource;
  MemorySystemLog log;
  MemoryCollator memoryCollator;
  Collator& collator = memoryCollator;

  [[nodiscard]] std::chrono::nanoseconds now() const { return time.monotonic(); }
};

struct LinuxServices {
  LinuxClock clock;
  LinuxUuidSource uuidSource;
  LinuxSystemLog log{"tarvel-test", "/no/journal", "/no/log"};
  std::unique_ptr<IcuCollator> icu = IcuCollator::forEnvironment();
  Collator& collator = *icu;

  [[nodiscard]] static std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }
};

template <typename Services>
struct ServicesConformance : testing::Test, Services {};
using ServicesKinds = testing::Types<MemoryServices, LinuxServices>;
TYPED_TEST_SUITE(ServicesConformance, ServicesKinds);

TYPED_TEST(ServicesConformance, ASleepPassesOnBothClocks) {
  const std::chrono::nanoseconds before = this->clock.monotonic();
  const Date day = this->clock.wallClock();
  this->clock.sleepFor(std::chrono::milliseconds(20));
  EXPECT_GE(this->clock.monotonic() - before, std::chrono::milliseconds(20));
  EXPECT_GT(this->clock.wallClock(), day);
  // Some time this century.
  EXPECT_GT(day.seconds, 1'500'000'000);
  EXPECT_LT(day.seconds, 4'000'000'000);
  EXPECT_LT(day.nanoseconds, 1'000'000'000U);
}

TYPED_TEST(ServicesConformance, ASleepTakesAtLeastItsTime) {
  const auto before = this->now();
  this->clock.sleepFor(20ms);
  EXPECT_GE(this->now() - before, 20ms);
}

TYPED_TEST(ServicesConformance, ASleepOfZeroReturns) {
  this->clock.sleepFor(0ms);
  this->clock.sleepFor(-5ms);
}

TYPED_TEST(ServicesConformance, IdentifiersDifferAndHaveTheRandomVersion) {
  std::set<std::array<std::uint8_t, 16>> seen;
  for (int i = 0; i < 100; ++i) {
    const auto uuid = this->uuidSource.createUuid();
    EXPECT_EQ(uuid[6] & 0xF0, 0x40);
    EXPECT_EQ(uuid[8] & 0xC0, 0x80);
    EXPECT_TRUE(seen.insert(uuid).second);
  }
}

TYPED_TEST(ServicesConformance, ALogTakesAnyMessage) {
  for (const std::string& message : {std::string("a line"), std::string(), std::string("two\nlines"),
                                     std::string("\0\xFF%s%n", 6), std::string(100'000, 'x')}) {
    this->log.log(message);
  }
}

TYPED_TEST(ServicesConformance, TitlesThatDifferOnlyInCaseRankEquallyAndOthersInOrder) {
  const std::vector<std::string_view> titles = {"beta", "Alpha", "BETA", "alpha", "gamma", ""};
  const auto ranks = this->collator.rank(titles);
  ASSERT_EQ(ranks.size(), titles.size());
  EXPECT_EQ(ranks[0], ranks[2]);
  EXPECT_EQ(ranks[1], ranks[3]);
  EXPECT_LT(ranks[5], ranks[1]);
  EXPECT_LT(ranks[1], ranks[0]);
  EXPECT_LT(ranks[0], ranks[4]);
}

TYPED_TEST(ServicesConformance, NoTitlesHaveNoRanks) { EXPECT_TRUE(this->collator.rank({}).empty()); }

}  // namespace
}  // namespace tarvel
