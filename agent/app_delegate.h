#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/tarvel.h"
#include "platform/agent_platform.h"
#include "watcher/orvo_events.h"

namespace tarvel {

/// The agent: sorts the bookmarks file some time after its last change, and reports errors to the main application.
///
/// Everything runs on the thread of the run loop; no locks. A sort blocks the loop until it is done.
class AppDelegate final : public ApplicationDelegate, public OrvoEventsDelegate, public UpdaterDelegate {
 public:
  /// `platform` and everything it refers to are borrowed and outlive the delegate.
  explicit AppDelegate(const AgentPlatform& platform) : platform_(platform) {}
  ~AppDelegate() override;
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  // Process lifecycle.

  /// Starts watching, unless automatic sorting is off. Does not sort: the first sort follows the first change.
  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;

  // Watching and sorting.

  /// Records the file's date, or its absence, and starts watching the file's folder unless a watcher exists. A later
  /// change of the preference changes the file that is sorted, not the folder that is watched. On failure logs a line
  /// and returns false.
  [[nodiscard]] bool startWatchingBookmarksFile();
  void stopWatchingBookmarksFile();
  /// Schedules a sort in place of a pending one (debounce), unless the file's date equals the recorded one: then
  /// another file in the folder changed, or the agent itself wrote the file. Ignores its arguments.
  void incomingEventWithFlagsAndId(OrvoEvents& watcher, std::uint32_t flags, std::uint64_t id) override;
  /// The file's current date. If it cannot be read, logs a line and returns none.
  [[nodiscard]] std::optional<Date> readBookmarksFileModificationDate();
  /// Runs one sort and acts on its result.
  void sortBookmarks();

  // Settings, in the main application's domain. An absent or unusable value reads as the default.

  [[nodiscard]] bool userPreferenceBooleanForKeyWithDefault(std::string_view key, bool defaultValue);
  [[nodiscard]] std::int64_t userPreferenceIntegerForKeyWithDefault(std::string_view key, std::int64_t defaultValue);
  [[nodiscard]] std::string userPreferenceStringForKeyWithDefault(std::string_view key,
                                                                  const std::string& defaultValue);
  // The next three take effect on disk at synchronizeUserPreferences().
  /// Stores the value as a signed 32-bit number.
  void setUserPreferenceIntForKey(std::uint32_t value, std::string_view key);
  void setUserPreferenceStringForKey(std::string_view value, std::string_view key);
  void removeUserPreferenceKey(std::string_view key);
  /// Whether the settings were written to disk.
  bool synchronizeUserPreferences();
  /// Applies the current settings to a new sorter, and turns its backup on.
  void setupTarvel(Tarvel& tarvel);
  void initiateBookmarksFileUpdateLatencyField();

  // Paths.

  /// The folder of the agent's own files, which may not exist.
  [[nodiscard]] std::string applicationFolder();
  /// Determined once, then cached.
  [[nodiscard]] const std::string& backupFilename();
  void setBackupFilename(std::string backupFilename) { backupFilename_ = std::move(backupFilename); }
  /// Determined once, then cached.
  [[nodiscard]] const std::string& defaultBookmarksFile();
  void setDefaultBookmarksFile(std::string file) { defaultBookmarksFile_ = std::move(file); }
  /// The preference, with its leading tilde if any, or the default file. Read at every call.
  [[nodiscard]] std::string bookmarksFilename();
  /// Three folders above the agent's bundle. Not checked for existence.
  [[nodiscard]] std::string mainApplicationPath();

  // Error hand-over to the main application.

  /// Stores the code in the main application's preferences, then launches it. Whether a launch was accepted; the code
  /// stays stored in either case.
  bool launchMainApplicationWithErrorCode(std::uint32_t code);
  void resetLastErrorCode();

  // Update checks.

  /// Schedules update checks for the main application if the user enabled them. Later changes of that setting take
  /// effect at the next launch.
  void initiateSparkleUpdateChecks();
  void sparkleUpdateCheck();
  void updaterDidFindValidUpdate(Updater& updater, const UpdateItem& update) override;
  /// Always false: the agent never prompts.
  [[nodiscard]] bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& updater) override;

  [[nodiscard]] const std::optional<Date>& bookmarksFileDate() const { return bookmarksFileDate_; }
  void setBookmarksFileDate(const std::optional<Date>& date) { bookmarksFileDate_ = date; }
  /// Seconds, 1 to 300.
  [[nodiscard]] std::int64_t bookmarksFileUpdateLatency() const { return bookmarksFileUpdateLatency_; }
  void setBookmarksFileUpdateLatency(std::int64_t latency) { bookmarksFileUpdateLatency_ = latency; }
  /// Null while update checks are off.
  [[nodiscard]] Timer* updateTimer() const { return updateTimer_.get(); }
  void setUpdateTimer(std::unique_ptr<Timer> timer) { updateTimer_ = std::move(timer); }

 private:
  void requestSortBookmarksAfterDelay(double seconds);
  /// Restarts if a newer version of this program is installed and no sort is pending.
  void restartIfReplaced();
  /// `sortedDate` is the modification date after the sort.
  void finishSuccessfulSort(const std::optional<Date>& sortedDate);
  void reportAndTerminate(std::int32_t code, const std::string& filename);

  std::optional<std::string> backupFilename_;
  std::optional<Date> bookmarksFileDate_;
  std::int64_t bookmarksFileUpdateLatency_ = 0;
  std::optional<std::string> defaultBookmarksFile_;
  bool isSortRequested_ = false;
  std::shared_ptr<OrvoEvents> directoryEvents_;
  std::unique_ptr<Timer> updateTimer_;
  const AgentPlatform& platform_;
};

/// Consecutive sorts that found the file in use, counted per process, not per delegate.
[[nodiscard]] std::uint64_t sortRetryCount();
/// For tests: resets the count, as in a new process.
void resetSortRetryCount();

}  // namespace tarvel
