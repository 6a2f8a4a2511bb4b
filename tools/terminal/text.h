#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/linux/base/safe_text.h"

// Pieces of text for people. Pure functions, except that shownPath() and terminalColumns() ask the system.
namespace tarvel {

/// A path as messages show it: with ~ in place of the user's home folder, in curly quotes, safe to show.
[[nodiscard]] std::string quotedPath(std::string_view path);
/// The same without quotes.
[[nodiscard]] std::string shownPath(std::string_view path);

/// One word for a shell, safe to show and to paste. Where printable() would change it, $'...' with escapes, which bash
/// and zsh read.
[[nodiscard]] std::string shellWord(const std::string& word);

/// "1 folder", "2 folders".
[[nodiscard]] std::string counted(std::size_t count, const char* one, const char* many);

/// "512 bytes", "20 kB", "1.5 MB"; rounded down.
[[nodiscard]] std::string sizeText(std::uint64_t bytes);

/// The sentence with its full stop, which system messages lack.
[[nodiscard]] std::string sentenceOf(std::string_view text);

/// Why a file operation failed, as a sentence that is safe to show. Without the path that the system's reason begins
/// with: a message has named the file.
[[nodiscard]] std::string reasonOf(const FileStatus& status);

/// The sentences on one line, without the empty ones.
[[nodiscard]] std::string joinedSentences(const std::vector<std::string>& sentences);

/// Breaks lines at spaces so that none is longer than `columns` characters, unless one word is. Every line after the
/// first begins with `indent` spaces. 0 columns: no break.
[[nodiscard]] std::string wrapped(std::string_view text, std::size_t columns, std::size_t indent = 0);

/// The width of the terminal behind a descriptor; 0 when it is not a terminal.
[[nodiscard]] std::size_t terminalColumns(int descriptor);

}  // namespace tarvel
