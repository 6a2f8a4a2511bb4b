#include "platform/linux/path_walk.h"

#include <sys/stat.h>

#include <cerrno>
#include <deque>
#include <filesystem>
#include <system_error>

namespace tarvel {

namespace {

/// As many as the kernel follows itself.
constexpr int kMostLinks = 40;

void prepend(std::deque<std::string>& components, const std::filesystem::path& path) {
  std::deque<std::string> front;
  for (const auto& component : path) {
    if (const std::string name = component.string(); name != "/" && !name.empty() && name != ".") front.push_back(name);
  }
  components.insert(components.begin(), front.begin(), front.end());
}

std::string parentOf(const std::string& folder) {
  const std::size_t slash = folder.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : folder.substr(0, slash);
}

std::string joined(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

void endAt(PathWalk& walk, const std::string& folder, const std::string& name) {
  walk.deepestFolder = folder;
  walk.missingName = name;
}

}  // namespace

PathWalk walkToFolder(const std::string& path) {
  PathWalk walk;
  std::error_code error;
  std::deque<std::string> components;
  prepend(components, std::filesystem::absolute(path, error));
  std::string current = "/";
  struct stat status {};
  while (!components.empty()) {
    const std::string name = components.front();
    components.pop_front();
    if (name == "..") {
      current = parentOf(current);
      continue;
    }
    const std::string next = joined(current, name);
    if (::lstat(next.c_str(), &status) != 0) {
      if (errno != ENOENT && errno != ENOTDIR) walk.code = errno;
      endAt(walk, current, name);
      return walk;
    }
    if (S_ISLNK(status.st_mode)) {
      const std::filesystem::path target = std::filesystem::read_symlink(next, error);
      walk.links.push_back(next);
      // Going round in circles, it leads nowhere until one of the links changes.
      if (error || walk.links.size() > kMostLinks) return endAt(walk, current, name), walk;
      if (target.is_absolute()) current = "/";
      prepend(components, target);
    } else if (!S_ISDIR(status.st_mode)) {
      return endAt(walk, current, name), walk;
    } else {
      current = next;
      walk.folders.push_back(current);
    }
  }
  if (::stat(current.c_str(), &status) != 0) {
    walk.code = errno;
    return walk;
  }
  walk.identity = FolderIdentity{status.st_dev, status.st_ino};
  walk.folder = current;
  return walk;
}

}  // namespace tarvel
