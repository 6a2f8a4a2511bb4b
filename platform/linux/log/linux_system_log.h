#pragma once

#include <string>

#include "platform/system_log.h"

namespace tarvel {

/// Logs to the journal, else to /dev/log; also to standard error if that is a terminal. Never blocks: messages that
/// cannot be sent at once are dropped.
class LinuxSystemLog final : public SystemLog {
 public:
  /// `identifier` is the program's name in the log. The other arguments are the sockets of the logs.
  explicit LinuxSystemLog(std::string identifier, std::string journalSocket = "/run/systemd/journal/socket",
                          std::string syslogSocket = "/dev/log");

  /// One record per message, at priority notice, with any bytes. No effect without a log.
  void log(std::string_view message) override;

 private:
  std::string identifier_;
  std::string journalSocket_;
  std::string syslogSocket_;
};

}  // namespace tarvel
