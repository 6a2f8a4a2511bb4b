#pragma once

#include <string>

// The user's folders, by the XDG base directory convention. Looked up, never created. A relative path in a variable
// counts as unset, as the convention asks.
namespace tarvel {

/// $HOME, else the password database. Empty when neither has one.
[[nodiscard]] std::string userHomeFolder();
/// The home folder of a user in the password database; of this process's user for an empty name. Empty when unknown.
[[nodiscard]] std::string homeFolderOf(const std::string& user);
/// $XDG_CONFIG_HOME, else ~/.config. Empty without a home.
[[nodiscard]] std::string userSettingsFolder();
/// $XDG_DATA_HOME, else ~/.local/share. Empty without a home.
[[nodiscard]] std::string userDataFolder();
/// $XDG_CACHE_HOME, else ~/.cache. Empty without a home.
[[nodiscard]] std::string userCacheFolder();
/// $XDG_RUNTIME_DIR, else /run/user/UID if that is private. Empty without either.
[[nodiscard]] std::string userRuntimeFolder();
/// The folder in `folders` that is named after the user's number, if it is private; else empty.
[[nodiscard]] std::string runtimeFolderIn(const std::string& folders);
/// `path`, if it is a folder (not a link) that belongs to this process's user and has mode 0700; else empty.
[[nodiscard]] std::string privateFolderAt(const std::string& path);
/// The variable's value if it is an absolute path; else empty.
[[nodiscard]] std::string folderFromEnvironment(const char* variable);

}  // namespace tarvel
