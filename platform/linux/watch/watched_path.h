#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/base/mount_table.h"
#include "platform/linux/watch/inotify.h"
#include "platform/linux/watch/linked_files.h"
#include "platform/linux/watch/path_walk.h"
#include "platform/linux/watch/path_watches.h"

// Internal to platform/linux.
namespace tarvel {

/// The inotify watches for a folder, for the targets of links in it, and for everything that determines where these
/// paths lead.
///
/// Content watches report every change in the folder and of linked files. Path watches cover the rest: each folder on
/// the way for its own move or removal, the last one's parent for the removal of its name, each link for its
/// replacement, and, while a component is missing, the deepest existing folder for that name. An event of a path watch
/// only means "walk the paths again"; a change is reported only if they lead elsewhere.
///
/// The kernel may report a removal late or never, as on network file systems. hasChanged() detects it by comparing
/// inodes.
class WatchedPath {
 public:
  using Report = std::function<void(std::uint32_t flags)>;

  /// `report` receives the flags of each event.
  WatchedPath(std::string path, Report report);

  /// Adds all watches. An errno value if the path can never be watched; 0 if it is watched, or may be later.
  [[nodiscard]] int begin();

  [[nodiscard]] int contentDescriptor() const { return content_.descriptor(); }
  [[nodiscard]] int pathDescriptor() const { return pathWatches_ ? pathWatches_->descriptor() : -1; }
  [[nodiscard]] int mountDescriptor() const { return mounts_.descriptor(); }

  /// Call when the descriptor is readable. Each returns whether walkAnew() is due.
  [[nodiscard]] bool readContent();
  [[nodiscard]] bool readPathWatches();

  /// Whether the paths lead elsewhere than at the last walk, take another way, or were not completely watched. Costs an
  /// lstat() per component.
  [[nodiscard]] bool hasChanged() const;
  /// Walks the paths and watches their components; reports if they lead to another folder or linked file than before.
  /// The path watches have another descriptor afterwards. False if not everything could be watched, or the paths kept
  /// changing: retry later.
  [[nodiscard]] bool walkAnew();

  /// The folder if it exists, else empty.
  [[nodiscard]] const std::string& folder() const { return route_.walk.folder; }
  /// The file systems on the paths, each with one folder on it.
  [[nodiscard]] std::map<dev_t, std::string> fileSystems() const;

 private:
  /// Where the path leads, and where the links in that folder lead.
  struct Route {
    PathWalk walk;
    std::vector<LinkedFile> linked;
    friend bool operator==(const Route&, const Route&) = default;
  };
  /// The changes of interest in a folder: all, or of some names.
  struct Interest {
    bool isRoot = false;
    std::set<std::string> names;
    friend bool operator==(const Interest&, const Interest&) = default;
  };
  using Interests = std::map<int, Interest>;

  [[nodiscard]] Route route() const;
  [[nodiscard]] int setUp();
  [[nodiscard]] int addContent(const Route& route, Interests& interests);
  [[nodiscard]] int addPathWatches(const Route& route, PathWatches& watches) const;
  void replaceInterests(Interests interests);
  [[nodiscard]] bool handle(const InotifyEvent& event);
  void reportDifference(const Route& before, const Interests& interestsBefore);

  std::string path_;
  Report report_;
  Route route_;
  Inotify content_;
  std::unique_ptr<PathWatches> pathWatches_;
  MountTable mounts_;
  Interests interests_;
  std::size_t mountCount_ = 0;
  bool linksAreStale_ = false;
  /// Whether all of the last walk could be watched.
  bool isComplete_ = false;
};

}  // namespace tarvel
