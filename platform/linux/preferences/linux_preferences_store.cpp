#include "platform/linux/preferences/linux_preferences_store.h"

#include <utility>

#include "platform/linux/base/user_folders.h"
#include "platform/preference_value.h"
#include "platform/storable_preference.h"

namespace tarvel {

LinuxPreferencesStore::LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog)
    : LinuxPreferencesStore(propertyLists, systemLog, userSettingsFolder()) {}

LinuxPreferencesStore::LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog,
                                             std::string folder)
    : propertyLists_(propertyLists), systemLog_(systemLog), folder_(std::move(folder)) {}

std::string LinuxPreferencesStore::pathOf(std::string_view applicationId) const {
  if (!namesApplication(applicationId) || folder_.empty()) return {};
  return folder_ + "/" + std::string(applicationId) + "/preferences.plist";
}

PreferencesFile* LinuxPreferencesStore::file(std::string_view applicationId) {
  const auto known = files_.find(applicationId);
  if (known != files_.end()) return known->second.get();
  std::string path = pathOf(applicationId);
  if (path.empty()) return nullptr;
  auto made = std::make_unique<PreferencesFile>(propertyLists_, systemLog_, std::move(path));
  return files_.emplace(applicationId, std::move(made)).first->second.get();
}

std::optional<bool> LinuxPreferencesStore::appBooleanValue(std::string_view key, std::string_view applicationId) {
  const PropertyList value = copyAppValue(key, applicationId);
  return booleanFromPreference(value.root);
}

std::optional<std::int64_t> LinuxPreferencesStore::appIntegerValue(std::string_view key,
                                                                   std::string_view applicationId) {
  const PropertyList value = copyAppValue(key, applicationId);
  return integerFromPreference(value.root);
}

PropertyList LinuxPreferencesStore::copyAppValue(std::string_view key, std::string_view applicationId) {
  PreferencesFile* settings = file(applicationId);
  return settings == nullptr ? PropertyList() : settings->value(key);
}

std::vector<std::string> LinuxPreferencesStore::copyKeyList(std::string_view applicationId) {
  std::vector<std::string> keys;
  if (PreferencesFile* settings = file(applicationId)) {
    for (const auto& [key, value] : settings->values()) keys.push_back(key);
  }
  return keys;
}

void LinuxPreferencesStore::setAppValue(std::string_view key, const PropertyList& value,
                                        std::string_view applicationId) {
  if (PreferencesFile* settings = file(applicationId)) settings->mark(key, value);
}

bool LinuxPreferencesStore::appSynchronize(std::string_view applicationId) {
  PreferencesFile* settings = file(applicationId);
  return settings != nullptr && settings->flush();
}

}  // namespace tarvel
