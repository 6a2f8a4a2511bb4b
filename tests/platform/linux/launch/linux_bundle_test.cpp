// Bundles on disk: formats, encodings and malformed files.

#include "platform/linux/launch/linux_bundle.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

/// ASCII `text` as UTF-16 with a byte order mark.
std::string utf16(std::string_view text, bool isLittleEndian) {
  std::string bytes = isLittleEndian ? "\xFF\xFE" : "\xFE\xFF";
  for (const char c : text) {
    bytes += isLittleEndian ? std::string{c, '\0'} : std::string{'\0', c};
  }
  return bytes;
}

struct LinuxBundleTest : testing::Test {
  void writeFile(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(directory.path(name)).parent_path());
    directory.write(name, bytes);
  }
  void writeTable(const std::string& language, const std::string& bytes) const {
    writeFile("Contents/Resources/" + language + ".lproj/Localizable.strings", bytes);
  }
  [[nodiscard]] LinuxBundle bundle(std::vector<std::string> languages = {"de"}) {
    return {serialization, directory.path(), std::move(languages)};
  }
  [[nodiscard]] std::string translated(std::vector<std::string> languages = {"de"}) {
    return bundle(std::move(languages)).localizedStringForKeyValue("No Name", "");
  }
  /// The list {Key = value} in XML.
  [[nodiscard]] static std::string xml(const std::string& key, const std::string& value) {
    return "<plist><dict><key>" + key + "</key>" + value + "</dict></plist>";
  }
  [[nodiscard]] std::string binary(const std::string& key, const std::string& value) {
    PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(xml(key, value)));
    return serialization.dataWithPropertyList(reading.list, static_cast<std::uint32_t>(PropertyListFormat::kBinary))
        .data.joined();
  }

  TemporaryDirectory directory;
  PlistSerialization serialization;
};

TEST_F(LinuxBundleTest, TablesAreReadInEveryFormatAndEncoding) {
  const std::string strings = "/* The title. */\n\"No Name\" = \"Ohne Namen\";\n";
  const std::string unquoted = "\xEF\xBB\xBF\"No Name\" = Titellos;\n";
  const std::map<std::string, std::string> forms = {{strings, "Ohne Namen"},
                                                    {unquoted, "Titellos"},
                                                    {"{ " + strings + " }", "Ohne Namen"},
                                                    {utf16(strings, true), "Ohne Namen"},
                                                    {utf16(strings, false), "Ohne Namen"},
                                                    {xml("No Name", "<string>Ohne Namen</string>"), "Ohne Namen"},
                                                    {binary("No Name", "<string>Ohne Namen</string>"), "Ohne Namen"},
                                                    {"\"No Name\" = \"„Ohne“ \\U00e4\\n\";", "„Ohne“ ä\n"}};
  for (const auto& [bytes, text] : forms) {
    writeTable("de", bytes);
    EXPECT_EQ(translated(), text) << bytes;
  }
}

