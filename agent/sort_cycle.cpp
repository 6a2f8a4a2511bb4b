#include "agent/app_delegate.h"
#include "agent/browser_refresh.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

constexpr unsigned kWatcherLatency = 2;
constexpr double kRetryDelay = 5.0;
constexpr std::uint64_t kMostRetries = 9;
constexpr std::string_view kSortSelector = "sortBookmarks";

/// Stops a sort when the agent is asked to terminate: a large file must not delay the end of a session.
class TerminationObserver final : public StageObserver {
 public:
  explicit TerminationObserver(Application& application) : application_(application) {}
  [[nodiscard]] bool isStopRequested() override { return application_.isEndRequested(); }

 private:
  Application& application_;
};

/// Per process, so it outlives every delegate.
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
  // A new agent does not sort at launch, so a pending sort has to run first.
  if (!isSortRequested_) platform_.application.restartIfReplaced();
}

void AppDelegate::requestSortBookmarksAfterDelay(double seconds) {
  isSortRequested_ = true;
  platform_.runLoop.performSelectorWithObjectAfterDelay(
      this, kSortSelector, nullptr, [this] { sortBookmarks(); }, seconds);
}

void AppDelegate::sortBookmarks() {
  isSortRequested_ = false;
  // The agent's own write must not trigger another sort.
  if (directoryEvents_) directoryEvents_->pause();
  Tarvel tarvel(platform_.sorting);
  setupTarvel(tarvel);
  TerminationObserver terminationObserver(platform_.application);
  tarvel.setStageObserver(&terminationObserver);
  // The sorter returns no path if the file is missing, but the message must name it.
  const std::string filename = tarvel.bookmarksFilename().value_or(
      platform_.sorting.fileManager.stringByExpandingTildeInPath(bookmarksFilename()));
  const TarvelError error = tarvel.sortBookmarks();
  for (const std::string& save : platform_.sorting.fileManager.keptSavesAtPath(filename)) {
    platform_.sorting.systemLog.log("A save of “" + filename + "” by another program is kept as “" + save +
                                    "”: a newer one has its place, or it could not be put back.");
  }
  // The run loop handles the request to terminate next.
  if (tarvel.wasStopped()) return;
  if (error == TarvelErrorNone) {
    finishSuccessfulSort(tarvel.sortedFileDate());
    return;
  }
  if (error == TarvelErrorFileInUse && ++retryCount <= kMostRetries) {
    // The watcher stays paused, so that no event moves the retry.
    requestSortBookmarksAfterDelay(kRetryDelay);
    return;
  }
  reportAndTerminate(error, error == TarvelErrorBackupFailed ? backupFilename() : filename);
}

void AppDelegate::finishSuccessfulSort(const std::optional<Date>& sortedDate) {
  refreshSafariAfterSort(platform_);
  setBookmarksFileDate(readBookmarksFileModificationDate());
  // The date of a concurrent write has just been recorded, so its event will look like that of the agent's own write.
  // If a date is unreadable, the event decides.
  const bool hasChangedSince = sortedDate && bookmarksFileDate_ && sortedDate != bookmarksFileDate_;
  if (hasChangedSince) requestSortBookmarksAfterDelay(static_cast<double>(bookmarksFileUpdateLatency_));
  if (directoryEvents_) {
    directoryEvents_->unPause();
  } else {
    // Deliberately ignored: the agent keeps running without a watcher.
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
