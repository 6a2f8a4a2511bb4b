#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/preferences_store.h"
#include "tools/terminal/message.h"

namespace tarvel {

enum class SettingType { kBoolean, kSeconds, kPath, kText, kDate, kCode };

/// When a changed setting takes effect. kNextSortThenStart: the next sort uses it; the watch follows at the agent's
/// next start.
enum class SettingEffect { kNextSort, kNextStart, kNextSortThenStart, kNever };

/// One key of the main application's settings.
struct Setting {
  const char* key;
  SettingType type;
  SettingEffect effect;
  const char* meaning;
  /// What holds while nothing usable is stored, in the spelling of `tarvel settings`. Null for seconds.
  const char* defaultText = nullptr;
  // Of seconds. Values beyond the limits are not used.
  std::int64_t defaultSeconds = 0;
  std::int64_t least = 0;
  std::int64_t most = 0;
};

/// All of them, in the order in which they are shown.
[[nodiscard]] std::span<const Setting> settingsTable();
/// By its name in the command or by its key; null when there is none.
[[nodiscard]] const Setting* settingNamed(std::string_view key);
/// Whether the command may set it.
[[nodiscard]] bool isSettable(const Setting& setting);

/// What is stored under a key, and what the agent makes of it. Texts are as they are stored, not yet safe to show.
struct SettingState {
  bool isStored = false;
  /// Whether the agent can use the stored value unchanged.
  bool isUsed = false;
  std::string storedText;
  std::string defaultText;
  /// The value in force.
  std::string inForce;
};

/// `files` expands the tilde of the default file.
[[nodiscard]] SettingState stateOf(const Setting& setting, PreferencesStore& preferences, FileManager& files);

/// A value to be stored, or why the text given for it cannot be used.
struct SettingInput {
  PropertyList value;
  std::string complaint;
  /// What to do instead, as far as that is known.
  Message advice;
};

[[nodiscard]] SettingInput inputFor(const Setting& setting, const std::string& text, FileManager& files);

/// "from the next sort" and so on.
[[nodiscard]] std::string effectText(SettingEffect effect);

}  // namespace tarvel
