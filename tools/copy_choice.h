#pragma once

#include <string>

#include "engine/tarvel.h"
#include "tools/dated_copies.h"

namespace tarvel {

/// The copy that a user means, or why that cannot be told.
struct CopyChoice {
  std::string path;
  TarvelError code = TarvelErrorNone;
  /// A sentence or more, empty when there is a path.
  std::string complaint;
};

/// `given` is a path, or the name or a part of the name that only one of the copies has, the initial backup at the full
/// path `firstCopy` included. A whole name comes before a path, and a path before a part of a name.
[[nodiscard]] CopyChoice chooseCopy(const Platform& platform, const DatedCopies& copies, const std::string& firstCopy,
                                    const std::string& given);

}  // namespace tarvel
