#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

// What a file has besides its bytes. Internal to platform/linux.
namespace tarvel {

/// Gives a file the extended attributes of another, access lists among them, and takes away what only it has: a folder
/// may give every new file a list. False when the two could not be made alike; what could be done is done then.
[[nodiscard]] bool matchAttributes(int from, int to);

/// Gives a copy its original's permissions, dates and attributes. Attributes that the copy's place cannot hold are left
/// behind, but without its access list it is open to nobody whom the list kept out. False with errno set when
/// permissions or dates could not be given.
[[nodiscard]] bool copyMetadata(int from, const struct stat& original, int to);

/// Records in a copy the path of the file it was copied from, as an extended attribute. Where the file system takes
/// none the copy stays without.
void recordSource(int copy, const std::string& source);
/// The recorded path. None without a record.
[[nodiscard]] std::optional<std::string> recordedSource(const std::string& path);

}  // namespace tarvel
