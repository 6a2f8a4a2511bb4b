#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/linux/preferences/preferences_file.h"
#include "platform/preferences_store.h"

namespace tarvel {

/// Settings in `$XDG_CONFIG_HOME/<identifier>/preferences.plist` (by default in ~/.config), accessible to the user
/// only. Written as XML, read in any format. Safe for concurrent writers.
class LinuxPreferencesStore final : public PreferencesStore {
 public:
  /// Both are borrowed. The folder is taken from the environment.
  LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog);
  /// With the given parent folder of all settings. If empty, nothing is found and nothing can be stored.
  LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog, std::string folder);

  [[nodiscard]] std::optional<bool> appBooleanValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::optional<std::int64_t> appIntegerValue(std::string_view key,
                                                            std::string_view applicationId) override;
  [[nodiscard]] PropertyList copyAppValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::vector<std::string> copyKeyList(std::string_view applicationId) override;
  void setAppValue(std::string_view key, const PropertyList& value, std::string_view applicationId) override;
  [[nodiscard]] bool appSynchronize(std::string_view applicationId) override;

  /// The settings file of an application, existing or not. Empty for an invalid identifier.
  [[nodiscard]] std::string pathOf(std::string_view applicationId) const;

 private:
  /// Null for an invalid identifier.
  [[nodiscard]] PreferencesFile* file(std::string_view applicationId);

  PropertyListSerialization& propertyLists_;
  SystemLog& systemLog_;
  std::string folder_;
  std::map<std::string, std::unique_ptr<PreferencesFile>, std::less<>> files_;
};

}  // namespace tarvel
