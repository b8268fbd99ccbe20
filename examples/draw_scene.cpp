// Draws a scene of bright parts on an uneven, noisy background: what the other programs are tried on where no
// photograph is at hand. The same picture every time for the same seed.

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "command_line.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

constexpr int width = 384, height = 304;

struct Options {
  std::string output = "scene.png";
  bool bars = false;
  unsigned seed = 20;
};

struct Part {
  zeb::Point_<int> centre;
  int size;  // 0 to 2
  unsigned char grey;
};

/// Parts in a loose grid, of three sizes.
std::vector<Part> parts(unsigned seed) {
  std::mt19937 engine(seed);
  const auto up_to = [&engine](int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit + 1)); };
  std::vector<Part> parts;
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 6; ++column) {
      const zeb::Point_<int> centre{34 + 62 * column + up_to(6), 38 + 74 * row + up_to(8)};
      parts.push_back({centre, up_to(2), static_cast<unsigned char>(150 + up_to(40))});
    }
  return parts;
}

/// A disc with a darker relief inside and a bright rim, as on a coin.
void draw_disc(zeb::Image<unsigned char>& scene, const Part& part) {
  const float radii[] = {16, 20, 25};
  const float radius = radii[part.size];
  zeb::draw_circle(scene, part.centre, radius, radius, part.grey, zeb::DrawMode::overwrite);
  zeb::draw_circle(scene, part.centre, 0.6f * radius, 2.0f, 25, zeb::DrawMode::subtract);
  zeb::draw_circle(scene, part.centre, radius, 2.0f, 35, zeb::DrawMode::add);
  zeb::fill_rect(scene, part.centre.x, part.centre.y, part.centre.x + 1, part.centre.y + 1, part.grey);
}

/// A bar 17 pixels wide and 37, 43 or 49 long, turned by 15 degrees from the x axis toward the y axis for each
/// `number`.
void draw_bar(zeb::Image<unsigned char>& scene, const Part& part, int number) {
  const double along[] = {18, 21, 24}, across = 8, angle = M_PI / 12 * number;
  const double dx = along[part.size] * std::cos(angle), dy = along[part.size] * std::sin(angle);
  const double nx = -across * std::sin(angle), ny = across * std::cos(angle);
  float x[4], y[4];
  for (int corner = 0; corner < 4; ++corner) {
    const int end = corner < 2 ? 1 : -1, side = corner == 0 || corner == 3 ? 1 : -1;
    x[corner] = static_cast<float>(part.centre.x + end * dx + side * nx);
    y[corner] = static_cast<float>(part.centre.y + end * dy + side * ny);
  }
  zeb::Image<unsigned char> mask(scene.width, scene.stride, scene.height, {});
  PolyToBMMask(mask.data, x, y, 4, mask.width, mask.stride, mask.height);
  zeb::interleave(scene, scene, part.grey, mask);
}

zeb::Image<unsigned char> draw(const Options& options) {
  zeb::Image<unsigned char> scene(width, 64, height, {});
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      scene.at(y, x) = static_cast<unsigned char>(std::lround(95 - 45.0 * x / width - 25.0 * y / height));
  int number = 0;
  for (const Part& part : parts(options.seed)) options.bars ? draw_bar(scene, part, number++) : draw_disc(scene, part);
  const zeb::Image<unsigned char> noise = zeb::test::random_image(width, 64, height, 7);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      scene.at(y, x) = static_cast<unsigned char>(scene.at(y, x) - 6 + noise.at(y, x) % 13);
  return scene;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Draws a scene of bright parts on an uneven background.", "draw_scene");
  app.add_option("output", options.output, "PNG to write")->capture_default_str();
  app.add_flag("--bars", options.bars, "bars in all directions instead of discs");
  app.add_option("--seed", options.seed, "of what is random: sizes, places, brightness")->capture_default_str();
  return example::run(app, argc, argv, [&options] { example::write_png(options.output, draw(options)); });
}
