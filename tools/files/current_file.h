#pragma once

#include <string>

#include "engine/tarvel.h"
#include "platform/platform.h"

namespace tarvel {

/// A bookmarks file, read while no other program wrote to it.
struct CurrentFile {
  /// Not found (1), not readable (5), or changed during every attempt to read it (8).
  TarvelError code = TarvelErrorNone;
  FileReading reading;
};

/// Reads the file, and again when it changed meanwhile, see retry().
[[nodiscard]] CurrentFile readCurrentFile(const Platform& platform, const std::string& path);

}  // namespace tarvel
