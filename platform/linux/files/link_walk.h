#pragma once

#include <optional>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// The target of the symbolic link `name` in an open folder. None with errno set: EINVAL if it is not a link, ENOENT if
/// it does not exist, EACCES if it must not be followed.
///
/// Applies the kernel's fs.protected_symlinks rule whether or not that is enabled: in a sticky, world-writable folder,
/// a link is followed only if it belongs to this user or to the folder's owner. A program that resolves links itself
/// bypasses the kernel's check.
[[nodiscard]] std::optional<std::string> targetOfTrustedLink(int folder, const std::string& name);

}  // namespace tarvel
