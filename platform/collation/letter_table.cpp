#include "platform/collation/letter_table.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "platform/collation/element_ranks.h"
#include "platform/collation/utf16_text.h"

namespace tarvel {
namespace {

constexpr char kFirst = ' ';
constexpr char kLast = '~';

// A key is the primary ranks of a title and, if it has an accent, this byte and the secondary ranks up to the last
// accent. Hence the title without accents comes first, and the longer one last.
constexpr std::uint8_t kSeparator = ElementRanks::kFirstPrimary - 1;
constexpr std::uint8_t kUnaccented = ElementRanks::kFirstSecondary;

/// The eight bytes of `word` at once: whether one is not printable ASCII.
bool hasOther(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  constexpr std::uint64_t kTops = 0x80 * kOnes;
  const std::uint64_t aboveTilde = (word & ~kTops) + kOnes;  // 0x7F carries into the top bit
  const std::uint64_t notBelowSpace = (word & ~kTops) + (0x80 - 0x20) * kOnes;
  return ((word | aboveTilde | ~notBelowSpace) & kTops) != 0;
}

}  // namespace

std::optional<LetterTable> LetterTable::make(TitleOrder& order) {
  std::optional<Alphabet> alphabet = Alphabet::ofAscii(order);
  if (!alphabet) return std::nullopt;
  return LetterTable(order, *std::move(alphabet));
}

LetterTable::LetterTable(TitleOrder& order, Alphabet alphabet) : order_(&order), alphabet_(std::move(alphabet)) {
  assignRanks();
  for (char character = kFirst; character <= kLast; ++character) {
    const Letter& letter = alphabet_.letters()[alphabet_.numberOf(static_cast<unsigned char>(character))];
    folds_[static_cast<unsigned char>(character)] = letter.fold[0];
  }
}

void LetterTable::extend() {
  if (isExtended_) return;
  isExtended_ = true;
  alphabet_.addOthers();
  assignRanks();
}

void LetterTable::assignRanks() {
  const std::vector<Letter>& letters = alphabet_.letters();
  letterRanks_.resize(letters.size());
  const std::optional<ElementRanks> ranks = rankElements(*order_, letters);
  if (!ranks) return;
  std::transform(letters.begin(), letters.end(), letterRanks_.begin(),
                 [&](const Letter& letter) { return ranksOf(letter, *ranks); });
  for (char character = kFirst; character <= kLast; ++character) {
    const auto byte = static_cast<unsigned char>(character);
    ranks_[byte] = letterRanks_[alphabet_.numberOf(byte)].primary[0];
  }
}

LetterTable::LetterRanks LetterTable::ranksOf(const Letter& letter, const ElementRanks& elementRanks) const {
  LetterRanks ranks;
  if (letter.elements.size() > kMostRanks) return ranks;
  bool isAccented = false;
  for (const auto& [primary, secondary] : letter.elements) {
    ranks.secondary[ranks.secondaries++] = elementRanks.secondary.at(secondary);
    isAccented = isAccented || secondary != alphabet_.unaccented();
    if (primary == 0) continue;
    const auto rank = elementRanks.primary.find(primary);
    if (rank == elementRanks.primary.end()) return {};
    ranks.primary[ranks.primaries++] = rank->second;
  }
  if (!isAccented) ranks.secondaries = 0;
  return ranks;
}

bool LetterTable::appendKey(std::string_view title, std::vector<std::uint8_t>& keys) {
  const std::size_t start = keys.size();
  std::vector<std::uint8_t> secondaries;
  if (title.size() >= kMaxTitleUnits || !appendPrimaries(title, keys, secondaries)) {
    keys.resize(start);
    return false;
  }
  while (!secondaries.empty() && secondaries.back() == kUnaccented) secondaries.pop_back();
  if (secondaries.empty()) return true;
  keys.push_back(kSeparator);
  keys.insert(keys.end(), secondaries.begin(), secondaries.end());
  return true;
}

bool LetterTable::appendPrimaries(std::string_view title, std::vector<std::uint8_t>& keys,
                                  std::vector<std::uint8_t>& secondaries) {
  const std::size_t start = keys.size();
  keys.resize(start + title.size() * kMostRanks / 2);  // a letter beyond ASCII is two bytes or more
  std::uint8_t* const begin = keys.data() + start;
  std::uint8_t* out = begin;
  std::uint8_t* counted = begin;  // how far `secondaries` has come
  bool mayClash = false;
  for (std::size_t at = 0; at < title.size();) {
    if (const auto byte = static_cast<unsigned char>(title[at]); byte < ranks_.size()) {
      if (ranks_[byte] == 0) return false;
      *out++ = ranks_[byte];
      ++at;
      continue;
    }
    const Alphabet::Number letter = alphabet_.numberOf(nextCharacter(title, at));
    if (letter == Alphabet::kNone || !alphabet_.verify(letter)) return false;
    const LetterRanks& ranks = letterRanks_[letter];
    if (ranks.primaries == 0) return false;
    mayClash = mayClash || alphabet_.hasClashes(letter);
    if (ranks.secondaries != 0) {
      secondaries.resize(secondaries.size() + static_cast<std::size_t>(out - counted), kUnaccented);
      secondaries.insert(secondaries.end(), ranks.secondary.begin(), ranks.secondary.begin() + ranks.secondaries);
      counted = out + ranks.primaries;
    }
    out = std::copy_n(ranks.primary.begin(), ranks.primaries, out);
  }
  keys.resize(static_cast<std::size_t>(out - keys.data()));
  return !mayClash || !hasClash(title);
}

bool LetterTable::hasClash(std::string_view title) const {
  std::size_t at = 0;
  Alphabet::Number previous = alphabet_.numberOf(nextCharacter(title, at));
  while (at < title.size()) {
    const Alphabet::Number next = alphabet_.numberOf(nextCharacter(title, at));
    if (alphabet_.clash(previous, next)) return true;
    previous = next;
  }
  return false;
}

bool LetterTable::isPrintableAscii(std::string_view title) {
  std::uint64_t word = 0x2020202020202020U;
  if (title.size() < sizeof word) {
    for (const char character : title) word = word << 8 | static_cast<unsigned char>(character);
    return !hasOther(word);
  }
  const char* const lastWord = title.data() + title.size() - sizeof word;
  for (const char* at = title.data(); at < lastWord; at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    if (hasOther(word)) return false;
  }
  std::memcpy(&word, lastWord, sizeof word);
  return !hasOther(word);
}

}  // namespace tarvel
