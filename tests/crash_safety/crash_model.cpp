#include "tests/crash_safety/crash_model.h"
#include "tests/support/file_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>
#include <tuple>

namespace tarvel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRecordPrefix = ".tarvel-undo-";

/// The smallest unit that a disk writes.
constexpr std::size_t kSector = 512;

std::string parentOf(const std::string& path) { return fs::path(path).parent_path().string(); }

ino_t inodeOf(const fs::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

fs::path descriptor(pid_t program, std::uint64_t fd) {
  return "/proc/" + std::to_string(program) + "/fd/" + std::to_string(static_cast<int>(fd));
}

ino_t inodeBehind(pid_t program, std::uint64_t fd) {
  struct stat status {};
  return ::stat(descriptor(program, fd).c_str(), &status) == 0 ? status.st_ino : 0;
}

/// The `answer` bytes that a call wrote from its buffers.
std::string bytesWritten(pid_t program, const SystemCall& call) {
  const auto size = static_cast<std::size_t>(call.answer);
  if (call.number == SYS_pwrite64) return memoryOf(program, call.arguments[1], size);
  const std::string list = memoryOf(program, call.arguments[1], call.arguments[2] * sizeof(iovec));
  std::string bytes;
  for (std::size_t at = 0; at + sizeof(iovec) <= list.size() && bytes.size() < size; at += sizeof(iovec)) {
    iovec piece{};
    std::memcpy(&piece, list.data() + at, sizeof piece);
    const auto address = reinterpret_cast<std::uintptr_t>(piece.iov_base);  // NOLINT: an address elsewhere
    bytes += memoryOf(program, address, piece.iov_len);
  }
  bytes.resize(std::min(bytes.size(), size));
  return bytes;
}

}  // namespace

const std::string* DiskState::bytesAt(const std::string& path) const {
  const auto link = links.find(path);
  const auto entry = entries.find(link == links.end() ? path : link->second);
  if (entry == entries.end()) return nullptr;
  const auto found = contents.find(entry->second);
  return found == contents.end() ? nullptr : &found->second;
}

DiskState DiskState::of(const std::string& folder) {
  DiskState state;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().lexically_relative(folder).string();
    if (entry.is_symlink()) {
      state.links[path] = fs::canonical(entry.path()).lexically_relative(folder).string();
    } else if (entry.is_directory()) {
      state.entries[path] = 0;
    } else {
      const ino_t inode = inodeOf(entry.path());
      state.entries[path] = inode;
      state.contents[inode] = contentsOf(entry.path());
    }
  }
  return state;
}

namespace {

/// The undo journal with the inode number of the recreated file.
std::string recordFor(const fs::path& file, std::string record) {
  constexpr std::size_t kInodeOffset = 24;
  const std::uint64_t inode = inodeOf(file);
  if (record.size() >= kInodeOffset + sizeof inode) std::memcpy(record.data() + kInodeOffset, &inode, sizeof inode);
  return record;
}

}  // namespace

void DiskState::materialise(const std::string& folder) const {
  for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
  std::map<ino_t, fs::path> made;
  // Folders sort before their contents. Undo journals come last, since their names depend on other files.
  std::vector<std::pair<std::string, ino_t>> records;
  for (const auto& [path, inode] : entries) {
    const fs::path place = fs::path(folder) / path;
    if (inode == 0) {
      fs::create_directories(place);
    } else if (place.filename().string().starts_with(kRecordPrefix)) {
      records.emplace_back(path, inode);
    } else if (made.contains(inode)) {
      fs::create_hard_link(made[inode], place);
    } else {
      std::error_code error;
      fs::create_directories(place.parent_path(), error);
      std::ofstream(place, std::ios::binary) << contents.at(inode);
      made[inode] = place;
    }
  }
  for (const auto& [path, target] : links) {
    fs::create_directories((fs::path(folder) / path).parent_path());
    fs::create_symlink(fs::path(folder) / target, fs::path(folder) / path);
  }
  for (const auto& [path, inode] : records) {
    const fs::path place = fs::path(folder) / path;
    const ino_t file = std::stoull(place.filename().string().substr(kRecordPrefix.size()), nullptr, 16);
    char digits[32] = {};
    (void)std::snprintf(digits, sizeof digits, "%llx", static_cast<unsigned long long>(inodeOf(made[file])));
    const fs::path name = place.parent_path() / (std::string(kRecordPrefix) + digits);
    std::ofstream(name, std::ios::binary) << recordFor(made[file], contents.at(inode));
  }
}

