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

/// What titles in European languages hold besides ASCII. None is a combining mark, so the fold of a title is that of
/// its characters, one after the other.
constexpr std::array kOthers{
    Range{0x00A0, 0x017F},                                                                       // Latin
    Range{0x0218, 0x021B}, Range{0x1E9E, 0x1E9E}, Range{0x0386, 0x038A},                         // Greek
    Range{0x038C, 0x038C}, Range{0x038E, 0x03A1}, Range{0x03A3, 0x03CE}, Range{0x0400, 0x045F},  // Cyrillic
    Range{0x0490, 0x0491}, Range{0x2002, 0x200A},                                                // spaces
    Range{0x2010, 0x2015},                                                                       // dashes
    Range{0x2018, 0x2022},  // quotation marks, daggers, bullet
    Range{0x2026, 0x2026},  // ellipsis
    Range{0x202F, 0x202F}, Range{0x2030, 0x2030}, Range{0x2032, 0x2033}, Range{0x2039, 0x203A}, Range{0x2044, 0x2044},
    Range{0x20AC, 0x20AC},  // symbols
    Range{0x20BD, 0x20BD}, Range{0x2116, 0x2116}, Range{0x2122, 0x2122}, Range{0x2190, 0x2193}, Range{0x2212, 0x2212},
    Range{0x2248, 0x2248}, Range{0x2264, 0x2265}, Range{0x25A0, 0x25A0}, Range{0x25B6, 0x25B6}, Range{0x25BA, 0x25BA},
    Range{0x25CF, 0x25CF}, Range{0x2605, 0x2606}, Range{0x2665, 0x2665}, Range{0x2713, 0x2714},
};

constexpr std::size_t kCharacters = kOthers.back().last + 1;

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

/// One character with its marks, or several from ASCII. Folds of titles are then sequences of such characters, and a
/// title can begin another only by ending before one of them or before a mark of one.
bool isSimple(std::u16string_view fold) {
  const auto isAscii = [](char16_t unit) { return unit < 0x80; };
  if (fold.empty() || isMark(fold[0])) return false;
  return std::all_of(fold.begin() + 1, fold.end(), isMark) || std::all_of(fold.begin(), fold.end(), isAscii);
}

/// Whether ICU, too, puts `fold` after all that begins it. Arabic alef with hamza, for one, comes before alef.
bool followsItsPrefixes(const TitleOrder& order, std::u16string_view fold) {
  for (std::size_t length = 1; length < fold.size(); ++length) {
    if (order.compare(fold.substr(0, length), fold) >= 0) return false;
  }
  return true;
}

/// Whether the elements of a letter order titles by first differences: there is a letter, not only marks, and the
/// weight of a mark is above that of no mark.
bool areOrdinary(const std::vector<CollationElement>& elements, std::uint32_t unaccented, bool plainOnly) {
  const auto isLetter = [](const CollationElement& element) { return element.primary != 0; };
  const auto isPlain = [&](const CollationElement& e) { return e.primary != 0 && e.secondary == unaccented; };
  const auto isAbove = [&](const CollationElement& e) { return e.secondary > unaccented; };
  return std::any_of(elements.begin(), elements.end(), isLetter) &&
         std::all_of(elements.begin(), elements.end(), [&](const CollationElement& element) {
           return isPlain(element) || (!plainOnly && isAbove(element));
         });
}

/// French Canadian compares accents from the end of the title.
bool comparesAccentsBackwards(const UCollator* collator) {
  UErrorCode status = U_ZERO_ERROR;
  return ucol_getAttribute(collator, UCOL_FRENCH_COLLATION, &status) != UCOL_OFF || U_FAILURE(status);
}

/// Letters, and what joins them in words: the characters that form groups of three that hold no group of two (Breton
/// "c'h").
bool isGroupingLetter(const Letter& letter) {
  const char16_t unit = letter.fold[0];
  return (unit >= u'a' && unit <= u'z') || unit == u'\'' || unit == u'-' || unit > 0x7F;
}

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
  for (const Range& range : kOthers) {
    for (char16_t character = range.first; character <= range.last; ++character) addOther(character, plainOnly);
  }
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