TEST_F(LinuxBundleTest, ACorruptOrHostileTableCountsAsAbsent) {
  const std::string nested = std::string(100'000, '{');
  for (const std::string& bytes :
       {std::string("\"No Name\" = \"Ohne"), std::string("Ohne"), std::string(), std::string("( \"No Name\", Ohne )"),
        nested, std::string(1000, '\xFF'), binary("No Name", "<string>Ohne</string>").substr(0, 40)}) {
    writeTable("de", bytes);
    writeTable("fr", "\"No Name\" = \"Sans nom\";");
    EXPECT_EQ(translated(), "No Name") << bytes.substr(0, 50);
    EXPECT_EQ(translated({"de", "fr"}), "Sans nom") << bytes.substr(0, 50);
  }
}

TEST_F(LinuxBundleTest, ATableOverOneMegabyteIsNotRead) {
  const std::string strings = "\"No Name\" = \"Ohne Namen\";";
  writeTable("de", strings + std::string((std::size_t{1} << 20) - strings.size(), '\n'));
  EXPECT_EQ(translated(), "Ohne Namen");
  writeTable("de", strings + std::string((std::size_t{1} << 20) - strings.size() + 1, '\n'));
  EXPECT_EQ(translated(), "No Name");
}

TEST_F(LinuxBundleTest, ATableThatIsNotARegularFileDoesNotBlock) {
  std::filesystem::create_directories(directory.path("Contents/Resources/de.lproj"));
  const std::string path = directory.path("Contents/Resources/de.lproj/Localizable.strings");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(translated(), "No Name");
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(translated(), "No Name");
}

TEST_F(LinuxBundleTest, AnEntryThatIsNotAStringCountsAsAbsent) {
  writeTable("de", "\"No Name\" = ( Ohne, Namen );");
  EXPECT_EQ(translated(), "No Name");
}

TEST_F(LinuxBundleTest, AllTextsComeFromTheFirstLanguageWithATable) {
  writeTable("de_AT", "\"Other\" = \"Anderes\";");
  writeTable("de", "\"No Name\" = \"Ohne Namen\";");
  EXPECT_EQ(translated({"sv", "de"}), "Ohne Namen");
  EXPECT_EQ(translated({"de_AT", "de"}), "No Name");
}

TEST_F(LinuxBundleTest, WithoutLanguagesEveryTextIsItsKeyEvenIfTablesExist) {
  writeTable("en", "\"No Name\" = \"Nameless\";");
  writeTable("", "\"No Name\" = \"Nameless\";");
  EXPECT_EQ(translated({}), "No Name");
}

TEST_F(LinuxBundleTest, ATableIsReadOnce) {
  writeTable("de", "\"No Name\" = \"Ohne Namen\";");
  LinuxBundle kept = bundle();
  EXPECT_EQ(kept.localizedStringForKeyValue("No Name", ""), "Ohne Namen");
  writeTable("de", "\"No Name\" = \"Namenlos\";");
  EXPECT_EQ(kept.localizedStringForKeyValue("No Name", ""), "Ohne Namen");
  EXPECT_EQ(translated(), "Namenlos");
}

TEST_F(LinuxBundleTest, InformationIsReadInEveryFormat) {
  for (const std::string& bytes : {xml("Key", "<string>5.1</string>"), binary("Key", "<string>5.1</string>"),
                                   std::string("{ Key = 5.1; }"), utf16("{ Key = 5.1; }", false)}) {
    writeFile("Contents/Info.plist", bytes);
    EXPECT_EQ(bundle().stringForInfoDictionaryKey("Key"), "5.1") << bytes;
  }
}

TEST_F(LinuxBundleTest, InformationThatIsNotAStringCountsAsAbsent) {
  for (const char* value : {"<integer>5</integer>", "<true/>", "<real>5.1</real>", "<array/>", "<data></data>"}) {
    writeFile("Contents/Info.plist", xml("Key", value));
    EXPECT_EQ(bundle().stringForInfoDictionaryKey("Key"), std::nullopt) << value;
  }
}

TEST_F(LinuxBundleTest, InfoPlistInTheBundlesFolderIsUsedIfContentsHasNone) {
  writeFile("Info.plist", xml("Key", "<string>flat</string>"));
  EXPECT_EQ(bundle().stringForInfoDictionaryKey("Key"), "flat");
  writeFile("Contents/Info.plist", "corrupt");
  EXPECT_EQ(bundle().stringForInfoDictionaryKey("Key"), "flat");
  writeFile("Contents/Info.plist", xml("Key", "<string>inner</string>"));
  EXPECT_EQ(bundle().stringForInfoDictionaryKey("Key"), "inner");
}

TEST_F(LinuxBundleTest, AProgramOutsideAnyBundleHasNoInformationAndEnglishTexts) {
  LinuxBundle none(serialization, "", {"de"});
  EXPECT_EQ(none.bundlePath(), "");
  EXPECT_EQ(none.stringForInfoDictionaryKey("Key"), std::nullopt);
  EXPECT_EQ(none.localizedStringForKeyValue("No Name", ""), "No Name");
  EXPECT_EQ(none.localizedStringForKeyValue("No Name", "value"), "value");
}

TEST_F(LinuxBundleTest, ABundleOpenedThroughALinkKeepsTheLinksPath) {
  writeFile("Real.app/Contents/Info.plist", xml("Key", "<string>text</string>"));
  std::filesystem::create_directory_symlink("Real.app", directory.path("Link.app"));
  LinuxBundles bundles(serialization, {});
  const std::unique_ptr<Bundle> linked = bundles.bundleWithPath(directory.path("Link.app"));
  ASSERT_NE(linked, nullptr);
  EXPECT_EQ(linked->bundlePath(), directory.path("Link.app"));
  EXPECT_EQ(linked->stringForInfoDictionaryKey("Key"), "text");
}

}  // namespace
}  // namespace tarvel
