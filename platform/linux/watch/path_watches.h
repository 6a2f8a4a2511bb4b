#pragma once

#include <map>
#include <set>
#include <string>

#include "platform/linux/watch/inotify.h"
#include "platform/linux/watch/path_walk.h"

// Internal to platform/linux.
namespace tarvel {

/// The kernel's watches for what paths go through. Silent until one of the paths may lead elsewhere.
class PathWatches {
 public:
  explicit operator bool() const { return static_cast<bool>(events_); }
  [[nodiscard]] int descriptor() const { return events_.descriptor(); }

  /// Guards everything on one way. An errno value when something could not be guarded, else 0. A folder that may be
  /// passed through but not looked into stays without a guard.
  [[nodiscard]] int add(const PathWalk& walk);

  /// Reads what has happened; whether a path may lead elsewhere now.
  [[nodiscard]] bool read();

 private:
  [[nodiscard]] int guard(const std::string& path, std::uint32_t mask, const std::string& name);

  Inotify events_;
  /// The names that matter in each watched folder.
  std::map<int, std::set<std::string>> names_;
};

}  // namespace tarvel
