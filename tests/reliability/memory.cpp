#include <cstdlib>
#include <new>

#include "siblings/core/allocation_failure.h"
#include "tests/reliability/catalogue.h"

// The thread checker's runtime brings its own operators and lets nobody replace them.
#if defined(__SANITIZE_THREAD__)
#define ZEB_OPERATORS_ARE_TAKEN
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEB_OPERATORS_ARE_TAKEN
#endif
#endif

namespace {

thread_local int successes_left = -1;

}  // namespace

namespace zeb::reliability {

void starve_core(int successes) { mem::detail::fail_allocations_after(successes); }

void starve_new(int successes) { successes_left = successes; }

void end_shortages() {
  mem::detail::fail_allocations_after(-1);
  successes_left = -1;
}

bool can_starve_new() {
#ifdef ZEB_OPERATORS_ARE_TAKEN
  return false;
#else
  return true;
#endif
}

}  // namespace zeb::reliability

#ifndef ZEB_OPERATORS_ARE_TAKEN
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  if (successes_left == 0) return nullptr;
  if (successes_left > 0) --successes_left;
  return std::malloc(bytes);
}
void* operator new(std::size_t bytes) {
  if (void* block = operator new(bytes, std::nothrow)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return operator new(bytes, std::nothrow); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
#endif
