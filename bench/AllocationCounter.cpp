#include "AllocationCounter.hpp"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace tovanel::chat::bench {

namespace {
// The benchmarks run on one thread: a relaxed load and store keep the count cheap (no locked
// instruction) and free of data races.
std::atomic<std::uint64_t> allocations{0};
}  // namespace

#ifdef TOVANEL_COUNT_ALLOCATIONS
bool countsAllocations() noexcept { return true; }
#else
bool countsAllocations() noexcept { return false; }
#endif

std::uint64_t allocationCount() noexcept { return allocations.load(std::memory_order_relaxed); }

std::size_t heapBytesInUse() noexcept {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace tovanel::chat::bench

#ifdef TOVANEL_COUNT_ALLOCATIONS

namespace {
void* countedAllocation(std::size_t size, std::size_t alignment) noexcept {
  auto& count = tovanel::chat::bench::allocations;
  count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if (size == 0) size = 1;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}
void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* memory = countedAllocation(size, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
constexpr std::size_t kDefault = alignof(std::max_align_t);
}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size, kDefault); }
void* operator new[](std::size_t size) { return allocateOrThrow(size, kDefault); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return countedAllocation(size, kDefault);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return countedAllocation(size, kDefault);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return countedAllocation(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return countedAllocation(size, static_cast<std::size_t>(alignment));
}

// Every form of delete frees what malloc or aligned_alloc returned.
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}

#endif
