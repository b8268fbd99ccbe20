#pragma once

#include <cstddef>

/// The eight steps of a chain code, for all of this folder.
namespace zeb::shapes {

/// The step of code `c` goes by (`dx[c]`, `dy[c]`), with y downward. Adding 1 to a code turns the step by 45 degrees,
/// anticlockwise on a screen; code 0 goes down and to the left.
inline constexpr int dx[8] = {-1, 0, 1, 1, 1, 0, -1, -1};
inline constexpr int dy[8] = {1, 1, 1, 0, -1, -1, -1, 0};

/// By how many elements each code moves in an image of a given stride.
class StepOffsets {
 public:
  explicit StepOffsets(std::ptrdiff_t stride) {
    for (int c = 0; c < 8; ++c) offsets_[c] = dy[c] * stride + dx[c];
  }
  std::ptrdiff_t operator[](int code) const { return offsets_[code]; }

 private:
  std::ptrdiff_t offsets_[8];
};

}  // namespace zeb::shapes
