#include "tests/support/child_process.h"

#include <grp.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>

namespace tarvel {

namespace {

constexpr int kNotSetUp = 200;
constexpr int kKilled = 201;

/// Permanently drops all privileges except those of one user.
bool becomes(unsigned user) { return ::setgroups(0, nullptr) == 0 && ::setgid(user) == 0 && ::setuid(user) == 0; }

sock_filter statement(unsigned code, std::uint32_t value) { return {static_cast<std::uint16_t>(code), 0, 0, value}; }

/// Skips `otherwise` instructions when the loaded number differs.
sock_filter onlyIf(std::uint32_t value, std::uint8_t otherwise) {
  return {static_cast<std::uint16_t>(BPF_JMP | BPF_JEQ | BPF_K), 0, otherwise, value};
}

std::vector<sock_filter> programFor(const std::vector<CallFault>& faults) {
  constexpr unsigned kLoad = BPF_LD | BPF_W | BPF_ABS;
  constexpr unsigned kReturn = BPF_RET | BPF_K;
  std::vector<sock_filter> program;
  for (const CallFault& fault : faults) {
    const auto failure = statement(kReturn, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(fault.code));
    program.push_back(statement(kLoad, offsetof(seccomp_data, nr)));
    const bool looksAtArgument = fault.argument >= 0;
    program.push_back(onlyIf(static_cast<std::uint32_t>(fault.number), looksAtArgument ? 4 : 1));
    if (looksAtArgument) {
      // The low half is first on little-endian machines, the only ones supported here.
      const auto index = static_cast<std::size_t>(fault.argument);
      const std::size_t at = offsetof(seccomp_data, args) + index * sizeof(std::uint64_t);
      program.push_back(statement(kLoad, static_cast<std::uint32_t>(at)));
      program.push_back(statement(BPF_ALU | BPF_AND | BPF_K, fault.mask));
      program.push_back(onlyIf(fault.value, 1));
    }
    program.push_back(failure);
  }
  program.push_back(statement(kReturn, SECCOMP_RET_ALLOW));
  return program;
}

}  // namespace

bool installFaults(const std::vector<CallFault>& faults) {
  std::vector<sock_filter> program = programFor(faults);
  const sock_fprog description{static_cast<unsigned short>(program.size()), program.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &description) == 0;
}

bool hasChildren() {
  siginfo_t information{};
  return ::waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

int inChild(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child < 0) return kNotSetUp;
  if (child == 0) ::_exit(body());
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return kNotSetUp;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled;
}

int inChildWithoutPrivileges(const std::function<int()>& body) {
  constexpr unsigned kNobody = 65534;
  return ::geteuid() == 0 ? inChildAs(kNobody, body) : inChild(body);
}

int inChildAs(unsigned user, const std::function<int()>& body) {
  return inChild([&] { return becomes(user) ? body() : kNotSetUp; });
}

ProcessOf::ProcessOf(unsigned user, const std::function<int()>& body) : process_(::fork()) {
  if (process_ == 0) ::_exit(becomes(user) ? body() : kNotSetUp);
}

ProcessOf::~ProcessOf() {
  if (process_ <= 0) return;
  (void)::kill(process_, SIGKILL);
  (void)::waitpid(process_, nullptr, 0);
}

int inChildWithFaults(const std::vector<CallFault>& faults, const std::function<int()>& body) {
  return inChild([&] { return installFaults(faults) ? body() : kNotSetUp; });
}

}  // namespace tarvel
