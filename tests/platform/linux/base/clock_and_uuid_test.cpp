// Clock and identifiers.

#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <set>

#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"

namespace tarvel {
namespace {

TEST(LinuxClock, SleepsTheFullTimeDespiteSignals) {
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

TEST(LinuxUuidSource, IdentifiersAreDistinctAndOfVersion4) {
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
