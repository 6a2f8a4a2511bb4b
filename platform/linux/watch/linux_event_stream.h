#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/event_stream.h"
#include "platform/linux/loop/linux_run_loop.h"

namespace tarvel {

/// Event streams on inotify, with polling where the file system does not report all changes.
class LinuxEventStreamService final : public EventStreamService {
 public:
  /// How folders on network and FUSE file systems are polled.
  struct Polling {
    /// Whether a folder's file system must be polled; none if unknown at the moment.
    std::function<std::optional<bool>(const std::string& folder)> isNeeded;
    std::chrono::nanoseconds interval{0};
  };

  /// `runLoop` is borrowed. Folders on network and FUSE file systems are polled every 30 seconds.
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
