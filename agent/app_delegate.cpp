#include "agent/app_delegate.h"

#include "agent/helper_errors.h"
#include "settings/preference_keys.h"

namespace tarvel {

// Deliberately does not stop a running watcher; its stream keeps it alive.
AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
  resetLastErrorCode();
  if (!userPreferenceBooleanForKeyWithDefault(kAutoSortModeKey, kAutoSortModeDefault)) {
    platform_.sorting.systemLog.log("Automatic sorting is not set, terminating.");
    platform_.application.terminate();
    return;
  }
  initiateBookmarksFileUpdateLatencyField();
  if (startWatchingBookmarksFile()) {
    initiateSparkleUpdateChecks();
    return;
  }
  platform_.sorting.systemLog.log("Could not begin watching bookmarks file.");
  launchMainApplicationWithErrorCode(kHelperErrorWatchingFailed);
  platform_.application.terminate();
}

void AppDelegate::applicationWillTerminate() { stopWatchingBookmarksFile(); }

}  // namespace tarvel
