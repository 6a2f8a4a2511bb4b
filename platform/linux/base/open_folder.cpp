#include "platform/linux/base/open_folder.h"

#include <fcntl.h>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

std::vector<std::string> entriesOf(int folder) {
  std::vector<std::string> names;
  UniqueFd listed(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const OpenFolder entries(listed ? ::fdopendir(listed.get()) : nullptr);
  if (!entries) return names;
  listed.release();
  while (const dirent* entry = ::readdir(entries.get())) names.emplace_back(entry->d_name);
  return names;
}

}  // namespace tarvel
