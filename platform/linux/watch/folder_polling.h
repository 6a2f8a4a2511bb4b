#pragma once

#include <cstdint>
#include <optional>
#include <string>

// For file systems that do not tell what other machines change. Internal to platform/linux.
namespace tarvel {

/// Whether the folder is on a network file system, or one that another process provides. None when it does not answer.
[[nodiscard]] std::optional<bool> isOnRemoteFileSystem(const std::string& folder);

/// A number that changes when an entry comes, goes, or changes its size or date. Links answer for what they lead to.
[[nodiscard]] std::uint64_t folderSignature(const std::string& folder);

}  // namespace tarvel
