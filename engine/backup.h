#pragma once

#include <string>

#include "platform/file_manager.h"
#include "platform/system_log.h"

namespace tarvel {

/// Replaces the item at `targetPath` by the item at `replacementPath`, which no longer exists there afterwards. False
/// on failure. A replacement that fails halfway is undone; if that fails too, a line is logged.
[[nodiscard]] bool replaceItemAtPathWithItemAtPath(FileManager& fileManager, SystemLog& systemLog,
                                                   const std::string& targetPath, const std::string& replacementPath);

}  // namespace tarvel
