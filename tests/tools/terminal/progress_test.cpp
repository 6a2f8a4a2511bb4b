#include "tools/terminal/progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>

#include "platform/linux/base/linux_clock.h"
#include "tests/support/engine_fixture.h"
#include "tools/commands/commands.h"
#include "tools/terminal/shown_progress.h"

namespace tarvel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t kWide = 200;

std::string drawn(const std::string& text) { return "\r\x1B[K" + text; }

struct Line : testing::Test {
  VirtualTime time;
  MemoryClock clock{time};
  Progress progress;
  ProgressLine line{clock.monotonic()};

  std::optional<std::string> drawAfter(milliseconds pause, std::size_t columns = kWide) {
    time.pass(pause);
    return line.draw(progress, clock.monotonic(), columns);
  }
};

TEST_F(Line, NothingIsDrawnInTheFirstHalfSecond) {
  EXPECT_EQ(drawAfter(milliseconds(0)), std::nullopt);
  EXPECT_EQ(drawAfter(milliseconds(499)), std::nullopt);
  EXPECT_EQ(line.erase(), "");
  EXPECT_EQ(drawAfter(milliseconds(1)), drawn("Reading"));
}

TEST_F(Line, EachStageHasItsWordsAndItsCount) {
  time.pass(milliseconds(500));
  progress.stageBegan(SortStage::kCleaning);
  progress.entriesPassed(1234);
  EXPECT_EQ(drawAfter(milliseconds(0)), drawn("Cleaning, 1,234 entries so far"));
  progress.stageBegan(SortStage::kOrdering);
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Ordering"));
  progress.entriesPassed(999);
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Ordering, 999 entries so far"));
  // The next tree's turn: the count goes on.
  progress.stageBegan(SortStage::kCleaning);
  progress.entriesPassed(1'000'000);
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Cleaning, 1,001,234 entries so far"));
  progress.stageBegan(SortStage::kWriting);
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Writing"));
  progress.stageBegan(SortStage::kWaiting);
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Waiting for the browser to let go of the file (1 s)"));
  // Read again: so it begins anew.
  progress.stageBegan(SortStage::kReading);
  progress.stageBegan(SortStage::kCleaning);
  EXPECT_EQ(drawAfter(seconds(2)), drawn("Cleaning (3 s)"));
}

TEST_F(Line, ItIsDrawnTenTimesASecondAtMostAndOnlyWhenItIsAnother) {
  time.pass(milliseconds(2000));
  progress.stageBegan(SortStage::kOrdering);
  std::size_t drawings = 0;
  for (int i = 0; i < 1000; ++i) {
    progress.entriesPassed(1);
    if (drawAfter(milliseconds(1))) ++drawings;
  }
  EXPECT_EQ(drawings, 10U);
  for (int i = 0; i < 5; ++i) (void)drawAfter(milliseconds(100));
  EXPECT_EQ(line.draw(progress, clock.monotonic(), kWide), std::nullopt);
  const auto last = drawAfter(milliseconds(100));
  EXPECT_EQ(last, std::nullopt);
}

TEST_F(Line, ItFitsTheTerminal) {
  progress.stageBegan(SortStage::kWaiting);
  EXPECT_EQ(drawAfter(seconds(1), 12), drawn("Waiting for"));
  EXPECT_EQ(drawAfter(seconds(1), 1), drawn(""));
  EXPECT_EQ(drawAfter(seconds(1), 46), drawn("Waiting for the browser to let go of the file"));
}

TEST_F(Line, ErasedItLeavesNothingAndCanComeBack) {
  ASSERT_NE(drawAfter(milliseconds(500)), std::nullopt);
  EXPECT_EQ(line.erase(), drawn(""));
  EXPECT_EQ(line.erase(), "");
  EXPECT_EQ(drawAfter(milliseconds(100)), drawn("Reading"));
}

struct Stages : StageObserver {
  std::vector<SortStage> stages;
  std::size_t entries = 0;
  void stageBegan(SortStage stage) override { stages.push_back(stage); }
  void entriesPassed(std::size_t count) override { entries += count; }
};

