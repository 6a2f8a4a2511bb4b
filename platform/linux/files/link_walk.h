#pragma once

#include <optional>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// Where the symbolic link `name` in an open folder leads. None with errno set: EINVAL for anything but a link, ENOENT
/// where nothing is, EACCES for a link not to be followed.
///
/// As the kernel does with fs.protected_symlinks, and whether or not that is set: in a sticky folder where anyone may
/// write, a link is followed only if it belongs to this user or to the folder's owner. A program that follows links
/// itself bypasses the kernel's own check.
[[nodiscard]] std::optional<std::string> targetOfTrustedLink(int folder, const std::string& name);

}  // namespace tarvel
