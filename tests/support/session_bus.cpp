#include "tests/support/session_bus.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace tarvel {

namespace {

constexpr const char* kConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:path=@@/bus</listen><servicedir>@@/services</servicedir>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy>
</busconfig>)";

bool answers(const std::string& address) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  sd_bus* bus = nullptr;
  const bool isOpen =
      sd_bus_open_user(&bus) >= 0 && sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                        "org.freedesktop.DBus", "GetId", nullptr, nullptr, "") >= 0;
  (void)sd_bus_close_unref(bus);
  return isOpen;
}

}  // namespace

SessionBus::SessionBus() { std::filesystem::create_directory(directory_.path("services")); }

SessionBus::~SessionBus() {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  if (process_ == 0) return;
  (void)::kill(process_, SIGTERM);
  thaw();
  (void)::waitpid(process_, nullptr, 0);
}

void SessionBus::addService(const std::string& name, const std::string& command) {
  directory_.write("services/" + name + ".service", "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
}

bool SessionBus::activate(const std::string& name) const {
  sd_bus* bus = nullptr;
  const bool isStarted =
      isUp_ && sd_bus_open_user(&bus) >= 0 &&
      sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "StartServiceByName", nullptr, nullptr, "su", name.c_str(), 0) >= 0;
  (void)sd_bus_close_unref(bus);
  return isStarted;
}

void SessionBus::freeze() const {
  if (process_ != 0) (void)::kill(process_, SIGSTOP);
}

void SessionBus::thaw() const {
  if (process_ != 0) (void)::kill(process_, SIGCONT);
}

void SessionBus::start() {
  std::string configuration = kConfiguration;
  for (std::size_t at = 0; (at = configuration.find("@@")) != std::string::npos;) {
    configuration.replace(at, 2, directory_.path());
  }
  directory_.write("bus.conf", configuration);
  std::string program = "dbus-daemon";
  std::string option = "--config-file=" + directory_.path("bus.conf");
  std::string mode = "--nofork";
  char* arguments[] = {program.data(), option.data(), mode.data(), nullptr};
  if (::posix_spawnp(&process_, program.c_str(), nullptr, nullptr, arguments, environ) != 0) {
    process_ = 0;
    return;
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!isUp_ && std::chrono::steady_clock::now() < end) {
    isUp_ = std::filesystem::exists(directory_.path("bus")) && answers("unix:path=" + directory_.path("bus"));
    if (!isUp_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace tarvel
