#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace tarvel {

/// The bytes of a file; empty if it cannot be read. In one piece: byte by byte takes most of a test's time.
inline std::string contentsOf(const std::filesystem::path& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return std::move(contents).str();
}

}  // namespace tarvel
