#include "watcher/orvo_events.h"

#include <gmock/gmock.h>

#include <functional>

#include "platform/memory/memory_event_stream.h"

namespace tarvel {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

struct ReportedEvent {
  std::uint32_t flags;
  std::uint64_t id;
  friend bool operator==(const ReportedEvent&, const ReportedEvent&) = default;
};

class RecordingDelegate final : public OrvoEventsDelegate {
 public:
  void incomingEventWithFlagsAndId(OrvoEvents& watcher, std::uint32_t flags, std::uint64_t id) override {
    reported.push_back({flags, id});
    if (hook) hook(watcher);
  }

  std::vector<ReportedEvent> reported;
  std::function<void(OrvoEvents&)> hook;
};

/// Does not override the method.
class SilentDelegate final : public OrvoEventsDelegate {};

class OrvoEventsTest : public testing::Test {
 protected:
  [[nodiscard]] std::vector<std::string> callsSince(std::size_t count) const {
    return {service.calls().begin() + static_cast<std::ptrdiff_t>(count), service.calls().end()};
  }

  void TearDown() override {
    if (watcher) watcher->stop();
  }

  VirtualTime time;
  MemoryRunLoop loop{time};
  MemoryEventStreamService service{loop};
  RecordingDelegate delegate;
  std::shared_ptr<OrvoEvents> watcher = OrvoEvents::initWithPathAndDelegate(service, "/folder", &delegate);
};

TEST_F(OrvoEventsTest, ANewWatcherIsInactiveUnpausedAndCoalescing) {
  EXPECT_FALSE(watcher->isActive());
  EXPECT_FALSE(watcher->isPaused());
  EXPECT_TRUE(watcher->coaleseSimultaneousEvents());
  EXPECT_EQ(watcher->path(), "/folder");
  EXPECT_EQ(watcher->delegate(), &delegate);
  EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(OrvoEventsTest, StartUsesALatencyOfOneSecond) {
  EXPECT_TRUE(watcher->start());
  EXPECT_THAT(service.calls(), ElementsAre("create /folder 1", "start"));
}

TEST_F(OrvoEventsTest, AStreamIsCreatedForNewEventsOnly) {
  EXPECT_TRUE(watcher->startWithLatency(2.0));
  EXPECT_EQ(service.lastSinceWhen(), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(service.lastFlags(), 1U);
}

TEST_F(OrvoEventsTest, StartWithLatencyPassesTheLatencyOnUnchanged) {
  EXPECT_TRUE(watcher->startWithLatency(0.25));
  EXPECT_THAT(service.calls(), ElementsAre("create /folder 0.25", "start"));
  EXPECT_TRUE(watcher->isActive());
  EXPECT_FALSE(watcher->isPaused());
}

TEST_F(OrvoEventsTest, AStreamThatCannotBeMadeLeavesTheWatcherIdle) {
  service.setCreationWorks(false);
  EXPECT_FALSE(watcher->startWithLatency(2.0));
  EXPECT_FALSE(watcher->start());
  EXPECT_FALSE(watcher->isActive());
  EXPECT_FALSE(watcher->isPaused());
}

TEST_F(OrvoEventsTest, AStreamThatDoesNotStartCountsAsRunning) {
  service.setStartWorks(false);
  EXPECT_TRUE(watcher->start());
  EXPECT_TRUE(watcher->isActive());
}

TEST_F(OrvoEventsTest, EventsAreReportedAtTheLatencyAndNotBefore) {
  ASSERT_TRUE(watcher->startWithLatency(2.0));
  service.post("/folder");
  loop.advanceBy(1999ms);
  EXPECT_THAT(delegate.reported, IsEmpty());
  loop.advanceBy(1ms);
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{0, 1}));
}

TEST_F(OrvoEventsTest, LaterEventsJoinTheBatchAndDoNotDelayIt) {
  ASSERT_TRUE(watcher->startWithLatency(2.0));
  watcher->setCoaleseSimultaneousEvents(false);
  service.post("/folder");
  loop.advanceBy(1500ms);
  service.post("/folder", kEventFlagRootChanged);
  loop.advanceBy(500ms);
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{0, 1}, ReportedEvent{kEventFlagRootChanged, 2}));
}

TEST_F(OrvoEventsTest, CoalescingABatchOfFiveYieldsOneCallWithTheFirstEvent) {
  ASSERT_TRUE(watcher->start());
  service.deliver({7, 1, 2, 3, 4}, {50, 51, 52, 53, 54});
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{7, 50}));
}

TEST_F(OrvoEventsTest, CoalescingAnEmptyBatchYieldsOneCallWithZeros) {
  ASSERT_TRUE(watcher->start());
  service.deliver({}, {});
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{0, 0}));
}

