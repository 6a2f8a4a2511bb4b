#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/property_list.h"

namespace tarvel {
namespace {

struct TreeTest : testing::Test {
  PropertyListTree tree;

  PropertyListDictionary folder(const char* title) {
    const PropertyListDictionary node = tree.makeDictionary();
    node.setString("Title", title);
    node.set("Children", tree.makeArray(0).value());
    return node;
  }
};

TEST_F(TreeTest, ContainersAreCountedAndLeavesAreNot) {
  const std::size_t before = tree.numberOfContainers();
  (void)tree.makeString("leaf");
  (void)tree.makeArray(3);
  (void)tree.makeDictionary();
  EXPECT_EQ(tree.numberOfContainers(), before + 2);
}

TEST_F(TreeTest, AnAbsentValueHasNoTypeAndNoContents) {
  const PropertyListValue absent;
  EXPECT_FALSE(absent);
  EXPECT_EQ(absent.type(), PropertyListType::kAbsent);
  EXPECT_FALSE(absent.string());
  EXPECT_FALSE(absent.integer());
  EXPECT_FALSE(absent.array());
  EXPECT_FALSE(absent.dictionary());
  EXPECT_EQ(absent.dictionary().size(), 0U);
  EXPECT_FALSE(absent.dictionary().get("key"));
}

TEST_F(TreeTest, AGetterOfAnotherTypeReturnsAbsent) {
  const PropertyListValue number = tree.makeInteger(1);
  EXPECT_EQ(number.integer(), 1);
  EXPECT_FALSE(number.string());
  EXPECT_FALSE(number.boolean());
  EXPECT_FALSE(number.real());
  EXPECT_FALSE(number.date());
  EXPECT_FALSE(number.data());
  EXPECT_FALSE(number.uid());
  EXPECT_FALSE(number.array());
  EXPECT_FALSE(number.dictionary());
  EXPECT_FALSE(tree.makeString("1").integer());
  EXPECT_FALSE(tree.makeArray(0).value().dictionary());
  EXPECT_FALSE(tree.makeDictionary().value().array());
}

TEST_F(TreeTest, IntegersTakeTheFewestBytesAndOnlyEightBytesAreSigned) {
  EXPECT_EQ(tree.makeInteger(0).numberWidth(), 1U);
  EXPECT_EQ(tree.makeInteger(255).numberWidth(), 1U);
  EXPECT_EQ(tree.makeInteger(256).numberWidth(), 2U);
  EXPECT_EQ(tree.makeInteger(65536).numberWidth(), 4U);
  EXPECT_EQ(tree.makeInteger(INT64_MAX).numberWidth(), 8U);
  EXPECT_EQ(tree.makeInteger(-1).numberWidth(), 8U);
  EXPECT_EQ(tree.makeInteger(-1).integer(), -1);
  EXPECT_EQ(tree.makeInteger(INT64_MIN).integer(), INT64_MIN);
  EXPECT_EQ(tree.makeUnsigned(UINT64_MAX).numberWidth(), 16U);
  EXPECT_TRUE(tree.makeUnsigned(UINT64_MAX).isUnsigned());
}

TEST_F(TreeTest, RealsKeepFourOrEightBytes) {
  EXPECT_EQ(tree.makeReal(0.1).real(), 0.1);
  EXPECT_EQ(tree.makeReal(0.1).numberWidth(), 8U);
  EXPECT_EQ(tree.makeSingleReal(0.5F).real(), 0.5);
  EXPECT_EQ(tree.makeSingleReal(0.5F).numberWidth(), 4U);
}

TEST_F(TreeTest, LoneSurrogatesAreKeptAndMalformedBytesReplaced) {
  EXPECT_EQ(tree.makeString("a\xED\xA0\xBD!").string(), "a\xED\xA0\xBD!");
  EXPECT_EQ(tree.makeString("a\xFF!").string(), "a\xEF\xBF\xBD!");
  EXPECT_EQ(tree.makeString("\xC0\x80").string(), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(tree.makeString("\xF0\x9F\x98\x80").string(), "\xF0\x9F\x98\x80");
}

TEST_F(TreeTest, AdjacentSurrogateHalvesBecomeAPair) {
  EXPECT_EQ(tree.makeString("\xED\xA0\xBD\xED\xB8\x80").string(), "\xF0\x9F\x98\x80");
}

TEST_F(TreeTest, AnEmptyStringIsNotAbsent) {
  ASSERT_TRUE(tree.makeString("").string().has_value());
  const PropertyListDictionary node = tree.makeDictionary();
  node.setString("Title", "");
  EXPECT_EQ(node.string("Title"), "");
}

TEST_F(TreeTest, EntriesKeepTheirOrderWhenValuesAreReplaced) {
  const PropertyListDictionary node = tree.makeDictionary();
  node.setString("b", "1");
  node.setString("a", "2");
  node.setString("c", "3");
  node.setString("a", "4");
  node.remove("b");
  ASSERT_EQ(node.size(), 2U);
  EXPECT_EQ(node.keyAt(0).string(), "a");
  EXPECT_EQ(node.valueAt(0).string(), "4");
  EXPECT_EQ(node.keyAt(1).string(), "c");
  node.remove("absent");
  EXPECT_EQ(node.size(), 2U);
}

TEST_F(TreeTest, OfDuplicateKeysTheLastValueTakesTheFirstPosition) {
  const std::vector<PropertyListValue> keys = {tree.makeString("a"), tree.makeString("b"), tree.makeString("a")};
  const std::vector<PropertyListValue> values = {tree.makeInteger(1), tree.makeInteger(2), tree.makeInteger(3)};
  const PropertyListDictionary node = tree.makeDictionary(keys, values);
  ASSERT_EQ(node.size(), 2U);
  EXPECT_EQ(node.keyAt(0).string(), "a");
  EXPECT_EQ(node.get("a").integer(), 3);
  EXPECT_EQ(node.get("b").integer(), 2);
}

TEST_F(TreeTest, DuplicateKeysAreFoundInLargeDictionariesToo) {
  std::vector<PropertyListValue> keys;
  std::vector<PropertyListValue> values;
  for (int i = 0; i < 1000; ++i) {
    keys.push_back(tree.makeString("key " + std::to_string(i % 700)));
    values.push_back(tree.makeInteger(i));
  }
  const PropertyListDictionary node = tree.makeDictionary(keys, values);
  EXPECT_EQ(node.size(), 700U);
  EXPECT_EQ(node.get("key 0").integer(), 700);
  EXPECT_EQ(node.get("key 699").integer(), 699);
}

TEST_F(TreeTest, KeysAreFoundWhetherConstantOrNotAndHoweverManyShareABucket) {
  static constexpr std::string_view kText = "Children";
  static constexpr PropertyListKey kChildren(kText);
  static constexpr PropertyListKey kChild(kText.substr(0, 5));
  static_assert(kChildren.isConstant());
  const PropertyListDictionary dictionary = tree.makeDictionary();
  for (int i = 0; i < 300; ++i) dictionary.setString(std::string_view("key " + std::to_string(i)), std::to_string(i));
  dictionary.setString(kChildren, "long");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(dictionary.string(kChildren), "long");
    EXPECT_FALSE(dictionary.get(kChild)) << "a shorter constant at the same address";
  }
  dictionary.setString(kChild, "short");
  std::string reused = "key 7";
  EXPECT_EQ(dictionary.string(std::string_view(reused)), "7");
  reused = "key 8";
  EXPECT_EQ(dictionary.string(std::string_view(reused)), "8") << "another key at the same address";
  EXPECT_EQ(dictionary.string(kChild), "short");
  EXPECT_EQ(dictionary.string(kChildren), "long");
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(dictionary.string(std::string_view("key " + std::to_string(i))), std::to_string(i));
  }
}

TEST_F(TreeTest, HandlesOfOneArraySeeEachOthersEdits) {
  const PropertyListDictionary node = folder("A");
  const PropertyListArray first = node.array("Children");
  const PropertyListArray second = node.array("Children");
  EXPECT_EQ(first, second);
  first.append(tree.makeInteger(7));
  ASSERT_EQ(second.size(), 1U);
  second.replace(0, tree.makeInteger(8));
  EXPECT_EQ(first.at(0).integer(), 8);
}

TEST_F(TreeTest, AShallowCopySharesChildrenUntilTheyAreReplaced) {
  const PropertyListDictionary original = folder("A");
  const PropertyListDictionary copy = original.shallowCopy();
  EXPECT_FALSE(copy == original);
  EXPECT_EQ(copy.array("Children"), original.array("Children"));
  copy.array("Children").append(tree.makeInteger(1));
  EXPECT_EQ(original.array("Children").size(), 1U);
  copy.set("Children", tree.makeArray(0).value());
  copy.array("Children").append(tree.makeInteger(2));
  copy.array("Children").append(tree.makeInteger(3));
  EXPECT_EQ(original.array("Children").size(), 1U);
}

TEST_F(TreeTest, SettingAnEntryOfAShallowCopyLeavesTheOriginalUnchanged) {
  const PropertyListDictionary original = folder("A");
  const PropertyListDictionary copy = original.shallowCopy();
  copy.setString("Title", "B");
  copy.setString("New", "C");
  EXPECT_EQ(original.string("Title"), "A");
  EXPECT_FALSE(original.get("New"));
}

TEST_F(TreeTest, SettingAnEqualStringKeepsTheStoredValue) {
  const PropertyListDictionary node = folder("A");
  const PropertyListValue before = node.get("Title");
  node.setString("Title", "A");
  EXPECT_EQ(node.get("Title"), before);
  node.setString("Title", "B");
  EXPECT_FALSE(node.get("Title") == before);
}

TEST_F(TreeTest, RetainBackwardsVisitsFromTheLastAndKeepsTheOrder) {
  const PropertyListArray array = tree.makeArray(0);
  for (int i = 0; i < 10; ++i) array.append(tree.makeInteger(i));
  std::vector<std::int64_t> visited;
  array.retainBackwards([&](PropertyListValue value) {
    visited.push_back(*value.integer());
    return *value.integer() % 3 != 0;
  });
  EXPECT_EQ(visited, (std::vector<std::int64_t>{9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  std::vector<std::int64_t> kept;
  for (std::size_t i = 0; i < array.size(); ++i) kept.push_back(*array.at(i).integer());
  EXPECT_EQ(kept, (std::vector<std::int64_t>{1, 2, 4, 5, 7, 8}));
}

TEST_F(TreeTest, RetainBackwardsCanEmptyAnArrayAndAcceptsANullHandle) {
  const PropertyListArray array = tree.makeArray(0);
  array.append(tree.makeInteger(1));
  array.retainBackwards([](PropertyListValue) { return false; });
  EXPECT_TRUE(array.empty());
  PropertyListArray().retainBackwards([](PropertyListValue) { return true; });
}

TEST_F(TreeTest, IteratesOverTheElementsInOrder) {
  const PropertyListArray array = tree.makeArray(0);
  for (int i = 0; i < 10; ++i) array.append(tree.makeInteger(i));
  std::vector<std::int64_t> visited;
  for (const PropertyListValue value : array) visited.push_back(*value.integer());
  EXPECT_EQ(visited, (std::vector<std::int64_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_TRUE(PropertyListArray().begin() == PropertyListArray().end());
}

TEST(PropertyListTree, EqualLongStringsReturnTheSameView) {
  PropertyListTree tree;
  const std::string text(kLongestShortText + 1, 'a');
  const PropertyListValue first = tree.makeString(text);
  const PropertyListValue second = tree.makeString(text);
  const PropertyListValue other = tree.makeString(text + "b");
  ASSERT_NE(first.string()->data(), second.string()->data());
  EXPECT_EQ(first.uniqueString(), text);
  EXPECT_EQ(first.uniqueString()->data(), second.uniqueString()->data());
  EXPECT_EQ(other.uniqueString(), text + "b");
  EXPECT_EQ(tree.makeString("short").uniqueString(), "short");
  EXPECT_EQ(tree.makeInteger(1).uniqueString(), std::nullopt);
  EXPECT_EQ(PropertyListValue().uniqueString(), std::nullopt);
}

TEST(PropertyListTree, AValueIsComparedWithAText) {
  constexpr PropertyListKey kName{"Name"};
  PropertyListTree tree;
  const PropertyListValue name = tree.makeString("Name");
  const PropertyListValue equal = tree.makeString("Name");
  const PropertyListValue other = tree.makeString("Game");
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(name.is(kName));
    EXPECT_FALSE(other.is(kName));
    EXPECT_TRUE(equal.is(kName));
  }
  EXPECT_FALSE(tree.makeString("").is(kName));
  EXPECT_TRUE(tree.makeString("").is(""));
  EXPECT_FALSE(tree.makeInteger(1).is(""));
  EXPECT_FALSE(tree.makeArray(0).value().is(""));
  EXPECT_FALSE(PropertyListValue().is(""));
}

template <std::size_t... sizes>
constexpr std::array<PropertyListKey, sizeof...(sizes)> prefixesOf(std::string_view text,
                                                                   std::index_sequence<sizes...> /*sizes*/) {
  return {PropertyListKey(text.substr(0, sizes + 1))...};
}

TEST(PropertyListTree, ConstantsAtOneAddressDifferByTheirLengths) {
  static constexpr std::string_view kText = "WebBookmarkTypeLeaf";
  static constexpr auto kPrefixes = prefixesOf(kText, std::make_index_sequence<kText.size()>());
  PropertyListTree tree;
  for (const PropertyListKey& prefix : kPrefixes) {
    ASSERT_TRUE(prefix.isConstant());
    const PropertyListValue value = tree.makeString(prefix.text());
    for (const PropertyListKey& other : kPrefixes) {
      EXPECT_TRUE(value.is(prefix));
      EXPECT_EQ(value.is(other), other.text() == prefix.text());
    }
  }
}

TEST(PropertyListTree, ATextThatIsNoConstantMayChange) {
  std::string text = "Name";
  PropertyListTree tree;
  const PropertyListValue value = tree.makeString("Name");
  EXPECT_TRUE(value.is(std::string_view(text)));
  text = "Game";
  EXPECT_FALSE(value.is(std::string_view(text)));
}

int propertyQuestions = 0;
bool beginsWithA(std::string_view text) {
  ++propertyQuestions;
  return text.starts_with('a');
}
bool beginsWithB(std::string_view text) { return text.starts_with('b'); }

TEST(PropertyListTree, APropertyOfALongStringIsComputedOnce) {
  PropertyListTree tree;
  const PropertyListValue first = tree.makeString(std::string(kLongestShortText + 1, 'a'));
  const PropertyListValue second = tree.makeString(std::string(kLongestShortText + 1, 'b'));
  propertyQuestions = 0;
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(first.textHas(beginsWithA));
    EXPECT_FALSE(second.textHas(beginsWithA));
    EXPECT_FALSE(first.textHas(beginsWithB));
    EXPECT_TRUE(second.textHas(beginsWithB));
  }
  EXPECT_EQ(propertyQuestions, 2);
  EXPECT_TRUE(tree.makeString("a").textHas(beginsWithA));
  EXPECT_FALSE(tree.makeInteger(1).textHas(beginsWithA));
  EXPECT_FALSE(PropertyListValue().textHas(beginsWithA));
}

}  // namespace
}  // namespace tarvel
