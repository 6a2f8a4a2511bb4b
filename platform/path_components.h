#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// How many symbolic links a path lookup follows before it fails with ELOOP; the Linux kernel's limit.
inline constexpr int kMostLinks = 40;

/// The path without its last component: "/a/b/" gives "/a", "/a" gives "/", "/" gives "/", "a" gives "". Repeated
/// slashes count as one.
[[nodiscard]] inline std::string deletingLastPathComponent(std::string_view path) {
  std::string clean;
  for (const char c : path) {
    if (c != '/' || clean.empty() || clean.back() != '/') clean.push_back(c);
  }
  if (clean.size() > 1 && clean.back() == '/') clean.pop_back();
  const std::size_t slash = clean.rfind('/');
  if (slash == std::string::npos) return {};
  clean.resize(slash == 0 ? 1 : slash);
  return clean;
}

}  // namespace tarvel
