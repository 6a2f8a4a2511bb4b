// sort and preview.

#include <optional>
#include <vector>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/backups/command_paths.h"
#include "tools/backups/kept_saves.h"
#include "tools/commands/commands.h"
#include "tools/compare/change_recorder.h"
#include "tools/compare/sort_comparer.h"
#include "tools/files/preview_file_manager.h"
#include "tools/files/standard_input.h"
#include "tools/report/failure_text.h"
#include "tools/report/page_output.h"
#include "tools/report/report_html.h"
#include "tools/report/sort_report.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// The run that was asked for, put together before it begins.
struct SortRequest {
  std::string file;
  std::string backup;
  SortRules rules;
  std::vector<NamedSetting> settings;
};

SortRequest requestOf(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  return {line.file == kStandardInput ? kStandardInputPath : bookmarksFilePath(files, line, settings),
          backupOf(files, line, settings).path, rulesOf(line, settings), settingsInForce(line, settings, files)};
}

void configure(Tarvel& tarvel, const SortRequest& request) {
  tarvel.setArrangeFoldersAtTop(request.rules.foldersAtTop);
  tarvel.setRemoveDuplicates(request.rules.removeDuplicates);
  tarvel.setRenameSamenamed(request.rules.renameSamenamed);
  tarvel.setSortBookmarksBar(request.rules.sortBookmarksBar);
  tarvel.setBookmarksFilename(request.file);
  tarvel.setBackupFilename(request.backup);
}

int fail(Answer& answer, const Platform& platform, const CommandLine& line, const SortRequest& request,
         TarvelError code) {
  Failure failure = failureOf(platform, code, request.file);
  // Of a backup that failed, the user wants to know where it was to go.
  if (code == TarvelErrorBackupFailed) failure.file = deletingLastPathComponent(request.backup);
  Message message = messageOf(platform, failure);
  if (code == TarvelErrorBookmarksFileNotFound && line.file.empty()) {
    message.sentences.emplace_back("If your file is elsewhere, pass its path.");
    message.command = "tarvel " + line.name + " PATH";
  }
  return answer.fail(code, message);
}

OrderDetail detailOf(const CommandLine& line) {
  return line.output.isVerbose ? OrderDetail::kAll : OrderDetail::kMoved;
}

SortReport reportOf(const CommandLine& line, const SortRequest& request, const SortComparer& comparer) {
  SortReport report{request.file, false, request.settings, &comparer.comparison(),
                    changesOf(comparer.comparison(), detailOf(line))};
  report.changes.isOrderChanged = comparer.isOrderChanged();
  return report;
}

std::string pageOf(const SortReport& report, const TreeComparison& comparison) {
  PageTexts texts;
  texts.title = "Preview of “" + shownPath(report.file) + "”";
  texts.notes = resultOf(report);
  for (const NamedSetting& setting : report.settings) {
    texts.notes.push_back("Setting: " + setting.name + " = " + setting.text);
  }
  texts.beforeTitle = "Before: the file as it is";
  texts.afterTitle = report.changes.isOrderChanged ? "After: as a sort would write it"
                                                   : "After: the same, since nothing would be written";
  texts.kinds = {kEntryMoved, kEntryRemoved, kEntryRenamed, kEntryNamed};
  // An entry that is there twice afterwards is rare, so this filter is shown only where there is one.
  if (comparison.count(kEntryAdded) != 0) texts.kinds.push_back(kEntryAdded);
  return comparisonAsHtml(comparison, texts);
}

/// The platform with the file to be previewed in memory.
struct PreviewPlatform {
  PreviewPlatform(const Platform& real, const CommandLine& line, const SortRequest& request)
      : file(line.file == kStandardInput ? PreviewFileManager(real.fileManager, request.file, readStandardInput())
                                         : PreviewFileManager(real.fileManager, request.file)),
        platform{real.propertyLists, file,        real.collator,  real.uuidSource,
                 real.systemLog,     real.bundle, real.workspace, real.clock} {}

