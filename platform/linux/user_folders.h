#pragma once

#include <string>

// The user's own folders, by the base directory convention. Taken from the environment; nothing is made.
namespace tarvel {

/// $HOME, else what the password database says. Empty when neither knows.
[[nodiscard]] std::string userHomeFolder();
/// $XDG_CONFIG_HOME, else ~/.config. Empty without a home.
[[nodiscard]] std::string userSettingsFolder();
/// $XDG_RUNTIME_DIR. Empty where the session has none.
[[nodiscard]] std::string userRuntimeFolder();
/// The variable's value if it is an absolute path, as the convention wants; else empty.
[[nodiscard]] std::string folderFromEnvironment(const char* variable);

}  // namespace tarvel
