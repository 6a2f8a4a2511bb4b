#pragma once

#include <string>

// Leftovers of our processes that ended too early. Internal to platform/linux.
namespace tarvel {

/// With the directory lock held: settles displaced files, rolls back interrupted writes in place, removes temporary
/// files. Answers 0, or an errno value when another program's save of the file `target` could not be put back.
int tidyFolder(int folder, const std::string& target);

/// Locks the folder and tidies it if the lock is free. For folders from which nothing is read.
void tidyIfFree(int folder);

}  // namespace tarvel
