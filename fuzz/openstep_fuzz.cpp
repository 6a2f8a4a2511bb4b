// Any bytes as an OpenStep property list.

#include <memory>

#include "fuzz/round_trips.h"
#include "platform/plist/openstep_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const auto tree = std::make_shared<PropertyListTree>();
  const TextReading reading = readOpenStep({data, size}, *tree);
  fuzz::require(static_cast<bool>(reading.root) != reading.error.has_value(), "neither a root nor an error, or both");
  if (reading.root) fuzz::checkRoundTrips({tree, reading.root});
  return 0;
}
