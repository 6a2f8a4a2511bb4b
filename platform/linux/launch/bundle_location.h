#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// The nearest folder above `file`, an absolute path, whose name ends in ".app". Empty when there is none.
[[nodiscard]] std::string nearestBundleAbove(std::string_view file);

/// The bundle that holds this program, links on the way to it resolved. Empty for a program in no bundle.
[[nodiscard]] std::string bundlePathOfExecutable();

/// The agent's bundle as seen from a program that stands elsewhere. From the main application's own it lies within the
/// same bundle; from the command in the library folder of the prefix whose bin holds the command, or, in a build tree,
/// beside the command's folder. Empty when there is none.
[[nodiscard]] std::string helperBundlePathSeenFrom(std::string_view executable);
/// As seen from this program.
[[nodiscard]] std::string helperBundlePathForCommand();

}  // namespace tarvel
