#include "tools/compare/tree_matching.h"

#include <tsl/robin_map.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/bookmark_node.h"
#include "platform/text/text_hash.h"

namespace tarvel {

namespace {

/// What an entry is known by. Whole texts as hashes: those of the tree are cut for showing.
struct Traits {
  bool hasIdentifier = false;
  std::uint64_t identifier = 0;
  std::uint64_t title = 0;
  std::uint64_t address = 0;
};

enum class Likeness : std::uint8_t { kTitleAndAddress, kAddress, kTitle };

/// Entries that share a key, in the order of the tree.
class Shelf {
 public:
  void put(std::uint64_t key, std::size_t entry) { entries_[key].waiting.push_back(entry); }

  /// The first that is left, or kNoEntry.
  [[nodiscard]] std::size_t take(std::uint64_t key) {
    const auto found = entries_.find(key);
    if (found == entries_.end()) return kNoEntry;
    Queue& queue = found.value();
    return queue.taken < queue.waiting.size() ? queue.waiting[queue.taken++] : kNoEntry;
  }

 private:
  struct Queue {
    std::vector<std::size_t> waiting;
    std::size_t taken = 0;
  };
  tsl::robin_map<std::uint64_t, Queue> entries_;
};

class Matcher {
 public:
  Matcher(PropertyListDictionary before, PropertyListDictionary after)
      : before_(comparison_.before), after_(comparison_.after) {
    before_ = readTree(before, beforeTraits_);
    after_ = readTree(after, afterTraits_);
  }

  TreeComparison match() {
    if (!before_.empty() && !after_.empty()) {
      pair(0, 0);
      matchIdentifiers();
      matchInFolders(Likeness::kTitleAndAddress);
      matchAnywhere(Likeness::kTitleAndAddress);
      matchAnywhere(Likeness::kAddress);
      matchFoldersByContent();
      matchInFolders(Likeness::kTitle);
      matchFoldersByTitle();
      matchInFolders(Likeness::kTitle);
    }
    compareTexts();
    markChanges(comparison_);
    return std::move(comparison_);
  }

 private:
  EntryTree readTree(PropertyListDictionary root, std::vector<Traits>& traits) {
    return entryTreeOf(root, [&](PropertyListDictionary node, std::size_t) {
      const auto identifier = node.string(kWebBookmarkUUIDKey);
      auto title = node.string(kTitleKey);
      if (!title) title = node.dictionary(kURIDictionaryKey).string(kURITitleKey);
      traits.push_back({identifier.has_value(), textHash_(identifier.value_or("")), textHash_(title.value_or("")),
                        textHash_(node.string(kURLStringKey).value_or(""))});
    });
  }

  void pair(std::size_t earlier, std::size_t later) {
    before_[earlier].counterpart = later;
    after_[later].counterpart = earlier;
  }

  [[nodiscard]] std::uint64_t key(const TreeEntry& entry, const Traits& traits, Likeness likeness) const {
    const std::uint64_t title = likeness == Likeness::kAddress ? 0 : traits.title;
    const std::uint64_t address = likeness == Likeness::kTitle ? 0 : traits.address;
    return hash_(std::to_string(static_cast<int>(entry.kind)) + " " + std::to_string(title) + " " +
                 std::to_string(address));
  }

  /// An identifier that stands twice in a tree names nothing.
  static tsl::robin_map<std::uint64_t, std::size_t> identifiersOf(const std::vector<Traits>& traits) {
    tsl::robin_map<std::uint64_t, std::size_t> entries;
    for (std::size_t i = 1; i < traits.size(); ++i) {
      if (!traits[i].hasIdentifier) continue;
      const auto [place, isNew] = entries.try_emplace(traits[i].identifier, i);
      if (!isNew) place.value() = kNoEntry;
    }
    return entries;
  }

  void matchIdentifiers() {
    const auto later = identifiersOf(afterTraits_);
    for (const auto& [identifier, entry] : identifiersOf(beforeTraits_)) {
      const auto found = later.find(identifier);
      if (entry == kNoEntry || found == later.end() || found->second == kNoEntry) continue;
      if (before_[entry].kind == after_[found->second].kind) pair(entry, found->second);
    }
  }

  /// Folders come before what is in them, so a folder matched here has its own children matched too.
  void matchInFolders(Likeness likeness) {
    for (std::size_t folder = 0; folder < before_.size(); ++folder) {
      if (before_[folder].counterpart != kNoEntry) matchChildren(folder, before_[folder].counterpart, likeness);
    }
  }

