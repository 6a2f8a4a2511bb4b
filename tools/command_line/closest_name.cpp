#include "tools/command_line/closest_name.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>

#include "tools/terminal/text.h"

namespace tarvel {

namespace {

std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, substituted});
    }
  }
  return row.back();
}

}  // namespace

std::string closestName(const std::string& given, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 100;
  if (given.size() > kLongest) return {};
  const auto closest = std::ranges::min_element(
      known, std::less<>(), [&given](const std::string& name) { return editDistance(given, name); });
  const bool isClose =
      closest != known.end() && editDistance(given, *closest) <= std::max<std::size_t>(2, given.size() / 3);
  return isClose ? *closest : std::string();
}

std::string didYouMean(const std::string& given, const std::vector<std::string>& known) {
  const std::string meant = closestName(given, known);
  return meant.empty() ? std::string() : "Did you mean " + quotedText(meant) + "?";
}

}  // namespace tarvel
