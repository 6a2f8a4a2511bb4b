#include "platform/linux/files/file_size_limit.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>

#include "platform/linux/base/safe_text.h"

namespace tarvel {

namespace {

constexpr std::string_view kSuffixes = "KMG";
constexpr std::array<const char*, 4> kUnits = {" bytes", " KiB", " MiB", " GiB"};
constexpr unsigned kBitsPerUnit = 10;

}  // namespace

std::size_t fileSizeLimitFrom(std::string_view text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  std::string_view rest = text.substr(static_cast<std::size_t>(end - text.data()));
  if (error != std::errc() || number == 0) return kDefaultFileSizeLimit;
  unsigned shift = 0;
  if (!rest.empty() && kSuffixes.find(rest.front()) != std::string_view::npos) {
    shift = kBitsPerUnit * static_cast<unsigned>(kSuffixes.find(rest.front()) + 1);
    rest.remove_prefix(1);
  }
  if (!rest.empty() || number > std::numeric_limits<std::size_t>::max() >> shift) return kDefaultFileSizeLimit;
  return number << shift;
}

std::size_t fileSizeLimit() {
  const char* text = std::getenv(kFileSizeLimitVariable);
  return text == nullptr ? kDefaultFileSizeLimit : fileSizeLimitFrom(text);
}

FileStatus fileTooLarge(std::size_t most, const std::string& path) {
  return {EFBIG, quotedText(path) + " is larger than " + fileSizeText(most) +
                     ", the most that is read. To raise the limit, set the environment variable " +
                     kFileSizeLimitVariable + " to a size such as 2G."};
}

std::string fileSizeText(std::size_t bytes) {
  std::size_t unit = 0;
  for (; unit + 1 < kUnits.size() && bytes != 0 && bytes % 1024 == 0; ++unit) bytes /= 1024;
  return std::to_string(bytes) + kUnits[unit];
}

}  // namespace tarvel
