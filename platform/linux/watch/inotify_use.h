#pragma once

#include <cstdint>
#include <optional>

// Internal to platform/linux.
namespace tarvel {

/// The user's inotify instances and watches.
struct InotifyUse {
  std::uint64_t instances = 0;
  std::uint64_t watches = 0;
};

/// Counted over all processes that this one may inspect. None without /proc.
[[nodiscard]] std::optional<InotifyUse> inotifyUse();

}  // namespace tarvel
