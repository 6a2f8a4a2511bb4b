#include "tools/agent/settings_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

#include "settings/preference_keys.h"
#include "tools/command_line/command_settings.h"
#include "tools/files/paths.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr const char* word(bool isOn) { return isOn ? "yes" : "no"; }

constexpr std::array<Setting, 13> kSettings = {{
    {kAutoSortModeKey, SettingType::kBoolean, SettingEffect::kNextStart, "Sort automatically",
     word(kAutoSortModeDefault)},
    {kBookmarksFilenameKey, SettingType::kPath, SettingEffect::kNextSortThenStart, "The bookmarks file",
     kBookmarksFilenameDefault},
    {kBookmarksUpdateLatencyKey, SettingType::kSeconds, SettingEffect::kNextStart,
     "Seconds from the last change to the sort", nullptr, kBookmarksUpdateLatencyDefault, kBookmarksUpdateLatencyLeast,
     kBookmarksUpdateLatencyMost},
    {kFoldersAtTopKey, SettingType::kBoolean, SettingEffect::kNextSort, "Folders before bookmarks",
     word(kFoldersAtTopDefault)},
    {kRemoveDuplicatesKey, SettingType::kBoolean, SettingEffect::kNextSort,
     "Remove bookmarks whose address comes again later", word(kRemoveDuplicatesDefault)},
    {kRenameSamenamedKey, SettingType::kBoolean, SettingEffect::kNextSort,
     "Give same-named entries of a folder distinct titles", word(kRenameSamenamedDefault)},
    {kSortBookmarksBarKey, SettingType::kBoolean, SettingEffect::kNextSort, "Order the bookmarks bar too",
     word(kSortBookmarksBarDefault)},
    {kAutoSortBrowsersKey, SettingType::kBoolean, SettingEffect::kNextSort,
     "Sort in Chromium and Firefox automatically", word(kAutoSortBrowsersDefault)},
    {kAutomaticUpdateChecksKey, SettingType::kBoolean, SettingEffect::kNextStart, "Check for updates",
     word(kAutomaticUpdateChecksDefault)},
    {kUpdateCheckIntervalKey, SettingType::kSeconds, SettingEffect::kNextStart, "Seconds between two update checks",
     nullptr, kUpdateCheckIntervalDefault, kUpdateCheckIntervalLeast, kUpdateCheckIntervalMost},
    {"SULastCheckTime", SettingType::kDate, SettingEffect::kNever, "When updates were last checked for", "never"},
    {"SUSkippedVersion", SettingType::kText, SettingEffect::kNever, "An update that was declined", "none"},
    {kLastHelperErrorKey, SettingType::kCode, SettingEffect::kNever, "The code of the pending error", "none"},
}};

std::string defaultText(const Setting& setting) {
  return setting.defaultText != nullptr ? setting.defaultText : std::to_string(setting.defaultSeconds);
}

std::optional<bool> booleanOf(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (text == "yes" || text == "true" || text == "on" || text == "1") return true;
  if (text == "no" || text == "false" || text == "off" || text == "0") return false;
  return std::nullopt;
}

std::string textOf(PropertyListValue value) {
  if (const auto boolean = value.boolean()) return word(*boolean);
  if (const auto integer = value.integer()) return std::to_string(*integer);
  if (const auto real = value.real()) return std::to_string(*real);
  if (const auto text = value.string()) return std::string(*text);
  if (const auto date = value.date()) return localTimeText(*date);
  return "a value of another type";
}

PropertyList listOf(const std::shared_ptr<PropertyListTree>& tree, PropertyListValue value) { return {tree, value}; }

SettingInput secondsFor(const Setting& setting, const std::string& text) {
  std::int64_t seconds = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) {
    return {{}, quotedText(text) + " is not a whole number of seconds.", {}};
  }
  const std::int64_t used = std::clamp(seconds, setting.least, setting.most);
  if (used != seconds) {
    return {{}, "The agent would use " + std::to_string(used) + " instead of " + std::to_string(seconds) + ".", {}};
  }
  const auto tree = std::make_shared<PropertyListTree>();
  return {listOf(tree, tree->makeInteger(seconds)), {}, {}};
}

SettingInput pathFor(const Setting& setting, const std::string& text, FileManager& files) {
  const std::string name = settingName(setting.key);
  if (text.empty()) {
    return {{}, "The path is empty.", {{"To return to the default file:"}, "tarvel settings unset " + name}};
  }
  const std::string full = absolutePath(files.stringByExpandingTildeInPath(text));
  if (full != text) {
    return {{},
            "The agent needs a full path.",
            {{"Did you mean this one?"}, "tarvel settings set " + name + " " + shellWord(full)}};
  }
  const auto tree = std::make_shared<PropertyListTree>();
  return {listOf(tree, tree->makeString(text)), {}, {}};
}

/// The value that the agent reads from what is stored; none when it cannot use that.
std::optional<std::string> usedText(const Setting& setting, PreferencesStore& preferences, PropertyListValue stored) {
  switch (setting.type) {
    case SettingType::kBoolean: {
      const auto boolean = preferences.appBooleanValue(setting.key, kMainApplicationIdentifier);
      return boolean ? std::optional<std::string>(word(*boolean)) : std::nullopt;
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
  const auto found = std::ranges::find_if(
      kSettings, [key](const Setting& setting) { return key == setting.key || key == settingName(setting.key); });
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
  state.defaultText = isPath ? files.stringByExpandingTildeInPath(setting.defaultText) : defaultText(setting);
  state.inForce = used.value_or(state.defaultText);
  state.isUsed = used && (setting.type != SettingType::kSeconds || *used == state.storedText);
  return state;
}

SettingInput inputFor(const Setting& setting, const std::string& text, FileManager& files) {
  const auto tree = std::make_shared<PropertyListTree>();
  switch (setting.type) {
    case SettingType::kBoolean: {
      const auto boolean = booleanOf(text);
      if (!boolean) return {{}, quotedText(text) + " is not yes or no.", {}};
      return {listOf(tree, tree->makeBoolean(*boolean)), {}, {}};
    }
    case SettingType::kSeconds:
      return secondsFor(setting, text);
    case SettingType::kPath:
      return pathFor(setting, text, files);
    default:
      return {{}, "Tarvel writes this setting itself.", {}};
  }
}

std::string effectText(SettingEffect effect) {
  switch (effect) {
    case SettingEffect::kNextSort:
      return "from the next sort";
    case SettingEffect::kNextSortThenStart:
      return "from the next sort; watched from the agent's next start";
    case SettingEffect::kNextStart:
      return "from the agent's next start";
    default:
      return "written by Tarvel itself";
  }
}

}  // namespace tarvel
