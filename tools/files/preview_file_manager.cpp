#include "tools/files/preview_file_manager.h"

#include <cerrno>
#include <utility>

namespace tarvel {

namespace {

FileStatus refusal() { return {EROFS, "A preview writes nothing."}; }

}  // namespace

PreviewFileManager::PreviewFileManager(FileManager& real, std::string path)
    : real_(real), path_(std::move(path)), exists_(real.fileExistsAtPath(path_)) {
  if (exists_) contents_ = real.contentsAtPath(path_);
}

PreviewFileManager::PreviewFileManager(FileManager& real, std::string path, FileReading contents)
    : real_(real), path_(std::move(path)), exists_(true), contents_(std::move(contents)) {}

FileAttributes PreviewFileManager::attributesOfItemAtPath(const std::string& path) {
  if (!fileExistsAtPath(path)) return {std::nullopt, {ENOENT, "The file does not exist."}};
  return {FileDate{}, {}};
}

FileReading PreviewFileManager::contentsAtPath(const std::string& path) {
  if (!fileExistsAtPath(path)) return {{}, {ENOENT, "The file does not exist."}};
  return contents_;
}

FileStatus PreviewFileManager::createDirectoryAtPath(const std::string& /*path*/) { return refusal(); }

DirectoryListing PreviewFileManager::filesInDirectoryAtPath(const std::string& /*path*/) { return {{}, refusal()}; }

FileStatus PreviewFileManager::createFileAtPath(const DataPieces& /*data*/, const std::string& /*path*/) {
  return refusal();
}

FileStatus PreviewFileManager::copyItemAtPathToPath(const std::string& /*source*/, const std::string& /*target*/) {
  return refusal();
}

std::optional<std::string> PreviewFileManager::sourceOfCopyAtPath(const std::string& /*path*/) { return std::nullopt; }

FileStatus PreviewFileManager::removeItemAtPath(const std::string& /*path*/) { return refusal(); }

FileStatus PreviewFileManager::writeDataToPath(const DataPieces& /*data*/, const std::string& path,
                                               const std::optional<FileVersion>& /*readVersion*/,
                                               std::optional<FileDate>* /*writtenDate*/) {
  return fileExistsAtPath(path) ? FileStatus{} : refusal();
}

FileReading PreviewFileManager::contentsOfOwnFileAtPath(const std::string& path) { return contentsAtPath(path); }

FileStatus PreviewFileManager::replaceOwnFileAtPath(const DataPieces& /*data*/, const std::string& /*path*/,
                                                    const FileVersion& /*version*/) {
  return refusal();
}

FileReplacement PreviewFileManager::replaceItem(const std::string& /*target*/, const std::string& /*replacement*/) {
  return {refusal(), std::nullopt};
}

FileStatus PreviewFileManager::moveItem(const std::string& /*source*/, const std::string& /*target*/) {
  return refusal();
}

FileStatus PreviewFileManager::exchangeItems(const std::string& /*first*/, const std::string& /*second*/) {
  return refusal();
}

DirectoryLookup PreviewFileManager::applicationSupportDirectory() { return {std::nullopt, refusal()}; }

std::string PreviewFileManager::stringByExpandingTildeInPath(const std::string& path) {
  return real_.stringByExpandingTildeInPath(path);
}

}  // namespace tarvel
