#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tarvel {

/// Flag bits of an event. The values are the original platform's.
enum EventStreamEventFlags : std::uint32_t {
  kEventFlagNone = 0x0,             ///< Something in the folder changed.
  kEventFlagMustScanSubDirs = 0x1,  ///< Events were coalesced; rescan everything below.
  kEventFlagUserDropped = 0x2,      ///< With kEventFlagMustScanSubDirs: dropped in this process.
  kEventFlagKernelDropped = 0x4,    ///< With kEventFlagMustScanSubDirs: dropped in the kernel.
  kEventFlagEventIdsWrapped = 0x8,  ///< Event identifiers wrapped around to 0.
  kEventFlagHistoryDone = 0x10,     ///< All past events were delivered.
  kEventFlagRootChanged = 0x20,     ///< The watched path now leads to another folder, or to none.
  kEventFlagMount = 0x40,           ///< A file system was mounted on the path.
  kEventFlagUnmount = 0x80,         ///< A file system was unmounted from the path.
};

/// Value of `sinceWhen`: only events after the stream's creation.
inline constexpr std::uint64_t kEventStreamEventIdSinceNow = 0xFFFFFFFFFFFFFFFF;

/// Creation flags: no events for single files, the latency applies to the first event, moves of the root are not
/// requested.
inline constexpr std::uint32_t kEventStreamCreateFlagUseCFTypes = 1;

/// Events delivered together, in chronological order. Both spans have the same length, which may be 0, and are valid
/// during the call. Identifiers increase; no event has identifier 0.
struct EventStreamBatch {
  std::span<const std::uint32_t> flags;
  std::span<const std::uint64_t> ids;
};

/// Receives events.
class EventStreamClient {
 public:
  virtual ~EventStreamClient() = default;

  /// Called on the thread of the stream's run loop. May stop, invalidate or destroy the stream.
  virtual void receiveBatch(const EventStreamBatch& batch) = 0;
};

/// Batches of changes of one watched path. Created stopped. Holds a strong reference to its client. Use it on the
/// thread of its run loop only.
class EventStream {
 public:
  /// Invalidates the stream if necessary.
  virtual ~EventStream() = default;

  /// Starts or resumes delivery. Changes since stop() are delivered after a full latency. False on failure; no effect
  /// on a running stream.
  virtual bool start() = 0;
  /// Pauses delivery until start(); changes are still recorded.
  virtual void stop() = 0;
  /// Removes the stream from its run loop permanently.
  virtual void invalidate() = 0;
};

/// Creates streams on one run loop.
class EventStreamService {
 public:
  virtual ~EventStreamService() = default;

  /// Watches the folder at `path`, not its subfolders. The folder need not exist: creation, removal and replacement are
  /// reported as events. The first event starts a timer of `latency` seconds; later events join the batch without
  /// restarting it. `sinceWhen` must be kEventStreamEventIdSinceNow and `flags` kEventStreamCreateFlagUseCFTypes. Null
  /// when the path is empty or cannot be watched: no permission, descriptors, memory or watches.
  [[nodiscard]] virtual std::unique_ptr<EventStream> createStream(std::shared_ptr<EventStreamClient> client,
                                                                  const std::string& path, std::uint64_t sinceWhen,
                                                                  double latency, std::uint32_t flags) = 0;
};

}  // namespace tarvel
