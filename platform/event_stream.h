#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tarvel {

/// The flag bits of one event. The values are the original platform's.
enum EventStreamEventFlags : std::uint32_t {
  kEventFlagNone = 0x0,             ///< Something in the folder changed.
  kEventFlagMustScanSubDirs = 0x1,  ///< Events were put together; look again at everything below.
  kEventFlagUserDropped = 0x2,      ///< With kEventFlagMustScanSubDirs: lost on this side.
  kEventFlagKernelDropped = 0x4,    ///< With kEventFlagMustScanSubDirs: lost in the kernel.
  kEventFlagEventIdsWrapped = 0x8,  ///< Identifiers began again at 0.
  kEventFlagHistoryDone = 0x10,     ///< The past has been told.
  kEventFlagRootChanged = 0x20,     ///< The watched path leads to another folder now, or to none.
  kEventFlagMount = 0x40,           ///< A file system was mounted on the path.
  kEventFlagUnmount = 0x80,         ///< A file system was unmounted from the path.
};

/// As `sinceWhen`: only events after the stream was made.
inline constexpr std::uint64_t kEventStreamEventIdSinceNow = 0xFFFFFFFFFFFFFFFF;

/// As creation flags: no events for single files, the first event waits for the latency, the root's own moves are not
/// asked for.
inline constexpr std::uint32_t kEventStreamCreateFlagUseCFTypes = 1;

/// Events that are reported together, in the order in which they happened. The spans have one length, which may be 0,
/// and last as long as the call that brings them. Identifiers increase; 0 occurs in no event.
struct EventStreamBatch {
  std::span<const std::uint32_t> flags;
  std::span<const std::uint64_t> ids;
};

/// Who hears of events.
class EventStreamClient {
 public:
  virtual ~EventStreamClient() = default;

  /// Comes on the thread of the stream's run loop. The stream may be stopped, invalidated and destroyed in here.
  virtual void receiveBatch(const EventStreamBatch& batch) = 0;
};

/// The changes of one watched path, as batches. Made stopped. Holds its client, strongly, until it is destroyed.
/// One thread: that of its run loop.
class EventStream {
 public:
  /// Invalidates first, if that was not done.
  virtual ~EventStream() = default;

  /// Begins, or goes on, to deliver. Changes since stop() are delivered too, a full latency from now. False when it
  /// cannot; starting a running stream is success and changes nothing.
  virtual bool start() = 0;
  /// From here on nothing is delivered until start(); changes are still noted.
  virtual void stop() = 0;
  /// Takes the stream off its run loop for good.
  virtual void invalidate() = 0;
};

/// Makes streams, all on one run loop.
class EventStreamService {
 public:
  virtual ~EventStreamService() = default;

  /// A stream for what happens in the folder at `path` itself, not in folders below it. The folder need not exist: its
  /// coming, going and being replaced by another are events like the changes within. The first event starts a clock
  /// of `latency` seconds, later ones join it without moving it, and then one batch is delivered. `sinceWhen` is
  /// kEventStreamEventIdSinceNow and `flags` is kEventStreamCreateFlagUseCFTypes; nothing else is served.
  /// Null when the path is empty or cannot be watched: no permission, no descriptors, no memory, no watches left.
  [[nodiscard]] virtual std::unique_ptr<EventStream> createStream(std::shared_ptr<EventStreamClient> client,
                                                                  const std::string& path, std::uint64_t sinceWhen,
                                                                  double latency, std::uint32_t flags) = 0;
};

}  // namespace tarvel
