#include "tools/files/paths.h"

#include <filesystem>
#include <system_error>

namespace tarvel {

bool isSameFile(const std::string& first, const std::string& second) {
  std::error_code error;
  if (first == second || std::filesystem::equivalent(first, second, error)) return true;
  const std::filesystem::path one = std::filesystem::weakly_canonical(first, error);
  if (error) return false;
  const std::filesystem::path other = std::filesystem::weakly_canonical(second, error);
  return !error && one == other;
}

std::string destinationOf(const std::string& path) {
  std::error_code error;
  const std::filesystem::path destination = std::filesystem::weakly_canonical(path, error);
  return error ? path : destination.string();
}

std::string absolutePath(const std::string& path) {
  if (path.empty() || path.front() == '~') return path;
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.string();
}

}  // namespace tarvel
