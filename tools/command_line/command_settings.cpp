#include "tools/command_line/command_settings.h"

#include "settings/preference_keys.h"

namespace tarvel {

namespace {

/// One rule: its option, its setting and its default.
struct Rule {
  const char* key;
  bool SortRules::*value;
  std::optional<bool> CommandLine::*option;
  bool byDefault;
};

constexpr Rule kRules[] = {
    {kFoldersAtTopKey, &SortRules::foldersAtTop, &CommandLine::foldersAtTop, kFoldersAtTopDefault},
    {kRemoveDuplicatesKey, &SortRules::removeDuplicates, &CommandLine::removeDuplicates, kRemoveDuplicatesDefault},
    {kRenameSamenamedKey, &SortRules::renameSamenamed, &CommandLine::renameSamenamed, kRenameSamenamedDefault},
    {kSortBookmarksBarKey, &SortRules::sortBookmarksBar, &CommandLine::sortBookmarksBar, kSortBookmarksBarDefault},
};

std::string defaultFile(FileManager& files) { return files.stringByExpandingTildeInPath(kBookmarksFilenameDefault); }

}  // namespace

CommandSettings readCommandSettings(PreferencesStore& preferences, FileManager& files) {
  CommandSettings settings;
  const PropertyList stored = preferences.copyAppValue(kBookmarksFilenameKey, kMainApplicationIdentifier);
  const auto file = stored.root.string();
  settings.bookmarksFile = file ? std::string(*file) : defaultFile(files);
  for (const Rule& rule : kRules) {
    settings.rules.*rule.value =
        preferences.appBooleanValue(rule.key, kMainApplicationIdentifier).value_or(rule.byDefault);
  }
  return settings;
}

SortRules rulesOf(const CommandLine& line, const CommandSettings& settings) {
  SortRules rules;
  for (const Rule& rule : kRules) {
    const bool unasked = line.ignoresSettings ? rule.byDefault : settings.rules.*rule.value;
    rules.*rule.value = (line.*rule.option).value_or(unasked);
  }
  return rules;
}

std::vector<NamedSetting> settingsInForce(const CommandLine& line, const CommandSettings& settings,
                                          FileManager& files) {
  std::vector<NamedSetting> inForce;
  if (line.ignoresSettings) return inForce;
  if (line.file.empty() && settings.bookmarksFile != defaultFile(files)) {
    inForce.push_back({settingName(kBookmarksFilenameKey), settings.bookmarksFile, std::nullopt});
  }
  for (const Rule& rule : kRules) {
    const bool value = settings.rules.*rule.value;
    if (line.*rule.option || value == rule.byDefault) continue;
    inForce.push_back({settingName(rule.key), value ? "yes" : "no", value});
  }
  return inForce;
}

std::string settingName(std::string_view key) {
  constexpr std::string_view kUpdatePrefix = "SU";
  if (key.starts_with(kUpdatePrefix)) key.remove_prefix(kUpdatePrefix.size());
  std::string name;
  for (const char c : key) {
    const bool isCapital = c >= 'A' && c <= 'Z';
    if (isCapital && !name.empty()) name += '-';
    name += isCapital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name;
}

}  // namespace tarvel
