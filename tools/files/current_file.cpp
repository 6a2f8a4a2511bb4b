#include "tools/files/current_file.h"

#include <cerrno>

namespace tarvel {

CurrentFile readCurrentFile(const Platform& platform, const std::string& path) {
  constexpr int kMostAttempts = 10;
  constexpr std::chrono::milliseconds kPause{300};
  for (int i = 0; i < kMostAttempts; ++i) {
    if (i != 0) platform.clock.sleepFor(kPause);
    CurrentFile file{TarvelErrorNone, platform.fileManager.contentsAtPath(path)};
    if (!file.reading.status.ok()) {
      const bool isMissing = file.reading.status.code == ENOENT || file.reading.status.code == ENOTDIR;
      file.code = isMissing ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
      return file;
    }
    if (platform.fileManager.modificationDateAtPath(path) == file.reading.version.date) return file;
  }
  return {TarvelErrorFileInUse, {}};
}

}  // namespace tarvel
