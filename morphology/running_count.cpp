#include "morphology/running_count.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"

namespace zeb::morphology {
namespace {

/// The running count of one row.
class RowCount {
 public:
  RowCount(const Images& images, Decisive decisive, const Element& element, int offset_y, int operation, int y)
      : images_(images),
        decisive_(decisive),
        element_(element),
        offset_y_(offset_y),
        dilation_(operation == 0),
        y_(y),
        dst_(images.dst + images.row(y)) {
    const std::int64_t lowest = -(std::int64_t{element.radius()} + offset_y);
    const std::int64_t highest = std::int64_t{element.radius()} - offset_y;
    first_ = std::max<std::int64_t>(lowest, -y);
    last_ = std::min<std::int64_t>(highest, images.height - 1 - y);
  }

  void run() {
    const int r = element_.reach(), width = images_.width;
    for_each_element_row([this](const unsigned char* row, int t) {
      for (int x = 0; x <= t; ++x) count_ += decisive_(row[x]);
    });
    put(0);
    // No test against the width up to column r: in a narrow image pixels beyond it enter and stay.
    int x = 1;
    for (; x <= r; ++x) {
      for_each_element_row([this, x](const unsigned char* row, int t) {
        count_ += decisive_(row[x + t]);
        if (x - t - 1 >= 0) count_ -= decisive_(row[x - t - 1]);
      });
      put(x);
    }
    const std::int64_t vector_limit = (std::int64_t{width} - r - 15) & -16;
    for (; x < vector_limit; x += 16) put_block(x);
    for (; x < width; ++x) {
      for_each_element_row([this, x, width](const unsigned char* row, int t) {
        if (x + t < width) count_ += decisive_(row[x + t]);
        count_ -= decisive_(row[x - t - 1]);
      });
      put(x);
    }
  }

 private:
  /// `visit(row, t)` for each row under the element inside the image, with its half-width there.
  template <class Visit>
  void for_each_element_row(Visit visit) const {
    for (std::int64_t dy = first_; dy <= last_; ++dy) {
      const std::int64_t from_centre = dy + offset_y_;
      visit(images_.src + images_.row(y_ + dy),
            element_.half_width(static_cast<int>(from_centre < 0 ? -from_centre : from_centre)));
    }
  }

  void put(int x) {
    if (dilation_ == (count_ != 0)) dst_[x] = 255;
  }

  void put_block(int x) {
    // Lane k holds the change of the count from column x+k-1 to column x+k; it wraps around for 128 rows and more.
    __m128i changes = _mm_setzero_si128();
    for_each_element_row([&](const unsigned char* row, int t) {
      const __m128i entering = decisive_(frame::load(row + x + t));
      const __m128i leaving = decisive_(frame::load(row + x - t - 1));
      changes = _mm_add_epi8(changes, _mm_sub_epi8(leaving, entering));  // a set lane is -1
    });
    __m128i counts[4];
    for (__m128i& group : counts) {
      __m128i sums = _mm_cvtepi8_epi32(changes);
      sums = _mm_add_epi32(sums, _mm_slli_si128(sums, 4));
      sums = _mm_add_epi32(sums, _mm_slli_si128(sums, 8));
      group = _mm_add_epi32(sums, _mm_set1_epi32(count_));
      count_ = _mm_extract_epi32(group, 3);
      changes = _mm_srli_si128(changes, 4);
    }
    const __m128i narrow =
        _mm_packs_epi16(_mm_packs_epi32(counts[0], counts[1]), _mm_packs_epi32(counts[2], counts[3]));
    const __m128i zero = _mm_setzero_si128();
    frame::store(dst_ + x, dilation_ ? _mm_cmpgt_epi8(narrow, zero) : _mm_cmpeq_epi8(narrow, zero));
  }

  const Images& images_;
  const Decisive decisive_;
  const Element& element_;
  const std::int64_t offset_y_;
  const bool dilation_;
  const int y_;
  unsigned char* const dst_;
  std::int64_t first_, last_;  // the element's rows inside the image, as distances from y
  std::int32_t count_ = 0;
};

}  // namespace

void running_count(const Images& images, Decisive decisive, const Element& element, int offset_y, int operation) {
  std::memset(images.dst, 0, images.bytes());
  for (int y = 0; y < images.height; ++y) RowCount(images, decisive, element, offset_y, operation, y).run();
}

}  // namespace zeb::morphology
