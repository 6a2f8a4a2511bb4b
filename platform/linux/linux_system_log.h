#pragma once

#include <string>

#include "platform/system_log.h"

namespace tarvel {

/// The system's log: the journal where there is one, else syslog(3); on the error output too when that is a terminal.
/// One of these at a time: the name under which a process logs is the process's.
class LinuxSystemLog final : public SystemLog {
 public:
  /// `identifier` names the program in the log. `journalSocket` is where the journal listens.
  explicit LinuxSystemLog(std::string identifier, std::string journalSocket = "/run/systemd/journal/socket");
  ~LinuxSystemLog() override;
  LinuxSystemLog(const LinuxSystemLog&) = delete;
  LinuxSystemLog& operator=(const LinuxSystemLog&) = delete;

  /// Logged as a notice, one record a message, whatever characters it holds. Where there is no log, nothing happens.
  void log(std::string_view message) override;

 private:
  [[nodiscard]] bool logToJournal(std::string_view message) const;

  /// Kept here because openlog() does not copy it.
  std::string identifier_;
  std::string journalSocket_;
};

}  // namespace tarvel
