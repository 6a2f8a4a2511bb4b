// Compares the table of every language with the texts that the engine looks up.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <set>

#include "tests/support/engine_fixture.h"
#include "tests/support/file_contents.h"

namespace tarvel {
namespace {

/// Translates nothing, and records the texts that are looked up.
class RecordingBundle final : public Bundle {
 public:
  [[nodiscard]] std::string bundlePath() override { return {}; }
  [[nodiscard]] std::optional<std::string> stringForInfoDictionaryKey(std::string_view /*key*/) override { return {}; }
  [[nodiscard]] std::string localizedStringForKeyValue(std::string_view key, std::string_view /*value*/) override {
    keys.emplace(key);
    return std::string(key);
  }

  std::set<std::string> keys;
};

/// Every text that the engine looks up.
std::set<std::string> engineKeys() {
  RecordingBundle bundle;
  constexpr std::int32_t kFarCode = 300;
  for (std::int32_t code = -kFarCode; code <= kFarCode; ++code) {
    (void)Tarvel::stringFromTarvelError(bundle, code);
    (void)Tarvel::stringFromTarvelErrorAndFilename(bundle, code, "f");
  }
  EngineFixture fixture;
  const Platform& memory = fixture.platform;
  const Platform platform{memory.propertyLists, memory.fileManager, memory.collator,
                          memory.uuidSource,    memory.systemLog,   bundle,
                          memory.workspace,     memory.clock};
  (void)Tarvel(platform).nameForUntitledBookmarkNode();
  return bundle.keys;
}

std::size_t countOf(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

using Table = std::map<std::string, std::string>;

Table tableAt(const std::filesystem::path& path) {
  const std::string bytes = contentsOf(path);
  const PropertyListReading reading = PlistSerialization().propertyListFromData(Data::copyOf(bytes));
  EXPECT_FALSE(reading.error) << path;
  const PropertyListDictionary dictionary = reading.list.root.dictionary();
  Table table;
  for (std::size_t i = 0; i < dictionary.size(); ++i) {
    table.emplace(*dictionary.keyAt(i).string(), dictionary.valueAt(i).string().value_or(""));
  }
  EXPECT_EQ(countOf(bytes, "\" =\n"), table.size()) << path << " has a text twice, of which one is lost";
  return table;
}

/// The tables by language.
std::map<std::string, Table> allTables() {
  const char* source = std::getenv("TARVEL_SOURCE_DIR");
  std::map<std::string, Table> tables;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(source == nullptr ? "." : source) + "/packaging/Resources")) {
    tables[entry.path().stem().string()] = tableAt(entry.path() / "Localizable.strings");
  }
  return tables;
}

/// The letters after the percent signs, sorted: a translation may change their order.
std::string placeholders(std::string_view text) {
  std::string found;
  for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 2)) {
    found.push_back(at + 1 < text.size() ? text[at + 1] : '!');
  }
  std::ranges::sort(found);
  return found;
}

TEST(Translations, EveryTextOfTheEngineIsAskedFor) {
  const std::set<std::string> keys = engineKeys();
  EXPECT_EQ(keys.count("No Name"), 1U);
  // Eight codes and success have a short and a long text. One code has no long text; unknown codes share one.
  EXPECT_EQ(keys.size(), 9U + 8U + 1U + 1U);
}

TEST(Translations, EveryTableHasTheTextsOfTheEngineAndNoOthers) {
  const std::set<std::string> keys = engineKeys();
  const std::map<std::string, Table> tables = allTables();
  for (const char* language : {"de", "es", "fr", "ja", "sv"}) EXPECT_EQ(tables.count(language), 1U) << language;
  for (const auto& [language, table] : tables) {
    std::set<std::string> translated;
    for (const auto& [key, text] : table) translated.insert(key);
    EXPECT_EQ(translated, keys) << language;
  }
}

TEST(Translations, PlaceholdersAgreeInNumberAndKind) {
  for (const auto& [language, table] : allTables()) {
    for (const auto& [key, text] : table) EXPECT_EQ(placeholders(text), placeholders(key)) << language << ": " << text;
  }
}

TEST(Translations, NothingIsEmptyOrStillInEnglish) {
  for (const auto& [language, table] : allTables()) {
    std::set<std::string> texts;
    for (const auto& [key, text] : table) {
      EXPECT_NE(text.find_first_not_of(" \t\n"), std::string::npos) << language << ": " << key;
      EXPECT_NE(text, key) << language;
      EXPECT_EQ(countOf(text, " the ") + countOf(text, " file "), 0U) << language << ": " << text;
      EXPECT_TRUE(texts.insert(text).second) << language << " says the same for two texts: " << text;
    }
  }
}

TEST(Translations, QuotationMarksAreThoseOfTheLanguage) {
  const std::map<std::string, std::pair<std::string, std::string>> marks = {{"de", {"„%@“", "“"}},
                                                                            {"es", {"«%@»", "»"}},
                                                                            {"fr", {"«\u00A0%@\u00A0»", "»"}},
                                                                            {"ja", {"「%@」", "」"}},
                                                                            {"sv", {"”%@”", "”"}}};
  for (const auto& [language, table] : allTables()) {
    ASSERT_EQ(marks.count(language), 1U) << language << " has no row here";
    const auto& [quotedName, closing] = marks.at(language);
    for (const auto& [key, text] : table) {
      EXPECT_EQ(countOf(text, quotedName), countOf(key, "“%@”")) << text;
      // The texts contain no other quotation marks, and none of the English text.
      EXPECT_EQ(countOf(text, closing), countOf(key, "”") * (quotedName.starts_with(closing) ? 2 : 1)) << text;
      EXPECT_EQ(text.find_first_of("\"'`"), std::string::npos) << text;
      EXPECT_EQ(countOf(text, "\n"), countOf(key, "\n")) << text;
    }
  }
}

}  // namespace
}  // namespace tarvel
