// A stand-in for the user's service manager on the session bus, for one unit: finds the unit's file, links it into a
// target, starts and stops its program. Like the real one, it does not see changes of files before it reloads them. It
// reads $HOME/.config/systemd/user and $TARVEL_RECORD/units.
//
// With the argument "refuse" it enables nothing.

#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;

constexpr const char* kPath = "/org/freedesktop/systemd1";
constexpr const char* kManager = "org.freedesktop.systemd1.Manager";
constexpr const char* kJob = "/org/freedesktop/systemd1/job/7";
constexpr const char* kUnitObject = "/org/freedesktop/systemd1/unit/TarvelHelper_2eservice";
constexpr const char* kUnit = "TarvelHelper.service";

bool refuses = false;
bool isLoaded = false;
std::string file;
std::string program;
pid_t process = 0;

std::string variable(const char* name) { return std::getenv(name) == nullptr ? "" : std::getenv(name); }
std::string ownFolder() { return variable("HOME") + "/.config/systemd/user"; }
std::string link() { return ownFolder() + "/default.target.wants/" + kUnit; }

/// The program in the unit's ExecStart, for units in the form of this project.
std::string wordOf(std::string_view command) {
  std::string word;
  if (!command.empty() && command.front() == ':') command.remove_prefix(1);
  for (std::size_t i = 0; i < command.size(); ++i) {
    if (command[i] == '"') continue;
    if (command[i] == '%') ++i;
    word += command[i];
  }
  return word;
}

std::string findFile() {
  for (const std::string& folder : {ownFolder(), variable("TARVEL_RECORD") + "/units"}) {
    std::error_code error;
    const fs::path path = fs::path(folder) / kUnit;
    if (fs::exists(fs::symlink_status(path, error))) return path.string();
  }
  return {};
}

void load() {
  if (isLoaded) return;
  isLoaded = true;
  file = findFile();
  program.clear();
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("ExecStart=")) program = wordOf(std::string_view(line).substr(10));
  }
}

void reap() {
  if (process != 0 && ::waitpid(process, nullptr, WNOHANG) == process) process = 0;
}

int fileState(sd_bus_message* message, void* /*data*/, sd_bus_error* error) {
  const std::string found = findFile();
  if (found.empty()) return sd_bus_error_set(error, "org.freedesktop.DBus.Error.FileNotFound", "No such file");
  std::error_code ignored;
  const bool isMasked = fs::read_symlink(found, ignored) == "/dev/null";
  const bool isEnabled = fs::exists(fs::symlink_status(link(), ignored));
  return sd_bus_reply_method_return(message, "s", isMasked ? "masked" : isEnabled ? "enabled" : "disabled");
}

int loadUnit(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  load();
  return sd_bus_reply_method_return(message, "o", kUnitObject);
}

int enable(sd_bus_message* message, void* /*data*/, sd_bus_error* error) {
  const std::string found = findFile();
  if (refuses) return sd_bus_error_set(error, "org.freedesktop.DBus.Error.AccessDenied", "Not today");
  if (found.empty()) return sd_bus_error_set(error, "org.freedesktop.DBus.Error.FileNotFound", "No such file");
  std::error_code ignored;
  fs::create_directories(fs::path(link()).parent_path(), ignored);
  fs::create_symlink(found, link(), ignored);
  return sd_bus_reply_method_return(message, "ba(sss)", 1, 0);
}

int disable(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  std::error_code ignored;
  fs::remove(link(), ignored);
  return sd_bus_reply_method_return(message, "a(sss)", 0);
}

int reload(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  isLoaded = false;
  return sd_bus_reply_method_return(message, "");
}

int endJob(sd_bus_message* message, const char* result) {
  // Both orders are possible: here the job ends before the reply.
  (void)sd_bus_emit_signal(sd_bus_message_get_bus(message), kPath, kManager, "JobRemoved", "uoss", 7, kJob, kUnit,
                           result);
  return sd_bus_reply_method_return(message, "o", kJob);
}

