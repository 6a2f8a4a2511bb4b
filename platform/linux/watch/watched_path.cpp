#include "platform/linux/watch/watched_path.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/event_stream.h"

namespace tarvel {

namespace {

constexpr std::uint32_t kNaming = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kContent = kNaming | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | kOwnEnd | IN_ONLYDIR;

/// Out of watches, descriptors or memory: failures that do not depend on the folder.
bool isExhaustion(int code) { return code == ENOSPC || code == ENOMEM || code == EMFILE || code == ENFILE; }

}  // namespace

WatchedPath::WatchedPath(std::string path, Report report) : path_(std::move(path)), report_(std::move(report)) {}

WatchedPath::Route WatchedPath::route() const {
  Route route{walkToFolder(path_), {}};
  if (route.walk.identity) route.linked = linkedFiles(route.walk.folder);
  return route;
}

bool WatchedPath::hasChanged() const { return !isComplete_ || !(route() == route_); }

int WatchedPath::begin() {
  if (!content_) return EMFILE;
  const int code = setUp();
  isComplete_ = code == 0;
  if (route_.walk.identity) mountCount_ = mounts_.countAbove(route_.walk.folder);
  return mayHeal(code) ? 0 : code;
}

/// Watches the current state. EAGAIN if the paths kept changing meanwhile, or a linked file may become watchable; other
/// errno values if the folder cannot be watched.
int WatchedPath::setUp() {
  constexpr int kAttempts = 5;
  for (int i = 0; i < kAttempts; ++i) {
    Route found = route();
    if (found.walk.code != 0) return found.walk.code;
    auto watches = std::make_unique<PathWatches>();
    if (!*watches) return EMFILE;
    int code = addPathWatches(found, *watches);
    Interests interests;
    if (code == 0) code = addContent(found, interests);
    if (isExhaustion(code) || code == EACCES) return code;
    // Only what did not change while the watches were added is watched reliably.
    if (code != 0 || !(route() == found)) continue;
    route_ = std::move(found);
    pathWatches_ = std::move(watches);
    replaceInterests(std::move(interests));
    const bool isComplete =
        std::ranges::none_of(route_.linked, [](const auto& file) { return mayHeal(file.walk.code); });
    return isComplete ? 0 : EAGAIN;
  }
  return EAGAIN;
}

int WatchedPath::addPathWatches(const Route& route, PathWatches& watches) const {
  if (const int code = watches.add(route.walk)) return code;
  for (const LinkedFile& file : route.linked) {
    const int code = watches.add(file.walk);
    // Linked files are watched as far as possible; the folder does not depend on them.
    if (isExhaustion(code)) return code;
  }
  return 0;
}

int WatchedPath::addContent(const Route& route, Interests& interests) {
  if (!route.walk.identity) return 0;
  const int root = content_.watch(route.walk.folder, kContent);
  if (root < 0) return errno;
  interests[root].isRoot = true;
  for (const LinkedFile& file : route.linked) {
    if (!file.walk.identity) continue;
    const int watch = content_.watch(file.walk.folder, kContent);
    if (watch < 0 && isExhaustion(errno)) return errno;
    if (watch >= 0) interests[watch].names.insert(file.name);
  }
  return 0;
}

void WatchedPath::replaceInterests(Interests interests) {
  for (const auto& [watch, interest] : interests_) {
    if (!interests.contains(watch)) content_.unwatch(watch);
  }
  interests_ = std::move(interests);
  linksAreStale_ = false;
}

bool WatchedPath::walkAnew() {
  const Route before = route_;
  const Interests interestsBefore = interests_;
  isComplete_ = setUp() == 0;
  reportDifference(before, interestsBefore);
  return isComplete_;
}

/// Watches are compared by number: a recreated folder has a new one even if the file system reuses the inode.
void WatchedPath::reportDifference(const Route& before, const Interests& interestsBefore) {
  const std::size_t mountsBefore =
      std::exchange(mountCount_, route_.walk.identity ? mounts_.countAbove(route_.walk.folder) : 0);
  const auto rootOf = [](const Interests& interests) {
    const auto root = std::ranges::find_if(interests, [](const auto& entry) { return entry.second.isRoot; });
    return root == interests.end() ? -1 : root->first;
  };
  if (rootOf(interests_) == rootOf(interestsBefore)) {
    if (route_.linked != before.linked || interests_ != interestsBefore) report_(kEventFlagNone);
    return;
  }
  const bool isOtherDevice =
      before.walk.identity && route_.walk.identity && before.walk.identity->device != route_.walk.identity->device;
  if (isOtherDevice && mountCount_ > mountsBefore) {
    report_(kEventFlagMount);
  } else if (isOtherDevice && mountCount_ < mountsBefore) {
    report_(kEventFlagUnmount);
  } else {
    report_(kEventFlagRootChanged);
  }
}

std::map<dev_t, std::string> WatchedPath::fileSystems() const {
  std::map<dev_t, std::string> folders;
  const auto add = [&folders](const PathWalk& walk) {
    for (const auto& folder : walk.folders) folders[folder.identity.device] = folder.path;
  };
  add(route_.walk);
  for (const LinkedFile& file : route_.linked) add(file.walk);
  return folders;
}

bool WatchedPath::readContent() {
  bool mustWalk = false;
  content_.read([&](const InotifyEvent& event) { mustWalk |= handle(event); });
  return mustWalk || std::exchange(linksAreStale_, false);
}

/// Returns whether the paths must be walked again.
bool WatchedPath::handle(const InotifyEvent& event) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) {
    report_(kEventFlagMustScanSubDirs | kEventFlagKernelDropped);
    return true;
  }
  const auto found = interests_.find(event.watch);
  if (found == interests_.end()) return false;
  const Interest& interest = found->second;
  if ((event.mask & IN_UNMOUNT) != 0) {
    if (interest.isRoot) report_(kEventFlagUnmount);
    return true;
  }
  if ((event.mask & (kOwnEnd | IN_IGNORED)) != 0) return true;
  const std::string name(event.name);
  const bool isLinkedName = interest.names.contains(name);
  if (!interest.isRoot && !isLinkedName) return false;
  report_(kEventFlagNone);
  if ((event.mask & kNaming) != 0 && !name.empty()) {
    linksAreStale_ |= isLinkedName || (interest.isRoot && (!route_.linked.empty() || isLink(route_.walk.folder, name)));
  }
  return false;
}

bool WatchedPath::readPathWatches() { return pathWatches_->read(); }

}  // namespace tarvel
