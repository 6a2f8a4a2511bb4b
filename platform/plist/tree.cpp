// The handles of property_list.h over the storage of tree_storage.h.

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/plist/distinct_keys.h"
#include "platform/plist/tree_storage.h"
#include "platform/property_list.h"

namespace tarvel {

namespace {

using Access = PropertyListAccess;

constexpr std::uint32_t kFirstGrowth = 4;

/// How far ahead of a visit the bytes of an element are asked for, and how many dictionaries deep: its own values, and
/// those of a dictionary in it.
constexpr std::uint32_t kLookAhead = 6;
constexpr int kPrefetchDepth = 2;

PropertyListType leafType(std::uint8_t marker) {
  switch (markerKind(marker)) {
    case kIntegerMarker:
      return PropertyListType::kInteger;
    case markerKind(kSingleRealMarker):
      return PropertyListType::kReal;
    case markerKind(kDateMarker):
      return PropertyListType::kDate;
    case kDataMarker:
      return PropertyListType::kData;
    case kAsciiMarker:
    case kUtf16Marker:
      return PropertyListType::kString;
    case kUidMarker:
      return PropertyListType::kUid;
    default:
      return marker == kNullMarker ? PropertyListType::kNull : PropertyListType::kBoolean;
  }
}

/// The leaf's encoding when the value is a leaf of this type, else null.
const std::uint8_t* leafOfType(const PropertyListValue& value, PropertyListType type) {
  if (!value || isContainerSlot(Access::slot(value))) return nullptr;
  const std::uint8_t* object = Access::storage(value).leaf(Access::slot(value));
  return leafType(*object) == type ? object : nullptr;
}

std::size_t payloadWidth(const std::uint8_t* object) { return std::size_t{1} << (*object & 0x0FU); }

double readDouble(const std::uint8_t* at) { return std::bit_cast<double>(loadBigEndian<std::uint64_t>(at)); }

PropertyListValue valueOf(PropertyListTree* tree, const Container* container) {
  return container != nullptr ? Access::value(tree, kContainerTag | container->number) : PropertyListValue();
}

std::uint32_t slotCount(std::size_t count) {
  if (count > kMaxSlotIndex) throw std::bad_alloc();
  return static_cast<std::uint32_t>(count);
}

}  // namespace

PropertyListTree::PropertyListTree() : storage_(std::make_unique<Storage>()) {}
PropertyListTree::~PropertyListTree() = default;

std::size_t PropertyListTree::numberOfContainers() const { return storage_->containers.size(); }

// Values

PropertyListType PropertyListValue::type() const {
  if (tree_ == nullptr) return PropertyListType::kAbsent;
  if (isTextSlot(slot_)) return PropertyListType::kString;
  if (!isContainerSlot(slot_)) return leafType(*Access::storage(*this).leaf(slot_));
  const Container& container = Access::container(*this);
  if (container.isDictionary()) return PropertyListType::kDictionary;
  return container.shape == &kSetShape ? PropertyListType::kSet : PropertyListType::kArray;
}

std::optional<bool> PropertyListValue::boolean() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kBoolean);
  if (object == nullptr) return std::nullopt;
  return *object == kTrueMarker;
}

std::optional<std::int64_t> PropertyListValue::integer() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kInteger);
  if (object == nullptr) return std::nullopt;
  return static_cast<std::int64_t>(readUnsigned(object + 1, payloadWidth(object)));
}

bool PropertyListValue::isUnsigned() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kInteger);
  return object != nullptr && payloadWidth(object) == 16;
}

std::size_t PropertyListValue::numberWidth() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kInteger);
  if (object == nullptr) object = leafOfType(*this, PropertyListType::kReal);
  return object == nullptr ? 0 : payloadWidth(object);
}

std::optional<double> PropertyListValue::real() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kReal);
  if (object == nullptr) return std::nullopt;
  if (*object == kSingleRealMarker) return std::bit_cast<float>(loadBigEndian<std::uint32_t>(object + 1));
  return readDouble(object + 1);
}

