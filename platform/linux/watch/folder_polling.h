#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Polling, for file systems that do not report changes by other machines. Internal to platform/linux.
namespace tarvel {

/// Whether the folder is on a network or FUSE file system. None if it does not answer.
[[nodiscard]] std::optional<bool> isOnRemoteFileSystem(const std::string& folder);

/// A hash that changes when an entry is added, removed, or changes in size or mtime. Links are followed.
[[nodiscard]] std::uint64_t folderSignature(const std::string& folder);

}  // namespace tarvel
