// Any bytes as a bookmarks file, sorted with every option.

#include <array>
#include <string>

#include "engine/tarvel.h"
#include "fuzz/round_trips.h"
#include "platform/memory/memory_platform.h"

namespace tarvel::fuzz {

constexpr const char* kPath = "/f/Bookmarks.plist";
constexpr const char* kBackup = "/b/copy.plist";
constexpr std::array kFailures = {TarvelErrorNotBookmarksFile, TarvelErrorUnknownVersion, TarvelErrorReadFailed,
                                  TarvelErrorWriteFailed};

/// Checks every reported removal.
class RemovalCheck final : public SortObserver {
 public:
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override {
    require(static_cast<bool>(survivor) == (reason == RemovalReason::kDuplicate), "a survivor without a duplicate");
    if (!survivor) return;
    require(survivor != entry, "a bookmark survives itself");
    require(survivor.string(kURLStringKey) == entry.string(kURLStringKey), "a survivor has another address");
  }
};

inline void checkSort(PlistSerialization& serialization, const std::string& before) {
  MemoryPlatform memory(serialization);
  const Platform platform = memory.platform();
  memory.fileManager.putFile(kPath, before);
  Tarvel tarvel(platform);
  tarvel.setBookmarksFilename(kPath);
  tarvel.setBackupFilename(kBackup);
  tarvel.setWriteBackupFile(true);
  tarvel.setArrangeFoldersAtTop(true);
  tarvel.setRemoveDuplicates(true);
  tarvel.setRenameSamenamed(true);
  tarvel.setSortBookmarksBar(true);
  RemovalCheck removals;
  tarvel.setSortObserver(&removals);
  const TarvelError error = tarvel.sortBookmarks();
  const std::string after = *memory.fileManager.bytesAt(kPath);
  const auto backup = memory.fileManager.bytesAt(kBackup);
  require(!backup || *backup == before, "the backup differs from the original");
  require(after == before || backup == before, "the file changed without a backup");
  if (error != TarvelErrorNone) {
    bool isKnown = false;
    for (const TarvelError known : kFailures) isKnown |= error == known;
    require(isKnown, "an unexpected error code");
    require(after == before, "a failed sort changed the file");
    return;
  }
  if (after == before) return;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(after));
  require(!reading.error.has_value(), "the written file cannot be read");
  require(reading.format == PropertyListFormat::kBinary, "the written file is not binary");
  require(tarvel.verifyThatDictionaryIsBookmarksFileRootNode(reading.list.root), "the written file has no valid root");
}

}  // namespace tarvel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvel::PlistSerialization serialization;
  tarvel::fuzz::checkSort(serialization, {reinterpret_cast<const char*>(data), size});
  return 0;
}
