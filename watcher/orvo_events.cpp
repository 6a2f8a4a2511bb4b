#include "watcher/orvo_events.h"

#include <new>
#include <utility>

namespace tarvel {

namespace {

constexpr double kDefaultLatency = 1.0;

}  // namespace

std::shared_ptr<OrvoEvents> OrvoEvents::initWithPathAndDelegate(EventStreamService& service, std::string path,
                                                                OrvoEventsDelegate* delegate) {
  std::shared_ptr<OrvoEvents> watcher(new (std::nothrow) OrvoEvents(service));
  if (!watcher) return nullptr;
  watcher->setPath(std::move(path));
  watcher->setDelegate(delegate);
  return watcher;
}

// A stream would hold the watcher, so there is none left by now, unless it was never the stream's to hold.
OrvoEvents::~OrvoEvents() { stop(); }

bool OrvoEvents::start() { return startWithLatency(kDefaultLatency); }

bool OrvoEvents::startWithLatency(double latency) {
  stop();
  streamRef_ = service_.createStream(shared_from_this(), path_, kEventStreamEventIdSinceNow, latency,
                                     kEventStreamCreateFlagUseCFTypes);
  if (!streamRef_) return false;
  // A stream that does not start counts as running all the same; only its making is asked about.
  (void)streamRef_->start();
  isPaused_ = false;
  return true;
}

void OrvoEvents::stop() {
  if (!streamRef_) return;
  const std::unique_ptr<EventStream> stream = std::move(streamRef_);
  isPaused_ = false;
  stream->stop();
  stream->invalidate();
  // Leaving destroys the stream, and with its hold perhaps the watcher itself: nothing of it may be touched from here.
}

void OrvoEvents::pause() {
  if (isPaused_ || !streamRef_) return;
  streamRef_->stop();
  isPaused_ = true;
}

void OrvoEvents::unPause() {
  if (isPaused_ && streamRef_) (void)streamRef_->start();
  isPaused_ = false;
}

void OrvoEvents::incomingEventWithFlagsAndId(std::uint32_t flags, std::uint64_t id) {
  if (delegate_ != nullptr) delegate_->incomingEventWithFlagsAndId(*this, flags, id);
}

void OrvoEvents::receiveBatch(const EventStreamBatch& batch) {
  // The delegate may let go of the watcher in the middle of the batch.
  const std::shared_ptr<OrvoEvents> self = shared_from_this();
  if (coaleseSimultaneousEvents()) {
    // An empty batch is told as well: something happened, though nobody says what.
    incomingEventWithFlagsAndId(batch.flags.empty() ? 0 : batch.flags.front(),
                                batch.ids.empty() ? 0 : batch.ids.front());
    return;
  }
  for (std::size_t i = 0; i < batch.flags.size(); ++i) incomingEventWithFlagsAndId(batch.flags[i], batch.ids[i]);
}

}  // namespace tarvel
