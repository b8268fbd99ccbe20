#include <cstdlib>
#include <new>

#include "siblings/core/allocation_failure.h"
#include "tests/reliability/catalogue.h"

// The thread checker's runtime brings its own operators and lets nobody replace them.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEB_OPERATORS_ARE_TAKEN
#endif
#elif defined(__SANITIZE_THREAD__)
#define ZEB_OPERATORS_ARE_TAKEN
#endif

namespace {
thread_local int successes_left = -1;

#ifndef ZEB_OPERATORS_ARE_TAKEN
void* allocate(std::size_t bytes) noexcept {
  if (successes_left == 0) return nullptr;
  if (successes_left > 0) --successes_left;
  return std::malloc(bytes);
}
#endif
}  // namespace

#ifndef ZEB_OPERATORS_ARE_TAKEN
void* operator new(std::size_t bytes) {
  if (void* block = allocate(bytes)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

#endif

namespace zeb::reliability {

bool can_starve_new() {
#ifdef ZEB_OPERATORS_ARE_TAKEN
  return false;
#else
  return true;
#endif
}

void starve_core(int successes) { mem::detail::fail_allocations_after(successes); }

void starve_new(int successes) { successes_left = successes; }

void end_shortages() {
  mem::detail::fail_allocations_after(-1);
  successes_left = -1;
}

}  // namespace zeb::reliability
