#include "platform/linux/log/linux_system_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "platform/linux/base/safe_text.h"
#include "platform/linux/base/unique_fd.h"
#include "platform/linux/log/log_sockets.h"

namespace tarvel {

namespace {

void writeToTerminal(const std::string& line) {
  if (::isatty(STDERR_FILENO) == 0) return;
  // Opened anew: a non-blocking flag on descriptor 2 would affect other processes, and a stopped terminal would block.
  const UniqueFd terminal(::open("/proc/self/fd/2", O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  // A failure cannot be reported.
  if (terminal) [[maybe_unused]]
    const ssize_t written = ::write(terminal.get(), line.data(), line.size());
}

}  // namespace

LinuxSystemLog::LinuxSystemLog(std::string identifier, std::string journalSocket, std::string syslogSocket)
    : identifier_(std::move(identifier)),
      journalSocket_(std::move(journalSocket)),
      syslogSocket_(std::move(syslogSocket)) {}

void LinuxSystemLog::log(std::string_view message) {
  if (!sendToJournal(journalSocket_, identifier_, message)) {
    // If both fail, the message is lost.
    (void)sendToSyslog(syslogSocket_, identifier_, message);
  }
  writeToTerminal(identifier_ + ": " + printable(message) + "\n");
}

}  // namespace tarvel
