#include <algorithm>

#include "agent/app_delegate.h"
#include "settings/preference_keys.h"

namespace tarvel {

bool AppDelegate::userPreferenceBooleanForKeyWithDefault(std::string_view key, bool defaultValue) {
  return platform_.preferences.appBooleanValue(key, kMainApplicationIdentifier).value_or(defaultValue);
}

std::int64_t AppDelegate::userPreferenceIntegerForKeyWithDefault(std::string_view key, std::int64_t defaultValue) {
  return platform_.preferences.appIntegerValue(key, kMainApplicationIdentifier).value_or(defaultValue);
}

std::string AppDelegate::userPreferenceStringForKeyWithDefault(std::string_view key, const std::string& defaultValue) {
  const PropertyList value = platform_.preferences.copyAppValue(key, kMainApplicationIdentifier);
  const auto text = value.root.string();
  return text ? std::string(*text) : defaultValue;
}

void AppDelegate::setUserPreferenceIntForKey(std::uint32_t value, std::string_view key) {
  const auto tree = std::make_shared<PropertyListTree>();
  platform_.preferences.setAppValue(key, {tree, tree->makeInteger(static_cast<std::int32_t>(value))},
                                    kMainApplicationIdentifier);
}

void AppDelegate::setUserPreferenceStringForKey(std::string_view value, std::string_view key) {
  const auto tree = std::make_shared<PropertyListTree>();
  platform_.preferences.setAppValue(key, {tree, tree->makeString(value)}, kMainApplicationIdentifier);
}

void AppDelegate::removeUserPreferenceKey(std::string_view key) {
  platform_.preferences.setAppValue(key, {}, kMainApplicationIdentifier);
}

bool AppDelegate::synchronizeUserPreferences() {
  return platform_.preferences.appSynchronize(kMainApplicationIdentifier);
}

void AppDelegate::initiateBookmarksFileUpdateLatencyField() {
  const std::int64_t latency =
      userPreferenceIntegerForKeyWithDefault(kBookmarksUpdateLatencyKey, kBookmarksUpdateLatencyDefault);
  setBookmarksFileUpdateLatency(std::clamp(latency, kBookmarksUpdateLatencyLeast, kBookmarksUpdateLatencyMost));
}

void AppDelegate::setupTarvel(Tarvel& tarvel) {
  tarvel.setArrangeFoldersAtTop(userPreferenceBooleanForKeyWithDefault(kFoldersAtTopKey, kFoldersAtTopDefault));
  tarvel.setBackupFilename(backupFilename());
  tarvel.setBookmarksFilename(bookmarksFilename());
  tarvel.setRemoveDuplicates(userPreferenceBooleanForKeyWithDefault(kRemoveDuplicatesKey, kRemoveDuplicatesDefault));
  tarvel.setRenameSamenamed(userPreferenceBooleanForKeyWithDefault(kRenameSamenamedKey, kRenameSamenamedDefault));
  tarvel.setSortBookmarksBar(userPreferenceBooleanForKeyWithDefault(kSortBookmarksBarKey, kSortBookmarksBarDefault));
  tarvel.setWriteBackupFile(true);
}

}  // namespace tarvel
