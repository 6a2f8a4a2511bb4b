#include "platform/plist/binary_writer.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/plist/object_numbering.h"
#include "platform/plist/tree_storage.h"
#include "platform/plist/writable_check.h"

namespace tarvel {

namespace {

constexpr char kHeader[] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
constexpr std::size_t kChunkSize = std::size_t{1} << 18;

/// The fewest of 1, 2, 4 or 8 bytes that hold `value`.
std::size_t widthFor(std::uint64_t value) {
  return value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFF'FFFF ? 4 : 8;
}

/// Collects the output: pieces of memory that lives elsewhere, and bytes of its own.
class PieceCollector {
 public:
  explicit PieceCollector(DataPieces& data) : pieces_(data.pieces), owners_(data.owners) {}

  [[nodiscard]] std::uint64_t size() const { return size_; }

  void refer(std::span<const std::uint8_t> bytes) {
    size_ += bytes.size();
    if (!pieces_.empty() && pieces_.back().data() + pieces_.back().size() == bytes.data()) {
      pieces_.back() = {pieces_.back().data(), pieces_.back().size() + bytes.size()};
    } else {
      pieces_.push_back(bytes);
    }
  }

  void referAndKeep(std::span<const std::uint8_t> bytes, std::shared_ptr<const void> owner) {
    refer(bytes);
    owners_.push_back(std::move(owner));
  }

  /// Room for up to `size` bytes of output, of which commit() takes the first ones.
  [[nodiscard]] std::uint8_t* reserve(std::size_t size) {
    if (size > left_) {
      const std::size_t chunk = std::max(size, kChunkSize);
      std::shared_ptr<std::uint8_t[]> bytes = std::make_shared_for_overwrite<std::uint8_t[]>(chunk);
      next_ = bytes.get();
      left_ = chunk;
      owners_.push_back(std::move(bytes));
    }
    return next_;
  }
  void commit(std::size_t size) {
    refer({next_, size});
    next_ += size;
    left_ -= size;
  }

 private:
  std::deque<std::span<const std::uint8_t>>& pieces_;
  std::vector<std::shared_ptr<const void>>& owners_;
  std::uint64_t size_ = 0;
  std::uint8_t* next_ = nullptr;
  std::size_t left_ = 0;
};

class BinaryWriter {
 public:
  BinaryWriter(PropertyListAccess::Storage& storage, const ObjectNumbering& numbering, DataPieces& data)
      : storage_(storage),
        numbering_(numbering),
        output_(data),
        referenceWidth_(widthFor(numbering.objects().size())),
        keyReferences_(storage.shapes.size()) {}

  void write();

 private:
  template <typename Offset>
  void writeObjectsAndTable();
  [[nodiscard]] bool isSmall() const;
  void writeObject(std::uint32_t number, Slot slot);
  void writeContainer(std::uint32_t number, const Container& container);
  [[nodiscard]] bool staysAsItIs(std::uint32_t number, const Container& container, std::size_t& length);
  [[nodiscard]] bool refersTo(const std::uint8_t* references, std::span<const Slot> slots) const;
  [[nodiscard]] std::span<const std::uint8_t> keyReferencesOf(const Container& container);
  std::uint8_t* putReferences(std::uint8_t* out, std::span<const Slot> slots) const;
  void writeTrailer(std::size_t offsetWidth, std::uint64_t table);

