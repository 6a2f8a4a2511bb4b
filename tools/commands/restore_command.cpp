// restore: the initial backup, or another one, becomes the bookmarks file again. What the file held is saved first.

#include <cerrno>
#include <iostream>
#include <optional>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/backups/backup_choice.h"
#include "tools/backups/backup_store.h"
#include "tools/backups/command_paths.h"
#include "tools/backups/kept_saves.h"
#include "tools/commands/commands.h"
#include "tools/commands/difference.h"
#include "tools/files/current_file.h"
#include "tools/files/paths.h"
#include "tools/files/retry.h"
#include "tools/report/change_json.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

bool isOneFile(const FileVersion& first, const FileVersion& second) {
  return first.device == second.device && first.file == second.file;
}

class Restoring {
 public:
  Restoring(Answer& answer, const Platform& platform, const CommandLine& line, const CommandSettings& settings,
            const RestoreContext& context)
      : answer_(answer),
        platform_(platform),
        line_(line),
        context_(context),
        file_(bookmarksFilePath(platform.fileManager, line, settings)),
        destination_(destinationOf(file_)),
        initialBackup_(backupOf(platform.fileManager, line, settings)),
        store_(platform, initialBackup_.path, file_),
        backup_(initialBackup_.path) {
    answer_["file"] = file_;
    answer_["restored"] = false;
  }

  [[nodiscard]] int fromInitialBackup();
  [[nodiscard]] int fromGiven();

 private:
  int complain(TarvelError code, const std::string& file, const std::string& reason = {}) const;
  int complainOfNoBackup() const;
  int complainOfNoFile() const;
  [[nodiscard]] bool isFree(StageObserver* stages) const;
  [[nodiscard]] TarvelError readBackup();
  /// Reads the backup, and the file once no browser uses it. A file that does not exist is not an error.
  [[nodiscard]] int readBoth();
  void showDifference() const;
  /// Says which other file the backup was made of, if it was.
  void sayOrigin() const;
  /// Says that an agent would sort the file again, and offers to turn it off.
  void warnOfAgent() const;
  void sayAgentComes() const;
  [[nodiscard]] bool canAsk() const { return context_.prompt.isInteractive() && !answer_.isJson(); }
  /// `isNeeded`: without a terminal, it takes --yes.
  [[nodiscard]] bool isConfirmed(bool isNeeded) const;
  void refuseToAsk() const;
  /// Saves what the file holds, then writes the backup's bytes to it. Returns 0, or complains.
  [[nodiscard]] int replaceFile();
  [[nodiscard]] FileStatus write() const;
  void sayRestored(const std::string& sentence) const;
  [[nodiscard]] bool hasFile() const { return current_.code == TarvelErrorNone; }

  Answer& answer_;
  const Platform& platform_;
  const CommandLine& line_;
  const RestoreContext& context_;
  std::string file_;
  /// A link that is there from the beginning is the user's and is followed; one that is put there later is not.
  std::string destination_;
  InitialBackup initialBackup_;
  BackupStore store_;
  /// The path of the backup to put back.
  std::string backup_;
  /// As it was read. Of a file that does not exist, the code says so.
  CurrentFile current_;
  FileReading contents_;
  KeptBackup kept_;
};

int Restoring::complain(TarvelError code, const std::string& file, const std::string& reason) const {
  answer_.complain(messageOf(platform_, {code, file, reason}));
  return code;
}

int Restoring::complainOfNoBackup() const {
  Message message{{"There is no initial backup of " + quotedPath(file_) + ".",
                   "The file has not been sorted yet, or not since it was restored.",
                   "Name a backup that is elsewhere with --backup-file.", kNothingChanged},
                  "tarvel backup list" + wordsForPlaces(line_)};
  // The agent's backup may be of this file, and not say so.
  const InitialBackup agents = backupAt(platform_.fileManager, agentBackupFile(platform_.fileManager), file_);
  if (agents.path != backup_ && agents.origin == BackupOrigin::kUnrecorded) {
    message.sentences.insert(message.sentences.end(),
                             {quotedPath(agents.path) + " does not record its file.", "To see what it would change:"});
    message.command = "tarvel restore --dry-run --from " + shellWord(agents.path) + wordsForPlaces(line_);
  } else {
    message.sentences.emplace_back("To see which other backups there are:");
  }
  answer_.complain(message);
  return TarvelErrorBookmarksFileNotFound;
}

int Restoring::complainOfNoFile() const {
  const bool hasBackup = platform_.fileManager.fileExistsAtPath(backup_);
  answer_.complain({{"There is no bookmarks file " + quotedPath(file_) + ".", kNothingChanged,
                     hasBackup ? "To put the backup there all the same:" : "To see which other backups there are:"},
                    (hasBackup ? "tarvel restore --from " + shellWord(backup_) : std::string("tarvel backup list")) +
                        wordsForPlaces(line_)});
  return TarvelErrorOutputFileNotFound;
}

