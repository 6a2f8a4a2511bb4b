#include "platform/memory/memory_file_manager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <utility>

#include "platform/path_components.h"

namespace tarvel {

namespace {

/// A file cannot move between reading and writing here, so its path identifies it. Dates are never reused.
FileVersion versionOf(const MemoryPlace& place, const MemoryItem& item) {
  return {0, std::hash<std::string>()(place.path), item.bytes.size(), item.date};
}

FileStatus statusOf(int code) { return code == 0 ? FileStatus{} : FileStatus{code, std::strerror(code)}; }

/// Whether a path has no name at its end: nothing can be made, removed or renamed by it.
bool lacksName(const std::string& path) {
  const std::string last = path.substr(path.rfind('/') + 1);
  return last.empty() || last == "." || last == "..";
}

}  // namespace

MemoryFileManager::Call::Call(MemoryFileManager& manager, FileOperation operation, const std::string& path)
    : manager_(manager),
      call_{operation, path},
      exceptionsBefore_(std::uncaught_exceptions()),
      isTold_(!manager.isInHook_) {
  if (!isTold_) return;
  manager.calls_.push_back(call_);
  manager.tell(manager.hook_, call_);
  code_ = manager.takeFailure(operation);
}

MemoryFileManager::Call::~Call() {
  if (isTold_ && std::uncaught_exceptions() == exceptionsBefore_) manager_.tell(manager_.afterHook_, call_);
}

void MemoryFileManager::tell(const std::function<void(const FileCall&)>& hook, const FileCall& call) {
  if (!hook) return;
  struct Reset {
    bool& flag;
    ~Reset() { flag = false; }
  };
  isInHook_ = true;
  const Reset atTheEnd{isInHook_};
  hook(call);
}

int MemoryFileManager::takeFailure(FileOperation operation) {
  const auto ordered = failures_.find(operation);
  if (ordered == failures_.end()) return 0;
  const int code = ordered->second.code;
  if (!ordered->second.isLasting) failures_.erase(ordered);
  return code;
}

bool MemoryFileManager::mayChangeFolderOf(const std::string& path) const {
  const MemoryItem* folder = tree_.find(deletingLastPathComponent(path));
  return folder != nullptr && folder->mayBeWritten();
}

MemoryPlace MemoryFileManager::placeOf(const std::string& path, bool followsLast) const {
  if (path.find('\0') != std::string::npos) return {EINVAL, {}};
  if (!path.empty() && lacksName(path)) return {EISDIR, {}};
  return tree_.locate(path, followsLast);
}

void MemoryFileManager::throwIfUnusable(const std::string& path) {
  const bool isOrdered = std::exchange(isThrowing_, false);
  if (isOrdered || path.empty() || path.find('\0') != std::string::npos) {
    throw PlatformException("The path makes no address.");
  }
}

FileDate MemoryFileManager::nextDate() {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  lastDate_ += dateStep_;
  return {lastDate_.count() / kNanoseconds, static_cast<std::uint32_t>(lastDate_.count() % kNanoseconds)};
}

bool MemoryFileManager::fileExistsAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kExists, path);
  const MemoryPlace place = tree_.locate(path, true);
  return call.code() == 0 && place.code == 0 && tree_.find(place.path) != nullptr;
}

FileAttributes MemoryFileManager::attributesOfItemAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kDate, path);
  if (call.code() != 0) return {std::nullopt, statusOf(call.code())};
  const MemoryPlace place = tree_.locate(path, true);
  if (place.code != 0) return {std::nullopt, statusOf(place.code)};
  const MemoryItem* item = tree_.find(place.path);
  if (item == nullptr) return {std::nullopt, statusOf(ENOENT)};
  return {item->date, {}};
}

FileReading MemoryFileManager::contentsAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kRead, path);
  if (call.code() != 0) return {{}, statusOf(call.code())};
  const MemoryPlace place = tree_.locate(path, true);
  if (place.code != 0) return {{}, statusOf(place.code)};
  const MemoryItem* item = tree_.find(place.path);
  if (item == nullptr) return {{}, statusOf(ENOENT)};
  if (item->isFolder()) return {{}, statusOf(EISDIR)};
  if (!item->mayBeRead()) return {{}, statusOf(EACCES)};
  return {Data::copyOf(item->bytes), {}, versionOf(place, *item)};
}

