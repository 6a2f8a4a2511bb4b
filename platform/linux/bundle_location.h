#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// The nearest folder above `file`, an absolute path, whose name ends in ".app". Empty when there is none.
[[nodiscard]] std::string nearestBundleAbove(std::string_view file);

/// The bundle that holds this program, links on the way to it resolved. Empty for a program in no bundle.
[[nodiscard]] std::string bundlePathOfExecutable();

/// The agent's bundle as seen from the command, which stands outside: in the library folder of the prefix whose bin
/// holds the command, or beside the command's folder in a build tree. Empty when there is none.
[[nodiscard]] std::string helperBundlePathForCommand();

}  // namespace tarvel
