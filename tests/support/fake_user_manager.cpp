// A stand-in for the user's service manager: takes one request for a transient unit on the session bus, writes down
// what was asked in the file that TARVEL_RECORD names plus "/unit", executes the program, and tells how the job ended.
// With an argument, it tells that the job ended so, and executes nothing.

#include <spawn.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr const char* kJob = "/org/freedesktop/systemd1/job/7";
const char* result = nullptr;

/// The values of one property, as text; of the command, the arguments after the path.
std::string valueOf(sd_bus_message* message, std::vector<std::string>& command) {
  char type = 0;
  const char* contents = nullptr;
  std::string text;
  if (sd_bus_message_peek_type(message, &type, &contents) < 0 || type != 'v') return "?";
  const std::string kind = contents;
  (void)sd_bus_message_enter_container(message, 'v', kind.c_str());
  const char* value = nullptr;
  if (kind == "s") {
    (void)sd_bus_message_read(message, "s", &value);
    text = value;
  } else if (kind == "as") {
    (void)sd_bus_message_enter_container(message, 'a', "s");
    while (sd_bus_message_read(message, "s", &value) > 0) text += std::string(value) + "|";
    (void)sd_bus_message_exit_container(message);
  } else if (kind == "a(sasas)") {
    (void)sd_bus_message_enter_container(message, 'a', "(sasas)");
    while (sd_bus_message_enter_container(message, 'r', "sasas") > 0) {
      (void)sd_bus_message_read(message, "s", &value);
      command.emplace_back(value);
      for (int list = 0; list < 2; ++list) {
        (void)sd_bus_message_enter_container(message, 'a', "s");
        while (sd_bus_message_read(message, "s", &value) > 0) {
          text += std::string(value) + "|";
          if (list == 0) command.emplace_back(value);
        }
        (void)sd_bus_message_exit_container(message);
      }
      (void)sd_bus_message_exit_container(message);
    }
    (void)sd_bus_message_exit_container(message);
  }
  (void)sd_bus_message_exit_container(message);
  return kind + " " + text;
}

int startUnit(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  std::ofstream notes(std::string(std::getenv("TARVEL_RECORD")) + "/unit");
  const char* name = nullptr;
  const char* mode = nullptr;
  (void)sd_bus_message_read(message, "ss", &name, &mode);
  notes << "name " << name << "\nmode " << mode << "\n";
  std::vector<std::string> command;
  (void)sd_bus_message_enter_container(message, 'a', "(sv)");
  while (sd_bus_message_enter_container(message, 'r', "sv") > 0) {
    const char* property = nullptr;
    (void)sd_bus_message_read(message, "s", &property);
    const std::string key = property;
    notes << key << " " << valueOf(message, command) << "\n";
    (void)sd_bus_message_exit_container(message);
  }
  notes.close();
  if (result == nullptr && command.size() > 1) {
    std::vector<char*> arguments;
    for (std::size_t i = 1; i < command.size(); ++i) arguments.push_back(command[i].data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    (void)::posix_spawn(&process, command[0].c_str(), nullptr, nullptr, arguments.data(), environ);
  }
  sd_bus* bus = sd_bus_message_get_bus(message);
  const std::string unit = name;
  // Both orders happen: here the end of the job is told before the answer.
  (void)sd_bus_emit_signal(bus, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", "JobRemoved", "uoss",
                           7, kJob, unit.c_str(), result == nullptr ? "done" : result);
  return sd_bus_reply_method_return(message, "o", kJob);
}

int subscribe(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(message, "");
}

constexpr sd_bus_vtable kManager[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Subscribe", "", "", subscribe, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("StartTransientUnit", "ssa(sv)a(sa(sv))", "o", startUnit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) result = argv[1];
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", kManager,
                               nullptr) < 0 ||
      sd_bus_request_name(bus, "org.freedesktop.systemd1", 0) < 0) {
    return 1;
  }
  // Until the bus goes.
  for (;;) {
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) return 0;
    if (processed == 0 && sd_bus_wait(bus, UINT64_MAX) < 0) return 0;
  }
}
