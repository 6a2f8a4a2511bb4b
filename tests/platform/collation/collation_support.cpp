#include "tests/platform/collation/collation_support.h"

#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <nlohmann/json.hpp>

#include "platform/collation/alphabet.h"
#include "tests/support/sanitized.h"
#include "tests/support/vectors.h"

namespace tarvel::collation_test {

std::vector<std::string> collationLocales() {
  std::vector<std::string> locales{""};
  const std::int32_t step = kIsSanitized ? 4 : 1;
  for (std::int32_t i = 0; i < ucol_countAvailable(); i += step) locales.emplace_back(ucol_getAvailable(i));
  return locales;
}

std::vector<std::string> randomTitles(std::mt19937& random, std::size_t count, const std::vector<std::string>& alphabet,
                                      std::size_t longest) {
  std::vector<std::string> titles(count);
  for (std::string& title : titles) {
    const std::size_t length = random() % (longest + 1);
    for (std::size_t i = 0; i < length; ++i) title += alphabet[random() % alphabet.size()];
  }
  return titles;
}

std::vector<std::string> printableAscii() {
  std::vector<std::string> characters;
  for (char character = ' '; character <= '~'; ++character) characters.emplace_back(1, character);
  return characters;
}

std::string utf8(const std::u16string& text) {
  std::string bytes(3 * text.size(), '\0');
  std::int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, text.data(),
                     static_cast<std::int32_t>(text.size()), 0xFFFD, nullptr, &status);
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

std::vector<std::string> coveredCharacters(const std::string& locale) {
  TitleOrder order(locale, openIcuCollator);
  Alphabet alphabet = *Alphabet::ofAscii(order);
  alphabet.addOthers();
  std::vector<std::string> characters;
  for (char32_t character = 0; character < 0x10000; ++character) {
    if (alphabet.numberOf(character) == Alphabet::kNone) continue;
    characters.push_back(utf8(std::u16string(1, static_cast<char16_t>(character))));
  }
  return characters;
}

std::vector<std::string> oddCharacters() {
  return {"a",
          "b",
          "I",
          "i",
          " ",
          "-",
          "\u0301",  // acute
          "\u0307",  // dot above
          "\u0345",  // iota subscript
          "\u0654",  // hamza above
          "\u0655",  // hamza below
          "\u0627",  // alef
          "\u064A",  // yeh
          "\u0624",  // waw with hamza
          "\u200B",  // zero width space
          "\u00AD",  // soft hyphen
          std::string(1, '\0'),
          "\x01",
          "\t",
          "\u00B7",  // middle dot
          "l",
          "\u0131",  // dotless i
          "\u0130",  // I with dot above
          "\u00DF",  // sharp s
          "ss",
          "\uFB01",        // fi ligature
          "\u3042",        // hiragana a
          "\u30A2",        // katakana a
          "\u30FC",        // prolonged sound mark
          "\u3099",        // voiced sound mark
          "\u4E2D",        // a Han character
          "\U00020000",    // one outside the basic plane
          "\U0001F600",    // an emoji
          "\u0E40",        // Thai vowel written before its consonant
          "\u0E01",        // Thai consonant
          "\xED\xA0\x80",  // a lone high surrogate
          "\xED\xB0\x80",  // a lone low surrogate
          "\xFF"};
}

std::vector<std::string> vectorStrings() {
  const nlohmann::json& vectors = vectorFile("collate.json");
  std::vector<std::string> strings = vectors["titles"].get<std::vector<std::string>>();
  for (const auto& pair : vectors["pairs"]) {
    strings.push_back(pair["a"]);
    strings.push_back(pair["b"]);
  }
  return strings;
}

}  // namespace tarvel::collation_test
