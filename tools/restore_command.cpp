// restore: the first copy, or a dated one, becomes the bookmarks file again, and what that held stays.

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <optional>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/commands.h"
#include "tools/copy_choice.h"
#include "tools/current_file.h"
#include "tools/dated_copies.h"
#include "tools/questioner.h"
#include "tools/shown_progress.h"

namespace tarvel {

namespace {

std::string quoted(std::string_view text) { return "“" + printable(text) + "”"; }

class Restoring {
 public:
  Restoring(const Platform& platform, const CommandLine& line)
      : platform_(platform),
        line_(line),
        file_(bookmarksFilePath(platform, line)),
        backup_(backupFilePath(platform, line)),
        copies_(platform, deletingLastPathComponent(backup_), file_) {}

  int fromFirstCopy();
  int fromCopy(Questioner& person);

 private:
  int complain(TarvelError code, const std::string& file, const std::string& reason = {}) const;
  void explain(TarvelError code) const;
  [[nodiscard]] TarvelError keepWhatIsReplaced();
  [[nodiscard]] bool isFree() const;
  [[nodiscard]] TarvelError readBoth(const std::string& copyPath);
  void showDifference(const std::string& copyPath) const;
  [[nodiscard]] bool isAgreedWith(Questioner& person) const;
  [[nodiscard]] int putBack(const std::string& copyPath);
  [[nodiscard]] FileStatus write() const;

