#pragma once

#include <string>
#include <vector>

// What processes that ended too early have left in a folder. Internal to platform/linux.
namespace tarvel {

enum class FolderLock {
  kHeld,
  /// Another process kept it for two seconds.
  kBusy,
  /// Not on this file system, or not with this descriptor.
  kImpossible,
};

/// One process of ours at a time is at work in a folder; others wait here. Held until the descriptor is closed. What
/// lies there under our names while the lock is held belongs to no living process.
[[nodiscard]] FolderLock lockFolder(int folder);

/// Every name in the folder; none when it cannot be read.
[[nodiscard]] std::vector<std::string> entriesOf(int folder);

/// Under the lock: settles displaced files, undoes writes in place that were cut off, removes temporary files. Answers
/// 0, or an errno value when another program's save that came from the place `target` could not be put back.
int tidyFolder(int folder, const std::string& target);

/// Locks the folder and tidies it, where that is possible at once. For folders of which nothing is to be read.
void tidyIfFree(int folder);

}  // namespace tarvel
