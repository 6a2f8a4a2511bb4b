#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace tarvel {

/// The current user's settings of each application, addressed by the application's identifier. A key holds any property
/// list. Reads see what this process set, then what any process has put on the disk. One thread.
///
/// An identifier that is empty, longer than 255 bytes, "." or "..", or holds a slash or a zero byte names no
/// application: nothing is ever set or read under it, and appSynchronize() fails.
class PreferencesStore {
 public:
  virtual ~PreferencesStore() = default;

  /// None when the key is absent or what it holds does not stand for a boolean: a boolean, an integer (true unless its
  /// low 32 bits are zero), or "yes", "no", "true" or "false" in any case.
  [[nodiscard]] virtual std::optional<bool> appBooleanValue(std::string_view key, std::string_view applicationId) = 0;

  /// None when the key is absent or what it holds does not stand for an integer: an integer (its low 64 bits), or a
  /// string that is wholly one, held to 32 bits. A boolean is none.
  [[nodiscard]] virtual std::optional<std::int64_t> appIntegerValue(std::string_view key,
                                                                    std::string_view applicationId) = 0;

  /// The value itself, whatever it is; a list without a root when the key is absent.
  [[nodiscard]] virtual PropertyList copyAppValue(std::string_view key, std::string_view applicationId) = 0;

  /// Every key that has a value, in the order of its bytes.
  [[nodiscard]] virtual std::vector<std::string> copyKeyList(std::string_view applicationId) = 0;

  /// Puts `value` under `key`, for this process at once, for others and for good with appSynchronize(). A list without
  /// a root removes the key.
  virtual void setAppValue(std::string_view key, const PropertyList& value, std::string_view applicationId) = 0;

  /// Puts what was set since the last time on the disk, key by key, and leaves keys that others set meanwhile alone.
  /// False when that failed; what was set stays set, and the next call tries again. So it is, and nothing is put on the
  /// disk, while a value is set that could not be read again: one that holds a null, a set, a key that is no text or
  /// itself, nests more than 511 containers deep, or comes to more than 100,000 values or 4 MB of texts and data. Of a
  /// date the whole seconds are kept. Nothing to be put there is no failure.
  [[nodiscard]] virtual bool appSynchronize(std::string_view applicationId) = 0;
};

}  // namespace tarvel
