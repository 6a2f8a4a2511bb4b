// Conversions of stored values, as recorded from the original platform's library.

#include <gtest/gtest.h>

#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/vector_tree.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

constexpr const char* kDomain = "org.tarvel.Test";

/// Stores each recorded value, calls `reread`, and compares both conversions.
template <typename Prepare>
void expectRecordedReadings(const Prepare& storeWith) {
  std::size_t count = 0;
  for (const nlohmann::json& recorded : vectorFile("prefs.json").at("cases")) {
    SCOPED_TRACE(recorded.at("name").get<std::string>());
    PreferencesStore& store = storeWith(fromJson(recorded.at("stored")));
    const auto boolean = store.appBooleanValue("Key", kDomain);
    const auto integer = store.appIntegerValue("Key", kDomain);
    EXPECT_EQ(boolean.has_value(), recorded.at("boolean").at("valid").get<bool>());
    EXPECT_EQ(boolean.value_or(false), recorded.at("boolean").at("value").get<bool>());
    EXPECT_EQ(integer.has_value(), recorded.at("integer").at("valid").get<bool>());
    EXPECT_EQ(std::to_string(integer.value_or(0)), recorded.at("integer").at("value").get<std::string>());
    ++count;
  }
  EXPECT_GT(count, 0U);
}

TEST(PreferenceVectors, ValuesSetInThisProcessReadAsRecorded) {
  MemoryPreferencesStore store;
  expectRecordedReadings([&](const PropertyList& value) -> PreferencesStore& {
    store.setAppValue("Key", value, kDomain);
    return store;
  });
}

TEST(PreferenceVectors, ValuesReadBackFromTheDiskReadAsRecorded) {
  const TemporaryDirectory directory;
  PlistSerialization serialization;
  MemorySystemLog log;
  std::optional<LinuxPreferencesStore> reader;
  expectRecordedReadings([&](const PropertyList& value) -> PreferencesStore& {
    LinuxPreferencesStore writer(serialization, log, directory.path());
    writer.setAppValue("Key", value, kDomain);
    EXPECT_TRUE(writer.appSynchronize(kDomain));
    reader.emplace(serialization, log, directory.path());
    return *reader;
  });
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace tarvel
