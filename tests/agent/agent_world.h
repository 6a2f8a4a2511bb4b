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

/// What somebody put at the bookmarks path.
enum class Content { kNothing, kBookmarks, kNoPropertyList, kNoBookmarks, kNewerVersion };

/// What a planned step touches, which decides when it may happen.
enum class Step { kBookmarksFile, kNeighbour, kAgent };

/// A machine in virtual time on which agents come and go while somebody writes at moments nobody chose: between two
/// events of the agent, while it sleeps, and between any two of its file operations. Whatever goes wrong is a failure
/// of the running test.
class AgentWorld {
 public:
  static constexpr const char* kFolder = "/home/user/Library/Safari";
  static constexpr const char* kLock = "/home/user/Library/Safari/lock";
  static constexpr const char* kBackup = "/home/user/Library/Application Support/Tarvel/Bookmarks (Initial Copy).plist";

  explicit AgentWorld(std::uint32_t seed);
  ~AgentWorld();
  AgentWorld(const AgentWorld&) = delete;
  AgentWorld& operator=(const AgentWorld&) = delete;

  // Chance.

  [[nodiscard]] std::size_t pick(std::size_t below);
  [[nodiscard]] bool oneIn(std::size_t count) { return pick(count) == 0; }
  [[nodiscard]] std::chrono::nanoseconds upTo(std::chrono::nanoseconds longest);

  // What happens.

  /// Something for later, counted from the last plan's beginning.
  void plan(std::chrono::nanoseconds at, Step step, std::function<void()> action);
  /// Lets time pass until nothing is planned and the agent waits for nothing. An agent that ends is launched again.
  void runUntilQuiet();

  void save(const std::string& bytes, Content content);
  /// The same bytes with another date.
  void touch();
  void remove();
  void setLocked(bool isLocked);
  void writeNeighbour();
  void removeBackup();
  void failNextWrite();
  void failNextBackup();
  /// As by a signal, with a new agent at once.
  void restartAgent();
  void setOption(const char* key, bool value);
  void setLatency(std::int64_t seconds);
  /// Another file of the folder is the bookmarks file from now on.
  void setFileNamed(const std::string& name);

  // What can be seen.

  /// Whether the bytes are in order by the settings of now: a sort would write nothing.
  [[nodiscard]] bool isInOrder(const std::string& bytes);
  [[nodiscard]] std::string bytesOf(std::string_view notation);
  [[nodiscard]] std::optional<std::string> bytesNow() const { return memory_.fileManager.bytesAt(path_); }
  [[nodiscard]] Content content() const { return state().content; }
  /// Whether anybody changed the bookmarks file since the agent was launched or the settings were changed: only then is
  /// it to be in order.
  [[nodiscard]] bool isToBeInOrder() const { return changes_ > changesToIgnore_; }
  /// Of the bookmarks file, by others than the agent.
  [[nodiscard]] std::size_t changes() const { return changes_; }
  /// Sorts that ended well, rewrites among them, agents that reported an error and ended, agents launched.
  [[nodiscard]] std::size_t sorts() const { return sorts_; }
  [[nodiscard]] std::size_t rewrites() const { return rewrites_; }
  [[nodiscard]] std::size_t reportedErrors() const { return reportedErrors_; }
  [[nodiscard]] std::size_t launches() const { return launches_; }
  [[nodiscard]] std::int64_t latency() const { return process_->delegate.bookmarksFileUpdateLatency(); }
  /// Nothing is pending, the folder is watched, what was looked at is as it was left.
  void expectQuiet();
  /// Lets go of what was recorded, and only that.
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

  /// Where a sort is, seen from the files it touches.
  enum class Phase { kNone, kBeforeReading, kToBeCompared, kAboutToWrite, kToBeRecorded };

  struct FileState {
    Content content = Content::kNothing;
    std::string bytes;
    bool isInOrder = true;
    /// What a sort makes of it.
    std::string expected;
  };

  struct Planned {
    Step step;
    std::function<void()> action;
  };

  void launchAgent();
  void noteEnd();
  /// What the main application would find.
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
  /// When the last sort that ended well read the file.
  std::size_t changesAtLastSort_ = 0;
  /// The same of the sort that is under way.
  std::size_t changesSorted_ = 0;
  std::size_t sorts_ = 0;
  std::size_t rewrites_ = 0;
  std::size_t reportedErrors_ = 0;
  std::size_t launches_ = 0;
};

}  // namespace tarvel
