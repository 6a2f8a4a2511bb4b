#pragma once

#include "platform/platform.h"

namespace tarvel {

/// `base` with another file manager.
[[nodiscard]] inline Platform withFiles(const Platform& base, FileManager& files) {
  return {base.propertyLists, files,       base.collator,  base.uuidSource,
          base.systemLog,     base.bundle, base.workspace, base.clock};
}

}  // namespace tarvel