CrashModel::CrashModel(std::string folder) : folder_(std::move(folder)), initial_(DiskState::of(folder_)) {}

std::string CrashModel::pathAt(pid_t program, std::uint64_t folder, std::uint64_t name) const {
  fs::path path = textOf(program, name);
  if (path.is_relative()) {
    const bool isCurrent = static_cast<int>(folder) == AT_FDCWD;
    std::error_code error;
    const fs::path base = isCurrent ? fs::read_symlink("/proc/" + std::to_string(program) + "/cwd", error)
                                    : fs::read_symlink(descriptor(program, folder), error);
    path = base / path;
  }
  const std::string below = path.lexically_normal().lexically_relative(folder_).string();
  return below.starts_with("..") ? std::string() : below;
}

void CrashModel::add(Change change) {
  if (change.kind != Change::Kind::kWrite && change.kind != Change::Kind::kTruncate &&
      change.kind != Change::Kind::kSync && change.to.empty()) {
    return;
  }
  changes_.push_back(std::move(change));
}

void CrashModel::observe(pid_t program, const SystemCall& call) {
  if (call.answer < 0) return;
  observeWrite(program, call);
  observeNames(program, call);
}

void CrashModel::observeWrite(pid_t program, const SystemCall& call) {
  using Kind = Change::Kind;
  const std::uint64_t fd = call.arguments[0];
  switch (call.number) {
    case SYS_pwritev:
    case SYS_pwrite64:
      return add({Kind::kWrite, inodeBehind(program, fd), {}, {}, {}, call.arguments[3], bytesWritten(program, call)});
    case SYS_ftruncate:
      return add({Kind::kTruncate, inodeBehind(program, fd), {}, {}, {}, call.arguments[1], {}});
    case SYS_fsync: {
      std::error_code error;
      const fs::path path = fs::read_symlink(descriptor(program, fd), error);
      return add({Kind::kSync, inodeBehind(program, fd), path.lexically_relative(folder_).string(), {}, {}, 0, {}});
    }
    default:
      return;
  }
}

void CrashModel::observeNames(pid_t program, const SystemCall& call) {
  using Kind = Change::Kind;
  const auto& a = call.arguments;
  switch (call.number) {
    case SYS_linkat: {
      // From an entry of the program's own open files in /proc.
      const std::string source = textOf(program, a[1]);
      const std::string to = pathAt(program, a[2], a[3]);
      const std::size_t slash = source.rfind('/');
      return add(
          {Kind::kLink, inodeBehind(program, std::stoull(source.substr(slash + 1))), parentOf(to), {}, to, 0, {}});
    }
    case SYS_renameat:
    case SYS_renameat2: {
      const bool isExchange = call.number == SYS_renameat2 && (a[4] & RENAME_EXCHANGE) != 0;
      const std::string from = pathAt(program, a[0], a[1]);
      const std::string to = pathAt(program, a[2], a[3]);
      return add({isExchange ? Kind::kExchange : Kind::kRename, 0, parentOf(to), from, to, 0, {}});
    }
    case SYS_unlinkat: {
      const std::string path = pathAt(program, a[0], a[1]);
      return add({Kind::kUnlink, 0, parentOf(path), {}, path, 0, {}});
    }
    case SYS_mkdir: {
      const std::string path = pathAt(program, static_cast<std::uint64_t>(AT_FDCWD), a[0]);
      return add({Kind::kLink, 0, parentOf(path), {}, path, 0, {}});
    }
    case SYS_openat: {
      if ((a[2] & O_CREAT) == 0) return;
      const std::string path = pathAt(program, a[0], a[1]);
      return add({Kind::kLink,
                  inodeBehind(program, static_cast<std::uint64_t>(call.answer)),
                  parentOf(path),
                  {},
                  path,
                  0,
                  {}});
    }
    default:
      return;
  }
}

