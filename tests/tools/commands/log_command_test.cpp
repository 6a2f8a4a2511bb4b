#include "tools/commands/log_command.h"

#include <gmock/gmock.h>

#include "platform/memory/memory_log_reader.h"
#include "tests/tools/captured_output.h"
#include "tools/terminal/local_time.h"

namespace tarvel {
namespace {

using testing::HasSubstr;

struct LogCommand : testing::Test {
  int run() {
    Captured captured;
    const int status = runLog(reader, line);
    output = captured.output.str();
    errors = captured.errors.str();
    return status;
  }

  [[nodiscard]] static std::string at(std::int64_t seconds) { return localTimeText(Date{seconds, 0}); }

  MemoryLogReader reader;
  CommandLine line;
  std::string output;
  std::string errors;
};

TEST_F(LogCommand, TheLastMessagesAreShownOldestFirst) {
  for (std::int64_t i = 0; i < 3; ++i)
    reader.records.push_back({{i, 0}, "TarvelHelper", "message " + std::to_string(i)});
  line.logLines = 2;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, at(1) + " TarvelHelper: message 1\n" + at(2) + " TarvelHelper: message 2\n");
}

TEST_F(LogCommand, TheLinesOfAMessageStandTogetherAndCannotDisguiseThemselves) {
  reader.records = {{{7, 0}, "TarvelHelper", "one\ntwo\x1b[2J\n"}, {{8, 0}, "TarvelHelper", ""}};
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, at(7) + " TarvelHelper: one\n    two\\u{001B}[2J\n" + at(8) + " TarvelHelper: \n");
}

TEST_F(LogCommand, SaysThatThereAreNoMessages) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, "The journal has no messages of the agent.\n");
}

TEST_F(LogCommand, FollowingShowsWhatComes) {
  reader.records = {{{1, 0}, "TarvelHelper", "before"}};
  reader.later = {{{2, 0}, "Tarvel", "after"}};
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, at(1) + " TarvelHelper: before\n");
  line.follows = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, at(1) + " TarvelHelper: before\n" + at(2) + " Tarvel: after\n");
}

TEST_F(LogCommand, WithoutAJournalItSaysWhereToLook) {
  reader.state = LogState::kMissing;
  EXPECT_EQ(run(), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("/var/log/syslog"));
  reader.state = LogState::kUnreadable;
  EXPECT_EQ(run(), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("systemd-journal"));
  EXPECT_EQ(output, "");
}

}  // namespace
}  // namespace tarvel
