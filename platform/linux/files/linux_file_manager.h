#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"

namespace tarvel {

/// Files of a Linux system. Stateless.
class LinuxFileManager final : public FileManager {
 public:
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
  [[nodiscard]] bool offersReplaceItem() override { return true; }
  [[nodiscard]] FileReplacement replaceItem(const std::string& target, const std::string& replacement) override;
  [[nodiscard]] FileStatus moveItem(const std::string& source, const std::string& target) override;
  [[nodiscard]] FileStatus exchangeItems(const std::string& first, const std::string& second) override;
  [[nodiscard]] DirectoryLookup applicationSupportDirectory() override;
  [[nodiscard]] std::string stringByExpandingTildeInPath(const std::string& path) override;
};

/// Expands a leading tilde. `homeOf` returns a user's home folder, or an empty string for an unknown user; the empty
/// name means the current user.
[[nodiscard]] std::string expandTilde(const std::string& path,
                                      const std::function<std::string(const std::string&)>& homeOf);

}  // namespace tarvel
