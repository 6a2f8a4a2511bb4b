#include "agent/app_delegate.h"
#include "agent/browser_refresh.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

constexpr unsigned kWatcherLatency = 2;
constexpr double kRetryDelay = 5.0;
constexpr std::uint64_t kMostRetries = 9;
constexpr std::string_view kSortSelector = "sortBookmarks";

/// Abandons a sort when the agent is asked to end: the file may be large, and the end of a session does not wait.
class EndWatch final : public StageObserver {
 public:
  explicit EndWatch(Application& application) : application_(application) {}
  [[nodiscard]] bool isStopRequested() override { return application_.isEndRequested(); }

 private:
  Application& application_;
};

/// Outlives every delegate: attempts in a row count for the process.
std::uint64_t retryCount = 0;

}  // namespace

std::uint64_t sortRetryCount() { return retryCount; }

void resetSortRetryCount() { retryCount = 0; }

bool AppDelegate::startWatchingBookmarksFile() {
  setBookmarksFileDate(readBookmarksFileModificationDate());
  if (directoryEvents_) return true;
  directoryEvents_ =
      OrvoEvents::initWithPathAndDelegate(platform_.eventStreams, deletingLastPathComponent(bookmarksFilename()), this);
  if (directoryEvents_ && directoryEvents_->startWithLatency(static_cast<double>(kWatcherLatency))) return true;
  platform_.sorting.systemLog.log("Could not begin watching the bookmarks file for file system events.");
  directoryEvents_.reset();
  return false;
}

void AppDelegate::stopWatchingBookmarksFile() {
  if (!directoryEvents_) return;
  directoryEvents_->stop();
  directoryEvents_.reset();
}

std::optional<Date> AppDelegate::readBookmarksFileModificationDate() {
  const FileAttributes attributes = platform_.sorting.fileManager.attributesOfItemAtPath(bookmarksFilename());
  if (attributes.status.ok()) return attributes.modificationDate;
  platform_.sorting.systemLog.log("Could not read the file‘s modification date: " + attributes.status.reason);
  return std::nullopt;
}

void AppDelegate::incomingEventWithFlagsAndId(OrvoEvents& /*watcher*/, std::uint32_t /*flags*/, std::uint64_t /*id*/) {
  const std::optional<Date> date = readBookmarksFileModificationDate();
  if (date && date == bookmarksFileDate_) return restartIfReplaced();
  platform_.runLoop.cancelPreviousPerformRequestsWithTargetSelectorObject(this, kSortSelector, nullptr);
  requestSortBookmarksAfterDelay(static_cast<double>(bookmarksFileUpdateLatency_));
}

void AppDelegate::restartIfReplaced() {
  // A new agent sorts nothing at its launch, so that a change that waits for its sort is sorted by this one.
  if (!isSortRequested_) platform_.application.restartIfReplaced();
}

void AppDelegate::requestSortBookmarksAfterDelay(double seconds) {
  isSortRequested_ = true;
  platform_.runLoop.performSelectorWithObjectAfterDelay(
      this, kSortSelector, nullptr, [this] { sortBookmarks(); }, seconds);
}

void AppDelegate::sortBookmarks() {
  isSortRequested_ = false;
  // The agent's own writing is not to wake it.
  if (directoryEvents_) directoryEvents_->pause();
  Tarvel tarvel(platform_.sorting);
  setupTarvel(tarvel);
  EndWatch endWatch(platform_.application);
  tarvel.setStageObserver(&endWatch);
  // A sorter knows no path while nothing lies there; the message still has to name the file that was looked for.
  const std::string filename = tarvel.bookmarksFilename().value_or(
      platform_.sorting.fileManager.stringByExpandingTildeInPath(bookmarksFilename()));
  const TarvelError error = tarvel.sortBookmarks();
  for (const std::string& save : platform_.sorting.fileManager.keptSavesAtPath(filename)) {
    platform_.sorting.systemLog.log("A save of “" + filename + "” by another program is kept as “" + save +
                                    "”: a newer one has its place, or it could not be put back.");
  }
  // The request to end is what the run loop handles next.
  if (tarvel.wasStopped()) return;
  if (error == TarvelErrorNone) {
    finishSuccessfulSort(tarvel.sortedFileDate());
    return;
  }
  if (error == TarvelErrorFileInUse && ++retryCount <= kMostRetries) {
    // The watcher stays paused, so that no change moves the retry.
    requestSortBookmarksAfterDelay(kRetryDelay);
    return;
  }
  reportAndTerminate(error, error == TarvelErrorBackupFailed ? backupFilename() : filename);
}

void AppDelegate::finishSuccessfulSort(const std::optional<Date>& sortedDate) {
  refreshSafariAfterSort(platform_);
  setBookmarksFileDate(readBookmarksFileModificationDate());
  // A save since then has its date recorded here, so that its event will seem to be of the agent's own write. A date
  // that cannot be read is left to the event.
  const bool hasChangedSince = sortedDate && bookmarksFileDate_ && sortedDate != bookmarksFileDate_;
  if (hasChangedSince) requestSortBookmarksAfterDelay(static_cast<double>(bookmarksFileUpdateLatency_));
  if (directoryEvents_) {
    directoryEvents_->unPause();
  } else {
    // Without a watcher the agent lives on, deaf: nobody is told.
    (void)startWatchingBookmarksFile();
  }
  retryCount = 0;
  restartIfReplaced();
}

void AppDelegate::reportAndTerminate(std::int32_t code, const std::string& filename) {
  retryCount = 0;
  platform_.sorting.systemLog.log(Tarvel::stringFromTarvelErrorAndFilename(platform_.sorting.bundle, code, filename));
  launchMainApplicationWithErrorCode(static_cast<std::uint32_t>(code));
  platform_.application.terminate();
}

}  // namespace tarvel
