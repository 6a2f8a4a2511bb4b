#include "agent/app_delegate.h"
#include "settings/preference_keys.h"

namespace tarvel {

bool AppDelegate::launchMainApplicationWithErrorCode(std::uint32_t code) {
  // Stored before the launch: the preferences are the only way the code reaches the main application.
  setUserPreferenceIntForKey(code, kLastHelperErrorKey);
  synchronizeUserPreferences();

  Workspace& workspace = platform_.sorting.workspace;
  const std::string path = mainApplicationPath();
  if (workspace.offersLaunchApplicationAtUrl() &&
      workspace.launchApplicationAtUrlOptions(path, kWorkspaceLaunchDefault)) {
    return true;
  }
  if (workspace.launchApplication(path)) return true;
  if (workspace.launchAppWithBundleIdentifierOptions(kMainApplicationIdentifier, kWorkspaceLaunchDefault)) return true;
  platform_.sorting.systemLog.log("Could not launch the main application: " + path);
  return false;
}

void AppDelegate::resetLastErrorCode() {
  removeUserPreferenceKey(kLastHelperErrorKey);
  synchronizeUserPreferences();
}

}  // namespace tarvel
