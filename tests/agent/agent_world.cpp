#include "tests/agent/agent_world.h"

#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

#include <utility>

#include "agent/browser_refresh.h"
#include "settings/preference_keys.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// How often a planned step runs in the middle of the agent's work.
constexpr std::size_t kOneOperationOutOf = 10;
constexpr int kMostTurns = 100'000;
/// Nine pauses, and ten attempts that sleep for three seconds each if the lock is never removed.
constexpr nanoseconds kShortestRetries = 9 * 5s;
constexpr nanoseconds kLongestRetries = kShortestRetries + 10 * 3s;

}  // namespace

AgentWorld::Process::Process(AgentWorld& world)
    : loop(world.memory_.time),
      platform{world.sorting_, application, loop, eventStreams, world.preferences_, world.runningApplications_,
               world.bundles_, updaters} {}

// With the real collator, which caches data between calls.
AgentWorld::AgentWorld(std::uint32_t seed)
    : random_(seed), sorting_{serialization_,    memory_.fileManager, *collator_,        memory_.uuidSource,
                              memory_.systemLog, memory_.bundle,      memory_.workspace, memory_.clock} {
  resetSafariVersionAnswer();
  preferences_.setBoolean(kAutoSortModeKey, true, kMainApplicationIdentifier);
  memory_.fileManager.putFolder(kFolder);
  memory_.fileManager.setHook([this](const FileCall& call) { beforeFileOperation(call); });
  memory_.fileManager.setAfterHook([this](const FileCall& call) { afterFileOperation(call); });
  memory_.clock.setHook([this](std::size_t) { runDueSteps(); });
  setFileNamed("Bookmarks.plist");
  launchAgent();
}

AgentWorld::~AgentWorld() = default;

// Random numbers.

std::size_t AgentWorld::pick(std::size_t below) {
  return std::uniform_int_distribution<std::size_t>(0, below - 1)(random_);
}

nanoseconds AgentWorld::upTo(nanoseconds longest) {
  return nanoseconds(std::uniform_int_distribution<std::int64_t>(0, longest.count())(random_));
}

// Time.

void AgentWorld::plan(nanoseconds at, Step step, std::function<void()> action) {
  steps_.emplace(planBegan_ + at, Planned{step, std::move(action)});
}

void AgentWorld::runUntilQuiet() {
  for (int turn = 0; turn < kMostTurns; ++turn) {
    while (!steps_.empty() && steps_.begin()->first <= memory_.time.monotonic()) runFirstStep();
    noteEnd();
    const auto wait = process_ ? process_->loop.untilNextRequest() : std::nullopt;
    if (steps_.empty() && !wait) {
      planBegan_ = memory_.time.monotonic();
      return;
    }
    const nanoseconds now = memory_.time.monotonic();
    if (wait && (steps_.empty() || now + *wait < steps_.begin()->first)) {
      process_->loop.runNext();
    } else {
      memory_.time.pass(std::max(nanoseconds(0), steps_.begin()->first - now));
    }
  }
  ADD_FAILURE() << "the agent never comes to rest";
}

void AgentWorld::runFirstStep() {
  const auto action = std::move(steps_.begin()->second.action);
  steps_.erase(steps_.begin());
  action();
}

bool AgentWorld::mayHappenNow(Step step) const { return !isLaunching_ && step != Step::kAgent; }

/// Called while the agent sleeps.
void AgentWorld::runDueSteps() {
  while (!steps_.empty() && steps_.begin()->first <= memory_.time.monotonic() &&
         mayHappenNow(steps_.begin()->second.step)) {
    runFirstStep();
  }
}

// The agent's file operations.

void AgentWorld::beforeFileOperation(const FileCall& call) {
  const bool isLock = call.operation == FileOperation::kExists && call.path == kLock;
  if (isLock) noteAttempt();
  if (!steps_.empty() && mayHappenNow(steps_.begin()->second.step) && oneIn(kOneOperationOutOf)) runFirstStep();
  if (isLock) wasLocked_ = memory_.fileManager.bytesAt(kLock).has_value();
  if (call.path != path_) return;
  if (call.operation == FileOperation::kDate) beforeDateRead();
  if (call.operation == FileOperation::kExists && state().content == Content::kNothing) {
    // Without a file, neither the lock nor the date is checked.
    wasLocked_ = false;
    if (phase_ != Phase::kAboutToWrite) noteAttempt();
  }
  if (call.operation != FileOperation::kRead) return;
  const std::vector<std::string>& asked = process_->eventStreams.calls();
  EXPECT_TRUE(!asked.empty() && asked.back() == "stop") << "watching while sorting";
  EXPECT_FALSE(wasLocked_) << "read while the browser held the file";
  lastRead_ = state().content;
  changesSorted_ = changes_;
  phase_ = lastRead_ != Content::kBookmarks ? Phase::kNone
           : state().isInOrder              ? Phase::kToBeRecorded
                                            : Phase::kToBeCompared;
}

void AgentWorld::noteAttempt() {
  if (phase_ == Phase::kNone) firstAttempt_ = memory_.time.monotonic();
  phase_ = Phase::kBeforeReading;
}

