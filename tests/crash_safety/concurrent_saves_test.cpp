// Another program saves at each system call of a sort and a restore, once or several times, in each way. After that the
// command may be killed, or a call may fail. The last save is never lost.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/crash_safety/crash_home.h"
#include "tests/crash_safety/other_program.h"
#include "tests/support/file_contents.h"

namespace tarvel {
namespace {

namespace fs = std::filesystem;

constexpr int kMostSaves = 5;
constexpr std::array kMethods = {SaveMethod::kRename, SaveMethod::kRecreate, SaveMethod::kTruncate,
                                 SaveMethod::kInPlace, SaveMethod::kThroughOpenFile};
constexpr std::array kCodes = {EIO, ENOSPC, EDQUOT, EACCES, EPERM, EROFS, EMFILE, ENOMEM, EINTR};

/// The saves of another program during a run, and a kill or a failure after them.
struct Disturbance {
  SaveMethod method = SaveMethod::kRename;
  /// It saves at this call and at those that follow.
  std::size_t call = 0;
  int saves = 1;
  /// The verdict applies this many calls after the first save.
  std::size_t distance = 0;
  CallVerdict verdict = {};

  [[nodiscard]] std::string description() const {
    return "method " + std::to_string(static_cast<int>(method)) + ", " + std::to_string(saves) + " saves from call " +
           std::to_string(call) + ", then verdict " + std::to_string(static_cast<int>(verdict.kind)) + " code " +
           std::to_string(verdict.code) + " after " + std::to_string(distance) + " calls";
  }
};

struct ConcurrentSaves : testing::Test {
  CrashHome home;
  std::function<void()> prepare;
  TracedProgram program;
  /// The first call after those of the loader, and the number of all calls.
  std::size_t firstCall = 0;
  std::size_t callCount = 0;
  std::size_t runs = 0;
  std::size_t disturbed = 0;

  void study(TracedProgram traced, std::function<void()> prepared) {
    program = std::move(traced);
    prepare = std::move(prepared);
    prepare();
    firstCall = 0;
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      if (call.number == SYS_munmap && firstCall == 0) firstCall = call.index + 1;
      return CallVerdict{};
    });
    callCount = end.calls;
    ASSERT_EQ(end.exitStatus, 0) << end.output;
    ASSERT_GT(firstCall, 0U);
    ASSERT_GT(callCount, firstCall + 30);
  }

  void studySort() {
    study(home.sort(), [&] {
      home.reset();
      std::ofstream(home.file(), std::ios::binary) << OtherProgram::bytesOf(0);
    });
  }

  void studyAgentSort() {
    study(home.agentSort(), [&] {
      home.reset();
      std::ofstream(home.file(), std::ios::binary) << OtherProgram::bytesOf(0);
    });
  }

  void studyRestore() {
    study(home.restore(), [&] { home.resetToSorted(); });
  }

  /// Whether a save is in the file, or in a backup that a restore made of what it replaced.
  [[nodiscard]] bool hasSave(int number) const {
    if (OtherProgram::numberIn(contentsOf(home.file())) == number) return true;
    for (const std::string& copy : home.backups()) {
      if (OtherProgram::numberIn(contentsOf(fs::path(home.root()) / copy)) == number) return true;
    }
    return false;
  }

