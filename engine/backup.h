#pragma once

#include <string>

#include "platform/file_manager.h"
#include "platform/system_log.h"

namespace tarvel {

/// The item at `replacementPath` takes the place of the item at `targetPath`; afterwards nothing is left at
/// `replacementPath`. False when that could not be done. Where the attempt ends half-way the old item is put back, and
/// a line is logged when even that fails.
[[nodiscard]] bool replaceItemAtPathWithItemAtPath(FileManager& fileManager, SystemLog& systemLog,
                                                   const std::string& targetPath, const std::string& replacementPath);

}  // namespace tarvel