struct ToldStages : testing::Test, EngineFixture {
  Stages told;

  TarvelError sortWith(const std::string& notation) {
    memory.fileManager.putFile("/f", serialization.dataWithPropertyList(tree(notation), 200).data.joined());
    tarvel.setStageObserver(&told);
    tarvel.setBookmarksFilename("/f");
    return tarvel.sortBookmarks();
  }
};

TEST_F(ToldStages, ASortTellsItsStagesAndHowManyEntriesPassed) {
  using enum SortStage;
  EXPECT_EQ(sortWith("Root[ BookmarksBar[ z a ] BookmarksMenu[ c b ] d ]"), TarvelErrorNone);
  const std::vector<SortStage> expected = {kReading,  kCleaning, kOrdering, kCleaning,
                                           kOrdering, kCleaning, kOrdering, kWriting};
  EXPECT_EQ(told.stages, expected);
  EXPECT_EQ(told.entries, 10U);
}

TEST_F(ToldStages, AFileInOrderIsNotWrittenAndALockedOneWaitedFor) {
  EXPECT_EQ(sortWith("Root[ BookmarksBar[ a ] BookmarksMenu[ b ] ]"), TarvelErrorNone);
  EXPECT_EQ(std::ranges::count(told.stages, SortStage::kWriting), 0);
  EXPECT_EQ(std::ranges::count(told.stages, SortStage::kWaiting), 0);
  memory.fileManager.putFile("/lock", "");
  told.stages.clear();
  EXPECT_EQ(tarvel.sortBookmarks(), TarvelErrorFileInUse);
  EXPECT_EQ(std::ranges::count(told.stages, SortStage::kWaiting), 10);
}

// A terminal. The command runs as a child in front of it, on a platform that comes to rest in the stage looked at, so
// that nothing depends on how fast anything is.

[[noreturn]] void restForEver() {
  for (;;) (void)::pause();
}

struct RestingCollator final : Collator {
  std::vector<std::uint32_t> rank(std::span<const std::string_view> /*titles*/) override { restForEver(); }
};

/// The untitled are named while cleaning.
struct RestingBundle final : Bundle {
  std::string bundlePath() override { return {}; }
  std::optional<std::string> stringForInfoDictionaryKey(std::string_view /*key*/) override { return std::nullopt; }
  std::string localizedStringForKeyValue(std::string_view /*key*/, std::string_view /*value*/) override {
    restForEver();
  }
};

struct RestingClock final : Clock {
  LinuxClock real;
  void sleepFor(milliseconds /*duration*/) override { restForEver(); }
  std::chrono::nanoseconds monotonic() override { return real.monotonic(); }
  Date wallClock() override { return real.wallClock(); }
};

struct Rest {
  const char* stage;
  /// What it shows.
  const char* text;
};

int sortThatRestsIn(const std::string& stage) {
  EngineFixture t;
  LinuxClock clock;
  RestingClock restingClock;
  RestingCollator restingCollator;
  RestingBundle restingBundle;
  const PropertyList list = tree("Root[ BookmarksBar[ z ] BookmarksMenu[ c ~[ x ] b ] ]");
  t.memory.fileManager.putFile("/f", t.serialization.dataWithPropertyList(list, 200).data.joined());
  if (stage == "waiting") t.memory.fileManager.putFile("/lock", "");
  t.memory.fileManager.setHook([&stage](const FileCall& call) {
    if (stage == "reading" && call.operation == FileOperation::kRead) restForEver();
    if (stage == "writing" && call.operation == FileOperation::kWrite) restForEver();
  });
  Clock& waiting = stage == "waiting" ? static_cast<Clock&>(restingClock) : clock;
  Collator& collator = stage == "ordering" ? static_cast<Collator&>(restingCollator) : t.memory.collator;
  Bundle& bundle = stage == "cleaning" ? static_cast<Bundle&>(restingBundle) : t.memory.bundle;
  const Platform platform{t.serialization, t.memory.fileManager, collator, t.memory.uuidSource, t.memory.systemLog,
                          bundle,          t.memory.workspace,   waiting};
  CommandLine line;
  line.file = "/f";
  line.backupFile = "/data/first.plist";
  return runSort(platform, line, {});
}

