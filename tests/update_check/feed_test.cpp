#include "update_check/feed.h"

#include <gmock/gmock.h>

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

std::string feedOf(const std::string& items, const std::string& before = "") {
  return "<?xml version=\"1.0\"?>" + before +
         "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>" +
         items + "</channel></rss>";
}

TEST(Feed, AVersionIsAnAttributeOfTheEnclosureOrAnElementOfTheItem) {
  EXPECT_THAT(versionsInFeed(feedOf("<item><enclosure sparkle:version=\"2.0\"/></item>"
                                    "<item><sparkle:version>3.0</sparkle:version><enclosure/></item>")),
              Optional(ElementsAre("2.0", "3.0")));
}

TEST(Feed, TheInternalVersionCountsBeforeTheShortOne) {
  EXPECT_THAT(
      versionsInFeed(feedOf("<item><enclosure sparkle:version=\"200\" sparkle:shortVersionString=\"2.0\"/></item>"
                            "<item><enclosure sparkle:shortVersionString=\"3.0\"/></item>")),
      Optional(ElementsAre("200", "3.0")));
}

TEST(Feed, ItemsForAnotherSystemAndOfAChannelAreLeftOut) {
  EXPECT_THAT(versionsInFeed(
                  feedOf("<item><enclosure sparkle:version=\"2.0\" sparkle:os=\"macos\"/></item>"
                         "<item><enclosure sparkle:version=\"3.0\" sparkle:os=\"linux\"/></item>"
                         "<item><sparkle:channel>beta</sparkle:channel><enclosure sparkle:version=\"4.0\"/></item>")),
              Optional(ElementsAre("3.0")));
}

TEST(Feed, AttributesOfOtherNamespacesAreNoVersions) {
  EXPECT_THAT(versionsInFeed(feedOf("<item><enclosure version=\"2.0\"/></item>"
                                    "<item xmlns:other=\"urn:other\"><enclosure other:version=\"3.0\"/></item>")),
              Optional(IsEmpty()));
}

TEST(Feed, VersionsElsewhereThanInItemsOfTheChannelDoNotCount) {
  EXPECT_THAT(versionsInFeed(feedOf("<sparkle:version>9</sparkle:version>"
                                    "<group><item><sparkle:version>9</sparkle:version></item></group>"
                                    "<item><group><sparkle:version>9</sparkle:version></group></item>")),
              Optional(IsEmpty()));
}

TEST(Feed, AnItemWithoutAVersionOrWithOneOfSeveralLinesIsNoOffer) {
  EXPECT_THAT(versionsInFeed(feedOf("<item/><item><sparkle:version>1\n2</sparkle:version></item>"
                                    "<item><sparkle:version></sparkle:version></item>")),
              Optional(IsEmpty()));
}

TEST(Feed, WhatIsNoFeedIsRefused) {
  for (const char* text : {"", "no xml", "<html/>", "<rss", "<rss><channel></rss>", "\xFF\xFE", "{\"version\":2}"}) {
    EXPECT_EQ(versionsInFeed(text), std::nullopt) << text;
  }
}

TEST(Feed, ADocumentTypeIsRefusedWhateverItSays) {
  EXPECT_EQ(versionsInFeed(feedOf("", "<!DOCTYPE rss>")), std::nullopt);
  EXPECT_EQ(versionsInFeed(feedOf("<item><sparkle:version>&lol9;</sparkle:version></item>",
                                  "<!DOCTYPE rss [<!ENTITY lol \"lol\"><!ENTITY lol9 \"&lol;&lol;\">]>")),
            std::nullopt);
  EXPECT_EQ(versionsInFeed(feedOf("", "<!DOCTYPE rss SYSTEM \"file:///etc/passwd\">")), std::nullopt);
}

TEST(Feed, AnUndeclaredEntityIsRefused) {
  EXPECT_EQ(versionsInFeed(feedOf("<item><sparkle:version>&x;</sparkle:version></item>")), std::nullopt);
}

TEST(Feed, NestingBeyondAllMeasureIsRefused) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_EQ(versionsInFeed(feedOf(deep)), std::nullopt);
}

TEST(Feed, AMegabyteOfItemsIsReadInATrice) {
  std::string items;
  while (items.size() < 1'000'000) items += "<item><enclosure sparkle:version=\"2.0\"/></item>";
  EXPECT_GT(versionsInFeed(feedOf(items)).value_or(std::vector<std::string>()).size(), 10'000U);
}

TEST(NewestUpdate, IsTheNewestThatIsNewerAndNotSkipped) {
  EXPECT_EQ(newestUpdate({"1.5", "2.0", "1.9"}, "1.0", ""), "2.0");
  EXPECT_EQ(newestUpdate({"1.0", "0.9"}, "1.0", ""), std::nullopt);
  EXPECT_EQ(newestUpdate({}, "1.0", ""), std::nullopt);
  EXPECT_EQ(newestUpdate({"1.5", "2.0"}, "1.0", "2.0"), std::nullopt);
  EXPECT_EQ(newestUpdate({"1.5", "2.0"}, "1.0", "1.5"), "2.0");
}

}  // namespace
}  // namespace tarvel
