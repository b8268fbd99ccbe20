#pragma once

#include "zeb/core_export.h"

/// Seam for tests, no part of the public headers: makes allocations of the calling thread fail.
namespace zeb::mem::detail {

/// Lets the next `successes` allocations of this thread succeed and all later ones fail; a negative number lets all
/// succeed again. `aligned_alloc_times` counts as one allocation, however many attempts it makes.
ZEB_CORE_API void fail_allocations_after(int successes);

/// Number of blocks that this thread has allocated and not yet released.
ZEB_CORE_API int live_blocks();

}  // namespace zeb::mem::detail
