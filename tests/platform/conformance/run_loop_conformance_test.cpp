// Conformance of RunLoop, for every implementation.

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tests/support/loop_kinds.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

template <typename Kind>
struct RunLoopConformance : testing::Test, Kind {
  void ask(const void* target, const char* selector, const void* object, const std::string& name, double delay) {
    this->loop.performSelectorWithObjectAfterDelay(
        target, selector, object, [this, name] { called.push_back(name); }, delay);
  }
  void cancel(const void* target, const char* selector, const void* object) {
    this->loop.cancelPreviousPerformRequestsWithTargetSelectorObject(target, selector, object);
  }
  [[nodiscard]] bool isCalled(std::size_t count) {
    return this->passUntil([&] { return called.size() >= count; });
  }

  std::vector<std::string> called;
  int one = 0;
  int another = 0;
};

using RunLoopKinds = testing::Types<MemoryLoopKind, LinuxLoopKind>;
TYPED_TEST_SUITE(RunLoopConformance, RunLoopKinds);

TYPED_TEST(RunLoopConformance, ARequestIsCalledOnceAndNotBeforeItsDelay) {
  const auto start = std::chrono::steady_clock::now();
  const Date before = this->wallClock();
  this->ask(this, "a", nullptr, "a", 0.02);
  EXPECT_THAT(this->called, IsEmpty());
  ASSERT_TRUE(this->isCalled(1));
  const Date after = this->wallClock();
  // One implementation advances the real clock, the other the virtual one; 20 ms passed on either.
  const auto virtualTime = std::chrono::seconds(after.seconds - before.seconds) +
                           std::chrono::nanoseconds(static_cast<std::int64_t>(after.nanoseconds) - before.nanoseconds);
  EXPECT_TRUE(virtualTime >= 19ms || std::chrono::steady_clock::now() - start >= 20ms);
  this->pass(40ms);
  EXPECT_THAT(this->called, ElementsAre("a"));
}

TYPED_TEST(RunLoopConformance, RequestsRunInTheOrderOfTheirDueTimes) {
  this->ask(this, "late", nullptr, "late", 0.06);
  this->ask(this, "early", nullptr, "early", 0.01);
  this->ask(this, "middle", nullptr, "middle", 0.03);
  ASSERT_TRUE(this->isCalled(3));
  EXPECT_THAT(this->called, ElementsAre("early", "middle", "late"));
}

TYPED_TEST(RunLoopConformance, RequestsWithoutDelayRunInTheOrderTheyWereMade) {
  for (int i = 0; i < 20; ++i) this->ask(this, "same", nullptr, std::to_string(i), 0);
  ASSERT_TRUE(this->isCalled(20));
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i) expected.push_back(std::to_string(i));
  EXPECT_EQ(this->called, expected);
}

TYPED_TEST(RunLoopConformance, ARequestIsNeverCalledWhileItIsMade) {
  this->ask(this, "a", nullptr, "a", 0);
  EXPECT_THAT(this->called, IsEmpty());
}

TYPED_TEST(RunLoopConformance, SeveralRequestsOfOneNameAllRun) {
  this->ask(this, "a", nullptr, "first", 0.001);
  this->ask(this, "a", nullptr, "second", 0.002);
  ASSERT_TRUE(this->isCalled(2));
  EXPECT_THAT(this->called, ElementsAre("first", "second"));
}

TYPED_TEST(RunLoopConformance, CancellingRemovesEveryRequestOfThatName) {
  this->ask(&this->one, "a", nullptr, "gone", 0.001);
  this->ask(&this->one, "a", nullptr, "gone too", 0.002);
  this->ask(&this->another, "a", nullptr, "other target", 0.003);
  this->ask(&this->one, "ab", nullptr, "other selector", 0.004);
  this->ask(&this->one, "a", &this->another, "other object", 0.005);
  this->cancel(&this->one, "a", nullptr);
  ASSERT_TRUE(this->isCalled(3));
  this->pass(20ms);
  EXPECT_THAT(this->called, ElementsAre("other target", "other selector", "other object"));
}

TYPED_TEST(RunLoopConformance, CancellingAnUnknownNameDoesNothing) {
  this->cancel(&this->one, "a", nullptr);
  this->ask(&this->one, "a", nullptr, "a", 0);
  ASSERT_TRUE(this->isCalled(1));
  this->cancel(&this->one, "a", nullptr);
  EXPECT_THAT(this->called, ElementsAre("a"));
}

TYPED_TEST(RunLoopConformance, ADueRequestCancelledByAnotherNeverRuns) {
  this->loop.performSelectorWithObjectAfterDelay(
      this, "first", nullptr,
      [this] {
        this->called.push_back("first");
        this->cancel(this, "second", nullptr);
      },
      0);
  this->ask(this, "second", nullptr, "second", 0);
  ASSERT_TRUE(this->isCalled(1));
  this->pass(20ms);
  EXPECT_THAT(this->called, ElementsAre("first"));
}

