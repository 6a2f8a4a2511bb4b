#pragma once

#include "tools/agent/settings_table.h"
#include "tools/terminal/answer.h"

namespace tarvel {

/// The value in force as JSON: a boolean, a number, a text, or null where there is none.
[[nodiscard]] Answer::Json valueAsJson(const Setting& setting, const SettingState& state);

/// Everything about a setting.
[[nodiscard]] Answer::Json jsonOf(const Setting& setting, const SettingState& state);

}  // namespace tarvel
