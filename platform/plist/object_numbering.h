#pragma once

#include <tsl/robin_map.h>

#include <cstdint>
#include <vector>

#include "platform/plist/large_memory.h"
#include "platform/plist/tree_storage.h"

namespace tarvel {

/// Which value becomes which object of a binary file.
class ObjectNumbering {
 public:
  explicit ObjectNumbering(PropertyListAccess::Storage& storage) : storage_(storage) {}

  /// Numbers everything reachable from `root`, which gets 0. False when a container contains itself.
  [[nodiscard]] bool number(Slot root);

  /// Containers within each other, at the deepest place.
  [[nodiscard]] std::size_t depth() const { return depth_; }
  /// Object number to slot, for every object of the file.
  [[nodiscard]] const LargeVector<Slot>& objects() const { return objects_; }
  [[nodiscard]] std::uint32_t numberOf(Slot slot) const {
    switch (slotTag(slot)) {
      case kSourceTag:
        if (slotIndex(slot) >= objects_.size()) return movedNumbers_[slotIndex(slot) - objects_.size()];
        return objects_[slotIndex(slot)] == slot ? slotIndex(slot) : displacedNumbers_.at(slot);
      case kMadeTag:
        return madeNumbers_[slotIndex(slot)];
      default:
        return containerNumbers_[slotIndex(slot)];
    }
  }

 private:
  struct Visit {
    std::uint32_t container;
    std::uint32_t next;
  };
  struct Duplicate {
    Slot leaf;
    Slot original;
  };

  [[nodiscard]] bool reach(Slot root);
  [[nodiscard]] Slot nextContainer(Visit& visit);
  [[nodiscard]] bool enter(Slot container);
  void leave(std::uint32_t container);
  void reachLeaf(Slot leaf);
  void reachKeys(const Shape& shape);
  [[nodiscard]] bool isCopyOf(const Container& container, const Container& original) const;
  [[nodiscard]] Slot mergedInto(Slot slot) const;

  void mergeEqualLeaves();
  void assign(Slot root);
  void setNumber(Slot slot, std::uint32_t number);

  PropertyListAccess::Storage& storage_;
  std::vector<Visit> stack_;
  /// By source object: the slot that keeps that object's number, kNoSlot for none. Later: by final number.
  LargeVector<Slot> objects_;
  /// What has no number to keep, in the order met.
  std::vector<Slot> newcomers_;
  std::vector<Duplicate> duplicates_;
  std::vector<bool> reachedShapes_;
  std::size_t depth_ = 0;

  /// Of the source's objects whose own numbers are past the end, from the first such number on.
  LargeVector<std::uint32_t> movedNumbers_;
  /// Of one that had to give way to the root, or is the root.
  tsl::robin_map<Slot, std::uint32_t> displacedNumbers_;
  LargeVector<std::uint32_t> madeNumbers_;
  LargeVector<std::uint32_t> containerNumbers_;
};

}  // namespace tarvel
