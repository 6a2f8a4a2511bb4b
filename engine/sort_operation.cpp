// The sort operation, its result codes and their messages.

#include <array>
#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "engine/tarvel.h"

namespace tarvel {

namespace {

constexpr int kMostAttempts = 10;
constexpr std::chrono::milliseconds kLockedPause{300};
constexpr std::uint64_t kFirstAgentCode = 10;
/// The node, and the dictionary with its title.
constexpr std::size_t kContainersPerBookmark = 2;

constexpr std::string_view kShortSuccess = "The sorted bookmark plist file was successfully written to disk.";

constexpr std::array<std::string_view, 8> kShortMessages = {
    "Could not find the bookmark plist file.",
    "Could not find the output bookmark plist file.",
    "Given file is not a bookmarks plist file.",
    "Given file is a bookmarks plist file, but has unknown version.",
    "Could not read the bookmark plist file.",
    "Could not write the bookmark plist file.",
    "Could not write the backup file for the bookmark plist file.",
    "Could not write the bookmark plist file, some other process is using it.",
};

constexpr std::string_view kLongUnknown =
    "The program ran into an unknown error: %d.\n\nA restart of your computer will hopefully solve the error.";

constexpr std::array<std::string_view, 9> kLongMessages = {
    "The bookmarks file was opened, sorted and saved.",
    "The bookmarks file “%@” could not be located. Please locate the file and try again.",
    kLongUnknown,
    "The file “%@” is not a bookmarks file. Please locate and select Safari’s bookmarks file.",
    "The file “%@” is a bookmarks file, but the version is too advanced.",
    "The bookmarks file “%@” could not be read. Please verify that you have read and write access to the file.",
    "The bookmarks file “%@” could not be saved. Please verify that you have read and write access to the file.",
    "A backup for the bookmarks file “%@” could not be created. Please verify that you have read and write access to "
    "the file’s directory.",
    "Safari is currently using the bookmarks file, please wait a while before sorting.",
};

/// Fills a looked-up text: "%@" takes the file name, "%d" the code. The inserted text is not looked at again.
std::string formatted(const std::string& format, const std::string& filename, std::int32_t code) {
  std::string text;
  for (std::size_t at = 0; at < format.size(); ++at) {
    const char next = at + 1 < format.size() ? format[at + 1] : '\0';
    if (format[at] != '%' || (next != '@' && next != 'd' && next != '%')) {
      text.push_back(format[at]);
      continue;
    }
    text += next == '@' ? filename : next == 'd' ? std::to_string(code) : "%";
    ++at;
  }
  return text;
}

}  // namespace

/// What the attempts of one operation pass on.
struct Tarvel::Operation {
  std::string path;
  /// The code to return if memory runs out in the current step.
  TarvelError codeOfStep = TarvelErrorReadFailed;
  std::optional<FileDate> dateBeforeReading;
  std::optional<FileVersion> readVersion;
  PropertyList result;
};

TarvelError Tarvel::sortBookmarks() {
  const std::optional<std::string> path = bookmarksFilename();
  if (!path) return TarvelErrorBookmarksFileNotFound;
  Operation operation;
  operation.path = *path;
  // Memory exhaustion, and any exception of a library, ends the operation with the code of the current step.
  try {
    for (int failedAttempts = 0; failedAttempts < kMostAttempts; ++failedAttempts) {
      if (const std::optional<TarvelError> code = attemptSort(operation)) return *code;
    }
    return TarvelErrorFileInUse;
  } catch (const std::bad_alloc&) {
    // Frees the tree first, so that there is memory for the message.
    operation.result = {};
    logMemoryShortage(*path);
    return operation.codeOfStep;
  } catch (const std::exception&) {
    return operation.codeOfStep;
  }
}

/// The message of the code blames access to the file, so the log names the real cause.
void Tarvel::logMemoryShortage(const std::string& path) {
  platform_.systemLog.log("There is not enough memory to sort the bookmarks file “" + path + "”.");
}

std::optional<TarvelError> Tarvel::attemptSort(Operation& operation) {
  operation.codeOfStep = TarvelErrorReadFailed;
  if (isStopRequested()) return TarvelErrorNone;
  if (isBookmarksFileLocked()) {
    enterStage(SortStage::kWaiting);
    platform_.clock.sleepFor(kLockedPause);
  } else if (const std::optional<TarvelError> code = readAndOrder(operation)) {
    return code;
  }
  // Unreadable dates never compare equal. After a locked wait, an earlier attempt's result is still good if the date
  // is.
  const std::optional<FileDate> dateAfter = bookmarksFileModificationDate();
  if (!dateAfter || operation.dateBeforeReading != dateAfter) return std::nullopt;
  return backUpAndWrite(operation);
}

std::optional<TarvelError> Tarvel::readAndOrder(Operation& operation) {
  operation.result = {};
  enterStage(SortStage::kReading);
  operation.dateBeforeReading = bookmarksFileModificationDate();
  const PropertyList read = readBookmarks(operation.path, &operation.readVersion);
  if (!read.root) return TarvelErrorReadFailed;
  if (!verifyThatDictionaryIsBookmarksFileRootNode(read.root)) return TarvelErrorNotBookmarksFile;
  const PropertyListDictionary root = read.root.dictionary();
  if (!verifyThatDictionaryHasCorrectVersionWithRootNode(root)) return TarvelErrorUnknownVersion;
  sortObserver_->attemptBegan(root);
  platform_.collator.expectTitles(read.tree->numberOfContainers() / kContainersPerBookmark);
  bool didSort = true;
  const PropertyListDictionary sorted = sortBookmarksWithRootDictionaryAndDidSortFlag(root, &didSort);
  // A stopped sort leaves the tree half cleaned and half ordered: it must not be written.
  if (isStopRequested()) return TarvelErrorNone;
  sortObserver_->attemptEnded(sorted, didSort);
  if (!didSort) {
    if (operation.readVersion) sortedFileDate_ = operation.readVersion->date;
    return TarvelErrorNone;
  }
  // A file that lacks the bar or the menu was not written by the browser, and there is no root to write.
  if (!sorted) return TarvelErrorNotBookmarksFile;
  operation.result = {read.tree, sorted.value()};
  return std::nullopt;
}

std::optional<TarvelError> Tarvel::backUpAndWrite(Operation& operation) {
  // Checked before the backup is made, since the attempt may come to nothing.
  if (platform_.fileManager.isOpenForWritingAtPath(operation.path)) return std::nullopt;
  enterStage(SortStage::kWriting);
  operation.codeOfStep = TarvelErrorBackupFailed;
  if (writeBackupFile_ && !writeBackupFileForFilename(operation.path)) return TarvelErrorBackupFailed;
  operation.codeOfStep = TarvelErrorWriteFailed;
  updateWebBookmarkUUIDInDictionary(operation.result.root.dictionary());
  const TarvelError code = writeBookmarks(operation.result, operation.path, operation.readVersion);
  // A concurrent write after the comparison fails the attempt like one before it.
  if (code == TarvelErrorFileInUse) return std::nullopt;
  return code;
}

TarvelError Tarvel::sortBookmarksInFileWithName(const std::string& path) {
  setBookmarksFilename(path);
  return sortBookmarks();
}

void Tarvel::sortBookmarksUserDataError(const void* /*pasteboard*/, const std::string& /*userData*/,
                                        std::string* error) {
  const TarvelError code = sortBookmarks();
  if (code != TarvelErrorNone) *error = stringFromTarvelError(platform_.bundle, code);
}

bool Tarvel::isTarvelError(std::uint64_t code) { return code < kFirstAgentCode; }

std::string Tarvel::stringFromTarvelError(Bundle& bundle, std::int32_t error) {
  const bool hasOwnText = error >= 1 && static_cast<std::size_t>(error) <= kShortMessages.size();
  return bundle.localizedStringForKeyValue(
      hasOwnText ? kShortMessages[static_cast<std::size_t>(error) - 1] : kShortSuccess, "");
}

std::string Tarvel::stringFromTarvelErrorAndFilename(Bundle& bundle, std::int32_t error, const std::string& filename) {
  const auto code = static_cast<std::uint32_t>(error);
  const std::string_view key = code < kLongMessages.size() ? kLongMessages[code] : kLongUnknown;
  return formatted(bundle.localizedStringForKeyValue(key, ""), filename, error);
}

}  // namespace tarvel
