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
  kLeaf,
  kOpenContainer,    ///< Around the object being read.
  kClosedContainer,  ///< Read before; referring to it again unfolds it once more.
  kReencoded,        ///< A string that had to be stored anew, see reencode().
};

/// A container being filled. `references` are the ones to its values.
struct Frame {
  std::uint32_t container;
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
  std::uint32_t shape;
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

class BinaryReader {
 public:
  BinaryReader(const Data& data, PropertyListTree& tree)
      : tree_(tree), storage_(PropertyListAccess::storage(tree)), source_(storage_.source) {
    source_.data = data;
  }

  BinaryReading read();

 private:
  bool readTrailer();
  bool checkOffsets();
  bool fail(const char* error);

  bool readObject(std::uint32_t number, Slot& slot);
  bool readTree(Slot& root);
  bool fill(Frame& frame, bool& descended);
  bool resolve(std::uint32_t number, Slot& slot);

  bool checkLeaf(std::uint32_t number, const std::uint8_t* object);
  bool checkText(std::uint32_t number, const std::uint8_t* object);
  bool hasPayload(const std::uint8_t* object, std::uint64_t size);
  bool readCount(const std::uint8_t* object, CountedContents& counted);
  void reencode(std::uint32_t number, const std::uint8_t* object);

  bool openContainer(std::uint32_t number, Slot& slot);
  void fetchElements(const Frame& array);
  const KnownKeys* findKeys(const std::uint8_t* references, std::uint32_t count);
  const KnownKeys* lookUpKeys(const std::uint8_t* references, std::uint32_t count, std::size_t size);
  bool readKeys(const std::uint8_t* references, std::uint32_t count, KnownKeys& known);
  bool readReference(const std::uint8_t* at, std::uint32_t& number);

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
  Slot root = kNoSlot;
  if (readTrailer() && checkOffsets() && readTree(root)) {
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
  source_.offsetWidth = trailer[6];
  source_.referenceWidth = trailer[7];
  const auto objectCount = loadBigEndian<std::uint64_t>(trailer + 8);
  const auto top = loadBigEndian<std::uint64_t>(trailer + 16);
  const auto table = loadBigEndian<std::uint64_t>(trailer + 24);
  const std::uint64_t tableEnd = bytes.size() - kTrailerSize;
  if (source_.offsetWidth == 0 || source_.referenceWidth == 0) return fail("The trailer gives a width of zero.");
  if (table <= kHeaderSize || table >= tableEnd) return fail("The table of objects lies outside the file.");
  if (objectCount == 0 || objectCount > tableEnd || (tableEnd - table) % source_.offsetWidth != 0 ||
      (tableEnd - table) / source_.offsetWidth != objectCount) {
    return fail("The table of objects has another length than the trailer says.");
  }
  if (objectCount > kMaxSlotIndex) return fail("The file holds more objects than can be handled.");
  if (top >= objectCount) return fail("The top object does not exist.");
  const auto cannotHold = [](std::size_t width, std::uint64_t most) { return width < 8 && most >> (8 * width) != 0; };
  if (cannotHold(source_.offsetWidth, table) || cannotHold(source_.referenceWidth, objectCount)) {
    return fail("The trailer gives widths that are too small for the file.");
  }
  source_.offsetTable = bytes.data() + table;
  source_.objectCount = static_cast<std::uint32_t>(objectCount);
  objectsEnd_ = source_.offsetTable;
  top_ = static_cast<std::uint32_t>(top);
  unfoldingLeft_ = kUnfoldingAllowance + 2 * (bytes.size() / source_.referenceWidth);
  leafBytesLeft_ = kOverlapFactor * bytes.size();
  return true;
}

/// Checks that every offset is below the table, even of unreferenced objects.
bool BinaryReader::checkOffsets() {
  const auto limit = static_cast<std::uint64_t>(source_.offsetTable - source_.data.bytes().data());
  const std::size_t width = source_.offsetWidth;
  const std::uint8_t* at = source_.offsetTable;
  for (std::uint32_t i = 0; i < source_.objectCount; ++i, at += width) {
    if (readUnsigned(at, width) >= limit) return fail("An object lies outside the file.");
  }
  seen_.resize(source_.objectCount);
  return true;
}

bool BinaryReader::readTree(Slot& root) {
  if (!resolve(top_, root)) return false;
  while (!stack_.empty()) {
    bool descended = false;
    // A descent may move the frames, so the frame is taken anew each time.
    if (!fill(stack_.back(), descended)) return false;
    if (descended) continue;
    seen_[stack_.back().object] = Seen::kClosedContainer;
    stack_.pop_back();
  }
  return true;
}

/// Fills the container's slots up to the next container in it, or to the end.
bool BinaryReader::fill(Frame& frame, bool& descended) {
  Slot* slots = storage_.containers[frame.container].slots;
  const std::size_t depth = stack_.size();
  while (frame.next < frame.count) {
    const std::uint32_t entry = frame.next++;
    const std::uint32_t place = frame.kept == nullptr ? entry : frame.kept[entry];
    std::uint32_t number = 0;
    if (!readReference(frame.references + std::size_t{place} * source_.referenceWidth, number)) return false;
    if (seen_[number] == Seen::kLeaf) {
      slots[entry] = number;
      continue;
    }
    if (!resolve(number, slots[entry])) return false;
    if (stack_.size() != depth) {
      descended = true;
      return true;
    }
  }
  return true;
}

bool BinaryReader::readReference(const std::uint8_t* at, std::uint32_t& number) {
  const std::uint64_t wide = readUnsigned(at, source_.referenceWidth);
  if (wide >= source_.objectCount) return fail("A container refers to an object that does not exist.");
  number = static_cast<std::uint32_t>(wide);
  return true;
}

/// The slot for an object; a container's frame is pushed and still to be filled.
bool BinaryReader::resolve(std::uint32_t number, Slot& slot) {
  switch (seen_[number]) {
    case Seen::kNever:
      return readObject(number, slot);
    case Seen::kLeaf:
      slot = number;
      return true;
    case Seen::kReencoded:
      slot = reencoded_[number];
      return true;
    case Seen::kOpenContainer:
      return fail("A container contains itself.");
    case Seen::kClosedContainer:
      storage_.unfoldedShared = true;
      return openContainer(number, slot);
  }
  return false;
}

bool BinaryReader::readObject(std::uint32_t number, Slot& slot) {
  const std::uint8_t* object = source_.object(number);
  if (object < source_.data.bytes().data() + kHeaderSize) return fail("An object lies inside the file's header.");
  if (isContainerKind(*object)) return openContainer(number, slot);
  if (!checkLeaf(number, object)) return false;
  slot = seen_[number] == Seen::kReencoded ? reencoded_[number] : number;
  return true;
}

bool BinaryReader::hasPayload(const std::uint8_t* object, std::uint64_t size) {
  const auto room = static_cast<std::uint64_t>(objectsEnd_ - object - 1);
  if (size > room) return fail("An object runs past the end of the objects.");
  if (size > leafBytesLeft_) return fail("The objects overlap too much.");
  leafBytesLeft_ -= size;
  return true;
}

bool BinaryReader::checkLeaf(std::uint32_t number, const std::uint8_t* object) {
  const std::uint8_t low = *object & 0x0FU;
  seen_[number] = Seen::kLeaf;
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
    case kDataMarker:
    case kAsciiMarker:
    case kUtf16Marker:
      return checkText(number, object);
    default:
      return fail("An object has an unknown marker.");
  }
}

bool BinaryReader::readCount(const std::uint8_t* object, CountedContents& counted) {
  if ((*object & 0x0FU) == kCountFollows) {
    const bool hasCount = objectsEnd_ - object > 1;
    if (!hasCount || markerKind(object[1]) != kIntegerMarker || (object[1] & 0x0FU) > 4) {
      return fail("An object's count is no integer.");
    }
    if (objectsEnd_ - object - 2 < std::ptrdiff_t{1} << (object[1] & 0x0FU)) {
      return fail("An object runs past the end of the objects.");
    }
  }
  counted = countedContents(object);
  return true;
}

bool BinaryReader::checkText(std::uint32_t number, const std::uint8_t* object) {
  CountedContents counted{};
  if (!readCount(object, counted)) return false;
  const std::uint8_t kind = markerKind(*object);
  const auto header = static_cast<std::uint64_t>(counted.contents - object) - 1;
  if (counted.count > static_cast<std::uint64_t>(objectsEnd_ - object)) {
    return fail("An object runs past the end of the objects.");
  }
  if (!hasPayload(object, header + counted.count * (kind == kUtf16Marker ? 2 : 1))) return false;
  if (kind == kUtf16Marker && counted.count == 0) return fail("A UTF-16 string is empty.");
  const std::size_t size = static_cast<std::size_t>(counted.count);
  if (kind == kAsciiMarker && !isAscii({counted.contents, size})) reencode(number, object);
  return true;
}

/// Bytes above 0x7F in an ASCII string are read as Latin-1. Such a string goes on as UTF-16, so that every other
/// reader agrees on it once it is written.
void BinaryReader::reencode(std::uint32_t number, const std::uint8_t* object) {
  std::string text;
  for (const std::uint8_t byte : leafBytes(object)) appendUtf8(byte, text);
  reencoded_[number] = storage_.addString(text);
  seen_[number] = Seen::kReencoded;
}

bool BinaryReader::openContainer(std::uint32_t number, Slot& slot) {
  const std::uint8_t* object = source_.object(number);
  const std::uint8_t kind = markerKind(*object);
  CountedContents counted{};
  if (stack_.size() == kMaxDepth) return fail("Containers are nested too deeply.");
  if (!readCount(object, counted)) return false;
  const std::uint64_t perEntry = source_.referenceWidth * (kind == kDictionaryMarker ? std::uint64_t{2} : 1);
  if (counted.count > static_cast<std::uint64_t>(objectsEnd_ - counted.contents) / perEntry) {
    return fail("A container runs past the end of the objects.");
  }
  if (counted.count + 1 > unfoldingLeft_) return fail("Shared containers unfold out of proportion to the file.");
  unfoldingLeft_ -= counted.count + 1;
  Frame frame{0, number, counted.contents, static_cast<std::uint32_t>(counted.count), 0, nullptr};
  std::uint32_t shape = kArrayShape;
  if (kind == kSetMarker) {
    shape = kSetShape;
    storage_.holdsUnwritable = true;
  } else if (kind == kDictionaryMarker) {
    const KnownKeys* known = findKeys(frame.references, frame.count);
    if (known == nullptr) return false;
    shape = known->shape;
    frame.references += known->size;
    frame.count = known->count;
    if (!known->kept.empty()) frame.kept = known->kept.data();
  }
  if (shape == kArrayShape) fetchElements(frame);
  frame.container = storage_.addContainer(shape, frame.count, number);
  storage_.containers[frame.container].count = frame.count;
  slot = kContainerTag | frame.container;
  seen_[number] = Seen::kOpenContainer;
  stack_.push_back(frame);
  return true;
}

/// Brings the elements of an array into the cache, which may lie in the file in another order.
void BinaryReader::fetchElements(const Frame& array) {
  std::uint32_t first = source_.objectCount;
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < array.count; ++i) {
    const std::uint64_t number =
        readUnsigned(array.references + std::size_t{i} * source_.referenceWidth, source_.referenceWidth);
    if (number >= source_.objectCount) return;
    first = std::min(first, static_cast<std::uint32_t>(number));
    last = std::max(last, static_cast<std::uint32_t>(number));
  }
  if (first <= last) (void)source_.fetchStretch(first, last, array.count);
}

/// Real files repeat a few key lists over and over: the same references are the same keys. Null after a failure.
const KnownKeys* BinaryReader::findKeys(const std::uint8_t* references, std::uint32_t count) {
  const std::size_t size = std::size_t{count} * source_.referenceWidth;
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
  KnownKeys fresh{references, size, 0, 0, {}};
  if (!readKeys(references, count, fresh)) return nullptr;
  knownKeys_.push_back(std::move(fresh));
  return knownKeysByHash_.emplace(hash, &knownKeys_.back()).first->second;
}

bool BinaryReader::readKeys(const std::uint8_t* references, std::uint32_t count, KnownKeys& known) {
  std::vector<Slot> keys(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t number = 0;
    if (!readReference(references + std::size_t{i} * source_.referenceWidth, number)) return false;
    if (isContainerKind(*source_.object(number))) return fail("A container is used as a key.");
    if (!resolve(number, keys[i])) return false;
  }
  const DistinctKeys distinct = distinctKeys(storage_, keys);
  known.shape = storage_.shapeFor(distinct.keys);
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