/// What a child wrote to its terminal, and how it ended.
struct TerminalRun {
  std::string output;
  int status = 0;
};

/// Runs `work` in front of a terminal of its own. Once the terminal shows `awaited`, `act` is called with the terminal
/// and the child.
TerminalRun runInTerminal(const std::function<int()>& work, const std::string& awaited,
                          const std::function<void(int, pid_t)>& act) {
  TerminalRun run;
  int terminal = -1;
  // Else the child shows it once more.
  (void)std::fflush(nullptr);
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    (void)::setenv("TERM", "xterm", 1);
    // A suite that runs in the background was told to ignore them.
    for (const int number : {SIGINT, SIGQUIT, SIGHUP}) (void)::signal(number, SIG_DFL);
    const int status = work();
    std::cout.flush();
    ::_exit(status);
  }
  EXPECT_GT(child, 0);
  constexpr milliseconds kPatience{30'000};
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  bool hasActed = awaited.empty();
  for (char bytes[4096];;) {
    pollfd ready{terminal, POLLIN, 0};
    const bool isLate = std::chrono::steady_clock::now() > deadline;
    if (isLate) (void)::kill(child, SIGKILL);
    if (::poll(&ready, 1, 100) <= 0) continue;
    // A terminal whose last user is gone reads as an error.
    const ssize_t got = ::read(terminal, bytes, sizeof bytes);
    if (got <= 0) break;
    run.output.append(bytes, static_cast<std::size_t>(got));
    if (hasActed || run.output.find(awaited) == std::string::npos) continue;
    hasActed = true;
    act(terminal, child);
  }
  EXPECT_TRUE(hasActed) << run.output;
  EXPECT_EQ(::waitpid(child, &run.status, 0), child);
  (void)::close(terminal);
  return run;
}

struct ProgressStages : testing::TestWithParam<Rest> {};

INSTANTIATE_TEST_SUITE_P(Stages, ProgressStages,
                         testing::Values(Rest{"waiting", "Waiting for the browser"}, Rest{"reading", "Reading"},
                                         Rest{"cleaning", "Cleaning"}, Rest{"ordering", "Ordering"},
                                         Rest{"writing", "Writing"}),
                         [](const auto& rest) { return std::string(rest.param.stage); });

TEST_P(ProgressStages, AStageThatLastsIsShownAndCtrlCErasesTheLineAndEndsByTheSignal) {
  const TerminalRun run = runInTerminal([] { return sortThatRestsIn(GetParam().stage); }, GetParam().text,
                                        [](int terminal, pid_t) { ASSERT_EQ(::write(terminal, "\x03", 1), 1); });
  ASSERT_TRUE(WIFSIGNALED(run.status)) << run.output;
  EXPECT_EQ(WTERMSIG(run.status), SIGINT);
  // The terminal itself answers the key with ^C.
  EXPECT_TRUE(run.output.ends_with("\r\x1B[K")) << testing::PrintToString(run.output);
}

TEST(ProgressOnATerminal, SigtermErasesTheLineToo) {
  const TerminalRun run = runInTerminal([] { return sortThatRestsIn("reading"); }, "Reading",
                                        [](int, pid_t child) { ASSERT_EQ(::kill(child, SIGTERM), 0); });
  ASSERT_TRUE(WIFSIGNALED(run.status)) << run.output;
  EXPECT_EQ(WTERMSIG(run.status), SIGTERM);
  EXPECT_EQ(run.output.find("\r\x1B[KReading"), 0U);
  EXPECT_TRUE(run.output.ends_with("\r\x1B[K"));
}

