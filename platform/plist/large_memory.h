#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace tarvel {

/// From this size on memory is worth asking huge pages for: taking it page by page costs more than what is then done
/// with it.
inline constexpr std::size_t kLargeMemory = std::size_t{2} << 20;

/// Uninitialised memory of at least kLargeMemory bytes, on huge pages where the system has them. Throws std::bad_alloc.
[[nodiscard]] void* takeLargeMemory(std::size_t size);
void giveBackLargeMemory(void* memory) noexcept;

/// The standard allocator, but for large blocks.
template <typename T>
struct LargeAllocator {
  using value_type = T;

  LargeAllocator() = default;
  template <typename Other>
  LargeAllocator(const LargeAllocator<Other>& /*other*/) {}  // NOLINT(google-explicit-constructor): a rebinding

  [[nodiscard]] T* allocate(std::size_t count) {
    if (count < kLargeMemory / sizeof(T)) return std::allocator<T>().allocate(count);
    if (count > static_cast<std::size_t>(-1) / 2 / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(takeLargeMemory(count * sizeof(T)));
  }
  void deallocate(T* memory, std::size_t count) noexcept {
    if (count < kLargeMemory / sizeof(T)) {
      std::allocator<T>().deallocate(memory, count);
    } else {
      giveBackLargeMemory(memory);
    }
  }

  friend bool operator==(const LargeAllocator& /*a*/, const LargeAllocator& /*b*/) { return true; }
};

template <typename T>
using LargeVector = std::vector<T, LargeAllocator<T>>;

}  // namespace tarvel
