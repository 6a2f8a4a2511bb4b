#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// What the program carries with it besides its code.
class Bundle {
 public:
  virtual ~Bundle() = default;

  /// The user's language's text for `key` in the default strings table. Without a translation: `value`, or `key`
  /// itself when `value` is empty.
  [[nodiscard]] virtual std::string localizedStringForKeyValue(std::string_view key, std::string_view value) = 0;
};

}  // namespace tarvel