std::optional<double> PropertyListValue::date() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kDate);
  if (object == nullptr) return std::nullopt;
  return readDouble(object + 1);
}

std::optional<std::span<const std::uint8_t>> PropertyListValue::data() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kData);
  if (object == nullptr) return std::nullopt;
  return leafBytes(object);
}

std::optional<std::string_view> PropertyListValue::string() const {
  if (!isTextSlot(slot_)) return std::nullopt;
  return Access::storage(*this).text(slot_);
}

std::optional<std::string_view> PropertyListValue::uniqueString() const {
  if (!isTextSlot(slot_)) return std::nullopt;
  return Access::storage(*this).uniqueText(slot_);
}

bool PropertyListValue::is(const PropertyListKey& text) const {
  return isTextSlot(slot_) && Access::storage(*this).isText(slot_, text);
}

bool PropertyListValue::textHas(bool (*property)(std::string_view text)) const {
  return isTextSlot(slot_) && Access::storage(*this).textHas(slot_, property);
}

std::optional<std::uint32_t> PropertyListValue::uid() const {
  const std::uint8_t* object = leafOfType(*this, PropertyListType::kUid);
  if (object == nullptr) return std::nullopt;
  return static_cast<std::uint32_t>(readBigEndian(object + 1, (*object & 0x0FU) + std::size_t{1}));
}

PropertyListArray PropertyListValue::array() const {
  if (!isContainerSlot(slot_)) return {};
  Container& container = Access::container(*this);
  if (container.shape != &kArrayShape) return {};
  return Access::array(tree_, container);
}

PropertyListArray PropertyListValue::set() const {
  if (!isContainerSlot(slot_)) return {};
  Container& container = Access::container(*this);
  if (container.shape != &kSetShape) return {};
  return Access::array(tree_, container);
}

PropertyListDictionary PropertyListValue::dictionary() const {
  if (!isContainerSlot(slot_)) return {};
  Container& container = Access::container(*this);
  if (!container.isDictionary()) return {};
  return Access::dictionary(tree_, container);
}

// Arrays

PropertyListValue PropertyListArray::value() const { return valueOf(tree_, container_); }

std::size_t PropertyListArray::size() const { return container_ != nullptr ? container_->count : 0; }

PropertyListValue PropertyListArray::at(std::size_t index) const {
  assert(index < container_->count);
  return Access::value(tree_, container_->slots[index]);
}

bool PropertyListArray::fetchElements() const {
  return container_ == nullptr || Access::storage(*tree_).fetchElements(*container_);
}

void PropertyListArray::prefetchAfter(std::size_t index) const {
  const Access::Storage& storage = Access::storage(*tree_);
  const std::span<const Slot> slots(container_->slots, container_->count);
  if (index + 2 * kLookAhead < slots.size()) storage.prefetchOffsets(slots[index + 2 * kLookAhead]);
  if (index + kLookAhead < slots.size()) storage.prefetch(slots[index + kLookAhead], kPrefetchDepth);
}

void PropertyListArray::append(PropertyListValue value) const {
  assert(value.tree() == tree_);
  if (container_->count == container_->capacity) {
    const std::size_t wanted = std::size_t{container_->capacity} * 2;
    Access::storage(*tree_).grow(*container_, slotCount(std::max<std::size_t>(kFirstGrowth, wanted)));
  }
  container_->slots[container_->count++] = Access::slot(value);
}

void PropertyListArray::replace(std::size_t index, PropertyListValue value) const {
  assert(value.tree() == tree_);
  assert(index < container_->count);
  container_->slots[index] = Access::slot(value);
}

