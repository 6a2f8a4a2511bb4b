#include "browser/host/run_records.h"

#include <xxhash.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tarvel {

namespace {

constexpr std::string_view kSuffix = ".plist";
constexpr std::string_view kDamagedSuffix = ".damaged";
constexpr std::size_t kDigits = 8;
constexpr std::int64_t kVersion = 1;
constexpr PropertyListKey kVersionKey{"Version"};
constexpr PropertyListKey kProfileKey{"Profile"};
constexpr PropertyListKey kTaskKey{"Task"};
constexpr PropertyListKey kDateKey{"Date"};
constexpr PropertyListKey kRootsKey{"Roots"};

std::string paddedNumber(std::uint64_t number) {
  const std::string digits = std::to_string(number);
  return std::string(kDigits - std::min(kDigits, digits.size()), '0') + digits;
}

/// None for a file that is not a record.
std::optional<std::uint64_t> numberOf(std::string_view name) {
  if (!name.ends_with(kSuffix)) return std::nullopt;
  name.remove_suffix(kSuffix.size());
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (name.size() != kDigits || error != std::errc() || end != name.data() + name.size()) return std::nullopt;
  return number;
}

std::string folderOfProfile(const std::string& profile) {
  constexpr std::string_view kHex = "0123456789abcdef";
  const std::uint64_t hash = XXH3_64bits(profile.data(), profile.size());
  std::string name;
  for (unsigned shift = 64; shift > 0; shift -= 4) name.push_back(kHex[(hash >> (shift - 4)) & 0xF]);
  return name;
}

}  // namespace

RunRecords::RunRecords(FileManager& files, PropertyListSerialization& propertyLists, const std::string& folder,
                       std::string profile)
    : files_(files),
      propertyLists_(propertyLists),
      folder_(folder + "/" + folderOfProfile(profile)),
      profile_(std::move(profile)) {}

std::optional<DataPieces> RunRecords::recordOf(const BrowserTree& tree, Task task, const std::string& date) {
  const PropertyListDictionary root = tree.list->makeDictionary();
  root.set(kVersionKey, tree.list->makeInteger(kVersion));
  root.setString(kProfileKey, profile_);
  root.setString(kTaskKey, task == Task::kClean ? kCleanTaskName : "sort");
  root.setString(kDateKey, date);
  const PropertyListArray roots = tree.list->makeArray(tree.roots.size());
  for (const std::uint32_t number : tree.roots) {
    if (tree.nodes[number].folder) roots.append(tree.nodes[number].folder.value());
  }
  root.set(kRootsKey, roots.value());
  PropertyListWriting writing = propertyLists_.dataWithPropertyList(
      {tree.list, root.value()}, static_cast<std::uint32_t>(PropertyListFormat::kBinary));
  if (writing.error || writing.depth > kDeepestReadable) return std::nullopt;
  return std::move(writing.data);
}

FileStatus RunRecords::add(const DataPieces& record) {
  if (FileStatus made = files_.createDirectoryAtPath(folder_); !made.ok()) return made;
  const std::vector<std::string> before = names();
  const std::uint64_t number = before.empty() ? 1 : *numberOf(before.front()) + 1;
  FileStatus written = files_.createFileAtPath(record, folder_ + "/" + paddedNumber(number) + std::string(kSuffix));
  if (!written.ok()) return written;
  for (std::size_t i = kMostRecords - 1; i < before.size(); ++i) remove(before[i]);
  return written;
}

std::vector<std::string> RunRecords::names() {
  std::vector<std::string> names = files_.filesInDirectoryAtPath(folder_).fileNames;
  std::erase_if(names, [](const std::string& name) { return !numberOf(name); });
  std::ranges::sort(names, std::ranges::greater());
  return names;
}

RunRecordReading RunRecords::read(const std::string& name) {
  const FileReading reading = files_.contentsAtPath(folder_ + "/" + name);
  if (!reading.status.ok()) return {{}, name + ": " + reading.status.reason, false};
  const PropertyListReading list = propertyLists_.propertyListFromData(reading.data);
  const PropertyListDictionary root = list.list.root.dictionary();
  const auto version = root.get(kVersionKey).integer();
  if (version > kVersion) return {{}, name + ": written by a newer version", false};
  const auto profile = root.string(kProfileKey);
  const PropertyListArray roots = root.array(kRootsKey);
  if (version != kVersion || !profile || !roots) return {{}, name + ": damaged", true};
  if (profile != profile_) return {};
  return {RunRecord{list.list, std::string(root.string(kTaskKey).value_or("")),
                    std::string(root.string(kDateKey).value_or("")), roots},
          {},
          false};
}

void RunRecords::setAside(const std::string& name) {
  (void)files_.moveItem(folder_ + "/" + name, folder_ + "/" + name + std::string(kDamagedSuffix));
}

void RunRecords::remove(const std::string& name) { (void)files_.removeItemAtPath(folder_ + "/" + name); }

}  // namespace tarvel
