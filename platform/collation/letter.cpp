#include "platform/collation/letter.h"

#include <unicode/ucol.h>
#include <unicode/ucoleitr.h>

#include <memory>

namespace tarvel {
namespace {

struct ElementsCloser {
  void operator()(UCollationElements* elements) const { ucol_closeElements(elements); }
};

/// ICU reports the lower halves of an element's weights as a second element, marked by these two bits.
bool isLowerHalf(std::int32_t element) { return (element & 0xC0) == 0xC0; }

}  // namespace

std::optional<std::vector<CollationElement>> elementsOf(const UCollator* collator, std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UCollationElements, ElementsCloser> source(
      ucol_openElements(collator, text.data(), static_cast<std::int32_t>(text.size()), &status));
  if (U_FAILURE(status)) return std::nullopt;
  std::vector<CollationElement> elements;
  elements.reserve(text.size() + text.size() / 2 + 8);
  for (std::int32_t next = ucol_next(source.get(), &status); next != UCOL_NULLORDER;
       next = ucol_next(source.get(), &status)) {
    const auto primary = static_cast<std::uint32_t>(ucol_primaryOrder(next));
    const auto secondary = static_cast<std::uint32_t>(ucol_secondaryOrder(next));
    if (isLowerHalf(next) && !elements.empty()) {
      elements.back().primary |= primary;
      elements.back().secondary |= secondary;
    } else if (primary != 0 || secondary != 0) {
      elements.push_back({primary << 16, secondary << 8});
    }
  }
  if (U_FAILURE(status)) return std::nullopt;
  return elements;
}

bool keepElements(const UCollator* collator, const std::vector<Letter>& letters, const std::vector<std::size_t>& text) {
  std::u16string fold;
  std::vector<CollationElement> expected;
  expected.reserve(text.size() * 2);
  for (const std::size_t place : text) {
    fold += letters[place].fold;
    for (const CollationElement& element : letters[place].elements) expected.push_back(element);
  }
  return elementsOf(collator, fold) == expected;
}

std::vector<std::size_t> allSequences(std::size_t count, std::size_t length) {
  // The Lyndon words whose length divides `length`, in order.
  std::vector<std::size_t> sequence;
  std::vector<std::size_t> word{0};
  while (!word.empty()) {
    if (length % word.size() == 0) sequence.insert(sequence.end(), word.begin(), word.end());
    const std::size_t period = word.size();
    while (word.size() < length) word.push_back(word[word.size() - period]);
    while (!word.empty() && word.back() == count - 1) word.pop_back();
    if (!word.empty()) ++word.back();
  }
  for (std::size_t i = 0; i + 1 < length; ++i) sequence.push_back(sequence[i]);
  return sequence;
}

}  // namespace tarvel
