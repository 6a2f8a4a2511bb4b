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

// A stream that holds a reference to the watcher is gone by now.
OrvoEvents::~OrvoEvents() { stop(); }

bool OrvoEvents::start() { return startWithLatency(kDefaultLatency); }

bool OrvoEvents::startWithLatency(double latency) {
  stop();
  streamRef_ = service_.createStream(shared_from_this(), path_, kEventStreamEventIdSinceNow, latency,
                                     kEventStreamCreateFlagUseCFTypes);
  if (!streamRef_) return false;
  // Deliberately ignored: a stream that does not start counts as running.
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
  // On return the stream is destroyed, and perhaps the watcher with it: do not touch members after this line.
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
  // The delegate may drop the last reference in the middle of the batch.
  const std::shared_ptr<OrvoEvents> self = shared_from_this();
  if (coaleseSimultaneousEvents()) {
    // An empty batch is reported too: something happened.
    incomingEventWithFlagsAndId(batch.flags.empty() ? 0 : batch.flags.front(),
                                batch.ids.empty() ? 0 : batch.ids.front());
    return;
  }
  for (std::size_t i = 0; i < batch.flags.size(); ++i) incomingEventWithFlagsAndId(batch.flags[i], batch.ids[i]);
}

}  // namespace tarvel
