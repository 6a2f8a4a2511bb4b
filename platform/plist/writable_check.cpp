#include "platform/plist/writable_check.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/plist/calendar.h"
#include "platform/plist/tree_storage.h"

namespace tarvel {

namespace {

/// How many repetitions of shared containers XML may contain.
constexpr std::uint64_t kMaxRepetitions = std::uint64_t{3} * 512;

/// The original platform's class names, as its error texts show them.
std::string_view typeName(PropertyListType type) {
  switch (type) {
    case PropertyListType::kAbsent:
      return "(null)";
    case PropertyListType::kNull:
      return "CFNull";
    case PropertyListType::kBoolean:
      return "CFBoolean";
    case PropertyListType::kInteger:
    case PropertyListType::kReal:
      return "CFNumber";
    case PropertyListType::kDate:
      return "CFDate";
    case PropertyListType::kData:
      return "CFData";
    case PropertyListType::kString:
      return "CFString";
    case PropertyListType::kUid:
      return "CFKeyedArchiverUID";
    case PropertyListType::kArray:
      return "CFArray";
    case PropertyListType::kDictionary:
      return "CFDictionary";
    case PropertyListType::kSet:
      return "CFSet";
  }
  return "(null)";
}

class WritableCheck {
 public:
  explicit WritableCheck(std::uint32_t format) : format_(format) {}

  std::optional<PropertyListError> check(const PropertyListValue& root) {
    visit(root);
    while (!stack_.empty() && !error_) step();
    return error_;
  }

 private:
  /// A container whose entries are being visited.
  struct Frame {
    PropertyListValue container;
    std::size_t size;
    std::size_t next;
    std::uint64_t unfolded;  ///< Containers that writing it without references takes so far, itself included.
  };
  static constexpr std::uint64_t kOpen = 0;  ///< In known_: the container is on the stack.

  [[nodiscard]] bool isXml() const { return format_ == static_cast<std::uint32_t>(PropertyListFormat::kXml); }

  void fail(const std::string& reason) {
    error_ =
        PropertyListError{"Property list invalid for format: " + std::to_string(format_) + " (" + reason + ")", 0, {}};
  }

  void failForType(const PropertyListValue& value) {
    fail("property lists cannot contain objects of type '" + std::string(typeName(value.type())) + "'");
  }

  void visit(const PropertyListValue& value);
  void enter(const PropertyListValue& container, std::size_t size);
  void step();
  void leave();
  void count(std::uint64_t unfolded);
  void checkKey(const PropertyListValue& key);

  std::uint32_t format_;
  std::vector<Frame> stack_;
  /// Visited containers, with the `unfolded` of each.
  std::unordered_map<Slot, std::uint64_t> known_;
  std::optional<PropertyListError> error_;
};

void WritableCheck::visit(const PropertyListValue& value) {
  switch (value.type()) {
    case PropertyListType::kAbsent:
      fail("property lists cannot contain NULL");
      return;
    case PropertyListType::kNull:
    case PropertyListType::kSet:
      failForType(value);
      return;
    case PropertyListType::kArray:
      enter(value, value.array().size());
      return;
    case PropertyListType::kDictionary:
      enter(value, value.dictionary().size());
      return;
    case PropertyListType::kDate:
      if (isXml() && !hasCalendarDate(*value.date())) fail("a date is outside the calendar");
      return;
    default:
      return;
  }
}

void WritableCheck::enter(const PropertyListValue& container, std::size_t size) {
  const auto [place, isNew] = known_.emplace(PropertyListAccess::slot(container), kOpen);
  if (isNew) {
    stack_.push_back({container, size, 0, 1});
  } else if (place->second == kOpen) {
    fail("property lists cannot contain recursive container references");
  } else {
    count(place->second);
  }
}

/// Visits the next entry of the innermost container, or leaves it.
void WritableCheck::step() {
  Frame& frame = stack_.back();
  if (frame.next == frame.size) {
    leave();
    return;
  }
  const std::size_t index = frame.next++;
  if (const PropertyListDictionary dictionary = frame.container.dictionary()) {
    checkKey(dictionary.keyAt(index));
    if (!error_) visit(dictionary.valueAt(index));
  } else {
    visit(frame.container.array().at(index));
  }
}

void WritableCheck::leave() {
  const Frame frame = stack_.back();
  stack_.pop_back();
  known_[PropertyListAccess::slot(frame.container)] = frame.unfolded;
  count(frame.unfolded);
}

/// Adds a container's `unfolded` to that of its parent.
void WritableCheck::count(std::uint64_t unfolded) {
  if (stack_.empty()) return;
  std::uint64_t& total = stack_.back().unfolded;
  total += unfolded;
  if (isXml() && total > known_.size() + kMaxRepetitions) {
    // The original platform's text.
    fail(
        "Too many nested arrays or dictionaries please use kCFPropertyListBinaryFormat_v1_0 instead which supports "
        "references");
  }
  // The binary format has no limit; reset, so that the sum cannot overflow.
  if (!isXml()) total = 1;
}

void WritableCheck::checkKey(const PropertyListValue& key) {
  if (key.type() == PropertyListType::kString) return;
  fail("property list dictionaries may only have keys which are CFStrings, not '" + std::string(typeName(key.type())) +
       "'");
}

}  // namespace

std::optional<PropertyListError> findUnwritable(const PropertyListValue& root, std::uint32_t format) {
  return WritableCheck(format).check(root);
}

}  // namespace tarvel