FileStatus MemoryFileManager::createDirectoryAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kCreateDirectory, path);
  if (call.code() != 0) return statusOf(call.code());
  std::vector<std::string> missing;
  for (std::string above = path;; above = deletingLastPathComponent(above)) {
    const MemoryPlace place = tree_.locate(above, true);
    if (place.code != 0 && place.code != ENOENT) return statusOf(place.code);
    const MemoryItem* item = place.code == 0 ? tree_.find(place.path) : nullptr;
    if (item != nullptr && !item->isFolder()) return statusOf(missing.empty() ? EEXIST : ENOTDIR);
    if (item != nullptr) break;
    // An empty path or a dangling link: something exists, and it is not a folder.
    if (above.empty() || tree_.find(tree_.locate(above, false).path) != nullptr) return statusOf(ENOENT);
    missing.push_back(above);
    if (deletingLastPathComponent(above).empty()) break;
  }
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    const MemoryPlace place = tree_.locate(*folder, true);
    if (place.code != 0) return statusOf(place.code);
    if (tree_.find(place.path) != nullptr) continue;
    if (!mayChangeFolderOf(place.path)) return statusOf(EACCES);
    tree_.put(place.path, {MemoryItem::Kind::kFolder, {}, nextDate(), 0700});
  }
  return {};
}

DirectoryListing MemoryFileManager::filesInDirectoryAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kList, path);
  if (call.code() != 0) return {{}, statusOf(call.code())};
  const MemoryPlace place = tree_.locate(path, true);
  if (place.code != 0) return {{}, statusOf(place.code)};
  const MemoryItem* folder = tree_.find(place.path);
  if (folder == nullptr) return {{}, statusOf(ENOENT)};
  if (!folder->isFolder()) return {{}, statusOf(ENOTDIR)};
  if (!folder->mayBeRead()) return {{}, statusOf(EACCES)};
  DirectoryListing listing;
  for (const auto& [itemPath, item] : tree_.items()) {
    if (item.isFile() && deletingLastPathComponent(itemPath) == place.path) {
      listing.fileNames.push_back(itemPath.substr(itemPath.rfind('/') + 1));
    }
  }
  std::ranges::sort(listing.fileNames);
  return listing;
}

FileStatus MemoryFileManager::createFileAtPath(const DataPieces& data, const std::string& path) {
  const Call call(*this, FileOperation::kCreateFile, path);
  if (call.code() != 0) return statusOf(call.code());
  const MemoryPlace place = placeOf(path, false);
  if (place.code != 0) return statusOf(place.code);
  if (tree_.find(place.path) != nullptr) return statusOf(EEXIST);
  if (!mayChangeFolderOf(place.path)) return statusOf(EACCES);
  tree_.put(place.path, {MemoryItem::Kind::kFile, data.joined(), nextDate(), 0600});
  return {};
}

FileStatus MemoryFileManager::copyItemAtPathToPath(const std::string& source, const std::string& target) {
  const Call call(*this, FileOperation::kCopy, source);
  if (call.code() != 0) return statusOf(call.code());
  const MemoryPlace from = tree_.locate(source, true);
  if (from.code != 0) return statusOf(from.code);
  const MemoryItem* item = tree_.find(from.path);
  if (item == nullptr) return statusOf(ENOENT);
  if (item->isFolder()) return statusOf(EISDIR);
  if (!item->mayBeRead()) return statusOf(EACCES);
  const MemoryPlace to = placeOf(target, false);
  if (to.code != 0) return statusOf(to.code);
  if (tree_.find(to.path) != nullptr) return statusOf(EEXIST);
  if (!mayChangeFolderOf(to.path)) return statusOf(EACCES);
  MemoryItem copy(*item);
  copy.copiedFrom = source;
  tree_.put(to.path, std::move(copy));
  return {};
}

std::optional<std::string> MemoryFileManager::sourceOfCopyAtPath(const std::string& path) {
  const MemoryPlace place = tree_.locate(path, true);
  const MemoryItem* item = place.code == 0 ? tree_.find(place.path) : nullptr;
  if (item == nullptr || item->copiedFrom.empty()) return std::nullopt;
  return item->copiedFrom;
}

FileStatus MemoryFileManager::removeItemAtPath(const std::string& path) {
  const Call call(*this, FileOperation::kRemove, path);
  if (call.code() != 0) return statusOf(call.code());
  const MemoryPlace place = placeOf(path, false);
  if (place.code != 0) return statusOf(place.code);
  if (tree_.find(place.path) == nullptr) return statusOf(ENOENT);
  if (!mayChangeFolderOf(place.path)) return statusOf(EACCES);
  if (tree_.hasItemsBelow(place.path)) return statusOf(ENOTEMPTY);
  tree_.remove(place.path);
  return {};
}

