// Another program saves at each system call of a sort and a restore, once or several times, in each way; beyond that
// the command is killed, or a call fails, right after. The last save is never lost.

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

#include "tests/crash_safety/other_program.h"
#include "tests/crash_safety/proof_home.h"

namespace tarvel {
namespace {

namespace fs = std::filesystem;

constexpr int kMostSaves = 5;
constexpr std::array kMethods = {SaveMethod::kRename, SaveMethod::kRecreate, SaveMethod::kTruncate,
                                 SaveMethod::kInPlace, SaveMethod::kThroughOpenFile};
constexpr std::array kCodes = {EIO, ENOSPC, EDQUOT, EACCES, EPERM, EROFS, EMFILE, ENOMEM, EINTR};

std::string bytesAt(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What another program does to a run, and what else befalls the run.
struct Disturbance {
  SaveMethod method = SaveMethod::kRename;
  /// The first of as many calls in a row at each of which it saves.
  std::size_t call = 0;
  int saves = 1;
  /// Calls after the first save at which the verdict strikes.
  std::size_t distance = 0;
  CallVerdict verdict = {};

  [[nodiscard]] std::string description() const {
    return "method " + std::to_string(static_cast<int>(method)) + ", " + std::to_string(saves) + " saves from call " +
           std::to_string(call) + ", then verdict " + std::to_string(static_cast<int>(verdict.kind)) + " code " +
           std::to_string(verdict.code) + " after " + std::to_string(distance) + " calls";
  }
};

struct ConcurrentSaves : testing::Test {
  ProofHome home;
  std::function<void()> prepare;
  TracedProgram program;
  /// The first call of the program itself, after those of the loader, and how many there are in all.
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

  /// The last save is in the file, or among the copies that a restore keeps of what it replaces.
  [[nodiscard]] bool isInteractive(int number) const {
    if (OtherProgram::numberIn(bytesAt(home.file())) == number) return true;
    for (const std::string& copy : home.backups()) {
      if (OtherProgram::numberIn(bytesAt(fs::path(home.root()) / copy)) == number) return true;
    }
    return false;
  }

  void run(const Disturbance& disturbance) {
    SCOPED_TRACE(disturbance.description());
    prepare();
    OtherProgram other(home.file(), disturbance.method);
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      // What cannot be opened at this call is saved at the next one.
      if (call.index >= disturbance.call && other.lastSave() < disturbance.saves) (void)other.save();
      const bool isStruck = disturbance.distance > 0 && call.index == disturbance.call + disturbance.distance;
      return isStruck ? disturbance.verdict : CallVerdict{};
    });
    ++runs;
    // A program that has the file open goes on writing to it.
    if (other.lastSave() == 0) return;
    EXPECT_TRUE(!other.keepsFileOpen() || other.save());
    ++disturbed;
    SCOPED_TRACE("status " + std::to_string(end.exitStatus) + ", " + home.description() + ": " + end.output);
    // One that is open while the next command runs, as well as after it.
    const TraceEnd next = runTraced(home.sort(), [](pid_t, const SystemCall&) { return CallVerdict{}; });
    EXPECT_TRUE(!other.keepsFileOpen() || other.save());
    const int last = other.lastSave();
    other = OtherProgram(home.file(), disturbance.method);
    EXPECT_EQ(ProofHome::run(home.sort()), 0);
    EXPECT_TRUE(isInteractive(last)) << "save " << last
                                     << " is lost; in the file: " << OtherProgram::numberIn(bytesAt(home.file()))
                                     << ", " << home.description() << ", the next sort said " << next.exitStatus << " "
                                     << next.output;
  }

  /// As many calls as there are, from one that is reached in every run.
  [[nodiscard]] std::vector<std::size_t> calls(std::size_t most) const {
    std::vector<std::size_t> places = chosen(callCount - firstCall, most);
    for (std::size_t& place : places) place += firstCall;
    return places;
  }

  /// In each way, once to five times, at each call. The quick form has one way and one number of saves for each call.
  void saveAtEachCall(std::size_t most) {
    for (const std::size_t call : calls(most)) {
      const std::size_t combinations = kMethods.size() * kMostSaves;
      for (std::size_t i = 0; i < combinations; ++i) {
        if (!isLongProof() && i != call % combinations) continue;
        run({kMethods[i % kMethods.size()], call, 1 + static_cast<int>(i / kMethods.size())});
        if (HasFailure()) return;
      }
    }
  }