TEST_F(OrvoEventsTest, WithoutCoalescingABatchOfFiveYieldsFiveCallsInOrder) {
  ASSERT_TRUE(watcher->start());
  watcher->setCoaleseSimultaneousEvents(false);
  service.deliver({7, 1, 2, 3, 4}, {50, 51, 52, 53, 54});
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{7, 50}, ReportedEvent{1, 51}, ReportedEvent{2, 52},
                                             ReportedEvent{3, 53}, ReportedEvent{4, 54}));
}

TEST_F(OrvoEventsTest, WithoutCoalescingAnEmptyBatchYieldsNoCall) {
  ASSERT_TRUE(watcher->start());
  watcher->setCoaleseSimultaneousEvents(false);
  service.deliver({}, {});
  EXPECT_THAT(delegate.reported, IsEmpty());
}

TEST_F(OrvoEventsTest, EveryFlagIsPassedOnAsItCame) {
  ASSERT_TRUE(watcher->start());
  watcher->setCoaleseSimultaneousEvents(false);
  service.deliver({0x10, 0x1, 0x20, 0x5, 0xFFFFFFFF}, {1, 2, 3, 4, 0xFFFFFFFFFFFFFFFF});
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{0x10, 1}, ReportedEvent{0x1, 2}, ReportedEvent{0x20, 3},
                                             ReportedEvent{0x5, 4}, ReportedEvent{0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF}));
}

TEST_F(OrvoEventsTest, TurningCoalescingOnDuringABatchDoesNotAffectThatBatch) {
  ASSERT_TRUE(watcher->start());
  watcher->setCoaleseSimultaneousEvents(false);
  delegate.hook = [](OrvoEvents& sender) { sender.setCoaleseSimultaneousEvents(true); };
  service.deliver({1, 2}, {1, 2});
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{1, 1}, ReportedEvent{2, 2}));
}

TEST_F(OrvoEventsTest, PauseStopsTheStreamAndKeepsIt) {
  ASSERT_TRUE(watcher->start());
  const std::size_t before = service.calls().size();
  watcher->pause();
  EXPECT_TRUE(watcher->isPaused());
  EXPECT_TRUE(watcher->isActive());
  EXPECT_THAT(callsSince(before), ElementsAre("stop"));
}

TEST_F(OrvoEventsTest, PausingTwiceAndUnpausingOnceLeavesTheWatcherRunning) {
  ASSERT_TRUE(watcher->start());
  const std::size_t before = service.calls().size();
  watcher->pause();
  watcher->pause();
  watcher->unPause();
  EXPECT_FALSE(watcher->isPaused());
  EXPECT_TRUE(watcher->isActive());
  EXPECT_THAT(callsSince(before), ElementsAre("stop", "start"));
}

TEST_F(OrvoEventsTest, PauseWithoutAStreamDoesNothing) {
  watcher->pause();
  EXPECT_FALSE(watcher->isPaused());
  EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(OrvoEventsTest, UnpauseWithoutAStreamStartsNothing) {
  watcher->unPause();
  EXPECT_FALSE(watcher->isPaused());
  EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(OrvoEventsTest, UnpauseOfARunningWatcherChangesNothing) {
  ASSERT_TRUE(watcher->start());
  const std::size_t before = service.calls().size();
  watcher->unPause();
  EXPECT_THAT(callsSince(before), IsEmpty());
  EXPECT_TRUE(watcher->isActive());
}

TEST_F(OrvoEventsTest, EventsDuringAPauseAreReportedALatencyAfterUnpausing) {
  ASSERT_TRUE(watcher->startWithLatency(2.0));
  watcher->pause();
  service.post("/folder");
  loop.advanceBy(60s);
  EXPECT_THAT(delegate.reported, IsEmpty());
  watcher->unPause();
  loop.advanceBy(1999ms);
  EXPECT_THAT(delegate.reported, IsEmpty());
  loop.advanceBy(1ms);
  EXPECT_EQ(delegate.reported.size(), 1U);
}

TEST_F(OrvoEventsTest, APauseBeforeTheBatchIsDueHoldsTheBatchBack) {
  ASSERT_TRUE(watcher->startWithLatency(2.0));
  service.post("/folder");
  loop.advanceBy(1s);
  watcher->pause();
  loop.advanceBy(10s);
  EXPECT_THAT(delegate.reported, IsEmpty());
  watcher->unPause();
  loop.advanceBy(2s);
  EXPECT_EQ(delegate.reported.size(), 1U);
}

TEST_F(OrvoEventsTest, AnIncomingEventReachesTheDelegateAlsoWhilePaused) {
  ASSERT_TRUE(watcher->start());
  watcher->pause();
  watcher->incomingEventWithFlagsAndId(3, 4);
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{3, 4}));
}

TEST_F(OrvoEventsTest, StartOnARunningWatcherTearsDownTheOldStreamFirst) {
  ASSERT_TRUE(watcher->start());
  const std::size_t before = service.calls().size();
  EXPECT_TRUE(watcher->startWithLatency(3.0));
  EXPECT_THAT(callsSince(before), ElementsAre("stop", "invalidate", "release", "create /folder 3", "start"));
  EXPECT_TRUE(watcher->isActive());
  EXPECT_EQ(service.streamCount(), 1U);
}

