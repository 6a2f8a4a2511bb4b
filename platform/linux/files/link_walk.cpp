#include "platform/linux/files/link_walk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

namespace {

bool isTrusted(const struct stat& folder, const struct stat& link) {
  constexpr mode_t kSharedSticky = S_ISVTX | S_IWOTH;
  return (folder.st_mode & kSharedSticky) != kSharedSticky || link.st_uid == ::geteuid() ||
         link.st_uid == folder.st_uid;
}

}  // namespace

std::optional<std::string> targetOfTrustedLink(int folder, const std::string& name) {
  // Opens the link itself, so that owner and target are of the same link.
  const UniqueFd fd(::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat around {};
  struct stat link {};
  if (!fd || ::fstat(folder, &around) != 0 || ::fstat(fd.get(), &link) != 0) return std::nullopt;
  if (!S_ISLNK(link.st_mode) || !isTrusted(around, link)) {
    errno = S_ISLNK(link.st_mode) ? EACCES : EINVAL;
    return std::nullopt;
  }
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(fd.get(), "", target.data(), target.size());
  if (length < 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

}  // namespace tarvel
