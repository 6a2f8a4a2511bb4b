#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/crash_safety/call_tracer.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// Whether the long form is wanted, which samples nothing: TARVEL_PROOF=long.
[[nodiscard]] bool isLongForm();

/// Indices below `count`: all in the long form, otherwise at most `most`, evenly spread. They depend on the process id,
/// so that repeated runs cover all of them; a failure names its index.
[[nodiscard]] std::vector<std::size_t> chosen(std::size_t count, std::size_t most);

/// Kinds of bookmarks files that are written in different ways.
enum class FilePlacing {
  /// An ordinary file, replaced by a new one.
  kOrdinary,
  /// Reached through a symbolic link in another folder.
  kLinked,
  /// With a second hard link, so it is overwritten in place.
  kTwoNames,
};

/// Whether a call creates an unnamed file (O_TMPFILE).
[[nodiscard]] bool makesUnnamedFile(const SystemCall& call);

/// A home folder with an unsorted bookmarks file for the built command, and checks of the states it may be left in.
class CrashHome {
 public:
  explicit CrashHome(FilePlacing placing = FilePlacing::kOrdinary);

  /// The unsorted file, no backup.
  void reset();
  /// The sorted file and its initial backup.
  void resetToSorted();
  /// The same with three dated backups: two of the unsorted file, the newest of the sorted one.
  void resetToThreeBackups();
  /// A settings file with old values.
  void resetSettings();

  [[nodiscard]] TracedProgram sort() const { return command({"sort", "--backup-file", backup(), file()}); }
  /// Sorts another file, without a backup.
  [[nodiscard]] TracedProgram sort(const std::string& path) const { return command({"sort", "--no-backup", path}); }
  /// One sort of the agent, with real files.
  [[nodiscard]] TracedProgram agentSort() const;
  [[nodiscard]] TracedProgram restore() const {
    return command({"restore", "--yes", "--backup-file", backup(), file()});
  }
  /// Makes a dated backup.
  [[nodiscard]] TracedProgram keep() const { return command({"backup", file()}); }
  /// Restores the initial backup, which stays.
  [[nodiscard]] TracedProgram putBack() const { return command({"restore", "--from", backup(), "--yes", file()}); }
  /// Removes all dated backups except the newest.
  [[nodiscard]] TracedProgram prune() const { return command({"backup", "prune", "--keep", "1", file()}); }
  [[nodiscard]] TracedProgram set() const { return command({"settings", "set", "BookmarksUpdateLatency", "7"}); }

  /// Runs a program without faults and returns its exit status.
  [[nodiscard]] static int run(const TracedProgram& program);
  /// The same as on a file system without unnamed files.
  [[nodiscard]] static int runWithoutUnnamedFiles(const TracedProgram& program);

  [[nodiscard]] std::string file() const;
  [[nodiscard]] bool isUnsorted() const;
  /// Ignores the root's identifier, which is new in every sort.
  [[nodiscard]] bool isSorted() const;
  [[nodiscard]] bool hasNoBackup() const;
  /// The initial backup has exactly the bytes of the unsorted file.
  [[nodiscard]] bool hasWholeBackup() const;
  /// Names of the dated backups. A whole one has exactly the bytes of the unsorted or the sorted file.
  [[nodiscard]] std::vector<std::string> backups() const;
  [[nodiscard]] bool hasOnlyWholeBackups() const;
  [[nodiscard]] bool hasBackupOfSorted() const;
  /// Whether a path below the root is that of a dated backup.
  [[nodiscard]] static bool isBackup(const std::string& path);
  /// Exactly the old settings file.
  [[nodiscard]] bool hasOldSettings() const;
  /// The old settings and the new value.
  [[nodiscard]] bool hasNewSettings() const;
  /// Writes the unsorted bytes to the file.
  void saveUnsorted() const;
  /// Names of unexpected files.
  [[nodiscard]] std::vector<std::string> strays() const;
  /// Whether there is an undo journal, from which the next reader repairs the file.
  [[nodiscard]] bool hasRecord() const;
  /// Whether all unexpected files are hidden.
  [[nodiscard]] bool hasOnlyHiddenStrays() const;
  /// The state of all files, for failure messages.
  [[nodiscard]] std::string description() const;

  /// The folder of all files, without a symbolic link in its path.
  [[nodiscard]] std::string root() const { return folder_.path(); }
  [[nodiscard]] std::string backup() const { return folder_.path("data/Tarvel/Bookmarks (Initial Copy).plist"); }
  [[nodiscard]] std::string settings() const { return folder_.path("config/org.tarvel.Tarvel/preferences.plist"); }
  /// For states that are not on disk.
  [[nodiscard]] const std::string& unsortedBytes() const { return unsorted_; }
  [[nodiscard]] bool isSortedBytes(const std::string& bytes) const;
  [[nodiscard]] bool areNewSettings(const std::string& bytes) const;

 private:
  [[nodiscard]] TracedProgram command(const std::vector<std::string>& arguments) const;

  TemporaryDirectory folder_;
  FilePlacing placing_;
  std::string unsorted_;
  /// The sorted file as text, without the root's identifier.
  std::string sortedText_;
  std::string sortedBytes_;
  /// The end of the names of dated backups, once one was made.
  std::string copyEnd_;
};

}  // namespace tarvel
