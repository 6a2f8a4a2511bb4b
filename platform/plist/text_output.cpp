#include "platform/plist/text_output.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/plist/tree_storage.h"

namespace tarvel {

namespace {

constexpr std::uint64_t kMoreBytes = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostTimes = 16;

class UnfoldingMeter {
 public:
  UnfoldingMeter(const PropertyListAccess::Storage& storage, std::uint64_t most) : storage_(storage), left_(most) {}

  /// Subtracts the value's size as text from the budget. False once the budget is exceeded. The readers' limit on
  /// nesting bounds the recursion.
  bool take(Slot slot) {
    if (!isContainerSlot(slot)) return takeBytes(storage_.encoded(slot).size());
    const Container& container = storage_.containers[slotIndex(slot)];
    if (!takeBytes(1)) return false;
    if (container.isDictionary() && !takeAll(container.shape->keys)) return false;
    return takeAll({container.slots, container.count});
  }

 private:
  bool takeAll(std::span<const Slot> slots) {
    return std::ranges::all_of(slots, [this](Slot slot) { return take(slot); });
  }
  bool takeBytes(std::uint64_t bytes) {
    const bool isEnough = bytes <= left_;
    left_ -= isEnough ? bytes : left_;
    return isEnough;
  }

  const PropertyListAccess::Storage& storage_;
  std::uint64_t left_;
};

}  // namespace

bool unfoldsTooFar(PropertyListValue root) {
  const PropertyListAccess::Storage& storage = PropertyListAccess::storage(root);
  if (storage.source.objectCount == 0) return false;
  return !UnfoldingMeter(storage, kMoreBytes + kMostTimes * storage.source.data.size())
              .take(PropertyListAccess::slot(root));
}

}  // namespace tarvel
