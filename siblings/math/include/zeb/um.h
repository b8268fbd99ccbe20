#pragma once

/// \file
/// Lengths.

namespace zeb {

/// A length in micrometres, held as one `float`.
struct um {
  float value;  ///< micrometres

  /// Zero.
  um() : value(0.0f) {}
  /// `length` micrometres. Implicit, so that `{0, 0}` is a pixel size.
  um(int length) : value(static_cast<float>(length)) {}  // NOLINT(google-explicit-constructor)
  /// The same from a number with a fraction, in single precision: `{0.5f, 0.5f}`.
  um(float length) : value(length) {}  // NOLINT(google-explicit-constructor)
  /// An equal length.
  um(const um& other) = default;
  ~um() = default;

  /// Takes over `other` and returns the new length by value.
  um operator=(um other) {  // NOLINT(misc-unconventional-assign-operator,cppcoreguidelines-c-copy-assignment-signature)
    value = other.value;
    return *this;
  }

  /// Adds one micrometre: the step from an inclusive last corner to an extent.
  um& operator++() {
    value += 1.0f;
    return *this;
  }
};

}  // namespace zeb
