// sort and preview.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>

#include "engine/tarvel.h"
#include "tools/commands.h"
#include "tools/kept_saves.h"
#include "tools/page_output.h"
#include "tools/preview_file_manager.h"
#include "tools/report.h"
#include "tools/report_html.h"
#include "tools/shown_progress.h"
#include "tools/sort_comparer.h"

namespace tarvel {

namespace {

constexpr const char* kDefaultBookmarksFile = "~/Library/Safari/Bookmarks.plist";
constexpr const char* kBackupName = "Tarvel/Bookmarks (Initial Copy).plist";

void configure(Tarvel& tarvel, const CommandLine& line, const std::string& file, const std::string& backup) {
  tarvel.setArrangeFoldersAtTop(line.foldersAtTop);
  tarvel.setRemoveDuplicates(line.removeDuplicates);
  tarvel.setRenameSamenamed(line.renameSamenamed);
  tarvel.setSortBookmarksBar(line.sortBookmarksBar);
  tarvel.setWriteBackupFile(line.backup);
  tarvel.setBookmarksFilename(file);
  tarvel.setBackupFilename(backup);
}

/// Runs the engine on the platform's file and tells what it did. `comparer` and `stages`, unless null, take part.
SortReport sortAndReport(const Platform& platform, const CommandLine& line, bool isPreview, SortComparer* comparer,
                         StageObserver* stages) {
  SortReport report;
  report.file = bookmarksFilePath(platform, line);
  report.isPreview = isPreview;
  const std::string backup = backupFilePath(platform, line);
  if (line.backup) report.backupFile = backup;
  Tarvel tarvel(platform);
  // For people a sort tells how many moved where; what moved is the preview's affair.
  ChangeRecorder recorder(isPreview || line.json ? OrderDetail::kEntries : OrderDetail::kCounts);
  configure(tarvel, line, report.file, backup);
  if (comparer != nullptr) {
    tarvel.setSortObserver(comparer);
  } else {
    tarvel.setSortObserver(&recorder);
  }
  tarvel.setStageObserver(stages);
  report.code = tarvel.sortBookmarks();
  // Of a backup that failed, the user wants to know where it was to go.
  const std::string& named = report.code == TarvelErrorBackupFailed ? backup : report.file;
  report.message = isPreview && report.code == TarvelErrorNone
                       ? "Preview of “" + printable(report.file) + "”:"
                       : Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, report.code, printable(named));
  report.changes = comparer != nullptr ? comparer->changes() : recorder.changes();
  return report;
}

void show(const SortReport& report, const CommandLine& line) {
  if (line.json) {
    std::cout << reportAsJson(report);
    return;
  }
  const bool hasFailed = report.code != TarvelErrorNone;
  const Painter painter(usesColor(line.color, hasFailed ? STDERR_FILENO : STDOUT_FILENO));
  (hasFailed ? std::cerr : std::cout) << reportAsText(report, painter);
  if (report.code == TarvelErrorBookmarksFileNotFound && line.file.empty()) {
    std::cerr << "Where your file lies somewhere else, name it: tarvel " << (report.isPreview ? "preview" : "sort")
              << " PATH\n";
  }
}

std::string pageOf(const SortReport& report, const SortComparer& comparer) {
  PageTexts texts;
  texts.title = "Preview of “" + report.file + "”";
  texts.notes = summaryOf(report);
  const bool isWritten = report.changes.isOrderChanged;
  texts.beforeTitle = "Before: the file as it is";
  texts.afterTitle = isWritten ? "After: as a sort would write it" : "After: the same, since nothing would be written";
  texts.kinds = {kEntryMoved, kEntryRemoved, kEntryRenamed, kEntryNamed};
  // What stands twice afterwards is rare enough to be named only where it happens.
  if (comparer.comparison().count(kEntryAdded) != 0) texts.kinds.push_back(kEntryAdded);
  return comparisonAsHtml(comparer.comparison(), texts);
}

}  // namespace

std::string bookmarksFilePath(const Platform& platform, const CommandLine& line) {
  return platform.fileManager.stringByExpandingTildeInPath(line.file.empty() ? kDefaultBookmarksFile
                                                                             : absolutePath(line.file));
}

std::string backupFilePath(const Platform& platform, const CommandLine& line) {
  return platform.fileManager.stringByExpandingTildeInPath(line.backupFile.empty() ? defaultBackupFile()
                                                                                   : absolutePath(line.backupFile));
}

std::string wordsForPlaces(const CommandLine& line) {
  std::string words;
  if (!line.backupFile.empty()) words += " --backup-file " + shellWord(absolutePath(line.backupFile));
  if (!line.file.empty()) words += " " + shellWord(absolutePath(line.file));
  return words;
}

std::string absolutePath(const std::string& path) {
  if (path.empty() || path.front() == '~') return path;
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.string();
}

std::string defaultBackupFile() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  // A relative path there is to be ignored, says the base directory convention.
  const bool isUsable = dataHome != nullptr && *dataHome == '/';
  return (isUsable ? std::string(dataHome) : std::string("~/.local/share")) + "/" + kBackupName;
}

int runSort(const Platform& platform, const CommandLine& line) {
  const bool hadBackup = platform.fileManager.fileExistsAtPath(backupFilePath(platform, line));
  std::optional<ShownProgress> shown(platform);
  const SortReport report = sortAndReport(shown->platform(), line, false, nullptr, shown->observer());
  shown.reset();
  show(report, line);
  tellOfKeptSaves(platform.fileManager, bookmarksFilePath(platform, line));
  if (report.code == TarvelErrorNone && report.changes.isOrderChanged && line.backup && !line.json) {
    std::cout << "\nThe backup " << (hadBackup ? "made earlier was kept" : "was made") << ": “"
              << printable(report.backupFile) << "”.\n";
  }
  return report.code;
}

int runPreview(const Platform& platform, const CommandLine& line) {
  const bool wantsPage = line.opensPage || !line.htmlFile.empty();
  const PageOutput output(platform.fileManager, line);
  if (wantsPage && !output.isAllowed({bookmarksFilePath(platform, line), backupFilePath(platform, line)}))
    return kExitUsage;
  std::optional<ShownProgress> shown(platform);
  PreviewFileManager copy(platform.fileManager, bookmarksFilePath(platform, line));
  Platform preview{platform.propertyLists,      copy,
                   platform.collator,           platform.uuidSource,
                   shown->platform().systemLog, platform.bundle,
                   platform.workspace,          platform.clock};
  CommandLine withoutBackup = line;
  withoutBackup.backup = false;
  SortComparer comparer;
  const SortReport report =
      sortAndReport(preview, withoutBackup, true, wantsPage ? &comparer : nullptr, shown->observer());
  shown.reset();
  if (!wantsPage || report.code != TarvelErrorNone) {
    show(report, line);
  } else {
    if (!output.isStandardOutput()) std::cout << summaryOf(report).front() << "\n";
    if (!output.deliver(pageOf(report, comparer))) return kExitFailed;
  }
  if (report.code != TarvelErrorNone) return report.code;
  return report.changes.isOrderChanged ? kExitWouldChange : 0;
}

}  // namespace tarvel
