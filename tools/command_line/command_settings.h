#pragma once

#include <string>
#include <vector>

#include "platform/file_manager.h"
#include "platform/preferences_store.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

/// What a sort does besides ordering.
struct SortRules {
  bool foldersAtTop = true;
  bool removeDuplicates = true;
  bool renameSamenamed = true;
  bool sortBookmarksBar = false;

  friend bool operator==(const SortRules&, const SortRules&) = default;
};

/// The settings that the agent and the command share, with their defaults where nothing usable is stored.
struct CommandSettings {
  /// The file that the agent sorts, as it stands in the settings; the default file is a full path.
  std::string bookmarksFile;
  SortRules rules;
};

/// A setting by the name it is stored under, with its value as `tarvel settings` shows it.
struct NamedSetting {
  std::string key;
  std::string value;
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

}  // namespace tarvel
