#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

namespace tarvel {

class PropertyListTree;
class PropertyListArray;
class PropertyListDictionary;
struct PropertyListAccess;
struct PropertyListContainer;

/// Storage formats of property lists. The numbers are the original platform's and appear in log lines.
enum class PropertyListFormat : std::uint32_t {
  kOpenStep = 1,  ///< Read, never written.
  kXml = 100,
  kBinary = 200,
};

/// Up to this many bytes, re-reading a string costs about as much as looking up whether it was read.
inline constexpr std::size_t kLongestShortText = 256;

/// The type of a value. `kNull` and `kSet` occur in binary files only; they can be read but not written.
enum class PropertyListType : std::uint8_t {
  kAbsent,
  kNull,
  kBoolean,
  kInteger,
  kReal,
  kDate,
  kData,
  kString,
  kUid,
  kArray,
  kDictionary,
  kSet,
};

/// A dictionary key, or a text to compare values with, with its precomputed hash. Borrows its text.
class PropertyListKey {
 public:
  /// `text` must outlive the key.
  // NOLINTBEGIN(google-explicit-constructor): call sites pass string literals.
  constexpr PropertyListKey(std::string_view text)
      : text_(text), hash_(hashOf(text)), isConstant_(std::is_constant_evaluated()) {}
  /// `text` is zero-terminated.
  constexpr PropertyListKey(const char* text) : PropertyListKey(std::string_view(text)) {}
  // NOLINTEND(google-explicit-constructor)

  /// The text.
  constexpr operator std::string_view() const { return text_; }  // NOLINT(google-explicit-constructor): as a literal
  [[nodiscard]] constexpr std::string_view text() const { return text_; }  ///< The same.
  [[nodiscard]] constexpr std::uint32_t hash() const { return hash_; }     ///< hashOf() the key.
  /// Whether it is a constant of the program: then its text stays at its address, and nothing else is ever there.
  [[nodiscard]] constexpr bool isConstant() const { return isConstant_; }

  /// FNV-1a. It only skips comparisons in a linear scan, so deliberate collisions gain nothing.
  [[nodiscard]] static constexpr std::uint32_t hashOf(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619U;
    return hash;
  }

 private:
  std::string_view text_;
  std::uint32_t hash_;
  bool isConstant_;
};

/// A value of a property list: a small handle into the tree that owns it.
///
/// Handles are cheap to copy and valid as long as their tree. A typed getter returns "absent" for a value of another
/// type; nothing is converted. Strings are UTF-8, generalised so that a lone surrogate is kept as its three bytes. Not
/// thread-safe per tree.
class PropertyListValue {
 public:
  /// An absent value, without a tree.
  PropertyListValue() = default;

  explicit operator bool() const { return tree_ != nullptr; }  ///< Whether it is present.
  [[nodiscard]] PropertyListType type() const;                 ///< Selects the getter below.

  [[nodiscard]] std::optional<bool> boolean() const;  ///< Of a boolean only.
  /// The low 64 bits of an integer; a value above 2^63 - 1 wraps, as on the original platform.
  [[nodiscard]] std::optional<std::int64_t> integer() const;
  /// Whether integer() is unsigned. True for every 16-byte integer, whatever its high bits.
  [[nodiscard]] bool isUnsigned() const;
  /// Stored size of a number in bytes: 1, 2, 4, 8 or 16 for an integer, 4 or 8 for a real, 0 for other values.
  [[nodiscard]] std::size_t numberWidth() const;
  [[nodiscard]] std::optional<double> real() const;  ///< Of either width.
  /// Seconds since 2001-01-01 00:00:00 UTC.
  [[nodiscard]] std::optional<double> date() const;
  /// Valid as long as the tree.
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> data() const;
  /// Decoded on first use and cached by the tree; valid as long as the tree.
  [[nodiscard]] std::optional<std::string_view> string() const;
  /// Like string(), but equal long strings of a tree return the same view, so each is compared with others only once.
  /// Strings of up to kLongestShortText bytes are returned as by string().
  [[nodiscard]] std::optional<std::string_view> uniqueString() const;
  /// Whether it is this string. A value is compared with a constant once, unless many others are in between.
  [[nodiscard]] bool is(const PropertyListKey& text) const;
  /// The result of `property` for the string; false for other types. Results for long strings are cached per tree.
  [[nodiscard]] bool textHas(bool (*property)(std::string_view text)) const;
  [[nodiscard]] std::optional<std::uint32_t> uid() const;  ///< A keyed archive's reference.
  /// A null handle if the value is not an array.
  [[nodiscard]] PropertyListArray array() const;
  /// The elements of a set, in stored order; a null handle if the value is not a set.
  [[nodiscard]] PropertyListArray set() const;
  /// A null handle if the value is not a dictionary.
  [[nodiscard]] PropertyListDictionary dictionary() const;

