#include "support/memory.h"

#include <cstdlib>
#include <new>

namespace primfit::testing {

std::atomic<int> allocations{0};
std::atomic<bool> memoryIsOut{false};

}  // namespace primfit::testing

void* operator new(std::size_t size) {
  ++primfit::testing::allocations;
  void* memory = primfit::testing::memoryIsOut ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
