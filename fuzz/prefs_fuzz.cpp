// Any bytes as a preferences file, which is read, changed in one key, written and read again.

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "fuzz/round_trips.h"
#include "platform/linux/preferences/preferences_file.h"
#include "platform/memory/memory_platform.h"
#include "platform/preference_value.h"
#include "tests/support/temporary_directory.h"

namespace tarvel::fuzz {

constexpr std::string_view kKey = "BookmarksUpdateLatency";

/// Whether the old contents were set aside in a file beside the settings.
inline bool isSetAside(const TemporaryDirectory& folder, const std::string& bytes) {
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("p.plist.corrupt-") && folder.read(name) == bytes) return true;
  }
  return false;
}

inline void checkChange(const TemporaryDirectory& folder, const std::string& bytes, bool wasUnderstood) {
  PlistSerialization serialization;
  MemorySystemLog log;
  PreferencesFile file(serialization, log, folder.path("p.plist"));
  const auto before = file.values();
  const auto tree = std::make_shared<PropertyListTree>();
  file.mark(kKey, {tree, tree->makeInteger(7)});
  if (!file.flush()) {
    require(folder.read("p.plist") == bytes, "a failed write changed the file");
    return;
  }
  PreferencesFile fresh(serialization, log, folder.path("p.plist"));
  auto after = fresh.values();
  require(integerFromPreference(after[std::string(kKey)].root) == 7, "a set value was not written");
  for (const auto& [key, value] : before) {
    if (key != kKey) require(after.contains(key), "an unchanged setting was lost");
  }
  require(after.size() == before.size() + (before.contains(kKey) ? 0 : 1), "a setting was added");
  require(wasUnderstood || isSetAside(folder, bytes), "a corrupt file was not set aside");
}

}  // namespace tarvel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const TemporaryDirectory folder;
  const std::string bytes(reinterpret_cast<const char*>(data), size);  // NOLINT: bytes read as text
  folder.write("p.plist", bytes);
  PlistSerialization serialization;
  MemorySystemLog log;
  PreferencesFile file(serialization, log, folder.path("p.plist"));
  for (const auto& [key, value] : file.values()) {
    (void)booleanFromPreference(value.root);
    (void)integerFromPreference(value.root);
    fuzz::require(file.value(key).root.type() == value.root.type(), "a value has two types");
  }
  // Writing waits for a later timestamp, so only every sixteenth input is written.
  constexpr std::size_t kShare = 16;
  std::size_t sum = 0;
  for (const char c : bytes) sum += static_cast<unsigned char>(c);
  if (sum % kShare == 0) fuzz::checkChange(folder, bytes, log.lines().empty());
  return 0;
}
