#pragma once

#include <cstddef>
#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The mounts that this process sees. The descriptor reports EPOLLPRI when they change.
class MountTable {
 public:
  /// Tests false without /proc/self/mountinfo.
  MountTable();

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int descriptor() const { return fd_.get(); }

  /// The number of mounts at or above `path`, which must not contain links.
  [[nodiscard]] std::size_t countAbove(const std::string& path) const;

 private:
  UniqueFd fd_;
};

/// The kernel's name for the type of the file system that holds `path` (without links): "ext4", "fuse.sshfs". Empty
/// when unknown.
[[nodiscard]] std::string fileSystemNameOf(const std::string& path);

}  // namespace tarvel
