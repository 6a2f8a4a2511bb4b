// Two processes sort a file for the first time. Both try to make the backup, and both succeed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/base/unique_fd.h"
#include "tests/crash_safety/crash_home.h"

namespace tarvel {
namespace {

bool isFolderLocked(const CrashHome& home) {
  const UniqueFd folder(::open((home.root() + "/browser").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0;
}

TEST(TwoSorts, BothSucceedWhenOneRunsAtAnySystemCallOfTheOther) {
  CrashHome home;
  home.reset();
  const auto pass = [](pid_t, const SystemCall&) { return CallVerdict{}; };
  const std::size_t calls = runTraced(home.sort(), pass).calls;
  std::size_t inTime = 0;
  for (const std::size_t place : chosen(calls, 40)) {
    home.reset();
    std::optional<int> other;
    const TraceEnd end = runTraced(home.sort(), [&](pid_t, const SystemCall& call) {
      if (call.index != place) return CallVerdict{};
      // The other sort would wait for the first, which is stopped now.
      if (isFolderLocked(home)) {
        other = 0;
        return CallVerdict{};
      }
      inTime += home.hasNoBackup() ? 1U : 0U;
      other = CrashHome::run(home.sort());
      return CallVerdict{};
    });
    // The number of calls differs between runs, since a sort waits for a later timestamp.
    if (!other) continue;
    SCOPED_TRACE("at call " + std::to_string(place) + ": " + end.output.substr(0, 200) + home.description());
    EXPECT_EQ(*other, 0);
    EXPECT_EQ(end.signal, 0);
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_TRUE(home.isSorted());
    EXPECT_TRUE(home.hasWholeBackup());
    EXPECT_EQ(home.strays(), std::vector<std::string>());
    if (HasFailure()) return;
  }
  EXPECT_GT(inTime, 10U);
}

}  // namespace
}  // namespace tarvel
