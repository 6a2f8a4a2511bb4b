#include "tools/dated_copies.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "engine/tarvel.h"
#include "tools/dated_name.h"

namespace tarvel {

DatedCopies::DatedCopies(const Platform& platform, std::string folder, const std::string& file)
    : platform_(platform), folder_(std::move(folder)), fileTag_(tagOfFile(file)) {}

DatedCopyListing DatedCopies::list() const {
  DirectoryListing entries = platform_.fileManager.filesInDirectoryAtPath(folder_);
  if (entries.status.code == ENOENT) return {};
  DatedCopyListing listing{{}, std::move(entries.status)};
  for (const std::string& name : entries.fileNames) {
    const std::optional<DatedName> dated = datedNameFrom(name);
    if (dated && dated->fileTag == fileTag_) listing.copies.push_back({name, folder_ + "/" + name, dated->time});
  }
  return listing;
}

std::optional<DatedCopy> DatedCopies::findSame(const Data& bytes, EarlierCopy earlier,
                                               const std::vector<DatedCopy>& copies) const {
  for (auto copy = copies.rbegin(); copy != copies.rend(); ++copy) {
    const FileReading reading = platform_.fileManager.contentsAtPath(copy->path);
    if (reading.status.ok() && haveSameBytes(reading.data, bytes)) return *copy;
    if (earlier == EarlierCopy::kNewest) break;
  }
  return std::nullopt;
}

CopyMaking DatedCopies::keep(const Data& bytes, EarlierCopy earlier) const {
  FileStatus made = platform_.fileManager.createDirectoryAtPath(folder_);
  if (!made.ok()) return {std::move(made), {}, false};
  DatedCopyListing listing = list();
  if (!listing.status.ok()) return {std::move(listing.status), {}, false};
  if (const auto same = findSame(bytes, earlier, listing.copies)) return {{}, *same, false};
  constexpr int kMostNames = 1000;
  Date now = platform_.clock.wallClock();
  CopyMaking making;
  for (int i = 0; i < kMostNames; ++i, now = nextMillisecond(now)) {
    const std::string name = textOf({now, fileTag_});
    making.copy = {name, folder_ + "/" + name, now};
    making.status = platform_.fileManager.createFileAtPath({{bytes.bytes()}, {}}, making.copy.path);
    making.isNew = making.status.ok();
    // Somebody else makes one in the same instant.
    if (making.status.code != EEXIST) break;
  }
  return making;
}

std::optional<std::size_t> bookmarkCount(const Platform& platform, const Data& bytes) {
  const PropertyListReading reading = platform.propertyLists.propertyListFromData(bytes);
  Tarvel tarvel(platform);
  if (reading.error || !tarvel.verifyThatDictionaryIsBookmarksFileRootNode(reading.list.root)) return std::nullopt;
  return tarvel.numberOfBookmarksInDictionary(reading.list.root.dictionary());
}

bool haveSameBytes(const Data& first, const Data& second) { return std::ranges::equal(first.bytes(), second.bytes()); }

}  // namespace tarvel