  PreviewFileManager file;
  Platform platform;
};

void sayBackup(Answer& answer, const CommandLine& line, const SortRequest& request, const SortReport& report,
               bool hadBackup) {
  const bool wasNeeded = line.backup && report.isWritten();
  answer["backupFile"] = wasNeeded ? Answer::Json(request.backup) : Answer::Json();
  answer["backupMade"] = wasNeeded && !hadBackup;
  if (!wasNeeded || line.output.isQuiet || answer.isJson()) return;
  answer.print("\n");
  answer.say(std::string("The initial backup ") + (hadBackup ? "made earlier was kept" : "was made") + ": " +
             quotedPath(request.backup) + ".");
}

}  // namespace

int runSort(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  Answer answer(line.name, line.output);
  const SortRequest request = requestOf(platform.fileManager, line, settings);
  const bool hadBackup = platform.fileManager.fileExistsAtPath(request.backup);
  answer["file"] = request.file;
  ChangeRecorder recorder;
  SortComparer comparer;
  const bool needsEntries = answer.isJson() || line.output.isVerbose;
  std::optional<ShownProgress> shown(platform);
  Tarvel tarvel(shown->platform());
  configure(tarvel, request);
  tarvel.setWriteBackupFile(line.backup);
  tarvel.setSortObserver(needsEntries ? static_cast<SortObserver*>(&comparer) : &recorder);
  tarvel.setStageObserver(shown->observer());
  const TarvelError code = tarvel.sortBookmarks();
  shown.reset();
  if (code != TarvelErrorNone) {
    sayKeptSaves(answer, platform.fileManager, request.file);
    return fail(answer, platform, line, request, code);
  }
  SortReport report{request.file, false, request.settings, nullptr, recorder.changes()};
  if (needsEntries) report = reportOf(line, request, comparer);
  if (report.isWritten()) {
    answer.say(Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, code, shownPath(request.file)));
  }
  answerWith(answer, report);
  sayBackup(answer, line, request, report, hadBackup);
  sayKeptSaves(answer, platform.fileManager, request.file);
  return answer.end(0);
}

int runPreview(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  Answer answer(line.name, line.output);
  const SortRequest request = requestOf(platform.fileManager, line, settings);
  const PageOutput output(platform.fileManager, line);
  if (line.wantsPage()) {
    const Message refusal = output.refusal({request.file, request.backup});
    if (!refusal.sentences.empty()) return answer.fail(kExitUsage, refusal);
  }
  answer["file"] = request.file;
  std::optional<ShownProgress> shown(platform);
  const PreviewPlatform preview(shown->platform(), line, request);
  Tarvel tarvel(preview.platform);
  configure(tarvel, request);
  tarvel.setWriteBackupFile(false);
  SortComparer comparer;
  tarvel.setSortObserver(&comparer);
  tarvel.setStageObserver(shown->observer());
  const TarvelError code = tarvel.sortBookmarks();
  shown.reset();
  if (code != TarvelErrorNone) return fail(answer, preview.platform, line, request, code);
  SortReport report = reportOf(line, request, comparer);
  report.isPreview = true;
  if (line.file == kStandardInput) report.file = kStandardInputName;
  const int status = report.changes.isOrderChanged ? kExitWouldChange : 0;
  if (line.wantsPage()) {
    if (!output.isStandardOutput()) answer.say(resultOf(report).front());
    return answer.end(output.deliver(pageOf(report, comparer.comparison()), answer) ? status : kExitFailed);
  }
  answer.page();
  if (!line.output.isQuiet) answer.print("Preview of " + quotedPath(report.file) + ":\n");
  answerWith(answer, report);
  sayBackup(answer, line, request, report, false);
  answer.endPage();
  sayKeptSaves(answer, platform.fileManager, request.file);
  return answer.end(status);
}

}  // namespace tarvel
