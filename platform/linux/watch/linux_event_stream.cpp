#include "platform/linux/watch/linux_event_stream.h"

#include <sys/epoll.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/watch/folder_polling.h"
#include "platform/linux/watch/watched_path.h"

namespace tarvel {

namespace {

using std::chrono::nanoseconds;

constexpr std::size_t kLargestBatch = 256;
constexpr nanoseconds kPollInterval = std::chrono::seconds(30);
/// Backoff after a failed walk: short at first, while paths are changing, then up to the maximum.
constexpr nanoseconds kFirstRetry = std::chrono::milliseconds(100);
constexpr nanoseconds kLastRetry = std::chrono::seconds(30);

/// Identifiers are continuous across streams.
std::uint64_t lastId = 0;

class LinuxEventStream final : public EventStream {
 public:
  LinuxEventStream(LinuxRunLoop& runLoop, LinuxEventStreamService::Polling polling,
                   std::shared_ptr<EventStreamClient> client, const std::string& path, double latency)
      : runLoop_(runLoop),
        polling_(std::move(polling)),
        client_(std::move(client)),
        latency_(nanosecondsOf(latency)),
        watched_(path, [this](std::uint32_t flags) { note(flags); }) {}

  [[nodiscard]] bool begin() { return watched_.begin() == 0; }

  bool start() override {
    if (isInvalid_) return false;
    if (isRunning_) return true;
    look();
    isRunning_ = attach();
    if (isRunning_) arm();
    return isRunning_;
  }

  void stop() override {
    isRunning_ = false;
    contentSource_.reset();
    pathSource_.reset();
    mountSource_.reset();
    batchCall_.reset();
    retryCall_.reset();
    pollCall_.reset();
  }

  void invalidate() override {
    stop();
    isInvalid_ = true;
  }

 private:
  [[nodiscard]] bool attach() {
    contentSource_ = runLoop_.watchDescriptor(watched_.contentDescriptor(), EPOLLIN, [this](std::uint32_t) {
      if (watched_.readContent()) walkAnew();
    });
    // Without the mount table, mounts go unnoticed.
    if (watched_.mountDescriptor() >= 0) {
      mountSource_ =
          runLoop_.watchDescriptor(watched_.mountDescriptor(), EPOLLPRI, [this](std::uint32_t) { walkAnew(); });
    }
    if (!attachPathWatches() && !retryCall_) walkLater();
    poll();
    return contentSource_ != nullptr;
  }

  [[nodiscard]] bool attachPathWatches() {
    pathSource_.reset();
    if (watched_.pathDescriptor() < 0) return false;
    pathSource_ = runLoop_.watchDescriptor(watched_.pathDescriptor(), EPOLLIN, [this](std::uint32_t) {
      if (watched_.readPathWatches()) walkAnew();
    });
    return pathSource_ != nullptr;
  }

  /// Finds changes that no event reported.
  void look() {
    if (watched_.hasChanged()) walkAnew();
  }

  void walkAnew() {
    // The walk replaces the path watches, whose descriptor must be off the loop first.
    pathSource_.reset();
    const auto before = watched_.fileSystems();
    const bool isWatched = watched_.walkAnew();
    if (attachPathWatches() && isWatched) {
      retryCall_.reset();
      retryDelay_ = kFirstRetry;
    } else {
      walkLater();
    }
    if (watched_.fileSystems() != before) poll();
  }

  void walkLater() {
    retryCall_ = runLoop_.callAfter(retryDelay_, [this] { walkAnew(); });
    retryDelay_ = std::min(retryDelay_ * 2, kLastRetry);
  }

  /// Whether any part of the paths is on a file system that does not report all changes, or that does not answer.
  [[nodiscard]] bool isPollingNeeded() const {
    return std::ranges::any_of(watched_.fileSystems(), [this](const auto& fileSystem) {
      return polling_.isNeeded(fileSystem.second).value_or(true);
    });
  }

  /// Compares the folder with its state at the last poll; the first poll only records it.
  void poll() {
    pollCall_.reset();
    if (!isPollingNeeded()) return;
    // First, so that no failure below ends the polling.
    pollCall_ = runLoop_.callAfter(polling_.interval, [this] { lookAndPoll(); });
    if (watched_.folder().empty()) return;
    const std::uint64_t signature = folderSignature(watched_.folder());
    const std::uint64_t before = std::exchange(signature_, signature);
    if (std::exchange(signedFolder_, watched_.folder()) == watched_.folder() && before != signature)
      note(kEventFlagNone);
  }

  void lookAndPoll() {
    look();
    poll();
  }

  void note(std::uint32_t flags) {
    ++lastId;
    if (flags_.size() == kLargestBatch) {
      // Coalesce further events: a rescan covers them.
      flags_.back() |= flags | kEventFlagMustScanSubDirs;
      ids_.back() = lastId;
    } else {
      flags_.push_back(flags);
      ids_.push_back(lastId);
    }
    if (isRunning_) arm();
  }

  /// The first event starts the timer; later ones find it running.
  void arm() {
    if (batchCall_ || flags_.empty()) return;
    batchCall_ = runLoop_.callAfter(latency_, [this] { deliver(); });
  }

  void deliver() {
    // Changes found here join the batch.
    look();
    batchCall_.reset();
    const std::vector<std::uint32_t> flags = std::exchange(flags_, {});
    const std::vector<std::uint64_t> ids = std::exchange(ids_, {});
    // The client may destroy this stream, and its reference to the client.
    const std::shared_ptr<EventStreamClient> client = client_;
    client->receiveBatch({flags, ids});
  }

  LinuxRunLoop& runLoop_;
  LinuxEventStreamService::Polling polling_;
  std::shared_ptr<EventStreamClient> client_;
  nanoseconds latency_;
  WatchedPath watched_;
  std::vector<std::uint32_t> flags_;
  std::vector<std::uint64_t> ids_;
  std::unique_ptr<LoopSource> contentSource_;
  std::unique_ptr<LoopSource> pathSource_;
  std::unique_ptr<LoopSource> mountSource_;
  std::unique_ptr<LoopSource> batchCall_;
  std::unique_ptr<LoopSource> retryCall_;
  std::unique_ptr<LoopSource> pollCall_;
  nanoseconds retryDelay_ = kFirstRetry;
  /// The folder that the signature belongs to.
  std::string signedFolder_;
  std::uint64_t signature_ = 0;
  bool isRunning_ = false;
  bool isInvalid_ = false;
};

}  // namespace

LinuxEventStreamService::LinuxEventStreamService(LinuxRunLoop& runLoop)
    : LinuxEventStreamService(runLoop, {isOnRemoteFileSystem, kPollInterval}) {}

LinuxEventStreamService::LinuxEventStreamService(LinuxRunLoop& runLoop, Polling polling)
    : runLoop_(runLoop), polling_(std::move(polling)) {}

std::unique_ptr<EventStream> LinuxEventStreamService::createStream(std::shared_ptr<EventStreamClient> client,
                                                                   const std::string& path, std::uint64_t sinceWhen,
                                                                   double latency, std::uint32_t flags) {
  const bool isServed = sinceWhen == kEventStreamEventIdSinceNow && flags == kEventStreamCreateFlagUseCFTypes;
  if (path.empty() || path.find('\0') != std::string::npos || !isServed) return nullptr;
  auto stream = std::make_unique<LinuxEventStream>(runLoop_, polling_, std::move(client), path, latency);
  if (!stream->begin()) return nullptr;
  return stream;
}

}  // namespace tarvel
