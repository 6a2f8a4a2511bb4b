#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/crash_safety/call_tracer.h"

namespace tarvel {

/// The files of a folder as they are on disk, including hard and symbolic links.
struct DiskState {
  /// Inode by path below the folder; 0 for a folder.
  std::map<std::string, ino_t> entries;
  std::map<ino_t, std::string> contents;
  std::map<std::string, std::string> links;

  /// The bytes of the file at `path`; null when there is none.
  [[nodiscard]] const std::string* bytesAt(const std::string& path) const;
  [[nodiscard]] static DiskState of(const std::string& folder);
  /// Replaces the contents of `folder` by this state.
  void materialise(const std::string& folder) const;
  friend bool operator<(const DiskState& a, const DiskState& b) {
    return std::tie(a.entries, a.contents) < std::tie(b.entries, b.contents);
  }
};

/// Records what a program does to the files of a folder, and enumerates the states that a power cut may leave on disk.
///
/// Synced changes are on disk. Every later change may be missing, also without an earlier one, and a write may be cut
/// to its first half, in whole sectors. That is more than a journaling file system permits.
class CrashModel {
 public:
  /// Starts from the current files of `folder`.
  explicit CrashModel(std::string folder);

  /// For runTraced().
  void observe(pid_t program, const SystemCall& call);
  /// Visits each state that a power cut at any moment may leave, once.
  void forEachState(const std::function<void(const DiskState&)>& visit) const;
  /// Visits each state that a power cut after the program's end may leave.
  void forEachLastState(const std::function<void(const DiskState&)>& visit) const {
    visitStates(changes_.size(), visit);
  }
  /// The number of recorded changes.
  [[nodiscard]] std::size_t changes() const { return changes_.size(); }

 private:
  struct Change {
    enum class Kind { kWrite, kTruncate, kLink, kRename, kExchange, kUnlink, kSync };
    Kind kind;
    /// What an fsync must name to put the change on disk: an inode, or a folder's path.
    ino_t inode = 0;
    std::string folder;
    std::string from;
    std::string to;
    std::uint64_t position = 0;
    std::string bytes;
  };

  void observeWrite(pid_t program, const SystemCall& call);
  void observeNames(pid_t program, const SystemCall& call);
  void add(Change change);
  [[nodiscard]] std::string pathAt(pid_t program, std::uint64_t folder, std::uint64_t name) const;
  [[nodiscard]] bool isOnDisk(std::size_t change, std::size_t end) const;
  void visitStates(std::size_t end, const std::function<void(const DiskState&)>& visit) const;
  /// `extent`: 0 none, 1 the first half, 2 all of it.
  static void apply(DiskState& state, const Change& change, int extent);

  std::string folder_;
  DiskState initial_;
  std::vector<Change> changes_;
};

}  // namespace tarvel
