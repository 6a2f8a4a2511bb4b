#include "platform/linux/watch/folder_polling.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/linux/base/open_folder.h"

namespace tarvel {

namespace {

/// Types of network file systems. Numbers that <linux/magic.h> lacks are from the kernel's sources.
constexpr std::array<std::uint32_t, 12> kRemote = {
    NFS_SUPER_MAGIC, SMB_SUPER_MAGIC, FUSE_SUPER_MAGIC, V9FS_MAGIC,
    AFS_SUPER_MAGIC, AFS_FS_MAGIC,    CODA_SUPER_MAGIC, NCP_SUPER_MAGIC,
    0xFF534D42,  // cifs
    0xFE534D42,  // smb2
    0x00C36400,  // ceph
    0x01161970,  // gfs2
};

/// FNV-1a: only accidental collisions matter.
std::uint64_t mixed(std::uint64_t hash, const void* bytes, std::size_t size) {
  const auto* at = static_cast<const unsigned char*>(bytes);
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ at[i]) * 1099511628211ULL;
  return hash;
}

}  // namespace

std::optional<bool> isOnRemoteFileSystem(const std::string& folder) {
  struct statfs status {};
  if (::statfs(folder.c_str(), &status) != 0) return std::nullopt;
  const auto type = static_cast<std::uint32_t>(status.f_type);
  return std::ranges::find(kRemote, type) != kRemote.end();
}

std::uint64_t folderSignature(const std::string& folder) {
  const OpenFolder entries(::opendir(folder.c_str()));
  if (!entries) return 0;
  std::uint64_t sum = 1;
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::uint64_t hash = mixed(14695981039346656037ULL, name.data(), name.size());
    struct stat status {};
    if (::stat((folder + "/" + std::string(name)).c_str(), &status) == 0) {
      hash = mixed(hash, &status.st_size, sizeof status.st_size);
      hash = mixed(hash, &status.st_mtim.tv_sec, sizeof status.st_mtim.tv_sec);
      hash = mixed(hash, &status.st_mtim.tv_nsec, sizeof status.st_mtim.tv_nsec);
    }
    // A sum, as entries come in any order.
    sum += hash;
  }
  return sum;
}

}  // namespace tarvel
