// Conformance of EventStream, for every implementation.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/support/loop_kinds.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

struct MemoryStreamKind : MemoryLoopKind {
  MemoryEventStreamService service{loop};

  [[nodiscard]] static std::string folder() { return "/folder"; }
  [[nodiscard]] static std::string missingFolder() { return "/missing"; }
  void change() { service.post("/folder"); }
};

struct LinuxStreamKind : LinuxLoopKind {
  LinuxStreamKind() { std::filesystem::create_directory(directory.path("folder")); }

  [[nodiscard]] std::string folder() const { return directory.path("folder"); }
  [[nodiscard]] std::string missingFolder() const { return directory.path("missing"); }
  /// Causes exactly one event: a rename of an existing file.
  void change() {
    const std::string path = directory.path("folder/" + std::to_string(made++));
    std::ofstream(directory.path("outside")) << "x";
    std::filesystem::rename(directory.path("outside"), path);
  }

  TemporaryDirectory directory;
  LinuxEventStreamService service{loop};
  int made = 0;
};

template <typename Kind>
struct EventStreamConformance : testing::Test, Kind {
  static constexpr double kLatency = 0.03;

  [[nodiscard]] std::unique_ptr<EventStream> create(const std::string& path, double latency = kLatency) {
    return this->service.createStream(client, path, kEventStreamEventIdSinceNow, latency,
                                      kEventStreamCreateFlagUseCFTypes);
  }
  void start() {
    stream = create(this->folder());
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->start());
  }
  [[nodiscard]] bool isReported(std::size_t batches) {
    return this->passUntil([&] { return client->batches.size() >= batches; });
  }
  [[nodiscard]] std::size_t eventCount() const {
    std::size_t count = 0;
    for (const auto& batch : client->batches) count += batch.size();
    return count;
  }

  std::shared_ptr<RecordingClient> client = std::make_shared<RecordingClient>();
  std::unique_ptr<EventStream> stream;
};

using EventStreamKinds = testing::Types<MemoryStreamKind, LinuxStreamKind>;
TYPED_TEST_SUITE(EventStreamConformance, EventStreamKinds);

TYPED_TEST(EventStreamConformance, AStreamIsCreatedStopped) {
  this->stream = this->create(this->folder());
  this->change();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
}

TYPED_TEST(EventStreamConformance, AnEmptyPathCannotBeWatched) { EXPECT_EQ(this->create(""), nullptr); }

TYPED_TEST(EventStreamConformance, AMissingFolderCanBeWatched) {
  this->stream = this->create(this->missingFolder());
  ASSERT_TRUE(this->stream);
  EXPECT_TRUE(this->stream->start());
  this->pass(60ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
}

TYPED_TEST(EventStreamConformance, WithoutAChangeNothingIsReported) {
  this->start();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
}

TYPED_TEST(EventStreamConformance, AChangeIsReportedAfterTheLatency) {
  this->start();
  this->change();
  EXPECT_THAT(this->client->batches, IsEmpty());
  ASSERT_TRUE(this->isReported(1));
  EXPECT_EQ(this->client->flags(), kEventFlagNone);
  EXPECT_THAT(this->client->ids, SizeIs(1));
}

TYPED_TEST(EventStreamConformance, ChangesWithinTheLatencyComeAsOneBatch) {
  this->start();
  for (int i = 0; i < 5; ++i) this->change();
  ASSERT_TRUE(this->isReported(1));
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, SizeIs(1));
  EXPECT_EQ(this->eventCount(), 5U);
}

TYPED_TEST(EventStreamConformance, ChangesAfterABatchComeInTheNextOne) {
  this->start();
  this->change();
  ASSERT_TRUE(this->isReported(1));
  this->change();
  ASSERT_TRUE(this->isReported(2));
  EXPECT_EQ(this->eventCount(), 2U);
}

