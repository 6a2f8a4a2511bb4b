#include "platform/collation/ascii_ranks.h"

#include <unicode/ucol.h>
#include <unicode/ucoleitr.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/collation/title_order.h"

namespace tarvel {
namespace {

constexpr char kFirst = ' ';
constexpr char kLast = '~';

/// The primary weights of a text, in order and without the zero ones, as ICU's comparison sees them before any
/// reordering of scripts.
using Weights = std::vector<std::int32_t>;

struct ElementsCloser {
  void operator()(UCollationElements* elements) const { ucol_closeElements(elements); }
};

/// Absent when ICU fails.
std::optional<Weights> weightsOf(const UCollator* collator, std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UCollationElements, ElementsCloser> elements(
      ucol_openElements(collator, text.data(), static_cast<std::int32_t>(text.size()), &status));
  if (U_FAILURE(status)) return std::nullopt;
  Weights weights;
  weights.reserve(text.size() * 2);
  for (std::int32_t element = ucol_next(elements.get(), &status); element != UCOL_NULLORDER;
       element = ucol_next(elements.get(), &status)) {
    const std::int32_t primary = ucol_primaryOrder(element);
    if (primary != 0) weights.push_back(primary);
  }
  if (U_FAILURE(status)) return std::nullopt;
  return weights;
}

/// The weights of each letter of `alphabet`; absent when some letter has none, or weights that begin another letter's.
std::optional<std::vector<Weights>> prefixCode(const UCollator* collator, std::u16string_view alphabet) {
  std::vector<Weights> code;
  for (const char16_t letter : alphabet) {
    std::optional<Weights> weights = weightsOf(collator, std::u16string_view(&letter, 1));
    if (!weights || weights->empty()) return std::nullopt;
    code.push_back(*std::move(weights));
  }
  std::vector<Weights> sorted = code;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    const Weights& shorter = sorted[i - 1];  // what begins another sorts right before one that it begins
    if (shorter.size() <= sorted[i].size() && std::equal(shorter.begin(), shorter.end(), sorted[i].begin())) {
      return std::nullopt;
    }
  }
  return code;
}

/// A sequence of places below `alphabetSize` in which every `length` of them stand side by side in every order: the
/// Lyndon words whose length divides `length`, in order (a de Bruijn sequence), opened out by repeating its beginning.
std::vector<std::size_t> allNeighbours(std::size_t alphabetSize, std::size_t length) {
  std::vector<std::size_t> sequence;
  std::vector<std::size_t> word{0};
  while (!word.empty()) {
    if (length % word.size() == 0) sequence.insert(sequence.end(), word.begin(), word.end());
    const std::size_t period = word.size();
    while (word.size() < length) word.push_back(word[word.size() - period]);
    while (!word.empty() && word.back() == alphabetSize - 1) word.pop_back();
    if (!word.empty()) ++word.back();
  }
  for (std::size_t i = 0; i + 1 < length; ++i) sequence.push_back(sequence[i]);
  return sequence;
}

/// Whether each letter of `alphabet` has its own weights, `code`, whichever `length` letters stand side by side.
bool keepsWeights(const UCollator* collator, std::u16string_view alphabet, const std::vector<Weights>& code,
                  std::size_t length) {
  const std::vector<std::size_t> sequence = allNeighbours(alphabet.size(), length);
  std::u16string text;
  Weights expected;
  for (const std::size_t letter : sequence) {
    text.push_back(alphabet[letter]);
    for (const std::int32_t weight : code[letter]) expected.push_back(weight);
  }
  return weightsOf(collator, text) == expected;
}

/// A letter that ranks as high as another at the first level would tie with it in the table and nowhere else, and the
/// prefix code has excluded that; so the order of single letters is the order of titles.
std::u16string sortedAlphabet(const TitleOrder& order, std::u16string alphabet) {
  std::vector<std::pair<std::vector<std::uint8_t>, char16_t>> keyed;
  for (const char16_t letter : alphabet) {
    keyed.emplace_back();
    order.appendSortKey(std::u16string_view(&letter, 1), keyed.back().first);
    keyed.back().second = letter;
  }
  std::sort(keyed.begin(), keyed.end());
  std::transform(keyed.begin(), keyed.end(), alphabet.begin(), [](const auto& entry) { return entry.second; });
  return alphabet;
}

bool isGroupingLetter(char16_t letter) {
  return (letter >= u'a' && letter <= u'z') || letter == u'\'' || letter == u'-' || letter > 0x7F;
}

/// The eight bytes of `word` at once: whether one is not printable ASCII.
bool hasOther(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  constexpr std::uint64_t kTops = 0x80 * kOnes;
  const std::uint64_t aboveTilde = (word & ~kTops) + kOnes;  // 0x7F carries into the top bit
  const std::uint64_t notBelowSpace = (word & ~kTops) + (0x80 - 0x20) * kOnes;
  return ((word | aboveTilde | ~notBelowSpace) & kTops) != 0;
}

}  // namespace

std::optional<AsciiRanks> AsciiRanks::prove(TitleOrder& order) {
  AsciiRanks table;
  if (order.collator() == nullptr || !table.readFolds(order) || !table.readRanks(order)) return std::nullopt;
  return table;
}

bool AsciiRanks::readFolds(TitleOrder& order) {
  std::u16string fold;
  for (char character = kFirst; character <= kLast; ++character) {
    fold.clear();
    order.appendFold(std::string_view(&character, 1), fold);
    if (fold.size() != 1) return false;
    folds_[static_cast<unsigned char>(character)] = fold[0];
  }
  return true;
}

bool AsciiRanks::readRanks(const TitleOrder& order) {
  std::u16string alphabet(folds_.begin() + kFirst, folds_.begin() + kLast + 1);
  std::sort(alphabet.begin(), alphabet.end());
  alphabet.erase(std::unique(alphabet.begin(), alphabet.end()), alphabet.end());
  const UCollator* collator = order.collator();
  const auto code = prefixCode(collator, alphabet);
  if (!code || !keepsWeights(collator, alphabet, *code, 2)) return false;

  // Pairs settle almost everything; a group of three with no pair inside it (Breton "c'h") needs threes, which only
  // letters and the two marks that join them can form.
  std::u16string grouping;
  std::vector<Weights> groupingCode;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    if (!isGroupingLetter(alphabet[i])) continue;
    grouping.push_back(alphabet[i]);
    groupingCode.push_back((*code)[i]);
  }
  if (!keepsWeights(collator, grouping, groupingCode, 3)) return false;

  const std::u16string sorted = sortedAlphabet(order, alphabet);
  for (std::size_t character = kFirst; character <= static_cast<std::size_t>(kLast); ++character) {
    ranks_[character] = static_cast<std::uint8_t>(sorted.find(folds_[character]) + 1);
  }
  return true;
}

bool AsciiRanks::covers(std::string_view title) {
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
