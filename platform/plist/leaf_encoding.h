#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tarvel {

/// The end of a binary file: the sizes and places of its tables.
inline constexpr std::size_t kTrailerSize = 32;

/// The markers of the binary format: the high half of an object's first byte is its kind, the low half a size. All
/// leaves of a tree are stored in this encoding in memory, so that unchanged values are written back with their type
/// and width.
enum LeafMarker : std::uint8_t {
  kNullMarker = 0x00,
  kFalseMarker = 0x08,
  kTrueMarker = 0x09,
  kIntegerMarker = 0x10,
  kSingleRealMarker = 0x22,
  kDoubleRealMarker = 0x23,
  kDateMarker = 0x33,
  kDataMarker = 0x40,
  kAsciiMarker = 0x50,
  kUtf16Marker = 0x60,
  kUidMarker = 0x80,
  kArrayMarker = 0xA0,
  kSetMarker = 0xC0,
  kDictionaryMarker = 0xD0,
};

/// Low half of a marker whose count did not fit it and follows as an integer object.
inline constexpr std::uint8_t kCountFollows = 0x0F;

[[nodiscard]] constexpr std::uint8_t markerKind(std::uint8_t marker) { return marker & 0xF0U; }

/// A big-endian unsigned number of `width` bytes; of more than 8 the low 64 bits.
[[nodiscard]] inline std::uint64_t readBigEndian(const std::uint8_t* at, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | at[i];
  return value;
}

/// The same for a width known when compiling: one load.
template <typename Number>
[[nodiscard]] inline Number loadBigEndian(const std::uint8_t* at) {
  Number value = 0;
  std::memcpy(&value, at, sizeof value);
  if constexpr (std::endian::native == std::endian::big || sizeof value == 1) return value;
  if constexpr (sizeof value == 2) return static_cast<Number>(__builtin_bswap16(value));
  if constexpr (sizeof value == 4) return static_cast<Number>(__builtin_bswap32(value));
  if constexpr (sizeof value == 8) return static_cast<Number>(__builtin_bswap64(value));
}

[[nodiscard]] inline std::uint64_t readUnsigned(const std::uint8_t* at, std::size_t width) {
  switch (width) {
    case 1:
      return *at;
    case 2:
      return loadBigEndian<std::uint16_t>(at);
    case 4:
      return loadBigEndian<std::uint32_t>(at);
    case 8:
      return loadBigEndian<std::uint64_t>(at);
    default:
      return readBigEndian(at, width);
  }
}

/// Reads big-endian numbers of one width, of more than 8 bytes the low 64 bits, by a single load: of the 8 bytes that
/// end with the number. So 8 bytes must be readable up to its end; in a binary file the header comes before every
/// number.
class NumberWidth {
 public:
  NumberWidth() = default;
  explicit NumberWidth(std::size_t width) : width_(width), mask_(width < 8 ? (1ULL << (8 * width)) - 1 : ~0ULL) {}

  [[nodiscard]] std::size_t bytes() const { return width_; }
  [[nodiscard]] bool canHold(std::uint64_t number) const { return number <= mask_; }
  [[nodiscard]] std::uint64_t read(const std::uint8_t* first, std::size_t index) const {
    return loadBigEndian<std::uint64_t>(first + (index + 1) * width_ - sizeof(std::uint64_t)) & mask_;
  }

 private:
  std::size_t width_ = 0;
  std::uint64_t mask_ = 0;
};

/// Where the contents of a counted object begin, and how many elements (bytes, UTF-16 units, references) they hold.
struct CountedContents {
  const std::uint8_t* contents;
  std::uint64_t count;
};

/// `object` has been checked to lie wholly in its buffer.
[[nodiscard]] inline CountedContents countedContents(const std::uint8_t* object) {
  const std::uint8_t low = *object & 0x0FU;
  if (low != kCountFollows) return {object + 1, low};
  if (object[1] == kIntegerMarker) return {object + 3, object[2]};  // As most long strings.
  const std::size_t width = std::size_t{1} << (object[1] & 0x0FU);
  return {object + 2 + width, readUnsigned(object + 2, width)};
}

/// The contents of a checked data or string object, as bytes.
[[nodiscard]] inline std::span<const std::uint8_t> leafBytes(const std::uint8_t* object) {
  const CountedContents counted = countedContents(object);
  const std::size_t unit = markerKind(*object) == kUtf16Marker ? 2 : 1;
  return {counted.contents, static_cast<std::size_t>(counted.count) * unit};
}

/// The whole length of a checked leaf object, marker included.
[[nodiscard]] inline std::size_t leafLength(const std::uint8_t* object) {
  const std::uint8_t low = *object & 0x0FU;
  switch (markerKind(*object)) {
    case kIntegerMarker:
    case kSingleRealMarker & 0xF0U:
    case kDateMarker & 0xF0U:
      return 1 + (std::size_t{1} << low);
    case kUidMarker:
      return 2 + std::size_t{low};
    case kDataMarker:
    case kAsciiMarker:
    case kUtf16Marker: {
      const auto bytes = leafBytes(object);
      return static_cast<std::size_t>(bytes.data() - object) + bytes.size();
    }
    default:
      return 1;
  }
}

/// The low `width` bytes of `value`, most significant first.
inline void writeBigEndian(std::uint64_t value, std::size_t width, std::uint8_t* out) {
  for (std::size_t i = width; i-- > 0; value >>= 8) out[i] = static_cast<std::uint8_t>(value);
}

inline constexpr std::size_t kLongestHeader = 10;

/// Writes an object's marker with its count, in the fewest bytes; answers how many those are.
inline std::size_t encodeCountedHeader(std::uint8_t kind, std::uint64_t count, std::uint8_t* out) {
  if (count < kCountFollows) {
    out[0] = static_cast<std::uint8_t>(kind | count);
    return 1;
  }
  const unsigned power = count <= 0xFF ? 0 : count <= 0xFFFF ? 1 : count <= 0xFFFF'FFFF ? 2 : 3;
  const std::size_t width = std::size_t{1} << power;
  out[0] = kind | kCountFollows;
  out[1] = static_cast<std::uint8_t>(kIntegerMarker | power);
  writeBigEndian(count, width, out + 2);
  return 2 + width;
}

}  // namespace tarvel
