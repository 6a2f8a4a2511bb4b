#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/file_manager.h"

namespace tarvel {

/// Environment variable with the maximum size of a file that is read whole: a number of bytes, or of KiB, MiB or GiB
/// with the suffix K, M or G. Invalid values count as unset.
inline constexpr const char* kFileSizeLimitVariable = "TARVEL_MAX_FILE_SIZE";

/// About 1.7 million bookmarks.
inline constexpr std::size_t kDefaultFileSizeLimit = std::size_t{512} << 20;

/// The limit in bytes, from the environment, else the default.
[[nodiscard]] std::size_t fileSizeLimit();

/// The limit in `text`; the default if it is invalid.
[[nodiscard]] std::size_t fileSizeLimitFrom(std::string_view text);

/// The failure for a file of more than `most` bytes, with the remedy.
[[nodiscard]] FileStatus fileTooLarge(std::size_t most, const std::string& path);

/// For messages: "512 MiB"; plain bytes if it is not a multiple of a larger unit.
[[nodiscard]] std::string fileSizeText(std::size_t bytes);

}  // namespace tarvel
