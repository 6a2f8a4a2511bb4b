#include "platform/plist/binary_reader.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "platform/plist/distinct_keys.h"
#include "platform/plist/generalised_text.h"
#include "platform/plist/tree_storage.h"

namespace tarvel {

namespace {

constexpr char kMagic[] = {'b', 'p', 'l', 'i', 's', 't', '0'};
constexpr std::size_t kHeaderSize = 8;

/// What the reader knows of an object so far.
enum class Seen : std::uint8_t {
  kNever,
  kLeaf,  ///< But no string.
  kText,
  kOpenContainer,    ///< Around the object being read.
  kClosedContainer,  ///< Read before; referring to it again unfolds it once more.
  kReencoded,        ///< A string that had to be stored anew, see reencode().
};

/// A container being filled. `references` are the ones to its values.
struct Frame {
  Slot* slots;
  std::uint32_t object;
  const std::uint8_t* references;
  std::uint32_t count;
  std::uint32_t next;
  /// In a dictionary that repeats keys: the places of the entries to keep. Null otherwise.
  const std::uint32_t* kept;
};

/// How dictionaries with one stretch of key references are made.
struct KnownKeys {
  const std::uint8_t* references;
  std::size_t size;
  const Shape* shape;
  std::uint32_t count;  ///< Without repeated keys.
  std::vector<std::uint32_t> kept;

  [[nodiscard]] bool areAt(const std::uint8_t* at, std::size_t atSize) const {
    return size == atSize && std::memcmp(references, at, size) == 0;
  }
};

bool isContainerKind(std::uint8_t marker) {
  const std::uint8_t kind = markerKind(marker);
  return kind == kArrayMarker || kind == kSetMarker || kind == kDictionaryMarker;
}

bool isIntegerMarker(std::uint8_t marker) { return marker >= kIntegerMarker && marker <= kIntegerMarker + 4; }

bool isTextKind(std::uint8_t marker) {
  return markerKind(marker) == kAsciiMarker || markerKind(marker) == kUtf16Marker;
}

class BinaryReader {
 public:
  BinaryReader(const Data& data, PropertyListTree& tree)
      : tree_(tree), storage_(PropertyListAccess::storage(tree)), source_(storage_.source) {
    source_.data = data;
    source_.bytes = source_.data.bytes().data();
  }

  BinaryReading read();

 private:
  bool readTrailer();
  bool checkOffsets();
  bool fail(const char* error);
  /// The same where a slot is wanted: kNoSlot.
  Slot refuse(const char* error) {
    (void)fail(error);
    return kNoSlot;
  }

  Slot readTree();
  /// How far a container's slots were filled: not, as an object is faulty; up to the next container in it; or all.
  enum class Filled : std::uint8_t { kNot, kUpToContainer, kToTheEnd };
  Filled fill(Frame& frame);
  Slot resolve(std::uint64_t reference);
  Slot readObject(std::uint32_t number);

  Slot readText(std::uint32_t number, const std::uint8_t* object);
  bool checkLeaf(const std::uint8_t* object);
  bool checkCounted(const std::uint8_t* object, CountedContents& counted);
  bool hasPayload(const std::uint8_t* object, std::uint64_t size);
  bool readCount(const std::uint8_t* object, CountedContents& counted);
  Slot reencode(std::uint32_t number, std::span<const std::uint8_t> latin1);

  Slot openContainer(std::uint32_t number);
  void fetchElements(const Frame& array);
  const KnownKeys* findKeys(const std::uint8_t* references, std::uint32_t count);
  const KnownKeys* lookUpKeys(const std::uint8_t* references, std::uint32_t count, std::size_t size);
  bool readKeys(const std::uint8_t* references, std::uint32_t count, KnownKeys& known);

