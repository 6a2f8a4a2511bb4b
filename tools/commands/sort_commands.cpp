// sort and preview.

#include <unistd.h>

#include <iostream>
#include <optional>
#include <vector>

#include "engine/tarvel.h"
#include "tools/backups/command_paths.h"
#include "tools/backups/kept_saves.h"
#include "tools/commands/commands.h"
#include "tools/compare/sort_comparer.h"
#include "tools/files/preview_file_manager.h"
#include "tools/report/page_output.h"
#include "tools/report/report.h"
#include "tools/report/report_html.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// The run that was asked for, put together before it begins.
struct SortRequest {
  std::string file;
  std::string backup;
  SortRules rules;
  std::vector<NamedSetting> settings;
  bool isPreview = false;
};

SortRequest requestOf(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  return {bookmarksFilePath(files, line, settings), backupOf(files, line, settings).path, rulesOf(line, settings),
          settingsInForce(line, settings, files), line.command == Command::kPreview};
}

void configure(Tarvel& tarvel, const CommandLine& line, const SortRequest& request) {
  tarvel.setArrangeFoldersAtTop(request.rules.foldersAtTop);
  tarvel.setRemoveDuplicates(request.rules.removeDuplicates);
  tarvel.setRenameSamenamed(request.rules.renameSamenamed);
  tarvel.setSortBookmarksBar(request.rules.sortBookmarksBar);
  tarvel.setWriteBackupFile(line.backup && !request.isPreview);
  tarvel.setBookmarksFilename(request.file);
  tarvel.setBackupFilename(request.backup);
}

/// Runs the engine on the platform's file and tells what it did. `comparer` and `stages`, unless null, take part.
SortReport sortAndReport(const Platform& platform, const CommandLine& line, const SortRequest& request,
                         SortComparer* comparer, StageObserver* stages) {
  SortReport report;
  report.file = request.file;
  report.isPreview = request.isPreview;
  report.settings = request.settings;
  if (line.backup && !request.isPreview) report.backupFile = request.backup;
  Tarvel tarvel(platform);
  // For people a sort tells how many moved where; what moved is the preview's affair.
  ChangeRecorder recorder(request.isPreview || line.json ? OrderDetail::kEntries : OrderDetail::kCounts);
  configure(tarvel, line, request);
  if (comparer != nullptr) {
    tarvel.setSortObserver(comparer);
  } else {
    tarvel.setSortObserver(&recorder);
  }
  tarvel.setStageObserver(stages);
  report.code = tarvel.sortBookmarks();
  // Of a backup that failed, the user wants to know where it was to go.
  const std::string& named = report.code == TarvelErrorBackupFailed ? request.backup : report.file;
  report.message = request.isPreview && report.code == TarvelErrorNone
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
  for (const NamedSetting& setting : report.settings) {
    texts.notes.push_back("By your settings: " + setting.key + " = " + setting.value);
  }
  const bool isWritten = report.changes.isOrderChanged;
  texts.beforeTitle = "Before: the file as it is";
  texts.afterTitle = isWritten ? "After: as a sort would write it" : "After: the same, since nothing would be written";
  texts.kinds = {kEntryMoved, kEntryRemoved, kEntryRenamed, kEntryNamed};
  // What stands twice afterwards is rare enough to be named only where it happens.
  if (comparer.comparison().count(kEntryAdded) != 0) texts.kinds.push_back(kEntryAdded);
  return comparisonAsHtml(comparer.comparison(), texts);
}

}  // namespace

int runSort(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  const SortRequest request = requestOf(platform.fileManager, line, settings);
  const bool hadBackup = platform.fileManager.fileExistsAtPath(request.backup);
  std::optional<ShownProgress> shown(platform);
  const SortReport report = sortAndReport(shown->platform(), line, request, nullptr, shown->observer());
  shown.reset();
  show(report, line);
  tellOfKeptSaves(platform.fileManager, request.file);
  if (report.code == TarvelErrorNone && report.changes.isOrderChanged && line.backup && !line.json) {
    std::cout << "\nThe backup " << (hadBackup ? "made earlier was kept" : "was made") << ": “"
              << printable(report.backupFile) << "”.\n";
  }
  return report.code;
}

int runPreview(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  const SortRequest request = requestOf(platform.fileManager, line, settings);
  const bool wantsPage = line.opensPage || !line.htmlFile.empty();
  const PageOutput output(platform.fileManager, line);
  if (wantsPage && !output.isAllowed({request.file, request.backup})) return kExitUsage;
  std::optional<ShownProgress> shown(platform);
  PreviewFileManager copy(platform.fileManager, request.file);
  Platform preview{platform.propertyLists,      copy,
                   platform.collator,           platform.uuidSource,
                   shown->platform().systemLog, platform.bundle,
                   platform.workspace,          platform.clock};
  SortComparer comparer;
  const SortReport report = sortAndReport(preview, line, request, wantsPage ? &comparer : nullptr, shown->observer());
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
