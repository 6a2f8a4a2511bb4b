#pragma once

#include <cstddef>
#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The mounts this process sees. Its descriptor reports EPOLLPRI when they change.
class MountTable {
 public:
  /// Tests false where there is no such table.
  MountTable();

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int descriptor() const { return fd_.get(); }

  /// How many mounts lie on the path or above it. `path` has no links in it.
  [[nodiscard]] std::size_t countAbove(const std::string& path) const;

 private:
  UniqueFd fd_;
};

/// What the system calls the kind of file system that holds `path`, which has no links in it: "ext4", "fuse.sshfs".
/// Empty where there is no such table.
[[nodiscard]] std::string fileSystemNameOf(const std::string& path);

}  // namespace tarvel
