#include "platform/linux/watch/path_walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <filesystem>
#include <system_error>

#include "platform/path_components.h"

namespace tarvel {

namespace {

void prepend(std::deque<std::string>& components, const std::filesystem::path& path) {
  std::deque<std::string> front;
  for (const auto& component : path) {
    if (const std::string name = component.string(); name != "/" && !name.empty() && name != ".") front.push_back(name);
  }
  components.insert(components.begin(), front.begin(), front.end());
}

std::string joined(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

void endAt(PathWalk& walk, const std::string& folder, const std::string& name) {
  walk.deepestFolder = folder;
  walk.missingName = name;
}

FileIdentity identityOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

/// A name that is too long cannot exist. In the given path that is permanent; in a link's target, until the link
/// changes.
bool isMissing(int code, const PathWalk& walk) {
  return code == ENOENT || code == ENOTDIR || (code == ENAMETOOLONG && !walk.links.empty());
}

}  // namespace

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

bool mayHeal(int code) {
  constexpr std::array kFinal = {0, EACCES, EPERM, ENAMETOOLONG, ENOSPC, ENOMEM, EMFILE, ENFILE, EOVERFLOW};
  return std::ranges::find(kFinal, code) == kFinal.end();
}

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
      if (!isMissing(errno, walk)) walk.code = errno;
      endAt(walk, current, name);
      return walk;
    }
    if (S_ISLNK(status.st_mode)) {
      const std::filesystem::path target = std::filesystem::read_symlink(next, error);
      walk.links.push_back({next, identityOf(status), target.string()});
      // A circle of links resolves only after one of them changes.
      if (error || walk.links.size() > kMostLinks) {
        endAt(walk, current, name);
        return walk;
      }
      if (target.is_absolute()) current = "/";
      prepend(components, target);
    } else if (!S_ISDIR(status.st_mode)) {
      endAt(walk, current, name);
      return walk;
    } else {
      current = next;
      walk.folders.push_back({current, identityOf(status)});
    }
  }
  if (::lstat(current.c_str(), &status) != 0) {
    walk.code = errno;
    return walk;
  }
  walk.identity = identityOf(status);
  walk.folder = current;
  return walk;
}

}  // namespace tarvel
