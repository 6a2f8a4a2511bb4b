#pragma once

#include <cstdint>
#include <optional>

// Internal to platform/linux.
namespace tarvel {

/// What the user's processes use of the kernel's file events.
struct InotifyUse {
  std::uint64_t instances = 0;
  std::uint64_t watches = 0;
};

/// Counted over all processes that this one may look into. None without /proc.
[[nodiscard]] std::optional<InotifyUse> inotifyUse();

}  // namespace tarvel
