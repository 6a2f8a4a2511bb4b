#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/event_stream.h"
#include "watcher/orvo_events_delegate.h"

namespace tarvel {

/// Watches one folder and hands each batch of changes to a delegate: as one call, or event by event.
///
/// The stream of a started watcher holds the watcher, so it lives on until stop(): whoever started it stops it before
/// letting go of the last reference. Everything happens on the thread of the service's run loop; no locks.
class OrvoEvents final : public EventStreamClient, public std::enable_shared_from_this<OrvoEvents> {
 public:
  /// A watcher that does not watch yet, with coalescing on. `service` is borrowed; `delegate` is not owned, may be
  /// null, and outlives the watcher or clears itself. Null when there is no memory for it.
  [[nodiscard]] static std::shared_ptr<OrvoEvents> initWithPathAndDelegate(EventStreamService& service,
                                                                           std::string path,
                                                                           OrvoEventsDelegate* delegate);
  ~OrvoEvents() override;
  OrvoEvents(const OrvoEvents&) = delete;
  OrvoEvents& operator=(const OrvoEvents&) = delete;

  /// startWithLatency() with 1.0 second.
  [[nodiscard]] bool start();
  /// Watches from now on, with a new stream; an old one is stopped first. `latency` is in seconds: how long changes are
  /// gathered before they are told. False when no stream could be made; whether the stream then really runs is not
  /// looked at.
  [[nodiscard]] bool startWithLatency(double latency);
  /// Ends watching. Harmless on a watcher that does not watch.
  void stop();
  /// No events until unPause(). The stream stays, so what changes meanwhile is told afterwards.
  void pause();
  void unPause();

  /// Tells the delegate, also while paused: holding events back is the stream's affair.
  void incomingEventWithFlagsAndId(std::uint32_t flags, std::uint64_t id);
  void receiveBatch(const EventStreamBatch& batch) override;

  /// Whether there is a stream, paused or not.
  [[nodiscard]] bool isActive() const { return streamRef_ != nullptr; }
  [[nodiscard]] bool isPaused() const { return isPaused_; }

  // The word is spelt "coalese" in every name that holds it.

  /// On: one call a batch, with its first event's flags and identifier, and with zeros for an empty batch. Off: one
  /// call an event, in order, and none for an empty batch.
  [[nodiscard]] bool coaleseSimultaneousEvents() const { return coaleseEvents_; }
  void setCoaleseSimultaneousEvents(bool coaleseSimultaneousEvents) { coaleseEvents_ = coaleseSimultaneousEvents; }
  [[nodiscard]] OrvoEventsDelegate* delegate() const { return delegate_; }
  void setDelegate(OrvoEventsDelegate* delegate) { delegate_ = delegate; }
  /// A new path counts from the next start.
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
