#include "platform/memory/memory_bundles.h"

namespace tarvel {

namespace {

std::string withoutSlashAtTheEnd(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::optional<std::string> MemoryBundle::stringForInfoDictionaryKey(std::string_view key) {
  const auto found = information_.find(key);
  if (found == information_.end()) return std::nullopt;
  return found->second;
}

std::string MemoryBundle::localizedStringForKeyValue(std::string_view key, std::string_view value) {
  const auto translation = translations_.find(key);
  if (translation != translations_.end()) return translation->second;
  return std::string(value.empty() ? key : value);
}

MemoryBundle& MemoryBundles::at(const std::string& path) {
  const std::string folder = withoutSlashAtTheEnd(path);
  MemoryBundle& bundle = bundles_[folder];
  bundle.setPath(folder);
  return bundle;
}

std::unique_ptr<Bundle> MemoryBundles::bundleWithPath(const std::string& path) {
  ++lookups_;
  const auto found = bundles_.find(withoutSlashAtTheEnd(path));
  if (found == bundles_.end()) return nullptr;
  return std::make_unique<MemoryBundle>(found->second);
}

}  // namespace tarvel
