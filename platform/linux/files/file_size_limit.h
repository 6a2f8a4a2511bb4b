#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/file_manager.h"

namespace tarvel {

/// Where a user sets how large a file may be that is read whole: a number of bytes, or of KiB, MiB or GiB with K, M or
/// G behind it. Anything else is as if it were not set.
inline constexpr const char* kFileSizeLimitVariable = "TARVEL_MAX_FILE_SIZE";

/// Some 1.7 million bookmarks.
inline constexpr std::size_t kDefaultFileSizeLimit = std::size_t{512} << 20;

/// The limit in bytes, as the environment sets it, else the default.
[[nodiscard]] std::size_t fileSizeLimit();

/// The limit that `text` sets; the default for what is no size.
[[nodiscard]] std::size_t fileSizeLimitFrom(std::string_view text);

/// The failure of reading a file of more than `most` bytes, with what to do.
[[nodiscard]] FileStatus fileTooLarge(std::size_t most, const std::string& path);

/// Bytes for people: "512 MiB", or plain bytes for what is no whole number of a larger unit.
[[nodiscard]] std::string fileSizeText(std::size_t bytes);

}  // namespace tarvel
