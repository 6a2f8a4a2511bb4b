#include "tools/agent/setting_json.h"

#include <charconv>

#include "tools/command_line/command_settings.h"
#include "tools/terminal/answer.h"

namespace tarvel {

namespace {

Answer::Json typed(const Setting& setting, const std::string& text) {
  std::int64_t number = 0;
  switch (setting.type) {
    case SettingType::kBoolean:
      return text == "yes";
    case SettingType::kSeconds:
    case SettingType::kCode:
      if (std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc()) return number;
      return nullptr;
    case SettingType::kPath:
      return text;
    case SettingType::kText:
    case SettingType::kDate:
      break;
  }
  // The default says that there is none.
  return text == setting.defaultText ? Answer::Json() : Answer::Json(text);
}

const char* effectName(SettingEffect effect) {
  switch (effect) {
    case SettingEffect::kNextSort:
    case SettingEffect::kNextSortThenStart:
      return "next-sort";
    case SettingEffect::kNextStart:
      return "next-start";
    case SettingEffect::kNever:
      break;
  }
  return "read-only";
}

}  // namespace

Answer::Json valueAsJson(const Setting& setting, const SettingState& state) { return typed(setting, state.inForce); }

Answer::Json jsonOf(const Setting& setting, const SettingState& state) {
  return {{"name", settingName(setting.key)},
          {"key", setting.key},
          {"value", valueAsJson(setting, state)},
          {"default", typed(setting, state.defaultText)},
          {"stored", state.isStored ? Answer::Json(state.storedText) : Answer::Json()},
          {"used", state.isUsed},
          {"effect", effectName(setting.effect)},
          {"meaning", setting.meaning}};
}

}  // namespace tarvel
