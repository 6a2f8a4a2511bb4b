#include "platform/linux/launch/process_spawning.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <vector>

#include "platform/linux/base/memory_limit.h"
#include "platform/linux/base/program_command.h"

namespace tarvel {

namespace {

/// Variables that a service manager, bus or desktop sets for one program only.
constexpr std::array<std::string_view, 24> kOwnVariables = {"NOTIFY_SOCKET",
                                                            "INVOCATION_ID",
                                                            "JOURNAL_STREAM",
                                                            "LISTEN_PID",
                                                            "LISTEN_FDS",
                                                            "LISTEN_FDNAMES",
                                                            "WATCHDOG_PID",
                                                            "WATCHDOG_USEC",
                                                            "MAINPID",
                                                            "MANAGERPID",
                                                            "SYSTEMD_EXEC_PID",
                                                            "CREDENTIALS_DIRECTORY",
                                                            "RUNTIME_DIRECTORY",
                                                            "STATE_DIRECTORY",
                                                            "CACHE_DIRECTORY",
                                                            "LOGS_DIRECTORY",
                                                            "TRIGGER_UNIT",
                                                            "DBUS_STARTER_ADDRESS",
                                                            "DBUS_STARTER_BUS_TYPE",
                                                            "CONFIGURATION_DIRECTORY",
                                                            "MEMORY_PRESSURE_WATCH",
                                                            "MEMORY_PRESSURE_WRITE",
                                                            "DESKTOP_STARTUP_ID",
                                                            "XDG_ACTIVATION_TOKEN"};

class FileActions {
 public:
  FileActions() { (void)::posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { (void)::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  [[nodiscard]] posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

class Attributes {
 public:
  Attributes() {
    (void)::posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    (void)::posix_spawnattr_setsigmask(&attributes_, &none);
    (void)::posix_spawnattr_setsigdefault(&attributes_, &all);
    (void)::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Attributes() { (void)::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

bool isOwnVariable(std::string_view entry) {
  const std::string_view name = entry.substr(0, entry.find('='));
  for (const std::string_view own : kOwnVariables) {
    if (name == own) return true;
  }
  return false;
}

std::vector<char*> environmentForOthers() {
  std::vector<char*> environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (!isOwnVariable(*entry)) environment.push_back(*entry);
  }
  environment.push_back(nullptr);
  return environment;
}

}  // namespace

std::optional<pid_t> spawnDetached(const ProgramCommand& command, int output) {
  FileActions actions;
  const Attributes attributes;
  (void)::posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  (void)::posix_spawn_file_actions_addopen(actions.get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  (void)::posix_spawn_file_actions_adddup2(actions.get(), output < 0 ? STDERR_FILENO : output, STDOUT_FILENO);
  (void)::posix_spawn_file_actions_addclosefrom_np(actions.get(), STDERR_FILENO + 1);
  (void)::posix_spawn_file_actions_addchdir_np(actions.get(), startingFolderOf(command).c_str());

  std::vector<std::string> words = command.arguments;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const std::vector<char*> environment = environmentForOthers();
  pid_t process = 0;
  const LiftedMemoryLimit lifted;
  const int code = ::posix_spawn(&process, command.program.c_str(), actions.get(), attributes.get(), arguments.data(),
                                 environment.data());
  errno = code;
  return code == 0 ? std::optional(process) : std::nullopt;
}

}  // namespace tarvel
