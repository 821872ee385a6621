#pragma once
// What the benchmarks know of the heap: the benchmark binary replaces the global operator new to
// count allocations, and the C allocator tells how many bytes are in use.

#include <cstddef>
#include <cstdint>

namespace tovanel::chat::bench {

/// Whether this binary counts allocations (not under the sanitizers, which own operator new).
bool countsAllocations() noexcept;

/// Allocations through operator new so far, in this process.
std::uint64_t allocationCount() noexcept;

/// Heap bytes in use, as the C allocator counts them: what was asked plus its bookkeeping, in
/// its arenas and in chunks mapped on their own.
std::size_t heapBytesInUse() noexcept;

}  // namespace tovanel::chat::bench
