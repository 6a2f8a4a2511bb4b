#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "browser/host/browser_tree.h"
#include "browser/host/request.h"
#include "platform/file_manager.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Runs that can be undone, for each profile of a browser.
inline constexpr std::size_t kMostRecords = 10;

/// The whole of a browser's bookmarks as they were before a run.
struct RunRecord {
  PropertyList list;
  std::string task;  ///< "sort" or "clean".
  std::string date;  ///< Local time, for people.
  PropertyListArray roots;
};

/// The undo records of one profile: a folder of binary property lists, named so that a later one sorts behind. They
/// are made whole, for the user alone, and never changed.
class RunRecords {
 public:
  /// `folder` is the one that all profiles share; `profile` never becomes part of a path. Both managers are borrowed.
  RunRecords(FileManager& files, PropertyListSerialization& propertyLists, const std::string& folder,
             std::string profile);

  /// The record's bytes. Cleaning uses the tree up, so they are made before.
  [[nodiscard]] std::optional<DataPieces> recordOf(const BrowserTree& tree, Task task, const std::string& date);
  /// Puts a record on the disk, synced, then removes the oldest beyond kMostRecords.
  [[nodiscard]] FileStatus add(const DataPieces& record);

  /// From the last to the first.
  [[nodiscard]] std::vector<std::string> names();
  /// None for a record that cannot be read, or is another profile's.
  [[nodiscard]] std::optional<RunRecord> read(const std::string& name);
  void remove(const std::string& name);

 private:
  FileManager& files_;
  PropertyListSerialization& propertyLists_;
  std::string folder_;
  std::string profile_;
};

}  // namespace tarvel
