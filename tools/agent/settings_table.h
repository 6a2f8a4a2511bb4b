#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/preferences_store.h"

namespace tarvel {

enum class SettingType { kBoolean, kSeconds, kPath, kText, kDate, kCode };

/// When a setting that is changed counts. kNextSortThenStart: the sort goes by it at once, what is watched from the
/// start.
enum class SettingEffect { kNextSort, kNextStart, kNextSortThenStart, kNever };

/// One key of the main application's settings, as a prompt meets it.
struct Setting {
  const char* key;
  SettingType type;
  SettingEffect effect;
  /// What holds while nothing usable is stored, in the spelling of `tarvel settings`.
  const char* defaultText;
  const char* meaning;
  /// Seconds below or above are not used.
  std::int64_t least = 0;
  std::int64_t most = 0;
};

/// All of them, in the order in which they are shown.
[[nodiscard]] std::span<const Setting> settingsTable();
/// Null for a key that is none.
[[nodiscard]] const Setting* settingNamed(std::string_view key);
/// Whether a prompt may set it.
[[nodiscard]] bool isSettable(const Setting& setting);

/// What is stored under a key, and what the agent makes of it. Texts are as they are stored, not yet safe to show.
struct SettingState {
  bool isStored = false;
  /// Whether the agent can use what is stored, as it stands.
  bool isUsed = false;
  std::string storedText;
  /// What holds now.
  std::string inForce;
};

/// `files` expands the tilde of the default file.
[[nodiscard]] SettingState stateOf(const Setting& setting, PreferencesStore& preferences, FileManager& files);

/// A value to be stored, or why the text given for it cannot be used and what could.
struct SettingInput {
  PropertyList value;
  std::string complaint;
};

[[nodiscard]] SettingInput inputFor(const Setting& setting, const std::string& text, FileManager& files);

/// "from the next sort" and so on.
[[nodiscard]] std::string effectText(SettingEffect effect);

}  // namespace tarvel
