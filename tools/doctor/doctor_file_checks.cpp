// tarvel doctor: the bookmarks file and what is around it.

#include <algorithm>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/backups/initial_backup.h"
#include "tools/backups/kept_saves.h"
#include "tools/compare/change_recorder.h"
#include "tools/doctor/doctor.h"
#include "tools/files/preview_file_manager.h"
#include "tools/report/failure_text.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr const char* kChooseFile = "If your file is elsewhere, name it:";
constexpr const char* kSetFile = "tarvel settings set bookmarks-filename PATH";
/// A browser holds the lock for moments.
constexpr double kLongestHold = 600;

class SilentLog final : public SystemLog {
 public:
  void log(std::string_view /*message*/) override {}
};

/// The folder of the file itself, links followed; of its path when there is no file.
std::string folderOf(const DoctorContext& context) {
  const std::string file = bookmarksFileOf(context.agent);
  const PathFacts facts = context.probe.path(file);
  return deletingLastPathComponent(facts.realPath.empty() ? file : facts.realPath);
}

bool isFolder(const DoctorContext& context, const std::string& path) {
  return context.probe.path(path).kind == PathKind::kFolder;
}

std::string ageText(double seconds) {
  const auto minutes = static_cast<std::int64_t>(seconds / 60);
  if (minutes < 120) return std::to_string(minutes) + " minutes";
  return minutes < 2880 ? std::to_string(minutes / 60) + " hours" : std::to_string(minutes / 1440) + " days";
}

struct Trial {
  TarvelError code = TarvelErrorNone;
  bool wouldChange = false;
};

/// The agent's next sort, in memory.
Trial trySort(const DoctorContext& context, const std::string& file) {
  PreviewFileManager copy(context.platform.fileManager, file);
  SilentLog log;
  const Platform& real = context.platform;
  const Platform preview{real.propertyLists, copy,           real.collator, real.uuidSource, log,
                         real.bundle,        real.workspace, real.clock};
  Tarvel tarvel(preview);
  ChangeRecorder recorder;
  tarvel.setArrangeFoldersAtTop(isSettingOn(context.agent, kFoldersAtTopKey));
  tarvel.setRemoveDuplicates(isSettingOn(context.agent, kRemoveDuplicatesKey));
  tarvel.setRenameSamenamed(isSettingOn(context.agent, kRenameSamenamedKey));
  tarvel.setSortBookmarksBar(isSettingOn(context.agent, kSortBookmarksBarKey));
  tarvel.setBookmarksFilename(file);
  tarvel.setSortObserver(&recorder);
  const TarvelError code = tarvel.sortBookmarks();
  return {code, recorder.changes().isOrderChanged};
}

Finding rightsOf(const PathFacts& facts, const std::string& file) {
  if (!facts.isReadable || !facts.isWritable) {
    const std::string text = "You do not have permission to " + std::string(facts.isReadable ? "write" : "read") + " " +
                             quotedPath(file) + ".";
    if (!facts.isOwn) return problem("bookmarks-file", text, "It belongs to another user; use a file of your own.");
    return problem("bookmarks-file", text, "Give yourself permission:", "chmod u+rw " + shellWord(file));
  }
  return fine("bookmarks-file", "The bookmarks file is " + quotedPath(file) + ".");
}

/// A message whose last sentence is the advice.
Finding problemOf(const char* check, const Message& message) {
  const std::vector<std::string> text(message.sentences.begin(), message.sentences.end() - 1);
  return problem(check, joinedSentences(text), message.sentences.back(), message.command);
}

}  // namespace

Findings checkBookmarksFile(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-file";
  const std::string file = bookmarksFileOf(context.agent);
  const PathFacts facts = context.probe.path(file);
  if (!file.starts_with('/')) {
    return {problem(kCheck, quotedPath(file) + " is not a full path, which the agent needs.", kChooseFile, kSetFile)};
  }
  switch (facts.kind) {
    case PathKind::kMissing:
      return {facts.isLink
                  ? problem(kCheck, quotedPath(file) + " is a link that leads nowhere.", kChooseFile, kSetFile)
                  : problem(kCheck, "There is no bookmarks file " + quotedPath(file) + ".", kChooseFile, kSetFile)};
    case PathKind::kUnknown:
      return {problem(kCheck, quotedPath(file) + " cannot be examined: " + facts.reason + ".",
                      "Give yourself permission to enter the folders above it.")};
    case PathKind::kFolder:
    case PathKind::kOther:
      return {problem(kCheck, quotedPath(file) + " is not a file.", kChooseFile, kSetFile)};
    default:
      break;
  }
  Findings findings{rightsOf(facts, file)};
  if (facts.isLink) findings.push_back(fine(kCheck, "It is a link to " + quotedPath(facts.realPath) + "."));
  return findings;
}

Findings checkContents(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-contents";
  const std::string file = bookmarksFileOf(context.agent);
  const PathFacts facts = context.probe.path(file);
  // A file that cannot be read is reported by checkBookmarksFile().
  if (facts.kind != PathKind::kFile || !facts.isReadable) return {};
  const Trial trial = trySort(context, file);
  if (trial.code != TarvelErrorNone) {
    Message message = messageOf(context.platform, failureOf(context.platform, trial.code, file));
    // Of a trial that goes without saying.
    message.sentences.back() = kChooseFile;
    message.command = kSetFile;
    return {problemOf(kCheck, message)};
  }
  if (!trial.wouldChange) return {fine(kCheck, "The bookmarks are in order.")};
  return {note(kCheck, "The next sort would change the file.", "To see how:", "tarvel preview")};
}

