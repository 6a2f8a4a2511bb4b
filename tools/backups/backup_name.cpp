#include "tools/backups/backup_name.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>

namespace tarvel {

namespace {

constexpr std::uint32_t kPerMillisecond = 1'000'000;
/// 9999-12-31 23:59:59.
constexpr std::int64_t kLastSecond = 253'402'300'799;
/// 0 stands for a digit, x for a hexadecimal one.
constexpr std::string_view kPattern = "Bookmarks 0000-00-00 000000.000Z xxxxxxxx.plist";

struct CalendarTime {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  unsigned millisecond = 0;
};

CalendarTime calendarTimeOf(const Date& date) {
  using std::chrono::days;
  using std::chrono::sys_days;
  const std::int64_t seconds = std::clamp<std::int64_t>(date.seconds, 0, kLastSecond);
  const std::chrono::year_month_day day{sys_days(days(seconds / 86'400))};
  const auto ofDay = static_cast<unsigned>(seconds % 86'400);
  return {static_cast<int>(day.year()),
          static_cast<unsigned>(day.month()),
          static_cast<unsigned>(day.day()),
          ofDay / 3600,
          ofDay / 60 % 60,
          ofDay % 60,
          date.nanoseconds / kPerMillisecond};
}

template <std::size_t kSize>
std::string formatted(const char* format, const CalendarTime& t) {
  std::array<char, kSize> text{};
  (void)std::snprintf(text.data(), text.size(), format, t.year, t.month, t.day, t.hour, t.minute, t.second,
                      t.millisecond);
  return text.data();
}

bool hasShape(std::string_view name) {
  if (name.size() != kPattern.size()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const bool isDigit = name[i] >= '0' && name[i] <= '9';
    const bool isHexadecimal = isDigit || (name[i] >= 'a' && name[i] <= 'f');
    const bool fits = kPattern[i] == '0' ? isDigit : kPattern[i] == 'x' ? isHexadecimal : name[i] == kPattern[i];
    if (!fits) return false;
  }
  return true;
}

/// The text there is known to be digits.
unsigned numberAt(std::string_view text, std::size_t at, std::size_t length) {
  unsigned number = 0;
  for (const char digit : text.substr(at, length)) number = number * 10 + static_cast<unsigned>(digit - '0');
  return number;
}

}  // namespace

std::string textOf(const BackupName& name) {
  return formatted<96>("Bookmarks %04d-%02u-%02u %02u%02u%02u.%03uZ ", calendarTimeOf(name.time)) + name.fileTag +
         ".plist";
}

std::optional<BackupName> backupNameFrom(std::string_view name) {
  if (!hasShape(name)) return std::nullopt;
  const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(numberAt(name, 10, 4))),
                                        std::chrono::month(numberAt(name, 15, 2)),
                                        std::chrono::day(numberAt(name, 18, 2))};
  if (!day.ok()) return std::nullopt;
  const std::int64_t days = std::chrono::sys_days(day).time_since_epoch().count();
  const std::int64_t ofDay =
      std::int64_t{numberAt(name, 21, 2)} * 3600 + numberAt(name, 23, 2) * 60 + numberAt(name, 25, 2);
  BackupName read{{days * 86'400 + ofDay, numberAt(name, 28, 3) * kPerMillisecond}, std::string(name.substr(33, 8))};
  // A minute 61 would be read as another instant.
  if (textOf(read) != name) return std::nullopt;
  return read;
}

std::string tagOfFile(const std::string& path) {
  // FNV-1a: the same on every machine and in every version, and enough to tell a few files apart.
  std::uint32_t hash = 2'166'136'261U;
  for (const char byte : std::filesystem::path(path).lexically_normal().string()) {
    hash = (hash ^ static_cast<std::uint8_t>(byte)) * 16'777'619U;
  }
  std::array<char, 9> digits{};
  (void)std::snprintf(digits.data(), digits.size(), "%08x", hash);
  return digits.data();
}

Date nextMillisecond(const Date& date) {
  const std::uint32_t next = (date.nanoseconds / kPerMillisecond + 1) * kPerMillisecond;
  return next < 1'000'000'000U ? Date{date.seconds, next} : Date{date.seconds + 1, 0};
}

std::string utcText(const Date& date) {
  return formatted<96>("%04d-%02u-%02uT%02u:%02u:%02u.%03uZ", calendarTimeOf(date));
}

}  // namespace tarvel
