#pragma once

#include <string>

#include "platform/date.h"

namespace tarvel {

/// Day and time of day where the user is, to the second.
[[nodiscard]] std::string localTimeText(const Date& date);
/// The same for seconds since 2001, as property lists count.
[[nodiscard]] std::string localTimeText(double secondsSince2001);
/// Whole seconds.
[[nodiscard]] double secondsSince2001(const Date& date);
/// Now.
[[nodiscard]] double secondsSince2001();

}  // namespace tarvel
