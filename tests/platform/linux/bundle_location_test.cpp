#include "platform/linux/bundle_location.h"

#include <gtest/gtest.h>

namespace tarvel {
namespace {

TEST(BundleLocation, TheNearestFolderThatEndsInAppIsTheBundle) {
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app/Contents/Library/TarvelHelper.app/Contents/Linux/TarvelHelper"),
            "/opt/Tarvel.app/Contents/Library/TarvelHelper.app");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app/Contents/Linux/Tarvel"), "/opt/Tarvel.app");
  EXPECT_EQ(nearestBundleAbove("/T.app/program"), "/T.app");
}

TEST(BundleLocation, AProgramOutsideOfAnyBundleHasNone) {
  EXPECT_EQ(nearestBundleAbove("/usr/bin/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("tarvel"), "");
  EXPECT_EQ(nearestBundleAbove(""), "");
}

TEST(BundleLocation, TheProgramItselfAndAHiddenFolderAreNoBundles) {
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.app"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/.app/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.application/tarvel"), "");
  EXPECT_EQ(nearestBundleAbove("/opt/Tarvel.APP/tarvel"), "");
}

}  // namespace
}  // namespace tarvel
