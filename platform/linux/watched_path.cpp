#include "platform/linux/watched_path.h"

#include <cerrno>
#include <utility>

#include "platform/event_stream.h"

namespace tarvel {

namespace {

constexpr std::uint32_t kNaming = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kOwnEnd = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kContent = kNaming | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | kOwnEnd | IN_ONLYDIR;
constexpr std::uint32_t kFolderGuard = kOwnEnd | IN_ONLYDIR | IN_DONT_FOLLOW;
/// A link that another one is renamed over loses its last name, which is a change of its attributes.
constexpr std::uint32_t kLinkGuard = kOwnEnd | IN_ATTRIB | IN_DONT_FOLLOW;
constexpr std::uint32_t kMissingGuard = kNaming | kOwnEnd | IN_ONLYDIR;

/// Out of watches, descriptors or memory: nothing that another folder would make better.
bool isExhaustion(int code) { return code == ENOSPC || code == ENOMEM || code == EMFILE || code == ENFILE; }

}  // namespace

WatchedPath::WatchedPath(std::string path, Report report) : path_(std::move(path)), report_(std::move(report)) {}

int WatchedPath::begin() {
  if (!content_) return EMFILE;
  const int code = setUp();
  if (walk_.identity) mountCount_ = mounts_.countAbove(walk_.folder);
  // A path that would not hold still is watched all the same, and walked again by whoever called.
  return code == EAGAIN ? 0 : code;
}

/// Watches what is there now. EAGAIN when the path changed again and again meanwhile; other errno values when it cannot
/// be watched.
int WatchedPath::setUp() {
  constexpr int kAttempts = 5;
  for (int i = 0; i < kAttempts; ++i) {
    PathWalk walk = walkToFolder(path_);
    if (walk.code != 0) return walk.code;
    auto guards = std::make_unique<Inotify>();
    if (!*guards) return EMFILE;
    int code = addGuards(walk, *guards);
    if (code == 0) code = addContent(walk);
    if (isExhaustion(code) || code == EACCES) return code;
    // Only what did not change while the watches were set is watched for certain.
    if (code != 0 || !(walkToFolder(path_) == walk)) continue;
    walk_ = std::move(walk);
    guards_ = std::move(guards);
    return 0;
  }
  return EAGAIN;
}

int WatchedPath::addGuards(const PathWalk& walk, Inotify& guards) const {
  const auto guard = [&](const std::string& path, std::uint32_t mask) {
    // Some folders may be passed through but not looked into. Nothing is to be done about those.
    return guards.watch(path, mask) >= 0 || errno == EACCES ? 0 : errno;
  };
  for (const std::string& folder : walk.folders) {
    if (const int code = guard(folder, kFolderGuard)) return code;
  }
  for (const std::string& link : walk.links) {
    if (const int code = guard(link, kLinkGuard)) return code;
  }
  return walk.identity ? 0 : guard(walk.deepestFolder, kMissingGuard);
}

int WatchedPath::addContent(const PathWalk& walk) {
  std::map<int, Interest> interests;
  int root = -1;
  if (walk.identity) {
    root = content_.watch(walk.folder, kContent);
    if (root < 0) return errno;
    interests[root].isRoot = true;
    for (const auto& [folder, names] : linkedNames(walk.folder)) {
      const int watch = content_.watch(folder, kContent);
      if (watch < 0 && isExhaustion(errno)) return errno;
      if (watch >= 0) interests[watch].names.insert(names.begin(), names.end());
    }
  }
  for (const auto& [watch, interest] : interests_) {
    if (!interests.contains(watch)) content_.unwatch(watch);
  }
  interests_ = std::move(interests);
  rootWatch_ = root;
  linksAreStale_ = false;
  return 0;
}

bool WatchedPath::walkAnew() {
  const int watchBefore = rootWatch_;
  const dev_t deviceBefore = walk_.identity.value_or(FolderIdentity{}).device;
  const std::size_t mountsBefore = mountCount_;
  const int code = setUp();
  if (code != 0) return false;
  mountCount_ = walk_.identity ? mounts_.countAbove(walk_.folder) : 0;
  if (rootWatch_ != watchBefore) reportAnother(deviceBefore, mountsBefore);
  return true;
}

void WatchedPath::reportAnother(dev_t deviceBefore, std::size_t mountsBefore) {
  const bool isOtherDevice = deviceBefore != 0 && walk_.identity && deviceBefore != walk_.identity->device;
  if (isOtherDevice && mountCount_ > mountsBefore) {
    report_(kEventFlagMount);
  } else if (isOtherDevice && mountCount_ < mountsBefore) {
    report_(kEventFlagUnmount);
  } else {
    report_(kEventFlagRootChanged);
  }
}

bool WatchedPath::readContent() {
  bool mustWalk = false;
  content_.read([&](const InotifyEvent& event) { mustWalk |= handle(event); });
  return mustWalk || std::exchange(linksAreStale_, false);
}

/// Answers whether the path has to be walked anew.
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
    linksAreStale_ |= isLinkedName || !interest.names.empty() || interests_.size() > 1 || isLink(walk_.folder, name);
  }
  return false;
}

bool WatchedPath::readGuards() {
  bool mustWalk = false;
  guards_->read([&](const InotifyEvent& event) {
    // While a part of the path is missing, the folder above tells of other names as well.
    const bool isOther = !event.name.empty() && event.name != walk_.missingName;
    mustWalk |= !isOther;
  });
  return mustWalk;
}

}  // namespace tarvel
