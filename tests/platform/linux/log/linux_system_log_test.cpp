// Logs whose sockets the tests read.

#include "platform/linux/log/linux_system_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

/// Everything in a file, from its beginning.
std::string contentOf(int file) {
  std::string content;
  std::array<char, 65536> buffer{};
  (void)::lseek(file, 0, SEEK_SET);
  for (ssize_t size; (size = ::read(file, buffer.data(), buffer.size())) > 0;) {
    content.append(buffer.data(), static_cast<std::size_t>(size));
  }
  return content;
}

/// A log daemon that reads on request.
class Listener {
 public:
  Listener(std::string path, int type) : path_(std::move(path)), socket_(::socket(AF_UNIX, type | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
    const auto* plain = reinterpret_cast<const sockaddr*>(&address);  // NOLINT: the interface of sockets
    EXPECT_EQ(::bind(socket_.get(), plain, sizeof address), 0);
    EXPECT_TRUE(type != SOCK_STREAM || ::listen(socket_.get(), 8) == 0);
  }

  [[nodiscard]] const std::string& path() const { return path_; }

  /// The next message, read from its file if it was sent as one; empty if there is none.
  [[nodiscard]] std::string receive() {
    std::string text(300'000, '\0');
    iovec part{text.data(), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> space{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = space.data();
    message.msg_controllen = space.size();
    const ssize_t size = ::recvmsg(socket_.get(), &message, MSG_CMSG_CLOEXEC);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    if (const cmsghdr* header = size < 0 ? nullptr : CMSG_FIRSTHDR(&message)) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
      const UniqueFd file(descriptor);
      seals_ = ::fcntl(file.get(), F_GET_SEALS);
      return contentOf(file.get());
    }
    return text;
  }
  [[nodiscard]] std::vector<std::string> receiveAll() {
    std::vector<std::string> all;
    for (std::string text; !(text = receive()).empty();) all.push_back(text);
    return all;
  }
  /// Everything received on the stream.
  [[nodiscard]] std::string receiveFromStream() const {
    const UniqueFd peer(::accept(socket_.get(), nullptr, nullptr));
    std::string text(1000, '\0');
    const ssize_t size = ::read(peer.get(), text.data(), text.size());
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return text;
  }
  /// Of the last file that came.
  [[nodiscard]] int seals() const { return seals_; }

 private:
  std::string path_;
  UniqueFd socket_;
  int seals_ = 0;
};

struct LinuxSystemLogTest : testing::Test {
  TemporaryDirectory directory;
  Listener journal{directory.path("journal"), SOCK_DGRAM};
  Listener syslog{directory.path("syslog"), SOCK_DGRAM};
  LinuxSystemLog toJournal{"Tester", journal.path(), syslog.path()};
  LinuxSystemLog toSyslog{"Tester", directory.path("none"), syslog.path()};
};

TEST_F(LinuxSystemLogTest, TheJournalReceivesOneRecordWithLineBreaks) {
  const std::string message = "100 %s of “it”\nand a second line\n";
  toJournal.log(message);
  const std::string size("\0\0\0\0\0\0\0", 7);
  EXPECT_EQ(journal.receive(), "MESSAGE\n" + std::string(1, static_cast<char>(message.size())) + size + message +
                                   "\nSYSLOG_IDENTIFIER=Tester\nPRIORITY=5\n");
  EXPECT_EQ(journal.receive(), "");
  EXPECT_EQ(syslog.receive(), "");
}

TEST_F(LinuxSystemLogTest, ARecordHasNoCodeLocation) {
  toJournal.log("a line");
  EXPECT_EQ(journal.receive(), "MESSAGE=a line\nSYSLOG_IDENTIFIER=Tester\nPRIORITY=5\n");
}

TEST_F(LinuxSystemLogTest, ALargeMessageReachesTheJournalInASealedFile) {
  for (const std::size_t size : {std::size_t{200'000}, std::size_t{5'000'000}}) {
    const std::string message(size, 'x');
    toJournal.log(message);
    EXPECT_EQ(journal.receive(), "MESSAGE=" + message + "\nSYSLOG_IDENTIFIER=Tester\nPRIORITY=5\n");
  }
  EXPECT_EQ(journal.seals(), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
  EXPECT_EQ(syslog.receive(), "");
}

TEST_F(LinuxSystemLogTest, AMessageOfAnyBytesReachesTheJournalUnchanged) {
  const std::string message("a\0\xFF\x1b[2J=", 8);
  toJournal.log(message);
  toJournal.log("");
  EXPECT_EQ(journal.receive(), "MESSAGE=" + message + "\nSYSLOG_IDENTIFIER=Tester\nPRIORITY=5\n");
  EXPECT_EQ(journal.receive(), "MESSAGE=\nSYSLOG_IDENTIFIER=Tester\nPRIORITY=5\n");
}

TEST_F(LinuxSystemLogTest, WithoutAJournalMessagesReachSyslogUnchanged) {
  toSyslog.log("100 %s per cent of “it”\nand a second line");
  const std::string line = syslog.receive();
  EXPECT_THAT(line, MatchesRegex("<13>[A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] Tester.*"));
  EXPECT_THAT(line,
              EndsWith(" Tester[" + std::to_string(::getpid()) + "]: 100 %s per cent of “it”\nand a second line"));
}

TEST_F(LinuxSystemLogTest, AStaleJournalSocketFallsBackToSyslog) {
  { const Listener former(directory.path("former"), SOCK_DGRAM); }
  LinuxSystemLog("Tester", directory.path("former"), syslog.path()).log("a line");
  EXPECT_THAT(syslog.receive(), EndsWith("]: a line"));
}

TEST_F(LinuxSystemLogTest, AZeroByteDoesNotTruncateASyslogMessage) {
  toSyslog.log(std::string_view("a\0b", 3));
  EXPECT_THAT(syslog.receive(), EndsWith("]: a?b"));
}

TEST_F(LinuxSystemLogTest, SyslogReceivesTheBeginningOfAVeryLongMessage) {
  toSyslog.log(std::string(5'000'000, 'x'));
  EXPECT_THAT(syslog.receive(), EndsWith("x [4940000 bytes more]"));
  // A character is never cut.
  std::string message = "x";
  while (message.size() < 60'100) message += "“";
  toSyslog.log(message);
  EXPECT_THAT(syslog.receive(), EndsWith("“ [" + std::to_string(message.size() - 59'998) + " bytes more]"));
}

TEST_F(LinuxSystemLogTest, ASyslogStreamReceivesLinesEndedByAZeroByte) {
  const Listener stream(directory.path("stream"), SOCK_STREAM);
  LinuxSystemLog("Tester", directory.path("none"), stream.path()).log("a line");
  const std::string line = stream.receiveFromStream();
  EXPECT_THAT(line, StartsWith("<13>"));
  EXPECT_THAT(line, EndsWith(std::string("]: a line\0", 10)));
}

TEST_F(LinuxSystemLogTest, WithoutALogMessagesAreDropped) {
  LinuxSystemLog nowhere("Tester", directory.path("none"), directory.path("neither"));
  nowhere.log("a line");
  LinuxSystemLog("Tester", "", std::string(1000, 'x')).log("a line");
  EXPECT_THAT(journal.receiveAll(), IsEmpty());
  EXPECT_THAT(syslog.receiveAll(), IsEmpty());
}

/// Runs `body` in a child process, which is killed if it blocks.
int withDeadline(const std::function<void()>& body) {
  return inChild([&] {
    constexpr unsigned kDeadline = 20;
    (void)::alarm(kDeadline);
    body();
    return 0;
  });
}

TEST_F(LinuxSystemLogTest, UnreadLogsNeverBlockAndRecoverLater) {
  constexpr int kMoreThanAnyQueue = 5000;
  EXPECT_EQ(withDeadline([this] {
              for (int i = 0; i < kMoreThanAnyQueue; ++i) toJournal.log("a line");
              toJournal.log(std::string(5'000'000, 'x'));
            }),
            0);
  // The journal received what its queue holds, and syslog some of the rest.
  EXPECT_THAT(journal.receiveAll(), Not(IsEmpty()));
  EXPECT_THAT(syslog.receiveAll(), Not(IsEmpty()));
  toJournal.log("later");
  EXPECT_THAT(journal.receiveAll(), ElementsAre(HasSubstr("MESSAGE=later\n")));
}

TEST_F(LinuxSystemLogTest, AnUnreadStreamNeverBlocks) {
  const Listener stream(directory.path("stream"), SOCK_STREAM);
  LinuxSystemLog log("Tester", directory.path("none"), stream.path());
  EXPECT_EQ(withDeadline([&log] {
              for (int i = 0; i < 100; ++i) log.log(std::string(100'000, 'x'));
            }),
            0);
}

/// A pseudo-terminal as the error output.
class Terminal {
 public:
  Terminal() { EXPECT_EQ(::openpty(&terminal_, &screen_, nullptr, nullptr, nullptr), 0); }
  ~Terminal() {
    (void)::close(terminal_);
    (void)::close(screen_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void stop() const { EXPECT_EQ(::tcflow(screen_, TCOOFF), 0); }
  [[nodiscard]] int run(const std::function<void()>& body) const {
    return withDeadline([&] {
      if (::dup2(screen_, STDERR_FILENO) >= 0) body();
    });
  }
  /// The visible text, up to a limit.
  [[nodiscard]] std::string text() const {
    (void)::fcntl(terminal_, F_SETFL, O_NONBLOCK);
    std::array<char, 1000> buffer{};
    const ssize_t size = ::read(terminal_, buffer.data(), buffer.size());
    return {buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
  }
  /// Whether other writers to the terminal would block.
  [[nodiscard]] bool isWaitedFor() const { return (::fcntl(screen_, F_GETFL) & O_NONBLOCK) == 0; }

 private:
  int terminal_ = -1;
  int screen_ = -1;
};

TEST_F(LinuxSystemLogTest, ATerminalOnTheErrorOutputReceivesTheLineToo) {
  const Terminal terminal;
  EXPECT_EQ(terminal.run([this] { toJournal.log("100 %s of “it”"); }), 0);
  EXPECT_EQ(terminal.text(), "Tester: 100 %s of “it”\r\n");
  EXPECT_THAT(journal.receiveAll(), SizeIs(1));
}

TEST_F(LinuxSystemLogTest, ControlCharactersAreEscapedOnATerminal) {
  const Terminal terminal;
  EXPECT_EQ(terminal.run([this] {
    toJournal.log(
        "a\x1b[2Jb\xC2\x9B"
        "2Jc\x7F\xC2\xA0\xC2\nTester: d\x9B"
        "2Je\u202E");
  }),
            0);
  EXPECT_EQ(terminal.text(),
            "Tester: a\\u{001B}[2Jb\\u{009B}2Jc\\u{007F}\xC2\xA0\\u{FFFD}\\u{000A}Tester: d\\u{FFFD}2Je\\u{202E}\r\n");
}

TEST_F(LinuxSystemLogTest, AStoppedOrFullTerminalNeverBlocks) {
  const Terminal stopped;
  stopped.stop();
  EXPECT_EQ(stopped.run([this] { toJournal.log("a line"); }), 0);
  const Terminal full;
  EXPECT_EQ(full.run([this] { toJournal.log(std::string(1'000'000, 'x')); }), 0);
  EXPECT_THAT(full.text(), StartsWith("Tester: xxx"));
  EXPECT_TRUE(full.isWaitedFor());
}

TEST_F(LinuxSystemLogTest, NothingIsWrittenToANonTerminalErrorOutput) {
  int ends[2] = {};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const UniqueFd output(ends[0]);
  const UniqueFd input(ends[1]);
  EXPECT_EQ(withDeadline([&] {
              if (::dup2(input.get(), STDERR_FILENO) >= 0) toJournal.log("quiet");
            }),
            0);
  char byte = 0;
  EXPECT_EQ(::read(output.get(), &byte, 1), -1);
  EXPECT_THAT(journal.receiveAll(), SizeIs(1));
}

}  // namespace
}  // namespace tarvel
