#include "platform/plist/large_memory.h"

#include <sys/mman.h>

#include <cstdlib>

namespace tarvel {

void* takeLargeMemory(std::size_t size) {
  // Aligned to a huge page, so that the first one can be one.
  const std::size_t rounded = (size + kLargeMemory - 1) / kLargeMemory * kLargeMemory;
  void* memory = std::aligned_alloc(kLargeMemory, rounded);
  if (memory == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
  // Advice only: without it the memory is the same, in small pages.
  (void)::madvise(memory, rounded, MADV_HUGEPAGE);
#endif
  return memory;
}

void giveBackLargeMemory(void* memory) noexcept { std::free(memory); }

}  // namespace tarvel
