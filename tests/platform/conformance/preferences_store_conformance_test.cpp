// What every store of preferences promises.

#include <gmock/gmock.h>

#include <filesystem>

#include "platform/linux/linux_preferences_store.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kDomain = "org.tarvel.Test";

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
  void setElsewhere(std::string_view key, const PropertyList& value) { store.setFlushedValue(key, value, kDomain); }
  [[nodiscard]] PropertyList seenElsewhere(std::string_view key) { return store.flushedValue(key, kDomain); }
};

struct LinuxStoreKind {
  LinuxStoreKind() { std::filesystem::create_directory(directory.path("settings")); }

  /// A file in the folder's place.
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
    other.setAppValue(key, value, kDomain);
    EXPECT_TRUE(other.appSynchronize(kDomain));
  }
  [[nodiscard]] PropertyList seenElsewhere(std::string_view key) {
    return LinuxPreferencesStore(serialization, log, directory.path("settings")).copyAppValue(key, kDomain);
  }

  TemporaryDirectory directory;
  PlistSerialization serialization;
  MemorySystemLog log;
  LinuxPreferencesStore store{serialization, log, directory.path("settings")};
};

template <typename Kind>
struct PreferencesConformance : testing::Test, Kind {
  [[nodiscard]] bool flush() { return this->store.appSynchronize(kDomain); }
};

using Kinds = testing::Types<MemoryStoreKind, LinuxStoreKind>;
TYPED_TEST_SUITE(PreferencesConformance, Kinds);

TYPED_TEST(PreferencesConformance, AnAbsentKeyHasNoValueOfAnyKind) {
  EXPECT_EQ(this->store.appBooleanValue("Key", kDomain), std::nullopt);
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), std::nullopt);
  EXPECT_FALSE(this->store.copyAppValue("Key", kDomain).root);
  EXPECT_THAT(this->store.copyKeyList(kDomain), IsEmpty());
}

TYPED_TEST(PreferencesConformance, AValueThatWasSetIsReadByThisProcessAtOnceAndByOthersAfterAFlush) {
  this->store.setAppValue("Key", integer(5), kDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 5);
  EXPECT_FALSE(this->seenElsewhere("Key").root);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 5);
}

TYPED_TEST(PreferencesConformance, ARemovedKeyIsAbsentHereAtOnceAndElsewhereAfterAFlush) {
  this->setElsewhere("Key", integer(5));
  this->store.setAppValue("Key", {}, kDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), std::nullopt);
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
  EXPECT_TRUE(this->flush());
  EXPECT_FALSE(this->seenElsewhere("Key").root);
}

TYPED_TEST(PreferencesConformance, RemovingAnAbsentKeyIsNoFailure) {
  this->store.setAppValue("Key", {}, kDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_THAT(this->store.copyKeyList(kDomain), IsEmpty());
}

TYPED_TEST(PreferencesConformance, AFlushOfNothingSucceeds) {
  EXPECT_TRUE(this->flush());
  this->store.setAppValue("Key", yes(), kDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_TRUE(this->flush());
}

TYPED_TEST(PreferencesConformance, AnotherProcessesChangeIsSeenAtTheNextRead) {
  this->setElsewhere("Key", integer(1));
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 1);
  this->setElsewhere("Key", integer(2));
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 2);
  this->setElsewhere("Key", {});
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), std::nullopt);
}

TYPED_TEST(PreferencesConformance, AFlushLeavesKeysThatOthersSetMeanwhileAlone) {
  this->setElsewhere("Mine", integer(1));
  this->store.setAppValue("Mine", integer(10), kDomain);
  this->setElsewhere("Theirs", integer(2));
  this->setElsewhere("Mine", integer(3));
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Mine").root.integer(), 10);
  EXPECT_EQ(this->seenElsewhere("Theirs").root.integer(), 2);
}

TYPED_TEST(PreferencesConformance, AFailedFlushKeepsWhatWasSetAndTheNextOneTriesAgain) {
  this->store.setAppValue("Key", integer(5), kDomain);
  this->breakDisk();
  EXPECT_FALSE(this->flush());
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 5);
  this->mendDisk();
  EXPECT_FALSE(this->seenElsewhere("Key").root);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 5);
}

TYPED_TEST(PreferencesConformance, KeysAreListedInOrderWithWhatWasSetAndWithoutWhatWasRemoved) {
  this->setElsewhere("b", yes());
  this->setElsewhere("c", yes());
  this->store.setAppValue("a", yes(), kDomain);
  this->store.setAppValue("c", {}, kDomain);
  EXPECT_THAT(this->store.copyKeyList(kDomain), ElementsAre("a", "b"));
}

TYPED_TEST(PreferencesConformance, AValueOfAnotherTypeIsUnusableAndStaysWhatItIs) {
  this->store.setAppValue("Key", string("soon"), kDomain);
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), std::nullopt);
  EXPECT_EQ(this->store.appBooleanValue("Key", kDomain), std::nullopt);
  EXPECT_EQ(this->store.copyAppValue("Key", kDomain).root.string(), "soon");
}

TYPED_TEST(PreferencesConformance, ListsAndDictionariesAreKeptWhole) {
  const auto tree = std::make_shared<PropertyListTree>();
  const PropertyListDictionary dictionary = tree->makeDictionary();
  const PropertyListArray array = tree->makeArray(2);
  array.append(tree->makeDate(12.5));
  array.append(tree->makeSingleReal(0.5F));
  dictionary.set("list", array.value());
  dictionary.setString("text", "ä<&>");
  this->store.setAppValue("Key", {tree, dictionary.value()}, kDomain);
  EXPECT_TRUE(this->flush());
  const PropertyList seen = this->seenElsewhere("Key");
  const PropertyListDictionary kept = seen.root.dictionary();
  EXPECT_EQ(kept.string("text"), "ä<&>");
  ASSERT_EQ(kept.array("list").size(), 2U);
  EXPECT_EQ(kept.array("list").at(1).real(), 0.5);
}

TYPED_TEST(PreferencesConformance, OneApplicationsSettingsAreNotAnothers) {
  this->store.setAppValue("Key", integer(1), kDomain);
  this->store.setAppValue("Key", integer(2), "org.tarvel.Other");
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->store.appIntegerValue("Key", kDomain), 1);
  EXPECT_EQ(this->store.appIntegerValue("Key", "org.tarvel.Other"), 2);
}

TYPED_TEST(PreferencesConformance, TheLastValueSetIsTheOneThatIsKept) {
  this->store.setAppValue("Key", integer(1), kDomain);
  this->store.setAppValue("Key", {}, kDomain);
  this->store.setAppValue("Key", integer(3), kDomain);
  EXPECT_TRUE(this->flush());
  EXPECT_EQ(this->seenElsewhere("Key").root.integer(), 3);
}

TYPED_TEST(PreferencesConformance, AKeyMayBeAnyText) {
  for (const char* key : {"", "a b", "Schlüssel", "<&>", "../x", "a/b"}) {
    this->store.setAppValue(key, string(key), kDomain);
    EXPECT_TRUE(this->flush()) << key;
    EXPECT_EQ(this->seenElsewhere(key).root.string(), key);
  }
}

}  // namespace
}  // namespace tarvel
