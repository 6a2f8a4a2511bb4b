#include "platform/linux/service/linux_agent_service.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/linux/base/program_command.h"
#include "platform/linux/base/safe_text.h"
#include "platform/linux/dbus/systemd_units.h"
#include "platform/linux/dbus/user_manager.h"
#include "platform/linux/files/managed_file.h"
#include "platform/linux/launch/desktop_entry.h"
#include "platform/linux/launch/process_spawning.h"
#include "platform/linux/service/autostart_files.h"
#include "platform/linux/service/instance_lock.h"
#include "platform/linux/service/running_agent.h"

namespace tarvel {

namespace {

using std::chrono::milliseconds;

/// Time for the agent to take its lock, which it does first.
constexpr milliseconds kStart(5000);
constexpr milliseconds kLook(10);
/// Longer than any sort.
constexpr milliseconds kEnd(20000);

ServiceAnswer failure(std::string complaint) { return {false, false, std::move(complaint)}; }

ServiceAnswer failure(const FileStatus& status) { return failure(status.reason); }

std::string managersWords(const SystemdUnits& units) {
  return "The user's service manager refused: " + units.complaint() + ".";
}

std::string inTheWay(const std::string& path) {
  return quotedText(path) + " is there already and was not made by this command. Move it away, then try again.";
}

/// Whether the path exists, even as a dangling link.
bool isThere(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

}  // namespace

LinuxAgentService::LinuxAgentService(const std::string& identifier) : lockPath_(instanceLockPath(identifier)) {}
LinuxAgentService::~LinuxAgentService() = default;

const ManagerConnection* LinuxAgentService::manager() {
  if (!manager_) manager_ = std::make_unique<ManagerConnection>();
  return *manager_ ? manager_.get() : nullptr;
}

bool LinuxAgentService::hasManager() { return manager() != nullptr; }

std::optional<int> LinuxAgentService::runningAgent() {
  if (!holderOfInstanceLock(lockPath_)) return std::nullopt;
  return RunningAgent(lockPath_, kAgentProgram).process();
}

LoginEntry LinuxAgentService::loginEntry() {
  if (const ManagerConnection* connection = manager()) {
    const UnitFacts facts = SystemdUnits(*connection).factsOf(kAgentUnit);
    if (facts.fileState == "enabled") return {LoginStart::kServiceManager, facts.file, facts.program};
  } else if (isThere(ownUnitLinkPath())) {
    return {LoginStart::kServiceManager, ownUnitLinkPath(), {}};
  }
  const auto command = commandOfDesktopFile(autostartPath());
  if (command) return {LoginStart::kDesktop, autostartPath(), command->program};
  return {};
}

ServiceAnswer LinuxAgentService::provideUnit(const std::string& program, const std::string& unit) {
  SystemdUnits units(*manager());
  const std::string own = ownUnitPath();
  UnitFacts facts = units.factsOf(kAgentUnit);
  if (facts.fileState.starts_with("masked")) {
    return failure(
        "The unit TarvelHelper.service is masked. Run “systemctl --user unmask TarvelHelper.service”, then "
        "try again.");
  }
  if (facts.program == program) return {true, false, {}};
  if (ownershipOf(own) == Ownership::kForeign) return failure(inTheWay(own));
  if (!units.looksInto(userUnitsFolder())) {
    return failure("The user's service manager does not look for units in " + quotedText(userUnitsFolder()) +
                   ". Make XDG_CONFIG_HOME the same for it and for this command.");
  }
  // A unit of our own in the user's folder may shadow the installed one.
  if (const FileStatus removed = removeManagedFile(own); !removed.ok()) return failure(removed);
  if (!units.reload()) return failure(managersWords(units));
  if (units.factsOf(kAgentUnit).program == program) return {true, true, {}};
  if (const FileStatus written = writeManagedFile(own, unit); !written.ok()) return failure(written);
  return units.reload() ? ServiceAnswer{true, true, {}} : failure(managersWords(units));
}

ServiceAnswer LinuxAgentService::enableUnit(const std::string& program, const std::string& unit) {
  ServiceAnswer answer = provideUnit(program, unit);
  if (!answer.isDone) return answer;
  SystemdUnits units(*manager());
  if (units.factsOf(kAgentUnit).fileState != "enabled") {
    if (!units.enable(kAgentUnit)) {
      const ServiceAnswer refused = failure(managersWords(units));
      if (answer.isChanged && removeManagedFile(ownUnitPath()).ok()) (void)units.reload();
      return refused;
    }
    if (!units.reload()) return failure(managersWords(units));
    answer.isChanged = true;
  }
  // One start at login is enough, and the manager is preferred.
  answer.isChanged |= ownershipOf(autostartPath()) == Ownership::kOurs;
  const FileStatus removed = removeManagedFile(autostartPath());
  return removed.ok() ? answer : failure(removed);
}

ServiceAnswer LinuxAgentService::enableAutostart(const std::string& program) {
  const std::string path = autostartPath();
  if (path.empty()) return failure("There is no home folder. Set HOME, then try again.");
  const auto entry = autostartEntryFor(program);
  if (!entry) return failure("The agent's path has control characters. Install it elsewhere.");
  const auto there = commandOfDesktopFile(path);
  if (there && there->program == program) return {true, false, {}};
  if (ownershipOf(path) == Ownership::kForeign) return failure(inTheWay(path));
  const FileStatus written = writeManagedFile(path, *entry);
  return written.ok() ? ServiceAnswer{true, true, {}} : failure(written);
}

ServiceAnswer LinuxAgentService::enable(const std::string& program) {
  if (!isExecutableFile(program)) {
    return failure("There is no agent at " + quotedText(program) + ". Install Tarvel as a whole, then try again.");
  }
  const auto unit = unitFor(program);
  return manager() != nullptr && unit ? enableUnit(program, *unit) : enableAutostart(program);
}

ServiceAnswer LinuxAgentService::disable() {
  ServiceAnswer answer{true, false, {}};
  const std::string own = ownUnitPath();
  answer.isChanged = isThere(ownUnitLinkPath()) || ownershipOf(own) == Ownership::kOurs ||
                     ownershipOf(autostartPath()) == Ownership::kOurs;
  if (const ManagerConnection* connection = manager()) {
    SystemdUnits units(*connection);
    const bool isEnabled = units.factsOf(kAgentUnit).fileState == "enabled";
    if (isEnabled && !units.disable(kAgentUnit)) return failure(managersWords(units));
    answer.isChanged |= isEnabled;
  } else if (std::error_code error; !std::filesystem::remove(ownUnitLinkPath(), error) && error) {
    return failure(quotedText(ownUnitLinkPath()) + " could not be removed: " + error.message() + ".");
  }
  for (const std::string& path : {own, autostartPath()}) {
    if (const FileStatus removed = removeManagedFile(path); !removed.ok()) return failure(removed);
  }
  if (const ManagerConnection* connection = manager(); connection != nullptr && answer.isChanged) {
    SystemdUnits units(*connection);
    if (!units.reload()) return failure(managersWords(units));
  }
  return answer;
}

LinuxAgentService::Launch LinuxAgentService::launch(const std::string& program) {
  if (const ManagerConnection* connection = manager()) {
    SystemdUnits units(*connection);
    if (units.factsOf(kAgentUnit).program == program) {
      if (!units.start(kAgentUnit)) return {false, managersWords(units), {}};
      return {true, {}, [connection] { return !SystemdUnits(*connection).factsOf(kAgentUnit).isActive; }};
    }
    // A program started by the manager does not end with the terminal.
    UserManager launcher;
    if (launcher && launcher.start({program, {program}, {}})) return {true, {}, [] { return false; }};
  }
  const auto process = spawnDetached({program, {program}, {}});
  if (process) return {true, {}, [child = *process] { return ::waitpid(child, nullptr, WNOHANG) != 0; }};
  return {false, quotedText(program) + " could not be executed: " + std::generic_category().message(errno) + ".", {}};
}

bool LinuxAgentService::waitForAgent(const std::function<bool()>& hasEnded) {
  const auto end = std::chrono::steady_clock::now() + kStart;
  // The agent writes its number shortly after it takes the lock.
  while (runningAgent().value_or(0) == 0) {
    const bool isOver = hasEnded() || std::chrono::steady_clock::now() > end;
    if (isOver) return runningAgent().has_value();
    std::this_thread::sleep_for(kLook);
  }
  return true;
}

ServiceAnswer LinuxAgentService::start(const std::string& program) {
  if (runningAgent()) return {true, false, {}};
  if (!isExecutableFile(program)) {
    return failure("There is no agent at " + quotedText(program) + ". Install Tarvel as a whole, then try again.");
  }
  const Launch launched = launch(program);
  if (!launched.isExecuted) return failure(launched.complaint);
  if (waitForAgent(launched.hasEnded)) return {true, true, {}};
  return failure("The agent was started and has ended again. “tarvel status” and “tarvel agent log” say why.");
}

ServiceAnswer LinuxAgentService::stop() {
  ServiceAnswer answer{true, false, {}};
  if (const ManagerConnection* connection = manager()) {
    SystemdUnits units(*connection);
    // If stopped otherwise, the manager might restart it.
    if (units.factsOf(kAgentUnit).isActive) {
      if (!units.stop(kAgentUnit)) return failure(managersWords(units));
      answer.isChanged = true;
    }
  }
  if (!runningAgent()) return answer;
  const RunningAgent agent(lockPath_, kAgentProgram);
  if (!agent)
    return runningAgent()
               ? failure("Something holds " + quotedText(lockPath_) + " that is not the agent; it was left alone.")
               : answer;
  if (!agent.askToEnd()) {
    return failure("Process " + std::to_string(agent.process()) +
                   " could not be told to end: " + std::generic_category().message(errno) + ".");
  }
  if (!agent.waitForEnd(kEnd)) {
    return failure("Process " + std::to_string(agent.process()) +
                   " was told to end and has not yet. It ends after the sort that is under way.");
  }
  return {true, true, {}};
}

}  // namespace tarvel
