#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// For the connection and its first answer.
inline constexpr std::chrono::milliseconds kBusGreetingTimeout(1000);
/// For a service or a unit to start.
inline constexpr std::chrono::milliseconds kBusStartTimeout(3000);

/// A time limit shared by all steps of one operation.
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

/// The user's session bus, ready for calls. Null if there is none, or if it does not answer within `patience`.
[[nodiscard]] BusPointer openUserBus(std::chrono::milliseconds patience);

/// A direct connection to the peer at the socket `path`. Null as above.
[[nodiscard]] BusPointer openPeer(const std::string& path, std::chrono::milliseconds patience);

/// For sd-bus calls, in microseconds. At least 1, as 0 selects sd-bus's own, longer default.
[[nodiscard]] std::uint64_t busTimeout(std::chrono::milliseconds patience);

/// Processes pending messages, or waits for some. False when the connection is closed or the deadline has passed.
[[nodiscard]] bool turnBus(sd_bus* bus, const Deadline& deadline);

}  // namespace tarvel
