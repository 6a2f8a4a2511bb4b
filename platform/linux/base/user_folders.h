#pragma once

#include <string>

// The user's own folders, by the base directory convention. Looked up; nothing is made.
namespace tarvel {

/// $HOME, else what the password database says. Empty when neither knows.
[[nodiscard]] std::string userHomeFolder();
/// $XDG_CONFIG_HOME, else ~/.config. Empty without a home.
[[nodiscard]] std::string userSettingsFolder();
/// $XDG_RUNTIME_DIR, as it is; else /run/user/UID, where that is private. Empty without either.
[[nodiscard]] std::string userRuntimeFolder();
/// The folder in `folders` that has the user's number for a name, where it is private; else empty.
[[nodiscard]] std::string runtimeFolderIn(const std::string& folders);
/// `path`, if it is a folder, and no link to one, of this process's user that nobody else has any right to; else empty.
[[nodiscard]] std::string privateFolderAt(const std::string& path);
/// The variable's value if it is an absolute path, as the convention wants; else empty.
[[nodiscard]] std::string folderFromEnvironment(const char* variable);

}  // namespace tarvel
