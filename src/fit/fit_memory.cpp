#include "fit/fit_memory.h"

#include <algorithm>
#include <new>

namespace primfit {

/// The head of a block; the room that it hands out follows it in memory.
struct FitMemory::Block {
  Block* outer;
  std::size_t room;
  std::size_t used = 0;
  std::byte* Begin() { return reinterpret_cast<std::byte*>(this) + RoundedUp(sizeof(Block)); }
};

thread_local FitMemory::Block* FitMemory::innermost_ = nullptr;

void FitMemory::Free::operator()(Block* block) const noexcept {
  innermost_ = block->outer;
  ::operator delete(block);
}

FitMemory::FitMemory(std::size_t bytes)
    : block_(new (::operator new(RoundedUp(sizeof(Block)) + bytes)) Block{innermost_, bytes}) {
  innermost_ = block_.get();
}

FitMemory::~FitMemory() = default;

std::byte* FitMemory::Take(std::size_t bytes) noexcept {
  if (innermost_ == nullptr || RoundedUp(bytes) > innermost_->room - innermost_->used) return nullptr;
  std::byte* buffer = innermost_->Begin() + innermost_->used;
  innermost_->used += RoundedUp(bytes);
  return buffer;
}

void FitMemory::GiveBack(const std::byte* buffer) noexcept {
  innermost_->used = std::min(innermost_->used, static_cast<std::size_t>(buffer - innermost_->Begin()));
}

}  // namespace primfit