  /// The owning tree, where new values for its containers are made; null for an absent value.
  [[nodiscard]] PropertyListTree* tree() const { return tree_; }

  /// A number unique to this value in its tree. Stable for containers; meaningless for leaves.
  [[nodiscard]] std::uint32_t identity() const { return slot_; }
  /// Compares identity, not content.
  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;

 private:
  friend struct PropertyListAccess;
  friend class PropertyListTree;
  PropertyListValue(PropertyListTree* tree, std::uint32_t slot) : tree_(tree), slot_(slot) {}

  PropertyListTree* tree_ = nullptr;
  std::uint32_t slot_ = 0;
};

/// A reference to a mutable array: copies of the handle refer to the same array. A null handle tests false and has no
/// elements; it must not be appended to.
class PropertyListArray {
 public:
  PropertyListArray() = default;

  explicit operator bool() const { return container_ != nullptr; }  ///< False for a null handle.
  [[nodiscard]] std::size_t size() const;                           ///< Number of elements.
  [[nodiscard]] bool empty() const { return size() == 0; }          ///< Whether size() is 0.
  /// `index` must be below size().
  [[nodiscard]] PropertyListValue at(std::size_t index) const;

  class Iterator;
  /// Iterates over the elements in order. What their dictionaries refer to is brought into the cache before it is
  /// visited. The array must not change meanwhile.
  [[nodiscard]] Iterator begin() const;
  [[nodiscard]] Iterator end() const;  ///< Behind the last element.

  /// `value` must be present and of this array's tree, also for replace().
  void append(PropertyListValue value) const;
  void replace(std::size_t index, PropertyListValue value) const;  ///< `index` must be below size().

  /// Visits the elements from last to first and removes those for which `keep` returns false, in one pass. `keep` may
  /// edit an element, but must not access this array, which is inconsistent until the call returns.
  void retainBackwards(const std::function<bool(PropertyListValue)>& keep) const;

  [[nodiscard]] PropertyListValue value() const;  ///< The array as a value.
  /// Whether both refer to the same array.
  friend bool operator==(const PropertyListArray&, const PropertyListArray&) = default;

 private:
  friend struct PropertyListAccess;
  PropertyListArray(PropertyListTree* tree, PropertyListContainer* container) : tree_(tree), container_(container) {}
  [[nodiscard]] bool fetchElements() const;
  void prefetchAfter(std::size_t index) const;

  PropertyListTree* tree_ = nullptr;
  PropertyListContainer* container_ = nullptr;
};

/// A position in an array.
class PropertyListArray::Iterator {
 public:
  using difference_type = std::ptrdiff_t;  ///< Required by the standard library.
  using value_type = PropertyListValue;    ///< An element.

  Iterator() = default;

  /// The element.
  PropertyListValue operator*() const {
    if (!isFetched_) array_.prefetchAfter(index_);
    return array_.at(index_);
  }
  /// To the next element.
  Iterator& operator++() {
    ++index_;
    return *this;
  }
  /// The same; returns the old position.
  Iterator operator++(int) {
    const Iterator old = *this;
    ++index_;
    return old;
  }
  /// Whether both are at one position of one array.
  friend bool operator==(const Iterator& a, const Iterator& b) { return a.index_ == b.index_ && a.array_ == b.array_; }

 private:
  friend class PropertyListArray;
  Iterator(PropertyListArray array, std::size_t index, bool isFetched)
      : array_(array), index_(index), isFetched_(isFetched) {}

  PropertyListArray array_;
  std::size_t index_ = 0;
  /// Whether the elements are in the cache already.
  bool isFetched_ = true;
};

inline PropertyListArray::Iterator PropertyListArray::begin() const { return {*this, 0, fetchElements()}; }
inline PropertyListArray::Iterator PropertyListArray::end() const { return {*this, size(), true}; }

/// A reference to a mutable dictionary: copies of the handle refer to the same dictionary. A null handle tests false,
/// has no entries and returns absent values; it must not be written to.
class PropertyListDictionary {
 public:
  PropertyListDictionary() = default;

  explicit operator bool() const { return container_ != nullptr; }  ///< False for a null handle.
  [[nodiscard]] std::size_t size() const;                           ///< Number of entries.
  /// Entries keep their order. `index` must be below size(). A key that is not a string returns none from string().
  [[nodiscard]] PropertyListValue keyAt(std::size_t index) const;
  [[nodiscard]] PropertyListValue valueAt(std::size_t index) const;  ///< Of the key at `index`.

