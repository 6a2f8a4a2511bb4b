#include "platform/linux/base/mount_table.h"

#include <fcntl.h>

#include <fstream>
#include <sstream>

namespace tarvel {

namespace {

constexpr const char* kTable = "/proc/self/mountinfo";

/// The table writes white space and backslashes as octal escapes.
std::string unescaped(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 3 >= text.size()) {
      plain.push_back(text[i]);
      continue;
    }
    plain.push_back(static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0')));
    i += 3;
  }
  return plain;
}

bool isAtOrAbove(const std::string& mount, const std::string& path) {
  if (mount == "/" || mount == path) return true;
  return path.starts_with(mount) && path[mount.size()] == '/';
}

}  // namespace

MountTable::MountTable() : fd_(::open(kTable, O_RDONLY | O_CLOEXEC)) {}

std::size_t MountTable::countAbove(const std::string& path) const {
  std::ifstream table(kTable);
  std::size_t count = 0;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string ignored;
    std::string mount;
    fields >> ignored >> ignored >> ignored >> ignored >> mount;
    if (fields && isAtOrAbove(unescaped(mount), path)) ++count;
  }
  return count;
}

std::string fileSystemNameOf(const std::string& path) {
  std::ifstream table(kTable);
  std::string deepest;
  std::string name;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string ignored;
    std::string mount;
    fields >> ignored >> ignored >> ignored >> ignored >> mount;
    mount = unescaped(mount);
    // A later mount on the same folder hides the earlier one.
    if (!fields || !isAtOrAbove(mount, path) || mount.size() < deepest.size()) continue;
    while (fields >> ignored && ignored != "-") {
    }
    deepest = mount;
    fields >> name;
  }
  return name;
}

}  // namespace tarvel
