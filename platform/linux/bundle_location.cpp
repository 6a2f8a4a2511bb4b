#include "platform/linux/bundle_location.h"

#include <filesystem>
#include <system_error>

#include "platform/path_components.h"

namespace tarvel {

namespace {

/// Empty where the system does not tell.
std::string executablePath() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : path.string();
}

}  // namespace

std::string nearestBundleAbove(std::string_view file) {
  std::string folder = deletingLastPathComponent(file);
  while (folder.size() > 1) {
    if (folder.ends_with(".app") && !folder.ends_with("/.app")) return folder;
    folder = deletingLastPathComponent(folder);
  }
  return {};
}

std::string bundlePathOfExecutable() { return nearestBundleAbove(executablePath()); }

std::string helperBundlePathForCommand() {
  const std::filesystem::path prefix = deletingLastPathComponent(deletingLastPathComponent(executablePath()));
  if (prefix.empty()) return {};
  // The library folder is absolute where the build was configured so, and then the prefix drops out.
  for (const std::filesystem::path& folder : {prefix / TARVEL_LIBRARY_FOLDER / "tarvel", prefix}) {
    std::error_code error;
    const std::filesystem::path bundle = folder / "Tarvel.app/Contents/Library/TarvelHelper.app";
    if (std::filesystem::is_directory(bundle, error)) return bundle.string();
  }
  return {};
}

}  // namespace tarvel
