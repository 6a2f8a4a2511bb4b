// tarvel doctor: the bookmarks file and what is around it.

#include <algorithm>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/agent/reported_error.h"
#include "tools/backups/initial_backup.h"
#include "tools/backups/kept_saves.h"
#include "tools/compare/change_report.h"
#include "tools/doctor/doctor.h"
#include "tools/files/preview_file_manager.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

constexpr const char* kChooseFile = "Say which file is yours: tarvel settings set BookmarksFilename PATH";
/// A browser holds its file for moments.
constexpr double kLongestHold = 600;
/// As many seconds lie between the two beginnings of time.
constexpr std::int64_t kSecondsTo2001 = 978'307'200;

class SilentLog final : public SystemLog {
 public:
  void log(std::string_view /*message*/) override {}
};

/// Where the file's bytes are, links followed; where they will be, when there is no file.
std::string folderOf(const DoctorContext& context) {
  const std::string file = bookmarksFileOf(context);
  const PathFacts facts = context.probe.path(file);
  return deletingLastPathComponent(facts.realPath.empty() ? file : facts.realPath);
}

bool isFolder(const DoctorContext& context, const std::string& path) {
  return context.probe.path(path).kind == PathKind::kFolder;
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t kMega = 1'000'000;
  return bytes < kMega ? std::to_string(bytes / 1000) + " kB" : std::to_string(bytes / kMega) + " MB";
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

/// The agent's next sort, on a copy in memory.
Trial trySort(const DoctorContext& context, const std::string& file) {
  PreviewFileManager copy(context.platform.fileManager, file);
  SilentLog log;
  const Platform& real = context.platform;
  const Platform preview{real.propertyLists, copy,           real.collator, real.uuidSource, log,
                         real.bundle,        real.workspace, real.clock};
  Tarvel tarvel(preview);
  ChangeRecorder recorder(OrderDetail::kCounts);
  tarvel.setArrangeFoldersAtTop(settingInForce(context, kFoldersAtTopKey) == "yes");
  tarvel.setRemoveDuplicates(settingInForce(context, kRemoveDuplicatesKey) == "yes");
  tarvel.setRenameSamenamed(settingInForce(context, kRenameSamenamedKey) == "yes");
  tarvel.setSortBookmarksBar(settingInForce(context, kSortBookmarksBarKey) == "yes");
  tarvel.setBookmarksFilename(file);
  tarvel.setSortObserver(&recorder);
  const TarvelError code = tarvel.sortBookmarks();
  return {code, recorder.changes().isOrderChanged};
}

Finding rightsOf(const PathFacts& facts, const std::string& file) {
  const std::string own = facts.isOwn ? "Give yourself the rights: chmod u+rw " + shellWord(file)
                                      : "It belongs to somebody else; ask them, or use a file of your own.";
  if (!facts.isReadable) return problem("bookmarks-file", named(file) + " may not be read by you.", own);
  if (!facts.isWritable) return problem("bookmarks-file", named(file) + " may not be written by you.", own);
  return fine("bookmarks-file", "The bookmarks file is " + named(file) + ".");
}

}  // namespace

Findings checkBookmarksFile(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-file";
  const std::string file = bookmarksFileOf(context);
  const PathFacts facts = context.probe.path(file);
  if (!file.starts_with('/')) {
    return {problem(kCheck, named(file) + " is not a full path, and the agent takes it as it stands.", kChooseFile)};
  }
  switch (facts.kind) {
    case PathKind::kMissing:
      return {facts.isLink ? problem(kCheck, named(file) + " is a link that leads nowhere.", kChooseFile)
                           : problem(kCheck, "There is no bookmarks file " + named(file) + ".", kChooseFile)};
    case PathKind::kUnknown:
      return {problem(kCheck, named(file) + " cannot be looked at: " + facts.reason + ".",
                      "Give yourself the right to pass through the folders above it.")};
    case PathKind::kFolder:
    case PathKind::kOther:
      return {problem(kCheck, named(file) + " is no file.", kChooseFile)};
    default:
      break;
  }
  Findings findings{rightsOf(facts, file)};
  if (facts.isLink) findings.push_back(fine(kCheck, "It is a link to " + named(facts.realPath) + "."));
  return findings;
}

Findings checkContents(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-contents";
  const std::string file = bookmarksFileOf(context);
  const PathFacts facts = context.probe.path(file);
  // What keeps it from being read at all was told already.
  if (facts.kind != PathKind::kFile || !facts.isReadable) return {};
  const Trial trial = trySort(context, file);
  if (trial.code != TarvelErrorNone) {
    return {problem(kCheck, printable(messageOfCode(context.agent, trial.code)), kChooseFile)};
  }
  if (!trial.wouldChange) return {fine(kCheck, "The bookmarks are in order.")};
  return {note(kCheck, "The next sort would change the file.", "To see how: tarvel preview")};
}

Findings checkKeptSaves(const DoctorContext& context) {
  Findings findings;
  const std::string file = bookmarksFileOf(context);
  for (const std::string& save : context.agent.files.keptSavesAtPath(file)) {
    KeptSaveWords words = wordsForKeptSave(save, file);
    findings.push_back(problem("kept-saves", std::move(words.text), std::move(words.advice)));
  }
  return findings;
}

