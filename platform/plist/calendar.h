#pragma once

#include <cmath>
#include <cstdint>

// The proleptic Gregorian calendar. std::chrono is no use here: its years end at 32767.
namespace tarvel {

struct CalendarDate {
  std::int64_t year;
  int month;
  int day;
};

/// Days from 1970-01-01 to 2001-01-01, the epoch of property lists.
inline constexpr std::int64_t kReferenceDay = 11323;
inline constexpr std::int64_t kSecondsPerDay = 86400;

/// Days from 2001-01-01. Months above 12 carry over into years, days past the month's end into months.
[[nodiscard]] constexpr std::int64_t daysFromCalendar(CalendarDate date) {
  // Years are counted from March, so that the leap day is their last day.
  const std::int64_t months = date.year * 12 + (date.month - 1) - 2;
  const std::int64_t year = (months >= 0 ? months : months - 11) / 12;
  const std::int64_t month = months - year * 12;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * month + 2) / 5 + date.day - 1;
  constexpr std::int64_t kMarchOfYear0 = -719468;  // In days from 1970-01-01.
  return kMarchOfYear0 - kReferenceDay + era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
}

/// The date `days` after 2001-01-01.
[[nodiscard]] constexpr CalendarDate calendarFromDays(std::int64_t days) {
  const std::int64_t fromMarch = days + kReferenceDay + 719468;
  const std::int64_t era = (fromMarch >= 0 ? fromMarch : fromMarch - 146096) / 146097;
  const std::int64_t dayOfEra = fromMarch - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  const auto day = static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1);
  const auto civilMonth = static_cast<int>(month < 10 ? month + 3 : month - 9);
  return {yearOfEra + era * 400 + (civilMonth <= 2 ? 1 : 0), civilMonth, day};
}

/// Whether a time, in seconds from 2001-01-01, can be written as a calendar date. False for NaN and infinity.
[[nodiscard]] inline bool hasCalendarDate(double seconds) {
  constexpr double kMost = 9.0e18;  // The seconds and days still fit 64 bits.
  return std::fabs(seconds) <= kMost;
}

}  // namespace tarvel
