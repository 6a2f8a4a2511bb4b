#pragma once

#include "platform/plist/text_output.h"
#include "platform/property_list.h"

namespace tarvel {

/// A property list as JSON, keys in order. Values that JSON lacks are written as others: data as
/// base64, dates as UTC text (seconds since 2001 where they are out of range), a UID as {"CF$UID": n}, a set as an
/// array, a real that is no number as a text, a lone surrogate as U+FFFD.
///
/// Goes into `sink` piece by piece: a small list can come to very much text.
void writePropertyListAsJson(PropertyListValue root, const ByteSink& sink);

}  // namespace tarvel
