#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "zeb/morphology.h"

namespace {

enum Operation { dilation = 0, erosion = 1 };

/// The choice of algorithm, shared by all passes of a call.
class Operator {
 public:
  Operator(const zeb::Mat<unsigned char>& geometry, int size, unsigned char threshold, zeb::MorphOpMode mode,
           bool rectangular)
      : geometry_(geometry),
        size_(size),
        threshold_(threshold),
        mode_(resolved(mode, size, rectangular)),
        rectangular_(rectangular) {}

  void operator()(unsigned char* dst, const unsigned char* src, Operation operation) const {
    switch (mode_) {
      case zeb::MorphOpMode::morph_distance:
        if (rectangular_) {
          // Built and dropped, not thrown: callers rely on a call that returns and leaves the destination alone.
          // NOLINTNEXTLINE(bugprone-throw-keyword-missing)
          static_cast<void>(std::runtime_error("DistanceTrafo is only implementet for non-rectangle"));
          return;
        }
        vMMMorphOpDist(dst, src, geometry_.width, geometry_.stride, geometry_.height, size_, operation, threshold_);
        return;
      case zeb::MorphOpMode::morph_recursive:
        run(vMMRecursiveMorphOp, dst, src, operation);
        return;
      case zeb::MorphOpMode::morph_thin:
        run(vMorphOpThin, dst, src, operation);
        return;
      default:
        run(vMorphOp, dst, src, operation);
    }
  }

 private:
  static zeb::MorphOpMode resolved(zeb::MorphOpMode mode, int size, bool rectangular) {
    if (mode != zeb::MorphOpMode::morph_auto) return mode;
    if (size <= 5) return zeb::MorphOpMode::morph_thin;
    return rectangular || size <= 30 ? zeb::MorphOpMode::morph_recursive : zeb::MorphOpMode::morph_distance;
  }

  void run(decltype(vMorphOp) algorithm, unsigned char* dst, const unsigned char* src, Operation operation) const {
    algorithm(dst, src, geometry_.width, geometry_.stride, geometry_.height, size_, operation, threshold_,
              rectangular_ ? 1 : 0);
  }

  const zeb::Mat<unsigned char>& geometry_;
  int size_;
  unsigned char threshold_;
  zeb::MorphOpMode mode_;
  bool rectangular_;
};

/// Both operations one after the other, through an image between them.
void in_sequence(zeb::Mat<unsigned char>& dst, const zeb::Mat<unsigned char>& src, const Operator& run, Operation first,
                 Operation second) {
  // The running count looks up to this far beyond the last row's start in a narrow image.
  constexpr std::int64_t room = 2 * 63 + 1;
  const std::int64_t area = std::int64_t{src.height} * src.stride;
  const std::size_t bytes = zeb::mem::byte_count(area < 0 ? area : area + room, 1);
  const std::unique_ptr<unsigned char, void (*)(void*)> between(
      static_cast<unsigned char*>(zeb::mem::aligned_alloc(bytes)), zeb::mem::aligned_free);
  if (between == nullptr) return;
  std::memset(between.get() + area, 0, room);
  run(between.get(), src.data, first);
  run(dst.data, between.get(), second);
}

}  // namespace

namespace zeb {

void erode(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold, MorphOpMode mode,
           bool rectangular) {
  Operator(src, size, threshold, mode, rectangular)(dst.data, src.data, erosion);
}

void dilate(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold, MorphOpMode mode,
            bool rectangular) {
  Operator(src, size, threshold, mode, rectangular)(dst.data, src.data, dilation);
}

void opening(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
             MorphOpMode mode, bool rectangular) {
  in_sequence(dst, src, Operator(src, size, threshold, mode, rectangular), erosion, dilation);
}

void closing(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
             MorphOpMode mode, bool rectangular) {
  // A square erodes first, which makes it an opening; callers have tuned their sizes to that.
  if (rectangular)
    opening(dst, src, size, threshold, mode, rectangular);
  else
    in_sequence(dst, src, Operator(src, size, threshold, mode, rectangular), dilation, erosion);
}

}  // namespace zeb
