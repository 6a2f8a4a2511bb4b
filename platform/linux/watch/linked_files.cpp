#include "platform/linux/watch/linked_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/linux/base/open_folder.h"

namespace tarvel {

namespace {

constexpr std::size_t kMostLinkedFiles = 64;
constexpr int kMostEntries = 10'000;
constexpr int kMostHops = 40;

std::vector<std::string> namesOfLinks(const std::string& folder) {
  std::vector<std::string> names;
  const OpenFolder entries(::opendir(folder.c_str()));
  for (int i = 0; entries && i < kMostEntries; ++i) {
    const dirent* entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    // Some file systems do not report the type with the name.
    const bool mayBeLink = entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
    if (mayBeLink && isLink(folder, entry->d_name)) names.emplace_back(entry->d_name);
  }
  std::ranges::sort(names);
  names.resize(std::min(names.size(), kMostLinkedFiles));
  return names;
}

/// Follows a chain of links to its end.
void follow(const std::string& folder, const std::string& name, std::vector<LinkedFile>& files) {
  std::filesystem::path link = folder + "/" + name;
  for (int hop = 0; hop < kMostHops; ++hop) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(link, error);
    if (error) return;
    const std::filesystem::path next = link.parent_path() / target;
    LinkedFile file{{}, next.filename().string(), std::nullopt};
    // Such a target is a folder.
    if (file.name.empty() || file.name == "." || file.name == "..") return;
    file.walk = walkToFolder(next.parent_path().string());
    link = file.walk.folder + "/" + file.name;
    struct stat status {};
    const bool isThere = file.walk.identity && ::lstat(link.c_str(), &status) == 0;
    if (isThere) file.identity = FileIdentity{status.st_dev, status.st_ino};
    files.push_back(std::move(file));
    if (!isThere) return;
  }
}

}  // namespace

bool isLink(const std::string& folder, const std::string& name) {
  struct stat status {};
  return ::lstat((folder + "/" + name).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::vector<LinkedFile> linkedFiles(const std::string& folder) {
  std::vector<LinkedFile> files;
  for (const std::string& name : namesOfLinks(folder)) follow(folder, name, files);
  return files;
}

}  // namespace tarvel
