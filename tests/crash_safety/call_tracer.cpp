#include "tests/crash_safety/call_tracer.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <optional>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

namespace {

constexpr int kCallEnd = SIGTRAP | 0x80;

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

  /// Handles the stop before a call. Returns the request that continues the program, or PTRACE_KILL.
  [[nodiscard]] __ptrace_request beforeCall() {
    __ptrace_syscall_info information{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, program_, sizeof information, &information) <= 0) return PTRACE_KILL;
    call_ = {calls_++, static_cast<long>(information.seccomp.nr), {}, 0};
    std::memcpy(call_.arguments.data(), information.seccomp.args, sizeof information.seccomp.args);
    const CallVerdict verdict = decide_(program_, call_);
    failure_.reset();
    if (verdict.kind == CallVerdict::Kind::kKill) return PTRACE_KILL;
    if (verdict.kind == CallVerdict::Kind::kShorten) shorten(program_, call_);
    if (verdict.kind == CallVerdict::Kind::kFail) {
      failure_ = verdict.code;
      // Linux closes the descriptor, and so releases its lock, even when close() fails.
      if (call_.number != SYS_close && !skipCall()) return PTRACE_KILL;
    }
    return failure_ || observe_ ? PTRACE_SYSCALL : PTRACE_CONT;
  }

  /// Handles the stop after a call.
  void afterCall() {
    if (failure_) {
      Registers registers(program_);
      registers.setAnswer(-*failure_);
      (void)registers.write();
      return;
    }
    __ptrace_syscall_info information{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, program_, sizeof information, &information) <= 0) return;
    call_.answer = information.exit.rval;
    observe_(program_, call_);
  }

  [[nodiscard]] std::size_t calls() const { return calls_; }

 private:
  [[nodiscard]] bool skipCall() const {
    Registers registers(program_);
    registers.setNumber(-1);
    return registers.write();
  }

  pid_t program_;
  const DecideCall& decide_;
  const ObserveCall& observe_;
  std::size_t calls_ = 0;
  SystemCall call_;
  std::optional<int> failure_;
};

/// While it exists, this process and the children that it starts run on one processor: waking each other on another one
/// would take longer than most calls.
class OneProcessor {
 public:
  OneProcessor() {
    (void)::sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t here;
    CPU_ZERO(&here);
    CPU_SET(static_cast<std::size_t>(std::max(::sched_getcpu(), 0)), &here);
    (void)::sched_setaffinity(0, sizeof here, &here);
  }
  ~OneProcessor() { (void)::sched_setaffinity(0, sizeof before_, &before_); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  cpu_set_t before_{};
};

/// Makes each system call of this process stop for its tracer.
bool stopAtEachCall() {
  sock_filter stop = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
  const sock_fprog filter{1, &stop};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// In the child: executes the program, when `isTraced` after the tracer is ready.
[[noreturn]] void becomeProgram(const TracedProgram& program, int output, bool isTraced) {
  const UniqueFd nothing(::open("/dev/null", O_RDONLY));
  (void)::dup2(nothing.get(), STDIN_FILENO);
  (void)::dup2(output, STDOUT_FILENO);
  (void)::dup2(output, STDERR_FILENO);
  const std::vector<char*> arguments = pointersTo(program.arguments);
  const std::vector<char*> environment = pointersTo(program.environment);
  // Under nohup SIGHUP is ignored, and that would be inherited.
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) (void)::signal(signal, SIG_DFL);
  const auto isReady = [] {
    return ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && ::raise(SIGSTOP) == 0 && stopAtEachCall();
  };
  if (!isTraced || isReady()) (void)::execve(arguments.front(), arguments.data(), environment.data());
  ::_exit(126);
}

/// Whether a waited-for program has ended, which is then in `end`.
bool hasEnded(int status, TraceEnd& end) {
  if (WIFEXITED(status)) end.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) end.signal = WTERMSIG(status);
  return WIFEXITED(status) || WIFSIGNALED(status);
}

/// Traces the program to its end. Calls before its own image runs are not counted.
void follow(pid_t program, Tracer& tracer, TraceEnd& end) {
  bool hasImage = false;
  for (int status = 0; ::waitpid(program, &status, 0) == program && !hasEnded(status, end);) {
    const int stop = WSTOPSIG(status);
    const int event = status >> 16;
    __ptrace_request next = PTRACE_CONT;
    int delivered = 0;
    if (event == PTRACE_EVENT_SECCOMP) {
      if (hasImage) next = tracer.beforeCall();
    } else if (stop == kCallEnd) {
      tracer.afterCall();
    } else if (event == PTRACE_EVENT_EXEC) {
      hasImage = true;
    } else if (hasImage) {
      delivered = stop;
    } else {
      constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL;
      end.wasTraced = ::ptrace(PTRACE_SETOPTIONS, program, nullptr, kOptions) == 0;
    }
    if (next == PTRACE_KILL) {
      (void)::kill(program, SIGKILL);
      next = PTRACE_CONT;
    }
    (void)::ptrace(next, program, nullptr, delivered);
  }
}

}  // namespace

TraceEnd runTraced(const TracedProgram& program, const DecideCall& decide, const ObserveCall& observe) {
  TraceEnd end;
  // A pipe would block when it is full.
  const UniqueFd output(::memfd_create("output", MFD_CLOEXEC));
  const OneProcessor processor;
  const pid_t child = ::fork();
  if (child < 0) return end;
  if (child == 0) becomeProgram(program, output.get(), true);
  Tracer tracer(child, decide, observe);
  follow(child, tracer, end);
  end.calls = tracer.calls();
  const off_t size = ::lseek(output.get(), 0, SEEK_END);
  end.output.resize(static_cast<std::size_t>(size < 0 ? 0 : size));
  if (::pread(output.get(), end.output.data(), end.output.size(), 0) < 0) end.output.clear();
  return end;
}

int runUntraced(const TracedProgram& program) {
  TraceEnd end;
  const UniqueFd nothing(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  const pid_t child = ::fork();
  if (child == 0) becomeProgram(program, nothing.get(), false);
  int status = 0;
  const bool isOver = child > 0 && ::waitpid(child, &status, 0) == child && hasEnded(status, end);
  return isOver ? end.exitStatus : -1;
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
