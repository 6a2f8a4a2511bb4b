#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/linux/preferences/preferences_file.h"
#include "platform/preferences_store.h"

namespace tarvel {

/// Settings in `$XDG_CONFIG_HOME/<identifier>/preferences.plist` (by default in ~/.config), readable by their user
/// alone. Written in the XML form, read in any; several processes may write at once.
class LinuxPreferencesStore final : public PreferencesStore {
 public:
  /// Both are borrowed. Takes the folder from the environment.
  LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog);
  /// With the folder of all settings given. Empty: there is nothing, and nothing can be kept.
  LinuxPreferencesStore(PropertyListSerialization& propertyLists, SystemLog& systemLog, std::string folder);

  [[nodiscard]] std::optional<bool> appBooleanValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::optional<std::int64_t> appIntegerValue(std::string_view key,
                                                            std::string_view applicationId) override;
  [[nodiscard]] PropertyList copyAppValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::vector<std::string> copyKeyList(std::string_view applicationId) override;
  void setAppValue(std::string_view key, const PropertyList& value, std::string_view applicationId) override;
  [[nodiscard]] bool appSynchronize(std::string_view applicationId) override;

  /// The file of an application's settings, whether it exists or not. Empty for an identifier that names none.
  [[nodiscard]] std::string pathOf(std::string_view applicationId) const;

 private:
  /// Null for an identifier that would lead out of the folder.
  [[nodiscard]] PreferencesFile* file(std::string_view applicationId);

  PropertyListSerialization& propertyLists_;
  SystemLog& systemLog_;
  std::string folder_;
  std::map<std::string, std::unique_ptr<PreferencesFile>, std::less<>> files_;
};

}  // namespace tarvel