TYPED_TEST(RunLoopConformance, ARequestMayMakeAnotherAndCancelItsOwnName) {
  this->loop.performSelectorWithObjectAfterDelay(
      this, "again", nullptr,
      [this] {
        this->called.push_back("first");
        this->cancel(this, "again", nullptr);
        this->ask(this, "again", nullptr, "second", 0.001);
      },
      0);
  ASSERT_TRUE(this->isCalled(2));
  EXPECT_THAT(this->called, ElementsAre("first", "second"));
}

TYPED_TEST(RunLoopConformance, ARequestReplacedRepeatedlyRunsOnceAfterTheLastDelay) {
  for (int i = 0; i < 5; ++i) {
    this->cancel(this, "sort", nullptr);
    this->ask(this, "sort", nullptr, std::to_string(i), 0.03);
    this->pass(5ms);
  }
  ASSERT_TRUE(this->isCalled(1));
  this->pass(60ms);
  EXPECT_THAT(this->called, ElementsAre("4"));
}

TYPED_TEST(RunLoopConformance, ANegativeOrInvalidDelayCountsAsZero) {
  this->ask(this, "negative", nullptr, "negative", -5);
  this->ask(this, "nan", nullptr, "nan", std::numeric_limits<double>::quiet_NaN());
  ASSERT_TRUE(this->isCalled(2));
}

TYPED_TEST(RunLoopConformance, AnEnormousDelayNeverExpires) {
  this->ask(this, "huge", nullptr, "huge", 1e300);
  this->ask(this, "infinite", nullptr, "infinite", std::numeric_limits<double>::infinity());
  this->ask(this, "soon", nullptr, "soon", 0.001);
  ASSERT_TRUE(this->isCalled(1));
  this->pass(20ms);
  EXPECT_THAT(this->called, ElementsAre("soon"));
}

TYPED_TEST(RunLoopConformance, ATimerFiresEveryInterval) {
  int count = 0;
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(0.01, [&] { ++count; });
  ASSERT_TRUE(timer);
  EXPECT_TRUE(this->passUntil([&] { return count >= 3; }));
}

TYPED_TEST(RunLoopConformance, ATimerFiresFirstOneIntervalFromNow) {
  const Date before = this->wallClock();
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(3600, [] {});
  const Date after = this->wallClock();
  Date earliest = before;
  Date latest = after;
  earliest.seconds += 3600;
  latest.seconds += 3600;
  EXPECT_GE(timer->fireDate(), earliest);
  EXPECT_LE(timer->fireDate(), latest);
}

TYPED_TEST(RunLoopConformance, APassedFireDateFiresAtOnceAndOnlyOnce) {
  int count = 0;
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(3600, [&] { ++count; });
  Date past = this->wallClock();
  past.seconds -= 3 * 3600 - 1800;
  timer->setFireDate(past);
  ASSERT_TRUE(this->passUntil([&] { return count >= 1; }));
  this->pass(20ms);
  EXPECT_EQ(count, 1);
  // The phase stays: two and a half intervals late, it fires next in half an interval.
  EXPECT_EQ(timer->fireDate().nanoseconds, past.nanoseconds);
  EXPECT_EQ((timer->fireDate().seconds - past.seconds) % 3600, 0);
  EXPECT_GT(timer->fireDate(), this->wallClock());
  EXPECT_LT(timer->fireDate().seconds - this->wallClock().seconds, 3600);
}

TYPED_TEST(RunLoopConformance, ATimerWhoseFireDateWasPostponedDoesNotFireBefore) {
  int count = 0;
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(0.01, [&] { ++count; });
  Date later = this->wallClock();
  later.seconds += 3600;
  timer->setFireDate(later);
  EXPECT_EQ(timer->fireDate(), later);
  this->pass(50ms);
  EXPECT_EQ(count, 0);
}

TYPED_TEST(RunLoopConformance, ADestroyedTimerDoesNotFire) {
  int count = 0;
  auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(0.005, [&] { ++count; });
  timer.reset();
  this->pass(30ms);
  EXPECT_EQ(count, 0);
}

TYPED_TEST(RunLoopConformance, ATimerMayBeDestroyedInItsOwnAction) {
  int count = 0;
  std::unique_ptr<Timer> timer;
  timer = this->loop.scheduledTimerWithTimeIntervalRepeats(0.002, [&] {
    ++count;
    timer.reset();
  });
  ASSERT_TRUE(this->passUntil([&] { return count >= 1; }));
  this->pass(20ms);
  EXPECT_EQ(count, 1);
}

TYPED_TEST(RunLoopConformance, AnIntervalOfZeroIsShortAndDoesNotStarveRequests) {
  int count = 0;
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(0, [&] { ++count; });
  const auto negative = this->loop.scheduledTimerWithTimeIntervalRepeats(-1, [&] { ++count; });
  this->ask(this, "a", nullptr, "a", 0.002);
  ASSERT_TRUE(this->isCalled(1));
  EXPECT_TRUE(this->passUntil([&] { return count >= 2; }));
}

TYPED_TEST(RunLoopConformance, AnEnormousIntervalIsLimitedToTheCalendar) {
  int count = 0;
  const auto timer = this->loop.scheduledTimerWithTimeIntervalRepeats(1e300, [&] { ++count; });
  ASSERT_TRUE(timer);
  EXPECT_GT(timer->fireDate(), this->wallClock());
  this->pass(10ms);
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace tarvel
