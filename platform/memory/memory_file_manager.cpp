#include "platform/memory/memory_file_manager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/path_components.h"

namespace tarvel {

namespace {

FileStatus failure(int code) { return {code, std::strerror(code)}; }

/// One spelling for each path: no repeated or trailing slashes.
std::string canonical(const std::string& path) {
  std::string result;
  for (const char c : path) {
    if (c != '/' || result.empty() || result.back() != '/') result.push_back(c);
  }
  if (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

}  // namespace

MemoryFileManager::MemoryFileManager() { items_["/"].isFolder = true; }

void MemoryFileManager::putFolder(const std::string& path) {
  for (std::string folder = canonical(path); !folder.empty() && !items_.contains(folder);
       folder = deletingLastPathComponent(folder)) {
    items_[folder].isFolder = true;
  }
}

void MemoryFileManager::putFile(const std::string& path, const std::string& bytes) {
  putFolder(deletingLastPathComponent(path));
  items_[canonical(path)] = {false, bytes, nextDate()};
}

void MemoryFileManager::removeTree(const std::string& path) {
  const std::string root = canonical(path);
  std::erase_if(items_, [&](const auto& item) { return item.first == root || item.first.starts_with(root + "/"); });
}

std::optional<std::string> MemoryFileManager::bytesAt(const std::string& path) const {
  const Item* item = find(path);
  if (item == nullptr || item->isFolder) return std::nullopt;
  return item->bytes;
}

bool MemoryFileManager::isFolder(const std::string& path) const {
  const Item* item = find(path);
  return item != nullptr && item->isFolder;
}

std::vector<std::string> MemoryFileManager::filePaths() const {
  std::vector<std::string> paths;
  for (const auto& [path, item] : items_) {
    if (!item.isFolder) paths.push_back(path);
  }
  return paths;
}

std::size_t MemoryFileManager::callCount(FileOperation operation) const {
  const auto count = counts_.find(operation);
  return count == counts_.end() ? 0 : count->second;
}

FileDate MemoryFileManager::nextDate() { return {++clock_, 0}; }

const MemoryFileManager::Item* MemoryFileManager::find(const std::string& path) const {
  if (path.empty()) return nullptr;
  const auto item = items_.find(canonical(path));
  // "file/" names nothing, as in a real file system.
  if (item == items_.end() || (path.back() == '/' && !item->second.isFolder)) return nullptr;
  return &item->second;
}

FileStatus MemoryFileManager::checkParent(const std::string& path) const {
  if (path.empty()) return failure(ENOENT);
  const Item* parent = find(deletingLastPathComponent(path));
  if (parent == nullptr) return failure(ENOENT);
  return parent->isFolder ? FileStatus{} : failure(ENOTDIR);
}

FileStatus MemoryFileManager::begin(FileOperation operation, const std::string& path) {
  if (isInHook_) return {};
  ++counts_[operation];
  if (hook_) {
    isInHook_ = true;
    hook_({operation, path});
    isInHook_ = false;
  }
  const auto ordered = failures_.find(operation);
  if (ordered == failures_.end()) return {};
  const int code = ordered->second.code;
  if (!ordered->second.isLasting) failures_.erase(ordered);
  return failure(code);
}

void MemoryFileManager::throwIfUnusable(const std::string& path) {
  const bool isOrdered = std::exchange(isThrowing_, false);
  if (isOrdered || path.empty() || path.find('\0') != std::string::npos) {
    throw PlatformException("The path makes no address.");
  }
}

bool MemoryFileManager::fileExistsAtPath(const std::string& path) {
  return begin(FileOperation::kExists, path).ok() && find(path) != nullptr;
}

std::optional<FileDate> MemoryFileManager::modificationDateAtPath(const std::string& path) {
  if (!begin(FileOperation::kDate, path).ok()) return std::nullopt;
  const Item* item = find(path);
  if (item == nullptr) return std::nullopt;
  return item->date;
}

FileReading MemoryFileManager::contentsAtPath(const std::string& path) {
  if (FileStatus status = begin(FileOperation::kRead, path); !status.ok()) return {{}, std::move(status)};
  const Item* item = find(path);
  if (item == nullptr) return {{}, failure(ENOENT)};
  if (item->isFolder) return {{}, failure(EISDIR)};
  return {Data::copyOf(item->bytes), {}};
}

FileStatus MemoryFileManager::createDirectoryAtPath(const std::string& path) {
  if (FileStatus status = begin(FileOperation::kCreateDirectory, path); !status.ok()) return status;
  if (path.empty()) return failure(ENOENT);
  for (std::string above = canonical(path); !above.empty();
       above = above == "/" ? "" : deletingLastPathComponent(above)) {
    const auto item = items_.find(above);
    if (item != items_.end() && !item->second.isFolder) return failure(above == canonical(path) ? EEXIST : ENOTDIR);
  }
  putFolder(path);
  return {};
}

FileStatus MemoryFileManager::copyItemAtPathToPath(const std::string& source, const std::string& target) {
  if (FileStatus status = begin(FileOperation::kCopy, source); !status.ok()) return status;
  const Item* item = find(source);
  if (item == nullptr) return failure(ENOENT);
  if (item->isFolder) return failure(EISDIR);
  if (find(target) != nullptr) return failure(EEXIST);
  if (FileStatus status = checkParent(target); !status.ok()) return status;
  items_[canonical(target)] = Item(*item);
  return {};
}

FileStatus MemoryFileManager::removeItemAtPath(const std::string& path) {
  if (FileStatus status = begin(FileOperation::kRemove, path); !status.ok()) return status;
  if (find(path) == nullptr) return failure(ENOENT);
  const std::string prefix = canonical(path) + "/";
  const auto next = items_.lower_bound(prefix);
  if (next != items_.end() && next->first.starts_with(prefix)) return failure(ENOTEMPTY);
  items_.erase(canonical(path));
  return {};
}

FileStatus MemoryFileManager::writeDataToPath(const DataPieces& data, const std::string& path) {
  if (FileStatus status = begin(FileOperation::kWrite, path); !status.ok()) return status;
  const Item* item = find(path);
  if (item != nullptr && item->isFolder) return failure(EISDIR);
  if (FileStatus status = checkParent(path); !status.ok()) return status;
  items_[canonical(path)] = {false, data.joined(), nextDate()};
  return {};
}

FileReplacement MemoryFileManager::replaceItem(const std::string& target, const std::string& replacement) {
  if (FileStatus status = begin(FileOperation::kReplace, target); !status.ok()) return {std::move(status), {}};
  throwIfUnusable(target);
  throwIfUnusable(replacement);
  if (find(target) == nullptr || find(replacement) == nullptr) return {failure(ENOENT), {}};
  if (canonical(target) == canonical(replacement)) return {failure(EINVAL), {}};
  if (const std::optional<std::string> aside = std::exchange(asidePath_, std::nullopt)) {
    items_[canonical(*aside)] = std::move(items_[canonical(target)]);
    items_.erase(canonical(target));
    return {failure(EIO), aside};
  }
  items_[canonical(target)] = std::move(items_[canonical(replacement)]);
  items_.erase(canonical(replacement));
  return {};
}

FileStatus MemoryFileManager::moveItem(const std::string& source, const std::string& target) {
  if (FileStatus status = begin(FileOperation::kMove, source); !status.ok()) return status;
  throwIfUnusable(source);
  throwIfUnusable(target);
  if (find(source) == nullptr) return failure(ENOENT);
  if (find(target) != nullptr) return failure(EEXIST);
  if (FileStatus status = checkParent(target); !status.ok()) return status;
  items_[canonical(target)] = std::move(items_[canonical(source)]);
  items_.erase(canonical(source));
  return {};
}

FileStatus MemoryFileManager::exchangeItems(const std::string& first, const std::string& second) {
  if (FileStatus status = begin(FileOperation::kExchange, first); !status.ok()) return status;
  if (find(first) == nullptr || find(second) == nullptr) return failure(ENOENT);
  std::swap(items_[canonical(first)], items_[canonical(second)]);
  return {};
}

std::string MemoryFileManager::stringByExpandingTildeInPath(const std::string& path) {
  if (!path.starts_with('~')) return path;
  std::string expanded = path == "~" || path.starts_with("~/") ? home_ + path.substr(1) : path;
  if (expanded.size() > 1 && expanded.back() == '/') expanded.pop_back();
  return expanded;
}

}  // namespace tarvel
