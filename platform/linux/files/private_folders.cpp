#include "platform/linux/files/private_folders.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/path_components.h"

namespace tarvel {

FileStatus makePrivateFolder(const std::string& path) {
  constexpr mode_t kPrivateFolder = 0700;
  if (path.empty() || path.find('\0') != std::string::npos) return fileFailure(path.empty() ? ENOENT : EINVAL, path);
  std::vector<std::string> missing;
  struct stat status {};
  // Without trailing slashes, so that the last component has a name.
  const std::string whole = path.substr(0, std::max<std::size_t>(path.find_last_not_of('/') + 1, 1));
  for (std::string folder = whole; ::stat(folder.c_str(), &status) != 0; folder = deletingLastPathComponent(folder)) {
    if (errno != ENOENT) return fileFailure(path);
    missing.push_back(folder);
    if (deletingLastPathComponent(folder).empty()) break;
  }
  if (missing.empty() && !S_ISDIR(status.st_mode)) return fileFailure(EEXIST, path);
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    // Another process may have created it meanwhile.
    if (::mkdir(folder->c_str(), kPrivateFolder) != 0 && errno != EEXIST) return fileFailure(path);
    const FilePlace made = placeOf(*folder);
    if (made.folder) syncFolder(made.folder.get());
  }
  if (::stat(path.c_str(), &status) != 0) return fileFailure(path);
  return S_ISDIR(status.st_mode) ? FileStatus{} : fileFailure(EEXIST, path);
}

}  // namespace tarvel