  PropertyListTree& tree_;
  PropertyListAccess::Storage& storage_;
  SourceFile& source_;
  const std::uint8_t* objectsEnd_ = nullptr;
  std::uint32_t top_ = 0;
  std::uint64_t unfoldingLeft_ = 0;
  std::uint64_t leafBytesLeft_ = 0;
  LargeVector<Seen> seen_;
  std::vector<Frame> stack_;
  /// Keeps the addresses of what it holds.
  std::deque<KnownKeys> knownKeys_;
  tsl::robin_map<std::uint64_t, const KnownKeys*> knownKeysByHash_;
  /// The keys found last, by their number and last reference.
  std::array<const KnownKeys*, 16> recentKeys_{};
  tsl::robin_map<std::uint32_t, Slot> reencoded_;
  std::string error_;
};

bool BinaryReader::fail(const char* error) {
  if (error_.empty()) error_ = error;
  return false;
}

BinaryReading BinaryReader::read() {
  BinaryReading reading;
  const Slot root = readTrailer() && checkOffsets() ? readTree() : kNoSlot;
  if (root != kNoSlot) {
    reading.root = PropertyListAccess::value(&tree_, root);
    source_.leafBytes = source_.objectCount + kOverlapFactor * source_.data.size() - leafBytesLeft_;
  }
  reading.error = error_;
  return reading;
}

bool BinaryReader::readTrailer() {
  const auto bytes = source_.data.bytes();
  if (bytes.size() < kHeaderSize + kTrailerSize + 2) return fail("The file ends before its trailer.");
  const std::uint8_t* trailer = bytes.data() + bytes.size() - kTrailerSize;
  // The first five bytes are unused, the sixth is a sort version that means nothing to readers.
  source_.offsetWidth = NumberWidth(trailer[6]);
  source_.referenceWidth = NumberWidth(trailer[7]);
  const auto objectCount = loadBigEndian<std::uint64_t>(trailer + 8);
  const auto top = loadBigEndian<std::uint64_t>(trailer + 16);
  const auto table = loadBigEndian<std::uint64_t>(trailer + 24);
  const std::uint64_t tableEnd = bytes.size() - kTrailerSize;
  const std::size_t offsetBytes = source_.offsetWidth.bytes();
  if (offsetBytes == 0 || source_.referenceWidth.bytes() == 0) return fail("The trailer gives a width of zero.");
  if (table <= kHeaderSize || table >= tableEnd) return fail("The table of objects lies outside the file.");
  if (objectCount == 0 || objectCount > tableEnd || (tableEnd - table) % offsetBytes != 0 ||
      (tableEnd - table) / offsetBytes != objectCount) {
    return fail("The table of objects has another length than the trailer says.");
  }
  if (objectCount > kMaxSlotIndex) return fail("The file holds more objects than can be handled.");
  if (top >= objectCount) return fail("The top object does not exist.");
  if (!source_.offsetWidth.canHold(table) || !source_.referenceWidth.canHold(objectCount)) {
    return fail("The trailer gives widths that are too small for the file.");
  }
  source_.offsetTable = bytes.data() + table;
  source_.objectCount = static_cast<std::uint32_t>(objectCount);
  objectsEnd_ = source_.offsetTable;
  top_ = static_cast<std::uint32_t>(top);
  unfoldingLeft_ = kUnfoldingAllowance + 2 * (bytes.size() / source_.referenceWidth.bytes());
  leafBytesLeft_ = kOverlapFactor * bytes.size();
  return true;
}

/// Checks that every offset is below the table, even of unreferenced objects.
bool BinaryReader::checkOffsets() {
  const auto limit = static_cast<std::uint64_t>(source_.offsetTable - source_.bytes);
  for (std::uint32_t i = 0; i < source_.objectCount; ++i) {
    if (source_.offsetWidth.read(source_.offsetTable, i) >= limit) return fail("An object lies outside the file.");
  }
  seen_.resize(source_.objectCount);
  return true;
}

Slot BinaryReader::readTree() {
  const Slot root = resolve(top_);
  while (!stack_.empty()) {
    // A descent may move the frames, so the frame is taken anew each time.
    const Filled filled = fill(stack_.back());
    if (filled == Filled::kNot) return kNoSlot;
    if (filled == Filled::kUpToContainer) continue;
    seen_[stack_.back().object] = Seen::kClosedContainer;
    stack_.pop_back();
  }
  return root;
}

BinaryReader::Filled BinaryReader::fill(Frame& frame) {
  Slot* const slots = frame.slots;
  for (std::uint32_t entry = frame.next; entry < frame.count; ++entry) {
    const std::uint32_t place = frame.kept == nullptr ? entry : frame.kept[entry];
    frame.next = entry + 1;  // Before a descent, which may move the frame.
    const Slot slot = resolve(source_.referenceWidth.read(frame.references, place));
    slots[entry] = slot;
    if (slot == kNoSlot) return Filled::kNot;
    if (isContainerSlot(slot)) return Filled::kUpToContainer;
  }
  return Filled::kToTheEnd;
}

/// The slot for an object; a container's frame is pushed and still to be filled. kNoSlot after a failure.
Slot BinaryReader::resolve(std::uint64_t reference) {
  if (reference >= source_.objectCount) return refuse("A container refers to an object that does not exist.");
  const auto number = static_cast<std::uint32_t>(reference);
  switch (seen_[number]) {
    case Seen::kNever:
      return readObject(number);
    case Seen::kLeaf:
      return number;
    case Seen::kText:
      return kTextFlag | number;
    case Seen::kReencoded:
      return reencoded_[number];
    case Seen::kOpenContainer:
      return refuse("A container contains itself.");
    case Seen::kClosedContainer:
      storage_.unfoldedShared = true;
      return openContainer(number);
  }
  return kNoSlot;
}

Slot BinaryReader::readObject(std::uint32_t number) {
  const std::uint8_t* object = source_.object(number);
  if (object < source_.bytes + kHeaderSize) return refuse("An object lies inside the file's header.");
  if (isTextKind(*object)) return readText(number, object);
  if (isContainerKind(*object)) return openContainer(number);
  seen_[number] = Seen::kLeaf;
  return checkLeaf(object) ? number : kNoSlot;
}

bool BinaryReader::hasPayload(const std::uint8_t* object, std::uint64_t size) {
  const auto room = static_cast<std::uint64_t>(objectsEnd_ - object - 1);
  if (size > room) return fail("An object runs past the end of the objects.");
  if (size > leafBytesLeft_) return fail("The objects overlap too much.");
  leafBytesLeft_ -= size;
  return true;
}

bool BinaryReader::checkLeaf(const std::uint8_t* object) {
  const std::uint8_t low = *object & 0x0FU;
  switch (markerKind(*object)) {
    case kNullMarker:
      if (*object == kNullMarker) storage_.holdsUnwritable = true;
      if (low == 0 || *object == kFalseMarker || *object == kTrueMarker) return true;
      return fail("An object has an unknown marker.");
    case kIntegerMarker:
      if (low > 4) return fail("An integer has an unknown width.");
      return hasPayload(object, std::uint64_t{1} << low);
    case markerKind(kSingleRealMarker):
      if (*object != kSingleRealMarker && *object != kDoubleRealMarker) return fail("A real has an unknown width.");
      return hasPayload(object, std::uint64_t{1} << low);
    case markerKind(kDateMarker):
      return *object == kDateMarker ? hasPayload(object, 8) : fail("A date has an unknown width.");
    case kUidMarker:
      if (!hasPayload(object, std::uint64_t{low} + 1)) return false;
      return readBigEndian(object + 1, low + std::size_t{1}) <= UINT32_MAX || fail("A UID is too large.");
    case kDataMarker: {
      CountedContents counted{};
      return checkCounted(object, counted);
    }
    default:
      return fail("An object has an unknown marker.");
  }
}

bool BinaryReader::readCount(const std::uint8_t* object, CountedContents& counted) {
  // Behind the objects come the table and the trailer, so a count can be read before it is known to end there.
  const bool countFollows = (*object & 0x0FU) == kCountFollows;
  if (countFollows && !isIntegerMarker(object[1])) return fail("An object's count is no integer.");
  counted = countedContents(object);
  return counted.contents <= objectsEnd_ || fail("An object runs past the end of the objects.");
}

bool BinaryReader::checkCounted(const std::uint8_t* object, CountedContents& counted) {
  if (!readCount(object, counted)) return false;
  if (counted.count > source_.data.size()) return fail("An object runs past the end of the objects.");
  const auto header = static_cast<std::uint64_t>(counted.contents - object) - 1;
  return hasPayload(object, header + counted.count * (markerKind(*object) == kUtf16Marker ? 2 : 1));
}

Slot BinaryReader::readText(std::uint32_t number, const std::uint8_t* object) {
  CountedContents counted{};
  if (!checkCounted(object, counted)) return kNoSlot;
  const std::span contents(counted.contents, static_cast<std::size_t>(counted.count));
  if (markerKind(*object) == kUtf16Marker) {
    if (contents.empty()) return refuse("A UTF-16 string is empty.");
  } else if (!isAscii(contents)) {
    return reencode(number, contents);
  }
  seen_[number] = Seen::kText;
  return kTextFlag | number;
}

/// Bytes above 0x7F in an ASCII string are read as Latin-1. Such a string goes on as UTF-16, so that every other
/// reader agrees on it once it is written.
Slot BinaryReader::reencode(std::uint32_t number, std::span<const std::uint8_t> latin1) {
  std::string text;
  for (const std::uint8_t byte : latin1) appendUtf8(byte, text);
  seen_[number] = Seen::kReencoded;
  return reencoded_[number] = storage_.addString(text);
}

Slot BinaryReader::openContainer(std::uint32_t number) {
  const std::uint8_t* object = source_.object(number);
  const std::uint8_t kind = markerKind(*object);
  CountedContents counted{};
  if (stack_.size() == kMaxDepth) return refuse("Containers are nested too deeply.");
  if (!readCount(object, counted)) return kNoSlot;
  const std::uint64_t perEntry = source_.referenceWidth.bytes() * (kind == kDictionaryMarker ? std::uint64_t{2} : 1);
  if (counted.count > static_cast<std::uint64_t>(objectsEnd_ - counted.contents) / perEntry) {
    return refuse("A container runs past the end of the objects.");
  }
  if (counted.count + 1 > unfoldingLeft_) return refuse("Shared containers unfold out of proportion to the file.");
  unfoldingLeft_ -= counted.count + 1;
  Frame frame{nullptr, number, counted.contents, static_cast<std::uint32_t>(counted.count), 0, nullptr};
  const Shape* shape = &kArrayShape;
  if (kind == kSetMarker) {
    shape = &kSetShape;
    storage_.holdsUnwritable = true;
  } else if (kind == kDictionaryMarker) {
    const KnownKeys* known = findKeys(frame.references, frame.count);
    if (known == nullptr) return kNoSlot;
    shape = known->shape;
    frame.references += known->size;
    frame.count = known->count;
    if (!known->kept.empty()) frame.kept = known->kept.data();
  }
  if (shape == &kArrayShape) fetchElements(frame);
  Container& container = storage_.addContainer(*shape, frame.count, number);
  container.count = frame.count;
  frame.slots = container.slots;
  seen_[number] = Seen::kOpenContainer;
  stack_.push_back(frame);
  return kContainerTag | container.number;
}

/// Brings the elements of an array into the cache, which may lie in the file in another order.
void BinaryReader::fetchElements(const Frame& array) {
  std::uint32_t first = source_.objectCount;
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < array.count; ++i) {
    const std::uint64_t number = source_.referenceWidth.read(array.references, i);
    if (number >= source_.objectCount) return;
    first = std::min(first, static_cast<std::uint32_t>(number));
    last = std::max(last, static_cast<std::uint32_t>(number));
  }
  if (first <= last) (void)source_.fetchStretch(first, last, array.count);
}

/// Real files repeat a few key lists over and over: the same references are the same keys. Null after a failure.
const KnownKeys* BinaryReader::findKeys(const std::uint8_t* references, std::uint32_t count) {
  const std::size_t size = count * source_.referenceWidth.bytes();
  if (size == 0) return lookUpKeys(references, count, size);
  const KnownKeys*& recent = recentKeys_[(references[size - 1] + count) % recentKeys_.size()];
  if (recent == nullptr || !recent->areAt(references, size)) recent = lookUpKeys(references, count, size);
  return recent;
}

const KnownKeys* BinaryReader::lookUpKeys(const std::uint8_t* references, std::uint32_t count, std::size_t size) {
  std::uint64_t hash = XXH3_64bits_withSeed(references, size, storage_.hashSeed);
  for (auto found = knownKeysByHash_.find(hash); found != knownKeysByHash_.end();
       found = knownKeysByHash_.find(++hash)) {
    if (found->second->areAt(references, size)) return found->second;
  }
  KnownKeys fresh{references, size, nullptr, 0, {}};
  if (!readKeys(references, count, fresh)) return nullptr;
  knownKeys_.push_back(std::move(fresh));
  return knownKeysByHash_.emplace(hash, &knownKeys_.back()).first->second;
}

bool BinaryReader::readKeys(const std::uint8_t* references, std::uint32_t count, KnownKeys& known) {
  std::vector<Slot> keys(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t reference = source_.referenceWidth.read(references, i);
    const bool exists = reference < source_.objectCount;
    if (exists && isContainerKind(*source_.object(static_cast<std::uint32_t>(reference)))) {
      return fail("A container is used as a key.");
    }
    keys[i] = resolve(reference);
    if (keys[i] == kNoSlot) return false;
  }
  const DistinctKeys distinct = distinctKeys(storage_, keys);
  known.shape = &storage_.shapeFor(distinct.keys);
  known.count = static_cast<std::uint32_t>(distinct.keys.size());
  if (!distinct.hadDuplicates()) return true;
  // Of entries with one key the first counts.
  for (std::uint32_t i = 0; i < count; ++i) {
    if (distinct.places[i] == known.kept.size()) known.kept.push_back(i);
  }
  return true;
}

}  // namespace

bool looksBinary(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kHeaderSize && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

BinaryReading readBinary(const Data& data, PropertyListTree& tree) {
  if (!looksBinary(data.bytes())) return {{}, "The file does not begin like a binary property list."};
  return BinaryReader(data, tree).read();
}

}  // namespace tarvel
