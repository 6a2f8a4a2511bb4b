#include "platform/plist/tree_storage.h"

#include <xxhash.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "platform/plist/generalised_text.h"
#include "platform/text/random_key.h"

namespace tarvel {

namespace {

/// Leaves of one dictionary that are asked for ahead.
constexpr std::uint32_t kMostPrefetched = 8;
constexpr std::ptrdiff_t kCacheLine = 64;
/// Bytes of a stretch that stay in the nearest caches until they are used.
constexpr std::ptrdiff_t kLongestStretch = 1 << 16;
/// Bytes for each element; a bookmark takes about 250. Keeps the time in proportion to the number of elements.
constexpr std::ptrdiff_t kMostPerElement = 1024;
constexpr std::ptrdiff_t kLastElement = 512;

/// Brings memory into the cache. Processors may drop so many prefetches.
void touch(const std::uint8_t* begin, const std::uint8_t* end) {
  for (; begin < end; begin += kCacheLine) (void)*static_cast<const volatile std::uint8_t*>(begin);
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};  // NOLINT: chars read as bytes
}

}  // namespace

PropertyListTree::Storage::Storage() : hashSeed(randomKey()) {}

bool SourceFile::fetchStretch(std::uint32_t first, std::uint32_t last, std::uint32_t elements) const {
  const std::uint8_t* const begin = object(first);
  const std::uint8_t* const lastElement = object(last);
  const std::ptrdiff_t longest = std::min(kLongestStretch, elements * kMostPerElement);
  const std::uint8_t* const offsets = offsetTable + first * offsetWidth.bytes();
  const std::uint8_t* const lastOffset = offsetTable + last * offsetWidth.bytes();
  if (lastElement < begin || lastElement - begin > longest || lastOffset - offsets > longest) return false;
  touch(begin, lastElement + std::min(kLastElement, offsetTable - lastElement));
  touch(offsets, lastOffset);
  return true;
}

std::uint8_t* BumpArena::addBlock(std::size_t size) {
  LargeVector<std::uint8_t>& block = blocks_.emplace_back();
  block.reserve(size);
  size_ += size;
  return block.data();
}

std::uint8_t* BumpArena::take(Region& region, std::size_t size) {
  if (size > region.left) {
    // A large array of its own, as all of a huge page is resident once it is touched.
    if (size > region.blockSize / 16) return addBlock(size);
    region.next = addBlock(region.blockSize);
    region.left = region.blockSize;
    region.blockSize = std::min(2 * region.blockSize, kLargeMemory);
  }
  std::uint8_t* taken = region.next;
  region.next += size;
  region.left -= size;
  return taken;
}

std::uint8_t* BumpArena::bytes(std::size_t size) { return take(byteRegion_, size); }

Slot* BumpArena::slots(std::size_t count) {
  // Blocks come aligned for any type, and this region is only ever cut into multiples of the strictest alignment.
  const std::size_t size = (count * sizeof(Slot) + alignof(Container) - 1) / alignof(Container) * alignof(Container);
  return reinterpret_cast<Slot*>(take(alignedRegion_, size));  // NOLINT
}

Container* BumpArena::containers(std::size_t count) {
  auto* first = reinterpret_cast<Container*>(take(alignedRegion_, count * sizeof(Container)));  // NOLINT
  std::uninitialized_value_construct_n(first, count);
  return first;
}

std::uint32_t ContainerTable::add(BumpArena& arena) {
  if (size_ > kMaxSlotIndex) throw std::bad_alloc();
  if ((size_ >> kBlockBits) == blocks_.size()) blocks_.push_back(arena.containers(kBlockSize));
  return size_++;
}

void Shape::add(Slot key, std::string_view text, std::uint32_t hash) {
  std::uint8_t& first = firstPlaces_[bucket(hash)];
  if (first == kNoPlace) first = static_cast<std::uint8_t>(std::min<std::size_t>(keys.size(), kFarthestPlace));
  keys.push_back(key);
  known_.push_back({hash, text, nullptr});
}

std::uint32_t Shape::findFrom(std::uint32_t first, const PropertyListKey& key) const {
  for (std::uint32_t i = first; i < known_.size(); ++i) {
    if (known_[i].is(key)) return i;
  }
  return kAbsent;
}

std::string_view PropertyListTree::Storage::decodedText(Slot slot, const std::uint8_t* object) {
  if (const auto known = decoded_.find(slot); known != decoded_.end()) return made[slotIndex(known->second)].text;
  std::string utf8;
  appendUtf8FromUtf16(leafBytes(object), utf8);
  std::uint8_t* kept = arena.bytes(utf8.size());
  std::copy(utf8.begin(), utf8.end(), kept);
  const Slot leaf = addLeaf(object, textOf({kept, utf8.size()}));
  decoded_.emplace(slot, leaf);
  return made[slotIndex(leaf)].text;
}

