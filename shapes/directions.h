#pragma once

/// The eight steps of a chain code, for all of this folder.
namespace zeb::shapes {

/// The step of code `c` goes by (`dx[c]`, `dy[c]`), with y downward. Adding 1 to a code turns the step by 45 degrees,
/// anticlockwise on a screen; code 0 goes down and to the left.
inline constexpr int dx[8] = {-1, 0, 1, 1, 1, 0, -1, -1};
inline constexpr int dy[8] = {1, 1, 1, 0, -1, -1, -1, 0};

}  // namespace zeb::shapes
