#include <gtest/gtest.h>

#include <filesystem>

#include "platform/linux/launch/linux_bundle.h"
#include "platform/memory/memory_bundles.h"
#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

/// Bundles on disk, in a temporary folder.
class RealBundles {
 public:
  [[nodiscard]] Bundles& bundles() { return bundles_; }
  [[nodiscard]] std::string path(const std::string& name) const { return directory_.path(name); }
  void make(const std::string& name) const { std::filesystem::create_directories(path(name) + "/Contents"); }
  void setInfo(const std::string& name, const std::string& key, const std::string& text) const {
    directory_.write(name + "/Contents/Info.plist", "{ \"" + key + "\" = \"" + text + "\"; }");
  }
  void translate(const std::string& name, const std::string& key, const std::string& text) const {
    const std::string folder = name + "/Contents/Resources/de.lproj";
    std::filesystem::create_directories(path(folder));
    directory_.write(folder + "/Localizable.strings", "\"" + key + "\" = \"" + text + "\";");
  }

 private:
  TemporaryDirectory directory_;
  PlistSerialization serialization_;
  LinuxBundles bundles_{serialization_, {"de"}};
};

/// Bundles in memory.
class RememberedBundles {
 public:
  [[nodiscard]] Bundles& bundles() { return bundles_; }
  [[nodiscard]] static std::string path(const std::string& name) { return "/Applications/" + name; }
  void make(const std::string& name) { (void)bundles_.at(path(name)); }
  void setInfo(const std::string& name, const std::string& key, const std::string& text) {
    bundles_.at(path(name)).setInfo(key, text);
  }
  void translate(const std::string& name, const std::string& key, const std::string& text) {
    bundles_.at(path(name)).translate(key, text);
  }

 private:
  MemoryBundles bundles_;
};

template <typename Body>
struct BundleConformance : testing::Test {
  BundleConformance() { body.make("T.app"); }

  [[nodiscard]] std::unique_ptr<Bundle> bundle(const std::string& name = "T.app") {
    return body.bundles().bundleWithPath(body.path(name));
  }

  Body body;
};

using BundleKinds = testing::Types<RealBundles, RememberedBundles>;
TYPED_TEST_SUITE(BundleConformance, BundleKinds);

TYPED_TEST(BundleConformance, AMissingFolderIsNotABundle) {
  EXPECT_EQ(this->bundle("U.app"), nullptr);
  EXPECT_EQ(this->bundle("T.app/Contents/U.app"), nullptr);
  EXPECT_EQ(this->bundle("t.app"), nullptr);
  EXPECT_EQ(this->body.bundles().bundleWithPath(""), nullptr);
  const std::string path = this->body.path("T.app");
  EXPECT_EQ(this->body.bundles().bundleWithPath(path + std::string("\0x", 2)), nullptr);
}

TYPED_TEST(BundleConformance, ThePathHasNoTrailingSlash) {
  for (const char* name : {"T.app", "T.app/", "T.app//"}) {
    const std::unique_ptr<Bundle> bundle = this->bundle(name);
    ASSERT_NE(bundle, nullptr) << name;
    EXPECT_EQ(bundle->bundlePath(), this->body.path("T.app"));
  }
}

TYPED_TEST(BundleConformance, AnEmptyFolderIsABundleWithoutInformation) {
  EXPECT_EQ(this->bundle()->stringForInfoDictionaryKey("CFBundleShortVersionString"), std::nullopt);
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("No Name", ""), "No Name");
}

TYPED_TEST(BundleConformance, InformationIsFoundByItsExactKey) {
  this->body.setInfo("T.app", "CFBundleShortVersionString", "5.1.1");
  const std::unique_ptr<Bundle> bundle = this->bundle();
  EXPECT_EQ(bundle->stringForInfoDictionaryKey("CFBundleShortVersionString"), "5.1.1");
  EXPECT_EQ(bundle->stringForInfoDictionaryKey("CFBundleShortVersionStrin"), std::nullopt);
  EXPECT_EQ(bundle->stringForInfoDictionaryKey("cfbundleshortversionstring"), std::nullopt);
  EXPECT_EQ(bundle->stringForInfoDictionaryKey(""), std::nullopt);
}

TYPED_TEST(BundleConformance, AnEmptyValueCounts) {
  this->body.setInfo("T.app", "Key", "");
  EXPECT_EQ(this->bundle()->stringForInfoDictionaryKey("Key"), "");
}

TYPED_TEST(BundleConformance, InformationIsReadOnce) {
  this->body.setInfo("T.app", "Key", "old");
  const std::unique_ptr<Bundle> bundle = this->bundle();
  EXPECT_EQ(bundle->stringForInfoDictionaryKey("Key"), "old");
  this->body.setInfo("T.app", "Key", "new");
  EXPECT_EQ(bundle->stringForInfoDictionaryKey("Key"), "old");
  EXPECT_EQ(this->bundle()->stringForInfoDictionaryKey("Key"), "new");
}

TYPED_TEST(BundleConformance, ATranslationTakesPrecedenceOverTheValue) {
  this->body.translate("T.app", "The file “%@” is new.", "Die Datei „%@“ ist neu.");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("The file “%@” is new.", ""), "Die Datei „%@“ ist neu.");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("The file “%@” is new.", "value"), "Die Datei „%@“ ist neu.");
}

TYPED_TEST(BundleConformance, WithoutATranslationTheTextIsTheValueOrTheKey) {
  this->body.translate("T.app", "Key", "Text");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("key", "value"), "value");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("key", ""), "key");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("", ""), "");
}

TYPED_TEST(BundleConformance, AnEmptyTranslationCounts) {
  this->body.translate("T.app", "Key", "");
  EXPECT_EQ(this->bundle()->localizedStringForKeyValue("Key", "value"), "");
}

TYPED_TEST(BundleConformance, BundlesAreIndependent) {
  this->body.make("U.app");
  this->body.setInfo("T.app", "Key", "t");
  this->body.setInfo("U.app", "Key", "u");
  EXPECT_EQ(this->bundle("T.app")->stringForInfoDictionaryKey("Key"), "t");
  EXPECT_EQ(this->bundle("U.app")->stringForInfoDictionaryKey("Key"), "u");
}

}  // namespace
}  // namespace tarvel
