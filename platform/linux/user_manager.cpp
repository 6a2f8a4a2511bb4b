#include "platform/linux/user_manager.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/user_folders.h"

namespace tarvel {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kName = "org.freedesktop.systemd1";
constexpr const char* kPath = "/org/freedesktop/systemd1";
constexpr const char* kManager = "org.freedesktop.systemd1.Manager";
constexpr milliseconds kGreeting(1000);
constexpr milliseconds kStart(3000);

/// What a program with windows has to know of the session, and its manager may not.
constexpr std::array<const char*, 9> kSessionVariables = {
    "DISPLAY",          "WAYLAND_DISPLAY",          "XAUTHORITY",      "XDG_CURRENT_DESKTOP",
    "XDG_SESSION_TYPE", "DBUS_SESSION_BUS_ADDRESS", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
    "LANGUAGE"};

int noteEnd(sd_bus_message* message, void* waiting, sd_bus_error* /*error*/) {
  std::uint32_t id = 0;
  const char* path = nullptr;
  const char* unit = nullptr;
  const char* result = nullptr;
  if (sd_bus_message_read(message, "uoss", &id, &path, &unit, &result) < 0) return 0;
  // The end may be told before the answer that names the job.
  auto& ended = *static_cast<std::vector<EndedJob>*>(waiting);
  ended.push_back({path, result});
  return 0;
}

std::string unitName() {
  static unsigned count = 0;
  return "app-org.tarvel.Tarvel-" + std::to_string(::getpid()) + "-" + std::to_string(++count) + ".service";
}

bool appendText(sd_bus_message* request, const char* property, const char* text) {
  return sd_bus_message_append(request, "(sv)", property, "s", text) >= 0;
}

bool appendTexts(sd_bus_message* request, std::vector<std::string> texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return sd_bus_message_append_strv(request, pointers.data()) >= 0;
}

bool appendEnvironment(sd_bus_message* request) {
  std::vector<std::string> entries;
  for (const char* name : kSessionVariables) {
    if (const char* value = std::getenv(name)) entries.push_back(std::string(name) + "=" + value);
  }
  return sd_bus_message_open_container(request, 'r', "sv") >= 0 &&
         sd_bus_message_append(request, "s", "Environment") >= 0 &&
         sd_bus_message_open_container(request, 'v', "as") >= 0 && appendTexts(request, std::move(entries)) &&
         sd_bus_message_close_container(request) >= 0 && sd_bus_message_close_container(request) >= 0;
}

/// Every word as it stands: nothing in it is a variable.
bool appendCommand(sd_bus_message* request, const ProgramCommand& command) {
  return sd_bus_message_open_container(request, 'r', "sv") >= 0 &&
         sd_bus_message_append(request, "s", "ExecStartEx") >= 0 &&
         sd_bus_message_open_container(request, 'v', "a(sasas)") >= 0 &&
         sd_bus_message_open_container(request, 'a', "(sasas)") >= 0 &&
         sd_bus_message_open_container(request, 'r', "sasas") >= 0 &&
         sd_bus_message_append(request, "s", command.program.c_str()) >= 0 && appendTexts(request, command.arguments) &&
         sd_bus_message_append(request, "as", 1, "no-env-expand") >= 0 &&
         sd_bus_message_close_container(request) >= 0 && sd_bus_message_close_container(request) >= 0 &&
         sd_bus_message_close_container(request) >= 0 && sd_bus_message_close_container(request) >= 0;
}

bool appendProperties(sd_bus_message* request, const ProgramCommand& command) {
  const std::string wished = command.workingFolder.empty() ? userHomeFolder() : command.workingFolder;
  // A unit whose folder is missing does not start.
  const std::string folder = wished.starts_with('/') && ::access(wished.c_str(), X_OK) == 0 ? wished : "/";
  return sd_bus_message_open_container(request, 'a', "(sv)") >= 0 && appendText(request, "Description", "Tarvel") &&
         appendText(request, "Type", "exec") && appendText(request, "ExitType", "cgroup") &&
         appendText(request, "CollectMode", "inactive-or-failed") && appendText(request, "Slice", "app.slice") &&
         appendText(request, "WorkingDirectory", folder.c_str()) && appendEnvironment(request) &&
         appendCommand(request, command) && sd_bus_message_close_container(request) >= 0;
}

}  // namespace

UserManager::UserManager() {
  const std::string runtime = userRuntimeFolder();
  if (runtime.empty()) return;
  bus_ = openPeer(runtime + "/systemd/private", kGreeting);
  if (bus_ && answers()) return;
  destination_ = kName;
  bus_ = openUserBus(kGreeting);
  if (bus_ && !answers()) bus_.reset();
}

bool UserManager::answers() {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_.get(), &message, destination_, kPath, "org.freedesktop.DBus.Peer", "Ping") <
      0) {
    return false;
  }
  const BusMessagePointer ping(message);
  // A bus without a manager is not to start one.
  (void)sd_bus_message_set_auto_start(ping.get(), 0);
  return sd_bus_call(bus_.get(), ping.get(), busTimeout(kGreeting), nullptr, nullptr) >= 0;
}

BusMessagePointer UserManager::requestFor(const ProgramCommand& command) {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_.get(), &message, destination_, kPath, kManager, "StartTransientUnit") < 0) {
    return nullptr;
  }
  BusMessagePointer request(message);
  const bool isWhole = sd_bus_message_append(message, "ss", unitName().c_str(), "fail") >= 0 &&
                       appendProperties(message, command) && sd_bus_message_append(message, "a(sa(sv))", 0) >= 0;
  return isWhole ? std::move(request) : nullptr;
}

bool UserManager::endsWell(const std::string& job, const std::vector<EndedJob>& ended) {
  const auto end = Clock::now() + kStart;
  for (std::size_t seen = 0;;) {
    for (; seen < ended.size(); ++seen) {
      if (ended[seen].path == job) return ended[seen].result == "done";
    }
    const int processed = sd_bus_process(bus_.get(), nullptr);
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
    if (processed < 0 || left.count() <= 0) return false;
    if (processed == 0 && sd_bus_wait(bus_.get(), busTimeout(left)) < 0) return false;
  }
}

bool UserManager::start(const ProgramCommand& command) {
  if (!bus_ || !command.program.starts_with('/')) return false;
  std::vector<EndedJob> ended;
  sd_bus_slot* slot = nullptr;
  const int matched =
      sd_bus_match_signal(bus_.get(), &slot, destination_, kPath, kManager, "JobRemoved", noteEnd, &ended);
  if (matched < 0) return false;
  // A manager tells of jobs only those who asked.
  (void)sd_bus_call_method(bus_.get(), destination_, kPath, kManager, "Subscribe", nullptr, nullptr, "");
  const BusMessagePointer request = requestFor(command);
  sd_bus_message* answer = nullptr;
  const char* job = nullptr;
  const bool isAccepted = request &&
                          sd_bus_call(bus_.get(), request.get(), busTimeout(kStart), nullptr, &answer) >= 0 &&
                          sd_bus_message_read(answer, "o", &job) >= 0;
  const bool hasStarted = isAccepted && endsWell(job, ended);
  (void)sd_bus_message_unref(answer);
  (void)sd_bus_slot_unref(slot);
  return hasStarted;
}

}  // namespace tarvel
