#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/preferences_store.h"
#include "settings/preference_keys.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

/// What a sort does besides ordering.
struct SortRules {
  bool foldersAtTop = kFoldersAtTopDefault;
  bool removeDuplicates = kRemoveDuplicatesDefault;
  bool renameSamenamed = kRenameSamenamedDefault;
  bool sortBookmarksBar = kSortBookmarksBarDefault;

  friend bool operator==(const SortRules&, const SortRules&) = default;
};

/// The settings that the agent and the command share, with their defaults where nothing usable is stored.
struct CommandSettings {
  /// The file that the agent sorts, as it stands in the settings; the default file is a full path.
  std::string bookmarksFile;
  SortRules rules;
};

/// A setting by its name in the command, with its value.
struct NamedSetting {
  std::string name;
  /// As `tarvel settings` shows it.
  std::string text;
  /// Of a boolean setting.
  std::optional<bool> isOn;
};

/// Settings that cannot be read count as absent; the store logs that.
[[nodiscard]] CommandSettings readCommandSettings(PreferencesStore& preferences, FileManager& files);

/// The rules of this run: an option given beats a setting, a setting beats the default. --no-settings leaves the
/// settings out.
[[nodiscard]] SortRules rulesOf(const CommandLine& line, const CommandSettings& settings);

/// The settings that decided something in this run, for the answer: those that differ from the default and that no
/// option overrules.
[[nodiscard]] std::vector<NamedSetting> settingsInForce(const CommandLine& line, const CommandSettings& settings,
                                                        FileManager& files);

/// The name of a setting in the command: "folders-at-top" for the key FoldersAtTop. Keys that belong to update checks
/// lose their prefix SU.
[[nodiscard]] std::string settingName(std::string_view key);

}  // namespace tarvel
