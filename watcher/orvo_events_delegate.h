#pragma once

#include <cstdint>

namespace tarvel {

class OrvoEvents;

/// Hears of changes in a watched folder.
class OrvoEventsDelegate {
 public:
  virtual ~OrvoEventsDelegate() = default;

  /// `flags` and `id` are the event stream's own, unfiltered; both are 0 for an empty batch. The watcher may be stopped
  /// and let go in here. A delegate that leaves this out hears nothing.
  virtual void incomingEventWithFlagsAndId(OrvoEvents& /*watcher*/, std::uint32_t /*flags*/, std::uint64_t /*id*/) {}
};

}  // namespace tarvel
