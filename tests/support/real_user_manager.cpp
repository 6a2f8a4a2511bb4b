#include "tests/support/real_user_manager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/linux/dbus/user_bus.h"

namespace tarvel {

namespace {

constexpr int kImpossible = 77;

}  // namespace

RealUserManager::RealUserManager() {
  start();
  const Deadline deadline(std::chrono::seconds(20));
  const std::string socket = runtimeFolder() + "/systemd/private";
  while (process_ != 0 && !isUp_ && deadline.left().count() > 0 && !hasEnded()) {
    isUp_ = std::filesystem::exists(socket) && openPeer(socket, deadline.left()) != nullptr;
    if (!isUp_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

RealUserManager::~RealUserManager() {
  lifeline_ = UniqueFd();
  if (process_ != 0) (void)::waitpid(process_, nullptr, 0);
}

void RealUserManager::start() {
  std::filesystem::create_directory(runtimeFolder());
  std::filesystem::permissions(runtimeFolder(), std::filesystem::perms::owner_all);
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) return;
  const UniqueFd input(ends[0]);
  lifeline_ = UniqueFd(ends[1]);
  std::string shell = "/bin/sh";
  std::string script = TARVEL_REAL_USER_MANAGER;
  std::string folder = runtimeFolder();
  const std::string log = directory_.path("log");
  char* arguments[] = {shell.data(), script.data(), folder.data(), nullptr};
  posix_spawn_file_actions_t actions;
  (void)::posix_spawn_file_actions_init(&actions);
  (void)::posix_spawn_file_actions_adddup2(&actions, input.get(), STDIN_FILENO);
  (void)::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  (void)::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  if (::posix_spawn(&process_, shell.c_str(), &actions, nullptr, arguments, environ) != 0) process_ = 0;
  (void)::posix_spawn_file_actions_destroy(&actions);
}

bool RealUserManager::hasEnded() {
  int status = 0;
  if (::waitpid(process_, &status, WNOHANG) == 0) return false;
  isImpossible_ = WIFEXITED(status) && WEXITSTATUS(status) == kImpossible;
  process_ = 0;
  return true;
}

}  // namespace tarvel
