#include "tools/files/current_file.h"

#include <cerrno>

#include "tools/files/retry.h"

namespace tarvel {

CurrentFile readCurrentFile(const Platform& platform, const std::string& path) {
  CurrentFile file;
  const bool isDone = retry(platform.clock, [&] {
    file = {TarvelErrorNone, platform.fileManager.contentsAtPath(path)};
    if (file.reading.status.ok()) {
      return platform.fileManager.modificationDateAtPath(path) == file.reading.version.date;
    }
    const bool isMissing = file.reading.status.code == ENOENT || file.reading.status.code == ENOTDIR;
    file.code = isMissing ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
    return true;
  });
  return isDone ? file : CurrentFile{TarvelErrorFileInUse, {}};
}

}  // namespace tarvel
