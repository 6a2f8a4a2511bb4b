#include "tools/terminal/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/base/user_folders.h"

namespace tarvel {

namespace {

/// Characters, without the bytes that continue one.
std::size_t lengthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// A byte within $'...'.
std::string escapedForShell(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= 0x20 && byte < 0x7F && c != '\'' && c != '\\') return {c};
  return {'\\', static_cast<char>('0' + (byte >> 6)), static_cast<char>('0' + (byte >> 3 & 7)),
          static_cast<char>('0' + (byte & 7))};
}

}  // namespace

std::string shownPath(std::string_view path) {
  const std::string home = userHomeFolder();
  const bool isInHome = home.size() > 1 && path.starts_with(home) && path.substr(home.size()).starts_with('/');
  return printable(isInHome ? "~" + std::string(path.substr(home.size())) : std::string(path));
}

std::string quotedPath(std::string_view path) { return "“" + shownPath(path) + "”"; }

std::string shellWord(const std::string& word) {
  const bool isEscaped = printable(word) != word;
  std::string text = isEscaped ? "$'" : "'";
  for (const char c : word) {
    if (isEscaped) {
      text += escapedForShell(c);
    } else {
      text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
  }
  return text + "'";
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t kPerMegabyte = 1'000'000;
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  if (bytes < kPerMegabyte) return std::to_string(bytes / 1000) + " kB";
  const std::uint64_t tenths = bytes / (kPerMegabyte / 10);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

std::string sentenceOf(std::string_view text) {
  const bool hasEnd = text.empty() || text.ends_with('.') || text.ends_with('!') || text.ends_with('?');
  return std::string(text) + (hasEnd ? "" : ".");
}

std::string reasonOf(const FileStatus& status) {
  constexpr std::string_view kAfterPath = "”: ";
  const std::size_t path = status.reason.starts_with("“") ? status.reason.rfind(kAfterPath) : std::string::npos;
  return sentenceOf(
      printable(path == std::string::npos ? status.reason : status.reason.substr(path + kAfterPath.size())));
}

std::string joinedSentences(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += (text.empty() || sentence.empty() ? "" : " ") + sentence;
  return text;
}

std::string wrapped(std::string_view text, std::size_t columns, std::size_t indent) {
  if (columns == 0) return std::string(text);
  std::string result;
  std::size_t used = 0;
  bool isAtStart = true;
  while (!text.empty()) {
    const std::size_t gap = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t end = std::min(text.find(' ', gap), text.size());
    const std::string_view word = text.substr(gap, end - gap);
    text.remove_prefix(end);
    if (!isAtStart && used + gap + lengthOf(word) > columns) {
      result += "\n" + std::string(indent, ' ');
      used = indent;
    } else {
      result += std::string(gap, ' ');
      used += gap;
    }
    result += word;
    used += lengthOf(word);
    isAtStart = false;
  }
  return result;
}

std::size_t terminalColumns(int descriptor) {
  constexpr std::size_t kUsual = 80;
  if (::isatty(descriptor) != 1) return 0;
  winsize size{};
  return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

}  // namespace tarvel
