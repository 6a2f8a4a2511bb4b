#include "platform/linux/linked_files.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "platform/linux/open_folder.h"

namespace tarvel {

namespace {

constexpr int kMostLinks = 64;
constexpr int kMostEntries = 10'000;
constexpr int kMostHops = 40;

/// Follows one link to its end.
void follow(std::filesystem::path folder, std::filesystem::path name, LinkedNames& names) {
  std::error_code error;
  for (int hop = 0; hop < kMostHops; ++hop) {
    const std::filesystem::path target = std::filesystem::read_symlink(folder / name, error);
    if (error) return;
    const std::filesystem::path next = folder / target;
    folder = std::filesystem::canonical(next.parent_path(), error);
    name = next.filename();
    if (error || name.empty() || name == "." || name == "..") return;
    names[folder.string()].insert(name.string());
  }
}

}  // namespace

bool isLink(const std::string& folder, const std::string& name) {
  struct stat status {};
  return ::lstat((folder + "/" + name).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

LinkedNames linkedNames(const std::string& folder) {
  LinkedNames names;
  const OpenFolder entries(::opendir(folder.c_str()));
  if (!entries) return names;
  int links = 0;
  for (int i = 0; i < kMostEntries && links < kMostLinks; ++i) {
    const dirent* entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    // Some file systems do not say what an entry is.
    const bool mayBeLink = entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
    if (!mayBeLink || !isLink(folder, entry->d_name)) continue;
    ++links;
    follow(folder, entry->d_name, names);
  }
  return names;
}

}  // namespace tarvel
