#pragma once

#include <cstdint>

#include "zeb/mem.h"

namespace zeb::frame {

/// Work memory of one raw call: `count` elements of T, not initialised, released on every path out. False where there
/// was no memory, in which case the raw function gives up quietly.
template <class T>
class Scratch {
 public:
  static constexpr int usual_attempts = 100;

  explicit Scratch(std::int64_t count, int attempts = usual_attempts)
      : block_(static_cast<T*>(mem::aligned_alloc_times(mem::byte_count(count, sizeof(T)), attempts))) {}
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { mem::aligned_free(block_); }

  explicit operator bool() const { return block_ != nullptr; }
  T* data() const { return block_; }
  T& operator[](std::int64_t i) const { return block_[i]; }

 private:
  T* block_;
};

}  // namespace zeb::frame
