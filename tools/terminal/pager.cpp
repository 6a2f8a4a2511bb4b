#include "tools/terminal/pager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "platform/linux/base/memory_limit.h"

namespace tarvel {

namespace {

std::string pagerCommand() {
  const char* pager = std::getenv("PAGER");
  return pager != nullptr ? pager : "less";
}

/// Starts the pager with `input` as its standard input. 0 when it cannot be started.
pid_t start(const std::string& command, int input) {
  // Options for less alone; the user's own win.
  (void)::setenv("LESS", "FRX", 0);
  posix_spawn_file_actions_t actions;
  if (::posix_spawn_file_actions_init(&actions) != 0) return 0;
  (void)::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  std::string shell = "sh";
  std::string option = "-c";
  // Where the pager is missing, the text is shown all the same.
  std::string script =
      "command -v " + command.substr(0, command.find(' ')) + " >/dev/null && exec " + command + "\nexec cat";
  const std::array<char*, 4> arguments = {shell.data(), option.data(), script.data(), nullptr};
  pid_t process = 0;
  const LiftedMemoryLimit lifted;
  const int error = ::posix_spawnp(&process, "sh", &actions, nullptr, arguments.data(), environ);
  (void)::posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? process : 0;
}

}  // namespace

Pager::Pager() {
  const std::string command = pagerCommand();
  if (command.empty() || command == "cat") return;
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return;
  const UniqueFd reading(ends[0]);
  const UniqueFd writing(ends[1]);
  std::cout.flush();
  terminal_ = UniqueFd(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
  process_ = terminal_ ? start(command, reading.get()) : 0;
  if (process_ == 0) return;
  (void)::dup2(writing.get(), STDOUT_FILENO);
  // A pager that ends early, or Ctrl-C in it, does not end the command.
  pipeHandler_ = std::signal(SIGPIPE, SIG_IGN);
  interruptHandler_ = std::signal(SIGINT, SIG_IGN);
}

Pager::~Pager() {
  if (process_ == 0) return;
  std::cout.flush();
  std::cout.clear();
  (void)::dup2(terminal_.get(), STDOUT_FILENO);
  int status = 0;
  while (::waitpid(process_, &status, 0) == -1 && errno == EINTR) {
  }
  (void)std::signal(SIGPIPE, pipeHandler_);
  (void)std::signal(SIGINT, interruptHandler_);
}

}  // namespace tarvel
