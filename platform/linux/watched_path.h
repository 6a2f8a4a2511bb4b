#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/linux/inotify.h"
#include "platform/linux/linked_files.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/path_walk.h"

// Internal to platform/linux.
namespace tarvel {

/// The kernel's watches for one folder and for all that decides which folder its path leads to.
///
/// Of the folder itself, and of files that links in it lead to, every change is told. Everything else on the way has a
/// guard that is silent until the path may lead elsewhere: each folder watches for its own move or removal, each link
/// for its own replacement, and while a part of the path is missing, the folder above watches for that name. After each
/// such alarm the path is walked anew, and what counts is whether another folder was found.
class WatchedPath {
 public:
  using Report = std::function<void(std::uint32_t flags)>;

  /// `report` gets the flags of each event.
  WatchedPath(std::string path, Report report);

  /// Sets everything up. An errno value when the path cannot be watched, 0 when it can, though the folder may be
  /// missing.
  [[nodiscard]] int begin();

  [[nodiscard]] int contentDescriptor() const { return content_.descriptor(); }
  [[nodiscard]] int guardDescriptor() const { return guards_ ? guards_->descriptor() : -1; }
  [[nodiscard]] int mountDescriptor() const { return mounts_.descriptor(); }

  /// To be called when the descriptor has something to read. The first answers whether the path must be walked anew.
  [[nodiscard]] bool readContent();
  [[nodiscard]] bool readGuards();

  /// Walks the path and watches what it finds; reports when that is another folder than before. The guards have another
  /// descriptor afterwards. False when it could not be done, or not in peace: the caller tries again later.
  [[nodiscard]] bool walkAnew();

  /// The folder while there is one, else empty.
  [[nodiscard]] const std::string& folder() const { return walk_.folder; }

 private:
  /// What is of interest in a folder: everything, or some names.
  struct Interest {
    bool isRoot = false;
    std::set<std::string> names;
  };

  [[nodiscard]] int setUp();
  [[nodiscard]] int addGuards(const PathWalk& walk, Inotify& guards) const;
  [[nodiscard]] int addContent(const PathWalk& walk);
  [[nodiscard]] bool handle(const InotifyEvent& event);
  void reportAnother(dev_t deviceBefore, std::size_t mountsBefore);

  std::string path_;
  Report report_;
  PathWalk walk_;
  Inotify content_;
  std::unique_ptr<Inotify> guards_;
  MountTable mounts_;
  std::map<int, Interest> interests_;
  /// The number of the folder's watch, -1 without one. A folder that was removed and made again has another one, also
  /// where the file system gives it the old inode.
  int rootWatch_ = -1;
  std::size_t mountCount_ = 0;
  bool linksAreStale_ = false;
};

}  // namespace tarvel
