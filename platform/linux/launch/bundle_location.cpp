#include "platform/linux/launch/bundle_location.h"

#include <filesystem>
#include <system_error>

#include "platform/path_components.h"

namespace tarvel {

namespace {

/// Empty on failure.
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

std::string helperBundlePathSeenFrom(std::string_view executable) {
  const std::filesystem::path prefix = deletingLastPathComponent(deletingLastPathComponent(executable));
  if (prefix.empty()) return {};
  const std::string around = nearestBundleAbove(executable);
  const std::filesystem::path application = around.empty() ? prefix / "Tarvel.app" : std::filesystem::path(around);
  // If the library folder is configured as absolute, the prefix is ignored.
  for (const auto& candidate : {prefix / TARVEL_LIBRARY_FOLDER / "tarvel/Tarvel.app", application}) {
    std::error_code error;
    const std::filesystem::path bundle = candidate / "Contents/Library/TarvelHelper.app";
    if (std::filesystem::is_directory(bundle, error)) return bundle.string();
  }
  return {};
}

std::string helperBundlePathForCommand() { return helperBundlePathSeenFrom(executablePath()); }

}  // namespace tarvel
