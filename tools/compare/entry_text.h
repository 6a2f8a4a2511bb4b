#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// A text of a bookmarks file as reports keep it: they are for looking at, so one of more than 1000 bytes is cut,
/// between two characters, and ends in "…".
[[nodiscard]] std::string shortenedText(std::string_view text);

/// The titles of the folders around an entry as reports keep them: every entry of a deep tree has them, so of a path of
/// more than about 2000 bytes the outermost titles are left out, and "…" stands in their place.
class ShortenedPath {
 public:
  /// From the innermost folder outwards. False when the path is full, and nothing more is to be added.
  bool add(const std::string& title);

  /// From the top level down.
  [[nodiscard]] std::vector<std::string> titles() const { return {titles_.rbegin(), titles_.rend()}; }

 private:
  std::vector<std::string> titles_;
  std::size_t size_ = 0;
};

}  // namespace tarvel
