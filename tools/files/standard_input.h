#pragma once

#include "platform/file_manager.h"

namespace tarvel {

/// The name of standard input in messages, and its path where one is needed.
inline constexpr const char* kStandardInputName = "standard input";
inline constexpr const char* kStandardInputPath = "/dev/stdin";

/// Reads standard input to its end, in pieces, so that an endless one fails at the limit on the size of files.
[[nodiscard]] FileReading readStandardInput();

}  // namespace tarvel
