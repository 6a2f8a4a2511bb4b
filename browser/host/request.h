#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "browser/host/browser_tree.h"

namespace tarvel {

enum class RequestType : std::uint8_t { kUnknown, kHello, kPlan, kDone, kSet };

/// What a plan is for.
enum class Task : std::uint8_t { kSort, kClean, kUndo };

/// A message of the extension; docs/PROTOCOL.md describes the fields. An absent one keeps its default.
struct Request {
  RequestType type = RequestType::kUnknown;
  std::int64_t protocol = 0;
  std::string profile;
  std::optional<Task> task;
  bool isPreview = false;
  /// Identifies the plan that the user agreed to; empty for none.
  std::string agreed;
  /// Of the page.
  std::string language;
  std::optional<bool> automatic;
  std::optional<BrowserTree> tree;
};

/// Reads a message. None for a message that is not a JSON object, has a field of a wrong type, nests folders deeper
/// than kDeepestFolder, has more than kMostNodes entries, repeats an id or has one longer than kLongestId. Unknown
/// fields are ignored. `message` is padded in place.
[[nodiscard]] std::optional<Request> readRequest(std::string& message);

}  // namespace tarvel