void PropertyListArray::retainBackwards(const std::function<bool(PropertyListValue)>& keep) const {
  if (empty()) return;
  Container& container = *container_;
  // Kept elements gather at the far end, over elements already visited; one move at the end closes the gap.
  std::uint32_t firstKept = container.count;
  const Access::Storage& storage = Access::storage(*tree_);
  const bool isFetched = storage.fetchElements(container);
  for (std::uint32_t i = container.count; i-- > 0;) {
    if (!isFetched && i >= 2 * kLookAhead) storage.prefetchOffsets(container.slots[i - 2 * kLookAhead]);
    if (!isFetched && i >= kLookAhead) storage.prefetch(container.slots[i - kLookAhead], kPrefetchDepth);
    const Slot slot = container.slots[i];
    if (keep(Access::value(tree_, slot))) container.slots[--firstKept] = slot;
  }
  container.count -= firstKept;
  std::memmove(container.slots, container.slots + firstKept, container.count * sizeof(Slot));
}

// Dictionaries

PropertyListValue PropertyListDictionary::value() const { return valueOf(tree_, container_); }

std::size_t PropertyListDictionary::size() const { return container_ != nullptr ? container_->count : 0; }

PropertyListValue PropertyListDictionary::keyAt(std::size_t index) const {
  assert(index < container_->count);
  return Access::value(tree_, container_->shape->keys[index]);
}

PropertyListValue PropertyListDictionary::valueAt(std::size_t index) const {
  assert(index < container_->count);
  return Access::value(tree_, container_->slots[index]);
}

PropertyListValue PropertyListDictionary::get(const PropertyListKey& key) const {
  if (container_ == nullptr) return {};
  const std::uint32_t place = container_->shape->find(key);
  if (place == Shape::kAbsent) return {};
  return Access::value(tree_, container_->slots[place]);
}

std::optional<std::string_view> PropertyListDictionary::string(const PropertyListKey& key) const {
  return get(key).string();
}

PropertyListArray PropertyListDictionary::array(const PropertyListKey& key) const { return get(key).array(); }

PropertyListDictionary PropertyListDictionary::dictionary(const PropertyListKey& key) const {
  return get(key).dictionary();
}

void PropertyListDictionary::set(const PropertyListKey& key, PropertyListValue value) const {
  assert(value.tree() == tree_);
  Access::Storage& storage = Access::storage(*tree_);
  std::uint32_t place = container_->shape->find(key);
  if (place == Shape::kAbsent) {
    place = container_->count;
    std::vector<Slot> keys = container_->shape->keys;
    keys.push_back(storage.canonicalKey(storage.addString(key.text())));
    container_->shape = &storage.shapeFor(keys);
    if (place == container_->capacity) storage.grow(*container_, slotCount(std::size_t{place} + 1));
    ++container_->count;
  } else {
    storage.inheritPlace(container_->slots[place], Access::slot(value));
  }
  container_->slots[place] = Access::slot(value);
}

void PropertyListDictionary::setString(const PropertyListKey& key, std::string_view text) const {
  if (string(key) == text) return;
  set(key, tree_->makeString(text));
}

void PropertyListDictionary::remove(const PropertyListKey& key) const {
  if (container_ == nullptr) return;
  Container& container = *container_;
  const std::uint32_t place = container.shape->find(key);
  if (place == Shape::kAbsent) return;
  std::vector<Slot> keys = container.shape->keys;
  keys.erase(keys.begin() + place);
  container.shape = &Access::storage(*tree_).shapeFor(keys);
  --container.count;
  std::memmove(container.slots + place, container.slots + place + 1, (container.count - place) * sizeof(Slot));
}

PropertyListDictionary PropertyListDictionary::shallowCopy() const {
  if (container_ == nullptr) return {};
  Container& copy = Access::storage(*tree_).addContainer(*container_->shape, container_->count, container_->origin);
  copy.count = container_->count;
  std::copy_n(container_->slots, container_->count, copy.slots);
  return Access::dictionary(tree_, copy);
}

// Making

PropertyListValue PropertyListTree::makeNull() {
  static constexpr std::uint8_t kObject = kNullMarker;
  storage_->holdsUnwritable = true;
  return Access::value(this, storage_->addLeaf(&kObject, {}));
}

