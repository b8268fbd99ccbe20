#include "tests/reliability/stage.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>

namespace zeb::reliability {
namespace {

unsigned char grey_pixel(int x, int y) {
  const bool bright = x >= 30 && x < 70 && y >= 20 && y < 60;
  return static_cast<unsigned char>(40 + x / 2 + (bright ? 120 : 0) + (x * 7 + y * 13 + x * y) % 11);
}

unsigned char line_pixel(int x, int y) {
  const bool inside = x >= 12 && x <= 83 && y >= 12 && y <= 67;
  return inside && (x == 12 || x == 83 || y == 12 || y == 67) ? 255 : 0;
}

unsigned char area_pixel(int x, int y) {
  const bool square = x >= 10 && x <= 30 && y >= 10 && y <= 30;
  const bool disc = (x - 60) * (x - 60) + (y - 40) * (y - 40) <= 300;
  const bool hole = x == 20 && y == 20;
  return (square || disc) && !hole ? 255 : 0;
}

}  // namespace

Call parameters() {
  Call c;
  for (std::size_t i = 0; i < c.weights.size(); ++i) {
    const float from_peak = std::min(std::abs(static_cast<float>(i) - 60.0f), std::abs(static_cast<float>(i) - 180.0f));
    c.weights[i] = std::max(1.0f, 40.0f - from_peak);
  }
  for (int i = 0; i < 8; ++i) {
    const auto t = static_cast<float>(i);
    c.x1.push_back(3.0f * t);
    c.y1.push_back(20.0f - t * t);
    c.x2.push_back(3.0f * t + 2.0f);
    c.y2.push_back(19.0f - t * t + 0.3f * t);
    c.ones.push_back(1.0f);
  }
  for (std::size_t i = 0; i < c.floats.size(); ++i) c.floats[i] = static_cast<float>((i * 37) % 101);
  for (std::size_t i = 0; i < c.spectrum.size(); ++i) c.spectrum[i] = {static_cast<float>(i % 17), 1.0f};
  c.kernel = {1, -1, 0, -2, 1, 1, 0, 1, -3};
  for (const char code : std::initializer_list<char>{1, 3, 5, 7}) c.chain.insert(c.chain.end(), 20, code);
  c.square = Shape(std::vector<char>(c.chain), 10, 10, 10, 30, 10, 30, true, 0);
  c.notes.reserve(20000);
  return c;
}

Stage::Stage(int width, int stride, int height) : call_(parameters()) {
  const std::size_t rest = static_cast<std::size_t>(std::max(0, width - stride)) + slack;
  images_.assign(4, std::vector<unsigned char>(static_cast<std::size_t>(stride * height) + rest, 0));
  pretend(width, stride, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < std::min(width, stride); ++x) {
      const auto i = static_cast<std::size_t>(y * stride + x);
      images_[1][i] = grey_pixel(x, y);
      images_[2][i] = line_pixel(x, y);
      images_[3][i] = area_pixel(x, y);
    }
}

void Stage::pretend(int width, int stride, int height) {
  call_.w = width;
  call_.s = stride;
  call_.h = height;
  call_.dst = images_[0].data();
  call_.src = images_[1].data();
  call_.edges = images_[2].data();
  call_.mask = images_[3].data();
  call_.view();
}

void Stage::surround(Outside outside) {
  for (auto& image : images_) {
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[image.size()]);
    if (outside != Outside::undefined) std::memset(bytes.get(), outside == Outside::ones ? 255 : 0, image.size());
    for (std::ptrdiff_t y = 0; y < call_.h; ++y)
      std::copy_n(image.data() + y * call_.s, call_.w, bytes.get() + y * call_.s);
    std::copy_n(bytes.get(), image.size(), image.data());
  }
}

void end_process_after(const std::function<bool()>& run) {
  std::set_terminate([] { std::_Exit(terminated); });
  std::_Exit(run() ? EXIT_SUCCESS : EXIT_FAILURE);
}

std::ostream& operator<<(std::ostream& os, const Operation& operation) {
  const auto index = &operation - catalogue().data();
  return os << operation.function << " (entry " << index << ")";
}

}  // namespace zeb::reliability