TEST(ProgressOnATerminal, ASignalThatWasToBeIgnoredStaysIgnored) {
  const TerminalRun run = runInTerminal(
      [] {
        (void)::signal(SIGHUP, SIG_IGN);
        return sortThatRestsIn("reading");
      },
      "Reading",
      [](int, pid_t child) {
        ASSERT_EQ(::kill(child, SIGHUP), 0);
        ASSERT_EQ(::kill(child, SIGTERM), 0);
      });
  ASSERT_TRUE(WIFSIGNALED(run.status));
  EXPECT_EQ(WTERMSIG(run.status), SIGTERM);
}

TEST(ProgressOnATerminal, ASignalThatWasHeldBackStaysSo) {
  const TerminalRun run = runInTerminal(
      [] {
        sigset_t hangUp;
        (void)::sigemptyset(&hangUp);
        (void)::sigaddset(&hangUp, SIGHUP);
        (void)::pthread_sigmask(SIG_BLOCK, &hangUp, nullptr);
        return sortThatRestsIn("reading");
      },
      "Reading",
      [](int, pid_t child) {
        ASSERT_EQ(::kill(child, SIGHUP), 0);
        ASSERT_EQ(::kill(child, SIGTERM), 0);
      });
  ASSERT_TRUE(WIFSIGNALED(run.status));
  EXPECT_EQ(WTERMSIG(run.status), SIGTERM);
}

/// Writes each line by halves, with a while in between.
struct HesitantLog final : SystemLog {
  std::function<void()> hesitate;
  void log(std::string_view message) override {
    const std::string_view half = message.substr(0, message.size() / 2);
    EXPECT_EQ(::write(STDERR_FILENO, half.data(), half.size()), static_cast<ssize_t>(half.size()));
    hesitate();
    const std::string rest = std::string(message.substr(half.size())) + "\n";
    EXPECT_EQ(::write(STDERR_FILENO, rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
  }
};

/// Waits until the line is there, logs, and rests.
int logWhileShown(const std::function<void()>& hesitate) {
  EngineFixture t;
  LinuxClock clock;
  HesitantLog log;
  log.hesitate = hesitate;
  const Platform platform{t.serialization,
                          t.memory.fileManager,
                          t.memory.collator,
                          t.memory.uuidSource,
                          log,
                          t.memory.bundle,
                          t.memory.workspace,
                          clock};
  ShownProgress shown(platform);
  clock.sleepFor(ProgressLine::kDelay + 2 * ProgressLine::kPause);
  shown.platform().systemLog.log("one line of the log");
  restForEver();
}

TEST(ProgressOnATerminal, NothingIsDrawnIntoALineOfTheLog) {
  const TerminalRun run =
      runInTerminal([] { return logWhileShown([] { LinuxClock().sleepFor(3 * ProgressLine::kPause); }); }, "log\r\n",
                    [](int, pid_t child) { ASSERT_EQ(::kill(child, SIGTERM), 0); });
  EXPECT_NE(run.output.find("one line of the log\r\n"), std::string::npos) << testing::PrintToString(run.output);
}

TEST(ProgressOnATerminal, CtrlCDoesNotWaitForALineOfTheLog) {
  const TerminalRun run = runInTerminal([] { return logWhileShown(restForEver); }, "one line",
                                        [](int terminal, pid_t) { ASSERT_EQ(::write(terminal, "\x03", 1), 1); });
  ASSERT_TRUE(WIFSIGNALED(run.status)) << run.output;
  EXPECT_EQ(WTERMSIG(run.status), SIGINT);
}

TEST(ProgressOnATerminal, TheAnswerStandsOnAClearLine) {
  const TerminalRun run = runInTerminal([] { return sortThatRestsIn("nowhere"); }, "", nullptr);
  EXPECT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << run.output;
  // On a busy machine it may have lasted long enough to be shown.
  const std::size_t erased = run.output.rfind("\x1B[K");
  const std::string rest = erased == std::string::npos ? run.output : run.output.substr(erased + 3);
  EXPECT_EQ(rest.find("The bookmarks file was opened"), 0U) << run.output;
}

}  // namespace
}  // namespace tarvel
