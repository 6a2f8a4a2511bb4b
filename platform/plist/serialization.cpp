#include "platform/plist/serialization.h"

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "platform/plist/binary_reader.h"
#include "platform/plist/binary_writer.h"
#include "platform/plist/openstep_reader.h"
#include "platform/plist/writable_check.h"
#include "platform/plist/xml_reader.h"
#include "platform/plist/xml_writer.h"

namespace tarvel {

namespace {

PropertyListError outOfMemory() { return {"Out of memory", 0, {}}; }

PropertyListReading succeeded(std::shared_ptr<PropertyListTree> tree, PropertyListValue root,
                              PropertyListFormat format) {
  PropertyListReading reading;
  reading.list = {std::move(tree), root};
  reading.format = format;
  return reading;
}

PropertyListReading failed(PropertyListError error) {
  PropertyListReading reading;
  reading.error = std::move(error);
  return reading;
}

/// Each attempt gets its own tree, which is discarded on failure.
PropertyListReading read(const Data& data) {
  if (data.size() == 0) return failed({"Cannot parse a NULL or zero-length data", 0, {}});
  std::string binaryError;
  if (looksBinary(data.bytes())) {
    auto tree = std::make_shared<PropertyListTree>();
    BinaryReading binary = readBinary(data, *tree);
    if (binary.root) return succeeded(std::move(tree), binary.root, PropertyListFormat::kBinary);
    binaryError = std::move(binary.error);
  }
  auto tree = std::make_shared<PropertyListTree>();
  TextReading xml = readXml(data.bytes(), *tree);
  if (xml.root) return succeeded(std::move(tree), xml.root, PropertyListFormat::kXml);
  tree = std::make_shared<PropertyListTree>();
  TextReading openStep = readOpenStep(data.bytes(), *tree);
  if (openStep.root) return succeeded(std::move(tree), openStep.root, PropertyListFormat::kOpenStep);
  // The XML error comes first, as on the original platform; the OpenStep error only replaces a missing one.
  PropertyListError error = std::move(xml.error ? xml.error : openStep.error).value_or(PropertyListError{});
  error.binaryDescription = std::move(binaryError);
  return failed(std::move(error));
}

PropertyListWriting write(const PropertyList& list, std::uint32_t format) {
  if (!list.root) return {{}, findUnwritable(list.root, format)};
  if (format == static_cast<std::uint32_t>(PropertyListFormat::kXml)) return writeXml(list);
  if (format == static_cast<std::uint32_t>(PropertyListFormat::kBinary)) return writeBinary(list);
  return {{}, PropertyListError{"(null)", 0, {}}};
}

}  // namespace

PropertyListReading PlistSerialization::propertyListFromData(const Data& data) {
  try {
    return read(data);
  } catch (const std::bad_alloc&) {
    return failed(outOfMemory());
  } catch (const std::exception& error) {
    // Such as std::length_error, or no source of random numbers for a hash key.
    return failed({error.what(), 0, {}});
  }
}

PropertyListWriting PlistSerialization::dataWithPropertyList(const PropertyList& list, std::uint32_t format) {
  try {
    return write(list, format);
  } catch (const std::bad_alloc&) {
    return {{}, outOfMemory()};
  } catch (const std::exception& error) {
    return {{}, PropertyListError{error.what(), 0, {}}};
  }
}

}  // namespace tarvel
