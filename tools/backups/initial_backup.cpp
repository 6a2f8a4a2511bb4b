#include "tools/backups/initial_backup.h"

#include <cerrno>

#include "platform/linux/base/user_folders.h"
#include "platform/path_components.h"
#include "settings/places.h"
#include "tools/backups/backup_name.h"
#include "tools/files/paths.h"

namespace tarvel {

namespace {

constexpr std::string_view kStem = "Bookmarks (Initial Copy)";
constexpr std::string_view kExtension = ".plist";
constexpr std::size_t kTagLength = 8;

/// A file reached by a link is the same file, so its backup has the same name.
std::string ownBackupFile(FileManager& files, const std::string& file) {
  return deletingLastPathComponent(agentBackupFile(files)) + "/" + std::string(kStem) + " " +
         tagOfFile(destinationOf(file)) + std::string(kExtension);
}

bool isInitialBackupName(std::string_view name) {
  if (name == kBackupName) return true;
  if (!name.starts_with(kStem) || !name.ends_with(kExtension)) return false;
  const std::string_view tag = name.substr(kStem.size(), name.size() - kStem.size() - kExtension.size());
  return tag.size() == kTagLength + 1 && tag.front() == ' ' &&
         tag.find_first_not_of("0123456789abcdef", 1) == std::string_view::npos;
}

/// Renames an initial backup whose file has another one already, to the name of a dated backup of its own date.
FileStatus moveToDatedName(FileManager& files, const std::string& backup, const std::string& file) {
  constexpr int kMostNames = 1000;
  Date date = files.modificationDateAtPath(backup).value_or(Date{});
  FileStatus moved;
  for (int i = 0; i < kMostNames; ++i, date = nextMillisecond(date)) {
    moved = files.moveItem(backup, deletingLastPathComponent(backup) + "/" + textOf({date, tagOfFile(file)}));
    if (moved.code != EEXIST) break;
  }
  return moved;
}

}  // namespace

std::string agentBackupFile(FileManager& files) {
  const std::string dataHome = folderFromEnvironment("XDG_DATA_HOME");
  const std::string folder = dataHome.empty() ? files.stringByExpandingTildeInPath("~/.local/share") : dataHome;
  return folder + "/" + kSupportFolderName + "/" + kBackupName;
}

InitialBackup backupAt(FileManager& files, const std::string& path, const std::string& file) {
  if (!files.fileExistsAtPath(path)) return {path, BackupOrigin::kMissing, {}};
  const std::optional<std::string> source = files.sourceOfCopyAtPath(path);
  if (!source) return {path, BackupOrigin::kUnrecorded, {}};
  return {path, isSameFile(*source, file) ? BackupOrigin::kThisFile : BackupOrigin::kAnotherFile, *source};
}

InitialBackup initialBackupOf(FileManager& files, const std::string& file, const std::string& settingsFile) {
  InitialBackup agents = backupAt(files, agentBackupFile(files), file);
  if (agents.origin == BackupOrigin::kThisFile) return agents;
  InitialBackup own = backupAt(files, ownBackupFile(files, file), file);
  // Its name holds the file's digits, so no record is needed.
  if (own.origin == BackupOrigin::kUnrecorded) own.origin = BackupOrigin::kThisFile;
  const bool mayUseAgents = agents.origin != BackupOrigin::kAnotherFile && isSameFile(file, settingsFile);
  return own.origin == BackupOrigin::kMissing && mayUseAgents ? agents : own;
}

bool isKeptBackup(FileManager& files, const std::string& path, const std::string& backup) {
  const std::string real = destinationOf(path);
  const std::string name = real.substr(real.rfind('/') + 1);
  if (!isInitialBackupName(name) && !backupNameFrom(name)) return false;
  const std::string folder = deletingLastPathComponent(real);
  return isSameFile(folder, deletingLastPathComponent(agentBackupFile(files))) ||
         isSameFile(folder, deletingLastPathComponent(backup));
}

FileStatus assignAgentBackup(FileManager& files, const std::string& file, const std::string& previousFile) {
  const std::string agents = agentBackupFile(files);
  const InitialBackup present = backupAt(files, agents, file);
  if (present.origin == BackupOrigin::kThisFile) return {};
  const bool isTakenAsOwn = present.origin == BackupOrigin::kUnrecorded && isSameFile(file, previousFile);
  if (isTakenAsOwn) return {};
  if (present.origin != BackupOrigin::kMissing) {
    const std::string madeOf = present.madeOf.empty() ? previousFile : present.madeOf;
    FileStatus moved = files.moveItem(agents, ownBackupFile(files, madeOf));
    if (moved.code == EEXIST) moved = moveToDatedName(files, agents, madeOf);
    if (!moved.ok()) return moved;
  }
  const std::string own = ownBackupFile(files, file);
  return files.fileExistsAtPath(own) ? files.moveItem(own, agents) : FileStatus{};
}

}  // namespace tarvel
