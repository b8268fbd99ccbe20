#pragma once

#include "filters/box_window.h"

/// The packed box filters without a mask, in integers: the same pixels as the float sums give, in less time.
namespace zeb::filters {

/// Whether the functions below may be used: all sums are exact, and no column behind the width is asked for.
inline bool has_exact_form(const Window& window) { return window.width >= 4 && window.float_sums_are_exact(); }

void exact_low_pass(unsigned char* dst, const unsigned char* src, const Window& window);
void exact_high_pass(unsigned char* dst, const unsigned char* src, const Window& window, int offset);

}  // namespace zeb::filters
