#include "platform/plist/object_numbering.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>

namespace tarvel {

namespace {

// Placeholders for numbers during the walk.
constexpr std::uint32_t kUnreached = 0xFFFF'FFFFU;
constexpr std::uint32_t kOpen = 0xFFFF'FFFEU;
constexpr std::uint32_t kClosed = 0xFFFF'FFFDU;
constexpr std::uint32_t kMerged = 0xFFFF'FFFCU;  ///< Written once, with the container or leaf it equals.

/// Leaves by content. Batches of lookups are prefetched: the table is far larger than a cache.
class LeafTable {
 public:
  LeafTable(PropertyListAccess::Storage& storage, std::size_t leaves)
      : storage_(storage),
        entries_(std::bit_ceil(std::max<std::size_t>(leaves + leaves / 3, 16))),
        mask_(entries_.size() - 1) {}

  /// Calls `use` for each leaf with the one already known that has the same bytes, or with itself.
  template <typename Use>
  void findOrAdd(std::span<const Slot> leaves, Use use) {
    std::array<std::uint64_t, kBatch> hashes{};
    for (std::size_t begin = 0; begin < leaves.size(); begin += kBatch) {
      const auto batch = leaves.subspan(begin, std::min(kBatch, leaves.size() - begin));
      for (std::size_t i = 0; i < batch.size(); ++i) {
        const auto bytes = storage_.encoded(batch[i]);
        hashes[i] = XXH3_64bits_withSeed(bytes.data(), bytes.size(), storage_.hashSeed);
        __builtin_prefetch(&entries_[hashes[i] & mask_], 1);
      }
      for (std::size_t i = 0; i < batch.size(); ++i) use(batch[i], findOrAddOne(batch[i], hashes[i]));
    }
  }

 private:
  static constexpr std::size_t kBatch = 16;

  struct Entry {
    std::uint32_t check = 0;
    Slot leaf = kNoSlot;
  };

  Slot findOrAddOne(Slot leaf, std::uint64_t hash) {
    const auto check = static_cast<std::uint32_t>(hash >> 32);
    for (std::size_t at = hash & mask_;; at = (at + 1) & mask_) {
      Entry& entry = entries_[at];
      if (entry.leaf == kNoSlot) {
        entry = {check, leaf};
        return leaf;
      }
      if (entry.check == check && std::ranges::equal(storage_.encoded(entry.leaf), storage_.encoded(leaf))) {
        return entry.leaf;
      }
    }
  }

  PropertyListAccess::Storage& storage_;
  LargeVector<Entry> entries_;
  std::size_t mask_;
};

/// Which leaves may equal one of a few, by a hash that reads little of them.
class LeafFilter {
 public:
  LeafFilter(const PropertyListAccess::Storage& storage, std::span<const Slot> leaves)
      : storage_(storage), bits_(std::bit_ceil(leaves.size() * kBitsPerLeaf)), mask_(bits_.size() - 1) {
    for (const Slot leaf : leaves) bits_[place(leaf)] = true;
  }

  [[nodiscard]] bool mayEqualOne(Slot leaf) const { return bits_[place(leaf)]; }

 private:
  static constexpr std::size_t kBitsPerLeaf = 16;

  /// From the marker, the length and the last bytes.
  [[nodiscard]] std::size_t place(Slot leaf) const {
    const auto bytes = storage_.encoded(leaf);
    std::uint64_t end = 0;
    const std::size_t size = std::min(bytes.size(), sizeof end);
    std::memcpy(&end, bytes.data() + bytes.size() - size, size);
    constexpr std::uint64_t kOdd = 0x9E37'79B9'7F4A'7C15U;
    return ((end * kOdd ^ bytes.size() ^ bytes.front()) * kOdd >> 24) & mask_;
  }