bool PropertyListTree::Storage::fetchElements(const Container& array) const {
  std::uint32_t first = kNoOrigin;
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < array.count; ++i) {
    if (!isContainerSlot(array.slots[i])) continue;
    const std::uint32_t origin = containers[slotIndex(array.slots[i])].origin;
    if (origin == kNoOrigin) continue;
    first = std::min(first, origin);
    last = std::max(last, origin);
  }
  return first > last || source.fetchStretch(first, last, array.count);
}

void PropertyListTree::Storage::prefetch(Slot slot, int depth) const {
  if (!isContainerSlot(slot)) {
    if (slotTag(slot) == kSourceTag) __builtin_prefetch(source.object(slotIndex(slot)));
    return;
  }
  const Container& container = containers[slotIndex(slot)];
  if (depth == 0 || !container.isDictionary()) return;
  const std::uint32_t count = std::min(container.count, kMostPrefetched);
  for (std::uint32_t i = 0; i < count; ++i) prefetch(container.slots[i], depth - 1);
}

void PropertyListTree::Storage::prefetchOffsets(Slot slot) const {
  if (!isContainerSlot(slot)) return;
  const Container& container = containers[slotIndex(slot)];
  if (!container.isDictionary()) return;
  const std::uint32_t count = std::min(container.count, kMostPrefetched);
  for (std::uint32_t i = 0; i < count; ++i) {
    const Slot leaf = container.slots[i];
    if (slotTag(leaf) != kSourceTag) continue;
    __builtin_prefetch(source.offsetTable + slotIndex(leaf) * source.offsetWidth.bytes());
  }
}

Slot PropertyListTree::Storage::addLeaf(const std::uint8_t* object, std::string_view text) {
  if (made.size() > kMaxSlotIndex) throw std::bad_alloc();
  made.push_back({object, text});
  const Slot flag = text.data() != nullptr ? kTextFlag : 0;
  return kMadeTag | flag | static_cast<Slot>(made.size() - 1);
}

Slot PropertyListTree::Storage::addLeafBytes(std::uint8_t marker, std::span<const std::uint8_t> payload) {
  std::uint8_t* object = arena.bytes(1 + payload.size());
  *object = marker;
  if (!payload.empty()) std::memcpy(object + 1, payload.data(), payload.size());
  return addLeaf(object, {});
}

Slot PropertyListTree::Storage::addNumber(unsigned marker, std::uint64_t bits, std::size_t width) {
  std::uint8_t payload[sizeof bits];
  writeBigEndian(bits, width, payload);
  return addLeafBytes(static_cast<std::uint8_t>(marker), {payload, width});
}

Slot PropertyListTree::Storage::addCounted(std::uint8_t kind, std::uint64_t count,
                                           std::span<const std::uint8_t> contents) {
  std::uint8_t header[kLongestHeader];
  const std::size_t headerSize = encodeCountedHeader(kind, count, header);
  std::uint8_t* object = arena.bytes(headerSize + contents.size());
  std::memcpy(object, header, headerSize);
  if (!contents.empty()) std::memcpy(object + headerSize, contents.data(), contents.size());
  const bool isAsciiText = kind == kAsciiMarker;
  return addLeaf(object, isAsciiText ? textOf({object + headerSize, contents.size()}) : std::string_view());
}

Slot PropertyListTree::Storage::addString(std::string_view text) {
  if (isAscii(bytesOf(text))) return addCounted(kAsciiMarker, text.size(), bytesOf(text));
  std::string utf16;
  utf16.reserve(2 * text.size());
  appendUtf16FromUtf8(text, utf16);
  const Slot slot = addCounted(kUtf16Marker, utf16.size() / 2, bytesOf(utf16));
  // Back from UTF-16, so that malformed input reads the same before and after the file is written.
  std::string utf8;
  appendUtf8FromUtf16(bytesOf(utf16), utf8);
  std::uint8_t* kept = arena.bytes(utf8.size());
  std::copy(utf8.begin(), utf8.end(), kept);
  made[slotIndex(slot)].text = textOf({kept, utf8.size()});
  return slot | kTextFlag;
}

Container& PropertyListTree::Storage::addContainer(const Shape& shape, std::uint32_t capacity, std::uint32_t origin) {
  const std::uint32_t number = containers.add(arena);
  Container& container = containers[number];
  container.slots = arena.slots(capacity);
  container.capacity = capacity;
  container.shape = &shape;
  container.number = number;
  container.origin = origin;
  return container;
}

