#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/file_manager.h"

namespace tarvel {

/// The operations of FileManager, to be counted, failed and interfered with.
enum class FileOperation {
  kExists,
  kDate,
  kRead,
  kCreateDirectory,
  kCopy,
  kRemove,
  kWrite,
  kReplace,
  kMove,
  kExchange,
};

struct FileCall {
  FileOperation operation;
  std::string path;
};

/// Files and folders in memory: hermetic, and able to fail any call. There are no links and no owners here; what the
/// interface promises about those is the real implementation's affair.
///
/// Dates are virtual: every change of a file gives it a date one second later than any before.
class MemoryFileManager final : public FileManager {
 public:
  MemoryFileManager();

  // What a test prepares and looks at. Folders above a path are made as needed.
  void putFile(const std::string& path, const std::string& bytes);
  void putFolder(const std::string& path);
  void removeTree(const std::string& path);
  /// None when there is no file.
  [[nodiscard]] std::optional<std::string> bytesAt(const std::string& path) const;
  [[nodiscard]] bool isFolder(const std::string& path) const;
  /// Every file's path, in order.
  [[nodiscard]] std::vector<std::string> filePaths() const;
  void setHome(const std::string& home) { home_ = home; }
  void setOffersReplaceItem(bool offersReplaceItem) { offersReplaceItem_ = offersReplaceItem; }

  /// The next call of this kind fails with this errno value.
  void failNext(FileOperation operation, int code) { failures_[operation] = {code, false}; }
  /// Every call of this kind fails from now on.
  void failAlways(FileOperation operation, int code) { failures_[operation] = {code, true}; }
  /// The next replacement ends half-way: the target's old item is left at `asidePath`.
  void failNextReplaceHalfWay(const std::string& asidePath) { asidePath_ = asidePath; }
  /// The next replacement or move throws.
  void throwNext() { isThrowing_ = true; }

  /// Called before every operation, also those that then fail. May change files; its own calls are not told.
  void setHook(std::function<void(const FileCall&)> hook) { hook_ = std::move(hook); }
  [[nodiscard]] std::size_t callCount(FileOperation operation) const;

  [[nodiscard]] bool fileExistsAtPath(const std::string& path) override;
  [[nodiscard]] std::optional<FileDate> modificationDateAtPath(const std::string& path) override;
  [[nodiscard]] FileReading contentsAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus createDirectoryAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus copyItemAtPathToPath(const std::string& source, const std::string& target) override;
  [[nodiscard]] FileStatus removeItemAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path) override;
  [[nodiscard]] bool offersReplaceItem() override { return offersReplaceItem_; }
  [[nodiscard]] FileReplacement replaceItem(const std::string& target, const std::string& replacement) override;
  [[nodiscard]] FileStatus moveItem(const std::string& source, const std::string& target) override;
  [[nodiscard]] FileStatus exchangeItems(const std::string& first, const std::string& second) override;
  [[nodiscard]] std::string stringByExpandingTildeInPath(const std::string& path) override;

 private:
  struct Item {
    bool isFolder = false;
    std::string bytes;
    FileDate date;
  };
  struct Failure {
    int code = 0;
    bool isLasting = false;
  };

  /// Tells the hook, and answers the failure that was ordered for this call.
  [[nodiscard]] FileStatus begin(FileOperation operation, const std::string& path);
  [[nodiscard]] const Item* find(const std::string& path) const;
  [[nodiscard]] FileStatus checkParent(const std::string& path) const;
  void throwIfUnusable(const std::string& path);
  [[nodiscard]] FileDate nextDate();

  std::map<std::string, Item> items_;
  std::map<FileOperation, Failure> failures_;
  std::map<FileOperation, std::size_t> counts_;
  std::function<void(const FileCall&)> hook_;
  std::string home_ = "/home/user";
  std::optional<std::string> asidePath_;
  std::int64_t clock_ = 1'000'000;
  bool offersReplaceItem_ = true;
  bool isThrowing_ = false;
  bool isInHook_ = false;
};

}  // namespace tarvel
