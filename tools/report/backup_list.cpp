#include "tools/report/backup_list.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/backups/backup_name.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// Fills in what the contents of a backup tell.
void readContents(const Platform& platform, const FileReading& current, ListedBackup& backup) {
  const FileReading reading = platform.fileManager.contentsAtPath(backup.path);
  if (!reading.status.ok()) return;
  backup.size = reading.data.size();
  backup.bookmarks = bookmarkCount(platform, reading.data);
  backup.isCurrent = current.status.ok() && haveSameBytes(reading.data, current.data);
}

std::string bookmarksText(const ListedBackup& backup) {
  if (!backup.size) return "unreadable";
  return backup.bookmarks ? counted(*backup.bookmarks, "bookmark", "bookmarks") : "not a bookmarks file";
}

std::string shownSize(const ListedBackup& backup) { return backup.size ? sizeText(*backup.size) : "?"; }

std::string padded(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string listText(const BackupList& list) {
  std::size_t bookmarksWidth = 0;
  std::size_t sizeWidth = 0;
  for (const ListedBackup& backup : list.backups) {
    bookmarksWidth = std::max(bookmarksWidth, bookmarksText(backup).size());
    sizeWidth = std::max(sizeWidth, shownSize(backup).size());
  }
  std::string text =
      "Backups of " + quotedPath(list.file) + " in " + quotedPath(list.folder) + ", the newest first:\n\n";
  for (const ListedBackup& backup : list.backups) {
    text += localTimeText(backup.date) + "  " + padded(bookmarksText(backup), bookmarksWidth) + "  " +
            padded(shownSize(backup), sizeWidth) + "  " + printable(backup.name);
    if (backup.isInitial) text += "  (the initial backup, from before the first sort)";
    if (backup.isCurrent) text += "  (same as the file now)";
    text += "\n";
  }
  return text;
}

Answer::Json listAsJson(const BackupList& list) {
  using Json = Answer::Json;
  Json backups = Json::array();
  for (const ListedBackup& backup : list.backups) {
    backups.push_back({{"name", backup.name},
                       {"path", backup.path},
                       {"date", utcText(backup.date)},
                       {"size", backup.size ? Json(*backup.size) : Json()},
                       {"bookmarks", backup.bookmarks ? Json(*backup.bookmarks) : Json()},
                       {"initial", backup.isInitial},
                       {"sameAsFile", backup.isCurrent}});
  }
  return backups;
}

}  // namespace

BackupList backupList(const Platform& platform, const std::string& file, const std::string& initialBackup,
                      const BackupStore& store) {
  BackupList list{file, store.folder(), {}, {}};
  BackupListing dated = store.list();
  list.status = std::move(dated.status);
  const FileReading current = platform.fileManager.contentsAtPath(file);
  for (auto backup = dated.backups.rbegin(); backup != dated.backups.rend(); ++backup) {
    list.backups.push_back({backup->name, backup->path, backup->time, {}, {}, false, false});
    readContents(platform, current, list.backups.back());
  }
  if (!platform.fileManager.fileExistsAtPath(initialBackup)) return list;
  const Date date = platform.fileManager.modificationDateAtPath(initialBackup).value_or(Date{});
  list.backups.push_back(
      {initialBackup.substr(initialBackup.rfind('/') + 1), initialBackup, date, {}, {}, true, false});
  readContents(platform, current, list.backups.back());
  return list;
}

void answerWith(Answer& answer, const BackupList& list, const std::string& places) {
  answer["file"] = list.file;
  answer["folder"] = list.folder;
  answer["backups"] = listAsJson(list);
  if (list.backups.empty()) {
    if (answer.options().isQuiet) return;
    answer.say("There is no backup of " + quotedPath(list.file) + " in " + quotedPath(list.folder) + ".");
    answer.hint("To make one:", "tarvel backup create" + places);
    return;
  }
  if (answer.options().isQuiet) {
    for (const ListedBackup& backup : list.backups) answer.print(printable(backup.name) + "\n");
    return;
  }
  answer.print(listText(list));
  answer.print("\n");
  answer.hint("To put one back, give its name, or a part that only one name has:",
              "tarvel restore --from NAME" + places);
}

}  // namespace tarvel
