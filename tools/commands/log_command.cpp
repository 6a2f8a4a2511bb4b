// tarvel agent log: what the agent has written to the system's log.

#include "tools/commands/log_command.h"

#include <iostream>

#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// Time and program stand before the first line of a message only.
void print(const LogRecord& record) {
  const std::string head = localTimeText(record.time) + " " + printable(record.program) + ": ";
  std::string_view rest = record.message;
  for (bool isInitial = true; isInitial || !rest.empty(); isInitial = false) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::cout << (isInitial ? head : std::string(4, ' ')) << printable(rest.substr(0, end)) << "\n";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

int complain(LogState state) {
  if (state == LogState::kUnreadable) {
    std::cerr << "tarvel: The journal may not be read by you. Ask for the group “systemd-journal”, or as root: "
                 "journalctl --identifier=TarvelHelper\n";
  } else {
    std::cerr << "tarvel: There is no journal here. The agent writes to the system's log, often /var/log/syslog: "
                 "look there for “TarvelHelper”.\n";
  }
  return kExitFailed;
}

}  // namespace

int runLog(LogReader& reader, const CommandLine& line) {
  const LogReading reading = reader.last(line.logLines);
  if (reading.state != LogState::kReadable) return complain(reading.state);
  for (const LogRecord& record : reading.records) print(record);
  if (reading.records.empty() && !line.follows) std::cout << "The agent has written nothing that you may read.\n";
  if (!line.follows) return 0;
  std::cout.flush();
  reader.follow([](const LogRecord& record) {
    print(record);
    std::cout.flush();
    return static_cast<bool>(std::cout);
  });
  return 0;
}

}  // namespace tarvel
