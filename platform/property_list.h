#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace tarvel {

class PropertyListTree;
class PropertyListArray;
class PropertyListDictionary;
struct PropertyListAccess;

/// The forms a property list is stored in. The numbers are the original platform's and appear in log lines.
enum class PropertyListFormat : std::uint32_t {
  kOpenStep = 1,  ///< Read, never written.
  kXml = 100,
  kBinary = 200,
};

/// Reading a text of up to so many bytes again costs hardly more than to know that it was read.
inline constexpr std::size_t kLongestShortText = 256;

/// What a value is. `kNull` and `kSet` occur in binary files only; they can be read but not written.
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

/// A dictionary key with its hash, so that looking up a constant hashes nothing. Borrows its text.
class PropertyListKey {
 public:
  /// `text` outlives the key, as it does in the next one.
  // NOLINTBEGIN(google-explicit-constructor): keys are written as plain text at every call.
  constexpr PropertyListKey(std::string_view text) : text_(text), hash_(hashOf(text)) {}
  /// `text` ends with a zero byte.
  constexpr PropertyListKey(const char* text) : PropertyListKey(std::string_view(text)) {}
  // NOLINTEND(google-explicit-constructor)

  /// The key itself.
  [[nodiscard]] constexpr std::string_view text() const { return text_; }
  /// What hashOf() makes of it.
  [[nodiscard]] constexpr std::uint32_t hash() const { return hash_; }

  /// FNV-1a over the bytes. It only skips comparisons in a linear scan, so chosen collisions gain an attacker nothing.
  [[nodiscard]] static constexpr std::uint32_t hashOf(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619U;
    return hash;
  }

 private:
  std::string_view text_;
  std::uint32_t hash_;
};

/// One value of a property list: a small handle into the tree that owns it.
///
/// Handles are copied freely and die with their tree. Every typed getter answers "absent" when the value has another
/// type; nothing converts. Texts are UTF-8, generalised so that a lone surrogate is kept as its three bytes.
/// One thread at a time per tree.
class PropertyListValue {
 public:
  /// An absent value, which belongs to no tree.
  PropertyListValue() = default;

  explicit operator bool() const { return tree_ != nullptr; }  ///< Whether it is present.
  [[nodiscard]] PropertyListType type() const;                 ///< Which of the getters below answers.

  [[nodiscard]] std::optional<bool> boolean() const;  ///< Of a boolean alone.
  /// The low 64 bits of an integer; one above 2^63 - 1 wraps, as in the number objects of the original platform.
  [[nodiscard]] std::optional<std::int64_t> integer() const;
  /// Whether integer() is to be read as unsigned: so for every 16-byte integer, whatever its high bits hold.
  [[nodiscard]] bool isUnsigned() const;
  /// Bytes a number is stored in: 1, 2, 4, 8 or 16 for an integer, 4 or 8 for a real, 0 for any other value.
  [[nodiscard]] std::size_t numberWidth() const;
  [[nodiscard]] std::optional<double> real() const;  ///< Of 4 bytes too.
  /// Seconds since 2001-01-01 00:00:00 UTC.
  [[nodiscard]] std::optional<double> date() const;
  /// Lives as long as the tree.
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> data() const;
  /// Decoded on first use and kept by the tree: the view lives as long as the tree.
  [[nodiscard]] std::optional<std::string_view> string() const;
  /// The same, but equal long texts of a tree answer one view: a file may refer to long texts from everywhere, and so
  /// each is compared with others once. Texts of up to kLongestShortText bytes are as string() answers them.
  [[nodiscard]] std::optional<std::string_view> uniqueString() const;
  /// What `property` answers for the text; false without one. The answer for a long text is kept by the tree, so that
  /// it is read once, however often it is referred to.
  [[nodiscard]] bool textHas(bool (*property)(std::string_view text)) const;
  [[nodiscard]] std::optional<std::uint32_t> uid() const;  ///< Of an archive's reference.
  /// A null handle when the value is no array.
  [[nodiscard]] PropertyListArray array() const;
  /// The elements of a set, in stored order; a null handle when the value is no set.
  [[nodiscard]] PropertyListArray set() const;
  /// A null handle when the value is no dictionary.
  [[nodiscard]] PropertyListDictionary dictionary() const;

