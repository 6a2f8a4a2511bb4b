#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/event_stream.h"
#include "watcher/orvo_events_delegate.h"

namespace tarvel {

/// Watches one folder and reports each batch of events to a delegate, as one call or event by event.
///
/// The stream of a started watcher holds a reference to it, so call stop() before dropping the last reference of your
/// own. Everything runs on the thread of the service's run loop; no locks.
class OrvoEvents final : public EventStreamClient, public std::enable_shared_from_this<OrvoEvents> {
 public:
  /// A watcher that is not started, with coalescing on. `service` is borrowed. `delegate` is not owned, may be null,
  /// and outlives the watcher or resets itself to null. Returns null if memory runs out.
  [[nodiscard]] static std::shared_ptr<OrvoEvents> initWithPathAndDelegate(EventStreamService& service,
                                                                           std::string path,
                                                                           OrvoEventsDelegate* delegate);
  ~OrvoEvents() override;
  OrvoEvents(const OrvoEvents&) = delete;
  OrvoEvents& operator=(const OrvoEvents&) = delete;

  /// startWithLatency() with 1.0 second.
  [[nodiscard]] bool start();
  /// Stops the old stream, if any, and starts a new one. Events are batched for `latency` seconds. False if no stream
  /// could be created; whether the stream then starts is not checked.
  [[nodiscard]] bool startWithLatency(double latency);
  /// Stops watching. No effect on a watcher that is not started.
  void stop();
  /// No events until unPause(). The stream is kept, so changes meanwhile are reported afterwards.
  void pause();
  void unPause();

  /// Reports to the delegate even while paused: holding back events is the stream's job.
  void incomingEventWithFlagsAndId(std::uint32_t flags, std::uint64_t id);
  void receiveBatch(const EventStreamBatch& batch) override;

  /// Whether there is a stream, paused or not.
  [[nodiscard]] bool isActive() const { return streamRef_ != nullptr; }
  [[nodiscard]] bool isPaused() const { return isPaused_; }

  // These names spell the word "coalese".

  /// On: one call for each batch, with the flags and identifier of its first event, or zeros for an empty batch. Off:
  /// one call for each event, in order, and none for an empty batch.
  [[nodiscard]] bool coaleseSimultaneousEvents() const { return coaleseEvents_; }
  void setCoaleseSimultaneousEvents(bool coaleseSimultaneousEvents) { coaleseEvents_ = coaleseSimultaneousEvents; }
  [[nodiscard]] OrvoEventsDelegate* delegate() const { return delegate_; }
  void setDelegate(OrvoEventsDelegate* delegate) { delegate_ = delegate; }
  /// A new path takes effect at the next start.
  [[nodiscard]] const std::string& path() const { return path_; }
  void setPath(std::string path) { path_ = std::move(path); }

 private:
  explicit OrvoEvents(EventStreamService& service) : service_(service) {}

  bool coaleseEvents_ = true;
  OrvoEventsDelegate* delegate_ = nullptr;
  bool isPaused_ = false;
  std::string path_;
  std::unique_ptr<EventStream> streamRef_;
  EventStreamService& service_;
};

}  // namespace tarvel
