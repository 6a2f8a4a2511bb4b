#include "tests/support/service_home.h"

#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/service/instance_lock.h"
#include "platform/linux/service/running_agent.h"

namespace tarvel {

namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 5> kFolderVariables = {"TARVEL_RECORD", "HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR",
                                                         "DBUS_SESSION_BUS_ADDRESS"};

}  // namespace

ServiceHome::ServiceHome() {
  for (const char* name : kFolderVariables) {
    if (const char* value = std::getenv(name)) previous_[name] = value;
    ::unsetenv(name);
  }
  fs::create_directory(directory_.path("runtime"));
  ::setenv("TARVEL_RECORD", directory_.path().c_str(), 1);
  ::setenv("HOME", directory_.path().c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", directory_.path("runtime").c_str(), 1);
}

ServiceHome::~ServiceHome() {
  const RunningAgent agent(instanceLockPath(kIdentifier), "TarvelHelper");
  if (agent && agent.askToEnd()) (void)agent.waitForEnd(std::chrono::seconds(20));
  bus_.reset();
  manager_.reset();
  // Without a manager the agent is a child of this process.
  while (::waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  for (const char* name : kFolderVariables) {
    ::unsetenv(name);
    if (previous_.contains(name)) ::setenv(name, previous_[name].c_str(), 1);
  }
}

bool ServiceHome::startFakeManager(const std::string& mode) {
  constexpr const char* kName = "org.freedesktop.systemd1";
  bus_ = std::make_unique<SessionBus>();
  bus_->addService(kName, std::string(TARVEL_FAKE_UNIT_MANAGER) + " " + mode);
  bus_->start();
  return bus_->isUp() && bus_->activate(kName);
}

RealUserManager& ServiceHome::startRealManager() {
  manager_ = std::make_unique<RealUserManager>();
  if (manager_->isUp()) ::setenv("XDG_RUNTIME_DIR", manager_->runtimeFolder().c_str(), 1);
  return *manager_;
}

std::string ServiceHome::agent(const std::string& folder) const {
  const fs::path program = fs::path(directory_.path(folder)) / "TarvelHelper";
  fs::create_directories(program.parent_path());
  if (!fs::exists(program)) fs::copy_file(TARVEL_FAKE_AGENT, program);
  return program.string();
}

void ServiceHome::write(const std::string& name, const std::string& text) const {
  fs::create_directories(fs::path(directory_.path(name)).parent_path());
  directory_.write(name, text);
}

bool ServiceHome::has(const std::string& name) const { return fs::exists(fs::symlink_status(directory_.path(name))); }

}  // namespace tarvel
