#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// Mode of unfinished files.
inline constexpr mode_t kPrivate = 0600;

/// A new file in a folder that has no name yet, or (where the file system cannot do that) a hidden random one. It is
/// removed at the end unless it was given a lasting name.
class TemporaryFile {
 public:
  /// `mode` is subject to the user's umask. On failure the file tests false and errno says why.
  TemporaryFile(int folder, mode_t mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int fd() const { return fd_.get(); }

  /// Renames the file to `name`, replacing what has that name. On failure errno says why.
  [[nodiscard]] bool replace(const std::string& name);
  /// Exchanges the file with what has the name `name`, which then has the name `displaced` and is the caller's. On
  /// failure errno says why; EINVAL or ENOSYS: not on this file system.
  [[nodiscard]] bool exchange(const std::string& name, const std::string& displaced);
  /// Gives the file a name that must be free: EEXIST otherwise. A file without a name gets this one and no other.
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

/// Sixteen hexadecimal digits; empty, with errno set, when the kernel gives no random number.
[[nodiscard]] std::string randomDigits();
/// Whether a name is that of a temporary file.
[[nodiscard]] bool isTemporaryName(std::string_view name);

}  // namespace tarvel
