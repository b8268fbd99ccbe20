#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace zeb::testing {

/// Equal to the last bit, the sign of zero included; all NaNs are one.
inline ::testing::AssertionResult same_bits(float expected, float actual) {
  if ((std::isnan(expected) && std::isnan(actual)) || std::memcmp(&expected, &actual, sizeof expected) == 0)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << std::hexfloat << "expected " << expected << ", got " << actual;
}

}  // namespace zeb::testing
