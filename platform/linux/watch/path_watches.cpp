#include "platform/linux/watch/path_watches.h"

#include <cerrno>

namespace tarvel {

namespace {

constexpr std::uint32_t kFolderMask = kOwnEnd | IN_ONLYDIR | IN_DONT_FOLLOW;
/// A removed folder reports its own removal only when no process uses it; its parent reports it at once. Watching the
/// last folder's parent is enough, as the others can only be removed after it.
constexpr std::uint32_t kRemovalMask = IN_DELETE | IN_ONLYDIR;
/// A link that is renamed over loses its last name, which changes its attributes.
constexpr std::uint32_t kLinkMask = kOwnEnd | IN_ATTRIB | IN_DONT_FOLLOW;
constexpr std::uint32_t kMissingNameMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | kOwnEnd | IN_ONLYDIR;

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

int PathWatches::watchComponent(const std::string& path, std::uint32_t mask, const std::string& name) {
  const int watch = events_.watch(path, mask);
  if (watch < 0) return errno == EACCES ? 0 : errno;
  if (!name.empty()) names_[watch].insert(name);
  return 0;
}

int PathWatches::add(const PathWalk& walk) {
  for (const auto& folder : walk.folders) {
    if (const int code = watchComponent(folder.path, kFolderMask, {})) return code;
  }
  for (const auto& link : walk.links) {
    if (const int code = watchComponent(link.path, kLinkMask, {})) return code;
  }
  const std::string& last = walk.identity ? walk.folder : walk.deepestFolder;
  if (const int code = watchComponent(parentOf(last), kRemovalMask, nameOf(last))) return code;
  return walk.identity ? 0 : watchComponent(last, kMissingNameMask, walk.missingName);
}

bool PathWatches::read() {
  bool mayLeadElsewhere = false;
  events_.read([&](const InotifyEvent& event) {
    // Other entries of the folder do not affect the path.
    const auto names = names_.find(event.watch);
    mayLeadElsewhere |=
        event.name.empty() || (names != names_.end() && names->second.contains(std::string(event.name)));
  });
  return mayLeadElsewhere;
}

}  // namespace tarvel
