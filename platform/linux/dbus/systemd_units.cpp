#include "platform/linux/dbus/systemd_units.h"

#include <cstdlib>
#include <memory>

namespace tarvel {

namespace {

using std::chrono::milliseconds;

constexpr const char* kUnitInterface = "org.freedesktop.systemd1.Unit";
constexpr const char* kServiceInterface = "org.freedesktop.systemd1.Service";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr milliseconds kLook(3000);
/// Reloading all units takes a while on a slow machine.
constexpr milliseconds kChange(20000);
/// Longer than any sort.
constexpr milliseconds kJob(20000);

/// The reply to a call of any of the manager's objects; null on failure.
BusMessagePointer answerTo(const ManagerConnection& connection, sd_bus_message* request) {
  sd_bus_message* answer = nullptr;
  const int called = sd_bus_call(connection.bus(), request, busTimeout(kLook), nullptr, &answer);
  return BusMessagePointer(called < 0 ? nullptr : answer);
}

/// A property's value with its variant opened; null if there is none of that type.
BusMessagePointer property(const ManagerConnection& connection, const std::string& object, const char* interface,
                           const char* name, const char* type) {
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_method_call(connection.bus(), &made, connection.destination(), object.c_str(),
                                     kPropertiesInterface, "Get") < 0) {
    return nullptr;
  }
  const BusMessagePointer request(made);
  if (sd_bus_message_append(request.get(), "ss", interface, name) < 0) return nullptr;
  BusMessagePointer answer = answerTo(connection, request.get());
  const bool isThere = answer && sd_bus_message_enter_container(answer.get(), 'v', type) > 0;
  return isThere ? std::move(answer) : nullptr;
}

std::string textProperty(const ManagerConnection& connection, const std::string& object, const char* name) {
  const BusMessagePointer value = property(connection, object, kUnitInterface, name, "s");
  const char* text = nullptr;
  return value && sd_bus_message_read(value.get(), "s", &text) > 0 ? text : "";
}

std::string programOf(const ManagerConnection& connection, const std::string& object) {
  constexpr const char* kCommand = "sasbttttuii";
  const BusMessagePointer value = property(connection, object, kServiceInterface, "ExecStart", "a(sasbttttuii)");
  const char* program = nullptr;
  const bool isThere = value && sd_bus_message_enter_container(value.get(), 'a', "(sasbttttuii)") > 0 &&
                       sd_bus_message_enter_container(value.get(), 'r', kCommand) > 0 &&
                       sd_bus_message_read(value.get(), "s", &program) > 0;
  return isThere ? program : "";
}

/// The manager's reply to a query about a unit, a single value of `type`.
std::string managerAnswer(const ManagerConnection& connection, const char* method, const std::string& unit,
                          const char* type) {
  const BusMessagePointer request = connection.newCall(method);
  if (!request || sd_bus_message_append(request.get(), "s", unit.c_str()) < 0) return {};
  const BusMessagePointer answer = answerTo(connection, request.get());
  const char* text = nullptr;
  return answer && sd_bus_message_read(answer.get(), type, &text) > 0 ? text : "";
}

bool appendName(sd_bus_message* request, const std::string& unit) {
  return sd_bus_message_append(request, "as", 1, unit.c_str()) >= 0;
}

}  // namespace

UnitFacts SystemdUnits::factsOf(const std::string& unit) const {
  UnitFacts facts;
  facts.fileState = managerAnswer(connection_, "GetUnitFileState", unit, "s");
  const std::string object = managerAnswer(connection_, "LoadUnit", unit, "o");
  if (object.empty()) return facts;
  facts.file = textProperty(connection_, object, "FragmentPath");
  facts.program = programOf(connection_, object);
  const std::string state = textProperty(connection_, object, "ActiveState");
  facts.isActive = !state.empty() && state != "inactive" && state != "failed";
  const BusMessagePointer process = property(connection_, object, kServiceInterface, "MainPID", "u");
  std::uint32_t number = 0;
  if (process && sd_bus_message_read(process.get(), "u", &number) > 0) facts.process = static_cast<int>(number);
  return facts;
}

bool SystemdUnits::looksInto(const std::string& folder) const {
  const BusMessagePointer paths = property(connection_, kManagerPath, kManagerInterface, "UnitPath", "as");
  if (!paths || sd_bus_message_enter_container(paths.get(), 'a', "s") <= 0) return false;
  const char* path = nullptr;
  while (sd_bus_message_read(paths.get(), "s", &path) > 0) {
    if (folder == path) return true;
  }
  return false;
}

bool SystemdUnits::call(sd_bus_message* request) {
  sd_bus_error error{};
  const bool isDone = sd_bus_call(connection_.bus(), request, busTimeout(kChange), &error, nullptr) >= 0;
  if (!isDone) complaint_ = error.message != nullptr ? error.message : "no answer";
  sd_bus_error_free(&error);
  return isDone;
}

bool SystemdUnits::enable(const std::string& unit) {
  const BusMessagePointer request = connection_.newCall("EnableUnitFiles");
  return request && appendName(request.get(), unit) && sd_bus_message_append(request.get(), "bb", 0, 0) >= 0 &&
         call(request.get());
}

bool SystemdUnits::disable(const std::string& unit) {
  const BusMessagePointer request = connection_.newCall("DisableUnitFiles");
  return request && appendName(request.get(), unit) && sd_bus_message_append(request.get(), "b", 0) >= 0 &&
         call(request.get());
}

bool SystemdUnits::reload() {
  const BusMessagePointer request = connection_.newCall("Reload");
  return request && call(request.get());
}

bool SystemdUnits::runJob(const char* method, const std::string& unit) {
  const BusMessagePointer request = connection_.newCall(method);
  if (!request || sd_bus_message_append(request.get(), "ss", unit.c_str(), "replace") < 0) return false;
  const ManagerConnection::JobEnd end = connection_.runJob(request.get(), Deadline(kJob));
  if (!end.isDone()) complaint_ = !end.refusal.empty() ? end.refusal : end.result.empty() ? "no answer" : end.result;
  return end.isDone();
}

bool SystemdUnits::start(const std::string& unit) { return runJob("StartUnit", unit); }

bool SystemdUnits::stop(const std::string& unit) { return runJob("StopUnit", unit); }

}  // namespace tarvel