TEST_F(OrvoEventsTest, StartOnAPausedWatcherEndsRunningAndUnpaused) {
  ASSERT_TRUE(watcher->start());
  watcher->pause();
  EXPECT_TRUE(watcher->startWithLatency(3.0));
  EXPECT_FALSE(watcher->isPaused());
  service.post("/folder");
  loop.advanceBy(3s);
  EXPECT_EQ(delegate.reported.size(), 1U);
}

TEST_F(OrvoEventsTest, AFailedStartOnAPausedWatcherLeavesItIdle) {
  ASSERT_TRUE(watcher->start());
  watcher->pause();
  service.setCreationWorks(false);
  EXPECT_FALSE(watcher->start());
  EXPECT_FALSE(watcher->isActive());
  EXPECT_FALSE(watcher->isPaused());
}

TEST_F(OrvoEventsTest, StopTearsTheStreamDownInOrder) {
  ASSERT_TRUE(watcher->start());
  const std::size_t before = service.calls().size();
  watcher->stop();
  EXPECT_THAT(callsSince(before), ElementsAre("stop", "invalidate", "release"));
  EXPECT_FALSE(watcher->isActive());
}

TEST_F(OrvoEventsTest, StopOfAPausedWatcherEndsThePauseToo) {
  ASSERT_TRUE(watcher->start());
  watcher->pause();
  watcher->stop();
  EXPECT_FALSE(watcher->isPaused());
  EXPECT_FALSE(watcher->isActive());
}

TEST_F(OrvoEventsTest, StopOnAnIdleWatcherDoesNothing) {
  watcher->stop();
  watcher->stop();
  EXPECT_THAT(service.calls(), IsEmpty());
  EXPECT_FALSE(watcher->isActive());
}

TEST_F(OrvoEventsTest, StopDiscardsPendingEvents) {
  ASSERT_TRUE(watcher->start());
  service.post("/folder");
  watcher->stop();
  loop.advanceBy(10s);
  EXPECT_THAT(delegate.reported, IsEmpty());
}

TEST_F(OrvoEventsTest, ADelegateWithoutTheMethodIgnoresEvents) {
  SilentDelegate silent;
  watcher->setDelegate(&silent);
  ASSERT_TRUE(watcher->start());
  service.post("/folder");
  loop.advanceBy(1s);
  service.deliver({1}, {1});
  EXPECT_TRUE(watcher->isActive());
  EXPECT_THAT(delegate.reported, IsEmpty());
}

TEST_F(OrvoEventsTest, WithoutADelegateEventsAreDropped) {
  watcher->setDelegate(nullptr);
  ASSERT_TRUE(watcher->start());
  service.post("/folder");
  loop.advanceBy(1s);
  watcher->setDelegate(&delegate);
  EXPECT_THAT(delegate.reported, IsEmpty());
  service.post("/folder");
  loop.advanceBy(1s);
  EXPECT_EQ(delegate.reported.size(), 1U);
}

TEST_F(OrvoEventsTest, TheStreamHoldsAReferenceToTheWatcherUntilStop) {
  ASSERT_TRUE(watcher->start());
  const std::weak_ptr<OrvoEvents> weak = watcher;
  OrvoEvents* const held = watcher.get();
  watcher.reset();
  EXPECT_FALSE(weak.expired());
  service.post("/folder");
  loop.advanceBy(1s);
  EXPECT_EQ(delegate.reported.size(), 1U);
  held->stop();
  EXPECT_TRUE(weak.expired());
}

TEST_F(OrvoEventsTest, AWatcherThatNeverStartedIsDestroyedWithItsLastReference) {
  const std::weak_ptr<OrvoEvents> weak = watcher;
  watcher.reset();
  EXPECT_TRUE(weak.expired());
}

TEST_F(OrvoEventsTest, ADelegateMayStopAndReleaseTheWatcherDuringABatch) {
  ASSERT_TRUE(watcher->start());
  watcher->setCoaleseSimultaneousEvents(false);
  const std::weak_ptr<OrvoEvents> weak = watcher;
  delegate.hook = [this](OrvoEvents& sender) {
    sender.stop();
    watcher.reset();
  };
  service.deliver({1, 2}, {1, 2});
  EXPECT_TRUE(weak.expired());
  EXPECT_THAT(delegate.reported, ElementsAre(ReportedEvent{1, 1}, ReportedEvent{2, 2}));
}

TEST_F(OrvoEventsTest, ANewPathTakesEffectAtTheNextStart) {
  ASSERT_TRUE(watcher->start());
  watcher->setPath("/other");
  service.post("/other");
  loop.advanceBy(1s);
  EXPECT_THAT(delegate.reported, IsEmpty());
  ASSERT_TRUE(watcher->start());
  service.post("/other");
  loop.advanceBy(1s);
  EXPECT_EQ(delegate.reported.size(), 1U);
}

}  // namespace
}  // namespace tarvel