void PropertyListTree::Storage::inheritPlace(Slot replaced, Slot replacement) {
  if (!isContainerSlot(replaced) || !isContainerSlot(replacement)) return;
  const Container& older = containers[slotIndex(replaced)];
  Container& newer = containers[slotIndex(replacement)];
  if (older.shape != &kArrayShape || newer.shape != &kArrayShape || newer.origin != kNoOrigin) return;
  newer.origin = older.origin;
}

void PropertyListTree::Storage::grow(Container& container, std::uint32_t capacity) {
  Slot* slots = arena.slots(capacity);
  std::copy_n(container.slots, container.count, slots);
  container.slots = slots;
  container.capacity = capacity;
}

bool PropertyListTree::Storage::isSameKey(Slot a, Slot b) {
  const bool areTexts = text(a).data() != nullptr;
  return areTexts == (text(b).data() != nullptr) && std::ranges::equal(keyBytes(a), keyBytes(b));
}

std::span<const std::uint8_t> PropertyListTree::Storage::keyBytes(Slot key) {
  const std::string_view keyText = text(key);
  return keyText.data() != nullptr ? bytesOf(keyText) : encoded(key);
}

Slot PropertyListTree::Storage::findCanonicalKey(Slot key) {
  const auto bytes = keyBytes(key);
  std::uint64_t hash = XXH3_64bits_withSeed(bytes.data(), bytes.size(), hashSeed);
  for (auto found = canonicalByHash_.find(hash); found != canonicalByHash_.end();
       found = canonicalByHash_.find(++hash)) {
    if (isSameKey(found->second, key)) return found->second;
  }
  canonicalByHash_.emplace(hash, key);
  return key;
}

Slot PropertyListTree::Storage::canonicalKey(Slot key) {
  if (slotTag(key) != kSourceTag) return findCanonicalKey(key);
  const auto known = canonicalOfSource_.find(key);
  if (known != canonicalOfSource_.end()) return known->second;
  const Slot canonical = findCanonicalKey(key);
  canonicalOfSource_.emplace(key, canonical);
  return canonical;
}

std::string_view PropertyListTree::Storage::uniqueLongText(Slot slot) {
  const auto [known, isNew] = uniqueLongTexts_.try_emplace(slot, slot);
  if (isNew) known.value() = findCanonicalKey(slot);
  return text(known->second);
}

bool PropertyListTree::Storage::isText(Slot slot, const PropertyListKey& wanted) {
  if (!wanted.isConstant()) return text(slot) == wanted.text();
  KnownText& known = knownTexts_[wanted.hash() % knownTexts_.size()];
  // Constants of different lengths may share an address.
  const bool isKnown = known.constant.data() == wanted.text().data() && known.constant.size() == wanted.text().size();
  if (isKnown && known.slot == slot) return true;
  if (text(slot) != wanted.text()) return false;
  known = {wanted.text(), slot};
  return true;
}

bool PropertyListTree::Storage::textHas(Slot slot, bool (*property)(std::string_view)) {
  const std::string_view own = text(slot);
  if (own.size() <= kLongestShortText) return property(own);
  auto known = std::ranges::find(knownProperties_, property, [](const auto& entry) { return entry.first; });
  if (known == knownProperties_.end()) known = knownProperties_.insert(known, {property, {}});
  const auto [answer, isNew] = known->second.try_emplace(slot, false);
  if (isNew) answer.value() = property(own);
  return answer->second;
}

std::uint32_t PropertyListTree::Storage::keyHash(Slot key, std::string_view text) {
  if (text.size() <= kLongestShortText) return PropertyListKey::hashOf(text);
  const auto [known, isNew] = longKeyHashes_.try_emplace(key, 0);
  if (isNew) known.value() = PropertyListKey::hashOf(text);
  return known->second;
}

const Shape& PropertyListTree::Storage::shapeFor(std::span<const Slot> keys) {
  std::uint64_t hash = XXH3_64bits_withSeed(keys.data(), keys.size_bytes(), hashSeed);
  for (auto found = shapesByHash_.find(hash); found != shapesByHash_.end(); found = shapesByHash_.find(++hash)) {
    if (std::ranges::equal(shapes[found->second].keys, keys)) return shapes[found->second];
  }
  Shape& shape = shapes.emplace_back();
  shape.index = static_cast<std::uint32_t>(shapes.size() - 1);
  for (const Slot key : keys) {
    const std::string_view keyText = text(key);
    shape.add(key, keyText, keyHash(key, keyText));
    if (keyText.data() == nullptr) holdsUnwritable = true;
  }
  shapesByHash_.emplace(hash, shape.index);
  return shape;
}

}  // namespace tarvel