  /// The tree that owns this value, none for an absent one. New values for its containers are made there.
  [[nodiscard]] PropertyListTree* tree() const { return tree_; }

  /// A number that tells this value from every other of its tree. A container keeps its number; a leaf's means little.
  [[nodiscard]] std::uint32_t identity() const { return slot_; }
  /// Identity, not equality of content.
  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;

 private:
  friend struct PropertyListAccess;
  PropertyListValue(PropertyListTree* tree, std::uint32_t slot) : tree_(tree), slot_(slot) {}

  PropertyListTree* tree_ = nullptr;
  std::uint32_t slot_ = 0;
};

/// A reference to a mutable array. Copying the handle does not copy the array: every holder sees an edit.
/// A null handle tests false and has no elements; nothing may be added to it.
class PropertyListArray {
 public:
  PropertyListArray() = default;

  explicit operator bool() const { return static_cast<bool>(value_); }  ///< Whether it is no null handle.
  [[nodiscard]] std::size_t size() const;                               ///< How many elements.
  [[nodiscard]] bool empty() const { return size() == 0; }              ///< Whether there is none.
  /// `index` is below size().
  [[nodiscard]] PropertyListValue at(std::size_t index) const;

  class Iterator;
  /// Iterates over the elements in order, and prefetches what their dictionaries refer to. The array must not change
  /// meanwhile.
  [[nodiscard]] Iterator begin() const;
  [[nodiscard]] Iterator end() const;  ///< Behind the last element.

  /// `value` is present and of this array's tree, here and in replace().
  void append(PropertyListValue value) const;
  void replace(std::size_t index, PropertyListValue value) const;  ///< `index` is below size().

  /// Visits the elements from the last to the first and removes those for which `keep` answers false, all in one pass.
  /// `keep` may edit an element, but neither read nor edit this array, which is in pieces until the call returns.
  void retainBackwards(const std::function<bool(PropertyListValue)>& keep) const;

  [[nodiscard]] PropertyListValue value() const { return value_; }  ///< The array as a value.
  /// Whether both are the one array.
  friend bool operator==(const PropertyListArray&, const PropertyListArray&) = default;

 private:
  friend struct PropertyListAccess;
  explicit PropertyListArray(PropertyListValue value) : value_(value) {}
  void prefetchAfter(std::size_t index) const;

  PropertyListValue value_;
};

/// A position in an array.
class PropertyListArray::Iterator {
 public:
  using difference_type = std::ptrdiff_t;  ///< As the standard library asks for.
  using value_type = PropertyListValue;    ///< An element.

  Iterator() = default;

  /// The element.
  PropertyListValue operator*() const {
    array_.prefetchAfter(index_);
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
  friend bool operator==(const Iterator&, const Iterator&) = default;

 private:
  friend class PropertyListArray;
  Iterator(PropertyListArray array, std::size_t index) : array_(array), index_(index) {}

  PropertyListArray array_;
  std::size_t index_ = 0;
};

inline PropertyListArray::Iterator PropertyListArray::begin() const { return {*this, 0}; }
inline PropertyListArray::Iterator PropertyListArray::end() const { return {*this, size()}; }

/// A reference to a mutable dictionary. Copying the handle does not copy the dictionary.
/// A null handle tests false, has no entries and answers absent to every getter; nothing may be set in it.
class PropertyListDictionary {
 public:
  PropertyListDictionary() = default;

  explicit operator bool() const { return static_cast<bool>(value_); }  ///< Whether it is no null handle.
  [[nodiscard]] std::size_t size() const;                               ///< How many entries.
  /// Entries keep their order. `index` is below size(). A key that is no string answers none to string().
  [[nodiscard]] PropertyListValue keyAt(std::size_t index) const;
  [[nodiscard]] PropertyListValue valueAt(std::size_t index) const;  ///< Of the key at `index`.

  [[nodiscard]] PropertyListValue get(const PropertyListKey& key) const;  ///< Absent without such a key.
  [[nodiscard]] std::optional<std::string_view> string(const PropertyListKey& key) const;  ///< get() as a text.
  [[nodiscard]] PropertyListArray array(const PropertyListKey& key) const;                 ///< As an array.
  [[nodiscard]] PropertyListDictionary dictionary(const PropertyListKey& key) const;       ///< As a dictionary.

