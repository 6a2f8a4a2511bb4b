// Any bytes as an update feed.

#include <string_view>

#include "fuzz/round_trips.h"
#include "update_check/feed.h"
#include "update_check/plain_text.h"
#include "update_check/version.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const auto versions = versionsInFeed({reinterpret_cast<const char*>(data), size});  // NOLINT: bytes read as text
  if (!versions) return 0;
  for (const auto* kind : {&versions->internal, &versions->shortOnly}) {
    const auto newest = newestUpdate(*kind, "1.0", "");
    for (const std::string& version : *kind) {
      fuzz::require(!version.empty() && plainText(version) == version, "a version is not plain text");
      fuzz::require(!newest || compareVersions(version, *newest) != std::strong_ordering::greater,
                    "a version is newer than the newest");
    }
  }
  return 0;
}
