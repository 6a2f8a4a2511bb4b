#include "tools/agent/settings_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

#include "settings/preference_keys.h"
#include "tools/files/paths.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// No file is asked for more often than this, and none more rarely than once in ten years.
constexpr std::int64_t kLeastCheckInterval = 60;
constexpr std::int64_t kMostCheckInterval = 315'360'000;

constexpr std::array<Setting, 13> kSettings = {{
    {kAutoSortModeKey, SettingType::kBoolean, SettingEffect::kNextStart, "no", "Sort by itself at all"},
    {kBookmarksFilenameKey, SettingType::kPath, SettingEffect::kNextSortThenStart, kBookmarksFilenameDefault,
     "The bookmarks file"},
    {kBookmarksUpdateLatencyKey, SettingType::kSeconds, SettingEffect::kNextStart, "30",
     "Seconds from the last change to the sort", kBookmarksUpdateLatencyLeast, kBookmarksUpdateLatencyMost},
    {kFoldersAtTopKey, SettingType::kBoolean, SettingEffect::kNextSort, "yes", "Folders before bookmarks"},
    {kRemoveDuplicatesKey, SettingType::kBoolean, SettingEffect::kNextSort, "yes",
     "Remove bookmarks whose address comes again later"},
    {kRenameSamenamedKey, SettingType::kBoolean, SettingEffect::kNextSort, "yes",
     "Give same-named entries of a folder distinct titles"},
    {kSortBookmarksBarKey, SettingType::kBoolean, SettingEffect::kNextSort, "no", "Order the bookmarks bar too"},
    {kAutoSortBrowsersKey, SettingType::kBoolean, SettingEffect::kNextSort, "no",
     "Sort in Chromium and Firefox automatically"},
    {"SUEnableAutomaticChecks", SettingType::kBoolean, SettingEffect::kNextStart, "no", "Look for updates"},
    {"SUScheduledCheckInterval", SettingType::kSeconds, SettingEffect::kNextStart, "86400",
     "Seconds between two looks for updates", kLeastCheckInterval, kMostCheckInterval},
    {"SULastCheckTime", SettingType::kDate, SettingEffect::kNever, "never", "When updates were last looked for"},
    {"SUSkippedVersion", SettingType::kText, SettingEffect::kNever, "none", "An update that was declined"},
    {kLastHelperErrorKey, SettingType::kCode, SettingEffect::kNever, "none", "An error that waits to be shown"},
}};

std::optional<bool> booleanOfWord(std::string word) {
  std::ranges::transform(word, word.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (word == "yes" || word == "true" || word == "on" || word == "1") return true;
  if (word == "no" || word == "false" || word == "off" || word == "0") return false;
  return std::nullopt;
}

std::string textOf(PropertyListValue value) {
  if (const auto boolean = value.boolean()) return *boolean ? "yes" : "no";
  if (const auto integer = value.integer()) return std::to_string(*integer);
  if (const auto real = value.real()) return std::to_string(*real);
  if (const auto text = value.string()) return std::string(*text);
  if (const auto date = value.date()) return localTimeText(*date);
  return "something that is neither text nor number";
}

PropertyList listOf(const std::shared_ptr<PropertyListTree>& tree, PropertyListValue value) { return {tree, value}; }

SettingInput secondsFor(const Setting& setting, const std::string& text) {
  std::int64_t seconds = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) {
    return {{}, "“" + printable(text) + "” is no whole number of seconds."};
  }
  const std::int64_t used = std::clamp(seconds, setting.least, setting.most);
  if (used != seconds) {
    return {{}, "The agent would use " + std::to_string(used) + " instead of " + std::to_string(seconds) + "."};
  }
  const auto tree = std::make_shared<PropertyListTree>();
  return {listOf(tree, tree->makeInteger(seconds)), {}};
}

SettingInput pathFor(const std::string& text, FileManager& files) {
  if (text.empty()) return {{}, "The path is empty. To return to the default file, unset it."};
  const std::string full = absolutePath(files.stringByExpandingTildeInPath(text));
  if (full != text) {
    return {{},
            "The agent takes the path as it stands, and this one is not a full path. You may mean “" + printable(full) +
                "”."};
  }
  const auto tree = std::make_shared<PropertyListTree>();
  return {listOf(tree, tree->makeString(text)), {}};
}

/// What the agent uses of what is stored; none when nothing.
std::optional<std::string> usedText(const Setting& setting, PreferencesStore& preferences, PropertyListValue stored) {
  switch (setting.type) {
    case SettingType::kBoolean: {
      const auto boolean = preferences.appBooleanValue(setting.key, kMainApplicationIdentifier);
      return boolean ? std::optional<std::string>(*boolean ? "yes" : "no") : std::nullopt;
    }
    case SettingType::kSeconds: {
      const auto seconds = preferences.appIntegerValue(setting.key, kMainApplicationIdentifier);
      return seconds ? std::optional(std::to_string(std::clamp(*seconds, setting.least, setting.most))) : std::nullopt;
    }
    case SettingType::kCode: {
      const auto code = preferences.appIntegerValue(setting.key, kMainApplicationIdentifier);
      return code ? std::optional(std::to_string(*code)) : std::nullopt;
    }
    case SettingType::kDate:
      return stored.date() ? std::optional(textOf(stored)) : std::nullopt;
    default:
      return stored.string() ? std::optional(textOf(stored)) : std::nullopt;
  }
}

}  // namespace

std::span<const Setting> settingsTable() { return kSettings; }

const Setting* settingNamed(std::string_view key) {
  const auto found = std::ranges::find_if(kSettings, [key](const Setting& setting) { return key == setting.key; });
  return found == kSettings.end() ? nullptr : &*found;
}

bool isSettable(const Setting& setting) { return setting.effect != SettingEffect::kNever; }

SettingState stateOf(const Setting& setting, PreferencesStore& preferences, FileManager& files) {
  const PropertyList stored = preferences.copyAppValue(setting.key, kMainApplicationIdentifier);
  SettingState state;
  state.isStored = static_cast<bool>(stored.root);
  if (state.isStored) state.storedText = textOf(stored.root);
  const auto used = state.isStored ? usedText(setting, preferences, stored.root) : std::nullopt;
  const bool isPath = setting.type == SettingType::kPath;
  state.inForce = used.value_or(isPath ? files.stringByExpandingTildeInPath(setting.defaultText) : setting.defaultText);
  state.isUsed = used && (setting.type != SettingType::kSeconds || *used == state.storedText);
  return state;
}

SettingInput inputFor(const Setting& setting, const std::string& text, FileManager& files) {
  const auto tree = std::make_shared<PropertyListTree>();
  switch (setting.type) {
    case SettingType::kBoolean: {
      const auto boolean = booleanOfWord(text);
      if (!boolean) return {{}, "“" + printable(text) + "” is neither yes nor no."};
      return {listOf(tree, tree->makeBoolean(*boolean)), {}};
    }
    case SettingType::kSeconds:
      return secondsFor(setting, text);
    case SettingType::kPath:
      return pathFor(text, files);
    default:
      return {{}, "This is kept by Tarvel itself."};
  }
}

std::string effectText(SettingEffect effect) {
  switch (effect) {
    case SettingEffect::kNextSort:
      return "from the next sort";
    case SettingEffect::kNextSortThenStart:
      return "from the next sort; its folder is watched from the agent's next start";
    case SettingEffect::kNextStart:
      return "from the agent's next start";
    default:
      return "kept by Tarvel itself";
  }
}

}  // namespace tarvel