  /// Replaces the value under `key`, in its place, or adds the entry at the end. `value` is of this dictionary's tree.
  /// A new array that replaces another takes over its place in a rewritten file, so that little around it changes.
  void set(const PropertyListKey& key, PropertyListValue value) const;
  /// The same with a new string; a value that is this very text already is left alone, in its stored form.
  void setString(const PropertyListKey& key, std::string_view text) const;
  void remove(const PropertyListKey& key) const;  ///< Nothing happens where it is absent.

  /// A new dictionary with the same entries. The values are shared, so an array in it stays the one array until either
  /// dictionary is given another.
  [[nodiscard]] PropertyListDictionary shallowCopy() const;

  [[nodiscard]] PropertyListValue value() const { return value_; }  ///< The dictionary as a value.
  /// Whether both are the one dictionary.
  friend bool operator==(const PropertyListDictionary&, const PropertyListDictionary&) = default;

 private:
  friend struct PropertyListAccess;
  explicit PropertyListDictionary(PropertyListValue value) : value_(value) {}

  PropertyListValue value_;
};

/// Owns the values of one property list and makes new ones. Nothing is given back before the tree itself goes.
///
/// A tree that was read from a binary file keeps the file's bytes; values that nobody touched stay references into
/// them. Making values fails only by std::bad_alloc, which callers at the border of a library turn into an answer.
class PropertyListTree {
 public:
  PropertyListTree();
  ~PropertyListTree();
  PropertyListTree(const PropertyListTree&) = delete;
  PropertyListTree& operator=(const PropertyListTree&) = delete;

  [[nodiscard]] PropertyListValue makeNull();               ///< Cannot be written.
  [[nodiscard]] PropertyListValue makeBoolean(bool value);  ///< True or false.
  /// Stored in the fewest bytes: 1, 2 or 4 when not negative, else 8.
  [[nodiscard]] PropertyListValue makeInteger(std::int64_t value);
  /// As makeInteger(), and in 16 bytes above 2^63 - 1.
  [[nodiscard]] PropertyListValue makeUnsigned(std::uint64_t value);
  /// A 16-byte integer, `high` holding the upper 64 bits.
  [[nodiscard]] PropertyListValue makeWideInteger(std::uint64_t high, std::uint64_t low);
  [[nodiscard]] PropertyListValue makeReal(double value);  ///< Stored in 8 bytes.
  /// A real stored in 4 bytes.
  [[nodiscard]] PropertyListValue makeSingleReal(float value);
  /// `value` in seconds since 2001-01-01 00:00:00 UTC.
  [[nodiscard]] PropertyListValue makeDate(double value);
  [[nodiscard]] PropertyListValue makeData(std::span<const std::uint8_t> bytes);  ///< Copies them.
  /// `text` is UTF-8 or the generalised form with lone surrogates; a byte that fits neither becomes U+FFFD.
  [[nodiscard]] PropertyListValue makeString(std::string_view text);
  [[nodiscard]] PropertyListValue makeUid(std::uint32_t value);     ///< An archive's reference.
  [[nodiscard]] PropertyListArray makeArray(std::size_t capacity);  ///< Empty, with room for so many.
  [[nodiscard]] PropertyListValue makeSet(std::span<const PropertyListValue> elements);  ///< Cannot be written.
  [[nodiscard]] PropertyListDictionary makeDictionary();                                 ///< Empty.
  /// A dictionary with these entries, all at once. Of equal string keys the last value wins and stands where the first
  /// one stood. The spans have one length.
  [[nodiscard]] PropertyListDictionary makeDictionary(std::span<const PropertyListValue> keys,
                                                      std::span<const PropertyListValue> values);

 private:
  friend struct PropertyListAccess;
  struct Storage;
  std::unique_ptr<Storage> storage_;
};

/// A property list with its owner: the root lives as long as any copy of this. An absent root means no list.
struct PropertyList {
  std::shared_ptr<PropertyListTree> tree;  ///< Null where there is no list.
  PropertyListValue root;                  ///< Of any type.
};

}  // namespace tarvel
