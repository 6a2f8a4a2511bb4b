#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// Time that runs out, shared by all the steps of one answer.
class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds patience) : end_(std::chrono::steady_clock::now() + patience) {}

  /// Never negative.
  [[nodiscard]] std::chrono::milliseconds left() const;

 private:
  std::chrono::steady_clock::time_point end_;
};

struct BusDeleter {
  void operator()(sd_bus* bus) const { (void)sd_bus_close_unref(bus); }
};
using BusPointer = std::unique_ptr<sd_bus, BusDeleter>;

struct BusMessageDeleter {
  void operator()(sd_bus_message* message) const { (void)sd_bus_message_unref(message); }
};
using BusMessagePointer = std::unique_ptr<sd_bus_message, BusMessageDeleter>;

/// The user's session bus, ready for calls. Null when there is none, or none that answers within `patience`.
[[nodiscard]] BusPointer openUserBus(std::chrono::milliseconds patience);

/// A connection to whoever listens on the socket at `path`, with no bus in between. Null as above.
[[nodiscard]] BusPointer openPeer(const std::string& path, std::chrono::milliseconds patience);

/// For the calls of sd-bus, which count in microseconds. At least one, as none would mean its own, long patience.
[[nodiscard]] std::uint64_t busTimeout(std::chrono::milliseconds patience);

/// Handles what has come, or waits for something to come. False when the connection is gone or the time is over.
[[nodiscard]] bool turnBus(sd_bus* bus, const Deadline& deadline);

}  // namespace tarvel