  void run(const Disturbance& disturbance) {
    SCOPED_TRACE(disturbance.description());
    prepare();
    OtherProgram other(home.file(), disturbance.method);
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      // A save that fails at this call is repeated at the next.
      if (call.index >= disturbance.call && other.lastSave() < disturbance.saves) (void)other.save();
      const bool isStruck = disturbance.distance > 0 && call.index == disturbance.call + disturbance.distance;
      return isStruck ? disturbance.verdict : CallVerdict{};
    });
    ++runs;
    // A program that keeps the file open writes to it once more, before and after the next command.
    if (other.lastSave() == 0) return;
    EXPECT_TRUE(!other.keepsFileOpen() || other.save());
    ++disturbed;
    SCOPED_TRACE("status " + std::to_string(end.exitStatus) + ", " + home.description() + ": " + end.output);
    const TraceEnd next = runTraced(home.sort(), [](pid_t, const SystemCall&) { return CallVerdict{}; });
    EXPECT_TRUE(!other.keepsFileOpen() || other.save());
    const int last = other.lastSave();
    other = OtherProgram(home.file(), disturbance.method);
    EXPECT_EQ(CrashHome::run(home.sort()), 0);
    EXPECT_TRUE(hasSave(last)) << "save " << last
                               << " is lost; in the file: " << OtherProgram::numberIn(contentsOf(home.file())) << ", "
                               << home.description() << ", the next sort: " << next.exitStatus << " " << next.output;
  }

  /// Indices of the program's own calls.
  [[nodiscard]] std::vector<std::size_t> calls(std::size_t most) const {
    std::vector<std::size_t> places = chosen(callCount - firstCall, most);
    for (std::size_t& place : places) place += firstCall;
    return places;
  }

  /// Saves in each way, one to five times, at each call; the quick form uses one combination for each call.
  void saveAtEachCall(std::size_t most) {
    for (const std::size_t call : calls(most)) {
      const std::size_t combinations = kMethods.size() * kMostSaves;
      for (std::size_t i = 0; i < combinations; ++i) {
        if (!isLongForm() && i != call % combinations) continue;
        run({kMethods[i % kMethods.size()], call, 1 + static_cast<int>(i / kMethods.size())});
        if (HasFailure()) return;
      }
    }
  }

  /// The same with a verdict at one of the following calls. The way of saving depends on both.
  void saveAndStrikeAtEachCall(std::size_t most, const CallVerdict& verdict, std::size_t farthest) {
    for (const std::size_t call : calls(most)) {
      for (std::size_t distance = 1; distance <= farthest; ++distance) {
        if (!isLongForm() && distance != 1 + call % farthest) continue;
        const std::size_t way = call + distance + static_cast<std::size_t>(verdict.code);
        const int saves = 1 + static_cast<int>(way / kMethods.size()) % kMostSaves;
        run({kMethods[way % kMethods.size()], call, saves, distance, verdict});
        if (HasFailure()) return;
      }
    }
  }

  void killAfterEachSave() { saveAndStrikeAtEachCall(30, {CallVerdict::Kind::kKill, 0}, 10); }
  void failAfterEachSave() {
    for (const int code : kCodes) {
      saveAndStrikeAtEachCall(4, {CallVerdict::Kind::kFail, code}, 3);
      if (HasFailure()) return;
    }
  }

  void TearDown() override {
    EXPECT_GT(disturbed, 0U);
    std::cout << runs << " runs, " << disturbed << " with a save\n";
  }
};

bool isExchange(const SystemCall& call) {
  constexpr std::uint64_t kExchange = 2;
  return call.number == SYS_renameat2 && call.arguments[4] == kExchange;
}

/// Saves and failures around the exchange of the old and the new file.
struct Exchange : ConcurrentSaves {
  OtherProgram other{home.file(), SaveMethod::kRename};

  void SetUp() override {
    studySort();
    prepare();
  }

  [[nodiscard]] int numberInFile() const { return OtherProgram::numberIn(contentsOf(home.file())); }

  /// Saves just before the exchange, and kills the command before it checks the displaced file.
  void saveAndKillAtTheExchange() {
    bool isDone = false;
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      if (isDone) return CallVerdict{CallVerdict::Kind::kKill, 0};
      if (!isExchange(call)) return CallVerdict::pass();
      EXPECT_TRUE(other.save());
      isDone = true;
      return CallVerdict::pass();
    });
    ASSERT_EQ(end.signal, SIGKILL);
    ASSERT_NE(numberInFile(), 1);
    ++disturbed;
  }
};

