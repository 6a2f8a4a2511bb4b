#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "agent/app_delegate.h"
#include "platform/collation/icu_collator.h"
#include "platform/memory/memory_application.h"
#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_event_stream.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_running_applications.h"
#include "platform/memory/memory_updater.h"
#include "platform/plist/serialization.h"

namespace tarvel {

/// What is at the bookmarks path.
enum class Content { kNothing, kBookmarks, kNoPropertyList, kNoBookmarks, kNewerVersion };

/// What a planned step affects, which decides when it may run.
enum class Step { kBookmarksFile, kNeighbour, kAgent };

/// A machine in virtual time on which agents are launched and terminate while other programs write at random moments:
/// between two events of the agent, while it sleeps, and between any two of its file operations. Every violated
/// invariant is a failure of the running test.
class AgentWorld {
 public:
  static constexpr const char* kFolder = "/home/user/Library/Safari";
  static constexpr const char* kLock = "/home/user/Library/Safari/lock";
  static constexpr const char* kBackup = "/home/user/Library/Application Support/Tarvel/Bookmarks (Initial Copy).plist";

  explicit AgentWorld(std::uint32_t seed);
  ~AgentWorld();
  AgentWorld(const AgentWorld&) = delete;
  AgentWorld& operator=(const AgentWorld&) = delete;

  // Random numbers.

  [[nodiscard]] std::size_t pick(std::size_t below);
  [[nodiscard]] bool oneIn(std::size_t count) { return pick(count) == 0; }
  [[nodiscard]] std::chrono::nanoseconds upTo(std::chrono::nanoseconds longest);

  // Actions.

  /// Schedules an action; `at` counts from the start of the current plan.
  void plan(std::chrono::nanoseconds at, Step step, std::function<void()> action);
  /// Lets time pass until no action is planned and the agent has no pending request. A terminated agent is relaunched.
  void runUntilQuiet();

  void save(const std::string& bytes, Content content);
  /// Changes the date, not the bytes.
  void touch();
  void remove();
  void setLocked(bool isLocked);
  void writeNeighbour();
  void removeBackup();
  void failNextWrite();
  void failNextBackup();
  /// Terminates the agent as by a signal, and launches a new one.
  void restartAgent();
  void setOption(const char* key, bool value);
  void setLatency(std::int64_t seconds);
  /// Makes another file of the folder the bookmarks file.
  void setFileNamed(const std::string& name);

  // Observations.

  /// Whether the bytes are in order by the current settings, so that a sort would write nothing.
  [[nodiscard]] bool isInOrder(const std::string& bytes);
  [[nodiscard]] std::string bytesOf(std::string_view notation);
  [[nodiscard]] std::optional<std::string> bytesNow() const { return memory_.fileManager.bytesAt(path_); }
  [[nodiscard]] Content content() const { return state().content; }
  /// Whether the bookmarks file changed since the agent was launched or a setting changed: only then must it be in
  /// order.
  [[nodiscard]] bool isToBeInOrder() const { return changes_ > changesToIgnore_; }
  /// Changes of the bookmarks file by other programs.
  [[nodiscard]] std::size_t changes() const { return changes_; }
  /// Successful sorts, rewrites among them, agents that terminated with an error, agents launched.
  [[nodiscard]] std::size_t sorts() const { return sorts_; }
  [[nodiscard]] std::size_t rewrites() const { return rewrites_; }
  [[nodiscard]] std::size_t reportedErrors() const { return reportedErrors_; }
  [[nodiscard]] std::size_t launches() const { return launches_; }
  [[nodiscard]] std::int64_t latency() const { return process_->delegate.bookmarksFileUpdateLatency(); }
  /// Expects no pending request, a watched folder, and files as the agent left them.
  void expectQuiet();
  /// Clears the recorded calls and log lines.
  void forget();

 private:
  /// One life of the agent.
  struct Process {
    explicit Process(AgentWorld& world);
    ~Process() { delegate.stopWatchingBookmarksFile(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    MemoryRunLoop loop;
    MemoryApplication application{loop};
    MemoryEventStreamService eventStreams{loop};
    MemoryUpdaters updaters{loop.time()};
    AgentPlatform platform;
    AppDelegate delegate{platform};
  };

  /// The progress of a sort, derived from its file operations.
  enum class Phase { kNone, kBeforeReading, kToBeCompared, kAboutToWrite, kToBeRecorded };

  struct FileState {
    Content content = Content::kNothing;
    std::string bytes;
    bool isInOrder = true;
    /// The result of a sort.
    std::string expected;
  };

  struct Planned {
    Step step;
    std::function<void()> action;
  };

  void launchAgent();
  void noteEnd();
  /// The code stored for the main application.
  [[nodiscard]] std::optional<std::int64_t> reportedCode() const;
  void checkReportedCode(std::int64_t code);
  void runDueSteps();
  void runFirstStep();
  [[nodiscard]] bool mayHappenNow(Step step) const;
  void beforeFileOperation(const FileCall& call);
  void afterFileOperation(const FileCall& call);
  void noteAttempt();
  void beforeDateRead();
  void noteSortEnded();
  void noteWrite();
  void noteRewrite();
  void noteBackup();
  void judge(FileState& state);
  void fileChanged();
  void post();
  [[nodiscard]] FileState& state() { return states_[path_]; }
  [[nodiscard]] const FileState& state() const { return states_.at(path_); }

  std::mt19937 random_;
  PlistSerialization serialization_;
  std::unique_ptr<IcuCollator> collator_ = IcuCollator::forEnvironment();
  MemoryPlatform memory_{serialization_};
  MemoryPreferencesStore preferences_;
  MemoryRunningApplications runningApplications_;
  MemoryBundles bundles_;
  Platform sorting_;
  std::unique_ptr<Process> process_;
  std::multimap<std::chrono::nanoseconds, Planned> steps_;
  std::chrono::nanoseconds planBegan_{0};
  std::string path_;
  std::map<std::string, FileState> states_;
  std::optional<std::string> backup_;
  Phase phase_ = Phase::kNone;
  std::chrono::nanoseconds firstAttempt_{0};
  Content lastRead_ = Content::kNothing;
  bool isLaunching_ = false;
  std::size_t changesAtDate_ = 0;
  bool wasLocked_ = false;
  bool isWriteToFail_ = false;
  bool hasWriteFailed_ = false;
  bool hasBackupFailed_ = false;
  std::size_t changes_ = 0;
  std::size_t changesToIgnore_ = 0;
  /// The number of changes that the last successful sort had read.
  std::size_t changesAtLastSort_ = 0;
  /// The same for the current sort.
  std::size_t changesSorted_ = 0;
  std::size_t sorts_ = 0;
  std::size_t rewrites_ = 0;
  std::size_t reportedErrors_ = 0;
  std::size_t launches_ = 0;
};

/// File descriptors that this process has open.
[[nodiscard]] std::size_t openDescriptors();

}  // namespace tarvel
