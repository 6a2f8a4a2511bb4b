// A stand-in for the agent: holds the agent's lock until it is asked to end. The lock's identifier is the first
// argument, or the one below.

#include <unistd.h>
#include <csignal>

#include "platform/linux/service/instance_lock.h"

int main(int argc, char** argv) {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  const tarvel::InstanceLock lock(tarvel::instanceLockPath(argc > 1 ? argv[1] : "org.tarvel.Test"));
  if (lock.state() != tarvel::InstanceLock::State::kHeld) return 0;
  int signal = 0;
  sigwait(&ending, &signal);
  // Without exit handlers: LeakSanitizer would make system calls that the unit forbids.
  ::_exit(0);
}