PropertyListValue PropertyListTree::makeBoolean(bool value) {
  static constexpr std::uint8_t kObjects[] = {kFalseMarker, kTrueMarker};
  return Access::value(this, storage_->addLeaf(&kObjects[value ? 1 : 0], {}));
}

PropertyListValue PropertyListTree::makeInteger(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  // Only the 8-byte form is signed.
  const unsigned power = value < 0 ? 3 : bits <= 0xFF ? 0 : bits <= 0xFFFF ? 1 : bits <= 0xFFFF'FFFF ? 2 : 3;
  return Access::value(this, storage_->addNumber(kIntegerMarker | power, bits, std::size_t{1} << power));
}

PropertyListValue PropertyListTree::makeUnsigned(std::uint64_t value) {
  if (value > INT64_MAX) return makeWideInteger(0, value);
  return makeInteger(static_cast<std::int64_t>(value));
}

PropertyListValue PropertyListTree::makeWideInteger(std::uint64_t high, std::uint64_t low) {
  std::uint8_t payload[16];
  writeBigEndian(high, 8, payload);
  writeBigEndian(low, 8, payload + 8);
  return Access::value(this, storage_->addLeafBytes(kIntegerMarker | 4, payload));
}

PropertyListValue PropertyListTree::makeReal(double value) {
  return Access::value(this, storage_->addNumber(kDoubleRealMarker, std::bit_cast<std::uint64_t>(value), 8));
}

PropertyListValue PropertyListTree::makeSingleReal(float value) {
  return Access::value(this, storage_->addNumber(kSingleRealMarker, std::bit_cast<std::uint32_t>(value), 4));
}

PropertyListValue PropertyListTree::makeDate(double value) {
  return Access::value(this, storage_->addNumber(kDateMarker, std::bit_cast<std::uint64_t>(value), 8));
}

PropertyListValue PropertyListTree::makeData(std::span<const std::uint8_t> bytes) {
  return Access::value(this, storage_->addCounted(kDataMarker, bytes.size(), bytes));
}

PropertyListValue PropertyListTree::makeString(std::string_view text) {
  return Access::value(this, storage_->addString(text));
}

PropertyListValue PropertyListTree::makeUid(std::uint32_t value) {
  const unsigned width = value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : 4;
  return Access::value(this, storage_->addNumber(kUidMarker | (width - 1), value, width));
}

PropertyListArray PropertyListTree::makeArray(std::size_t capacity) {
  return Access::array(this, storage_->addContainer(kArrayShape, slotCount(capacity), kNoOrigin));
}

PropertyListValue PropertyListTree::makeSet(std::span<const PropertyListValue> elements) {
  storage_->holdsUnwritable = true;
  const PropertyListArray set =
      Access::array(this, storage_->addContainer(kSetShape, slotCount(elements.size()), kNoOrigin));
  for (const PropertyListValue& element : elements) set.append(element);
  return set.value();
}

PropertyListDictionary PropertyListTree::makeDictionary() { return makeDictionary({}, {}); }

PropertyListDictionary PropertyListTree::makeDictionary(std::span<const PropertyListValue> keys,
                                                        std::span<const PropertyListValue> values) {
  assert(keys.size() == values.size());
  std::vector<Slot> keySlots;
  keySlots.reserve(keys.size());
  for (const PropertyListValue& key : keys) keySlots.push_back(Access::slot(key));
  const DistinctKeys distinct = distinctKeys(*storage_, keySlots);
  const Shape& shape = storage_->shapeFor(distinct.keys);
  Container& container = storage_->addContainer(shape, slotCount(distinct.keys.size()), kNoOrigin);
  container.count = container.capacity;
  for (std::size_t i = 0; i < values.size(); ++i) container.slots[distinct.places[i]] = Access::slot(values[i]);
  return Access::dictionary(this, container);
}

}  // namespace tarvel