TEST_F(Exchange, ASaveThatAKilledSortDisplacedIsPutBackByTheNextSort) {
  saveAndKillAtTheExchange();
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

TEST_F(Exchange, AChangeOfSettingsInTheSameFolderLosesNoDisplacedSave) {
  fs::create_symlink("../../browser/preferences.plist", home.settings());
  saveAndKillAtTheExchange();
  EXPECT_EQ(CrashHome::run(home.set()), 0);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
}

TEST_F(Exchange, ASaveThatCannotBePutBackIsKeptAndNamedAndRecoveredByTheNextSort) {
  int exchanges = 0;
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    if (!isExchange(call)) return CallVerdict::pass();
    if (exchanges++ > 0) return CallVerdict::failWith(EIO);
    EXPECT_TRUE(other.save());
    return CallVerdict::pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 5) << end.output;
  EXPECT_NE(end.output.find(".tarvel-displaced-"), std::string::npos) << end.output;
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

/// The third save reuses the inode number of the first, which was put back and removed.
TEST_F(Exchange, ASaveWithAReusedInodeNumberIsNotMistakenForTheFileThatWasPutBack) {
  constexpr int kSaves = 3;
  other = OtherProgram(home.file(), SaveMethod::kRecreate);
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    const bool isDue = isExchange(call) && other.lastSave() < kSaves;
    EXPECT_TRUE(!isDue || other.save());
    return CallVerdict::pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_EQ(other.lastSave(), kSaves);
  EXPECT_EQ(numberInFile(), kSaves);
}

TEST_F(Exchange, WithoutALeaseALaterWriteToTheDisplacedFileIsRecovered) {
  OtherProgram writer(home.file(), SaveMethod::kThroughOpenFile);
  EXPECT_FALSE(writer.save());
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    const bool isLease = call.number == SYS_fcntl && call.arguments[1] == F_SETLEASE;
    return isLease ? CallVerdict::failWith(EACCES) : CallVerdict::pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_TRUE(writer.save());
  writer = OtherProgram(home.file(), SaveMethod::kRename);
  EXPECT_EQ(CrashHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
}

TEST_F(Exchange, AFileThatIsOpenForWritingIsNeitherRenamedNorBackedUp) {
  OtherProgram writer(home.file(), SaveMethod::kThroughOpenFile);
  EXPECT_FALSE(writer.save());
  std::size_t renames = 0;
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    renames += isExchange(call) ? 1U : 0U;
    return CallVerdict::pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 8) << end.output;
  EXPECT_EQ(renames, 0U);
  EXPECT_TRUE(home.hasNoBackup());
  EXPECT_EQ(numberInFile(), 0);
}

TEST_F(Exchange, AStaleFileHandleIsAWriteErrorAndNotAChangeOfTheFile) {
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    return isExchange(call) ? CallVerdict::failWith(ESTALE) : CallVerdict::pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 6) << end.output;
  EXPECT_EQ(numberInFile(), 0);
}

TEST_F(ConcurrentSaves, NoSaveAtAnyCallOfASortIsLost) {
  studySort();
  saveAtEachCall(40);
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenASortIsKilledAfterIt) {
  studySort();
  killAfterEachSave();
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenACallOfASortFailsAfterIt) {
  studySort();
  failAfterEachSave();
}

TEST_F(ConcurrentSaves, NoSaveAtAnyCallOfARestoreIsLost) {
  studyRestore();
  saveAtEachCall(30);
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenARestoreIsKilledAfterIt) {
  studyRestore();
  killAfterEachSave();
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenACallOfARestoreFailsAfterIt) {
  studyRestore();
  failAfterEachSave();
}

TEST_F(ConcurrentSaves, NoSaveAtAnyCallOfTheAgentsSortIsLost) {
  studyAgentSort();
  saveAtEachCall(30);
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenTheAgentIsKilledAfterIt) {
  studyAgentSort();
  killAfterEachSave();
}

TEST_F(ConcurrentSaves, NoSaveIsLostWhenACallOfTheAgentsSortFailsAfterIt) {
  studyAgentSort();
  failAfterEachSave();
}

}  // namespace
}  // namespace tarvel
