#pragma once

#include <string>

namespace tarvel {

/// The desktop around the program.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Announces that a folder's contents changed, to whoever shows them.
  virtual void noteFileSystemChanged(const std::string& path) = 0;
};

}  // namespace tarvel
