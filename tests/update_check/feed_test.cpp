#include "update_check/feed.h"

#include <gmock/gmock.h>

namespace tarvel {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Matcher;
using testing::Optional;

std::string feedOf(const std::string& items, const std::string& before = "") {
  return "<?xml version=\"1.0\"?>" + before +
         "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>" +
         items + "</channel></rss>";
}

/// A feed with these internal versions, and these short ones of items without.
Matcher<std::optional<FeedVersions>> offers(const Matcher<std::vector<std::string>>& internal,
                                            const Matcher<std::vector<std::string>>& shortOnly = IsEmpty()) {
  return Optional(AllOf(Field(&FeedVersions::internal, internal), Field(&FeedVersions::shortOnly, shortOnly)));
}

TEST(Feed, AVersionIsAnAttributeOfTheEnclosureOrAnElementOfTheItem) {
  EXPECT_THAT(versionsInFeed(feedOf("<item><enclosure sparkle:version=\"2.0\"/></item>"
                                    "<item><sparkle:version>3.0</sparkle:version><enclosure/></item>")),
              offers(ElementsAre("2.0", "3.0")));
}

TEST(Feed, TheInternalVersionCountsBeforeTheShortOneAndTheTwoAreKeptApart) {
  EXPECT_THAT(
      versionsInFeed(feedOf("<item><enclosure sparkle:version=\"200\" sparkle:shortVersionString=\"2.0\"/></item>"
                            "<item><enclosure sparkle:shortVersionString=\"3.0\"/></item>")),
      offers(ElementsAre("200"), ElementsAre("3.0")));
}

TEST(Feed, ItemsForAnotherSystemAndOfAChannelAreLeftOut) {
  EXPECT_THAT(versionsInFeed(
                  feedOf("<item><enclosure sparkle:version=\"2.0\" sparkle:os=\"macos\"/></item>"
                         "<item><enclosure sparkle:version=\"3.0\" sparkle:os=\"linux\"/></item>"
                         "<item><sparkle:channel>beta</sparkle:channel><enclosure sparkle:version=\"4.0\"/></item>")),
              offers(ElementsAre("3.0")));
}

TEST(Feed, AttributesOfOtherNamespacesAreNoVersions) {
  EXPECT_THAT(versionsInFeed(feedOf("<item><enclosure version=\"2.0\"/></item>"
                                    "<item xmlns:other=\"urn:other\"><enclosure other:version=\"3.0\"/></item>")),
              offers(IsEmpty()));
}

TEST(Feed, VersionsElsewhereThanInItemsOfTheChannelDoNotCount) {
  EXPECT_THAT(versionsInFeed(feedOf("<sparkle:version>9</sparkle:version>"
                                    "<group><item><sparkle:version>9</sparkle:version></item></group>"
                                    "<item><group><sparkle:version>9</sparkle:version></group></item>")),
              offers(IsEmpty()));
}

TEST(Feed, AnItemWithoutASingleLineVersionIsSkipped) {
  EXPECT_THAT(versionsInFeed(feedOf("<item/><item><sparkle:version>1\n2</sparkle:version></item>"
                                    "<item><sparkle:version></sparkle:version></item>")),
              offers(IsEmpty()));
}

TEST(Feed, AVersionWithControlCharactersIsSkipped) {
  for (const char* version : {"2.0&#x9b;2J",
                              "2.0\xC2\x9B"
                              "2J",
                              "2.0&#x7f;",
                              "2.0\xE2\x80\xAE"
                              "1",
                              "2.0\xC2\xA0"}) {
    EXPECT_THAT(versionsInFeed(feedOf("<item><sparkle:version>" + std::string(version) + "</sparkle:version></item>")),
                offers(IsEmpty()))
        << version;
    EXPECT_THAT(
        versionsInFeed(feedOf("<item><enclosure sparkle:shortVersionString=\"" + std::string(version) + "\"/></item>")),
        offers(IsEmpty()))
        << version;
  }
  EXPECT_FALSE(versionsInFeed(feedOf("<item><sparkle:version>\x1b[2J</sparkle:version></item>")));
}

TEST(Feed, AShortVersionOfAnyKindDoesNotSpoilAnInternalOne) {
  EXPECT_THAT(
      versionsInFeed(feedOf("<item><enclosure sparkle:version=\"200\" sparkle:shortVersionString=\"2.0 ä\"/></item>")),
      offers(ElementsAre("200")));
}

TEST(Feed, AnInvalidFeedIsRefused) {
  for (const char* text : {"", "no xml", "<html/>", "<rss", "<rss><channel></rss>", "\xFF\xFE", "{\"version\":2}"}) {
    EXPECT_FALSE(versionsInFeed(text)) << text;
  }
}

TEST(Feed, AnyDocumentTypeIsRefused) {
  EXPECT_FALSE(versionsInFeed(feedOf("", "<!DOCTYPE rss>")));
  EXPECT_FALSE(versionsInFeed(feedOf("<item><sparkle:version>&lol9;</sparkle:version></item>",
                                     "<!DOCTYPE rss [<!ENTITY lol \"lol\"><!ENTITY lol9 \"&lol;&lol;\">]>")));
  EXPECT_FALSE(versionsInFeed(feedOf("", "<!DOCTYPE rss SYSTEM \"file:///etc/passwd\">")));
}

TEST(Feed, AnUndeclaredEntityIsRefused) {
  EXPECT_FALSE(versionsInFeed(feedOf("<item><sparkle:version>&x;</sparkle:version></item>")));
}

TEST(Feed, ExcessiveNestingIsRefused) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_FALSE(versionsInFeed(feedOf(deep)));
}

