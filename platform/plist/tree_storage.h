#pragma once

#include <tsl/robin_map.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/data.h"
#include "platform/plist/generalised_text.h"
#include "platform/plist/large_memory.h"
#include "platform/plist/leaf_encoding.h"
#include "platform/property_list.h"

// Storage of a tree: compact arrays in which each entry of a container is a 32-bit slot. A slot names an object of the
// source file by number, a leaf made later, or a container. Objects are decoded on first use.
namespace tarvel {

using Slot = std::uint32_t;

inline constexpr Slot kSlotTag = 0xC000'0000U;
inline constexpr Slot kSourceTag = 0;  ///< A leaf object of the source file, by object number.
inline constexpr Slot kMadeTag = 0x4000'0000U;
inline constexpr Slot kContainerTag = 0x8000'0000U;
/// Set in the slot of a leaf that is a string, so that the type is known without reading the leaf.
inline constexpr Slot kTextFlag = 0x2000'0000U;
inline constexpr Slot kNoSlot = 0xFFFF'FFFFU;
/// More values than a slot can number are refused by the reader, and cannot be made.
inline constexpr std::uint32_t kMaxSlotIndex = kTextFlag - 1;

[[nodiscard]] inline Slot slotTag(Slot slot) { return slot & kSlotTag; }
[[nodiscard]] inline std::uint32_t slotIndex(Slot slot) { return slot & kMaxSlotIndex; }

[[nodiscard]] inline bool isTextSlot(Slot slot) { return (slot & (kContainerTag | kTextFlag)) == kTextFlag; }
[[nodiscard]] inline bool isContainerSlot(Slot slot) { return slotTag(slot) == kContainerTag; }

inline constexpr std::uint32_t kNoOrigin = 0xFFFF'FFFFU;

/// The keys of every dictionary that has just these keys in this order; dictionaries share it and keep only values.
class Shape {
 public:
  static constexpr std::uint32_t kAbsent = 0xFFFF'FFFFU;

  std::vector<Slot> keys;
  std::uint32_t index = 0;  ///< Among the shapes of the tree.

  /// The text has a null data pointer for a key that is not a string.
  void add(Slot key, std::string_view text, std::uint32_t hash);
  /// The place of `key`, or kAbsent.
  [[nodiscard]] std::uint32_t find(const PropertyListKey& key) const {
    const std::uint8_t first = firstPlaces_[bucket(key.hash())];
    if (first == kNoPlace) return kAbsent;
    return known_[first].isKnownAs(key) ? first : findFrom(first, key);
  }

 private:
  static constexpr std::uint8_t kNoPlace = 255;
  /// Stands for itself and all places behind it.
  static constexpr std::uint8_t kFarthestPlace = 254;
  static constexpr std::uint32_t kBuckets = 64;

  struct Key {
    std::uint32_t hash;
    std::string_view text;
    /// The text of the constant that was found to be this key; null before.
    mutable const char* constant = nullptr;

    /// Whether it was found to be this constant before. Constants of different lengths may share an address.
    [[nodiscard]] bool isKnownAs(const PropertyListKey& key) const {
      return constant == key.text().data() && text.size() == key.text().size() && key.isConstant();
    }
    [[nodiscard]] bool is(const PropertyListKey& key) const {
      if (isKnownAs(key)) return true;
      if (hash != key.hash() || text != key.text() || text.data() == nullptr) return false;
      if (key.isConstant()) constant = key.text().data();
      return true;
    }
  };

  [[nodiscard]] static std::uint32_t bucket(std::uint32_t hash) { return hash % kBuckets; }
  /// Apart from find(), which is short without it.
  [[nodiscard, gnu::noinline]] std::uint32_t findFrom(std::uint32_t first, const PropertyListKey& key) const;

  std::vector<Key> known_;
  /// By the hash: the first place of a key that has it in its bucket. Most lookups of absent keys end here.
  std::array<std::uint8_t, kBuckets> firstPlaces_ = filledWith(kNoPlace);

  [[nodiscard]] static constexpr std::array<std::uint8_t, kBuckets> filledWith(std::uint8_t place) {
    std::array<std::uint8_t, kBuckets> places{};
    places.fill(place);
    return places;
  }
};

/// Instead of a shape, for the containers without keys.
inline const Shape kArrayShape;
inline const Shape kSetShape;

struct PropertyListContainer {
  Slot* slots = nullptr;
  const Shape* shape = &kArrayShape;
  std::uint32_t count = 0;
  std::uint32_t capacity = 0;
  std::uint32_t number = 0;          ///< In the table of containers.
  std::uint32_t origin = kNoOrigin;  ///< The source object whose place it would keep in a rewritten file.