bool CrashModel::isOnDisk(std::size_t change, std::size_t end) const {
  const Change& made = changes_[change];
  const bool isName = !made.to.empty();
  for (std::size_t i = change + 1; i < end; ++i) {
    const Change& later = changes_[i];
    if (later.kind != Change::Kind::kSync) continue;
    if (isName ? later.folder == made.folder : later.inode == made.inode) return true;
  }
  return false;
}

void CrashModel::apply(DiskState& state, const Change& change, int extent) {
  using Kind = Change::Kind;
  if (extent == 0) return;
  std::string& bytes = state.contents[change.inode];
  switch (change.kind) {
    case Kind::kWrite: {
      const std::size_t half = change.position + change.bytes.size() / 2;
      const std::size_t end = extent == 1 ? half - half % kSector : change.position + change.bytes.size();
      const std::size_t size = end - std::min<std::size_t>(end, change.position);
      bytes.resize(std::max<std::size_t>(bytes.size(), change.position + size));
      bytes.replace(change.position, size, change.bytes, 0, size);
      return;
    }
    case Kind::kTruncate:
      return bytes.resize(change.position);
    case Kind::kLink:
      state.entries[change.to] = change.inode;
      return;
    case Kind::kRename:
      if (state.entries.contains(change.from)) {
        state.entries[change.to] = state.entries[change.from];
        state.entries.erase(change.from);
      }
      return;
    case Kind::kExchange:
      if (state.entries.contains(change.from) && state.entries.contains(change.to)) {
        std::swap(state.entries[change.from], state.entries[change.to]);
      }
      return;
    case Kind::kUnlink:
      state.entries.erase(change.to);
      return;
    case Kind::kSync:
      return;
  }
}

void CrashModel::visitStates(std::size_t end, const std::function<void(const DiskState&)>& visit) const {
  // Counts through all combinations of extents, as with digits.
  std::vector<int> extents(end, 2);
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < end; ++i) {
    if (changes_[i].kind == Change::Kind::kSync || isOnDisk(i, end)) continue;
    open.push_back(i);
    extents[i] = 0;
  }
  for (;;) {
    DiskState state = initial_;
    for (std::size_t i = 0; i < end; ++i) apply(state, changes_[i], extents[i]);
    // The contents of a missing folder are missing too; folders sort before their contents.
    std::erase_if(state.entries, [&](const auto& entry) {
      const std::string folder = parentOf(entry.first);
      return !folder.empty() && !state.entries.contains(folder);
    });
    // A file without a name is gone.
    std::set<ino_t> named;
    for (const auto& [path, inode] : state.entries) named.insert(inode);
    std::erase_if(state.contents, [&](const auto& entry) { return !named.contains(entry.first); });
    visit(state);
    std::size_t digit = 0;
    for (; digit < open.size(); ++digit) {
      int& extent = extents[open[digit]];
      const bool isWrite = changes_[open[digit]].kind == Change::Kind::kWrite;
      extent = extent == 2 ? 0 : isWrite ? extent + 1 : 2;
      if (extent != 0) break;
    }
    if (digit == open.size()) return;
  }
}

void CrashModel::forEachState(const std::function<void(const DiskState&)>& visit) const {
  std::set<DiskState> seen;
  for (std::size_t end = 0; end <= changes_.size(); ++end) {
    visitStates(end, [&](const DiskState& state) {
      if (seen.insert(state).second) visit(state);
    });
  }
}

}  // namespace tarvel
