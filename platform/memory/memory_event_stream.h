#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_stream.h"
#include "platform/memory/memory_run_loop.h"

namespace tarvel {

/// Event streams whose events are posted by a test. Batches follow the interface's rules, in virtual time.
class MemoryEventStreamService final : public EventStreamService {
 public:
  explicit MemoryEventStreamService(MemoryRunLoop& runLoop) : runLoop_(runLoop) {}

  [[nodiscard]] std::unique_ptr<EventStream> createStream(std::shared_ptr<EventStreamClient> client,
                                                          const std::string& path, std::uint64_t sinceWhen,
                                                          double latency, std::uint32_t flags) override;

  /// Simulates a change at `path`, for every stream on it.
  void post(const std::string& path, std::uint32_t flags = kEventFlagNone);
  /// Delivers a batch to every running stream at once, without latency: for batches that are hard to cause.
  void deliver(const std::vector<std::uint32_t>& flags, const std::vector<std::uint64_t>& ids);

  void setCreationWorks(bool works) { creationWorks_ = works; }
  void setStartWorks(bool works) { startWorks_ = works; }

  /// Calls of this service and its streams, in order: "create PATH SECONDS", "start", "stop", "invalidate", "release".
  [[nodiscard]] const std::vector<std::string>& calls() const { return calls_; }
  void forgetCalls() { std::vector<std::string>().swap(calls_); }
  /// `sinceWhen` and `flags` of the last creation.
  [[nodiscard]] std::uint64_t lastSinceWhen() const { return lastSinceWhen_; }
  [[nodiscard]] std::uint32_t lastFlags() const { return lastFlags_; }
  [[nodiscard]] std::size_t streamCount() const { return streams_.size(); }

 private:
  class Stream;

  MemoryRunLoop& runLoop_;
  std::vector<Stream*> streams_;
  std::vector<std::string> calls_;
  std::uint64_t lastId_ = 0;
  std::uint64_t lastSinceWhen_ = 0;
  std::uint32_t lastFlags_ = 0;
  bool creationWorks_ = true;
  bool startWorks_ = true;
};

}  // namespace tarvel
