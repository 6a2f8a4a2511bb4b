#include "tools/report/backup_list.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/backups/backup_name.h"
#include "tools/report/json_text.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// What is to be said of the bytes of a copy, when they can be read.
void look(const Platform& platform, const FileReading& today, ListedBackup& copy) {
  const FileReading reading = platform.fileManager.contentsAtPath(copy.path);
  if (!reading.status.ok()) return;
  copy.size = reading.data.size();
  copy.bookmarks = bookmarkCount(platform, reading.data);
  copy.isAsNow = today.status.ok() && haveSameBytes(reading.data, today.data);
}

std::string bookmarksText(const ListedBackup& copy) {
  if (!copy.bookmarks) return "no bookmarks file";
  return std::to_string(*copy.bookmarks) + (*copy.bookmarks == 1 ? " bookmark" : " bookmarks");
}

std::string sizeText(std::size_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  constexpr std::size_t kPerMegabyte = 1'000'000;
  if (bytes < kPerMegabyte) return std::to_string((bytes + 500) / 1000) + " kB";
  const std::size_t tenths = (bytes + kPerMegabyte / 20) / (kPerMegabyte / 10);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

std::string padded(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

}  // namespace

BackupList backupList(const Platform& platform, const std::string& file, const std::string& initialBackup,
                      const BackupStore& copies) {
  BackupList list{file, copies.folder(), {}, {}};
  BackupListing dated = copies.list();
  list.status = std::move(dated.status);
  const FileReading today = platform.fileManager.contentsAtPath(file);
  for (auto copy = dated.copies.rbegin(); copy != dated.copies.rend(); ++copy) {
    list.copies.push_back({copy->name, copy->path, copy->time, 0, std::nullopt, false, false});
    look(platform, today, list.copies.back());
  }
  if (!platform.fileManager.fileExistsAtPath(initialBackup)) return list;
  const Date date = platform.fileManager.modificationDateAtPath(initialBackup).value_or(Date{});
  list.copies.push_back(
      {initialBackup.substr(initialBackup.rfind('/') + 1), initialBackup, date, 0, std::nullopt, true, false});
  look(platform, today, list.copies.back());
  return list;
}

std::string backupListAsText(const BackupList& list) {
  if (list.copies.empty()) {
    return "There is no copy of “" + printable(list.file) + "” in “" + printable(list.folder) +
           "”. To make one: tarvel backup\n";
  }
  std::size_t bookmarksWidth = 0;
  std::size_t sizeWidth = 0;
  for (const ListedBackup& copy : list.copies) {
    bookmarksWidth = std::max(bookmarksWidth, bookmarksText(copy).size());
    sizeWidth = std::max(sizeWidth, sizeText(copy.size).size());
  }
  std::string text =
      "Copies of “" + printable(list.file) + "” in “" + printable(list.folder) + "”, the newest first:\n\n";
  for (const ListedBackup& copy : list.copies) {
    text += localTimeText(copy.date) + "  " + padded(bookmarksText(copy), bookmarksWidth) + "  " +
            padded(sizeText(copy.size), sizeWidth) + "  " + printable(copy.name);
    if (copy.isInitial) text += "  (the initial backup, from before the first sort)";
    if (copy.isAsNow) text += "  (as the file is now)";
    text += "\n";
  }
  return text + "\nTo put one back: tarvel restore --from NAME, or a part of the name that only one has.\n";
}

std::string backupListAsJson(const BackupList& list) {
  using Json = nlohmann::ordered_json;
  Json copies = Json::array();
  for (const ListedBackup& copy : list.copies) {
    copies.push_back({{"name", copy.name},
                      {"path", copy.path},
                      {"date", utcText(copy.date)},
                      {"size", copy.size},
                      {"bookmarks", copy.bookmarks ? Json(*copy.bookmarks) : Json()},
                      {"first", copy.isInitial},
                      {"sameAsFile", copy.isAsNow}});
  }
  const Json json = {{"file", list.file}, {"folder", list.folder}, {"copies", std::move(copies)}};
  return jsonText(json);
}

}  // namespace tarvel
