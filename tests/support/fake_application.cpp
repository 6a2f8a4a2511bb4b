// A stand-in for an application on the session bus: takes the name "org.tarvel.Test" and writes the number of
// activation requests to the file "activated" in the folder TARVEL_RECORD.
//
// Arguments: "plain" has a name but no interface; "mute" records the request and never replies; "brief" exits instead
// of replying; "freezing" stops the bus instead.

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace {

std::string_view mode;

void freezeBus(sd_bus_message* message) {
  ucred bus{};
  socklen_t size = sizeof bus;
  const int descriptor = sd_bus_get_fd(sd_bus_message_get_bus(message));
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &bus, &size) == 0 && bus.pid > 0) ::kill(bus.pid, SIGSTOP);
}

int activate(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  static int count = 0;
  const std::string path = std::string(std::getenv("TARVEL_RECORD")) + "/activated";
  std::ofstream(path + ".new") << "times " << ++count << "\npid " << ::getpid() << "\n";
  std::filesystem::rename(path + ".new", path);
  if (mode == "brief") std::_Exit(0);
  if (mode == "freezing") freezeBus(message);
  return mode == "mute" ? 1 : sd_bus_reply_method_return(message, "");
}

constexpr sd_bus_vtable kApplication[] = {SD_BUS_VTABLE_START(0),
                                          SD_BUS_METHOD("Activate", "a{sv}", "", activate, SD_BUS_VTABLE_UNPRIVILEGED),
                                          SD_BUS_VTABLE_END};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) mode = argv[1];
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return 1;
  if (mode != "plain" && sd_bus_add_object_vtable(bus, nullptr, "/org/tarvel/Test", "org.freedesktop.Application",
                                                  kApplication, nullptr) < 0) {
    return 1;
  }
  if (sd_bus_request_name(bus, "org.tarvel.Test", 0) < 0) return 1;
  // Runs until the bus ends.
  for (int processed = 0; processed >= 0;) {
    processed = sd_bus_process(bus, nullptr);
    if (processed == 0) processed = sd_bus_wait(bus, UINT64_MAX);
  }
  (void)sd_bus_unref(bus);
}
