#include "platform/linux/linux_system_probe.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>
#include <system_error>

#include "platform/linux/base/mount_table.h"
#include "platform/linux/dbus/user_bus.h"
#include "platform/linux/service/autostart_files.h"
#include "platform/linux/service/instance_lock.h"
#include "platform/linux/service/running_agent.h"
#include "platform/linux/watch/folder_polling.h"
#include "platform/linux/watch/inotify_use.h"

namespace tarvel {

namespace {

namespace fs = std::filesystem;
constexpr unsigned kPermissions = 07777;

PathKind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return PathKind::kFile;
  return S_ISDIR(mode) ? PathKind::kFolder : PathKind::kOther;
}

std::optional<std::uint64_t> numberIn(const char* path) {
  std::ifstream file(path);
  std::uint64_t number = 0;
  return file >> number ? std::optional(number) : std::nullopt;
}

/// The first of the three variables that is set, in collation precedence.
template <typename Lookup>
std::string firstLanguage(const Lookup& lookup) {
  for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
    if (const std::string value = lookup(name); !value.empty()) return value;
  }
  return {};
}

std::map<std::string, std::string> environmentOf(pid_t process) {
  std::map<std::string, std::string> variables;
  std::ifstream file("/proc/" + std::to_string(process) + "/environ");
  for (std::string entry; std::getline(file, entry, '\0');) {
    const std::size_t equals = entry.find('=');
    if (equals != std::string::npos) variables.emplace(entry.substr(0, equals), entry.substr(equals + 1));
  }
  return variables;
}

}  // namespace

LinuxSystemProbe::LinuxSystemProbe(const std::string& identifier) : lockPath_(instanceLockPath(identifier)) {}

PathFacts LinuxSystemProbe::path(const std::string& path) {
  PathFacts facts;
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) facts.isLink = S_ISLNK(status.st_mode);
  if (::stat(path.c_str(), &status) != 0) {
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    facts.kind = isMissing ? PathKind::kMissing : PathKind::kUnknown;
    if (!isMissing) facts.reason = std::generic_category().message(errno);
    return facts;
  }
  std::error_code error;
  facts.kind = kindOf(status.st_mode);
  facts.realPath = fs::canonical(path, error).string();
  facts.isReadable = ::access(path.c_str(), R_OK) == 0;
  facts.isWritable = ::access(path.c_str(), W_OK) == 0;
  facts.isExecutable = ::access(path.c_str(), X_OK) == 0;
  facts.size = static_cast<std::uint64_t>(status.st_size);
  facts.changed = Date{status.st_mtim.tv_sec, static_cast<std::uint32_t>(status.st_mtim.tv_nsec)};
  facts.mode = status.st_mode & kPermissions;
  facts.isOwn = status.st_uid == ::geteuid();
  return facts;
}

FileSystemFacts LinuxSystemProbe::fileSystem(const std::string& path) {
  // File systems without O_TMPFILE.
  constexpr std::array<std::string_view, 9> kOnlyNamed = {"nfs",  "nfs4", "vfat", "msdos", "exfat",
                                                          "cifs", "smb3", "9p",   "ntfs3"};
  FileSystemFacts facts;
  struct statvfs status {};
  if (::statvfs(path.c_str(), &status) == 0) {
    facts.isReadOnly = (status.f_flag & ST_RDONLY) != 0;
    facts.freeBytes = std::uint64_t{status.f_bavail} * status.f_frsize;
  }
  std::error_code error;
  facts.name = fileSystemNameOf(fs::canonical(path, error).string());
  facts.isRemote = isOnRemoteFileSystem(path).value_or(false);
  facts.takesNamelessFiles =
      !facts.name.starts_with("fuse") && std::ranges::find(kOnlyNamed, facts.name) == kOnlyNamed.end();
  return facts;
}

WatchFacts LinuxSystemProbe::watches() {
  WatchFacts facts;
  facts.mostWatches = numberIn("/proc/sys/fs/inotify/max_user_watches");
  facts.mostInstances = numberIn("/proc/sys/fs/inotify/max_user_instances");
  if (const auto use = inotifyUse()) {
    facts.usedWatches = use->watches;
    facts.usedInstances = use->instances;
  }
  return facts;
}

AgentProcessFacts LinuxSystemProbe::agentProcess() {
  const RunningAgent agent(lockPath_, kAgentProgram);
  if (!agent) return {};
  const auto variables = environmentOf(agent.process());
  const auto lookup = [&variables](const char* name) {
    const auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
  };
  return {agent.file(), agent.isFileGone(), firstLanguage(lookup)};
}

bool LinuxSystemProbe::hasSessionBus() { return openUserBus(std::chrono::milliseconds(1000)) != nullptr; }

bool LinuxSystemProbe::isSuperUser() { return ::geteuid() == 0; }

std::string LinuxSystemProbe::orderLanguage() {
  return firstLanguage([](const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
  });
}

}  // namespace tarvel
