#include "platform/linux/bus_activation.h"

#include <algorithm>
#include <string>

#include "platform/linux/user_bus.h"

namespace tarvel {

namespace {

constexpr std::chrono::milliseconds kGreeting(1000);
constexpr std::chrono::milliseconds kStart(3000);

/// "org.tarvel.Tarvel" lives at "/org/tarvel/Tarvel".
std::string objectPathOf(std::string_view identifier) {
  std::string path = "/" + std::string(identifier);
  std::ranges::replace(path, '.', '/');
  std::ranges::replace(path, '-', '_');
  return path;
}

}  // namespace

bool activateOnBus(std::string_view identifier) {
  const std::string name(identifier);
  const BusPointer bus = openUserBus(kGreeting);
  sd_bus_message* message = nullptr;
  if (!bus || sd_bus_message_new_method_call(bus.get(), &message, name.c_str(), objectPathOf(identifier).c_str(),
                                             "org.freedesktop.Application", "Activate") < 0) {
    return false;
  }
  const BusMessagePointer request(message);
  if (sd_bus_message_append(message, "a{sv}", 0) < 0) return false;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  const int answer = sd_bus_call(bus.get(), request.get(), busTimeout(kStart), &error, nullptr);
  // A program that was started and does not know this request runs all the same.
  const bool isRunning = answer >= 0 || sd_bus_error_has_name(&error, SD_BUS_ERROR_UNKNOWN_METHOD) > 0 ||
                         sd_bus_error_has_name(&error, SD_BUS_ERROR_UNKNOWN_OBJECT) > 0 ||
                         sd_bus_error_has_name(&error, SD_BUS_ERROR_UNKNOWN_INTERFACE) > 0;
  sd_bus_error_free(&error);
  return isRunning;
}

}  // namespace tarvel
