#pragma once

#include <string>

// Cleans up after interrupted processes of ours. Internal to platform/linux.
namespace tarvel {

/// Requires the directory lock: settles displaced files, rolls back interrupted in-place writes, removes temporary
/// files. Returns 0, or an errno value if another program's save of `target` could not be put back.
int tidyFolder(int folder, const std::string& target);

/// Tidies the folder if its lock is free. For folders from which nothing is read.
void tidyIfFree(int folder);

}  // namespace tarvel
