#include "tools/commands/difference.h"

#include "engine/tarvel.h"
#include "tools/compare/tree_matching.h"
#include "tools/report/change_text.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

struct Reading {
  TarvelError code = TarvelErrorNone;
  PropertyList list;
};

Reading readTree(const Platform& platform, const std::string& file) {
  Tarvel tarvel(platform);
  if (!platform.fileManager.fileExistsAtPath(file)) return {TarvelErrorBookmarksFileNotFound, {}};
  Reading reading{TarvelErrorNone, tarvel.bookmarksDictionaryWithFilename(file)};
  if (!reading.list.root) return {TarvelErrorReadFailed, {}};
  const PropertyListDictionary root = reading.list.root.dictionary();
  if (!tarvel.verifyThatDictionaryIsBookmarksFileRootNode(reading.list.root)) {
    return {TarvelErrorNotBookmarksFile, {}};
  }
  if (!tarvel.verifyThatDictionaryHasCorrectVersionWithRootNode(root)) return {TarvelErrorUnknownVersion, {}};
  return reading;
}

}  // namespace

Difference differenceOf(const Platform& platform, const std::string& oldFile, const std::string& newFile) {
  const Reading before = readTree(platform, oldFile);
  const Reading after = before.code == TarvelErrorNone ? readTree(platform, newFile) : Reading{};
  Difference difference;
  if (before.code != TarvelErrorNone || after.code != TarvelErrorNone) {
    const bool isOld = before.code != TarvelErrorNone;
    difference.failure = failureOf(platform, isOld ? before.code : after.code, isOld ? oldFile : newFile);
  } else {
    difference.comparison = comparisonOf(before.list.root.dictionary(), after.list.root.dictionary());
  }
  return difference;
}

std::string differenceSummary(const TreeComparison& comparison) {
  const std::string summary = summaryOf(changesOf(comparison));
  return summary.empty() ? "No difference: the same entries, titles and addresses in the same order." : summary;
}

std::string differenceText(const TreeComparison& comparison, const Painter& painter, bool isVerbose) {
  const Changes changes = changesOf(comparison, isVerbose ? OrderDetail::kAll : OrderDetail::kMoved);
  const std::string others = otherChangesAsText(changes, painter);
  return movesAsText(changes, painter) + (others.empty() ? "" : "\n" + others);
}

}  // namespace tarvel
