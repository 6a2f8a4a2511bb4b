#pragma once

#include <string>

namespace tarvel {

/// An absolute path. Empty stays empty, and a leading tilde is left to the engine.
[[nodiscard]] std::string absolutePath(const std::string& path);

/// Whether two absolute paths lead to one file, existing or not: by another spelling, a symbolic link or a hard link.
[[nodiscard]] bool isSameFile(const std::string& first, const std::string& second);

/// The path with every symbolic link resolved; the file need not exist. The path itself when that fails.
[[nodiscard]] std::string destinationOf(const std::string& path);

}  // namespace tarvel