void Restoring::warnOfAgent() const {
  const bool isWatched = context_.isWatched(file_);
  answer_["agentIsRunning"] = isWatched;
  if (!isWatched || answer_.isJson()) return;
  answer_.say("Automatic sorting is on, and would sort the restored file again.");
  if (!canAsk() || line_.backups.isAgreed || line_.isDryRun) {
    answer_.hint("To turn it off first:", "tarvel agent disable");
    return;
  }
  if (!context_.prompt.confirm("Turn automatic sorting off first?")) return;
  const std::string complaint = context_.disableAgent();
  if (complaint.empty()) {
    answer_.say("Automatic sorting is off.");
    answer_.hint("To turn it on again:", "tarvel agent enable");
  } else {
    answer_.complain({{complaint}, {}});
  }
}

/// Asked again once it is done: an agent may have been started, or stopped, in the meantime.
void Restoring::sayAgentComes() const {
  if (!context_.isWatched(file_)) return;
  answer_.say("The agent is running, and is about to sort this file again.");
  answer_.hint("To keep the file as it is now, turn that off and restore once more:", "tarvel agent disable");
}

void Restoring::sayRestored(const std::string& sentence) const {
  answer_["restored"] = true;
  answer_["saved"] = hasFile() ? Answer::Json(kept_.backup.path) : Answer::Json();
  answer_.say(sentence);
  if (hasFile()) answer_.say("Previous contents saved as " + quotedPath(kept_.backup.path) + ".");
  sayAgentComes();
}

int Restoring::fromInitialBackup() {
  FileManager& files = platform_.fileManager;
  if (!files.fileExistsAtPath(file_)) return complainOfNoFile();
  if (!files.fileExistsAtPath(backup_)) return complainOfNoBackup();
  if (const int code = readBoth(); code != 0) return code;
  if (!hasFile()) return complainOfNoFile();
  if (isOneFile(current_.reading.version, contents_.version)) {
    return complain(TarvelErrorWriteFailed, file_, "It is the backup itself, by the same or another name.");
  }
  const bool isUnrecorded = initialBackup_.origin == BackupOrigin::kUnrecorded;
  warnOfAgent();
  if (canAsk() || isUnrecorded || line_.isDryRun || answer_.isJson()) showDifference();
  if (isUnrecorded) {
    answer_.say("The backup " + quotedPath(backup_) + " does not record which file it was made of.");
  }
  if (!isConfirmed(isUnrecorded)) return kExitWouldChange;
  if (const int code = replaceFile(); code != 0) return code;
  sayRestored("The initial backup is the bookmarks file " + quotedPath(file_) + " again.");
  // Only now, so that at any moment one of the two exists.
  const FileStatus removed = files.removeItemAtPath(backup_);
  if (removed.ok()) return 0;
  answer_.complain(
      {{"The initial backup " + quotedPath(backup_) + " stays too, since it could not be removed.", reasonOf(removed)},
       {}});
  return kExitFailed;
}

/// Waits for the browser as a sort does.
bool Restoring::isFree(StageObserver* stages) const {
  const std::string lock = deletingLastPathComponent(file_) + "/lock";
  return retry(platform_.clock, [&] {
    if (!platform_.fileManager.fileExistsAtPath(lock)) return true;
    if (stages != nullptr) stages->stageBegan(SortStage::kWaiting);
    return false;
  });
}

TarvelError Restoring::readBackup() {
  contents_ = platform_.fileManager.contentsAtPath(backup_);
  if (!contents_.status.ok()) {
    return contents_.status.code == ENOENT ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
  }
  return bookmarkCount(platform_, contents_.data) ? TarvelErrorNone : TarvelErrorNotBookmarksFile;
}

int Restoring::readBoth() {
  std::optional<ShownProgress> shown(platform_);
  const TarvelError code = readBackup();
  const bool hasBackup = code == TarvelErrorNone;
  const bool isUsable = hasBackup && isFree(shown->observer());
  if (isUsable) current_ = readCurrentFile(platform_, file_);
  shown.reset();
  if (code == TarvelErrorBookmarksFileNotFound) {
    answer_.complain({{"There is no backup " + quotedPath(backup_) + ".", kNothingChanged}, {}});
    return code;
  }
  if (!hasBackup) return complain(code, backup_, reasonFor(platform_, backup_));
  if (!isUsable) return complain(TarvelErrorFileInUse, file_);
  // From here on, only the file that was read is replaced.
  if (destinationOf(file_) != destination_) {
    return complain(TarvelErrorFileInUse, file_, "Its path leads to another file than a moment ago.");
  }
  const bool isKnown = hasFile() || current_.code == TarvelErrorBookmarksFileNotFound;
  return isKnown ? 0 : complain(current_.code, file_, reasonOf(current_.reading.status));
}

