#pragma once

#include <cstdint>
#include <string>

// For file systems that do not tell what other machines change. Internal to platform/linux.
namespace tarvel {

/// Whether the folder lies on a network or in another process's keeping.
[[nodiscard]] bool isOnRemoteFileSystem(const std::string& folder);

/// A number that changes when an entry comes, goes, or changes its size or date. Links answer for what they lead to.
[[nodiscard]] std::uint64_t folderSignature(const std::string& folder);

}  // namespace tarvel