  const Platform& platform_;
  const CommandLine& line_;
  std::string file_;
  std::string backup_;
  DatedCopies copies_;
  /// As it stood when it was read; of a file that is not there, the code tells.
  CurrentFile today_;
  FileReading copy_;
  CopyMaking kept_;
};

int Restoring::complain(TarvelError code, const std::string& file, const std::string& reason) const {
  const Painter painter(usesColor(line_.color, STDERR_FILENO));
  std::cerr << painter.red(Tarvel::stringFromTarvelErrorAndFilename(platform_.bundle, code, printable(file))) << "\n";
  if (!reason.empty()) std::cerr << printable(reason) << "\n";
  std::cerr << "Nothing was put back; " << quoted(file_) << " is as it was.\n";
  return code;
}

/// What the file holds is the only one there is, unless an earlier copy has the same.
TarvelError Restoring::keepWhatIsReplaced() {
  kept_ = copies_.keep(today_.reading.data, EarlierCopy::kAny);
  return kept_.status.ok() ? TarvelErrorNone : TarvelErrorBackupFailed;
}

void Restoring::explain(TarvelError code) const {
  switch (code) {
    case TarvelErrorBookmarksFileNotFound:
      std::cerr << "There is no backup at " << quoted(backup_) << "; name another with --backup-file.\n";
      break;
    case TarvelErrorOutputFileNotFound:
      std::cerr << "There is nothing at " << quoted(file_)
                << ". To have the backup there all the same: tarvel restore --from " << quoted(backup_) << "\n";
      break;
    default:
      std::cerr << quoted(file_) << " is as it was, and so is the backup " << quoted(backup_) << ".\n";
  }
}

int Restoring::fromFirstCopy() {
  FileManager& files = platform_.fileManager;
  const bool replaces = files.fileExistsAtPath(file_) && files.fileExistsAtPath(backup_);
  if (replaces) {
    today_ = readCurrentFile(platform_, file_);
    if (today_.code != TarvelErrorNone) return complain(today_.code, file_, today_.reading.status.reason);
    if (keepWhatIsReplaced() != TarvelErrorNone) {
      return complain(TarvelErrorBackupFailed, copies_.folder(), kept_.status.reason);
    }
    // Somebody has saved since: that would be lost.
    if (files.modificationDateAtPath(file_) != today_.reading.version.date) {
      return complain(TarvelErrorFileInUse, file_);
    }
  }
  Tarvel tarvel(platform_);
  tarvel.setBookmarksFilename(file_);
  tarvel.setBackupFilename(backup_);
  const TarvelError error = tarvel.restoreBackedUpBookmarks();
  if (error != TarvelErrorNone) {
    const Painter painter(usesColor(line_.color, STDERR_FILENO));
    std::cerr << painter.red(Tarvel::stringFromTarvelError(platform_.bundle, error)) << "\n";
    explain(error);
    return error;
  }
  std::cout << "The backup " << quoted(backup_) << " is the bookmarks file " << quoted(file_) << " again.\n"
            << "What it held before is kept as " << quoted(kept_.copy.path) << ".\n";
  return error;
}

/// Waits for the browser as a sort does.
bool Restoring::isFree() const {
  constexpr int kMostAttempts = 10;
  constexpr std::chrono::milliseconds kPause{300};
  const std::string lock = deletingLastPathComponent(file_) + "/lock";
  for (int i = 0; i < kMostAttempts; ++i) {
    if (!platform_.fileManager.fileExistsAtPath(lock)) return true;
    platform_.clock.sleepFor(kPause);
  }
  return false;
}

TarvelError Restoring::readBoth(const std::string& copyPath) {
  copy_ = platform_.fileManager.contentsAtPath(copyPath);
  if (!copy_.status.ok()) return copy_.status.code == ENOENT ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
  return bookmarkCount(platform_, copy_.data) ? TarvelErrorNone : TarvelErrorNotBookmarksFile;
}

void Restoring::showDifference(const std::string& copyPath) const {
  if (today_.code != TarvelErrorNone) {
    std::cout << "There is nothing at " << quoted(file_) << "; the copy " << quoted(copyPath)
              << " would be put there.\n";
    return;
  }
  std::optional<ShownProgress> shown(platform_);
  const DifferenceReading difference = differenceOf(shown->platform(), file_, copyPath);
  shown.reset();
  if (difference.code != TarvelErrorNone) {
    std::cout << printable(difference.message) << "\nSo what would change cannot be shown.\n";
    return;
  }
  std::cout << differenceAsText(difference.report, Painter(usesColor(line_.color, STDOUT_FILENO)));
}

FileStatus Restoring::write() const {
  const DataPieces bytes{{copy_.data.bytes()}, {}};
  if (today_.code == TarvelErrorNone) {
    return platform_.fileManager.writeDataToPath(bytes, file_, today_.reading.version);
  }
  return platform_.fileManager.createFileAtPath(bytes, file_);
}

int Restoring::fromCopy(Questioner& person) {
  const CopyChoice choice = chooseCopy(platform_, copies_, backup_, line_.copies.from);
  if (choice.path.empty()) {
    std::cerr << "tarvel: " << choice.complaint << "\n";
    return TarvelErrorBookmarksFileNotFound;
  }
  if (const TarvelError code = readBoth(choice.path); code != TarvelErrorNone) {
    return complain(code, choice.path, copy_.status.reason);
  }
  if (!isFree()) return complain(TarvelErrorFileInUse, file_);
  today_ = readCurrentFile(platform_, file_);
  const bool isThere = today_.code == TarvelErrorNone;
  if (!isThere && today_.code != TarvelErrorBookmarksFileNotFound) {
    return complain(today_.code, file_, today_.reading.status.reason);
  }
  if (isThere && haveSameBytes(today_.reading.data, copy_.data)) {
    std::cout << quoted(file_) << " is the same as the copy " << quoted(choice.path) << " already.\n";
    return 0;
  }
  showDifference(choice.path);
  return isAgreedWith(person) ? putBack(choice.path) : kExitWouldChange;
}

bool Restoring::isAgreedWith(Questioner& person) const {
  if (line_.copies.isAgreed) return true;
  if (!person.isThere()) {
    std::cout << "Nothing was put back, as nobody can be asked here. To put it back unasked, add --yes.\n";
    return false;
  }
  if (person.agreesTo("Put this copy back?")) return true;
  std::cout << "Nothing was put back.\n";
  return false;
}

int Restoring::putBack(const std::string& copyPath) {
  const bool isThere = today_.code == TarvelErrorNone;
  if (!isFree()) return complain(TarvelErrorFileInUse, file_);
  if (isThere && keepWhatIsReplaced() != TarvelErrorNone) {
    return complain(TarvelErrorBackupFailed, copies_.folder(), kept_.status.reason);
  }
  const FileStatus written = write();
  const bool hasChanged = written.code == kFileHasChanged || (!isThere && written.code == EEXIST);
  if (hasChanged) return complain(TarvelErrorFileInUse, file_);
  if (!written.ok()) return complain(TarvelErrorWriteFailed, file_, written.reason);
  std::cout << "The copy " << quoted(copyPath) << " is the bookmarks file " << quoted(file_)
            << " now; the copy stays.\n";
  if (isThere) std::cout << "What the file held before is kept as " << quoted(kept_.copy.path) << ".\n";
  return 0;
}

}  // namespace

int runRestore(const Platform& platform, const CommandLine& line, Questioner& person) {
  Restoring restoring(platform, line);
  return line.copies.from.empty() ? restoring.fromFirstCopy() : restoring.fromCopy(person);
}

}  // namespace tarvel
