#pragma once

#include <map>
#include <set>
#include <string>

#include "platform/linux/watch/inotify.h"
#include "platform/linux/watch/path_walk.h"

// Internal to platform/linux.
namespace tarvel {

/// inotify watches on the components of paths. Silent until a path may lead elsewhere.
class PathWatches {
 public:
  explicit operator bool() const { return static_cast<bool>(events_); }
  [[nodiscard]] int descriptor() const { return events_.descriptor(); }

  /// Watches every component of a path. Returns 0, or an errno value if something could not be watched. A folder that
  /// can be entered but not read is skipped.
  [[nodiscard]] int add(const PathWalk& walk);

  /// Reads pending events; returns whether a path may lead elsewhere now.
  [[nodiscard]] bool read();

 private:
  [[nodiscard]] int watchComponent(const std::string& path, std::uint32_t mask, const std::string& name);

  Inotify events_;
  /// The names that matter in each watched folder.
  std::map<int, std::set<std::string>> names_;
};

}  // namespace tarvel
