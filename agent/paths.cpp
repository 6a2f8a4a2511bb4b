#include "agent/app_delegate.h"
#include "platform/path_components.h"
#include "settings/places.h"
#include "settings/preference_keys.h"

namespace tarvel {

std::string AppDelegate::applicationFolder() {
  FileManager& files = platform_.sorting.fileManager;
  const DirectoryLookup lookup = files.applicationSupportDirectory();
  std::string folder;
  if (lookup.path) {
    folder = *lookup.path;
  } else {
    folder = files.stringByExpandingTildeInPath("~/Library/Application Support");
    platform_.sorting.systemLog.log("Could not find the system’s support directory: " + lookup.status.reason +
                                    " (using the default: " + folder + ")");
  }
  return folder + "/" + kSupportFolderName;
}

const std::string& AppDelegate::backupFilename() {
  if (!backupFilename_) backupFilename_ = applicationFolder() + "/" + kBackupName;
  return *backupFilename_;
}

const std::string& AppDelegate::defaultBookmarksFile() {
  if (!defaultBookmarksFile_) {
    defaultBookmarksFile_ = platform_.sorting.fileManager.stringByExpandingTildeInPath(kBookmarksFilenameDefault);
  }
  return *defaultBookmarksFile_;
}

std::string AppDelegate::bookmarksFilename() {
  return userPreferenceStringForKeyWithDefault(kBookmarksFilenameKey, defaultBookmarksFile());
}

std::string AppDelegate::mainApplicationPath() {
  std::string path = platform_.sorting.bundle.bundlePath();
  for (int i = 0; i < 3; ++i) path = deletingLastPathComponent(path);
  return path;
}

}  // namespace tarvel
