#pragma once

#include <unistd.h>

#include <cstdint>
#include <random>

namespace tarvel {

/// A key for hashes, random in each process, so that no file can be crafted whose texts collide. Thread-safe.
[[nodiscard]] inline std::uint64_t randomKey() {
  static const std::uint64_t key = [] {
    std::uint64_t bytes = 0;
    // std::random_device takes forty times as long in a virtual machine.
    if (::getentropy(&bytes, sizeof bytes) == 0) return bytes;
    return std::uint64_t{std::random_device()()} << 32 | std::random_device()();
  }();
  return key;
}

}  // namespace tarvel
