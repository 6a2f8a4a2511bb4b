#pragma once

namespace tarvel {

/// Tarvel's folder in the user's data folder.
inline constexpr const char* kSupportFolderName = "Tarvel";
/// The initial backup of the file that the agent sorts, in that folder.
inline constexpr const char* kBackupName = "Bookmarks (Initial Copy).plist";

}  // namespace tarvel