  [[nodiscard]] PropertyListValue get(const PropertyListKey& key) const;  ///< Absent if there is no such key.
  [[nodiscard]] std::optional<std::string_view> string(const PropertyListKey& key) const;  ///< get() as a text.
  [[nodiscard]] PropertyListArray array(const PropertyListKey& key) const;                 ///< As an array.
  [[nodiscard]] PropertyListDictionary dictionary(const PropertyListKey& key) const;       ///< As a dictionary.

  /// Replaces the value of `key` in place, or appends the entry. `value` must be of this dictionary's tree. A new array
  /// that replaces another takes over its place in a rewritten file, so that little around it changes.
  void set(const PropertyListKey& key, PropertyListValue value) const;
  /// Sets a new string. If the value is this string already, its stored form is kept.
  void setString(const PropertyListKey& key, std::string_view text) const;
  void remove(const PropertyListKey& key) const;  ///< No effect if it is absent.

  /// A new dictionary with the same entries. Values are shared: both dictionaries refer to the same arrays.
  [[nodiscard]] PropertyListDictionary shallowCopy() const;

  [[nodiscard]] PropertyListValue value() const;  ///< The dictionary as a value.
  /// Whether both refer to the same dictionary.
  friend bool operator==(const PropertyListDictionary&, const PropertyListDictionary&) = default;

 private:
  friend struct PropertyListAccess;
  PropertyListDictionary(PropertyListTree* tree, PropertyListContainer* container)
      : tree_(tree), container_(container) {}

  PropertyListTree* tree_ = nullptr;
  PropertyListContainer* container_ = nullptr;
};

/// Owns the values of a property list and makes new ones. Memory is released only with the tree.
///
/// A tree that was read from a binary file keeps the file's bytes; untouched values stay references into them. Making
/// values throws std::bad_alloc when out of memory; the library's entry points catch it.
class PropertyListTree {
 public:
  PropertyListTree();
  ~PropertyListTree();
  PropertyListTree(const PropertyListTree&) = delete;
  PropertyListTree& operator=(const PropertyListTree&) = delete;

  [[nodiscard]] PropertyListValue makeNull();               ///< Cannot be written.
  [[nodiscard]] PropertyListValue makeBoolean(bool value);  ///< True or false.
  /// Stored in the fewest bytes: 1, 2 or 4 if not negative, else 8.
  [[nodiscard]] PropertyListValue makeInteger(std::int64_t value);
  /// As makeInteger(); 16 bytes above 2^63 - 1.
  [[nodiscard]] PropertyListValue makeUnsigned(std::uint64_t value);
  /// A 16-byte integer; `high` holds the upper 64 bits.
  [[nodiscard]] PropertyListValue makeWideInteger(std::uint64_t high, std::uint64_t low);
  [[nodiscard]] PropertyListValue makeReal(double value);  ///< Stored in 8 bytes.
  /// A real stored in 4 bytes.
  [[nodiscard]] PropertyListValue makeSingleReal(float value);
  /// `value` in seconds since 2001-01-01 00:00:00 UTC.
  [[nodiscard]] PropertyListValue makeDate(double value);
  [[nodiscard]] PropertyListValue makeData(std::span<const std::uint8_t> bytes);  ///< Copies the bytes.
  /// `text` is UTF-8, or the generalised form with lone surrogates; other malformed bytes become U+FFFD.
  [[nodiscard]] PropertyListValue makeString(std::string_view text);
  [[nodiscard]] PropertyListValue makeUid(std::uint32_t value);     ///< An archive's reference.
  [[nodiscard]] PropertyListArray makeArray(std::size_t capacity);  ///< Empty, with reserved capacity.
  [[nodiscard]] PropertyListValue makeSet(std::span<const PropertyListValue> elements);  ///< Cannot be written.
  [[nodiscard]] PropertyListDictionary makeDictionary();                                 ///< Empty.
  /// A dictionary with these entries. Of equal string keys the last value wins, in the position of the first. The spans
  /// must have the same length.
  [[nodiscard]] PropertyListDictionary makeDictionary(std::span<const PropertyListValue> keys,
                                                      std::span<const PropertyListValue> values);

  /// The container whose identity() this is, which must be one of this tree.
  [[nodiscard]] PropertyListValue containerWith(std::uint32_t identity) { return {this, identity}; }
  /// Arrays, dictionaries and sets ever read or made.
  [[nodiscard]] std::size_t numberOfContainers() const;

 private:
  friend struct PropertyListAccess;
  struct Storage;
  std::unique_ptr<Storage> storage_;
};

/// A property list and its owner: the root is valid as long as any copy of this. An absent root means no list.
struct PropertyList {
  std::shared_ptr<PropertyListTree> tree;  ///< Null if there is no list.
  PropertyListValue root;                  ///< Of any type.
};

}  // namespace tarvel
