#include "platform/linux/base/memory_limit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "platform/linux/launch/process_spawning.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitized.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

std::uint64_t machine() {
  return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

rlimit dataLimit() {
  rlimit limit{};
  EXPECT_EQ(::getrlimit(RLIMIT_DATA, &limit), 0);
  return limit;
}

struct MemoryAllowance : testing::Test {
  TemporaryDirectory folder;

  [[nodiscard]] std::uint64_t allowance() const { return memoryAllowance(folder.path("groups"), folder.path("all")); }
  void limitGroup(const std::string& group, const std::string& limit) const {
    std::filesystem::create_directories(folder.path("all" + group));
    folder.write("all" + group + "/memory.max", limit + "\n");
  }
};

TEST_F(MemoryAllowance, IsTheSmallestLimitOfTheControlGroups) {
  folder.write("groups", "4:memory:/other\n0::/user/app/agent\n");
  limitGroup("/user/app/agent", "max");
  EXPECT_EQ(allowance(), machine());
  limitGroup("/user/app", "70000000");
  EXPECT_EQ(allowance(), 70'000'000U);
  limitGroup("/user", "90000000");
  EXPECT_EQ(allowance(), 70'000'000U);
  limitGroup("/user/app/agent", "50000000");
  EXPECT_EQ(allowance(), 50'000'000U);
  limitGroup("/other", "1");
  EXPECT_EQ(allowance(), 50'000'000U);
}

TEST_F(MemoryAllowance, WithoutALimitIsTheMachinesMemory) {
  for (const char* groups : {"0::/\n", "", "4:memory:/x\n", "0::/../x\n", "nonsense"}) {
    folder.write("groups", groups);
    EXPECT_EQ(allowance(), machine()) << groups;
  }
  limitGroup("", "60000000");
  folder.write("groups", "0::/\n");
  EXPECT_EQ(allowance(), 60'000'000U);
}

TEST(MemoryLimit, IsFifteenSixteenthsOfTheAllowanceAndNotTheHardLimit) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitized program has more than that from its start";
  EXPECT_EQ(inChild([] {
              const rlimit before = dataLimit();
              limitMemoryUse();
              const rlimit after = dataLimit();
              return after.rlim_cur == memoryAllowance() / 16 * 15 && after.rlim_max == before.rlim_max ? 0 : 1;
            }),
            0);
}

TEST(MemoryLimit, ALowerLimitIsKept) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitized program has more than that from its start";
  EXPECT_EQ(inChild([] {
              const rlimit low{64 << 20, 128 << 20};
              if (::setrlimit(RLIMIT_DATA, &low) != 0) return 2;
              limitMemoryUse();
              return dataLimit().rlim_cur == low.rlim_cur ? 0 : 1;
            }),
            0);
}

TEST(MemoryLimit, ExceedingItThrowsBadAlloc) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitized program is not limited";
  EXPECT_EQ(inChild([] {
              limitMemoryUse();
              try {
                const std::string text(static_cast<std::size_t>(memoryAllowance()), 'x');
                return text.empty() ? 2 : 1;
              } catch (const std::bad_alloc&) {
                return 0;
              }
            }),
            0);
}

TEST(MemoryLimit, DoesNotApplyToChildPrograms) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitized program is not limited";
  const TemporaryDirectory folder;
  EXPECT_EQ(inChild([&folder] {
              const rlim_t before = dataLimit().rlim_cur;
              limitMemoryUse();
              const rlim_t limited = dataLimit().rlim_cur;
              const ProgramCommand shell{"/bin/sh", {"sh", "-c", "ulimit -Sd >" + folder.path("limit")}, folder.path()};
              const auto process = spawnDetached(shell);
              if (!process || ::waitpid(*process, nullptr, 0) != *process) return 2;
              const std::string text =
                  before == RLIM_INFINITY ? "unlimited" : std::to_string(static_cast<std::uint64_t>(before) / 1024);
              return folder.read("limit") == text + "\n" && dataLimit().rlim_cur == limited ? 0 : 1;
            }),
            0);
}

}  // namespace
}  // namespace tarvel
