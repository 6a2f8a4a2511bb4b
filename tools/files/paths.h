#pragma once

#include <string>

namespace tarvel {

/// A path the engine can use: absolute, since it looks beside the file and makes folders above it. Empty stays empty,
/// and a leading tilde is left to the engine.
[[nodiscard]] std::string absolutePath(const std::string& path);

/// Whether two absolute paths lead to one file, be it there or yet to be made: by another spelling, a link, or another
/// name of it.
[[nodiscard]] bool isSameFile(const std::string& first, const std::string& second);

/// Where an absolute path leads once every link on the way is followed, be the file there or not. The path itself when
/// that cannot be told.
[[nodiscard]] std::string destinationOf(const std::string& path);

}  // namespace tarvel