FileStatus MemoryFileManager::writeDataToPath(const DataPieces& data, const std::string& path,
                                              const std::optional<FileVersion>& readVersion,
                                              std::optional<FileDate>* writtenDate) {
  if (writtenDate != nullptr) writtenDate->reset();
  const Call call(*this, FileOperation::kWrite, path);
  if (call.code() != 0) return statusOf(call.code());
  const MemoryPlace place = placeOf(path, true);
  if (place.code != 0) return statusOf(place.code);
  MemoryItem* item = tree_.find(place.path);
  const bool isAsRead =
      item != nullptr && versionOf(place, *item) == readVersion && !openForWriting_.contains(place.path);
  if (readVersion && !isAsRead) return {kFileHasChanged, "The file has changed."};
  if (item == nullptr) {
    if (!mayChangeFolderOf(place.path)) return statusOf(EACCES);
    const FileDate date = nextDate();
    tree_.put(place.path, {MemoryItem::Kind::kFile, data.joined(), date});
    if (writtenDate != nullptr) *writtenDate = date;
    return {};
  }
  if (item->isFolder()) return statusOf(EISDIR);
  // An unreadable file could not be restored if writing failed.
  if (!item->mayBeWritten() || !item->mayBeRead()) return statusOf(EACCES);
  item->bytes = data.joined();
  item->date = nextDate();
  if (writtenDate != nullptr) *writtenDate = item->date;
  return {};
}

FileReading MemoryFileManager::contentsOfOwnFileAtPath(const std::string& path) {
  const MemoryPlace place = placeOf(path, false);
  const MemoryItem* item = place.code == 0 ? tree_.find(place.path) : nullptr;
  if (place.code != 0) return {{}, statusOf(place.code)};
  if (item != nullptr && item->isLink()) return {{}, statusOf(ELOOP)};
  return contentsAtPath(path);
}

FileStatus MemoryFileManager::replaceOwnFileAtPath(const DataPieces& data, const std::string& path,
                                                   const FileVersion& version) {
  const MemoryPlace place = placeOf(path, false);
  const MemoryItem* item = place.code == 0 ? tree_.find(place.path) : nullptr;
  if (item != nullptr && item->isLink()) return statusOf(kFileHasChanged);
  return writeDataToPath(data, path, version);
}

void MemoryFileManager::setOpenForWriting(const std::string& path, bool isOpen) {
  const std::string place = tree_.locate(path, true).path;
  if (isOpen) {
    openForWriting_.insert(place);
  } else {
    openForWriting_.erase(place);
  }
}

bool MemoryFileManager::isOpenForWritingAtPath(const std::string& path) {
  const MemoryPlace place = tree_.locate(path, true);
  return place.code == 0 && openForWriting_.contains(place.path);
}

std::vector<std::string> MemoryFileManager::keptSavesAtPath(const std::string& path) {
  const auto saves = keptSaves_.find(path);
  return saves == keptSaves_.end() ? std::vector<std::string>() : saves->second;
}

int MemoryFileManager::checkReplacement(const MemoryPlace& target, const MemoryPlace& replacement,
                                        const MemoryPlace& behind) const {
  for (const MemoryPlace* place : {&target, &replacement, &behind}) {
    if (place->code != 0) return place->code;
    if (tree_.find(place->path) == nullptr) return ENOENT;
  }
  if (isWithin(behind.path, target.path) || isWithin(target.path, replacement.path)) return EINVAL;
  return mayChangeFolderOf(target.path) && mayChangeFolderOf(replacement.path) ? 0 : EACCES;
}

FileReplacement MemoryFileManager::replaceItem(const std::string& target, const std::string& replacement) {
  const Call call(*this, FileOperation::kReplace, target);
  if (call.code() != 0) return {statusOf(call.code()), {}};
  throwIfUnusable(target);
  throwIfUnusable(replacement);
  const MemoryPlace to = placeOf(target, true);
  const MemoryPlace from = placeOf(replacement, false);
  const MemoryPlace behind = tree_.locate(replacement, true);
  if (const int code = checkReplacement(to, from, behind); code != 0) return {statusOf(code), {}};
  if (const std::optional<std::string> aside = std::exchange(asidePath_, std::nullopt)) {
    const MemoryPlace asidePlace = placeOf(*aside, false);
    if (asidePlace.code != 0) return {statusOf(asidePlace.code), {}};
    tree_.move(to.path, asidePlace.path);
    return {statusOf(EIO), aside};
  }
  if (tree_.find(to.path)->isFile() && tree_.find(behind.path)->isFile()) {
    // A link's target is moved: in another folder the link might not resolve.
    tree_.put(to.path, MemoryItem(*tree_.find(behind.path)));
    tree_.remove(from.path);
    return {};
  }
  tree_.remove(to.path);
  tree_.move(from.path, to.path);
  return {};
}

