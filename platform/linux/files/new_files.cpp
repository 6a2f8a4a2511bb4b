// Creates new files and lists folders.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/base/open_folder.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/stale_files.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

bool isRegular(int folder, const dirent& entry) {
  // Not every file system reports the type with the name.
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_REG;
  struct stat status {};
  return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

DirectoryListing LinuxFileManager::filesInDirectoryAtPath(const std::string& path) {
  if (path.find('\0') != std::string::npos) return {{}, fileFailure(EINVAL, path)};
  const OpenFolder folder(::opendir(path.c_str()));
  if (!folder) return {{}, fileFailure(path)};
  tidyIfFree(::dirfd(folder.get()));
  DirectoryListing listing;
  errno = 0;
  while (const dirent* entry = ::readdir(folder.get())) {
    if (isRegular(::dirfd(folder.get()), *entry)) listing.fileNames.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) return {{}, fileFailure(path)};
  std::ranges::sort(listing.fileNames);
  return listing;
}

FileStatus LinuxFileManager::createFileAtPath(const DataPieces& data, const std::string& path) {
  const FilePlace place = placeOf(path);
  if (!place.folder) return fileFailure(path);
  struct stat existing {};
  // Fails early if the name is taken.
  if (::fstatat(place.folder.get(), place.name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) {
    return fileFailure(EEXIST, path);
  }
  tidyIfFree(place.folder.get());
  TemporaryFile file(place.folder.get(), kPrivate);
  if (!file) return fileFailure(path);
  const bool isMade = writePieces(file.fd(), data) && ::fsync(file.fd()) == 0 && file.linkNoReplace(place.name);
  if (!isMade) return fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

}  // namespace tarvel