void Restoring::showDifference() const {
  if (!hasFile()) {
    answer_.say("There is no bookmarks file " + quotedPath(file_) + "; the backup " + quotedPath(backup_) +
                " would be put there.");
    return;
  }
  std::optional<ShownProgress> shown(platform_);
  const Difference difference = differenceOf(shown->platform(), file_, backup_);
  shown.reset();
  if (difference.failure.code != 0) {
    Message message = messageOf(platform_, difference.failure);
    message.sentences.back() = "So the difference cannot be shown.";
    answer_.complain(message);
    return;
  }
  if (answer_.isJson()) {
    setChanges(answer_, difference.comparison);
    return;
  }
  answer_.page();
  answer_.print("From " + quotedPath(file_) + " to " + quotedPath(backup_) + ":\n");
  answer_.say(differenceSummary(difference.comparison));
  if (!line_.output.isQuiet) {
    answer_.print(differenceText(difference.comparison, answer_.painter(), line_.output.isVerbose));
  }
  // The question is asked below what the pager has shown.
  answer_.endPage();
}

void Restoring::sayOrigin() const {
  const InitialBackup backup = backupAt(platform_.fileManager, backup_, file_);
  if (backup.origin != BackupOrigin::kAnotherFile) return;
  answer_.say("This backup was made of another file, " + quotedPath(backup.madeOf) + ".");
}

FileStatus Restoring::write() const {
  const DataPieces bytes{{contents_.data.bytes()}, {}};
  if (hasFile()) return platform_.fileManager.writeDataToPath(bytes, file_, current_.reading.version);
  return platform_.fileManager.createFileAtPath(bytes, file_);
}

int Restoring::fromGiven() {
  const BackupChoice choice = chooseBackup(platform_, store_, backup_, line_.backups.from, wordsForPlaces(line_));
  if (choice.path.empty()) {
    answer_.complain(choice.complaint);
    return choice.code;
  }
  backup_ = choice.path;
  if (isSameFile(backup_, file_)) {
    answer_.complain(
        {{quotedPath(backup_) + " is the bookmarks file itself.", kNothingChanged, "To see which backups there are:"},
         "tarvel backup list" + wordsForPlaces(line_)});
    return kExitUsage;
  }
  if (const int code = readBoth(); code != 0) return code;
  if (hasFile() && haveSameBytes(current_.reading.data, contents_.data)) {
    answer_.say(quotedPath(file_) + " is the same as the backup " + quotedPath(backup_) + " already.");
    return 0;
  }
  warnOfAgent();
  showDifference();
  sayOrigin();
  if (!isConfirmed(true)) return kExitWouldChange;
  if (const int code = replaceFile(); code != 0) return code;
  sayRestored("The backup " + quotedPath(backup_) + " is the bookmarks file " + quotedPath(file_) +
              " now; the backup stays.");
  return 0;
}

bool Restoring::isConfirmed(bool isNeeded) const {
  if (line_.isDryRun) {
    answer_.say(kNothingChanged);
    return false;
  }
  if (line_.backups.isAgreed) return true;
  if (!canAsk()) {
    if (isNeeded) refuseToAsk();
    return !isNeeded;
  }
  // Consent counts only when the difference could be shown.
  const bool isShown = static_cast<bool>(std::cout.flush());
  if (isShown && context_.prompt.confirm("Put this backup back?")) return true;
  answer_.say(kNothingChanged);
  return false;
}

void Restoring::refuseToAsk() const {
  const std::string& from = line_.backups.from;
  answer_.say(std::string("There is no terminal to ask on. ") + kNothingChanged);
  answer_.hint("To put it back without asking:",
               "tarvel restore --yes" + (from.empty() ? "" : " --from " + shellWord(backup_)) + wordsForPlaces(line_));
}

int Restoring::replaceFile() {
  std::optional<ShownProgress> shown(platform_);
  if (!isFree(shown->observer())) {
    shown.reset();
    return complain(TarvelErrorFileInUse, file_);
  }
  // Checked before a backup is made that might be of no use.
  if (hasFile() && platform_.fileManager.isOpenForWritingAtPath(file_)) {
    shown.reset();
    return complain(TarvelErrorFileInUse, file_);
  }
  // The file's contents may exist nowhere else.
  if (hasFile()) kept_ = store_.keep(current_.reading.data);
  const FileStatus written = kept_.status.ok() ? write() : FileStatus{};
  shown.reset();
  if (!kept_.status.ok()) {
    return complain(TarvelErrorBackupFailed, store_.folder(), reasonOf(kept_.status));
  }
  // A concurrent write since then would be lost.
  if (written.code == kFileHasChanged) return complain(TarvelErrorFileInUse, file_);
  if (!hasFile() && written.code == EEXIST) {
    if (platform_.fileManager.fileExistsAtPath(file_)) return complain(TarvelErrorFileInUse, file_);
    return complain(TarvelErrorWriteFailed, file_, "It is a link that leads nowhere; remove it, then try again.");
  }
  return written.ok() ? 0 : complain(TarvelErrorWriteFailed, file_, reasonOf(written));
}

}  // namespace

int runRestore(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
               const RestoreContext& context) {
  Answer answer(line.name, line.output);
  Restoring restoring(answer, platform, line, settings, context);
  const int status = line.backups.from.empty() ? restoring.fromInitialBackup() : restoring.fromGiven();
  sayKeptSaves(answer, platform.fileManager, bookmarksFilePath(platform.fileManager, line, settings));
  return answer.end(status);
}

}  // namespace tarvel
