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

/// The kernel's watches for one folder, for the files that links in it lead to, and for all that decides where these
/// paths lead.
///
/// Of the folder and of linked files every change is reported. Everything else on the way has a guard: each folder
/// watches for its own move or removal, the last one's parent for the removal of its name, each link for its own
/// replacement, and while a part of a path is missing, the folder above watches for that name. A guard's event means
/// only "walk the paths again"; what counts is whether they lead elsewhere.
///
/// The kernel may report a removal late or never, as on network file systems. hasChanged() finds it by comparing
/// inodes.
class WatchedPath {
 public:
  using Report = std::function<void(std::uint32_t flags)>;

  /// `report` gets the flags of each event.
  WatchedPath(std::string path, Report report);

  /// Sets everything up. An errno value when the path can never be watched; 0 when it is watched, or may be later.
  [[nodiscard]] int begin();

  [[nodiscard]] int contentDescriptor() const { return content_.descriptor(); }
  [[nodiscard]] int guardDescriptor() const { return guards_ ? guards_->descriptor() : -1; }
  [[nodiscard]] int mountDescriptor() const { return mounts_.descriptor(); }

  /// To be called when the descriptor has something to read. Each answers whether walkAnew() is due.
  [[nodiscard]] bool readContent();
  [[nodiscard]] bool readGuards();

  /// Whether the paths lead elsewhere than at the last walk, or go another way, or could not be watched as a whole.
  /// Costs an lstat() of each name on the way.
  [[nodiscard]] bool hasChanged() const;
  /// Walks the paths and watches what it finds; reports when that is another folder, or another linked file, than
  /// before. The guards have another descriptor afterwards. False when not everything could be watched, or the paths
  /// would not hold still: the caller tries again later.
  [[nodiscard]] bool walkAnew();

  /// The folder while there is one, else empty.
  [[nodiscard]] const std::string& folder() const { return route_.walk.folder; }
  /// The file systems that the paths touch, each with one folder on it.
  [[nodiscard]] std::map<dev_t, std::string> fileSystems() const;

 private:
  /// Where the path leads, and where the links in that folder do.
  struct Route {
    PathWalk walk;
    std::vector<LinkedFile> linked;
    friend bool operator==(const Route&, const Route&) = default;
  };
  /// What is of interest in a folder: everything, or some names.
  struct Interest {
    bool isRoot = false;
    std::set<std::string> names;
    friend bool operator==(const Interest&, const Interest&) = default;
  };
  using Interests = std::map<int, Interest>;

  [[nodiscard]] Route route() const;
  [[nodiscard]] int setUp();
  [[nodiscard]] int addContent(const Route& route, Interests& interests);
  [[nodiscard]] int addGuards(const Route& route, PathWatches& guards) const;
  void replaceInterests(Interests interests);
  [[nodiscard]] bool handle(const InotifyEvent& event);
  void reportDifference(const Route& before, const Interests& interestsBefore);

  std::string path_;
  Report report_;
  Route route_;
  Inotify content_;
  std::unique_ptr<PathWatches> guards_;
  MountTable mounts_;
  Interests interests_;
  std::size_t mountCount_ = 0;
  bool linksAreStale_ = false;
  /// Whether the last walk could be watched as a whole.
  bool isComplete_ = false;
};

}  // namespace tarvel
