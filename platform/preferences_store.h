#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace tarvel {

/// The current user's settings, by application identifier. A key holds any property list. Reads see this process's
/// unsaved changes, then the disk, including changes by other processes. Single-threaded.
///
/// An invalid identifier (empty, longer than 255 bytes, "." or "..", or with a slash or zero byte) has no settings:
/// reads find nothing, writes are dropped, appSynchronize() fails.
class PreferencesStore {
 public:
  virtual ~PreferencesStore() = default;

  /// None when the key is absent or its value does not convert to a boolean: a boolean, an integer (true unless its low
  /// 32 bits are zero), or "yes", "no", "true" or "false" in any case.
  [[nodiscard]] virtual std::optional<bool> appBooleanValue(std::string_view key, std::string_view applicationId) = 0;

  /// None when the key is absent or its value does not convert to an integer: an integer (its low 64 bits), or a string
  /// that consists of one, saturated to 32 bits. A boolean does not convert.
  [[nodiscard]] virtual std::optional<std::int64_t> appIntegerValue(std::string_view key,
                                                                    std::string_view applicationId) = 0;

  /// The stored value of any type; a list without a root when the key is absent.
  [[nodiscard]] virtual PropertyList copyAppValue(std::string_view key, std::string_view applicationId) = 0;

  /// All keys that have a value, in byte order.
  [[nodiscard]] virtual std::vector<std::string> copyKeyList(std::string_view applicationId) = 0;

  /// Sets `key` in this process; appSynchronize() writes it to disk. A list without a root removes the key.
  virtual void setAppValue(std::string_view key, const PropertyList& value, std::string_view applicationId) = 0;

  /// Writes all pending changes to disk, key by key, keeping concurrent changes of other keys. Success when nothing is
  /// pending. On failure the changes stay pending and the next call retries. Fails, and writes nothing, while a pending
  /// value cannot be stored: it contains a null, a set, a key that is not a string or itself, nests more than 511
  /// containers, or exceeds 100,000 values or 4 MB of strings and data. Dates are stored in whole seconds.
  [[nodiscard]] virtual bool appSynchronize(std::string_view applicationId) = 0;
};

}  // namespace tarvel
