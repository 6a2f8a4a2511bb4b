#include "platform/linux/user_bus.h"

namespace tarvel {

namespace {

using Clock = std::chrono::steady_clock;

/// Goes through the greeting, which the library itself would wait for much longer.
BusPointer readied(BusPointer bus, std::chrono::milliseconds patience) {
  const auto end = Clock::now() + patience;
  while (sd_bus_is_ready(bus.get()) <= 0) {
    const int processed = sd_bus_process(bus.get(), nullptr);
    if (processed < 0) return nullptr;
    if (processed > 0) continue;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0 || sd_bus_wait(bus.get(), busTimeout(left)) < 0) return nullptr;
  }
  return bus;
}

}  // namespace

std::uint64_t busTimeout(std::chrono::milliseconds patience) {
  return static_cast<std::uint64_t>(std::chrono::microseconds(patience).count());
}

BusPointer openUserBus(std::chrono::milliseconds patience) {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return nullptr;
  return readied(BusPointer(bus), patience);
}

BusPointer openPeer(const std::string& path, std::chrono::milliseconds patience) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  BusPointer made(bus);
  const std::string address = "unix:path=" + path;
  if (sd_bus_set_address(bus, address.c_str()) < 0 || sd_bus_start(bus) < 0) return nullptr;
  return readied(std::move(made), patience);
}

}  // namespace tarvel
