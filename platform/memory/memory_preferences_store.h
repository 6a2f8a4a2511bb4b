#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/preferences_store.h"

namespace tarvel {

/// Settings in memory: this process's pending changes, and the "disk" that other processes see.
class MemoryPreferencesStore final : public PreferencesStore {
 public:
  // For tests: writes to the "disk", as another process would.
  void setBoolean(std::string_view key, bool value, std::string_view applicationId);
  void setInteger(std::string_view key, std::int64_t value, std::string_view applicationId);
  void setString(std::string_view key, std::string_view value, std::string_view applicationId);
  void setFlushedValue(std::string_view key, const PropertyList& value, std::string_view applicationId);
  /// Makes flushes fail or succeed.
  void setFlushWorks(bool works) { flushWorks_ = works; }
  /// Called at the beginning of every flush.
  void setFlushHook(std::function<void()> hook) { flushHook_ = std::move(hook); }
  [[nodiscard]] PropertyList flushedValue(std::string_view key, std::string_view applicationId) const;
  [[nodiscard]] std::size_t flushCount() const { return flushCount_; }

  [[nodiscard]] std::optional<bool> appBooleanValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::optional<std::int64_t> appIntegerValue(std::string_view key,
                                                            std::string_view applicationId) override;
  [[nodiscard]] PropertyList copyAppValue(std::string_view key, std::string_view applicationId) override;
  [[nodiscard]] std::vector<std::string> copyKeyList(std::string_view applicationId) override;
  void setAppValue(std::string_view key, const PropertyList& value, std::string_view applicationId) override;
  [[nodiscard]] bool appSynchronize(std::string_view applicationId) override;

 private:
  using Values = std::map<std::string, PropertyList, std::less<>>;
  struct Domain {
    Values flushed;
    /// A list without a root removes the key.
    Values marked;
  };

  std::map<std::string, Domain, std::less<>> domains_;
  std::function<void()> flushHook_;
  std::size_t flushCount_ = 0;
  bool flushWorks_ = true;
};

}  // namespace tarvel