TEST(Feed, AMegabyteOfItemsIsRead) {
  std::string items;
  while (items.size() < 1'000'000) items += "<item><enclosure sparkle:version=\"2.0\"/></item>";
  EXPECT_GT(versionsInFeed(feedOf(items)).value_or(FeedVersions()).internal.size(), 10'000U);
}

TEST(NewestUpdate, IsTheNewestThatIsNewerAndNotSkipped) {
  EXPECT_EQ(newestUpdate({"1.5", "2.0", "1.9"}, "1.0", ""), "2.0");
  EXPECT_EQ(newestUpdate({"1.0", "0.9"}, "1.0", ""), std::nullopt);
  EXPECT_EQ(newestUpdate({}, "1.0", ""), std::nullopt);
  EXPECT_EQ(newestUpdate({"1.5", "2.0"}, "1.0", "2.0"), std::nullopt);
  EXPECT_EQ(newestUpdate({"1.5", "2.0"}, "1.0", "1.5"), "2.0");
}

TEST(UpdateInFeed, InternalVersionsAreComparedWithTheInternalOneAndShortWithTheShort) {
  const CurrentVersion current{"150", "2.0"};
  EXPECT_EQ(updateInFeed({{"200"}, {}}, current, ""), "200");
  EXPECT_EQ(updateInFeed({{"149"}, {}}, current, ""), std::nullopt);
  EXPECT_EQ(updateInFeed({{}, {"2.1"}}, current, ""), "2.1");
  EXPECT_EQ(updateInFeed({{}, {"1.9"}}, current, ""), std::nullopt);
  EXPECT_EQ(updateInFeed({{"3"}, {"149"}}, {"150", "200"}, ""), std::nullopt);
}

TEST(UpdateInFeed, AnInternalVersionComesBeforeAShortOne) {
  EXPECT_EQ(updateInFeed({{"200"}, {"9000"}}, {"150", "2.0"}, ""), "200");
  EXPECT_EQ(updateInFeed({{"100"}, {"9000"}}, {"150", "2.0"}, ""), "9000");
  EXPECT_EQ(updateInFeed({{"200"}, {}}, {"150", "2.0"}, "200"), std::nullopt);
  EXPECT_EQ(updateInFeed({{"200"}, {"2.1"}}, {"150", "2.0"}, "200"), "2.1");
}

}  // namespace
}  // namespace tarvel
