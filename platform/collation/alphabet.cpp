#include "platform/collation/alphabet.h"

#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <string>
#include <utility>

namespace tarvel {
namespace {

struct Range {
  char16_t first;
  char16_t last;
};

constexpr Range kAscii{u' ', u'~'};

/// What titles in European languages contain beyond ASCII. None is a combining mark, so the fold of a title is the
/// folds of its characters.
constexpr std::array kLetterRanges{
    Range{0x00A0, 0x017F},  // Latin, with marks
    Range{0x0218, 0x021B},  // Latin: Romanian
    Range{0x1E9E, 0x1E9E},  // Latin: capital sharp s
    Range{0x0386, 0x038A},  // Greek
    Range{0x038C, 0x038C},  // Greek
    Range{0x038E, 0x03A1},  // Greek
    Range{0x03A3, 0x03CE},  // Greek
    Range{0x0400, 0x045F},  // Cyrillic
    Range{0x0490, 0x0491},  // Cyrillic: Ukrainian
    Range{0x2002, 0x200A},  // spaces
};
constexpr std::u16string_view kPunctuation = u"\u202F\u2010\u2011‒–—―‘’‚‛“”„‟†‡•…‰′″‹›⁄";
constexpr std::u16string_view kSymbols = u"€₽№™←↑→↓−≈≤≥■▶►●★☆♥✓✔";

constexpr std::size_t kCharacters = 0x2800;  // above all of these

std::u16string foldOf(TitleOrder& order, char16_t character) {
  std::array<char, 4> bytes{};
  std::int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, &character, 1, &status);
  std::u16string fold;
  if (U_SUCCESS(status)) order.appendFold(std::string_view(bytes.data(), static_cast<std::size_t>(length)), fold);
  return fold;
}

bool isMark(char16_t unit) { return u_getCombiningClass(unit) != 0; }

/// One character with its marks, or several from ASCII. A title that is a prefix of another then ends before a letter
/// or before a mark.
bool isSimple(std::u16string_view fold) {
  const auto isPlain = [](char16_t unit) { return unit < 0x80; };
  if (fold.empty() || isMark(fold[0])) return false;
  return std::all_of(fold.begin() + 1, fold.end(), isMark) || std::all_of(fold.begin(), fold.end(), isPlain);
}

/// Whether ICU puts `fold` after each of its prefixes. (It puts Arabic alef with hamza before alef.)
bool followsItsPrefixes(const TitleOrder& order, std::u16string_view fold) {
  for (std::size_t length = 1; length < fold.size(); ++length) {
    if (order.compare(fold.substr(0, length), fold) >= 0) return false;
  }
  return true;
}

/// Whether keys can compare such elements as ICU does: a letter is among them, and the secondary weight of a letter is
/// not below `unaccented`, that of a mark above it. With `plainOnly` all must be unaccented letters.
bool areOrdinary(const std::vector<CollationElement>& elements, std::uint32_t unaccented, bool plainOnly) {
  const auto isLetter = [](const CollationElement& element) { return element.primary != 0; };
  const auto isAllowed = [&](const CollationElement& element) {
    if (isLetter(element) && element.secondary == unaccented) return true;
    return !plainOnly && element.secondary > unaccented;
  };
  return std::any_of(elements.begin(), elements.end(), isLetter) &&
         std::all_of(elements.begin(), elements.end(), isAllowed);
}

/// Canadian French compares accents from the end of the title.
bool comparesAccentsBackwards(const UCollator* collator) {
  UErrorCode status = U_ZERO_ERROR;
  return ucol_getAttribute(collator, UCOL_FRENCH_COLLATION, &status) != UCOL_OFF || U_FAILURE(status);
}

/// A character that may be part of a group of three without a group of two in it (Breton "c'h").
bool isGroupingLetter(const Letter& letter) {
  const char16_t unit = letter.fold[0];
  return (unit >= u'a' && unit <= u'z') || unit == u'\'' || unit == u'-' || unit > 0x7F;
}

/// The typographic apostrophe and hyphens.
bool joinsLetters(const Letter& letter) {
  return letter.fold == u"\u2019" || letter.fold == u"\u2010" || letter.fold == u"\u2011";
}

}  // namespace

std::optional<Alphabet> Alphabet::ofAscii(TitleOrder& order) {
  if (order.collator() == nullptr) return std::nullopt;
  Alphabet alphabet(order);
  if (!alphabet.addAscii() || !alphabet.asciiKeepsElements()) return std::nullopt;
  return alphabet;
}

