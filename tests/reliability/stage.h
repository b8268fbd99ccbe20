#pragma once

#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/reliability/catalogue.h"

namespace zeb::reliability {

/// Bytes of the four images and notes of a call: all that a function can have changed.
struct Outcome {
  std::vector<std::vector<unsigned char>> images;
  std::vector<double> notes;

  bool same_notes(const std::vector<double>& others) const {
    return notes.size() == others.size() &&
           (notes.empty() || std::memcmp(notes.data(), others.data(), notes.size() * sizeof(double)) == 0);
  }
  friend bool operator==(const Outcome& a, const Outcome& b) { return a.images == b.images && a.same_notes(b.notes); }
};

/// The size that inspection works on, shrunk.
constexpr int picture_width = 96, picture_stride = 112, picture_height = 80;

/// Fills in the parameters of a call that are no images.
Call parameters();

/// What stands in the padding and behind the last row: given bytes or, for a memory checker, nothing at all.
enum class Outside { zeros, ones, undefined };

/// Four images of exactly `height` rows of `stride` bytes, the last one `width` wide if that is more, and a call on
/// them: an empty one, a bright rectangle on a slope with noise, the outline of a rectangle, and filled areas.
class Stage {
 public:
  explicit Stage(int width = picture_width, int stride = picture_stride, int height = picture_height);

  Call& call() { return call_; }
  /// The images seen in another size, on the same memory.
  void pretend(int width, int stride, int height);
  void surround(Outside outside);
  Outcome outcome() const { return {images_, call_.notes}; }
  const std::vector<std::vector<unsigned char>>& images() const { return images_; }

 private:
  std::vector<std::vector<unsigned char>> images_;
  Call call_;
};

/// Room behind the last row, as owning images have it. It takes part in the comparison.
constexpr int slack = 64;

/// Ends a child process as `run` tells, or with `terminated` by `std::terminate`.
constexpr int terminated = 43;
[[noreturn]] void end_process_after(const std::function<bool()>& run);

std::ostream& operator<<(std::ostream& os, const Operation& operation);

}  // namespace zeb::reliability