Findings checkKeptSaves(const DoctorContext& context) {
  Findings findings;
  const std::string file = bookmarksFileOf(context.agent);
  for (const std::string& save : context.agent.files.keptSavesAtPath(file)) {
    findings.push_back(problemOf("kept-saves", messageOfKeptSave(save, file)));
  }
  return findings;
}

Findings checkFolder(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-folder";
  const std::string folder = folderOf(context);
  const PathFacts facts = context.probe.path(folder);
  if (facts.kind == PathKind::kMissing) {
    return {note(kCheck, "The folder " + quotedPath(folder) + " does not exist; the agent waits for it.")};
  }
  if (facts.kind != PathKind::kFolder || !facts.isReadable || !facts.isExecutable) {
    return {problem(kCheck, "The folder " + quotedPath(folder) + " cannot be watched.",
                    "Give yourself permission:", "chmod u+rx " + shellWord(folder))};
  }
  if (!facts.isWritable) {
    return {
        note(kCheck,
             "You cannot create files in " + quotedPath(folder) +
                 ", so the bookmarks file is overwritten in place. A power failure at that instant would damage it.",
             "If you can, give yourself permission:", "chmod u+w " + shellWord(folder))};
  }
  return {fine(kCheck, "Its folder can be watched, and written to.")};
}

Findings checkFileSystem(const DoctorContext& context) {
  constexpr const char* kCheck = "file-system";
  const std::string folder = folderOf(context);
  if (!isFolder(context, folder)) return {};
  const FileSystemFacts facts = context.probe.fileSystem(folder);
  const std::string name = facts.name.empty() ? "of an unknown kind" : "of the kind " + printable(facts.name);
  Findings findings;
  if (facts.isReadOnly) {
    findings.push_back(problem(kCheck, "The file system, " + name + ", is mounted read-only.",
                               "Remount it read-write, or use a bookmarks file elsewhere."));
  } else if (facts.isRemote) {
    findings.push_back(
        note(kCheck, "The file system, " + name + ", does not report all changes, so it is polled every 30 seconds."));
  } else if (!facts.takesNamelessFiles) {
    findings.push_back(
        note(kCheck, "The file system, " + name +
                         ", has no unnamed files. During a write, a file “.tarvel-…” is beside the bookmarks file."));
  } else {
    findings.push_back(fine(kCheck, "The file system, " + name + ", reports every change."));
  }
  const std::uint64_t size = context.probe.path(bookmarksFileOf(context.agent)).size;
  // A sort writes a new file beside the old one, and may make a backup before.
  const std::uint64_t needed = 2 * size + 1'000'000;
  findings.push_back(facts.freeBytes < needed
                         ? problem("free-space",
                                   "There is too little space for a sort: " + sizeText(facts.freeBytes) +
                                       " are free, and " + sizeText(needed) + " may be needed.",
                                   "Free some space on the disk.")
                         : fine("free-space", "There is enough space for a sort."));
  return findings;
}

Findings checkLock(const DoctorContext& context) {
  constexpr const char* kCheck = "lock";
  const std::string lock = deletingLastPathComponent(bookmarksFileOf(context.agent)) + "/lock";
  const PathFacts facts = context.probe.path(lock);
  if (facts.kind == PathKind::kMissing && !facts.isLink) return {fine(kCheck, "No browser is using the file.")};
  const double age = facts.changed ? context.now - secondsSince2001(*facts.changed) : 0;
  if (age < kLongestHold) return {note(kCheck, "A browser is using the file now (" + quotedPath(lock) + ").")};
  return {problem(kCheck,
                  quotedPath(lock) + " has existed for " + ageText(age) + ", and nothing is sorted while it exists.",
                  "If no browser is using the file, remove it; a crash may have left it.")};
}

Findings checkBackup(const DoctorContext& context) {
  constexpr const char* kCheck = "backup";
  const std::string file = bookmarksFileOf(context.agent);
  const std::string backup = agentBackupFile(context.agent.files);
  const InitialBackup present = backupAt(context.agent.files, backup, file);
  if (present.origin == BackupOrigin::kAnotherFile) {
    return {problem(kCheck,
                    quotedPath(backup) + " is the backup of " + quotedPath(present.madeOf) +
                        ", so the agent would make no backup of the bookmarks file before its first sort.",
                    "To give each file its own:", "tarvel settings set bookmarks-filename " + shellWord(file))};
  }
  const PathFacts facts = context.probe.path(backup);
  if (facts.kind == PathKind::kFile && facts.isReadable) {
    const std::string date = facts.changed ? ", as of " + localTimeText(*facts.changed) : std::string();
    return {fine(kCheck, "The initial backup of your bookmarks is " + quotedPath(backup) + date + ".")};
  }
  if (facts.kind != PathKind::kMissing) {
    return {problem(kCheck, quotedPath(backup) + " is not a file that you can read, so no sort could be undone.",
                    "Move it away; the next sort makes a backup.")};
  }
  std::string folder = deletingLastPathComponent(backup);
  while (folder.size() > 1 && context.probe.path(folder).kind == PathKind::kMissing)
    folder = deletingLastPathComponent(folder);
  const PathFacts above = context.probe.path(folder);
  if (above.kind != PathKind::kFolder || !above.isWritable) {
    return {problem(kCheck,
                    "The initial backup cannot be made, since you cannot create files in " + quotedPath(folder) + ".",
                    "Give yourself permission; without a backup nothing is sorted.")};
  }
  return {
      fine(kCheck, "There is no backup of your bookmarks yet; the first sort makes it: " + quotedPath(backup) + ".")};
}

}  // namespace tarvel
