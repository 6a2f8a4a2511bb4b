// Conformance of PreferencesStore, for every implementation.

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kStoreDomain = "org.tarvel.Test";

PropertyList listOf(PropertyListValue (*make)(PropertyListTree&)) {
  const auto tree = std::make_shared<PropertyListTree>();
  return {tree, make(*tree)};
}
PropertyList yes() {
  return listOf([](PropertyListTree& tree) { return tree.makeBoolean(true); });
}
PropertyList integer(std::int64_t value) {
  const auto tree = std::make_shared<PropertyListTree>();
  return {tree, tree->makeInteger(value)};
}
PropertyList string(std::string_view value) {
  const auto tree = std::make_shared<PropertyListTree>();
  return {tree, tree->makeString(value)};
}

struct MemoryStoreKind {
  MemoryPreferencesStore store;

  void breakDisk() { store.setFlushWorks(false); }
  void mendDisk() { store.setFlushWorks(true); }
  void setElsewhere(std::string_view key, const PropertyList& value) {
    store.setFlushedValue(key, value, kStoreDomain);
  }
  [[nodiscard]] PropertyList seenElsewhere(std::string_view key) { return store.flushedValue(key, kStoreDomain); }
};

struct LinuxStoreKind {
  LinuxStoreKind() { std::filesystem::create_directory(directory.path("settings")); }

  /// Puts a file in the folder's place.
  void breakDisk() const {
    std::filesystem::rename(directory.path("settings"), directory.path("away"));
    directory.write("settings", "in the way");
  }
  void mendDisk() const {
    std::filesystem::remove(directory.path("settings"));
    std::filesystem::rename(directory.path("away"), directory.path("settings"));
  }
  void setElsewhere(std::string_view key, const PropertyList& value) {
    LinuxPreferencesStore other(serialization, log, directory.path("settings"));
    other.setAppValue(key, value, kStoreDomain);
    EXPECT_TRUE(other.appSynchronize(kStoreDomain));
  }
  [[nodiscard]] PropertyList seenElsewhere(std::string_view key) {
    return LinuxPreferencesStore(serialization, log, directory.path("settings")).copyAppValue(key, kStoreDomain);
  }

  TemporaryDirectory directory;
  PlistSerialization serialization;
  MemorySystemLog log;
  LinuxPreferencesStore store{serialization, log, directory.path("settings")};
};

template <typename Kind>
struct PreferencesConformance : testing::Test, Kind {
  [[nodiscard]] bool flush() { return this->store.appSynchronize(kStoreDomain); }
};

using PreferencesStoreKinds = testing::Types<MemoryStoreKind, LinuxStoreKind>;
TYPED_TEST_SUITE(PreferencesConformance, PreferencesStoreKinds);

TYPED_TEST(PreferencesConformance, AnAbsentKeyHasNoValueOfAnyType) {
  EXPECT_EQ(this->store.appBooleanValue("Key", kStoreDomain), std::nullopt);
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), std::nullopt);
  EXPECT_FALSE(this->store.copyAppValue("Key", kStoreDomain).root);
  EXPECT_THAT(this->store.copyKeyList(kStoreDomain), IsEmpty());
}

TYPED_TEST(PreferencesConformance, ASetValueIsReadAtOnceAndByOthersAfterAFlush) {
  this->store.setAppValue("Key", integer(5), kStoreDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 5);
  EXPECT_FALSE(this->seenElsewhere("Key").root);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 5);
}

TYPED_TEST(PreferencesConformance, ARemovedKeyIsAbsentAtOnceAndForOthersAfterAFlush) {
  this->setElsewhere("Key", integer(5));
  this->store.setAppValue("Key", {}, kStoreDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), std::nullopt);
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
  EXPECT_TRUE(this->flush());
  EXPECT_FALSE(this->seenElsewhere("Key").root);
}

TYPED_TEST(PreferencesConformance, RemovingAnAbsentKeySucceeds) {
  this->store.setAppValue("Key", {}, kStoreDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_THAT(this->store.copyKeyList(kStoreDomain), IsEmpty());
}

TYPED_TEST(PreferencesConformance, AFlushOfNothingSucceeds) {
  EXPECT_TRUE(this->flush());
  this->store.setAppValue("Key", yes(), kStoreDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_TRUE(this->flush());
}

TYPED_TEST(PreferencesConformance, AChangeByAnotherProcessIsSeenAtTheNextRead) {
  this->setElsewhere("Key", integer(1));
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 1);
  this->setElsewhere("Key", integer(2));
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 2);
  this->setElsewhere("Key", {});
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), std::nullopt);
}

TYPED_TEST(PreferencesConformance, AFlushKeepsKeysThatAnotherProcessSet) {
  this->setElsewhere("Mine", integer(1));
  this->store.setAppValue("Mine", integer(10), kStoreDomain);
  this->setElsewhere("Theirs", integer(2));
  this->setElsewhere("Mine", integer(3));
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Mine").root.integer(), 10);
  EXPECT_EQ(this->seenElsewhere("Theirs").root.integer(), 2);
}

