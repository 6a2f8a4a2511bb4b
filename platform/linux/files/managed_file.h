#pragma once

#include <string>
#include <string_view>

#include "platform/file_manager.h"

// Small files that this program writes into shared folders of the service manager and the desktop. Internal to
// platform/linux.
namespace tarvel {

/// The first line of each file that is ours; a comment in unit and desktop files alike.
inline constexpr std::string_view kManagedMark =
    "# Made by “tarvel agent enable”; “tarvel agent disable” removes it.\n";

enum class Ownership { kAbsent, kOurs, kForeign };

/// Whether the file is ours. Anything unreadable or not a regular file is foreign.
[[nodiscard]] Ownership ownershipOf(const std::string& path);

/// Atomically writes the mark and the text to a file that is ours or missing; creates missing folders.
[[nodiscard]] FileStatus writeManagedFile(const std::string& path, std::string_view text);

/// Removes the file if it is ours. Success if there was none.
[[nodiscard]] FileStatus removeManagedFile(const std::string& path);

}  // namespace tarvel
