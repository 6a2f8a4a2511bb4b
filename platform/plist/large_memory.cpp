#include "platform/plist/large_memory.h"

#include <sys/mman.h>

#include <cstdlib>

namespace tarvel {

void* takeLargeMemory(std::size_t size) {
  // Aligned to a huge page. The end stays on small pages, since all of a huge page is resident once it is touched.
  void* memory = nullptr;
  if (::posix_memalign(&memory, kLargeMemory, size) != 0) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
  // Advice only: without it the memory is the same, in small pages.
  (void)::madvise(memory, size / kLargeMemory * kLargeMemory, MADV_HUGEPAGE);
#endif
  return memory;
}

void giveBackLargeMemory(void* memory) noexcept { std::free(memory); }

}  // namespace tarvel
