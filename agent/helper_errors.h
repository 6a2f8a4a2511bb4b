#pragma once

#include <cstdint>

namespace tarvel {

// Codes of the agent, in addition to those of TarvelError.

/// The bookmarks folder could not be watched at launch.
inline constexpr std::int32_t kHelperErrorWatchingFailed = 101;
/// An update of the main application was found.
inline constexpr std::int32_t kHelperErrorUpdateFound = 103;

}  // namespace tarvel
