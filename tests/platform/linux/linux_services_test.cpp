// The small parts of the Linux platform: log, clock, identifiers.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include "platform/linux/linux_clock.h"
#include "platform/linux/linux_system_log.h"
#include "platform/linux/linux_uuid_source.h"
#include "tests/support/child_process.h"

namespace tarvel {
namespace {

/// What is there to be read.
std::string receive(int fd) {
  char buffer[1024] = {};
  const ssize_t size = ::read(fd, buffer, sizeof buffer);
  return {buffer, size < 0 ? 0 : static_cast<std::size_t>(size)};
}

TEST(LinuxSystemLog, MessagesReachTheSystemsLogAsTheyAre) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can stand in for the log";
  int ends[2] = {};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  // In a world of its own, with a log of its own.
  const int answer = inChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 90;
    if (::mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0) return 91;
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, "/dev/log", sizeof address.sun_path - 1);
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 92;
    LinuxSystemLog log("Tester", "/no/journal");
    log.log("100 %s per cent of “it”\nand a second line");
    const std::string received = receive(socket);
    return ::write(ends[1], received.data(), received.size()) > 0 ? 0 : 93;
  });
  ASSERT_EQ(answer, 0);
  const std::string received = receive(ends[0]);
  EXPECT_THAT(received, testing::StartsWith("<13>"));
  EXPECT_THAT(received, testing::HasSubstr("Tester["));
  EXPECT_THAT(received, testing::EndsWith("]: 100 %s per cent of “it”\nand a second line"));
  (void)::close(ends[0]);
  (void)::close(ends[1]);
}

TEST(LinuxSystemLog, WhereThereIsAJournalItGetsOneRecordWithItsLineBreaks) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can stand in for the journal";
  int ends[2] = {};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const int answer = inChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 90;
    if (::mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) return 91;
    std::filesystem::create_directories("/run/systemd/journal");
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, "/run/systemd/journal/socket", sizeof address.sun_path - 1);
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 92;
    LinuxSystemLog("Tester").log("100 %s of “it”\nand a second line");
    const std::string received = receive(socket);
    return ::write(ends[1], received.data(), received.size()) > 0 ? 0 : 93;
  });
  ASSERT_EQ(answer, 0);
  const std::string received = receive(ends[0]);
  EXPECT_THAT(received, testing::HasSubstr("100 %s of “it”\nand a second line"));
  EXPECT_THAT(received, testing::HasSubstr("SYSLOG_IDENTIFIER=Tester\n"));
  EXPECT_THAT(received, testing::HasSubstr("PRIORITY=5\n"));
  (void)::close(ends[0]);
  (void)::close(ends[1]);
}

TEST(LinuxSystemLog, AMessageOfAnySizeAndAnyBytesHarmsNobody) {
  EXPECT_EQ(inChild([] {
              LinuxSystemLog log("Tester", "/no/journal");
              log.log(std::string(5'000'000, 'x'));
              log.log(std::string("\0\xFF\x1b[2J", 6));
              log.log("");
              return 0;
            }),
            0);
}

TEST(LinuxSystemLog, ATerminalIsNotSteeredByWhatIsLogged) {
  int terminal = -1;
  int screen = -1;
  ASSERT_EQ(::openpty(&terminal, &screen, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(inChild([&] {
              if (::dup2(screen, STDERR_FILENO) < 0) return 90;
              LinuxSystemLog("Tester", "/no/journal").log("a\x1b[2Jb");
              return 0;
            }),
            0);
  EXPECT_EQ(receive(terminal), "Tester: a?[2Jb\r\n");
  (void)::close(terminal);
  (void)::close(screen);
}

TEST(LinuxSystemLog, ATerminalOnTheErrorOutputSeesTheLineToo) {
  int terminal = -1;
  int screen = -1;
  ASSERT_EQ(::openpty(&terminal, &screen, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(inChild([&] {
              if (::dup2(screen, STDERR_FILENO) < 0) return 90;
              LinuxSystemLog("Tester").log("100 %s");
              return 0;
            }),
            0);
  EXPECT_EQ(receive(terminal), "Tester: 100 %s\r\n");
  (void)::close(terminal);
  (void)::close(screen);
}

TEST(LinuxSystemLog, AnErrorOutputThatIsNoTerminalSeesNothing) {
  int ends[2] = {};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  EXPECT_EQ(inChild([&] {
              if (::dup2(ends[1], STDERR_FILENO) < 0) return 90;
              LinuxSystemLog("Tester").log("quiet");
              return 0;
            }),
            0);
  EXPECT_EQ(receive(ends[0]), "");
  (void)::close(ends[0]);
  (void)::close(ends[1]);
}

TEST(LinuxClock, SleepsTheWholeTimeAlsoWhenSignalsCome) {
  using std::chrono::milliseconds;
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
  const itimerval everyFew{{0, 5000}, {0, 5000}};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &everyFew, nullptr), 0);
  const auto start = std::chrono::steady_clock::now();
  LinuxClock().sleepFor(milliseconds(60));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(60));
  const itimerval never{};
  EXPECT_EQ(::setitimer(ITIMER_REAL, &never, nullptr), 0);
  EXPECT_EQ(::sigaction(SIGALRM, &before, nullptr), 0);
}

TEST(LinuxUuidSource, IdentifiersAreDistinctAndOfTheRandomVersion) {
  LinuxUuidSource source;
  std::set<std::array<std::uint8_t, 16>> seen;
  for (int i = 0; i < 1000; ++i) {
    const auto uuid = source.createUuid();
    EXPECT_EQ(uuid[6] & 0xF0, 0x40);
    EXPECT_EQ(uuid[8] & 0xC0, 0x80);
    EXPECT_TRUE(seen.insert(uuid).second);
  }
}

}  // namespace
}  // namespace tarvel