  const PropertyListAccess::Storage& storage_;
  std::vector<bool> bits_;
  std::size_t mask_;
};

}  // namespace

bool ObjectNumbering::number(Slot root) {
  objects_.assign(storage_.source.objectCount, kNoSlot);
  madeNumbers_.assign(storage_.made.size(), kUnreached);
  containerNumbers_.assign(storage_.containers.size(), kUnreached);
  reachedShapes_.assign(storage_.shapes.size(), false);
  if (!reach(root)) return false;
  mergeEqualLeaves();
  assign(root);
  // Not needed for writing, which takes the most memory of a sort.
  newcomers_ = std::vector<Slot>();
  duplicates_ = std::vector<Duplicate>();
  return true;
}

/// Walks the tree: a container before its contents, a dictionary's keys before its values.
bool ObjectNumbering::reach(Slot root) {
  if (!isContainerSlot(root)) {
    reachLeaf(root);
    return true;
  }
  if (!enter(root)) return false;
  while (!stack_.empty()) {
    const Slot next = nextContainer(stack_.back());
    if (next != kNoSlot) {
      if (!enter(next)) return false;
      continue;
    }
    const std::uint32_t finished = stack_.back().container;
    stack_.pop_back();
    leave(finished);
  }
  return true;
}

/// Goes on in a container up to the next container in it, past the leaves; kNoSlot at the end.
Slot ObjectNumbering::nextContainer(Visit& visit) {
  const Container& container = storage_.containers[visit.container];
  while (visit.next < container.count) {
    const Slot slot = container.slots[visit.next++];
    if (isContainerSlot(slot)) return slot;
    reachLeaf(slot);
  }
  return kNoSlot;
}

bool ObjectNumbering::enter(Slot slot) {
  const std::uint32_t index = slotIndex(slot);
  if (containerNumbers_[index] != kUnreached) return containerNumbers_[index] != kOpen;
  containerNumbers_[index] = kOpen;
  const Container& container = storage_.containers[index];
  if (container.origin != kNoOrigin && objects_[container.origin] == kNoSlot) {
    objects_[container.origin] = slot;
  } else {
    newcomers_.push_back(slot);
  }
  if (container.isDictionary() && !reachedShapes_[container.shape->index]) reachKeys(*container.shape);
  stack_.push_back({index, 0});
  depth_ = std::max(depth_, stack_.size());
  return true;
}

/// A container that the source file refers to from several places was unfolded; copies that stayed alike become one
/// object again.
void ObjectNumbering::leave(std::uint32_t index) {
  containerNumbers_[index] = kClosed;
  if (!storage_.unfoldedShared) return;
  const Container& container = storage_.containers[index];
  if (container.origin == kNoOrigin) return;
  const Slot keeper = objects_[container.origin];
  if (!isContainerSlot(keeper) || slotIndex(keeper) == index) return;
  if (containerNumbers_[slotIndex(keeper)] != kClosed) return;
  if (!isCopyOf(container, storage_.containers[slotIndex(keeper)])) return;
  containerNumbers_[index] = kMerged;
  duplicates_.push_back({kContainerTag | index, keeper});
}

bool ObjectNumbering::isCopyOf(const Container& container, const Container& original) const {
  if (container.shape != original.shape || container.count != original.count) return false;
  return std::equal(container.slots, container.slots + container.count, original.slots,
                    [this](Slot a, Slot b) { return mergedInto(a) == mergedInto(b); });
}

Slot ObjectNumbering::mergedInto(Slot slot) const {
  if (!isContainerSlot(slot) || containerNumbers_[slotIndex(slot)] != kMerged) return slot;
  return objects_[storage_.containers[slotIndex(slot)].origin];
}

void ObjectNumbering::reachLeaf(Slot leaf) {
  if (slotTag(leaf) == kSourceTag) {
    objects_[slotIndex(leaf)] = leaf;
    return;
  }
  std::uint32_t& number = madeNumbers_[slotIndex(leaf)];
  if (number != kUnreached) return;
  number = kClosed;
  newcomers_.push_back(leaf);
}

void ObjectNumbering::reachKeys(const Shape& shape) {
  reachedShapes_[shape.index] = true;
  for (const Slot key : shape.keys) reachLeaf(key);
}

/// Of equal leaves one is written. Those of the source stay as they were: only new ones can be new repeats, of each
/// other or of one in the source.
void ObjectNumbering::mergeEqualLeaves() {
  std::vector<Slot> made;
  std::ranges::copy_if(newcomers_, std::back_inserter(made), [](Slot slot) { return !isContainerSlot(slot); });
  if (made.empty()) return;
  const LeafFilter filter(storage_, made);
  std::vector<Slot> similar;
  for (const Slot slot : objects_) {
    if (slot != kNoSlot && !isContainerSlot(slot) && filter.mayEqualOne(slot)) similar.push_back(slot);
  }
  LeafTable table(storage_, similar.size() + made.size());
  table.findOrAdd(similar, [](Slot /*leaf*/, Slot /*known*/) {});
  table.findOrAdd(made, [this](Slot leaf, Slot known) {
    if (known == leaf) return;
    duplicates_.push_back({leaf, known});
    madeNumbers_[slotIndex(leaf)] = kMerged;
  });
}

void ObjectNumbering::setNumber(Slot slot, std::uint32_t number) {
  const std::uint32_t index = slotIndex(slot);
  switch (slotTag(slot)) {
    case kSourceTag:
      if (index >= objects_.size()) {
        movedNumbers_[index - objects_.size()] = number;
      } else if (index != number) {
        displacedNumbers_[slot] = number;
      }
      break;
    case kMadeTag:
      madeNumbers_[index] = number;
      break;
    default:
      containerNumbers_[index] = number;
  }
}

/// Numbers run from 0 without a gap. What came from the source keeps its number where that exists still; the rest
/// fills the gaps in the order met, and then those of the source whose numbers are past the end.
void ObjectNumbering::assign(Slot root) {
  std::erase_if(newcomers_, [this](Slot slot) {
    return slotTag(slot) == kMadeTag ? madeNumbers_[slotIndex(slot)] == kMerged
                                     : containerNumbers_[slotIndex(slot)] == kMerged;
  });
  // The top object gets number 0, as all files are written.
  const auto rootPlace = std::ranges::find(objects_, root);
  if (rootPlace != objects_.end() && rootPlace != objects_.begin()) {
    std::swap(*rootPlace, objects_.front());
  } else if (rootPlace == objects_.end() && !objects_.empty()) {
    if (objects_.front() != kNoSlot) newcomers_.push_back(objects_.front());
    objects_.front() = root;
    std::erase(newcomers_, root);
  }
  const auto kept = std::ranges::count_if(objects_, [](Slot slot) { return slot != kNoSlot; });
  const std::size_t total = static_cast<std::size_t>(kept) + newcomers_.size();
  for (std::size_t i = total; i < objects_.size(); ++i) {
    if (objects_[i] != kNoSlot) newcomers_.push_back(objects_[i]);
  }
  movedNumbers_.resize(objects_.size() > total ? objects_.size() - total : 0);
  objects_.resize(total, kNoSlot);
  auto newcomer = newcomers_.begin();
  for (std::uint32_t i = 0; i < total; ++i) {
    if (objects_[i] == kNoSlot) objects_[i] = *newcomer++;
    setNumber(objects_[i], i);
  }
  for (const Duplicate& duplicate : duplicates_) setNumber(duplicate.leaf, numberOf(duplicate.original));
}

}  // namespace tarvel
