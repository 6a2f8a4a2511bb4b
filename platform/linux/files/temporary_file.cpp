#include "platform/linux/files/temporary_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace tarvel {

namespace {

constexpr std::string_view kTemporaryPrefix = ".tarvel-";
constexpr std::size_t kRandomDigits = 16;

}  // namespace

std::string randomDigits() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) return {};
  std::array<char, kRandomDigits + 1> digits{};
  (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return digits.data();
}

bool isTemporaryName(std::string_view name) {
  return name.size() == kTemporaryPrefix.size() + kRandomDigits && name.starts_with(kTemporaryPrefix) &&
         name.find_first_not_of("0123456789abcdef", kTemporaryPrefix.size()) == std::string_view::npos;
}

TemporaryFile::TemporaryFile(int folder, mode_t mode) : folder_(folder) {
  const bool canBeNamedLater = ::access("/proc/self/fd", X_OK) == 0;
  if (canBeNamedLater) fd_ = UniqueFd(::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  const bool isUnsupported = !canBeNamedLater || errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT;
  if (!fd_ && isUnsupported) createNamed(mode);
  // Locked while unfinished: an unlocked temporary file is stale.
  if (fd_) (void)::flock(fd_.get(), LOCK_EX | LOCK_NB);
}

void TemporaryFile::createNamed(mode_t mode) {
  const std::string digits = randomDigits();
  if (digits.empty()) return;
  temporaryName_ = std::string(kTemporaryPrefix) + digits;
  fd_ = UniqueFd(::openat(folder_, temporaryName_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!fd_) temporaryName_.clear();
}

TemporaryFile::~TemporaryFile() {
  if (hasTemporaryName()) (void)::unlinkat(folder_, temporaryName_.c_str(), 0);
}

/// The file is open, so its inode number cannot be reused.
bool TemporaryFile::hasTemporaryName() const {
  struct stat named {};
  struct stat own {};
  return !temporaryName_.empty() && ::fstatat(folder_, temporaryName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::fstat(fd_.get(), &own) == 0 && named.st_ino == own.st_ino && named.st_dev == own.st_dev;
}

bool TemporaryFile::giveName(const std::string& name) {
  const std::string self = "/proc/self/fd/" + std::to_string(fd_.get());
  return ::linkat(AT_FDCWD, self.c_str(), folder_, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool TemporaryFile::nameTemporarily(std::string name) {
  const bool isNamed =
      temporaryName_.empty() ? giveName(name) : ::renameat(folder_, temporaryName_.c_str(), folder_, name.c_str()) == 0;
  if (isNamed) temporaryName_ = std::move(name);
  return isNamed;
}

bool TemporaryFile::replace(const std::string& name) {
  if (temporaryName_.empty()) {
    const std::string digits = randomDigits();
    if (digits.empty() || !nameTemporarily(std::string(kTemporaryPrefix) + digits)) return false;
  }
  if (::renameat(folder_, temporaryName_.c_str(), folder_, name.c_str()) != 0) return false;
  temporaryName_.clear();
  return true;
}

bool TemporaryFile::exchange(const std::string& name, const std::string& displaced) {
  if (!nameTemporarily(displaced)) return false;
  if (::renameat2(folder_, displaced.c_str(), folder_, name.c_str(), RENAME_EXCHANGE) != 0) return false;
  temporaryName_.clear();
  return true;
}

bool TemporaryFile::linkNoReplace(const std::string& name) {
  if (temporaryName_.empty()) return giveName(name);
  const bool isNamed = ::renameat2(folder_, temporaryName_.c_str(), folder_, name.c_str(), RENAME_NOREPLACE) == 0;
  if (isNamed) temporaryName_.clear();
  if (isNamed || (errno != EINVAL && errno != ENOSYS)) return isNamed;
  // Without RENAME_NOREPLACE: a hard link, which never replaces either. Without hard links, check first, then rename.
  if (::linkat(folder_, temporaryName_.c_str(), folder_, name.c_str(), 0) == 0) return true;
  struct stat existing {};
  const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP;
  if (!hasNoLinks || ::fstatat(folder_, name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) return false;
  return replace(name);
}

}  // namespace tarvel
