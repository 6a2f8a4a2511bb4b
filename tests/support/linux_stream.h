#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/loop/linux_run_loop.h"
#include "platform/linux/watch/linux_event_stream.h"

namespace tarvel {

/// Records the events of a stream.
class RecordingClient final : public EventStreamClient {
 public:
  void receiveBatch(const EventStreamBatch& batch) override {
    batches.emplace_back(batch.flags.begin(), batch.flags.end());
    ids.insert(ids.end(), batch.ids.begin(), batch.ids.end());
    if (hook) hook();
  }

  /// All flags of all events so far.
  [[nodiscard]] std::uint32_t flags() const {
    std::uint32_t all = 0;
    for (const auto& batch : batches) {
      for (const std::uint32_t flag : batch) all |= flag;
    }
    return all;
  }

  std::vector<std::vector<std::uint32_t>> batches;
  std::vector<std::uint64_t> ids;
  std::function<void()> hook;
};

/// A real run loop that runs until a condition holds, or for a while in which nothing should happen.
struct RealLoop {
  std::unique_ptr<LinuxRunLoop> loop = LinuxRunLoop::create();

  /// False when the condition does not hold within twenty seconds.
  [[nodiscard]] bool turnUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end || !loop->turnOnce(std::chrono::milliseconds(50))) return false;
    }
    return true;
  }

  void turnFor(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    for (auto left = duration; left.count() > 0;) {
      if (!loop->turnOnce(left)) return;
      left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    }
  }
};

}  // namespace tarvel