TYPED_TEST(PreferencesConformance, AFailedFlushKeepsWhatWasSetAndTheNextOneTriesAgain) {
  this->store.setAppValue("Key", integer(5), kStoreDomain);
  this->breakDisk();
  EXPECT_FALSE(this->flush());
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 5);
  this->mendDisk();
  EXPECT_FALSE(this->seenElsewhere("Key").root);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
}

TYPED_TEST(PreferencesConformance, KeysAreListedInOrderWithUnflushedChanges) {
  this->setElsewhere("b", yes());
  this->setElsewhere("c", yes());
  this->store.setAppValue("a", yes(), kStoreDomain);
  this->store.setAppValue("c", {}, kStoreDomain);
  EXPECT_THAT(this->store.copyKeyList(kStoreDomain), ElementsAre("a", "b"));
}

TYPED_TEST(PreferencesConformance, AValueOfAnotherTypeIsNotUsedAndNotChanged) {
  this->store.setAppValue("Key", string("soon"), kStoreDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), std::nullopt);
  EXPECT_EQ(this->store.appBooleanValue("Key", kStoreDomain), std::nullopt);
  EXPECT_EQ(this->store.copyAppValue("Key", kStoreDomain).root.string(), "soon");
}

TYPED_TEST(PreferencesConformance, ListsAndDictionariesAreKeptWhole) {
  const auto tree = std::make_shared<PropertyListTree>();
  const PropertyListDictionary dictionary = tree->makeDictionary();
  const PropertyListArray array = tree->makeArray(2);
  array.append(tree->makeDate(12.5));
  array.append(tree->makeSingleReal(0.5F));
  dictionary.set("list", array.value());
  dictionary.setString("text", "ä<&>");
  this->store.setAppValue("Key", {tree, dictionary.value()}, kStoreDomain);
  EXPECT_TRUE(this->flush());
  const PropertyList seen = this->seenElsewhere("Key");
  const PropertyListDictionary kept = seen.root.dictionary();
  EXPECT_EQ(kept.string("text"), "ä<&>");
  ASSERT_EQ(kept.array("list").size(), 2U);
  EXPECT_EQ(kept.array("list").at(1).real(), 0.5);
}

TYPED_TEST(PreferencesConformance, ApplicationsHaveSeparateSettings) {
  this->store.setAppValue("Key", integer(1), kStoreDomain);
  this->store.setAppValue("Key", integer(2), "org.tarvel.Other");
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->store.appIntegerValue("Key", kStoreDomain), 1);
  EXPECT_EQ(this->store.appIntegerValue("Key", "org.tarvel.Other"), 2);
}

TYPED_TEST(PreferencesConformance, TheLastValueSetIsKept) {
  this->store.setAppValue("Key", integer(1), kStoreDomain);
  this->store.setAppValue("Key", {}, kStoreDomain);
  this->store.setAppValue("Key", integer(3), kStoreDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 3);
}

TYPED_TEST(PreferencesConformance, AKeyMayBeAnyText) {
  for (const char* key : {"", "a b", "Schlüssel", "<&>", "../x", "a/b"}) {
    this->store.setAppValue(key, string(key), kStoreDomain);
    EXPECT_TRUE(this->flush()) << key;
    EXPECT_EQ(this->seenElsewhere(key).root.string(), key);
  }
}

TYPED_TEST(PreferencesConformance, AnIdentifierThatIsAPathHasNoSettings) {
  const std::string withZero("a\0b", 3);
  for (const std::string& identifier : {std::string(), std::string("."), std::string(".."), std::string("../x"),
                                        std::string("a/b"), std::string("/etc"), withZero, std::string(256, 'x')}) {
    this->store.setAppValue("Key", integer(5), identifier);
    EXPECT_EQ(this->store.appIntegerValue("Key", identifier), std::nullopt) << identifier;
    EXPECT_THAT(this->store.copyKeyList(identifier), IsEmpty()) << identifier;
    EXPECT_FALSE(this->store.appSynchronize(identifier)) << identifier;
  }
  for (const std::string& identifier : {std::string("..."), std::string("a b"), std::string(255, 'x')}) {
    this->store.setAppValue("Key", integer(5), identifier);
    EXPECT_TRUE(this->store.appSynchronize(identifier)) << identifier;
    EXPECT_EQ(this->store.appIntegerValue("Key", identifier), 5) << identifier;
  }
}

TYPED_TEST(PreferencesConformance, AFlushOfNothingSucceedsEvenWithAFailingDisk) {
  this->breakDisk();
  EXPECT_TRUE(this->flush());
  this->store.setAppValue("Key", yes(), kStoreDomain);
  EXPECT_FALSE(this->flush());
  this->mendDisk();
}