FileStatus MemoryFileManager::moveItem(const std::string& source, const std::string& target) {
  const Call call(*this, FileOperation::kMove, source);
  if (call.code() != 0) return statusOf(call.code());
  throwIfUnusable(source);
  throwIfUnusable(target);
  const MemoryPlace from = placeOf(source, false);
  const MemoryPlace to = placeOf(target, false);
  if (from.code != 0 || to.code != 0) return statusOf(from.code != 0 ? from.code : to.code);
  if (tree_.find(from.path) == nullptr) return statusOf(ENOENT);
  if (tree_.find(to.path) != nullptr) return statusOf(EEXIST);
  if (isWithin(to.path, from.path)) return statusOf(EINVAL);
  if (!mayChangeFolderOf(from.path) || !mayChangeFolderOf(to.path)) return statusOf(EACCES);
  tree_.move(from.path, to.path);
  return {};
}

FileStatus MemoryFileManager::exchangeItems(const std::string& first, const std::string& second) {
  const Call call(*this, FileOperation::kExchange, first);
  if (call.code() != 0) return statusOf(call.code());
  const MemoryPlace a = placeOf(first, false);
  const MemoryPlace b = placeOf(second, false);
  if (a.code != 0 || b.code != 0) return statusOf(a.code != 0 ? a.code : b.code);
  if (tree_.find(a.path) == nullptr || tree_.find(b.path) == nullptr) return statusOf(ENOENT);
  if (a.path == b.path) return {};
  if (isWithin(a.path, b.path) || isWithin(b.path, a.path)) return statusOf(EINVAL);
  if (!mayChangeFolderOf(a.path) || !mayChangeFolderOf(b.path)) return statusOf(EACCES);
  tree_.exchange(a.path, b.path);
  return {};
}

DirectoryLookup MemoryFileManager::applicationSupportDirectory() {
  const std::string path = home_ + "/Library/Application Support";
  const Call call(*this, FileOperation::kSupportDirectory, path);
  if (call.code() != 0) return {std::nullopt, statusOf(call.code())};
  putFolder(path);
  return {path, {}};
}

std::string MemoryFileManager::stringByExpandingTildeInPath(const std::string& path) {
  if (!path.starts_with('~')) return path;
  std::string expanded = path == "~" || path.starts_with("~/") ? home_ + path.substr(1) : path;
  if (expanded.size() > 1 && expanded.back() == '/') expanded.pop_back();
  return expanded;
}

// What a test prepares and looks at.

void MemoryFileManager::putFolder(const std::string& path) {
  std::vector<std::string> missing;
  for (std::string folder = path; !folder.empty(); folder = deletingLastPathComponent(folder)) {
    const MemoryPlace place = tree_.locate(folder, true);
    if (place.code == 0 && tree_.find(place.path) != nullptr) break;
    missing.push_back(folder);
  }
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    tree_.put(tree_.locate(*folder, true).path, {MemoryItem::Kind::kFolder, {}, nextDate(), 0755});
  }
}

void MemoryFileManager::putFile(const std::string& path, const std::string& bytes) {
  putFolder(deletingLastPathComponent(path));
  tree_.put(tree_.locate(path, false).path, {MemoryItem::Kind::kFile, bytes, nextDate()});
}

void MemoryFileManager::putLink(const std::string& path, const std::string& target) {
  putFolder(deletingLastPathComponent(path));
  tree_.put(tree_.locate(path, false).path, {MemoryItem::Kind::kLink, target, nextDate(), 0777});
}

void MemoryFileManager::setMode(const std::string& path, unsigned mode) {
  if (MemoryItem* item = tree_.find(tree_.locate(path, false).path)) item->mode = mode;
}

void MemoryFileManager::removeTree(const std::string& path) {
  const MemoryPlace place = tree_.locate(path, false);
  if (place.code == 0) tree_.remove(place.path);
}

std::optional<std::string> MemoryFileManager::bytesAt(const std::string& path) const {
  const MemoryItem* item = tree_.find(tree_.locate(path, true).path);
  if (item == nullptr || !item->isFile()) return std::nullopt;
  return item->bytes;
}

std::optional<unsigned> MemoryFileManager::modeAt(const std::string& path) const {
  const MemoryItem* item = tree_.find(tree_.locate(path, false).path);
  if (item == nullptr) return std::nullopt;
  return item->mode;
}

bool MemoryFileManager::isFolder(const std::string& path) const {
  const MemoryItem* item = tree_.find(tree_.locate(path, false).path);
  return item != nullptr && item->isFolder();
}

bool MemoryFileManager::isLink(const std::string& path) const {
  const MemoryItem* item = tree_.find(tree_.locate(path, false).path);
  return item != nullptr && item->isLink();
}

std::vector<std::string> MemoryFileManager::filePaths() const {
  std::vector<std::string> paths;
  for (const auto& [path, item] : tree_.items()) {
    if (item.isFile()) paths.push_back(path);
  }
  return paths;
}

std::size_t MemoryFileManager::callCount(FileOperation operation) const {
  return static_cast<std::size_t>(std::ranges::count(calls_, operation, &FileCall::operation));
}

}  // namespace tarvel
