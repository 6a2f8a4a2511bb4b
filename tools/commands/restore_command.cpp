// restore: the initial backup, or a dated one, becomes the bookmarks file again, and what that held stays.

#include <unistd.h>

#include <cerrno>
#include <functional>
#include <iostream>
#include <optional>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/backups/backup_choice.h"
#include "tools/backups/backup_store.h"
#include "tools/backups/command_paths.h"
#include "tools/backups/kept_saves.h"
#include "tools/commands/commands.h"
#include "tools/files/current_file.h"
#include "tools/files/paths.h"
#include "tools/terminal/confirmation_prompt.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string quoted(std::string_view text) { return "“" + printable(text) + "”"; }

/// Whatever their paths, links and names are.
bool isOneFile(const FileVersion& first, const FileVersion& second) {
  return first.device == second.device && first.file == second.file;
}

class Restoring {
 public:
  Restoring(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
            const std::function<bool(const std::string&)>& isWatched)
      : platform_(platform),
        line_(line),
        isWatched_(isWatched),
        file_(bookmarksFilePath(platform.fileManager, line, settings)),
        destination_(destinationOf(file_)),
        initialBackup_(backupOf(platform.fileManager, line, settings)),
        backup_(initialBackup_.path),
        copies_(platform, backup_, file_) {}

  int fromInitialBackup(ConfirmationPrompt& prompt);
  int fromCopy(ConfirmationPrompt& prompt);

 private:
  int complain(TarvelError code, const std::string& file, const std::string& reason = {}) const;
  int complainOfMissing(TarvelError code) const;
  /// Points to an initial backup that may be of this file, and does not say so.
  void tellOfUnrecorded() const;
  [[nodiscard]] bool isFree(StageObserver* stages) const;
  [[nodiscard]] TarvelError readCopy(const std::string& copyPath);
  /// Reads the copy, and the file once nobody uses it. A file that is not there is no error.
  [[nodiscard]] int readBoth(const std::string& copyPath);
  void warnOfAgent() const;
  void tellOfAgent() const;
  void showDifference(const std::string& copyPath) const;
  /// Says which other file a backup was made of, where it was one.
  void tellOrigin(const std::string& copyPath) const;
  [[nodiscard]] bool isAgreedWith(ConfirmationPrompt& prompt) const;
  /// Keeps what the file holds, then writes the copy's bytes to it. Answers 0, or complains.
  [[nodiscard]] int replaceFile();
  [[nodiscard]] FileStatus write() const;
  void tellWhatWasKept() const;

  const Platform& platform_;
  const CommandLine& line_;
  const std::function<bool(const std::string&)>& isWatched_;
  std::string file_;
  /// A link that is there from the beginning is the user's and is followed; one that is put there later is not.
  std::string destination_;
  InitialBackup initialBackup_;
  std::string backup_;
  BackupStore copies_;
  /// As it stood when it was read; of a file that is not there, the code tells.
  CurrentFile today_;
  FileReading copy_;
  KeptBackup kept_;
};

int Restoring::complain(TarvelError code, const std::string& file, const std::string& reason) const {
  const Painter painter(usesColor(line_.color, STDERR_FILENO));
  std::cerr << painter.red(Tarvel::stringFromTarvelErrorAndFilename(platform_.bundle, code, printable(file))) << "\n";
  if (!reason.empty()) std::cerr << printable(reason) << "\n";
  std::cerr << "Nothing was put back; " << quoted(file_) << " is as it was.\n";
  return code;
}

int Restoring::complainOfMissing(TarvelError code) const {
  const Painter painter(usesColor(line_.color, STDERR_FILENO));
  std::cerr << painter.red(Tarvel::stringFromTarvelError(platform_.bundle, code)) << "\n";
  if (code == TarvelErrorBookmarksFileNotFound) {
    std::cerr << "There is no backup at " << quoted(backup_) << ": " << quoted(file_)
              << " has not been sorted since one was put back, or ever.\n"
              << "To see whether there are other backups: tarvel backup list" << wordsForPlaces(line_)
              << "\nA backup elsewhere is named with --backup-file.\n";
    tellOfUnrecorded();
  } else {
    const bool hasBackup = platform_.fileManager.fileExistsAtPath(backup_);
    std::cerr << "There is nothing at " << quoted(file_) << ". "
              << (hasBackup ? "To have the backup there all the same: tarvel restore --from " + shellWord(backup_) +
                                  wordsForPlaces(line_)
                            : std::string("Nor is there a backup; to see whether there are other copies: tarvel backup "
                                          "list"))
              << "\n";
  }
  return code;
}