  [[nodiscard]] bool isDictionary() const { return shape != &kArrayShape && shape != &kSetShape; }
};
using Container = PropertyListContainer;

/// A leaf that is not from the source file, in the binary format's encoding.
struct MadeLeaf {
  const std::uint8_t* object;
  std::string_view text;  ///< Of a string; otherwise with a null data pointer.
};

/// Memory that is handed out in order and given back all at once.
class BumpArena {
 public:
  [[nodiscard]] std::uint8_t* bytes(std::size_t size);
  [[nodiscard]] Slot* slots(std::size_t count);
  /// For objects that need no destruction.
  [[nodiscard]] Container* containers(std::size_t count);
  /// Bytes of all blocks.
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  struct Region {
    std::size_t left = 0;
    std::uint8_t* next = nullptr;
    /// Blocks double in size up to large ones, so that a small list stays small.
    std::size_t blockSize = kFirstBlock;
  };
  [[nodiscard]] std::uint8_t* take(Region& region, std::size_t size);
  [[nodiscard]] std::uint8_t* addBlock(std::size_t size);

  static constexpr std::size_t kFirstBlock = std::size_t{1} << 14;

  Region byteRegion_;
  /// What is aligned for slots and containers.
  Region alignedRegion_;
  std::vector<LargeVector<std::uint8_t>> blocks_;
  std::size_t size_ = 0;
};

/// Containers at addresses that stay.
class ContainerTable {
 public:
  [[nodiscard]] Container& operator[](std::uint32_t index) const {
    return blocks_[index >> kBlockBits][index & (kBlockSize - 1)];
  }
  [[nodiscard]] std::uint32_t size() const { return size_; }
  [[nodiscard]] std::uint32_t add(BumpArena& arena);

 private:
  static constexpr std::uint32_t kBlockBits = 10;
  static constexpr std::uint32_t kBlockSize = 1U << kBlockBits;
  std::vector<Container*> blocks_;
  std::uint32_t size_ = 0;
};

/// The binary file that a tree was read from. The reader has checked that every object named by a slot is within the
/// file.
struct SourceFile {
  Data data;
  const std::uint8_t* bytes = nullptr;  ///< Of the data.
  const std::uint8_t* offsetTable = nullptr;
  NumberWidth offsetWidth;
  NumberWidth referenceWidth;
  std::uint32_t objectCount = 0;
  std::uint64_t leafBytes = 0;  ///< Of all leaves together; overlapping bytes count for each.

  [[nodiscard]] const std::uint8_t* object(std::uint32_t number) const {
    return bytes + offsetWidth.read(offsetTable, number);
  }
  /// Brings the stretch of the file from one object to another into the cache, with some bytes behind. False, and
  /// nothing is done, if it is long for its number of elements.
  [[nodiscard]] bool fetchStretch(std::uint32_t first, std::uint32_t last, std::uint32_t elements) const;
};

struct PropertyListTree::Storage {
  Storage();

  SourceFile source;
  BumpArena arena;
  ContainerTable containers;
  LargeVector<MadeLeaf> made;
  /// At addresses that stay.
  std::deque<Shape> shapes;
  /// Random, so that files with deliberately colliding keys cannot be prepared.
  std::uint64_t hashSeed;
  /// Whether a container of the source file is referenced more than once.
  bool unfoldedShared = false;
  /// Whether the tree holds something that cannot be written: a null, a set or a key that is not a string.
  bool holdsUnwritable = false;

  [[nodiscard]] const std::uint8_t* leaf(Slot slot) const {
    return slotTag(slot) == kSourceTag ? source.object(slotIndex(slot)) : made[slotIndex(slot)].object;
  }
  [[nodiscard]] std::span<const std::uint8_t> encoded(Slot slot) const {
    const std::uint8_t* object = leaf(slot);
    return {object, leafLength(object)};
  }
  /// The text of a string leaf; a null data pointer for any other leaf.
  [[nodiscard]] std::string_view text(Slot slot) {
    if (!isTextSlot(slot)) return {};
    if (slotTag(slot) == kMadeTag) return made[slotIndex(slot)].text;
    const std::uint8_t* object = source.object(slotIndex(slot));
    return markerKind(*object) == kAsciiMarker ? textOf(leafBytes(object)) : decodedText(slot, object);
  }

