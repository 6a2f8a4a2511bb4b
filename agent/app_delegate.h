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

/// The agent: sorts the bookmarks file some time after its last change, for as long as the process lives, and hands
/// what goes wrong to the main application.
///
/// Everything happens on the thread of the run loop; no locks. A sort blocks the loop until it is done.
class AppDelegate final : public ApplicationDelegate, public OrvoEventsDelegate, public UpdaterDelegate {
 public:
  /// `platform`, and all it refers to, is borrowed and outlives the delegate.
  explicit AppDelegate(const AgentPlatform& platform) : platform_(platform) {}
  ~AppDelegate() override;
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  // Life of the process.

  /// Starts watching, unless automatic sorting is off. Makes no sort: the first one waits for the first change.
  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;

  // Watching and sorting.

  /// Records the file's date, also where there is none and where a watcher exists; then watches the folder that holds
  /// the file. A later change of the preference changes the file that is sorted, not the folder that is watched. False,
  /// logged, when it cannot be watched.
  [[nodiscard]] bool startWatchingBookmarksFile();
  void stopWatchingBookmarksFile();
  /// Asks for a sort some time from now, in place of one asked for before, unless the file's date is the recorded one:
  /// then another file of the folder changed, or the agent itself wrote. The arguments are not looked at.
  void incomingEventWithFlagsAndId(OrvoEvents& watcher, std::uint32_t flags, std::uint64_t id) override;
  /// The file's date now; none, logged, when it cannot be read.
  [[nodiscard]] std::optional<Date> readBookmarksFileModificationDate();
  /// One attempt, and what follows from its result.
  void sortBookmarks();

  // Settings, all of the main application's domain. A value that is absent or unusable gives the default.

  [[nodiscard]] bool userPreferenceBooleanForKeyWithDefault(std::string_view key, bool defaultValue);
  [[nodiscard]] std::int64_t userPreferenceIntegerForKeyWithDefault(std::string_view key, std::int64_t defaultValue);
  [[nodiscard]] std::string userPreferenceStringForKeyWithDefault(std::string_view key,
                                                                  const std::string& defaultValue);
  // These three are not on the disk before synchronizeUserPreferences().
  /// Stores a signed number of 32 bits.
  void setUserPreferenceIntForKey(std::uint32_t value, std::string_view key);
  void setUserPreferenceStringForKey(std::string_view value, std::string_view key);
  void removeUserPreferenceKey(std::string_view key);
  /// Whether the settings reached the disk.
  bool synchronizeUserPreferences();
  /// Copies the settings of the moment onto a fresh sorter, which always makes its backup.
  void setupTarvel(Tarvel& tarvel);
  void initiateBookmarksFileUpdateLatencyField();

  // Paths.

  /// The folder for the agent's own files; it need not exist.
  [[nodiscard]] std::string applicationFolder();
  /// Worked out once; what changes later is not noticed.
  [[nodiscard]] const std::string& backupFilename();
  void setBackupFilename(std::string backupFilename) { backupFilename_ = std::move(backupFilename); }
  /// Worked out once.
  [[nodiscard]] const std::string& defaultBookmarksFile();
  void setDefaultBookmarksFile(std::string file) { defaultBookmarksFile_ = std::move(file); }
  /// The preference as it stands, a leading tilde included, or the default file. Looked up at every call.
  [[nodiscard]] std::string bookmarksFilename();
  /// Three folders above the agent's bundle. Nobody checks that it is there.
  [[nodiscard]] std::string mainApplicationPath();

  // Handing over to the main application.

  /// Leaves the code where the main application finds it, then launches it. True when a launch was accepted; the code
  /// is left there in any case.
  bool launchMainApplicationWithErrorCode(std::uint32_t code);
  void resetLastErrorCode();

  // Update checks.

  /// Sets up the checks of the main application's updates, if its user wants them. What the user changes later counts
  /// from the next launch.
  void initiateSparkleUpdateChecks();
  void sparkleUpdateCheck();
  void updaterDidFindValidUpdate(Updater& updater, const UpdateItem& update) override;
  /// Never: the agent asks nobody anything.
  [[nodiscard]] bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& updater) override;

  [[nodiscard]] const std::optional<Date>& bookmarksFileDate() const { return bookmarksFileDate_; }
  void setBookmarksFileDate(const std::optional<Date>& date) { bookmarksFileDate_ = date; }
  /// Seconds, 1 to 300.
  [[nodiscard]] std::int64_t bookmarksFileUpdateLatency() const { return bookmarksFileUpdateLatency_; }
  void setBookmarksFileUpdateLatency(std::int64_t latency) { bookmarksFileUpdateLatency_ = latency; }
  /// Null while updates are not looked for.
  [[nodiscard]] Timer* updateTimer() const { return updateTimer_.get(); }
  void setUpdateTimer(std::unique_ptr<Timer> timer) { updateTimer_ = std::move(timer); }

 private:
  void requestSortBookmarksAfterDelay(double seconds);
  /// Between two sorts, gives way to a newer version of this program.
  void restartIfReplaced();
  /// `sortedDate` is the date of the file as the sort left it.
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

/// Attempts in a row that found the file in use. Of the process, not of a delegate.
[[nodiscard]] std::uint64_t sortRetryCount();
/// For tests: back to 0, as in a new process.
void resetSortRetryCount();

}  // namespace tarvel