/// A number in nested lists.
PropertyList nested(std::size_t depth) {
  const auto tree = std::make_shared<PropertyListTree>();
  PropertyListValue value = tree->makeInteger(1);
  for (std::size_t i = 0; i < depth; ++i) {
    const PropertyListArray array = tree->makeArray(1);
    array.append(value);
    value = array.value();
  }
  return {tree, value};
}

/// Values that no settings file can hold, or that cannot be read back.
std::vector<PropertyList> unstorable() {
  const auto tree = std::make_shared<PropertyListTree>();
  const PropertyListValue one = tree->makeInteger(1);
  const PropertyListArray withNull = tree->makeArray(1);
  withNull.append(tree->makeNull());
  const PropertyListArray inItself = tree->makeArray(1);
  inItself.append(inItself.value());
  // Forty lists unfold to 10^12 values.
  PropertyListArray unfolding = tree->makeArray(1);
  unfolding.append(one);
  for (int i = 0; i < 40; ++i) {
    const PropertyListArray next = tree->makeArray(2);
    next.append(unfolding.value());
    next.append(unfolding.value());
    unfolding = next;
  }
  const PropertyListArray wide = tree->makeArray(100'000);
  for (int i = 0; i < 100'000; ++i) wide.append(one);
  const std::string large(std::size_t{4} * 1024 * 1024 + 1, 'x');
  std::vector<PropertyList> all = {nested(512), nested(20'000)};
  for (const PropertyListValue& value :
       {tree->makeNull(), tree->makeSet({&one, 1}), withNull.value(), inItself.value(), unfolding.value(), wide.value(),
        tree->makeDictionary({&one, 1}, {&one, 1}).value(), tree->makeString(large)}) {
    all.push_back({tree, value});
  }
  return all;
}

TYPED_TEST(PreferencesConformance, AValueThatCouldNotBeReadBackFailsTheFlushAndIsNotWritten) {
  this->setElsewhere("Key", integer(5));
  std::size_t count = 0;
  for (const PropertyList& value : unstorable()) {
    this->store.setAppValue("Bad", value, kStoreDomain);
    this->store.setAppValue("Key", integer(6), kStoreDomain);
    EXPECT_FALSE(this->flush()) << count;
    EXPECT_EQ(this->store.copyAppValue("Bad", kStoreDomain).root.type(), value.root.type()) << count;
    EXPECT_FALSE(this->seenElsewhere("Bad").root) << count;
    EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5) << count;
    ++count;
  }
  this->store.setAppValue("Bad", {}, kStoreDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 6);
}

TYPED_TEST(PreferencesConformance, TheLargestReadableValuesAreKept) {
  const auto tree = std::make_shared<PropertyListTree>();
  const std::string large(std::size_t{4} * 1024 * 1024, 'x');
  this->store.setAppValue("Deep", nested(511), kStoreDomain);
  this->store.setAppValue("Large", {tree, tree->makeString(large)}, kStoreDomain);
  const PropertyListArray wide = tree->makeArray(99'999);
  for (int i = 0; i < 99'999; ++i) wide.append(tree->makeBoolean(true));
  this->store.setAppValue("Wide", {tree, wide.value()}, kStoreDomain);
  ASSERT_TRUE(this->flush());
  const PropertyList deep = this->seenElsewhere("Deep");
  std::size_t depth = 0;
  for (PropertyListValue value = deep.root; value.array(); value = value.array().at(0)) ++depth;
  EXPECT_EQ(depth, 511U);
  EXPECT_EQ(this->seenElsewhere("Large").root.string(), large);
  EXPECT_EQ(this->seenElsewhere("Wide").root.array().size(), 99'999U);
}

TYPED_TEST(PreferencesConformance, ADateIsKeptInWholeSeconds) {
  for (const double seconds : {12.75, -12.25, 0.0, 1e300}) {
    const auto tree = std::make_shared<PropertyListTree>();
    this->store.setAppValue("Date", {tree, tree->makeDate(seconds)}, kStoreDomain);
    EXPECT_EQ(this->store.copyAppValue("Date", kStoreDomain).root.date(), seconds);
    EXPECT_TRUE(this->flush());
    EXPECT_EQ(this->seenElsewhere("Date").root.date(), std::floor(seconds));
    EXPECT_EQ(this->store.copyAppValue("Date", kStoreDomain).root.date(), std::floor(seconds));
  }
}

TYPED_TEST(PreferencesConformance, ChangingAValueAfterAFlushHasNoEffect) {
  const auto tree = std::make_shared<PropertyListTree>();
  const PropertyListArray array = tree->makeArray(1);
  array.append(tree->makeBoolean(true));
  this->store.setAppValue("Key", {tree, array.value()}, kStoreDomain);
  EXPECT_TRUE(this->flush());
  array.append(tree->makeBoolean(false));
  EXPECT_EQ(this->store.copyAppValue("Key", kStoreDomain).root.array().size(), 1U);
  EXPECT_EQ(this->seenElsewhere("Key").root.array().size(), 1U);
}

}  // namespace
}  // namespace tarvel
