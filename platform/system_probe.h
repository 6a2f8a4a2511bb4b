#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/date.h"

namespace tarvel {

enum class PathKind { kMissing, kFile, kFolder, kOther, kUnknown };

/// The item at a path, links followed. Permissions are those of the calling user.
struct PathFacts {
  PathKind kind = PathKind::kMissing;
  /// Whether the path itself is a symbolic link.
  bool isLink = false;
  /// The path with all links resolved; empty when nothing exists there.
  std::string realPath;
  bool isReadable = false;
  bool isWritable = false;
  /// For a folder: may be entered. For a file: may be executed.
  bool isExecutable = false;
  std::uint64_t size = 0;
  std::optional<Date> changed;
  /// Permission bits, such as 0644.
  unsigned mode = 0;
  bool isOwn = false;
  /// On kUnknown: the reason.
  std::string reason;
};

struct FileSystemFacts {
  /// The kernel's name for the type: "ext4", "nfs". Empty when unknown.
  std::string name;
  /// A network or FUSE file system: changes by others may not be reported.
  bool isRemote = false;
  bool isReadOnly = false;
  /// Whether unnamed files (O_TMPFILE) are supported.
  bool takesNamelessFiles = true;
  std::uint64_t freeBytes = 0;
};

/// The user's inotify limits and their use; none where unknown.
struct WatchFacts {
  std::optional<std::uint64_t> mostWatches;
  std::optional<std::uint64_t> usedWatches;
  std::optional<std::uint64_t> mostInstances;
  std::optional<std::uint64_t> usedInstances;
};

/// The agent's process.
struct AgentProcessFacts {
  /// The program it executes; empty when no agent runs.
  std::string program;
  /// Whether the program was replaced or removed since.
  bool isProgramGone = false;
  /// The collation locale from its environment, such as "de_DE.UTF-8"; empty for none.
  std::string orderLanguage;
};

/// Inspects the machine without changing it. Single-threaded.
class SystemProbe {
 public:
  virtual ~SystemProbe() = default;

  [[nodiscard]] virtual PathFacts path(const std::string& path) = 0;
  /// Of the file system that holds `path`, which must exist.
  [[nodiscard]] virtual FileSystemFacts fileSystem(const std::string& path) = 0;
  [[nodiscard]] virtual WatchFacts watches() = 0;
  [[nodiscard]] virtual AgentProcessFacts agentProcess() = 0;
  /// Whether the session bus is reachable; notifications need it.
  [[nodiscard]] virtual bool hasSessionBus() = 0;
  /// Whether the user is root.
  [[nodiscard]] virtual bool isSuperUser() = 0;
  /// The collation locale from this process's environment.
  [[nodiscard]] virtual std::string orderLanguage() = 0;
};

}  // namespace tarvel
