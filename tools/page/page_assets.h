#pragma once

#include <string_view>

namespace tarvel {

/// What every page carries, embedded by the build: a text, and its SHA-256 as a content security policy names it
/// ("sha256-" and base64), so that a browser runs and applies this text and no other.
struct PageAsset {
  std::string_view text;
  std::string_view hash;
};

/// tools/page/page.css and tools/page/page.js, to the byte.
[[nodiscard]] PageAsset pageStyle();
[[nodiscard]] PageAsset pageScript();

}  // namespace tarvel
