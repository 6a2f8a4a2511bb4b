// plist_dump FILE...: one line of JSON for each file: format and tree, or the error, and the tree written in both
// formats.

#include <iostream>
#include <string>

#include "platform/plist/serialization.h"
#include "tests/support/file_contents.h"
#include "tests/support/vector_tree.h"

namespace tarvel {
namespace {

nlohmann::json described(const std::string& bytes) {
  PlistSerialization serialization;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
  if (reading.error) return {{"ok", false}, {"error", reading.error->description}};
  nlohmann::json line = {{"ok", true}, {"format", reading.format}, {"tree", toJson(reading.list.root)}};
  for (const auto format : {PropertyListFormat::kXml, PropertyListFormat::kBinary}) {
    const PropertyListWriting writing =
        serialization.dataWithPropertyList(reading.list, static_cast<std::uint32_t>(format));
    const char* name = format == PropertyListFormat::kXml ? "xml" : "binary";
    line[name] = writing.error ? nlohmann::json() : nlohmann::json(encodeBase64(writing.data.joined()));
  }
  return line;
}

}  // namespace
}  // namespace tarvel

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::cout << tarvel::described(tarvel::contentsOf(argv[i])).dump() << "\n";
  }
  return 0;
}
