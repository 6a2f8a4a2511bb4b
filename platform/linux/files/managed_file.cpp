#include "platform/linux/files/managed_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/file_reading.h"
#include "platform/linux/files/private_folders.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

/// As other unit and desktop files.
constexpr mode_t kReadable = 0644;

bool beginsWithMark(int fd) {
  std::string start(kManagedMark.size(), '\0');
  const auto size = ::pread(fd, start.data(), start.size(), 0);
  return size == static_cast<ssize_t>(kManagedMark.size()) && start == kManagedMark;
}

}  // namespace

Ownership ownershipOf(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return errno == ENOENT ? Ownership::kAbsent : Ownership::kForeign;
  if (!S_ISREG(status.st_mode)) return Ownership::kForeign;
  const UniqueFd fd = openRegular(path, status);
  return fd && beginsWithMark(fd.get()) ? Ownership::kOurs : Ownership::kForeign;
}

FileStatus writeManagedFile(const std::string& path, std::string_view text) {
  FileStatus made = makePrivateFolder(std::filesystem::path(path).parent_path().string());
  if (!made.ok()) return made;
  const FilePlace place = placeOf(path);
  if (!place.folder) return fileFailure(path);
  TemporaryFile file(place.folder.get(), kReadable);
  const Data mark = Data::copyOf(kManagedMark);
  const Data rest = Data::copyOf(text);
  const bool isWritten = file && writePieces(file.fd(), {{mark.bytes(), rest.bytes()}, {}}) &&
                         ::fsync(file.fd()) == 0 && file.replace(place.name);
  if (!isWritten) return fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

FileStatus removeManagedFile(const std::string& path) {
  if (ownershipOf(path) != Ownership::kOurs) return {};
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? FileStatus() : fileFailure(path);
}

}  // namespace tarvel
