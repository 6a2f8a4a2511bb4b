#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/event_stream.h"
#include "platform/linux/loop/linux_run_loop.h"

namespace tarvel {

/// Event streams on inotify.
class LinuxEventStreamService final : public EventStreamService {
 public:
  /// How a folder is watched whose file system does not report what other machines change.
  struct Polling {
    /// Whether the file system of a folder needs it; none when that cannot be told now.
    std::function<std::optional<bool>(const std::string& folder)> isNeeded;
    std::chrono::nanoseconds interval{0};
  };

  /// `runLoop` is borrowed. Folders on networks and in other processes' keeping are looked at every 30 seconds.
  explicit LinuxEventStreamService(LinuxRunLoop& runLoop);
  LinuxEventStreamService(LinuxRunLoop& runLoop, Polling polling);

  [[nodiscard]] std::unique_ptr<EventStream> createStream(std::shared_ptr<EventStreamClient> client,
                                                          const std::string& path, std::uint64_t sinceWhen,
                                                          double latency, std::uint32_t flags) override;

 private:
  LinuxRunLoop& runLoop_;
  Polling polling_;
};

}  // namespace tarvel
