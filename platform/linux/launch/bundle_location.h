#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// The nearest parent folder of `file`, an absolute path, whose name ends in ".app". Empty if there is none.
[[nodiscard]] std::string nearestBundleAbove(std::string_view file);

/// The bundle that holds this program, links resolved. Empty for a program outside of any bundle.
[[nodiscard]] std::string bundlePathOfExecutable();

/// The agent's bundle, found from another program. From the main application: within its own bundle. From the command:
/// in the library folder of its prefix, or, in a build tree, beside the command's folder. Empty if there is none.
[[nodiscard]] std::string helperBundlePathSeenFrom(std::string_view executable);
/// From this program.
[[nodiscard]] std::string helperBundlePathForCommand();

}  // namespace tarvel
