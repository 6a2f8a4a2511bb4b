// Any bytes as a feed of updates.

#include <string_view>

#include "fuzz/round_trips.h"
#include "update_check/feed.h"
#include "update_check/version.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const auto versions = versionsInFeed({reinterpret_cast<const char*>(data), size});  // NOLINT: bytes read as text
  if (!versions) return 0;
  const auto newest = newestUpdate(*versions, "1.0", "");
  for (const std::string& version : *versions) {
    fuzz::require(!version.empty() && version.find('\n') == std::string::npos, "a version of no or several lines");
    fuzz::require(!newest || compareVersions(version, *newest) != std::strong_ordering::greater,
                  "a version newer than the newest");
  }
  return 0;
}
