// Any bytes as an XML property list.

#include <memory>

#include "fuzz/round_trips.h"
#include "platform/plist/xml_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const auto tree = std::make_shared<PropertyListTree>();
  const TextReading reading = readXml({data, size}, *tree);
  fuzz::require(!reading.root || !reading.error, "both a root and an error");
  if (reading.root) fuzz::checkRoundTrips({tree, reading.root});
  return 0;
}
