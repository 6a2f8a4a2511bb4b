#include "platform/linux/dbus/bus_activation.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/dbus/user_bus.h"

namespace tarvel {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kSignOfLife(500);

/// Errors from a program that runs or was started but could not handle the request.
constexpr std::array<const char*, 4> kAnswersOfTheStarted = {SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_OBJECT,
                                                             SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_NO_REPLY};

/// "org.tarvel.Tarvel" has the object path "/org/tarvel/Tarvel".
std::string objectPathOf(std::string_view identifier) {
  std::string path = "/" + std::string(identifier);
  std::ranges::replace(path, '.', '/');
  std::ranges::replace(path, '-', '_');
  return path;
}

bool isAlive(sd_bus* bus) {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus, &message, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus", "GetId") < 0) {
    return false;
  }
  const BusMessagePointer question(message);
  return sd_bus_call(bus, question.get(), busTimeout(kSignOfLife), nullptr, nullptr) >= 0;
}

}  // namespace

bool activateOnBus(std::string_view identifier) {
  const std::string name(identifier);
  // A unique connection name is not an application's name.
  if (name.starts_with(':')) return false;
  const BusPointer bus = openUserBus(kBusGreetingTimeout);
  sd_bus_message* message = nullptr;
  if (!bus || sd_bus_message_new_method_call(bus.get(), &message, name.c_str(), objectPathOf(identifier).c_str(),
                                             "org.freedesktop.Application", "Activate") < 0) {
    return false;
  }
  const BusMessagePointer request(message);
  if (sd_bus_message_append(message, "a{sv}", 0) < 0) return false;
  sd_bus_error error{};
  const int answer = sd_bus_call(bus.get(), request.get(), busTimeout(kBusStartTimeout), &error, nullptr);
  const bool wasStarted = answer >= 0 || std::ranges::any_of(kAnswersOfTheStarted, [&error](const char* known) {
                            return sd_bus_error_has_name(&error, known) > 0;
                          });
  sd_bus_error_free(&error);
  // A bus reports an unknown name or a failed execution at once. A bus that is alive and has not replied is waiting for
  // the program itself.
  return wasStarted || (answer == -ETIMEDOUT && isAlive(bus.get()));
}

}  // namespace tarvel
