#pragma once

#include <string>

#include "platform/system_log.h"

namespace tarvel {

/// The system's log: the journal where there is one, else the log at /dev/log; on the error output too when that is a
/// terminal. Nothing of it ever waits: what nobody takes at once is lost.
class LinuxSystemLog final : public SystemLog {
 public:
  /// `identifier` names the program in the log. The others are where the logs listen.
  explicit LinuxSystemLog(std::string identifier, std::string journalSocket = "/run/systemd/journal/socket",
                          std::string syslogSocket = "/dev/log");

  /// Logged as a notice, one record a message, whatever characters it holds. Where there is no log, nothing happens.
  void log(std::string_view message) override;

 private:
  std::string identifier_;
  std::string journalSocket_;
  std::string syslogSocket_;
};

}  // namespace tarvel