  void matchChildren(std::size_t earlierFolder, std::size_t laterFolder, Likeness likeness) {
    Shelf shelf;
    for (std::size_t i = laterFolder + 1; i < after_[laterFolder].end; i = after_[i].end) {
      if (after_[i].counterpart == kNoEntry) shelf.put(key(after_[i], afterTraits_[i], likeness), i);
    }
    for (std::size_t i = earlierFolder + 1; i < before_[earlierFolder].end; i = before_[i].end) {
      if (before_[i].counterpart != kNoEntry) continue;
      const std::size_t found = shelf.take(key(before_[i], beforeTraits_[i], likeness));
      if (found != kNoEntry) pair(i, found);
    }
  }

  [[nodiscard]] static bool isLooseBookmark(const TreeEntry& entry) {
    return entry.kind == EntryKind::kBookmark && entry.counterpart == kNoEntry && !entry.address.empty();
  }

  void matchAnywhere(Likeness likeness) {
    Shelf shelf;
    for (std::size_t i = 1; i < after_.size(); ++i) {
      if (isLooseBookmark(after_[i])) shelf.put(key(after_[i], afterTraits_[i], likeness), i);
    }
    for (std::size_t i = 1; i < before_.size(); ++i) {
      if (!isLooseBookmark(before_[i])) continue;
      const std::size_t found = shelf.take(key(before_[i], beforeTraits_[i], likeness));
      if (found != kNoEntry) pair(i, found);
    }
  }

  [[nodiscard]] static bool isLooseFolder(const TreeEntry& entry) {
    return entry.kind == EntryKind::kFolder && entry.counterpart == kNoEntry;
  }

  /// Folders that were given another title and identifier: each is where most of its children are now. From the
  /// innermost outwards, so that folders found this way count for those around them.
  void matchFoldersByContent() {
    for (std::size_t folder = before_.size(); folder-- > 1;) {
      if (!isLooseFolder(before_[folder])) continue;
      std::map<std::size_t, std::size_t> votes;
      for (std::size_t i = folder + 1; i < before_[folder].end; i = before_[i].end) {
        if (before_[i].counterpart == kNoEntry) continue;
        const std::size_t parent = after_[before_[i].counterpart].parent;
        if (parent != kNoEntry && isLooseFolder(after_[parent])) ++votes[parent];
      }
      const auto most = std::ranges::max_element(votes, {}, [](const auto& vote) { return vote.second; });
      if (most != votes.end()) pair(folder, most->first);
    }
  }

  [[nodiscard]] static tsl::robin_map<std::uint64_t, std::size_t> looseFoldersByTitle(
      const EntryTree& tree, const std::vector<Traits>& traits) {
    tsl::robin_map<std::uint64_t, std::size_t> folders;
    for (std::size_t i = 1; i < tree.size(); ++i) {
      if (!isLooseFolder(tree[i]) || tree[i].title.empty()) continue;
      const auto [place, isNew] = folders.try_emplace(traits[i].title, i);
      if (!isNew) place.value() = kNoEntry;
    }
    return folders;
  }

  void matchFoldersByTitle() {
    const auto later = looseFoldersByTitle(after_, afterTraits_);
    for (const auto& [title, folder] : looseFoldersByTitle(before_, beforeTraits_)) {
      const auto found = later.find(title);
      if (folder != kNoEntry && found != later.end() && found->second != kNoEntry) pair(folder, found->second);
    }
  }

  void compareTexts() {
    for (std::size_t i = 1; i < before_.size(); ++i) {
      TreeEntry& earlier = before_[i];
      if (earlier.counterpart == kNoEntry) continue;
      TreeEntry& later = after_[earlier.counterpart];
      std::uint8_t changes = 0;
      if (beforeTraits_[i].title != afterTraits_[earlier.counterpart].title || earlier.hasTitle != later.hasTitle) {
        changes |= earlier.hasTitle ? kEntryRenamed : kEntryNamed;
        earlier.otherTitle = later.title;
        later.otherTitle = earlier.title;
      }
      if (beforeTraits_[i].address != afterTraits_[earlier.counterpart].address) {
        changes |= kEntryReaddressed;
        earlier.otherAddress = later.address;
        later.otherAddress = earlier.address;
      }
      earlier.changes = changes;
      later.changes = changes;
    }
  }

  TreeComparison comparison_;
  EntryTree& before_;
  EntryTree& after_;
  std::vector<Traits> beforeTraits_;
  std::vector<Traits> afterTraits_;
  /// Of the texts of both trees, and of keys made here.
  ListTextHash textHash_;
  KeyedTextHash hash_;
};

}  // namespace

TreeComparison comparisonOf(PropertyListDictionary before, PropertyListDictionary after) {
  return Matcher(before, after).match();
}

}  // namespace tarvel
