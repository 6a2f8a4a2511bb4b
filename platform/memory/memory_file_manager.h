#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/file_manager.h"
#include "platform/memory/memory_tree.h"

namespace tarvel {

/// The operations of FileManager, for counting and for injecting failures.
enum class FileOperation {
  kExists,
  kDate,
  kRead,
  kCreateDirectory,
  kList,
  kCreateFile,
  kCopy,
  kRemove,
  kWrite,
  kReplace,
  kMove,
  kExchange,
  kSupportDirectory,
};

struct FileCall {
  FileOperation operation;
  std::string path;
};

/// Files, folders and symbolic links in memory, with failure injection for every operation. Rejects what the real
/// implementation rejects. Hard links, owners, special files and extended attributes are not modelled; what the
/// interface promises about them is tested on the real implementation only.
///
/// Dates are virtual: each change of a file advances its date by one step.
class MemoryFileManager final : public FileManager {
 public:
  // For tests. Missing parent folders are created and permissions ignored. Links on the way are followed, a link at the
  // end is not.
  void putFile(const std::string& path, const std::string& bytes);
  void putFolder(const std::string& path);
  /// A symbolic link, possibly dangling.
  void putLink(const std::string& path, const std::string& target);
  /// Without 0400 a file cannot be read. Without 0200 a file cannot be written, and a folder's entries cannot change.
  /// Other bits are only stored.
  void setMode(const std::string& path, unsigned mode);
  void removeTree(const std::string& path);
  /// None when there is no file; a link is followed.
  [[nodiscard]] std::optional<std::string> bytesAt(const std::string& path) const;
  /// Permission bits; none when nothing is there.
  [[nodiscard]] std::optional<unsigned> modeAt(const std::string& path) const;
  [[nodiscard]] bool isFolder(const std::string& path) const;
  [[nodiscard]] bool isLink(const std::string& path) const;
  /// Every file's path, in order.
  [[nodiscard]] std::vector<std::string> filePaths() const;
  void setHome(const std::string& home) { home_ = home; }
  /// Simulates another process that has the file open for writing. `path` as in later calls.
  void setOpenForWriting(const std::string& path, bool isOpen);
  /// Simulates another program's save that a write displaced from `path`.
  void addKeptSave(const std::string& path, const std::string& keptPath) { keptSaves_[path].push_back(keptPath); }
  void setOffersReplaceItem(bool offersReplaceItem) { offersReplaceItem_ = offersReplaceItem; }
  /// The difference between the dates of two changes; positive. One second by default.
  void setDateStep(std::chrono::nanoseconds step) { dateStep_ = step; }

  /// The next call of this kind fails with this errno value.
  void failNext(FileOperation operation, int code) { failures_[operation] = {code, false}; }
  /// Every call of this kind fails from now on.
  void failAlways(FileOperation operation, int code) { failures_[operation] = {code, true}; }
  /// The next replacement fails half-way and leaves the target's old item at `asidePath`.
  void failNextReplaceHalfWay(const std::string& asidePath) { asidePath_ = asidePath; }
  /// The next replacement or move throws.
  void throwNext() { isThrowing_ = true; }

  /// Called before every operation, even one that fails. May change files, but must not set a hook; its own calls are
  /// not reported. If it throws, the operation has no effect.
  void setHook(std::function<void(const FileCall&)> hook) { hook_ = std::move(hook); }
  /// Called after every operation, failed or not, unless it threw. Must not throw.
  void setAfterHook(std::function<void(const FileCall&)> hook) { afterHook_ = std::move(hook); }
  [[nodiscard]] std::size_t callCount(FileOperation operation) const;
  /// All calls in order, without those of hooks. Of two paths, the one that is read or replaced.
  [[nodiscard]] const std::vector<FileCall>& calls() const { return calls_; }
  /// Resets calls and counts, for long tests.
  void forgetCalls() { std::vector<FileCall>().swap(calls_); }

  [[nodiscard]] bool fileExistsAtPath(const std::string& path) override;
  [[nodiscard]] FileAttributes attributesOfItemAtPath(const std::string& path) override;
  [[nodiscard]] FileReading contentsAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus createDirectoryAtPath(const std::string& path) override;
  [[nodiscard]] DirectoryListing filesInDirectoryAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus createFileAtPath(const DataPieces& data, const std::string& path) override;
  [[nodiscard]] FileStatus copyItemAtPathToPath(const std::string& source, const std::string& target) override;
  [[nodiscard]] std::optional<std::string> sourceOfCopyAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus removeItemAtPath(const std::string& path) override;
  using FileManager::writeDataToPath;
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path,
                                           const std::optional<FileVersion>& readVersion,
                                           std::optional<FileDate>* writtenDate) override;
  [[nodiscard]] FileReading contentsOfOwnFileAtPath(const std::string& path) override;
  [[nodiscard]] FileStatus replaceOwnFileAtPath(const DataPieces& data, const std::string& path,
                                                const FileVersion& version) override;
  [[nodiscard]] bool isOpenForWritingAtPath(const std::string& path) override;
  [[nodiscard]] std::vector<std::string> keptSavesAtPath(const std::string& path) override;
  [[nodiscard]] bool offersReplaceItem() override { return offersReplaceItem_; }
  [[nodiscard]] FileReplacement replaceItem(const std::string& target, const std::string& replacement) override;
  [[nodiscard]] FileStatus moveItem(const std::string& source, const std::string& target) override;
  [[nodiscard]] FileStatus exchangeItems(const std::string& first, const std::string& second) override;
  [[nodiscard]] DirectoryLookup applicationSupportDirectory() override;
  [[nodiscard]] std::string stringByExpandingTildeInPath(const std::string& path) override;

 private:
  struct Failure {
    int code = 0;
    bool isLasting = false;
  };

  /// One operation: calls the hook at its beginning and the after-hook at its end.
  class Call {
   public:
    Call(MemoryFileManager& manager, FileOperation operation, const std::string& path);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The errno value ordered for this call, or 0.
    [[nodiscard]] int code() const { return code_; }

   private:
    MemoryFileManager& manager_;
    FileCall call_;
    int exceptionsBefore_;
    bool isTold_;
    int code_ = 0;
  };

  void tell(const std::function<void(const FileCall&)>& hook, const FileCall& call);
  [[nodiscard]] int takeFailure(FileOperation operation);
  [[nodiscard]] bool mayChangeFolderOf(const std::string& path) const;
  /// As MemoryTree::locate(), for what must end in a name: a path to a folder by a slash or dots does not.
  [[nodiscard]] MemoryPlace placeOf(const std::string& path, bool followsLast) const;
  [[nodiscard]] int checkReplacement(const MemoryPlace& target, const MemoryPlace& replacement,
                                     const MemoryPlace& behind) const;
  void throwIfUnusable(const std::string& path);
  [[nodiscard]] FileDate nextDate();

  MemoryTree tree_;
  std::map<FileOperation, Failure> failures_;
  std::vector<FileCall> calls_;
  std::function<void(const FileCall&)> hook_;
  std::function<void(const FileCall&)> afterHook_;
  std::string home_ = "/home/user";
  std::optional<std::string> asidePath_;
  std::chrono::nanoseconds dateStep_ = std::chrono::seconds(1);
  std::chrono::nanoseconds lastDate_ = std::chrono::seconds(1'000'000);
  std::set<std::string> openForWriting_;
  std::map<std::string, std::vector<std::string>> keptSaves_;
  bool offersReplaceItem_ = true;
  bool isThrowing_ = false;
  bool isInHook_ = false;
};

}  // namespace tarvel