  /// The same, with a verdict at one of the calls that follow, in a way that depends on both.
  void saveAndStrikeAtEachCall(std::size_t most, const CallVerdict& verdict, std::size_t farthest) {
    for (const std::size_t call : calls(most)) {
      for (std::size_t distance = 1; distance <= farthest; ++distance) {
        if (!isLongProof() && distance != 1 + call % farthest) continue;
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

CallVerdict pass() { return {}; }
CallVerdict failWith(int code) { return {CallVerdict::Kind::kFail, code}; }

/// What happens around the exchange of the old file and the new one.
struct Exchange : ConcurrentSaves {
  OtherProgram other{home.file(), SaveMethod::kRename};

  void SetUp() override {
    studySort();
    prepare();
  }

  [[nodiscard]] int numberInFile() const { return OtherProgram::numberIn(bytesAt(home.file())); }

  /// The command is killed between the exchange and its look at what came out, which is a save.
  void saveAndKillAtTheExchange() {
    bool isDone = false;
    const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
      if (isDone) return CallVerdict{CallVerdict::Kind::kKill, 0};
      if (!isExchange(call)) return pass();
      EXPECT_TRUE(other.save());
      isDone = true;
      return pass();
    });
    ASSERT_EQ(end.signal, SIGKILL);
    ASSERT_NE(numberInFile(), 1);
    ++disturbed;
  }
};

TEST_F(Exchange, ASaveThatAKilledSortDisplacedIsBackAfterTheNextSort) {
  saveAndKillAtTheExchange();
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

TEST_F(Exchange, AChangeOfSettingsThatLieInTheSameFolderLosesNoDisplacedSave) {
  fs::create_symlink("../../browser/preferences.plist", home.settings());
  saveAndKillAtTheExchange();
  EXPECT_EQ(ProofHome::run(home.set()), 0);
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
}

TEST_F(Exchange, ASaveThatCannotBePutBackIsKeptNamedAndRecoveredByTheNextSort) {
  int exchanges = 0;
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    if (!isExchange(call)) return pass();
    if (exchanges++ > 0) return failWith(EIO);
    EXPECT_TRUE(other.save());
    return pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 5) << end.output;
  EXPECT_NE(end.output.find(".tarvel-displaced-"), std::string::npos) << end.output;
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
  EXPECT_EQ(home.strays(), std::vector<std::string>());
}

/// The file of the third save gets the inode number of the first one's, which had been put back and removed.
TEST_F(Exchange, ASaveWithAUsedInodeNumberIsNotTakenForTheFileThatWasPutBack) {
  constexpr int kSaves = 3;
  other = OtherProgram(home.file(), SaveMethod::kRecreate);
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    const bool isDue = isExchange(call) && other.lastSave() < kSaves;
    EXPECT_TRUE(!isDue || other.save());
    return pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_EQ(other.lastSave(), kSaves);
  EXPECT_EQ(numberInFile(), kSaves);
}

TEST_F(Exchange, WhereNoLeaseIsGrantedALaterWriteToTheDisplacedFileIsRecovered) {
  OtherProgram writer(home.file(), SaveMethod::kThroughOpenFile);
  EXPECT_FALSE(writer.save());
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    const bool isLease = call.number == SYS_fcntl && call.arguments[1] == F_SETLEASE;
    return isLease ? failWith(EACCES) : pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 0) << end.output;
  EXPECT_TRUE(writer.save());
  writer = OtherProgram(home.file(), SaveMethod::kRename);
  EXPECT_EQ(ProofHome::run(home.sort()), 0);
  EXPECT_EQ(numberInFile(), 1);
}

TEST_F(Exchange, AFileThatAProgramHasOpenForWritingIsLeftWithoutARenameOrABackup) {
  OtherProgram writer(home.file(), SaveMethod::kThroughOpenFile);
  EXPECT_FALSE(writer.save());
  std::size_t renames = 0;
  const TraceEnd end = runTraced(program, [&](pid_t, const SystemCall& call) {
    renames += isExchange(call) ? 1U : 0U;
    return pass();
  });
  ++disturbed;
  EXPECT_EQ(end.exitStatus, 8) << end.output;
  EXPECT_EQ(renames, 0U);
  EXPECT_TRUE(home.hasNoBackup());
  EXPECT_EQ(numberInFile(), 0);
}

TEST_F(Exchange, AStaleFileHandleIsAFailureToWriteNotAChangeOfTheFile) {
  const TraceEnd end =
      runTraced(program, [&](pid_t, const SystemCall& call) { return isExchange(call) ? failWith(ESTALE) : pass(); });
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
