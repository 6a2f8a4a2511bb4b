#pragma once

#include <dirent.h>

#include <memory>

// Internal to platform/linux.
namespace tarvel {

struct FolderCloser {
  void operator()(DIR* folder) const { (void)::closedir(folder); }
};

/// A folder whose entries are being read; null when it could not be opened.
using OpenFolder = std::unique_ptr<DIR, FolderCloser>;

}  // namespace tarvel
