#include "platform/linux/dbus/user_manager.h"

#include <systemd/sd-id128.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/base/program_command.h"
#include "platform/linux/base/user_folders.h"
#include "platform/plist/text_encoding.h"

namespace tarvel {

namespace {

using std::chrono::milliseconds;

/// Session variables of a graphical program, in addition to most of XDG_*. Used as a set: the display of one session
/// does not work with the desktop of another.
constexpr std::array<std::string_view, 3> kDisplayVariables = {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY"};
/// Other variables that a program needs.
constexpr std::array<std::string_view, 5> kOtherVariables = {"DBUS_SESSION_BUS_ADDRESS", "LANG", "LANGUAGE", "LC_ALL",
                                                             "LC_MESSAGES"};
/// Location of the settings, which the program must share.
constexpr std::string_view kSettingsVariable = "XDG_CONFIG_HOME";
/// Valid once, for this process only.
constexpr std::string_view kSpentVariable = "XDG_ACTIVATION_TOKEN";

/// Unique, as an earlier unit may still be running.
std::string newUnitName() {
  sd_id128_t number{};
  char digits[SD_ID128_STRING_MAX];
  (void)sd_id128_randomize(&number);
  return "app-org.tarvel.Tarvel@" + std::string(sd_id128_to_string(number, digits)) + ".service";
}

std::string_view nameOf(std::string_view entry) { return entry.substr(0, entry.find('=')); }

bool isOfTheDisplay(std::string_view name) {
  const bool isFolder = name.ends_with("_HOME") || name.ends_with("_DIRS") || name.ends_with("_DIR");
  return std::ranges::find(kDisplayVariables, name) != kDisplayVariables.end() ||
         (name.starts_with("XDG_") && !isFolder);
}

bool isOfTheSession(std::string_view name) {
  const bool isListed = std::ranges::find(kOtherVariables, name) != kOtherVariables.end();
  return (isListed || name.starts_with("XDG_") || isOfTheDisplay(name)) && name != kSpentVariable &&
         name != kSettingsVariable;
}

/// The variables that the manager lacks. A session may set the manager's display later than this process started.
class MissingVariables {
 public:
  explicit MissingVariables(const std::vector<std::string>& managersEntries) {
    for (const std::string& entry : managersEntries) known_.emplace(nameOf(entry));
  }

  [[nodiscard]] bool contains(std::string_view name) const {
    const bool hasDisplay = known_.contains("DISPLAY") || known_.contains("WAYLAND_DISPLAY");
    return !known_.contains(name) && !(hasDisplay && isOfTheDisplay(name));
  }

 private:
  std::set<std::string, std::less<>> known_;
};

/// A single variable that a manager rejects would make the whole request fail.
bool isTakenByManagers(std::string_view entry) {
  const bool hasControls = std::ranges::any_of(entry, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t' && c != '\n') || byte == 0x7F;
  });
  return !hasControls && isWellFormedUtf8(entry);
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

bool appendEnvironment(sd_bus_message* request, const std::vector<std::string>& managersEntries) {
  const MissingVariables missing(managersEntries);
  std::vector<std::string> entries;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view name = nameOf(*entry);
    if (isOfTheSession(name) && missing.contains(name)) entries.emplace_back(*entry);
  }
  if (const std::string settings = userSettingsFolder(); !settings.empty()) {
    entries.push_back(std::string(kSettingsVariable) + "=" + settings);
  }
  std::erase_if(entries, [](const std::string& entry) { return !isTakenByManagers(entry); });
  return sd_bus_message_open_container(request, 'r', "sv") >= 0 &&
         sd_bus_message_append(request, "s", "Environment") >= 0 &&
         sd_bus_message_open_container(request, 'v', "as") >= 0 && appendTexts(request, std::move(entries)) &&
         sd_bus_message_close_container(request) >= 0 && sd_bus_message_close_container(request) >= 0;
}

/// Every argument is literal; nothing is expanded.
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

bool appendProperties(sd_bus_message* request, const ProgramCommand& command,
                      const std::vector<std::string>& managersEntries) {
  return sd_bus_message_open_container(request, 'a', "(sv)") >= 0 && appendText(request, "Description", "Tarvel") &&
         appendText(request, "Type", "exec") && appendText(request, "ExitType", "cgroup") &&
         appendText(request, "CollectMode", "inactive-or-failed") && appendText(request, "Slice", "app.slice") &&
         appendText(request, "WorkingDirectory", startingFolderOf(command).c_str()) &&
         appendEnvironment(request, managersEntries) && appendCommand(request, command) &&
         sd_bus_message_close_container(request) >= 0;
}

}  // namespace

BusMessagePointer UserManager::startRequest(const std::string& unit, const ProgramCommand& command) {
  BusMessagePointer request = connection_.newCall("StartTransientUnit");
  sd_bus_message* const message = request.get();
  const bool isWhole =
      message != nullptr && sd_bus_message_append(message, "ss", unit.c_str(), "fail") >= 0 &&
      appendProperties(message, command, connection_.environment().value_or(std::vector<std::string>())) &&
      sd_bus_message_append(message, "a(sa(sv))", 0) >= 0;
  return isWhole ? std::move(request) : nullptr;
}

bool UserManager::start(const ProgramCommand& command) {
  const std::string unit = newUnitName();
  const BusMessagePointer request = connection_ ? startRequest(unit, command) : nullptr;
  if (!request) return false;
  const bool hasStarted = connection_.runJob(request.get(), Deadline(kBusStartTimeout)).isDone();
  // The caller will launch it in another way. Prevents a second start if the manager gets to it later.
  if (!hasStarted) giveUp(unit);
  return hasStarted;
}

void UserManager::giveUp(const std::string& unit) {
  BusMessagePointer stop = connection_.newCall("StopUnit");
  if (stop && sd_bus_message_append(stop.get(), "ss", unit.c_str(), "replace") >= 0)
    connection_.sendWithoutWaiting(std::move(stop));
}

}  // namespace tarvel
