#include "support/memory.h"

#include <cstdlib>
#include <new>

namespace primfit::testing {

std::atomic<int> allocations{0}, largeAllocations{0};
std::atomic<bool> memoryIsOut{false};

}  // namespace primfit::testing

#if PRIMFIT_COUNTS_MEMORY
void* operator new(std::size_t size) {
  ++primfit::testing::allocations;
  if (size >= 32768) ++primfit::testing::largeAllocations;
  void* memory = primfit::testing::memoryIsOut ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// The standard library's other forms call the ones above; those of a sanitizer's run-time library do not.
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
#endif
