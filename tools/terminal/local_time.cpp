#include "tools/terminal/local_time.h"

#include <cmath>
#include <ctime>

namespace tarvel {

namespace {

constexpr double kSecondsTo2001 = 978307200;

}  // namespace

std::string localTimeText(const Date& date) {
  const std::time_t seconds = date.seconds;
  std::tm parts{};
  char text[64] = {};
  if (::localtime_r(&seconds, &parts) == nullptr) return "at a time beyond the calendar";
  if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) == 0) return "at a time beyond the calendar";
  return text;
}

double secondsSince2001(const Date& date) { return static_cast<double>(date.seconds) - kSecondsTo2001; }

double secondsSince2001() { return secondsSince2001({std::time(nullptr), 0}); }

std::string localTimeText(double secondsSince2001) {
  constexpr double kMost = 1e12;
  if (!(std::abs(secondsSince2001) < kMost)) return "at a time beyond the calendar";
  return localTimeText(Date{static_cast<std::int64_t>(std::floor(secondsSince2001 + kSecondsTo2001)), 0});
}

}  // namespace tarvel
