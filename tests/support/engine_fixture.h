#pragma once

#include "engine/tarvel.h"
#include "platform/memory/memory_platform.h"
#include "platform/plist/serialization.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

/// A memory platform and a fresh Tarvel on it, with every option off.
struct EngineFixture {
  PlistSerialization serialization;
  MemoryPlatform memory{serialization};
  Platform platform = memory.platform();
  Tarvel tarvel{platform};

  /// The node of `notation` cleaned as the root of a tree.
  [[nodiscard]] std::string cleaned(std::string_view notation) {
    const PropertyList list = tree(notation);
    tarvel.validateBookmarksInRootNode(list.root.dictionary());
    return text(list);
  }

  /// The node of `notation` with its folders in order, uncleaned.
  [[nodiscard]] std::string sorted(std::string_view notation) {
    const PropertyList list = tree(notation);
    return text(tarvel.sortBookmarksInDictionary(list.root.dictionary()));
  }

  /// The whole-file sort of a root; `didSort` tells the flag. "(same)" when the root itself came back.
  [[nodiscard]] std::string sortedRoot(std::string_view notation, bool* didSort) {
    const PropertyList list = tree(notation);
    const PropertyListDictionary root = list.root.dictionary();
    const PropertyListDictionary result = tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(root, didSort);
    return result == root ? "(same)" : text(result);
  }
};

}  // namespace tarvel
