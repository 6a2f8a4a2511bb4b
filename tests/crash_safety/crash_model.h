#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/crash_safety/call_tracer.h"

namespace tarvel {

/// The files below one folder, as a disk has them: names and what they lead to. Links of both kinds are kept.
struct DiskState {
  /// By path below the folder; 0 for a folder.
  std::map<std::string, ino_t> entries;
  std::map<ino_t, std::string> contents;
  std::map<std::string, std::string> links;

  /// The bytes under a path; none when nothing is there.
  [[nodiscard]] const std::string* bytesAt(const std::string& path) const;
  [[nodiscard]] static DiskState of(const std::string& folder);
  /// Makes the folder look so, and nothing else be in it.
  void materialise(const std::string& folder) const;
  friend bool operator<(const DiskState& a, const DiskState& b) {
    return std::tie(a.entries, a.contents) < std::tie(b.entries, b.contents);
  }
};

/// What a program does to the files below one folder, and what of it the disk may have when the power goes.
///
/// What was synced is there. Of everything later each change may be there or not, also without an earlier one, and of
/// a write the first half alone, in whole sectors. That is more than any journal lets happen.
class CrashModel {
 public:
  /// From now on, with the files as they are.
  explicit CrashModel(std::string folder);

  /// For runTraced().
  void observe(pid_t program, const SystemCall& call);
  /// Each state that a power cut at any moment may leave, once.
  void forEachState(const std::function<void(const DiskState&)>& visit) const;
  /// Those that a power cut right after the program's end may leave.
  void forEachLastState(const std::function<void(const DiskState&)>& visit) const {
    visitStates(changes_.size(), visit);
  }
  /// How many changes were seen.
  [[nodiscard]] std::size_t changes() const { return changes_.size(); }

 private:
  struct Change {
    enum class Kind { kWrite, kTruncate, kLink, kRename, kExchange, kUnlink, kSync };
    Kind kind;
    /// What is changed, for the question of what a sync puts on the disk: an inode, or a folder's path.
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
  /// `extent`: 0 not at all, 1 the first half, 2 whole.
  static void apply(DiskState& state, const Change& change, int extent);

  std::string folder_;
  DiskState initial_;
  std::vector<Change> changes_;
};

}  // namespace tarvel
