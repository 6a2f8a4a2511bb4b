#include "platform/memory/memory_tree.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/path_components.h"

namespace tarvel {

namespace {

/// The components of a path in reverse order, so that the next one is at the end.
std::vector<std::string> pendingComponents(std::string_view path) {
  std::vector<std::string> components;
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t slash = std::min(path.find('/', at), path.size());
    if (slash > at) components.emplace_back(path.substr(at, slash - at));
    at = slash + 1;
  }
  std::ranges::reverse(components);
  return components;
}

/// The first path that sorts after everything below `folder`: '0' follows '/'.
std::string endOfBelow(const std::string& folder) { return folder + "0"; }

}  // namespace

std::string pathInFolder(const std::string& folder, std::string_view name) {
  std::string path = folder == "/" ? folder : folder + "/";
  return path.append(name);
}

bool isWithin(const std::string& path, const std::string& folder) {
  return path == folder || folder == "/" || path.starts_with(folder + "/");
}

MemoryTree::MemoryTree() { items_["/"] = {MemoryItem::Kind::kFolder, {}, {}, 0755}; }

MemoryPlace MemoryTree::locate(const std::string& path, bool followsLast) const {
  if (path.empty()) return {ENOENT, {}};
  if (path.find('\0') != std::string::npos) return {EINVAL, {}};
  const bool asksForFolder = path.back() == '/';
  std::vector<std::string> pending = pendingComponents(path);
  std::string current = "/";
  for (int links = 0; !pending.empty();) {
    const std::string name = std::move(pending.back());
    pending.pop_back();
    const MemoryItem* folder = find(current);
    if (folder == nullptr) return {ENOENT, {}};
    if (!folder->isFolder()) return {ENOTDIR, {}};
    if (name == ".") continue;
    const std::string next = name == ".." ? deletingLastPathComponent(current) : pathInFolder(current, name);
    const MemoryItem* item = find(next);
    const bool isFollowed = item != nullptr && item->isLink() && (!pending.empty() || followsLast || asksForFolder);
    if (!isFollowed) {
      current = next;
      continue;
    }
    if (++links > kMostLinks) return {ELOOP, {}};
    if (item->bytes.starts_with('/')) current = "/";
    std::ranges::move(pendingComponents(item->bytes), std::back_inserter(pending));
  }
  const MemoryItem* found = find(current);
  if (asksForFolder && found != nullptr && !found->isFolder()) return {ENOTDIR, {}};
  return {0, std::move(current), asksForFolder};
}

const MemoryItem* MemoryTree::find(const std::string& path) const {
  const auto item = items_.find(path);
  return item == items_.end() ? nullptr : &item->second;
}

MemoryItem* MemoryTree::find(const std::string& path) {
  const auto item = items_.find(path);
  return item == items_.end() ? nullptr : &item->second;
}

void MemoryTree::put(const std::string& path, MemoryItem item) { items_[path] = std::move(item); }

void MemoryTree::remove(const std::string& path) { (void)extract(path); }

bool MemoryTree::hasItemsBelow(const std::string& path) const {
  const auto next = items_.upper_bound(path == "/" ? path : path + "/");
  return next != items_.end() && isWithin(next->first, path);
}

MemoryTree::Items MemoryTree::extract(const std::string& path) {
  Items taken;
  const auto take = [&](Items::iterator item) {
    std::string below = item->first.substr(path.size());
    auto node = items_.extract(item);
    node.key() = std::move(below);
    taken.insert(std::move(node));
  };
  if (const auto item = items_.find(path); item != items_.end()) take(item);
  for (auto item = items_.lower_bound(path + "/"); item != items_.end() && item->first < endOfBelow(path);) {
    take(item++);
  }
  return taken;
}

void MemoryTree::insert(Items items, const std::string& path) {
  while (!items.empty()) {
    auto node = items.extract(items.begin());
    node.key().insert(0, path);
    items_.insert(std::move(node));
  }
}

void MemoryTree::move(const std::string& from, const std::string& to) { insert(extract(from), to); }

void MemoryTree::exchange(const std::string& first, const std::string& second) {
  Items held = extract(first);
  insert(extract(second), first);
  insert(std::move(held), second);
}

}  // namespace tarvel