  /// The same for the stretch that the containers of an array lie in, with their leaves. A writer that follows the tree
  /// puts them together. After a sort they lie there in another order than in the array, and each would be waited for.
  [[nodiscard]] bool fetchElements(const Container& array) const;
  /// Asks for the bytes that a dictionary's leaves begin with: they lie all over a file larger than any cache.
  void prefetch(Slot slot, int depth) const;
  /// Asks for what prefetch() reads to find them: their offsets. After a sort, these too lie in another order than that
  /// of the tree.
  void prefetchOffsets(Slot slot) const;

  [[nodiscard]] Slot addLeaf(const std::uint8_t* object, std::string_view text);
  [[nodiscard]] Slot addLeafBytes(std::uint8_t marker, std::span<const std::uint8_t> payload);
  /// A leaf whose payload is the low `width` bytes of `bits`.
  [[nodiscard]] Slot addNumber(unsigned marker, std::uint64_t bits, std::size_t width);
  [[nodiscard]] Slot addCounted(std::uint8_t kind, std::uint64_t count, std::span<const std::uint8_t> contents);
  [[nodiscard]] Slot addString(std::string_view text);
  [[nodiscard]] Container& addContainer(const Shape& shape, std::uint32_t capacity, std::uint32_t origin);
  /// A new array that replaces another also takes over its origin.
  void inheritPlace(Slot replaced, Slot replacement);
  /// The same key for all equal ones: compared as strings, or by their stored bytes if they are not strings. Reads each
  /// object of the source file once, however often it is referenced.
  [[nodiscard]] Slot canonicalKey(Slot key);
  /// The text of a string leaf; of equal long ones always the same one.
  [[nodiscard]] std::string_view uniqueText(Slot slot) {
    const std::string_view own = text(slot);
    return own.size() <= kLongestShortText ? own : uniqueLongText(slot);
  }
  [[nodiscard]] bool isText(Slot slot, const PropertyListKey& wanted);
  [[nodiscard]] bool textHas(Slot slot, bool (*property)(std::string_view));
  /// The shape with these keys, which are canonical and distinct.
  [[nodiscard]] const Shape& shapeFor(std::span<const Slot> keys);
  void grow(Container& container, std::uint32_t capacity);

 private:
  [[nodiscard]] std::string_view decodedText(Slot slot, const std::uint8_t* object);
  [[nodiscard]] std::string_view uniqueLongText(Slot slot);
  [[nodiscard]] std::uint32_t keyHash(Slot key, std::string_view text);
  [[nodiscard]] Slot findCanonicalKey(Slot key);
  /// What a key is hashed by: its text, or its stored bytes.
  [[nodiscard]] std::span<const std::uint8_t> keyBytes(Slot key);
  [[nodiscard]] bool isSameKey(Slot a, Slot b);

  /// Of a UTF-16 string of the source file: the made leaf that holds its text.
  tsl::robin_map<Slot, Slot> decoded_;
  tsl::robin_map<Slot, Slot> canonicalOfSource_;
  tsl::robin_map<Slot, Slot> uniqueLongTexts_;
  /// Constants, by their hash, and the last leaf that was found to be each.
  struct KnownText {
    std::string_view constant;
    Slot slot = kNoSlot;
  };
  std::array<KnownText, 16> knownTexts_;
  /// For each property that was asked for: of which long texts it is known.
  std::vector<std::pair<bool (*)(std::string_view), tsl::robin_map<Slot, bool>>> knownProperties_;
  tsl::robin_map<Slot, std::uint32_t> longKeyHashes_;
  /// By a hash of the content; the chain goes on at the next hash, here and for the shapes.
  tsl::robin_map<std::uint64_t, Slot> canonicalByHash_;
  tsl::robin_map<std::uint64_t, std::uint32_t> shapesByHash_;
};

/// The way from handles to storage, for this library alone.
struct PropertyListAccess {
  using Storage = PropertyListTree::Storage;

  [[nodiscard]] static Storage& storage(const PropertyListValue& value) { return *value.tree_->storage_; }
  [[nodiscard]] static Storage& storage(PropertyListTree& tree) { return *tree.storage_; }
  [[nodiscard]] static Slot slot(const PropertyListValue& value) { return value.slot_; }
  [[nodiscard]] static PropertyListValue value(PropertyListTree* tree, Slot slot) { return {tree, slot}; }
  [[nodiscard]] static PropertyListArray array(PropertyListTree* tree, Container& container) {
    return {tree, &container};
  }
  [[nodiscard]] static PropertyListDictionary dictionary(PropertyListTree* tree, Container& container) {
    return {tree, &container};
  }
  /// Of a value that is a container.
  [[nodiscard]] static Container& container(const PropertyListValue& value) {
    return storage(value).containers[slotIndex(value.slot_)];
  }
};

}  // namespace tarvel
