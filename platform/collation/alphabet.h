#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/collation/letter.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// The characters of one language that are ordered independently of their neighbours.
///
/// This is read from the installed ICU: for printable ASCII at once, for each other character when verify() is first
/// called. docs/decisions/0010-title-order.md says why the checks suffice.
class Alphabet {
 public:
  /// The number of a letter. Characters with the same fold are one letter.
  using Number = std::uint16_t;
  static constexpr Number kNone = UINT16_MAX;

  /// With printable ASCII only. Absent if the language treats a group of ASCII characters as one letter (Czech "ch"),
  /// or without a collator. Borrows `order`.
  [[nodiscard]] static std::optional<Alphabet> ofAscii(TitleOrder& order);

  /// Adds the marks and letters beyond ASCII, all unverified.
  void addOthers();

  [[nodiscard]] const std::vector<Letter>& letters() const { return letters_; }

  /// kNone for a character that is not in the alphabet.
  [[nodiscard]] Number numberOf(char32_t character) const {
    return character < numbers_.size() ? numbers_[character] : kNone;
  }

  /// The secondary weight of letters without accents, the lowest of all.
  [[nodiscard]] std::uint32_t unaccented() const { return unaccented_; }

  /// Whether `letter` keeps its elements beside all letters verified so far, except those that it clashes with.
  [[nodiscard]] bool verify(Number letter) {
    if (states_[letter].proof == Proof::kPending) provePending(letter);
    return states_[letter].proof == Proof::kPassed;
  }

  [[nodiscard]] bool hasClashes(Number letter) const { return !states_[letter].clashes.empty(); }

  /// Whether two verified letters have other elements when they are neighbours (Catalan "l·").
  [[nodiscard]] bool clash(Number a, Number b) const;

 private:
  enum class Proof : std::uint8_t { kPending, kPassed, kFailed };

  struct State {
    Proof proof;
    std::vector<Number> clashes;
  };

  explicit Alphabet(TitleOrder& order);

  [[nodiscard]] bool addAscii();
  [[nodiscard]] bool asciiKeepsElements() const;
  void addOther(char16_t character, bool plainOnly);
  void add(char16_t character, Letter letter, Proof proof);
  void provePending(Number letter);
  void findClashes(Number letter);
  [[nodiscard]] bool keepsElements(Number letter) const;

  TitleOrder* order_;
  std::vector<Letter> letters_;
  std::vector<State> states_;    // of each letter
  std::vector<Number> numbers_;  // of each character
  std::map<std::u16string, Number> folds_;
  std::vector<Number> verified_;
  std::size_t asciiLetters_ = 0;  // they are the first ones
  std::uint32_t unaccented_ = 0;
};

}  // namespace tarvel
