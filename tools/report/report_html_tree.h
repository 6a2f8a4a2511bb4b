#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/compare/tree_comparison.h"

namespace tarvel {

// Internal to the page.

/// The word for one change: class of an element, end of an identifier, and what is read.
[[nodiscard]] const char* wordFor(EntryChange change);
/// Every change, in the order in which an entry tells them.
[[nodiscard]] std::vector<EntryChange> allChanges();
/// The classes that tell what changed of an entry, and "in-" what changed below it; each with a space before it.
[[nodiscard]] std::string changeClasses(const TreeEntry& entry);

/// Writes one of the two trees as nested lists, folders as elements that fold without a script.
class HtmlTree {
 public:
  enum class Side : std::uint8_t { kBefore, kAfter };

  HtmlTree(const TreeComparison& comparison, Side side);

  [[nodiscard]] std::string build();

 private:
  void entry(std::size_t index, std::size_t depth);
  void folder(std::size_t index, std::size_t depth);
  void children(std::size_t index, std::size_t depth);
  void beginRow(std::size_t index, bool isFlat);
  void label(std::size_t index, bool mayLink);
  void change(std::size_t index, EntryChange change, bool mayLink);
  [[nodiscard]] std::string explanation(std::size_t index, EntryChange change, bool mayLink) const;
  [[nodiscard]] std::string movement(std::size_t index) const;
  [[nodiscard]] std::string absence(std::size_t index, bool mayLink) const;
  [[nodiscard]] bool isOpen(std::size_t index) const;

  const TreeComparison& comparison_;
  Side side_;
  const EntryTree& own_;
  const EntryTree& other_;
  /// Entries that a link leads to.
  std::vector<bool> targets_;
  std::string html_;
};

}  // namespace tarvel
