// Any bytes as a binary property list.

#include <memory>

#include "fuzz/round_trips.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const Data bytes = Data::copyOf({reinterpret_cast<const char*>(data), size});
  const auto tree = std::make_shared<PropertyListTree>();
  const BinaryReading reading = readBinary(bytes, *tree);
  fuzz::require(static_cast<bool>(reading.root) == reading.error.empty(), "neither a root nor an error, or both");
  if (reading.root) fuzz::checkRoundTrips({tree, reading.root});
  return 0;
}
