// tarvel agent log: what the agent wrote to the journal.

#include "tools/commands/log_command.h"

#include <algorithm>
#include <iostream>

#include "tools/backups/backup_name.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// Time and program stand before the first line of a message only.
std::string textOf(const LogRecord& record) {
  std::string text = localTimeText(record.time) + " " + printable(record.program) + ": ";
  std::string_view rest = record.message;
  for (bool isFirst = true; isFirst || !rest.empty(); isFirst = false) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    text += (isFirst ? std::string() : std::string(4, ' ')) + printable(rest.substr(0, end)) + "\n";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return text;
}

Message complaintOf(LogState state) {
  if (state == LogState::kUnreadable) {
    return {
        {"You do not have permission to read the journal.", "Join the group “systemd-journal”, or read it as root:"},
        "journalctl --identifier=TarvelHelper"};
  }
  return {{"There is no journal here.", "The agent writes to the system's log, which is often in this file:"},
          "grep TarvelHelper /var/log/syslog"};
}

}  // namespace

int runLog(LogReader& reader, const CommandLine& line) {
  Answer answer(line.name, line.output);
  const LogReading reading = reader.last(line.logLines);
  if (reading.state != LogState::kReadable) return answer.fail(kExitFailed, complaintOf(reading.state));
  if (!line.follows) answer.page();
  Answer::Json records = Answer::Json::array();
  for (const LogRecord& record : reading.records) {
    answer.print(textOf(record));
    records.push_back({{"time", utcText(record.time)}, {"program", record.program}, {"message", record.message}});
  }
  answer["records"] = std::move(records);
  if (reading.records.empty() && !line.follows) answer.say("The journal has no messages of the agent.");
  if (!line.follows) return answer.end(0);
  std::cout.flush();
  reader.follow([&answer](const LogRecord& record) {
    answer.print(textOf(record));
    std::cout.flush();
    return static_cast<bool>(std::cout);
  });
  return answer.end(0);
}

}  // namespace tarvel
