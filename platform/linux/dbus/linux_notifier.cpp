#include "platform/linux/dbus/linux_notifier.h"

#include <string_view>

#include "platform/linux/dbus/user_bus.h"

namespace tarvel {

namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr std::chrono::milliseconds kPatience(2000);

BusMessagePointer call(sd_bus* bus, sd_bus_message* request) {
  sd_bus_message* answer = nullptr;
  const BusMessagePointer owned(request);
  if (sd_bus_call(bus, request, busTimeout(kPatience), nullptr, &answer) < 0) return nullptr;
  return BusMessagePointer(answer);
}

sd_bus_message* newCall(sd_bus* bus, const char* method) {
  sd_bus_message* request = nullptr;
  return sd_bus_message_new_method_call(bus, &request, kName, kPath, kName, method) < 0 ? nullptr : request;
}

/// Whether the server interprets the text as markup, which requires escaping.
bool takesMarkup(sd_bus* bus) {
  sd_bus_message* request = newCall(bus, "GetCapabilities");
  const BusMessagePointer answer = request == nullptr ? nullptr : call(bus, request);
  if (!answer || sd_bus_message_enter_container(answer.get(), 'a', "s") < 0) return false;
  const char* capability = nullptr;
  while (sd_bus_message_read(answer.get(), "s", &capability) > 0) {
    if (std::string_view(capability) == "body-markup") return true;
  }
  return false;
}

std::string asMarkup(const std::string& text) {
  std::string markup;
  for (const char c : text) {
    if (c == '&') {
      markup += "&amp;";
    } else if (c == '<') {
      markup += "&lt;";
    } else if (c == '>') {
      markup += "&gt;";
    } else {
      markup.push_back(c);
    }
  }
  return markup;
}

}  // namespace

bool LinuxNotifier::notify(const std::string& title, const std::string& text) {
  constexpr std::uint32_t kNew = 0;
  constexpr std::int32_t kAsTheServerLikes = -1;
  const BusPointer bus = openUserBus(kPatience);
  if (!bus) return false;
  const std::string body = takesMarkup(bus.get()) ? asMarkup(text) : text;
  sd_bus_message* request = newCall(bus.get(), "Notify");
  if (request == nullptr) return false;
  if (sd_bus_message_append(request, "susssasa{sv}i", "Tarvel", kNew, "", title.c_str(), body.c_str(), 0, 0,
                            kAsTheServerLikes) < 0) {
    (void)sd_bus_message_unref(request);
    return false;
  }
  return call(bus.get(), request) != nullptr;
}

}  // namespace tarvel