  PropertyListAccess::Storage& storage_;
  const ObjectNumbering& numbering_;
  PieceCollector output_;
  std::size_t referenceWidth_;
  std::vector<std::vector<std::uint8_t>> keyReferences_;
};

std::uint8_t kindOf(const Container& container) {
  if (container.isDictionary()) return kDictionaryMarker;
  return container.shape == &kSetShape ? kSetMarker : kArrayMarker;
}

void BinaryWriter::write() {
  std::copy_n(kHeader, sizeof kHeader, output_.reserve(sizeof kHeader));
  output_.commit(sizeof kHeader);
  if (isSmall()) {
    writeObjectsAndTable<std::uint32_t>();
  } else {
    writeObjectsAndTable<std::uint64_t>();
  }
}

/// Whether all offsets certainly fit into 32 bits. A reference takes up to twice as much as the slot for it, and that
/// of the key as much again.
bool BinaryWriter::isSmall() const {
  constexpr std::uint64_t kReferences = 4;
  return storage_.source.leafBytes + (1 + kReferences) * storage_.arena.size() <= UINT32_MAX;
}

template <typename Offset>
void BinaryWriter::writeObjectsAndTable() {
  const auto& objects = numbering_.objects();
  const auto offsets = std::make_shared<LargeVector<Offset>>();
  offsets->reserve(objects.size());
  for (std::uint32_t number = 0; number < objects.size(); ++number) {
    offsets->push_back(static_cast<Offset>(output_.size()));
    writeObject(number, objects[number]);
  }
  const std::uint64_t table = output_.size();
  const std::size_t width = widthFor(table);
  // Of a large file the offsets become the table where they are.
  const bool isInPlace = width == sizeof(Offset);
  auto* const own = reinterpret_cast<std::uint8_t*>(offsets->data());  // NOLINT: numbers rewritten as bytes
  std::uint8_t* const start = isInPlace ? own : output_.reserve(offsets->size() * width);
  std::uint8_t* out = start;
  for (const Offset offset : *offsets) {
    writeBigEndian(offset, width, out);
    out += width;
  }
  const auto size = static_cast<std::size_t>(out - start);
  if (isInPlace) {
    output_.referAndKeep({start, size}, offsets);
  } else {
    output_.commit(size);
  }
  writeTrailer(width, table);
}

void BinaryWriter::writeObject(std::uint32_t number, Slot slot) {
  if (isContainerSlot(slot)) {
    writeContainer(number, storage_.containers[slotIndex(slot)]);
  } else {
    output_.refer(storage_.encoded(slot));
  }
}

void BinaryWriter::writeContainer(std::uint32_t number, const Container& container) {
  std::size_t length = 0;
  if (staysAsItIs(number, container, length)) {
    output_.refer({storage_.source.object(number), length});
    return;
  }
  const auto keys = keyReferencesOf(container);
  std::uint8_t* start = output_.reserve(kLongestHeader + keys.size() + container.count * referenceWidth_);
  std::uint8_t* out = start + encodeCountedHeader(kindOf(container), container.count, start);
  out = std::ranges::copy(keys, out).out;
  out = putReferences(out, {container.slots, container.count});
  output_.commit(static_cast<std::size_t>(out - start));
}

/// Whether the source's object of this number says just what is to be written; its length then.
bool BinaryWriter::staysAsItIs(std::uint32_t number, const Container& container, std::size_t& length) {
  if (container.origin != number || storage_.source.referenceWidth.bytes() != referenceWidth_) return false;
  const std::uint8_t* object = storage_.source.object(number);
  const CountedContents counted = countedContents(object);
  if (counted.count != container.count) return false;
  const auto keys = keyReferencesOf(container);
  const std::uint8_t* values = counted.contents + keys.size();
  const std::uint8_t* end = values + container.count * referenceWidth_;
  length = static_cast<std::size_t>(end - object);
  return std::equal(keys.begin(), keys.end(), counted.contents) && refersTo(values, {container.slots, container.count});
}

bool BinaryWriter::refersTo(const std::uint8_t* references, std::span<const Slot> slots) const {
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (storage_.source.referenceWidth.read(references, i) != numbering_.numberOf(slots[i])) return false;
  }
  return true;
}

/// The keys of a dictionary as they are written: the same for all of one shape, and made once.
std::span<const std::uint8_t> BinaryWriter::keyReferencesOf(const Container& container) {
  if (!container.isDictionary()) return {};
  std::vector<std::uint8_t>& references = keyReferences_[container.shape->index];
  if (references.empty()) {
    const std::vector<Slot>& keys = container.shape->keys;
    references.resize(keys.size() * referenceWidth_);
    putReferences(references.data(), keys);
  }
  return references;
}

std::uint8_t* BinaryWriter::putReferences(std::uint8_t* out, std::span<const Slot> slots) const {
  for (const Slot slot : slots) {
    writeBigEndian(numbering_.numberOf(slot), referenceWidth_, out);
    out += referenceWidth_;
  }
  return out;
}

void BinaryWriter::writeTrailer(std::size_t offsetWidth, std::uint64_t table) {
  std::uint8_t* trailer = output_.reserve(kTrailerSize);
  std::fill_n(trailer, kTrailerSize, std::uint8_t{0});
  trailer[6] = static_cast<std::uint8_t>(offsetWidth);
  trailer[7] = static_cast<std::uint8_t>(referenceWidth_);
  writeBigEndian(numbering_.objects().size(), 8, trailer + 8);
  // Bytes 16 to 23 are the number of the top object, which is 0.
  writeBigEndian(table, 8, trailer + 24);
  output_.commit(kTrailerSize);
}

}  // namespace

PropertyListWriting writeBinary(const PropertyList& list) {
  PropertyListWriting writing;
  auto& storage = PropertyListAccess::storage(list.root);
  constexpr auto kFormat = static_cast<std::uint32_t>(PropertyListFormat::kBinary);
  if (storage.holdsUnwritable) {
    writing.error = findUnwritable(list.root, kFormat);
    if (writing.error) return writing;
  }
  ObjectNumbering numbering(storage);
  if (!numbering.number(PropertyListAccess::slot(list.root))) {
    writing.error = findUnwritable(list.root, kFormat);
    return writing;
  }
  BinaryWriter(storage, numbering, writing.data).write();
  writing.data.owners.push_back(list.tree);
  writing.depth = numbering.depth();
  return writing;
}

}  // namespace tarvel
