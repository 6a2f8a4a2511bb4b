#include "platform/memory/memory_preferences_store.h"

#include <algorithm>
#include <memory>

#include "platform/preference_value.h"
#include "platform/storable_preference.h"

namespace tarvel {

void MemoryPreferencesStore::setBoolean(std::string_view key, bool value, std::string_view applicationId) {
  const auto tree = std::make_shared<PropertyListTree>();
  setFlushedValue(key, {tree, tree->makeBoolean(value)}, applicationId);
}

void MemoryPreferencesStore::setInteger(std::string_view key, std::int64_t value, std::string_view applicationId) {
  const auto tree = std::make_shared<PropertyListTree>();
  setFlushedValue(key, {tree, tree->makeInteger(value)}, applicationId);
}

void MemoryPreferencesStore::setString(std::string_view key, std::string_view value, std::string_view applicationId) {
  const auto tree = std::make_shared<PropertyListTree>();
  setFlushedValue(key, {tree, tree->makeString(value)}, applicationId);
}

void MemoryPreferencesStore::setFlushedValue(std::string_view key, const PropertyList& value,
                                             std::string_view applicationId) {
  if (!namesApplication(applicationId)) return;
  Values& flushed = domains_[std::string(applicationId)].flushed;
  if (value.root) {
    // What is on the disk no longer follows what is done to the value here.
    const auto tree = std::make_shared<PropertyListTree>();
    flushed[std::string(key)] = {tree, storedPreference(*tree, value.root)};
  } else {
    flushed.erase(std::string(key));
  }
}

PropertyList MemoryPreferencesStore::flushedValue(std::string_view key, std::string_view applicationId) const {
  const auto domain = domains_.find(applicationId);
  if (domain == domains_.end()) return {};
  const auto found = domain->second.flushed.find(key);
  return found == domain->second.flushed.end() ? PropertyList() : found->second;
}

PropertyList MemoryPreferencesStore::copyAppValue(std::string_view key, std::string_view applicationId) {
  const auto domain = domains_.find(applicationId);
  if (domain == domains_.end()) return {};
  const auto marked = domain->second.marked.find(key);
  return marked == domain->second.marked.end() ? flushedValue(key, applicationId) : marked->second;
}

std::optional<bool> MemoryPreferencesStore::appBooleanValue(std::string_view key, std::string_view applicationId) {
  return booleanFromPreference(copyAppValue(key, applicationId).root);
}

std::optional<std::int64_t> MemoryPreferencesStore::appIntegerValue(std::string_view key,
                                                                    std::string_view applicationId) {
  return integerFromPreference(copyAppValue(key, applicationId).root);
}

std::vector<std::string> MemoryPreferencesStore::copyKeyList(std::string_view applicationId) {
  std::vector<std::string> keys;
  const auto domain = domains_.find(applicationId);
  if (domain == domains_.end()) return keys;
  Values values = domain->second.flushed;
  for (const auto& [key, value] : domain->second.marked) values[key] = value;
  for (const auto& [key, value] : values) {
    if (value.root) keys.push_back(key);
  }
  return keys;
}

void MemoryPreferencesStore::setAppValue(std::string_view key, const PropertyList& value,
                                         std::string_view applicationId) {
  if (namesApplication(applicationId)) domains_[std::string(applicationId)].marked[std::string(key)] = value;
}

bool MemoryPreferencesStore::appSynchronize(std::string_view applicationId) {
  ++flushCount_;
  if (flushHook_) flushHook_();
  if (!namesApplication(applicationId)) return false;
  const auto domain = domains_.find(applicationId);
  if (domain == domains_.end() || domain->second.marked.empty()) return true;
  if (!flushWorks_) return false;
  const auto isStorable = [](const auto& mark) { return !mark.second.root || isStorablePreference(mark.second.root); };
  if (!std::ranges::all_of(domain->second.marked, isStorable)) return false;
  for (const auto& [key, value] : domain->second.marked) setFlushedValue(key, value, applicationId);
  domain->second.marked.clear();
  return true;
}

}  // namespace tarvel
