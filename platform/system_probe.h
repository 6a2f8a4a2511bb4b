#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/date.h"

namespace tarvel {

enum class PathKind { kMissing, kFile, kFolder, kOther, kUnknown };

/// What is at a path, links followed. Its rights are those of the asking user.
struct PathFacts {
  PathKind kind = PathKind::kMissing;
  /// The path itself is a symbolic link, wherever it leads.
  bool isLink = false;
  /// Where the path ends once all links are followed; empty when nothing is there.
  std::string realPath;
  bool isReadable = false;
  bool isWritable = false;
  /// Of a folder: it may be passed through. Of a file: it may be executed.
  bool isExecutable = false;
  std::uint64_t size = 0;
  std::optional<Date> changed;
  /// The permissions as a number, such as 0644.
  unsigned mode = 0;
  bool isOwn = false;
  /// Why it is unknown what is there.
  std::string reason;
};

struct FileSystemFacts {
  /// As the system calls its kind: "ext4", "nfs". Empty when it cannot be told.
  std::string name;
  /// Its changes may be made by other machines or processes, and are not all announced.
  bool isRemote = false;
  bool isReadOnly = false;
  /// A file can be made there that has no name until it is whole.
  bool takesNamelessFiles = true;
  std::uint64_t freeBytes = 0;
};

/// How many files and folders may be watched by all of a user's programs, and how many are; none where that cannot be
/// told.
struct WatchFacts {
  std::optional<std::uint64_t> mostWatches;
  std::optional<std::uint64_t> usedWatches;
  std::optional<std::uint64_t> mostInstances;
  std::optional<std::uint64_t> usedInstances;
};

/// The agent's process, as far as the system tells.
struct AgentProcessFacts {
  /// The program it executes; empty when no agent is found.
  std::string program;
  /// That program was replaced or removed since.
  bool isProgramGone = false;
  /// The language whose order it follows, as its environment has it: "de_DE.UTF-8"; empty for none.
  std::string orderLanguage;
};

/// Looks at the machine, and changes nothing in it. One thread.
class SystemProbe {
 public:
  virtual ~SystemProbe() = default;

  [[nodiscard]] virtual PathFacts path(const std::string& path) = 0;
  /// Of the file system that holds a path, which must be there.
  [[nodiscard]] virtual FileSystemFacts fileSystem(const std::string& path) = 0;
  [[nodiscard]] virtual WatchFacts watches() = 0;
  [[nodiscard]] virtual AgentProcessFacts agentProcess() = 0;
  /// Whether the user's programs can reach each other: notifications go that way.
  [[nodiscard]] virtual bool hasSessionBus() = 0;
  /// Whether this is the one user who may do anything.
  [[nodiscard]] virtual bool isSuperUser() = 0;
  /// The language whose order this process follows, as its environment has it.
  [[nodiscard]] virtual std::string orderLanguage() = 0;
};

}  // namespace tarvel
