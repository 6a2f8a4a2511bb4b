#include "platform/linux/linux_system_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "platform/linux/log_sockets.h"
#include "platform/linux/unique_fd.h"

namespace tarvel {

namespace {

/// For a terminal, which a control character must not steer. Line breaks and tabs are harmless.
std::string forTerminal(std::string_view message) {
  std::string line;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const auto byte = static_cast<unsigned char>(message[i]);
    const auto next = static_cast<unsigned char>(i + 1 < message.size() ? message[i + 1] : 0);
    const bool isOfTwoBytes = byte == 0xC2 && next >= 0x80 && next <= 0x9F;
    const bool isControl = (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F || isOfTwoBytes;
    line.push_back(isControl ? '?' : message[i]);
    if (isOfTwoBytes) ++i;
  }
  return line;
}

void writeToTerminal(const std::string& line) {
  if (::isatty(STDERR_FILENO) == 0) return;
  // Opened anew, as a stopped terminal would make this process wait, and others write through the same descriptor.
  const UniqueFd terminal(::open("/proc/self/fd/2", O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  // Nobody is left to be told of a failure here.
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
    // Nobody is told either when both fail.
    (void)sendToSyslog(syslogSocket_, identifier_, message);
  }
  writeToTerminal(identifier_ + ": " + forTerminal(message) + "\n");
}

}  // namespace tarvel
