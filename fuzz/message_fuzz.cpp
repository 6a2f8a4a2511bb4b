// Any bytes as messages of a browser's extension: the host replies with well-formed JSON of bounded size.

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "browser/host/session.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// Aborts unless the reply is well-formed.
void checkReply(std::string_view reply) {
  require(reply.size() <= tarvel::kLongestReply);
  const nlohmann::json json = nlohmann::json::parse(reply, nullptr, false);
  // This parser refuses lone surrogates, which titles may contain.
  if (json.is_discarded()) {
    require(reply.find("\\ud") != std::string_view::npos);
    return;
  }
  require(json.is_object() && json["type"].is_string());
  if (json["type"] != "operations") return;
  for (const auto& operation : json["list"]) require(operation.is_array() && operation.size() >= 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  tarvel::PlistSerialization serialization;
  tarvel::MemoryPlatform memory(serialization);
  const tarvel::Platform platform = memory.platform();
  tarvel::MemoryPreferencesStore preferences;
  tarvel::BrowserSession session(platform, preferences, "/records", [](std::string_view reply) {
    checkReply(reply);
    return true;
  });
  std::string hello = R"({"type":"hello","protocol":1,"profile":"fuzz"})";
  require(session.answer(hello));
  // One message per line: JSON does not need line breaks.
  const std::string all(reinterpret_cast<const char*>(bytes), size);  // NOLINT: bytes read as chars
  for (std::size_t begin = 0; begin <= all.size();) {
    const std::size_t end = std::min(all.find('\n', begin), all.size());
    std::string message = all.substr(begin, end - begin);
    if (!session.answer(message)) return 0;
    begin = end + 1;
  }
  return 0;
}
