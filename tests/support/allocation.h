#pragma once

#include <gtest/gtest.h>

#include "siblings/core/allocation_failure.h"

namespace zeb::testing {

/// While it lives, allocations of this thread fail once `successes` have been granted; at its end it checks that
/// nothing leaked.
class FailingAllocations {
 public:
  explicit FailingAllocations(int successes) : blocks_before_(mem::detail::live_blocks()) {
    mem::detail::fail_allocations_after(successes);
  }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations() {
    mem::detail::fail_allocations_after(-1);
    EXPECT_EQ(mem::detail::live_blocks(), blocks_before_) << "blocks leaked";
  }

 private:
  int blocks_before_;
};

}  // namespace zeb::testing
