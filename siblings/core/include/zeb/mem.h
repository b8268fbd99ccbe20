#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "zeb/core_export.h"

/// Aligned memory. Blocks are aligned to 64 bytes and are followed by at least 64 bytes of slack, so that a packed
/// load or store of 16 bytes that begins inside a block stays inside the memory that belongs to it. The slack holds
/// zeros at first: what looks a few pixels beyond the last row, as morphology does on narrow images, sees the same at
/// every call.
namespace zeb::mem {

/// Thrown where an image or a container finds no memory; `what()` is "bad allocation" on every platform.
class ZEB_CORE_API bad_allocation : public std::bad_alloc {
 public:
  ~bad_allocation() override;
  /// "bad allocation".
  const char* what() const noexcept override;
};

/// A block of at least `bytes` bytes, or null. The contents are not initialised, the slack is zero.
/// A size that is the unsigned form of a negative number gives null, 0 gives a valid block.
ZEB_CORE_API void* aligned_alloc(std::size_t bytes);

/// The same with a start address that is a multiple of `alignment` as well, which must be a power of two, else null.
ZEB_CORE_API void* aligned_alloc(std::size_t bytes, std::size_t alignment);

/// A block of at least `bytes` bytes, or null after `times` attempts; fewer than one counts as one.
ZEB_CORE_API void* aligned_alloc_times(std::size_t bytes, int times);

/// Releases a block from any of the allocating functions. Null is ignored.
ZEB_CORE_API void aligned_free(void* block);

/// `count * element_size`, or `SIZE_MAX`, which no allocation grants, where `count` is negative or the product does
/// not fit.
ZEB_CORE_API std::size_t byte_count(std::int64_t count, std::size_t element_size);

/// `aligned_alloc`, but throws `bad_allocation` instead of returning null.
ZEB_CORE_API void* alloc_or_throw(std::size_t bytes);

/// Standard allocator over `aligned_alloc`; throws `bad_allocation`.
template <class T>
class ProtectedAllocator {
 public:
  /// What an allocator is for.
  using value_type = T;

  ProtectedAllocator() = default;
  /// From the allocator of another element type, which has no state to take over.
  template <class U>
  ProtectedAllocator(const ProtectedAllocator<U>&) {}  // NOLINT(google-explicit-constructor): rebinding

  /// Room for `count` elements.
  T* allocate(std::size_t count) {
    const std::size_t bytes = count > SIZE_MAX / sizeof(T) ? SIZE_MAX : count * sizeof(T);
    return static_cast<T*>(alloc_or_throw(bytes));
  }
  /// Releases what `allocate` gave.
  void deallocate(T* block, std::size_t) { aligned_free(block); }

  /// All are equal: each releases the blocks of any other.
  friend bool operator==(const ProtectedAllocator&, const ProtectedAllocator&) { return true; }
  /// Never.
  friend bool operator!=(const ProtectedAllocator&, const ProtectedAllocator&) { return false; }
};

}  // namespace zeb::mem