TYPED_TEST(EventStreamConformance, IdentifiersIncreaseAndAreNeverZero) {
  this->start();
  for (int i = 0; i < 5; ++i) this->change();
  ASSERT_TRUE(this->isReported(1));
  this->change();
  ASSERT_TRUE(this->isReported(2));
  std::uint64_t last = 0;
  for (const std::uint64_t id : this->client->ids) {
    EXPECT_GT(id, last);
    last = id;
  }
}

TYPED_TEST(EventStreamConformance, ABatchHasAtMost256EventsAndThenAsksForARescan) {
  this->start();
  for (int i = 0; i < 400; ++i) this->change();
  ASSERT_TRUE(this->isReported(1));
  this->pass(100ms);
  for (const auto& batch : this->client->batches) EXPECT_LE(batch.size(), 256U);
  EXPECT_TRUE(this->client->batches[0].size() < 256 ||
              (this->client->batches[0].back() & kEventFlagMustScanSubDirs) != 0 || this->client->batches.size() > 1);
}

TYPED_TEST(EventStreamConformance, AStoppedStreamReportsNothing) {
  this->start();
  this->stream->stop();
  this->change();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
}

TYPED_TEST(EventStreamConformance, ChangesWhileStoppedAreReportedAfterARestart) {
  this->start();
  this->stream->stop();
  this->change();
  this->pass(50ms);
  ASSERT_TRUE(this->stream->start());
  ASSERT_TRUE(this->isReported(1));
  EXPECT_EQ(this->eventCount(), 1U);
}

TYPED_TEST(EventStreamConformance, APendingBatchIsDeliveredAfterARestart) {
  this->start();
  this->change();
  this->pass(5ms);
  this->stream->stop();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
  ASSERT_TRUE(this->stream->start());
  ASSERT_TRUE(this->isReported(1));
  EXPECT_EQ(this->eventCount(), 1U);
}

TYPED_TEST(EventStreamConformance, StartingARunningStreamChangesNothing) {
  this->start();
  this->change();
  EXPECT_TRUE(this->stream->start());
  ASSERT_TRUE(this->isReported(1));
  this->pass(60ms);
  EXPECT_EQ(this->eventCount(), 1U);
}

TYPED_TEST(EventStreamConformance, AnInvalidatedStreamCannotBeRestarted) {
  this->start();
  this->stream->invalidate();
  EXPECT_FALSE(this->stream->start());
  this->change();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, IsEmpty());
}

TYPED_TEST(EventStreamConformance, AStreamKeepsItsClientAlive) {
  this->start();
  const std::weak_ptr<RecordingClient> weak = this->client;
  this->client.reset();
  this->stream->stop();
  this->stream->invalidate();
  EXPECT_FALSE(weak.expired());
  this->stream.reset();
  EXPECT_TRUE(weak.expired());
}

TYPED_TEST(EventStreamConformance, AStreamMayBeDestroyedDuringItsCallback) {
  this->start();
  this->client->hook = [this] { this->stream.reset(); };
  this->change();
  ASSERT_TRUE(this->isReported(1));
  this->change();
  this->pass(100ms);
  EXPECT_THAT(this->client->batches, SizeIs(1));
}

TYPED_TEST(EventStreamConformance, AStreamMayBeRestartedDuringItsCallback) {
  this->start();
  this->client->hook = [this] {
    this->stream->stop();
    (void)this->stream->start();
  };
  this->change();
  ASSERT_TRUE(this->isReported(1));
  this->change();
  ASSERT_TRUE(this->isReported(2));
}

TYPED_TEST(EventStreamConformance, TwoStreamsOnOneFolderBothReport) {
  this->start();
  const auto second = this->create(this->folder());
  ASSERT_TRUE(second && second->start());
  this->change();
  ASSERT_TRUE(this->isReported(2));
  EXPECT_EQ(this->eventCount(), 2U);
}

TYPED_TEST(EventStreamConformance, WithoutLatencyAChangeIsReportedSoon) {
  this->stream = this->create(this->folder(), 0);
  ASSERT_TRUE(this->stream && this->stream->start());
  this->change();
  EXPECT_TRUE(this->isReported(1));
}

}  // namespace
}  // namespace tarvel
