#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/crash_safety/call_tracer.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// Whether the long form of the proofs was asked for, in which nothing is left out: TARVEL_PROOF=long.
[[nodiscard]] bool isLongProof();

/// Of `count` places those to look at: all of them in the long form, else `most` at the most, evenly spread. Which ones
/// depends on the process, so that the runs of many days see them all; a failure names its place.
[[nodiscard]] std::vector<std::size_t> chosen(std::size_t count, std::size_t most);

/// What kinds of places a bookmarks file can be in, by how it is written there.
enum class FilePlacing {
  /// An ordinary file: a new one takes its place.
  kOrdinary,
  /// Reached through a symbolic link in another folder.
  kLinked,
  /// With a second name, which has to stay: its bytes are replaced.
  kTwoNames,
};

/// Whether a call makes an unnamed file.
[[nodiscard]] bool makesUnnamedFile(const SystemCall& call);

/// A home with a bookmarks file that is not in order, for the built command to work on, and all that may become of it.
class ProofHome {
 public:
  explicit ProofHome(FilePlacing placing = FilePlacing::kOrdinary);

  /// As at first: the unsorted file, no backup.
  void reset();
  /// The sorted file, and the backup made before.
  void resetToSorted();
  /// The same, and three dated copies: two of the unsorted file, and the newest of the sorted one.
  void resetToThreeBackups();
  /// The settings of a moment ago: one of them.
  void resetSettings();

  [[nodiscard]] TracedProgram sort() const { return command({"sort", "--backup-file", backup(), file()}); }
  /// Of another file, without a backup.
  [[nodiscard]] TracedProgram sort(const std::string& path) const { return command({"sort", "--no-backup", path}); }
  /// The agent's, with real files.
  [[nodiscard]] TracedProgram agentSort() const;
  [[nodiscard]] TracedProgram restore() const {
    return command({"restore", "--yes", "--backup-file", backup(), file()});
  }
  /// A dated copy of the file.
  [[nodiscard]] TracedProgram keep() const { return command({"backup", file()}); }
  /// The backup back in place of the file, as a copy that stays.
  [[nodiscard]] TracedProgram putBack() const { return command({"restore", "--from", backup(), "--yes", file()}); }
  /// All dated copies but the newest removed.
  [[nodiscard]] TracedProgram prune() const { return command({"backup", "prune", "--keep", "1", file()}); }
  [[nodiscard]] TracedProgram set() const { return command({"settings", "set", "BookmarksUpdateLatency", "7"}); }

  /// Undisturbed; answers its exit status.
  [[nodiscard]] static int run(const TracedProgram& program);
  /// The same on a file system that knows no unnamed files.
  [[nodiscard]] static int runWithoutUnnamedFiles(const TracedProgram& program);

  [[nodiscard]] std::string file() const;
  [[nodiscard]] bool isUnsorted() const;
  /// Bytes of a whole file in order. The root's identifier is another one each time and does not count.
  [[nodiscard]] bool isSorted() const;
  [[nodiscard]] bool hasNoBackup() const;
  /// The backup has every byte of the unsorted file.
  [[nodiscard]] bool hasWholeBackup() const;
  /// The dated copies by name. Each should have every byte of the unsorted or the sorted file.
  [[nodiscard]] std::vector<std::string> backups() const;
  [[nodiscard]] bool hasOnlyWholeBackups() const;
  [[nodiscard]] bool hasBackupOfSorted() const;
  /// Whether a path, relative to the root, is that of a dated copy.
  [[nodiscard]] static bool isBackup(const std::string& path);
  /// Neither kind of settings is torn: as they were, or with the new value too.
  [[nodiscard]] bool hasOldSettings() const;
  [[nodiscard]] bool hasNewSettings() const;
  /// Somebody saves the unsorted bytes; whatever else there is stays.
  void saveUnsorted() const;
  /// What lies around besides the files that belong there, by name. Hidden files are told apart by their dot.
  [[nodiscard]] std::vector<std::string> strays() const;
  /// Whether a write in place has its record beside the file, from which the next reader makes the file whole.
  [[nodiscard]] bool hasRecord() const;
  /// Nothing that anybody would notice.
  [[nodiscard]] bool hasOnlyHiddenStrays() const;
  /// For a failure: what is there.
  [[nodiscard]] std::string description() const;

  /// The folder that holds everything, without a link in its path.
  [[nodiscard]] std::string root() const { return folder_.path(); }
  [[nodiscard]] std::string backup() const { return folder_.path("data/Tarvel/Bookmarks (Initial Copy).plist"); }
  [[nodiscard]] std::string settings() const { return folder_.path("config/org.tarvel.Tarvel/preferences.plist"); }
  /// For who judges a state that is not on the disk.
  [[nodiscard]] const std::string& unsortedBytes() const { return unsorted_; }
  [[nodiscard]] bool isSortedBytes(const std::string& bytes) const;
  [[nodiscard]] bool areNewSettings(const std::string& bytes) const;

 private:
  [[nodiscard]] TracedProgram command(const std::vector<std::string>& arguments) const;

  TemporaryDirectory folder_;
  FilePlacing placing_;
  std::string unsorted_;
  /// Sorted, without the root's identifier, as text.
  std::string sortedText_;
  std::string sortedBytes_;
  /// How the names of dated copies end, once one was made.
  std::string copyEnd_;
};

}  // namespace tarvel
