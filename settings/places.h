#pragma once

namespace tarvel {

/// Tarvel's folder in the user's data folder.
inline constexpr const char* kSupportFolderName = "Tarvel";
/// In it, the initial backup of the file that the agent sorts.
inline constexpr const char* kBackupName = "Bookmarks (Initial Copy).plist";

}  // namespace tarvel
