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

/// What the attempts of one operation leave behind.
struct Tarvel::Attempts {
  int failed = 0;
  /// The code of the step that an attempt is in, should memory run out there.
  TarvelError failure = TarvelErrorReadFailed;
  std::optional<FileDate> dateBeforeReading;
  std::optional<FileVersion> readVersion;
  /// Keeps the tree of `result` alive.
  std::shared_ptr<PropertyListTree> tree;
  PropertyListDictionary result;
  bool didSort = true;
};

TarvelError Tarvel::sortBookmarks() {
  const std::optional<std::string> path = bookmarksFilename();
  if (!path) return TarvelErrorBookmarksFileNotFound;
  Attempts attempts;
  // Memory that runs out, or what a library throws in its place, ends the run with the code of the step it was in.
  try {
    return attemptUntilWritten(*path, attempts);
  } catch (const std::bad_alloc&) {
    // What was read is given back first, so that there is memory for the message.
    attempts.result = {};
    attempts.tree.reset();
    logMemoryShortage(*path);
    return attempts.failure;
  } catch (const std::exception&) {
    return attempts.failure;
  }
}

/// The message of the code blames access to the file, so the log names the true reason.
void Tarvel::logMemoryShortage(const std::string& path) {
  platform_.systemLog.log("There is not enough memory to sort the bookmarks file “" + path + "”.");
}

TarvelError Tarvel::attemptUntilWritten(const std::string& path, Attempts& attempts) {
  TarvelError error = TarvelErrorFileInUse;
  // A change that comes too late for the comparison, but before the file is replaced, is one more failed attempt.
  for (; error == TarvelErrorFileInUse && attempts.failed < kMostAttempts; ++attempts.failed) {
    attempts.failure = TarvelErrorReadFailed;
    error = attemptUntilUnchanged(path, attempts);
    if (error == TarvelErrorNone && attempts.readVersion) sortedFileDate_ = attempts.readVersion->date;
    if (error != TarvelErrorNone || !attempts.didSort) return error;
    // Asked before there is a backup, of which nothing might come.
    if (platform_.fileManager.isOpenForWritingAtPath(path)) {
      error = TarvelErrorFileInUse;
      continue;
    }
    enterStage(SortStage::kWriting);
    attempts.failure = TarvelErrorBackupFailed;
    if (writeBackupFile_ && !writeBackupFileForFilename(path)) return TarvelErrorBackupFailed;
    attempts.failure = TarvelErrorWriteFailed;
    updateWebBookmarkUUIDInDictionary(attempts.result);
    error = writeBookmarks({attempts.tree, attempts.result.value()}, path, attempts.readVersion);
  }
  return error;
}

TarvelError Tarvel::attemptUntilUnchanged(const std::string& path, Attempts& attempts) {
  for (; attempts.failed < kMostAttempts; ++attempts.failed) {
    if (isStopRequested()) {
      attempts.didSort = false;
      return TarvelErrorNone;
    }
    if (isBookmarksFileLocked()) {
      enterStage(SortStage::kWaiting);
      platform_.clock.sleepFor(kLockedPause);
    } else {
      const TarvelError error = readAndOrder(path, attempts);
      if (error != TarvelErrorNone || !attempts.didSort) return error;
    }
    // A date that cannot be had is unlike any other. A locked attempt may still take over an earlier one's result.
    const std::optional<FileDate> dateAfter = bookmarksFileModificationDate();
    if (dateAfter && attempts.dateBeforeReading == dateAfter) return TarvelErrorNone;
  }
  return TarvelErrorFileInUse;
}

TarvelError Tarvel::readAndOrder(const std::string& path, Attempts& attempts) {
  attempts.result = {};
  attempts.tree.reset();
  attempts.didSort = true;
  enterStage(SortStage::kReading);
  attempts.dateBeforeReading = bookmarksFileModificationDate();
  const PropertyList read = readBookmarks(path, &attempts.readVersion);
  if (!read.root) return TarvelErrorReadFailed;
  if (!verifyThatDictionaryIsBookmarksFileRootNode(read.root)) return TarvelErrorNotBookmarksFile;
  const PropertyListDictionary root = read.root.dictionary();
  if (!verifyThatDictionaryHasCorrectVersionWithRootNode(root)) return TarvelErrorUnknownVersion;
  sortObserver_->attemptBegan(root);
  attempts.tree = read.tree;
  attempts.result = sortBookmarksWithRootDictionaryAndDidSortFlag(root, &attempts.didSort);
  if (isStopRequested()) {
    // Half a tree is cleaned and ordered by now: nothing of it may be written.
    attempts.didSort = false;
    return TarvelErrorNone;
  }
  sortObserver_->attemptEnded(attempts.result, attempts.didSort);
  // Without a bar or a menu to put back there is no root to write, and what was read is no file of the browser's.
  if (attempts.didSort && !attempts.result) return TarvelErrorNotBookmarksFile;
  return TarvelErrorNone;
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
