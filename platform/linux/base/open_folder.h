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

/// A folder whose entries are being read; null when it could not be opened.
using OpenFolder = std::unique_ptr<DIR, FolderCloser>;

/// Every name in an open folder; none when it cannot be read.
[[nodiscard]] std::vector<std::string> entriesOf(int folder);

}  // namespace tarvel
