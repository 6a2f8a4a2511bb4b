#pragma once

#include <string>

#include "platform/file_manager.h"

namespace tarvel {

/// One file, read once and held in memory, under the path it was read from. No other file exists, so there is no lock
/// to wait for. Writes fail, except that the bookmarks file takes one and drops it.
class PreviewFileManager : public FileManager {
 public:
  /// `real` is borrowed; it is read from now and asked about tildes later, never written to.
  PreviewFileManager(FileManager& real, std::string path);
  /// A file with these contents, read from somewhere else.
  PreviewFileManager(FileManager& real, std::string path, FileReading contents);

  [[nodiscard]] bool fileExistsAtPath(const std::string& path) override { return exists_ && path == path_; }
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
  /// A preview cannot disturb another writer.
  [[nodiscard]] bool isOpenForWritingAtPath(const std::string& /*path*/) override { return false; }
  [[nodiscard]] std::vector<std::string> keptSavesAtPath(const std::string& path) override {
    return real_.keptSavesAtPath(path);
  }
  [[nodiscard]] bool offersReplaceItem() override { return true; }
  [[nodiscard]] FileReplacement replaceItem(const std::string& target, const std::string& replacement) override;
  [[nodiscard]] FileStatus moveItem(const std::string& source, const std::string& target) override;
  [[nodiscard]] FileStatus exchangeItems(const std::string& first, const std::string& second) override;
  [[nodiscard]] DirectoryLookup applicationSupportDirectory() override;
  [[nodiscard]] std::string stringByExpandingTildeInPath(const std::string& path) override;

 private:
  FileManager& real_;
  std::string path_;
  bool exists_;
  FileReading contents_;
};

}  // namespace tarvel