void Restoring::tellOfUnrecorded() const {
  const InitialBackup agents = backupAt(platform_.fileManager, agentBackupFile(platform_.fileManager), file_);
  if (agents.path == backup_ || agents.origin != BackupOrigin::kUnrecorded) return;
  std::cerr << quoted(agents.path) << " does not tell which file it was made of. To see what it would change: "
            << "tarvel restore --from " << shellWord(agents.path) << wordsForPlaces(line_) << "\n";
}

void Restoring::warnOfAgent() const {
  if (!isWatched_(file_)) return;
  std::cout << "The agent runs, and would sort what is put back. To have it stay, turn sorting off first: tarvel agent "
               "disable\n";
}

/// Asked once it is done, too: an agent may have been started, or ended, while somebody thought about it.
void Restoring::tellOfAgent() const {
  if (!isWatched_(file_)) return;
  std::cout << "The agent runs, and is about to sort this file again. To have it stay as it is now: tarvel agent "
               "disable, and then, should it be sorted by that time, the same restore once more.\n";
}

int Restoring::fromInitialBackup(ConfirmationPrompt& prompt) {
  FileManager& files = platform_.fileManager;
  if (!files.fileExistsAtPath(file_)) return complainOfMissing(TarvelErrorOutputFileNotFound);
  if (!files.fileExistsAtPath(backup_)) return complainOfMissing(TarvelErrorBookmarksFileNotFound);
  if (const int code = readBoth(backup_); code != 0) return code;
  if (today_.code != TarvelErrorNone) return complainOfMissing(TarvelErrorOutputFileNotFound);
  if (isOneFile(today_.reading.version, copy_.version)) {
    return complain(TarvelErrorWriteFailed, file_, "It is the backup itself, by another name or the same.");
  }
  // What does not tell its file may be another file's.
  if (initialBackup_.origin == BackupOrigin::kUnrecorded) {
    showDifference(backup_);
    std::cout << "The backup " << quoted(backup_) << " does not tell which file it was made of.\n";
    if (!isAgreedWith(prompt)) return kExitWouldChange;
  }
  if (const int code = replaceFile(); code != 0) return code;
  std::cout << "The backup " << quoted(backup_) << " is the bookmarks file " << quoted(file_) << " again.\n";
  tellWhatWasKept();
  tellOfAgent();
  // Only now, so that the two are never both gone.
  const FileStatus removed = files.removeItemAtPath(backup_);
  if (removed.ok()) return 0;
  std::cerr << "tarvel: The backup " << quoted(backup_)
            << " stays too, as it could not be removed: " << printable(removed.reason) << "\n";
  return kExitFailed;
}

/// Waits for the browser as a sort does.
bool Restoring::isFree(StageObserver* stages) const {
  constexpr int kMostAttempts = 10;
  constexpr std::chrono::milliseconds kPause{300};
  const std::string lock = deletingLastPathComponent(file_) + "/lock";
  for (int i = 0; i < kMostAttempts; ++i) {
    if (!platform_.fileManager.fileExistsAtPath(lock)) return true;
    if (stages != nullptr) stages->stageBegan(SortStage::kWaiting);
    platform_.clock.sleepFor(kPause);
  }
  return false;
}

TarvelError Restoring::readCopy(const std::string& copyPath) {
  copy_ = platform_.fileManager.contentsAtPath(copyPath);
  if (!copy_.status.ok()) return copy_.status.code == ENOENT ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
  return bookmarkCount(platform_, copy_.data) ? TarvelErrorNone : TarvelErrorNotBookmarksFile;
}

