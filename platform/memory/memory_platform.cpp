#include "platform/memory/memory_platform.h"

#include <algorithm>

namespace tarvel {

std::vector<std::uint32_t> MemoryCollator::rank(std::span<const std::string_view> titles) {
  std::vector<std::string> keys;
  for (const std::string_view title : titles) {
    std::string& key = keys.emplace_back(title);
    std::ranges::transform(key, key.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  }
  std::vector<std::string> order = keys;
  std::ranges::sort(order);
  std::vector<std::uint32_t> ranks;
  ranks.reserve(keys.size());
  for (const std::string& key : keys) {
    ranks.push_back(static_cast<std::uint32_t>(std::ranges::lower_bound(order, key) - order.begin()));
  }
  return ranks;
}

void MemoryClock::sleepFor(std::chrono::milliseconds duration) {
  sleeps_.push_back(duration);
  time_.pass(std::max(duration, std::chrono::milliseconds(0)));
  if (hook_) hook_(sleeps_.size());
}

std::array<std::uint8_t, 16> MemoryUuidSource::createUuid() {
  std::array<std::uint8_t, 16> uuid{};
  uuid[6] = 0x40;
  uuid[8] = 0x80;
  ++count_;
  for (std::size_t i = 0; i < sizeof count_; ++i) uuid[15 - i] = static_cast<std::uint8_t>(count_ >> (8 * i));
  return uuid;
}

}  // namespace tarvel