int start(sd_bus_message* message, void* /*data*/, sd_bus_error* error) {
  load();
  reap();
  if (program.empty()) return sd_bus_error_set(error, "org.freedesktop.systemd1.NoSuchUnit", "Unit not found");
  if (process != 0) return endJob(message, "done");
  char* arguments[] = {program.data(), nullptr};
  const bool isExecuted = ::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) == 0;
  if (!isExecuted) process = 0;
  return endJob(message, isExecuted ? "done" : "failed");
}

int stop(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  if (process != 0) {
    (void)::kill(process, SIGTERM);
    (void)::waitpid(process, nullptr, 0);
    process = 0;
  }
  return endJob(message, "done");
}

int nothing(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(message, "");
}

int unitPath(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*name*/,
             sd_bus_message* answer, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_message_append(answer, "as", 2, ownFolder().c_str(), (variable("TARVEL_RECORD") + "/units").c_str());
}

int unitText(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* name, sd_bus_message* answer,
             void* /*data*/, sd_bus_error* /*error*/) {
  load();
  reap();
  const bool isFile = std::string_view(name) == "FragmentPath";
  return sd_bus_message_append(answer, "s", isFile ? file.c_str() : process != 0 ? "active" : "inactive");
}

int execStart(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*name*/,
              sd_bus_message* answer, void* /*data*/, sd_bus_error* /*error*/) {
  load();
  if (program.empty()) return sd_bus_message_append(answer, "a(sasbttttuii)", 0);
  return sd_bus_message_append(answer, "a(sasbttttuii)", 1, program.c_str(), 1, program.c_str(), 0, UINT64_C(0),
                               UINT64_C(0), UINT64_C(0), UINT64_C(0), 0, 0, 0);
}

int mainProcess(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*name*/,
                sd_bus_message* answer, void* /*data*/, sd_bus_error* /*error*/) {
  reap();
  return sd_bus_message_append(answer, "u", static_cast<unsigned>(process));
}

constexpr sd_bus_vtable kManagerTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Subscribe", "", "", nothing, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetUnitFileState", "s", "s", fileState, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("LoadUnit", "s", "o", loadUnit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("EnableUnitFiles", "asbb", "ba(sss)", enable, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("DisableUnitFiles", "asb", "a(sss)", disable, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Reload", "", "", reload, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("StartUnit", "ss", "o", start, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("StopUnit", "ss", "o", stop, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("UnitPath", "as", unitPath, 0, 0),
    SD_BUS_VTABLE_END};

constexpr sd_bus_vtable kUnitTable[] = {SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("FragmentPath", "s", unitText, 0, 0),
                                        SD_BUS_PROPERTY("ActiveState", "s", unitText, 0, 0), SD_BUS_VTABLE_END};

constexpr sd_bus_vtable kServiceTable[] = {SD_BUS_VTABLE_START(0),
                                           SD_BUS_PROPERTY("ExecStart", "a(sasbttttuii)", execStart, 0, 0),
                                           SD_BUS_PROPERTY("MainPID", "u", mainProcess, 0, 0), SD_BUS_VTABLE_END};

}  // namespace

int main(int argc, char** argv) {
  refuses = argc > 1 && std::string_view(argv[1]) == "refuse";
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, kPath, kManager, kManagerTable, nullptr) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, kUnitObject, "org.freedesktop.systemd1.Unit", kUnitTable, nullptr) < 0 ||
      sd_bus_add_object_vtable(bus, nullptr, kUnitObject, "org.freedesktop.systemd1.Service", kServiceTable, nullptr) <
          0 ||
      sd_bus_request_name(bus, "org.freedesktop.systemd1", 0) < 0) {
    return 1;
  }
  // Runs until the bus ends, and ends what it started.
  for (int processed = 0; processed >= 0;) {
    processed = sd_bus_process(bus, nullptr);
    if (processed == 0) processed = sd_bus_wait(bus, UINT64_MAX);
  }
  if (process != 0) (void)::kill(process, SIGTERM);
  (void)sd_bus_unref(bus);
}
