#include "platform/linux/dbus/manager_connection.h"

#include <utility>

#include "platform/linux/base/user_folders.h"

namespace tarvel {

namespace {

constexpr const char* kManagerName = "org.freedesktop.systemd1";

int noteEnd(sd_bus_message* message, void* waiting, sd_bus_error* /*error*/) {
  std::uint32_t id = 0;
  const char* path = nullptr;
  const char* unit = nullptr;
  const char* result = nullptr;
  if (sd_bus_message_read(message, "uoss", &id, &path, &unit, &result) < 0) return 0;
  // JobRemoved can arrive before the reply that names the job.
  auto& ended = *static_cast<std::vector<EndedJob>*>(waiting);
  ended.push_back({path, result});
  return 0;
}

}  // namespace

ManagerConnection::ManagerConnection() {
  const std::string runtime = userRuntimeFolder();
  if (runtime.empty()) return;
  const Deadline greeting(kBusGreetingTimeout);
  bus_ = openPeer(runtime + "/systemd/private", greeting.left());
  if (bus_ && answers(greeting)) return;
  destination_ = kManagerName;
  bus_ = openUserBus(greeting.left());
  if (bus_ && !answers(greeting)) bus_.reset();
}

BusMessagePointer ManagerConnection::newCall(const char* method) const {
  sd_bus_message* message = nullptr;
  const int made = bus_ == nullptr ? -1
                                   : sd_bus_message_new_method_call(bus_.get(), &message, destination_, kManagerPath,
                                                                    kManagerInterface, method);
  return BusMessagePointer(made < 0 ? nullptr : message);
}

std::optional<std::vector<std::string>> ManagerConnection::environment() const {
  sd_bus_message* message = nullptr;
  if (bus_ == nullptr || sd_bus_message_new_method_call(bus_.get(), &message, destination_, kManagerPath,
                                                        "org.freedesktop.DBus.Properties", "Get") < 0) {
    return std::nullopt;
  }
  const BusMessagePointer request(message);
  sd_bus_message* received = nullptr;
  if (sd_bus_message_append(request.get(), "ss", kManagerInterface, "Environment") < 0 ||
      sd_bus_call(bus_.get(), request.get(), busTimeout(kBusGreetingTimeout), nullptr, &received) < 0) {
    return std::nullopt;
  }
  const BusMessagePointer answer(received);
  if (sd_bus_message_enter_container(answer.get(), 'v', "as") <= 0 ||
      sd_bus_message_enter_container(answer.get(), 'a', "s") < 0) {
    return std::nullopt;
  }
  std::vector<std::string> entries;
  const char* entry = nullptr;
  while (sd_bus_message_read(answer.get(), "s", &entry) > 0) entries.emplace_back(entry);
  return entries;
}

bool ManagerConnection::answers(const Deadline& deadline) const {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_.get(), &message, destination_, kManagerPath, "org.freedesktop.DBus.Peer",
                                     "Ping") < 0) {
    return false;
  }
  const BusMessagePointer ping(message);
  // Never start a manager by bus activation.
  (void)sd_bus_message_set_auto_start(ping.get(), 0);
  return sd_bus_call(bus_.get(), ping.get(), busTimeout(deadline.left()), nullptr, nullptr) >= 0;
}

void ManagerConnection::sendWithoutWaiting(BusMessagePointer message) const {
  if (!message) return;
  (void)sd_bus_message_set_expect_reply(message.get(), 0);
  (void)sd_bus_send(bus_.get(), message.get(), nullptr);
}

std::string ManagerConnection::endOf(const std::string& job, const std::vector<EndedJob>& ended,
                                     const Deadline& deadline) const {
  for (std::size_t seen = 0;;) {
    for (; seen < ended.size(); ++seen) {
      if (ended[seen].path == job) return ended[seen].result;
    }
    if (!turnBus(bus_.get(), deadline)) return {};
  }
}

ManagerConnection::JobEnd ManagerConnection::runJob(sd_bus_message* request, const Deadline& deadline) const {
  std::vector<EndedJob> ended;
  sd_bus_slot* slot = nullptr;
  // Messages are delivered in order, so only the reply to the request itself is awaited.
  if (sd_bus_match_signal_async(bus_.get(), &slot, destination_, kManagerPath, kManagerInterface, "JobRemoved", noteEnd,
                                nullptr, &ended) < 0) {
    return {};
  }
  // A manager sends job signals to subscribers only.
  sendWithoutWaiting(newCall("Subscribe"));
  sd_bus_message* answer = nullptr;
  sd_bus_error error{};
  const char* job = nullptr;
  JobEnd end;
  const int called = sd_bus_call(bus_.get(), request, busTimeout(deadline.left()), &error, &answer);
  if (called >= 0 && sd_bus_message_read(answer, "o", &job) >= 0) end.result = endOf(job, ended, deadline);
  if (error.message != nullptr) end.refusal = error.message;
  sd_bus_error_free(&error);
  (void)sd_bus_message_unref(answer);
  (void)sd_bus_slot_unref(slot);
  return end;
}

}  // namespace tarvel
