// A stand-in for the desktop's notification service: writes each notification to the file "notified" in the folder
// TARVEL_RECORD. With the argument "markup" it announces that it interprets markup.

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

bool takesMarkup = false;

int capabilities(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(message, "as", 2, "body", takesMarkup ? "body-markup" : "persistence");
}

int notify(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  const char* application = nullptr;
  const char* icon = nullptr;
  const char* title = nullptr;
  const char* text = nullptr;
  std::uint32_t replaced = 0;
  if (sd_bus_message_read(message, "susss", &application, &replaced, &icon, &title, &text) < 0) return -1;
  const std::string path = std::string(std::getenv("TARVEL_RECORD")) + "/notified";
  {
    std::ofstream notes(path + ".new");
    notes << application << "\n" << title << "\n" << text;
  }
  std::filesystem::rename(path + ".new", path);
  return sd_bus_reply_method_return(message, "u", 1);
}

constexpr sd_bus_vtable kNotifications[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("GetCapabilities", "", "as", capabilities, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", notify, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

}  // namespace

int main(int argc, char** argv) {
  takesMarkup = argc > 1 && std::string(argv[1]) == "markup";
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                               kNotifications, nullptr) < 0 ||
      sd_bus_request_name(bus, "org.freedesktop.Notifications", 0) < 0) {
    return 1;
  }
  // Runs until the bus ends.
  for (int processed = 0; processed >= 0;) {
    processed = sd_bus_process(bus, nullptr);
    if (processed == 0) processed = sd_bus_wait(bus, UINT64_MAX);
  }
  (void)sd_bus_unref(bus);
}
