// A stand-in for the user's service manager on the session bus. It records each request for a transient unit in the
// file "unit" in the folder TARVEL_RECORD, executes the program, and reports the job's result. It records requests to
// stop a unit in the file "stopped". The lines of the file "manager" are its environment.
//
// Arguments: "endless" never reports a result; "mute" does not reply to requests. Neither executes anything.

#include <spawn.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kJob = "/org/freedesktop/systemd1/job/7";
std::string_view mode;

struct Unit {
  std::string program;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::string folder = "/";
};

std::vector<std::string> readTexts(sd_bus_message* message) {
  std::vector<std::string> texts;
  const char* value = nullptr;
  (void)sd_bus_message_enter_container(message, 'a', "s");
  while (sd_bus_message_read(message, "s", &value) > 0) texts.emplace_back(value);
  (void)sd_bus_message_exit_container(message);
  return texts;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "|";
  return all;
}

std::string readCommand(sd_bus_message* message, Unit& unit) {
  std::string text;
  (void)sd_bus_message_enter_container(message, 'a', "(sasas)");
  while (sd_bus_message_enter_container(message, 'r', "sasas") > 0) {
    const char* program = nullptr;
    (void)sd_bus_message_read(message, "s", &program);
    unit.program = program;
    unit.arguments = readTexts(message);
    text += unit.program + "|" + joined(unit.arguments) + joined(readTexts(message));
    (void)sd_bus_message_exit_container(message);
  }
  (void)sd_bus_message_exit_container(message);
  return text;
}

/// A property's type and value, as text.
std::string readProperty(sd_bus_message* message, const std::string& name, Unit& unit) {
  char type = 0;
  const char* contents = nullptr;
  if (sd_bus_message_peek_type(message, &type, &contents) < 0 || type != 'v') return "?";
  const std::string kind = contents;
  (void)sd_bus_message_enter_container(message, 'v', kind.c_str());
  std::string text;
  if (kind == "s") {
    const char* value = nullptr;
    (void)sd_bus_message_read(message, "s", &value);
    text = value;
    if (name == "WorkingDirectory") unit.folder = text;
  } else if (kind == "as") {
    const std::vector<std::string> texts = readTexts(message);
    text = joined(texts);
    if (name == "Environment") unit.environment = texts;
  } else if (kind == "a(sasas)") {
    text = readCommand(message, unit);
  }
  (void)sd_bus_message_exit_container(message);
  return kind + " " + text;
}

std::string inRecord(const std::string& name) { return std::string(std::getenv("TARVEL_RECORD")) + "/" + name; }

Unit readUnit(sd_bus_message* message, std::ofstream& notes) {
  Unit unit;
  (void)sd_bus_message_enter_container(message, 'a', "(sv)");
  while (sd_bus_message_enter_container(message, 'r', "sv") > 0) {
    const char* property = nullptr;
    (void)sd_bus_message_read(message, "s", &property);
    const std::string name = property;
    notes << name << " " << readProperty(message, name, unit) << "\n";
    (void)sd_bus_message_exit_container(message);
  }
  return unit;
}

bool execute(Unit& unit) {
  std::vector<char*> arguments;
  for (std::string& argument : unit.arguments) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  std::vector<char*> environment;
  for (std::string& entry : unit.environment) environment.push_back(entry.data());
  for (char** entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
  environment.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  (void)::posix_spawn_file_actions_init(&actions);
  (void)::posix_spawn_file_actions_addchdir_np(&actions, unit.folder.c_str());
  pid_t process = 0;
  const int code =
      ::posix_spawn(&process, unit.program.c_str(), &actions, nullptr, arguments.data(), environment.data());
  (void)::posix_spawn_file_actions_destroy(&actions);
  return code == 0;
}

int startUnit(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  const char* name = nullptr;
  const char* jobMode = nullptr;
  (void)sd_bus_message_read(message, "ss", &name, &jobMode);
  const std::string unitName = name;
  std::ofstream notes(inRecord("unit.new"));
  notes << "name " << unitName << "\nmode " << jobMode << "\n";
  Unit unit = readUnit(message, notes);
  notes.close();
  std::filesystem::rename(inRecord("unit.new"), inRecord("unit"));
  if (mode == "mute") return 1;
  if (mode != "endless") {
    const char* const result = execute(unit) ? "done" : "failed";
    // Both orders are possible: here the job ends before the reply.
    (void)sd_bus_emit_signal(sd_bus_message_get_bus(message), "/org/freedesktop/systemd1",
                             "org.freedesktop.systemd1.Manager", "JobRemoved", "uoss", 7, kJob, unitName.c_str(),
                             result);
  }
  return sd_bus_reply_method_return(message, "o", kJob);
}

int stopUnit(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  const char* name = nullptr;
  const char* jobMode = nullptr;
  (void)sd_bus_message_read(message, "ss", &name, &jobMode);
  std::ofstream(inRecord("stopped.new")) << "name " << name << "\nmode " << jobMode << "\n";
  std::filesystem::rename(inRecord("stopped.new"), inRecord("stopped"));
  return sd_bus_reply_method_return(message, "o", kJob);
}

int subscribe(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(message, "");
}

/// The lines of the file "manager"; empty without one.
int environment(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                sd_bus_message* reply, void* /*data*/, sd_bus_error* /*error*/) {
  (void)sd_bus_message_open_container(reply, 'a', "s");
  std::ifstream file(inRecord("manager"));
  for (std::string line; std::getline(file, line);) (void)sd_bus_message_append(reply, "s", line.c_str());
  return sd_bus_message_close_container(reply);
}

constexpr sd_bus_vtable kManager[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Subscribe", "", "", subscribe, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Environment", "as", environment, 0, 0),
    SD_BUS_METHOD("StartTransientUnit", "ssa(sv)a(sa(sv))", "o", startUnit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("StopUnit", "ss", "o", stopUnit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) mode = argv[1];
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", kManager,
                               nullptr) < 0 ||
      sd_bus_request_name(bus, "org.freedesktop.systemd1", 0) < 0) {
    return 1;
  }
  // Runs until the bus ends.
  for (int processed = 0; processed >= 0;) {
    processed = sd_bus_process(bus, nullptr);
    if (processed == 0) processed = sd_bus_wait(bus, UINT64_MAX);
  }
  (void)sd_bus_unref(bus);
}
