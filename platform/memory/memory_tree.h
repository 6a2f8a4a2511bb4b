#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "platform/file_manager.h"

namespace tarvel {

/// A file, a folder or a symbolic link.
struct MemoryItem {
  enum class Kind { kFile, kFolder, kLink };

  Kind kind = Kind::kFile;
  /// A file's bytes, or the path a link leads to.
  std::string bytes;
  FileDate date;
  /// Permission bits. Only the owner's count: the caller is the owner.
  unsigned mode = 0644;
  /// Of a copy: the path it was copied from. Empty for any other item.
  std::string copiedFrom = {};

  [[nodiscard]] bool isFile() const { return kind == Kind::kFile; }
  [[nodiscard]] bool isFolder() const { return kind == Kind::kFolder; }
  [[nodiscard]] bool isLink() const { return kind == Kind::kLink; }
  [[nodiscard]] bool mayBeRead() const { return (mode & 0400U) != 0; }
  [[nodiscard]] bool mayBeWritten() const { return (mode & 0200U) != 0; }
};

/// Where a path leads: a normalised path in an existing folder. The item itself may be missing.
struct MemoryPlace {
  /// 0, or the errno value of the failure; `path` is meaningless then.
  int code = 0;
  std::string path;
  /// The path ended in a slash, so only a folder will do.
  bool asksForFolder = false;
};

/// The items of a file system, by path. Paths lead from the root; a relative one too, as if that were the working
/// directory.
class MemoryTree {
 public:
  MemoryTree();

  /// Follows links on the way, and one at the end if `followsLast` or when the path ends in a slash.
  [[nodiscard]] MemoryPlace locate(const std::string& path, bool followsLast) const;

  // From here on paths are those of places.

  /// Null when nothing is there. Valid until the item is removed.
  [[nodiscard]] const MemoryItem* find(const std::string& path) const;
  [[nodiscard]] MemoryItem* find(const std::string& path);
  /// Puts an item there, in place of any other.
  void put(const std::string& path, MemoryItem item);
  /// Removes an item and everything below it.
  void remove(const std::string& path);
  [[nodiscard]] bool hasItemsBelow(const std::string& path) const;
  /// Renames an item and everything below it. Nothing may exist at `to`.
  void move(const std::string& from, const std::string& to);
  /// Exchanges two items and everything below them.
  void exchange(const std::string& first, const std::string& second);

  [[nodiscard]] const std::map<std::string, MemoryItem>& items() const { return items_; }

 private:
  using Items = std::map<std::string, MemoryItem>;

  /// Extracts an item and everything below it, with paths relative to the item.
  [[nodiscard]] Items extract(const std::string& path);
  void insert(Items items, const std::string& path);

  Items items_;
};

/// The path of `name` in `folder`, both as in places.
[[nodiscard]] std::string pathInFolder(const std::string& folder, std::string_view name);

/// Whether `path` is `folder` or below it.
[[nodiscard]] bool isWithin(const std::string& path, const std::string& folder);

}  // namespace tarvel
