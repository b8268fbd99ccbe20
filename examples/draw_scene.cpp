// Draws a scene of bright round parts on an uneven, noisy background: what `inspect` is tried on where no photograph is
// at hand. The same picture every time.

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "command_line.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

constexpr int width = 384, height = 304;

struct Disc {
  zeb::Point_<int> centre;
  int radius;
  unsigned char grey;
};

/// Parts in a loose grid, of three sizes.
std::vector<Disc> parts() {
  std::mt19937 engine(20);
  const auto up_to = [&engine](int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit + 1)); };
  const int radii[] = {16, 20, 25};
  std::vector<Disc> discs;
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 6; ++column) {
      const zeb::Point_<int> centre{34 + 62 * column + up_to(6), 38 + 74 * row + up_to(8)};
      discs.push_back({centre, radii[up_to(2)], static_cast<unsigned char>(150 + up_to(40))});
    }
  return discs;
}

zeb::Image<unsigned char> draw() {
  zeb::Image<unsigned char> scene(width, 64, height, {});
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      scene.at(y, x) = static_cast<unsigned char>(std::lround(95 - 45.0 * x / width - 25.0 * y / height));
  for (const Disc& disc : parts()) {
    const float radius = static_cast<float>(disc.radius);
    zeb::draw_circle(scene, disc.centre, radius, radius, disc.grey, zeb::DrawMode::overwrite);
    // A darker relief inside and a bright rim, as on a coin.
    zeb::draw_circle(scene, disc.centre, 0.6f * radius, 2.0f, 25, zeb::DrawMode::subtract);
    zeb::draw_circle(scene, disc.centre, radius, 2.0f, 35, zeb::DrawMode::add);
    zeb::fill_rect(scene, disc.centre.x, disc.centre.y, disc.centre.x + 1, disc.centre.y + 1, disc.grey);
  }
  const zeb::Image<unsigned char> noise = zeb::test::random_image(width, 64, height, 7);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      scene.at(y, x) = static_cast<unsigned char>(scene.at(y, x) - 6 + noise.at(y, x) % 13);
  return scene;
}

}  // namespace

int main(int argc, char** argv) {
  std::string output = "scene.png";
  CLI::App app("Draws a scene of round parts on an uneven background.", "draw_scene");
  app.add_option("output", output, "PNG to write")->capture_default_str();
  return example::run(app, argc, argv, [&output] { example::write_png(output, draw()); });
}