Alphabet::Alphabet(TitleOrder& order) : order_(&order), numbers_(kCharacters, kNone) {}

bool Alphabet::clash(Number a, Number b) const {
  const std::vector<Number>& clashes = states_[a].clashes;
  return std::find(clashes.begin(), clashes.end(), b) != clashes.end();
}

void Alphabet::add(char16_t character, Letter letter, Proof proof) {
  const auto number = static_cast<Number>(letters_.size());
  numbers_[character] = number;
  folds_.emplace(letter.fold, number);
  letters_.push_back(std::move(letter));
  states_.push_back({proof, {}});
  if (proof == Proof::kPassed) verified_.push_back(number);
}

bool Alphabet::addAscii() {
  std::set<std::uint32_t> primaries;
  for (char16_t character = kAscii.first; character <= kAscii.last; ++character) {
    const std::u16string fold = foldOf(*order_, character);
    if (const auto known = folds_.find(fold); known != folds_.end()) {
      numbers_[character] = known->second;
      continue;
    }
    const auto elements = elementsOf(order_->collator(), fold);
    if (fold.size() != 1 || !elements || elements->size() != 1) return false;
    const auto [primary, secondary] = elements->front();
    if (letters_.empty()) unaccented_ = secondary;
    // Letters with the same primary weight differ like accents (Lithuanian i and y).
    if (secondary != unaccented_ || !primaries.insert(primary).second) return false;
    add(character, {fold, *elements}, Proof::kPassed);
  }
  asciiLetters_ = letters_.size();
  return true;
}

bool Alphabet::asciiKeepsElements() const {
  const UCollator* collator = order_->collator();
  if (!keepElements(collator, letters_, allSequences(letters_.size(), 2))) return false;
  std::vector<Letter> grouping;
  std::copy_if(letters_.begin(), letters_.end(), std::back_inserter(grouping), isGroupingLetter);
  return keepElements(collator, grouping, allSequences(grouping.size(), 3));
}

void Alphabet::addOthers() {
  const bool plainOnly = comparesAccentsBackwards(order_->collator());
  for (const Range& range : kLetterRanges) {
    for (char16_t character = range.first; character <= range.last; ++character) addOther(character, plainOnly);
  }
  for (const char16_t mark : kPunctuation) addOther(mark, plainOnly);
  for (const char16_t symbol : kSymbols) addOther(symbol, plainOnly);
}

void Alphabet::addOther(char16_t character, bool plainOnly) {
  std::u16string fold = foldOf(*order_, character);
  if (const auto known = folds_.find(fold); known != folds_.end()) {
    numbers_[character] = known->second;
    return;
  }
  if (!isSimple(fold) || !followsItsPrefixes(*order_, fold)) return;
  auto elements = elementsOf(order_->collator(), fold);
  if (!elements || !areOrdinary(*elements, unaccented_, plainOnly)) return;
  add(character, {std::move(fold), *std::move(elements)}, Proof::kPending);
}

void Alphabet::provePending(Number letter) {
  states_[letter].proof = Proof::kFailed;
  if (!keepsElements(letter)) {
    findClashes(letter);
    if (!keepsElements(letter)) return;
  }
  states_[letter].proof = Proof::kPassed;
  verified_.push_back(letter);
}

void Alphabet::findClashes(Number letter) {
  for (const Number other : verified_) {
    if (keepElements(order_->collator(), letters_, {other, letter, other})) continue;
    states_[letter].clashes.push_back(other);
    states_[other].clashes.push_back(letter);
  }
}

bool Alphabet::keepsElements(Number letter) const {
  std::vector<std::size_t> pairs{letter, letter};
  std::vector<std::size_t> groupingLetters;
  for (const Number other : verified_) {
    if (clash(letter, other)) continue;
    pairs.insert(pairs.end(), {other, letter});
    if (other < asciiLetters_ && isGroupingLetter(letters_[other])) groupingLetters.push_back(other);
  }
  if (!keepElements(order_->collator(), letters_, pairs)) return false;
  if (!joinsLetters(letters_[letter])) return true;
  std::vector<std::size_t> groups;
  for (const std::size_t place : allSequences(groupingLetters.size(), 2)) {
    groups.insert(groups.end(), {groupingLetters[place], letter});
  }
  return keepElements(order_->collator(), letters_, groups);
}

}  // namespace tarvel
