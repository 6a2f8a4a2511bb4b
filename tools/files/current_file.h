#pragma once

#include <string>

#include "engine/tarvel.h"
#include "platform/platform.h"

namespace tarvel {

/// A bookmarks file as it stands, whole: nobody wrote to it while it was read.
struct CurrentFile {
  /// Not found (1), not readable (5), or changing for as long as it was looked at (8).
  TarvelError code = TarvelErrorNone;
  FileReading reading;
};

/// Reads it, again when it changed meanwhile, ten times at most with 0.3 seconds in between.
[[nodiscard]] CurrentFile readCurrentFile(const Platform& platform, const std::string& path);

}  // namespace tarvel
