#include "tests/crash_safety/call_tracer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <optional>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

namespace {

constexpr int kCallStop = SIGTRAP | 0x80;

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));  // NOLINT: only read
  pointers.push_back(nullptr);
  return pointers;
}

/// Changes the call that a program is about to make, or its result. Everything specific to the processor is here.
class Registers {
 public:
  explicit Registers(pid_t program) : program_(program) {
    isRead_ = ::ptrace(PTRACE_GETREGS, program_, nullptr, &values_) == 0;
  }
#if defined(__x86_64__)
  void setNumber(long number) { values_.orig_rax = static_cast<unsigned long long>(number); }
  void setThirdArgument(std::uint64_t value) { values_.rdx = value; }
  void setAnswer(std::int64_t answer) { values_.rax = static_cast<unsigned long long>(answer); }
#else
#error "Only x86-64 is known here."
#endif
  [[nodiscard]] bool write() const { return isRead_ && ::ptrace(PTRACE_SETREGS, program_, nullptr, &values_) == 0; }

 private:
  pid_t program_;
  user_regs_struct values_{};
  bool isRead_ = false;
};

bool readsOrWritesStretches(long number) {
  return number == SYS_read || number == SYS_write || number == SYS_pread64 || number == SYS_pwrite64;
}

bool readsOrWritesPieces(long number) {
  return number == SYS_readv || number == SYS_writev || number == SYS_preadv || number == SYS_pwritev;
}

/// Half the bytes, or only the first buffer, as the kernel may always do.
void shorten(pid_t program, const SystemCall& call) {
  const std::uint64_t wanted = call.arguments[2];
  if (wanted < 2) return;
  Registers registers(program);
  if (readsOrWritesStretches(call.number)) registers.setThirdArgument(wanted / 2);
  if (readsOrWritesPieces(call.number)) registers.setThirdArgument(1);
  (void)registers.write();
}

class Tracer {
 public:
  Tracer(pid_t program, const DecideCall& decide, const ObserveCall& observe)
      : program_(program), decide_(decide), observe_(observe) {}

  /// Handles one stop at a call; false when the program was killed.
  [[nodiscard]] bool callStop() {
    __ptrace_syscall_info information{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, program_, sizeof information, &information) <= 0) return false;
    if (information.op == PTRACE_SYSCALL_INFO_ENTRY) return enter(information);
    if (information.op == PTRACE_SYSCALL_INFO_EXIT) leave(information);
    return true;
  }

  [[nodiscard]] std::size_t calls() const { return calls_; }

 private:
  bool enter(const __ptrace_syscall_info& information) {
    call_ = {calls_++, static_cast<long>(information.entry.nr), {}, 0};
    std::memcpy(call_.arguments.data(), information.entry.args, sizeof information.entry.args);
    const CallVerdict verdict = decide_(program_, call_);
    failure_.reset();
    if (verdict.kind == CallVerdict::Kind::kKill) return false;
    if (verdict.kind == CallVerdict::Kind::kShorten) shorten(program_, call_);
    if (verdict.kind == CallVerdict::Kind::kFail) {
      failure_ = verdict.code;
      // Linux closes the descriptor, and so releases its lock, even when close() fails.
      if (call_.number == SYS_close) return true;
      Registers registers(program_);
      registers.setNumber(-1);
      return registers.write();
    }
    return true;
  }

  void leave(const __ptrace_syscall_info& information) {
    if (failure_) {
      Registers registers(program_);
      registers.setAnswer(-*failure_);
      (void)registers.write();
      return;
    }
    call_.answer = information.exit.rval;
    if (observe_) observe_(program_, call_);
  }

  pid_t program_;
  const DecideCall& decide_;
  const ObserveCall& observe_;
  std::size_t calls_ = 0;
  SystemCall call_;
  std::optional<int> failure_;
};

/// In the child: waits for the tracer, then executes the program.
[[noreturn]] void becomeProgram(const TracedProgram& program, int output) {
  const UniqueFd nothing(::open("/dev/null", O_RDONLY));
  (void)::dup2(nothing.get(), STDIN_FILENO);
  (void)::dup2(output, STDOUT_FILENO);
  (void)::dup2(output, STDERR_FILENO);
  const std::vector<char*> arguments = pointersTo(program.arguments);
  const std::vector<char*> environment = pointersTo(program.environment);
  // Under nohup SIGHUP is ignored, and that would be inherited.
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) (void)::signal(signal, SIG_DFL);
  if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
    (void)::raise(SIGSTOP);
    (void)::execve(arguments.front(), arguments.data(), environment.data());
  }
  ::_exit(126);
}

/// Traces the program to its end. Calls before its own image runs are not counted.
void follow(pid_t program, Tracer& tracer, TraceEnd& end) {
  bool hasImage = false;
  for (int status = 0; ::waitpid(program, &status, 0) == program;) {
    if (WIFEXITED(status)) {
      end.exitStatus = WEXITSTATUS(status);
      return;
    }
    if (WIFSIGNALED(status)) {
      end.signal = WTERMSIG(status);
      return;
    }
    const int stop = WSTOPSIG(status);
    const bool isEvent = (status >> 16) != 0;
    int delivered = 0;
    if (stop == kCallStop) {
      if (hasImage && !tracer.callStop()) (void)::kill(program, SIGKILL);
    } else if (isEvent) {
      hasImage = (status >> 16) == PTRACE_EVENT_EXEC;
    } else if (hasImage) {
      delivered = stop;
    } else {
      constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
      end.wasTraced = ::ptrace(PTRACE_SETOPTIONS, program, nullptr, kOptions) == 0;
    }
    (void)::ptrace(PTRACE_SYSCALL, program, nullptr, delivered);
  }
}

}  // namespace

TraceEnd runTraced(const TracedProgram& program, const DecideCall& decide, const ObserveCall& observe) {
  TraceEnd end;
  // A pipe would block when it is full.
  const UniqueFd output(::memfd_create("output", MFD_CLOEXEC));
  const pid_t child = ::fork();
  if (child < 0) return end;
  if (child == 0) becomeProgram(program, output.get());
  Tracer tracer(child, decide, observe);
  follow(child, tracer, end);
  end.calls = tracer.calls();
  const off_t size = ::lseek(output.get(), 0, SEEK_END);
  end.output.resize(static_cast<std::size_t>(size < 0 ? 0 : size));
  if (::pread(output.get(), end.output.data(), end.output.size(), 0) < 0) end.output.clear();
  return end;
}

std::string memoryOf(pid_t program, std::uint64_t address, std::size_t size) {
  std::string bytes(size, '\0');
  const iovec here{bytes.data(), size};
  const iovec there{reinterpret_cast<void*>(address), size};  // NOLINT: an address in another process
  const ssize_t got = ::process_vm_readv(program, &here, 1, &there, 1, 0);
  bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return bytes;
}

std::string textOf(pid_t program, std::uint64_t address) {
  constexpr std::uint64_t kPage = 4096;
  std::string text;
  // Page by page, since the next one may not be mapped.
  while (text.size() < PATH_MAX) {
    const std::uint64_t at = address + text.size();
    const std::string part = memoryOf(program, at, kPage - at % kPage);
    const std::size_t end = part.find('\0');
    text += part.substr(0, end);
    if (part.empty() || end != std::string::npos) break;
  }
  return text;
}

}  // namespace tarvel