void AgentWorld::beforeDateRead() {
  switch (phase_) {
    case Phase::kBeforeReading:
      changesAtDate_ = changes_;
      break;
    case Phase::kToBeCompared:
      phase_ = changes_ == changesAtDate_ ? Phase::kAboutToWrite : Phase::kBeforeReading;
      break;
    case Phase::kToBeRecorded:
      noteSortEnded();
      break;
    default:
      break;
  }
}

void AgentWorld::noteSortEnded() {
  phase_ = Phase::kNone;
  ++sorts_;
  EXPECT_LE(memory_.time.monotonic() - firstAttempt_, kLongestRetries);
  EXPECT_GT(changesSorted_, changesAtLastSort_) << "the same change was sorted twice";
  changesAtLastSort_ = changesSorted_;
}

void AgentWorld::afterFileOperation(const FileCall& call) {
  if (call.operation == FileOperation::kCopy) noteBackup();
  if (call.operation == FileOperation::kWrite) {
    EXPECT_EQ(call.path, path_) << "another file was written";
    noteWrite();
  }
  if (call.operation == FileOperation::kWrite || call.operation == FileOperation::kCopy) post();
}

void AgentWorld::noteWrite() {
  hasWriteFailed_ = std::exchange(isWriteToFail_, false);
  const bool isWritten = bytesNow().value_or("") != state().bytes;
  EXPECT_FALSE(isWritten && phase_ != Phase::kAboutToWrite) << "written without comparing the date";
  EXPECT_FALSE(isWritten && changes_ != changesAtDate_) << "a concurrent write was lost";
  EXPECT_TRUE(isWritten || hasWriteFailed_ || changes_ != changesAtDate_);
  if (isWritten) {
    noteRewrite();
  } else {
    phase_ = Phase::kBeforeReading;
  }
}

void AgentWorld::noteRewrite() {
  phase_ = Phase::kToBeRecorded;
  changesSorted_ = changes_;
  ++rewrites_;
  FileState& file = state();
  const std::string expected = file.expected;
  file.bytes = bytesNow().value_or("");
  judge(file);
  EXPECT_TRUE(file.isInOrder) << "another sort would change it again";
  EXPECT_EQ(text(serialization_.propertyListFromData(Data::copyOf(file.bytes)).list), expected);
}

void AgentWorld::noteBackup() {
  const auto copy = memory_.fileManager.bytesAt(kBackup);
  hasBackupFailed_ = !copy;
  if (!copy) return;
  EXPECT_EQ(backup_, std::nullopt) << "a backup was overwritten";
  EXPECT_EQ(copy, bytesNow());
  backup_ = copy;
}

// The agent's processes.

void AgentWorld::launchAgent() {
  if (process_) return;
  isLaunching_ = true;
  process_ = std::make_unique<Process>(*this);
  process_->application.launch(process_->delegate);
  isLaunching_ = false;
  ++launches_;
  phase_ = Phase::kNone;
  hasWriteFailed_ = hasBackupFailed_ = wasLocked_ = false;
  changesToIgnore_ = changesAtLastSort_ = changes_;
  EXPECT_FALSE(process_->application.isTerminated());
  EXPECT_EQ(reportedCode(), std::nullopt);
}

void AgentWorld::noteEnd() {
  if (!process_ || !process_->application.isTerminated()) return;
  checkReportedCode(reportedCode().value_or(0));
  EXPECT_EQ(memory_.workspace.launches().size(), 1U);
  EXPECT_EQ(process_->eventStreams.streamCount(), 0U);
  EXPECT_EQ(sortRetryCount(), 0U);
  memory_.workspace.forget();
  process_.reset();
  ++reportedErrors_;
  steps_.emplace(memory_.time.monotonic() + upTo(3s), Planned{Step::kAgent, [this] { launchAgent(); }});
}

/// Every code has a cause that can still be observed.
void AgentWorld::checkReportedCode(std::int64_t code) {
  switch (code) {
    case TarvelErrorBookmarksFileNotFound:
      EXPECT_EQ(state().content, Content::kNothing);
      break;
    case TarvelErrorNotBookmarksFile:
      EXPECT_EQ(lastRead_, Content::kNoBookmarks);
      break;
    case TarvelErrorUnknownVersion:
      EXPECT_EQ(lastRead_, Content::kNewerVersion);
      break;
    case TarvelErrorReadFailed:
      EXPECT_TRUE(lastRead_ == Content::kNoPropertyList || lastRead_ == Content::kNothing);
      break;
    case TarvelErrorWriteFailed:
      EXPECT_TRUE(hasWriteFailed_);
      break;
    case TarvelErrorBackupFailed:
      EXPECT_TRUE(hasBackupFailed_);
      break;
    case TarvelErrorFileInUse:
      EXPECT_TRUE(wasLocked_);
      EXPECT_GE(memory_.time.monotonic() - firstAttempt_, kShortestRetries);
      EXPECT_LE(memory_.time.monotonic() - firstAttempt_, kLongestRetries);
      break;
    default:
      ADD_FAILURE() << "ended with the code " << code;
  }
}

void AgentWorld::restartAgent() {
  if (!process_) return;
  process_->application.terminate();
  EXPECT_EQ(process_->eventStreams.streamCount(), 0U);
  process_.reset();
  resetSortRetryCount();
  launchAgent();
}

std::optional<std::int64_t> AgentWorld::reportedCode() const {
  return preferences_.flushedValue(kLastHelperErrorKey, kMainApplicationIdentifier).root.integer();
}

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace tarvel
