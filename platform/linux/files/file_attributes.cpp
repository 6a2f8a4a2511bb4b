#include "platform/linux/files/file_attributes.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace tarvel {

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
/// Holds the source path of a copy.
constexpr const char* kSource = "user.tarvel.copied-from";

/// None on error; empty on a file system without attributes.
std::optional<std::vector<std::string>> attributeNames(int fd) {
  std::vector<std::string> names;
  const ssize_t size = ::flistxattr(fd, nullptr, 0);
  if (size < 0) return errno == ENOTSUP ? std::optional(names) : std::nullopt;
  std::vector<char> list(static_cast<std::size_t>(size));
  const ssize_t listed = ::flistxattr(fd, list.data(), list.size());
  if (listed < 0) return std::nullopt;
  const char* end = list.data() + listed;
  for (const char* name = list.data(); name < end; name += std::strlen(name) + 1) names.emplace_back(name);
  return names;
}

std::optional<std::vector<char>> attribute(int fd, const char* name) {
  const ssize_t size = ::fgetxattr(fd, name, nullptr, 0);
  if (size < 0) return std::nullopt;
  std::vector<char> value(static_cast<std::size_t>(size));
  const ssize_t read = ::fgetxattr(fd, name, value.data(), value.size());
  if (read < 0) return std::nullopt;
  value.resize(static_cast<std::size_t>(read));
  return value;
}

/// Sets an attribute unless it already has this value: some are readable by all but settable by few.
bool giveAttribute(int from, int to, const char* name) {
  const auto value = attribute(from, name);
  if (!value) return false;
  return attribute(to, name) == value || ::fsetxattr(to, name, value->data(), value->size(), 0) == 0;
}

}  // namespace

bool matchAttributes(int from, int to) {
  const auto wanted = attributeNames(from);
  const auto present = attributeNames(to);
  if (!wanted || !present) return false;
  bool isAlike = true;
  for (const std::string& name : *present) {
    const bool isWanted = std::ranges::find(*wanted, name) != wanted->end();
    if (!isWanted && ::fremovexattr(to, name.c_str()) != 0) isAlike = false;
  }
  for (const std::string& name : *wanted) {
    if (!giveAttribute(from, to, name.c_str())) isAlike = false;
  }
  return isAlike;
}

void recordSource(int copy, const std::string& source) {
  (void)::fsetxattr(copy, kSource, source.data(), source.size(), 0);
}

std::optional<std::string> recordedSource(const std::string& path) {
  // No path is longer, so a longer value is not ours.
  std::array<char, PATH_MAX> value{};
  const ssize_t size = ::getxattr(path.c_str(), kSource, value.data(), value.size());
  if (size <= 0) return std::nullopt;
  return std::string(value.data(), static_cast<std::size_t>(size));
}

bool copyMetadata(int from, const struct stat& original, int to) {
  constexpr mode_t kPermissions = 0777;
  mode_t mode = original.st_mode & kPermissions;
  // With an ACL, the mode's group bits are the ACL's mask, not the group's permissions.
  if (!matchAttributes(from, to) && attribute(from, kAccessList) != attribute(to, kAccessList)) {
    mode &= ~static_cast<mode_t>(S_IRWXG);
  }
  const std::array<timespec, 2> dates = {original.st_atim, original.st_mtim};
  return ::fchmod(to, mode) == 0 && ::futimens(to, dates.data()) == 0;
}

}  // namespace tarvel
