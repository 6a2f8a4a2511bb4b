#include "platform/linux/files/file_place.h"

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/linux/files/link_walk.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

UniqueFd openFolder(int base, const std::string& path) {
  // A folder that can be entered but not listed works too; only its entries cannot be fsynced.
  UniqueFd readable(::openat(base, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (readable || errno != EACCES) return readable;
  return UniqueFd(::openat(base, path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

FilePlace placeFrom(int base, const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return {};
  }
  if (name.empty() || name == "." || name == "..") {
    errno = path.empty() ? ENOENT : EISDIR;
    return {};
  }
  return {openFolder(base, folder), std::move(name)};
}

}  // namespace

FilePlace placeOf(const std::string& path) { return placeFrom(AT_FDCWD, path); }

FilePlace followLinks(const std::string& path) {
  FilePlace place = placeOf(path);
  for (int i = 0; place.folder && i < kMostLinks; ++i) {
    const std::optional<std::string> target = targetOfTrustedLink(place.folder.get(), place.name);
    if (!target) {
      const bool isNoLink = errno == EINVAL || errno == ENOENT;
      return isNoLink ? std::move(place) : FilePlace{};
    }
    place = placeFrom(place.folder.get(), *target);
  }
  if (place.folder) errno = ELOOP;
  return {};
}

std::string pathInFolder(int folder, const std::string& name) {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), error);
  return (path / name).string();
}

}  // namespace tarvel