Findings checkFolder(const DoctorContext& context) {
  constexpr const char* kCheck = "bookmarks-folder";
  const std::string folder = folderOf(context);
  const PathFacts facts = context.probe.path(folder);
  if (facts.kind == PathKind::kMissing) {
    return {note(kCheck, "The folder " + named(folder) + " is not there; the agent waits for it.")};
  }
  if (facts.kind != PathKind::kFolder || !facts.isReadable || !facts.isExecutable) {
    return {problem(kCheck, "The folder " + named(folder) + " cannot be watched by you.",
                    "Give yourself the rights: chmod u+rx " + shellWord(folder))};
  }
  if (!facts.isWritable) {
    return {note(kCheck,
                 "You may not make files in " + named(folder) +
                     ": the bookmarks file is overwritten in place, and cannot be made whole again should the power "
                     "fail at that instant.",
                 "Give yourself the rights if you can: chmod u+w " + shellWord(folder))};
  }
  return {fine(kCheck, "Its folder may be watched, and written to.")};
}

Findings checkFileSystem(const DoctorContext& context) {
  constexpr const char* kCheck = "file-system";
  const std::string folder = folderOf(context);
  if (!isFolder(context, folder)) return {};
  const FileSystemFacts facts = context.probe.fileSystem(folder);
  const std::string name = facts.name.empty() ? "of an unknown kind" : "of the kind " + printable(facts.name);
  Findings findings;
  if (facts.isReadOnly) {
    findings.push_back(problem(kCheck, "The file system, " + name + ", is mounted for reading only.",
                               "Mount it for writing, or use a bookmarks file elsewhere."));
  } else if (facts.isRemote) {
    findings.push_back(note(kCheck, "The file system, " + name +
                                        ", does not tell of all changes: what others change is looked for every 30 "
                                        "seconds."));
  } else if (!facts.takesNamelessFiles) {
    findings.push_back(note(kCheck, "The file system, " + name +
                                        ", takes no files without a name: while one is written, another with a name "
                                        "beginning “.tarvel-” lies beside it."));
  } else {
    findings.push_back(fine(kCheck, "The file system, " + name + ", tells of every change."));
  }
  const std::uint64_t size = context.probe.path(bookmarksFileOf(context)).size;
  // A sort writes a new file beside the old one, and may have a copy made before.
  const std::uint64_t needed = 2 * size + 1'000'000;
  findings.push_back(facts.freeBytes < needed
                         ? problem("free-space",
                                   "There is too little room for a sort: " + sizeText(facts.freeBytes) +
                                       " are free, and " + sizeText(needed) + " may be needed.",
                                   "Make room on the disk.")
                         : fine("free-space", "There is room enough for a sort."));
  return findings;
}

Findings checkLock(const DoctorContext& context) {
  constexpr const char* kCheck = "lock";
  const std::string lock = deletingLastPathComponent(bookmarksFileOf(context)) + "/lock";
  const PathFacts facts = context.probe.path(lock);
  if (facts.kind == PathKind::kMissing && !facts.isLink) return {fine(kCheck, "No browser holds the file.")};
  const double changed = facts.changed ? static_cast<double>(facts.changed->seconds - kSecondsTo2001) : context.now;
  const double age = context.now - changed;
  if (age < kLongestHold) return {note(kCheck, "A browser holds the file at the moment (" + named(lock) + ").")};
  return {problem(kCheck,
                  named(lock) + " has been there for " + ageText(age) + ", and while it is there nothing is sorted.",
                  "If no browser uses the file, a crash may have left it: remove it.")};
}

Findings checkBackup(const DoctorContext& context) {
  constexpr const char* kCheck = "backup";
  const std::string file = bookmarksFileOf(context);
  const std::string backup = agentBackupFile(context.agent.files);
  const InitialBackup present = backupAt(context.agent.files, backup, file);
  if (present.origin == BackupOrigin::kAnotherFile) {
    return {problem(kCheck,
                    named(backup) + " is the backup of " + named(present.madeOf) +
                        ", so the agent would make none of the bookmarks file before it first sorts it.",
                    "To have each keep its own: tarvel settings set BookmarksFilename " + shellWord(file))};
  }
  const PathFacts facts = context.probe.path(backup);
  if (facts.kind == PathKind::kFile && facts.isReadable) {
    const std::string date = facts.changed ? ", as of " + localTimeText(*facts.changed) : std::string();
    return {fine(kCheck, "The initial backup of your bookmarks is " + named(backup) + date + ".")};
  }
  if (facts.kind != PathKind::kMissing) {
    return {problem(kCheck, named(backup) + " is there and is no file that you may read, so no undoing is possible.",
                    "Move it away; the next sort makes a copy.")};
  }
  std::string folder = deletingLastPathComponent(backup);
  while (folder.size() > 1 && context.probe.path(folder).kind == PathKind::kMissing)
    folder = deletingLastPathComponent(folder);
  const PathFacts above = context.probe.path(folder);
  if (above.kind != PathKind::kFolder || !above.isWritable) {
    return {problem(kCheck, "The initial backup cannot be made: you may not make files in " + named(folder) + ".",
                    "Give yourself the rights; without a copy nothing is sorted.")};
  }
  return {fine(kCheck, "There is no copy of your bookmarks yet; the first sort makes it: " + named(backup) + ".")};
}

}  // namespace tarvel
