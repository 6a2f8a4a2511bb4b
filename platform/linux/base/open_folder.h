#pragma once

#include <dirent.h>

#include <memory>
#include <string>
#include <vector>

// Internal to platform/linux.
namespace tarvel {

struct FolderCloser {
  void operator()(DIR* folder) const { (void)::closedir(folder); }
};

/// A folder being read; null if it could not be opened.
using OpenFolder = std::unique_ptr<DIR, FolderCloser>;

/// All names in an open folder; empty if it cannot be read.
[[nodiscard]] std::vector<std::string> entriesOf(int folder);

}  // namespace tarvel
