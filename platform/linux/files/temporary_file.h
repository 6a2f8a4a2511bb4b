#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// Mode of unfinished files.
inline constexpr mode_t kPrivate = 0600;

/// A new file without a name (O_TMPFILE), or with a hidden random name where that is unsupported. Removed at the end
/// unless it was given its final name.
class TemporaryFile {
 public:
  /// `mode` is subject to the umask. On failure tests false with errno set.
  TemporaryFile(int folder, mode_t mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int fd() const { return fd_.get(); }

  /// Renames the file to `name`, replacing any existing file. False with errno set on failure.
  [[nodiscard]] bool replace(const std::string& name);
  /// Exchanges the file with the one named `name`, which is then named `displaced` and becomes the caller's. False with
  /// errno set; EINVAL or ENOSYS: unsupported.
  [[nodiscard]] bool exchange(const std::string& name, const std::string& displaced);
  /// Gives the file a name that must be free, else EEXIST. An unnamed file gets its name directly.
  [[nodiscard]] bool linkNoReplace(const std::string& name);

 private:
  [[nodiscard]] bool giveName(const std::string& name);
  [[nodiscard]] bool nameTemporarily(std::string name);
  [[nodiscard]] bool hasTemporaryName() const;
  void createNamed(mode_t mode);

  int folder_;
  UniqueFd fd_;
  std::string temporaryName_;
};

/// Sixteen random hexadecimal digits; empty with errno set on failure.
[[nodiscard]] std::string randomDigits();
/// Whether `name` is a temporary file's.
[[nodiscard]] bool isTemporaryName(std::string_view name);

}  // namespace tarvel
