#include "platform/linux/dbus/user_bus.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace tarvel {

namespace {

using std::chrono::milliseconds;

/// Escapes a value for a D-Bus address.
std::string escapedForAddress(std::string_view value) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::string_view kPlain = "-_/.\\*";
  std::string escaped;
  for (const char c : value) {
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    if (isPlain || kPlain.find(c) != std::string_view::npos) {
      escaped.push_back(c);
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    escaped += {'%', kDigits[byte / 16], kDigits[byte % 16]};
  }
  return escaped;
}

/// Completes the handshake, for which sd-bus would wait much longer.
BusPointer readied(BusPointer bus, milliseconds patience) {
  const Deadline deadline(patience);
  while (sd_bus_is_ready(bus.get()) <= 0) {
    if (!turnBus(bus.get(), deadline)) return nullptr;
  }
  return bus;
}

}  // namespace

milliseconds Deadline::left() const {
  const auto left = std::chrono::ceil<milliseconds>(end_ - std::chrono::steady_clock::now());
  return std::max(left, milliseconds(0));
}

std::uint64_t busTimeout(milliseconds patience) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(std::chrono::microseconds(patience).count(), 1));
}

bool turnBus(sd_bus* bus, const Deadline& deadline) {
  const int processed = sd_bus_process(bus, nullptr);
  const milliseconds left = deadline.left();
  // The deadline also applies to a peer that sends without pause.
  if (processed < 0 || left.count() == 0) return false;
  if (processed > 0) return true;
  const int waited = sd_bus_wait(bus, busTimeout(left));
  return waited >= 0 || waited == -EINTR;
}

BusPointer openUserBus(milliseconds patience) {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return nullptr;
  return readied(BusPointer(bus), patience);
}

BusPointer openPeer(const std::string& path, milliseconds patience) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  BusPointer made(bus);
  const std::string address = "unix:path=" + escapedForAddress(path);
  if (sd_bus_set_address(bus, address.c_str()) < 0 || sd_bus_start(bus) < 0) return nullptr;
  return readied(std::move(made), patience);
}

}  // namespace tarvel
