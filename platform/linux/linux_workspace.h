#pragma once

#include "platform/workspace.h"

namespace tarvel {

/// File managers here watch folders themselves: an announcement has nobody to go to.
class LinuxWorkspace final : public Workspace {
 public:
  void noteFileSystemChanged(const std::string& /*path*/) override {}
};

}  // namespace tarvel
