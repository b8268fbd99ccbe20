#include "zeb/mem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "siblings/core/allocation_failure.h"

namespace zeb::mem {
namespace {

constexpr std::size_t alignment_default = 64;
constexpr std::size_t slack = 64;
// Larger blocks than any machine grants. Refusing them here keeps the sum of size and slack from overflowing and
// spares memory checkers, which end the process on such a request.
constexpr std::size_t largest_block = std::size_t{1} << 39;

thread_local int successes_left = -1;
thread_local int blocks = 0;

bool allocation_is_to_fail() {
  if (successes_left > 0)
    --successes_left;
  else if (successes_left == 0)
    return true;
  return false;
}

void* try_alloc(std::size_t bytes, std::size_t alignment) {
  const bool power_of_two = alignment != 0 && (alignment & (alignment - 1)) == 0;
  if (!power_of_two || bytes > largest_block || alignment > largest_block) return nullptr;
  const std::size_t boundary = std::max(alignment, alignment_default);
  const std::size_t whole = (bytes + slack + boundary - 1) & ~(boundary - 1);
  void* block = std::aligned_alloc(boundary, whole);
  if (block == nullptr) return nullptr;
  ++blocks;
  std::memset(static_cast<unsigned char*>(block) + bytes, 0, whole - bytes);
  return block;
}

}  // namespace

bad_allocation::~bad_allocation() = default;

const char* bad_allocation::what() const noexcept { return "bad allocation"; }

void* aligned_alloc(std::size_t bytes) { return aligned_alloc(bytes, alignment_default); }

void* aligned_alloc(std::size_t bytes, std::size_t alignment) {
  return allocation_is_to_fail() ? nullptr : try_alloc(bytes, alignment);
}

void* aligned_alloc_times(std::size_t bytes, int times) {
  if (allocation_is_to_fail()) return nullptr;
  void* block = try_alloc(bytes, alignment_default);
  for (int attempt = 1; block == nullptr && attempt < times; ++attempt) block = try_alloc(bytes, alignment_default);
  return block;
}

void aligned_free(void* block) {
  if (block == nullptr) return;
  --blocks;
  std::free(block);
}

std::size_t byte_count(std::int64_t count, std::size_t element_size) {
  std::size_t bytes = 0;
  const bool fits = count >= 0 && !__builtin_mul_overflow(static_cast<std::size_t>(count), element_size, &bytes);
  return fits ? bytes : SIZE_MAX;
}

void* alloc_or_throw(std::size_t bytes) {
  void* block = aligned_alloc(bytes);
  if (block == nullptr) throw bad_allocation();
  return block;
}

namespace detail {

void fail_allocations_after(int successes) { successes_left = successes < 0 ? -1 : successes; }

int live_blocks() { return blocks; }

}  // namespace detail
}  // namespace zeb::mem
