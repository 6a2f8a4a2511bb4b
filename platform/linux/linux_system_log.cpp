#include "platform/linux/linux_system_log.h"

#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

namespace tarvel {

namespace {

iovec vectorOf(const std::string& text) {
  // The call takes what it only reads as something it might change.
  return {const_cast<char*>(text.data()), text.size()};  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

/// For a terminal, which a control character must not steer. Line breaks and tabs are harmless.
std::string forTerminal(std::string_view message) {
  std::string line;
  for (const char c : message) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isControl = (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F;
    line.push_back(isControl ? '?' : c);
  }
  return line;
}

}  // namespace

LinuxSystemLog::LinuxSystemLog(std::string identifier, std::string journalSocket)
    : identifier_(std::move(identifier)), journalSocket_(std::move(journalSocket)) {
  ::openlog(identifier_.c_str(), LOG_PID, LOG_USER);
}

LinuxSystemLog::~LinuxSystemLog() { ::closelog(); }

bool LinuxSystemLog::logToJournal(std::string_view message) const {
  // The library answers success where nobody listens.
  if (::access(journalSocket_.c_str(), W_OK) != 0) return false;
  const std::string text = "MESSAGE=" + std::string(message);
  const std::string name = "SYSLOG_IDENTIFIER=" + identifier_;
  const std::string priority = "PRIORITY=" + std::to_string(LOG_NOTICE);
  const std::array<iovec, 3> fields = {vectorOf(text), vectorOf(name), vectorOf(priority)};
  return ::sd_journal_sendv(fields.data(), static_cast<int>(fields.size())) == 0;
}

void LinuxSystemLog::log(std::string_view message) {
  if (!logToJournal(message)) {
    const auto length = static_cast<int>(std::min<std::size_t>(message.size(), INT_MAX));
    ::syslog(LOG_NOTICE, "%.*s", length, message.data());
  }
  if (::isatty(STDERR_FILENO) == 0) return;
  const std::string line = identifier_ + ": " + forTerminal(message) + "\n";
  // Nobody is left to be told of a failure here.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace tarvel
