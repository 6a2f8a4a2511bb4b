#include "platform/linux/launch/bundle_location.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

TEST(BundleLocation, TheBundleIsTheNearestAncestorEndingInApp) {
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app/Contents/Library/TarvelHelper.app/Contents/Linux/TarvelHelper"),
            "/opt/Tarvel.app/Contents/Library/TarvelHelper.app");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app/Contents/Linux/Tarvel"), "/opt/Tarvel.app");
  EXPECT_EQ(nearestBundleAbove("/T.app/program"), "/T.app");
}

TEST(BundleLocation, AProgramOutsideAnyBundleHasNone) {
  EXPECT_EQ(nearestBundleAbove("/usr/bin/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("tarvel"), "");
  EXPECT_EQ(nearestBundleAbove(""), "");
}

TEST(BundleLocation, TheProgramItselfHiddenFoldersAndOtherSuffixesAreNotBundles) {
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/.app/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.application/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.APP/tarvel"), "");
}

struct HelperBundle : testing::Test {
  [[nodiscard]] std::string make(const std::string& folder) const {
    const std::string path = directory.path(folder + "/Contents/Library/TarvelHelper.app");
    std::filesystem::create_directories(path);
    return path;
  }
  TemporaryDirectory directory;
};

TEST_F(HelperBundle, TheCommandFindsItInTheLibraryFolderOfItsPrefix) {
  if (*TARVEL_LIBRARY_FOLDER == '/') GTEST_SKIP() << "this build installs its library folder outside of any prefix";
  const std::string bundle = make(TARVEL_LIBRARY_FOLDER "/tarvel/Tarvel.app");
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("bin/tarvel")), bundle);
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("bin/deeper/tarvel")), "");
}

TEST_F(HelperBundle, TheCommandOfABuildTreeFindsItBesideItsFolder) {
  const std::string bundle = make("Tarvel.app");
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("tools/tarvel")), bundle);
}

TEST_F(HelperBundle, TheMainApplicationFindsItInItsOwnBundle) {
  const std::string bundle = make("Tarvel.app");
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("Tarvel.app/Contents/Linux/Tarvel")), bundle);
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("Other.app/Contents/Linux/Tarvel")), "");
}

TEST_F(HelperBundle, IsNotFoundIfNotInstalled) {
  EXPECT_EQ(helperBundlePathSeenFrom(directory.path("bin/tarvel")), "");
  EXPECT_EQ(helperBundlePathSeenFrom("tarvel"), "");
  EXPECT_EQ(helperBundlePathSeenFrom(""), "");
}

}  // namespace
}  // namespace tarvel
