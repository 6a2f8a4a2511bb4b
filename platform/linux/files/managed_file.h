#pragma once

#include <string>
#include <string_view>

#include "platform/file_manager.h"

// Small files in folders that belong to everybody: the user's service manager, the desktop. Internal to platform/linux.
namespace tarvel {

/// The first line of every file that is ours, a comment in units and desktop files alike.
inline constexpr std::string_view kManagedMark =
    "# Made by “tarvel agent enable”; “tarvel agent disable” removes it.\n";

enum class Ownership { kAbsent, kOurs, kForeign };

/// Whose file is there. What is no regular file, or cannot be read, is foreign.
[[nodiscard]] Ownership ownershipOf(const std::string& path);

/// Puts mark and text into a file that is ours or not there yet, and makes the folders above it. Whole or not at all.
[[nodiscard]] FileStatus writeManagedFile(const std::string& path, std::string_view text);

/// Removes the file if it is ours. Success, too, when there was nothing of ours to remove.
[[nodiscard]] FileStatus removeManagedFile(const std::string& path);

}  // namespace tarvel