int Restoring::readBoth(const std::string& copyPath) {
  std::optional<ShownProgress> shown(platform_);
  const TarvelError code = readCopy(copyPath);
  const bool hasCopy = code == TarvelErrorNone;
  const bool isUsable = hasCopy && isFree(shown->observer());
  if (isUsable) today_ = readCurrentFile(platform_, file_);
  shown.reset();
  if (!hasCopy) return complain(code, copyPath, copy_.status.reason);
  if (!isUsable) return complain(TarvelErrorFileInUse, file_);
  // From here on only what was read is replaced.
  if (destinationOf(file_) != destination_) {
    return complain(TarvelErrorFileInUse, file_, "Its path leads somewhere else than a moment ago.");
  }
  const bool isKnown = today_.code == TarvelErrorNone || today_.code == TarvelErrorBookmarksFileNotFound;
  return isKnown ? 0 : complain(today_.code, file_, today_.reading.status.reason);
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

void Restoring::tellOrigin(const std::string& copyPath) const {
  const InitialBackup copy = backupAt(platform_.fileManager, copyPath, file_);
  if (copy.origin != BackupOrigin::kAnotherFile) return;
  std::cout << "This backup was made of another file, " << quoted(copy.madeOf) << ".\n";
}

FileStatus Restoring::write() const {
  const DataPieces bytes{{copy_.data.bytes()}, {}};
  if (today_.code == TarvelErrorNone) {
    return platform_.fileManager.writeDataToPath(bytes, file_, today_.reading.version);
  }
  return platform_.fileManager.createFileAtPath(bytes, file_);
}

int Restoring::fromCopy(ConfirmationPrompt& prompt) {
  const BackupChoice choice = chooseBackup(platform_, copies_, backup_, line_.copies.from);
  if (choice.path.empty()) {
    std::cerr << "tarvel: " << choice.complaint << "\n";
    return choice.code;
  }
  if (isSameFile(choice.path, file_)) {
    std::cerr << "tarvel: " << quoted(choice.path)
              << " is the bookmarks file itself. Name a backup; to see which there "
              << "are: tarvel backup list" << wordsForPlaces(line_) << "\n";
    return kExitUsage;
  }
  if (const int code = readBoth(choice.path); code != 0) return code;
  const bool isInteractive = today_.code == TarvelErrorNone;
  if (isInteractive && haveSameBytes(today_.reading.data, copy_.data)) {
    std::cout << quoted(file_) << " is the same as the copy " << quoted(choice.path) << " already.\n";
    return 0;
  }
  showDifference(choice.path);
  tellOrigin(choice.path);
  warnOfAgent();
  if (!isAgreedWith(prompt)) return kExitWouldChange;
  if (const int code = replaceFile(); code != 0) return code;
  std::cout << "The copy " << quoted(choice.path) << " is the bookmarks file " << quoted(file_)
            << " now; the copy stays.\n";
  if (isInteractive) tellWhatWasKept();
  tellOfAgent();
  return 0;
}

bool Restoring::isAgreedWith(ConfirmationPrompt& prompt) const {
  if (line_.copies.isAgreed) return true;
  if (!prompt.isInteractive()) {
    std::cout << "Nothing was put back, as nobody can be asked here. To put it back unasked, add --yes.\n";
    return false;
  }
  // Nobody agrees to what they could not see.
  const bool isShown = static_cast<bool>(std::cout.flush());
  if (isShown && prompt.confirm("Put this copy back?")) return true;
  std::cout << "Nothing was put back.\n";
  return false;
}

int Restoring::replaceFile() {
  const bool isInteractive = today_.code == TarvelErrorNone;
  std::optional<ShownProgress> shown(platform_);
  if (!isFree(shown->observer())) {
    shown.reset();
    return complain(TarvelErrorFileInUse, file_);
  }
  // Asked before anything is kept, of which nothing might come.
  if (isInteractive && platform_.fileManager.isOpenForWritingAtPath(file_)) {
    shown.reset();
    return complain(TarvelErrorFileInUse, file_);
  }
  // What the file holds may be the only one there is.
  if (isInteractive) kept_ = copies_.keep(today_.reading.data);
  const FileStatus written = kept_.status.ok() ? write() : FileStatus{};
  shown.reset();
  if (!kept_.status.ok()) return complain(TarvelErrorBackupFailed, copies_.folder(), kept_.status.reason);
  // Somebody has saved since: that would be lost.
  if (written.code == kFileHasChanged) return complain(TarvelErrorFileInUse, file_);
  if (!isInteractive && written.code == EEXIST) {
    if (platform_.fileManager.fileExistsAtPath(file_)) return complain(TarvelErrorFileInUse, file_);
    return complain(TarvelErrorWriteFailed, file_, "It is a link that leads nowhere; remove it, then try again.");
  }
  return written.ok() ? 0 : complain(TarvelErrorWriteFailed, file_, written.reason);
}

void Restoring::tellWhatWasKept() const {
  std::cout << "What it held before is kept as " << quoted(kept_.copy.path) << ".\n";
}

}  // namespace

int runRestore(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
               ConfirmationPrompt& prompt, const std::function<bool(const std::string&)>& isWatched) {
  Restoring restoring(platform, line, settings, isWatched);
  const int code = line.copies.from.empty() ? restoring.fromInitialBackup(prompt) : restoring.fromCopy(prompt);
  tellOfKeptSaves(platform.fileManager, bookmarksFilePath(platform.fileManager, line, settings));
  return code;
}

}  // namespace tarvel
