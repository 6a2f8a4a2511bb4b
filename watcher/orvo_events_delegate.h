#pragma once

#include <cstdint>

namespace tarvel {

class OrvoEvents;

/// Receives the events of a watched folder.
class OrvoEventsDelegate {
 public:
  virtual ~OrvoEventsDelegate() = default;

  /// `flags` and `id` come unfiltered from the event stream; both are 0 for an empty batch. The delegate may stop and
  /// release the watcher in this call. The default does nothing.
  virtual void incomingEventWithFlagsAndId(OrvoEvents& /*watcher*/, std::uint32_t /*flags*/, std::uint64_t /*id*/) {}
};

}  // namespace tarvel
