#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "zeb/frequency.h"

namespace zeb {
namespace {

using Complex = std::complex<float>;

/// A square image with room behind each row, the room filled with NaN: whoever reads it spoils the result.
template <class T>
class Square : public Mat<T> {
 public:
  explicit Square(int side)
      : Mat<T>(nullptr, side, side + 3, side), elements_(static_cast<std::size_t>(side * (side + 3)), T(NAN)) {
    this->data = elements_.data();
  }
  Square(const Square&) = delete;
  Square& operator=(const Square&) = delete;

  /// Pixels at random; complex ones have parts of an equal range.
  Square& fill(unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> pixel(0, 255);
    for (int y = 0; y < this->height; ++y)
      for (int x = 0; x < this->width; ++x) {
        this->at(y, x) = pixel(engine);
        if constexpr (std::is_same_v<T, Complex>) this->at(y, x).imag(pixel(engine));
      }
    return *this;
  }
  bool kept_its_padding() const { return this->width == 0 || std::isnan(std::real(this->data[this->width])); }

 private:
  std::vector<T> elements_;
};

TEST(FourierTransform, OfASinglePixelIsAWaveInEveryLayout) {
  for (const int side : {1, 2, 4, 8, 32}) {
    Square<float> image(side), packed_real(side);
    Square<Complex> complex_image(side), packed(side), unpacked(side + 1), unpacked_real(side + 1);
    const int px = 3 % side, py = 1 % side;
    const Complex value(100, 50);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) complex_image.at(y, x) = image.at(y, x) = 0;
    image.at(py, px) = 200;
    complex_image.at(py, px) = value;
    fourier_transform(packed_real, image);
    fourier_transform(packed, complex_image);
    fourier_transform(unpacked, complex_image);
    unpack_fft_inplace(unpacked_real, packed_real);
    const auto expect_near = [](Complex expected, Complex actual) { ASSERT_LT(std::abs(expected - actual), 1e-3f); };
    for (int ky = 0; ky < side; ++ky)
      for (int kx = 0; kx < side; ++kx) {
        SCOPED_TRACE(::testing::Message() << "side " << side << ", frequency " << ky << ", " << kx);
        const float angle =
            -2 * static_cast<float>(M_PI) * static_cast<float>((ky * py + kx * px) % side) / static_cast<float>(side);
        const Complex f = std::polar(200.0f, angle), g = value * std::polar(1.0f, angle);
        expect_near(g, packed.at(ky, kx));
        // The origin of the unpacked layout lies in the middle; its first and last rows and columns are equal.
        for (const int row : {ky - side / 2, ky + side / 2})
          for (const int column : {kx - side / 2, kx + side / 2}) {
            if (row < 0 || column < 0 || row > side || column > side) continue;
            expect_near(g, unpacked.at(row, column));
            expect_near(f, unpacked_real.at(row, column));
          }
        if (kx > 0 && 2 * kx < side) expect_near(f, {packed_real.at(ky, 2 * kx), packed_real.at(ky, 2 * kx + 1)});
        if (kx != 0 && 2 * kx != side) continue;
        // Columns 0 and 1 hold the first and the highest column frequency, real parts above imaginary parts.
        const int column = kx == 0 ? 0 : 1;
        if (2 * ky <= side) expect_near(f.real(), packed_real.at(ky, column));
        if (ky > 0 && 2 * ky < side) expect_near(f.imag(), packed_real.at(side - ky, column));
      }
  }
}

/// Transforms there and back, `spectrum_side` telling the layout between.
template <class T>
void expect_round_trip(int side, int spectrum_side) {
  Square<T> image(side), source(side), spectrum(spectrum_side), back(side);
  image.fill(3);
  fourier_transform(spectrum, source.fill(3));
  inverse_fourier_transform(back, spectrum);
  float largest_error = 0.0f;
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      largest_error = std::max(largest_error, std::abs(image.at(y, x) - back.at(y, x)));
      ASSERT_EQ(image.at(y, x), source.at(y, x)) << "the source stays";
    }
  EXPECT_LT(largest_error, 1e-3f) << side << ", " << spectrum_side;
  EXPECT_TRUE(back.kept_its_padding() && spectrum.kept_its_padding());
}

TEST(FourierTransform, InverseGivesTheImageBack) {
  for (const int side : {1, 2, 64, 512}) {
    expect_round_trip<float>(side, side);
    expect_round_trip<Complex>(side, side);
    expect_round_trip<Complex>(side, side + 1);
  }
  expect_round_trip<float>(2048, 2048);
}

/// The 8-bit image of a transform there and back of lines of these values.
template <class T>
std::vector<unsigned char> eight_bits(const std::vector<T>& line, int spectrum_side) {
  const int side = static_cast<int>(line.size());
  Square<T> image(side), spectrum(spectrum_side);
  for (int y = 0; y < side; ++y) std::copy(line.begin(), line.end(), image.row(y));
  fourier_transform(spectrum, image);
  std::vector<unsigned char> bytes(line.size() * line.size());
  Mat<unsigned char> back(bytes.data(), side, side, side);
  inverse_fourier_transform(back, spectrum);
  return bytes;
}

TEST(FourierTransform, EightBitResultsRoundAndSaturate) {
  const std::vector<float> line{-20, 0, 99.7f, 100.2f, 254.9f, 255, 300, 7};
  std::vector<Complex> complex_line;
  for (const float value : line) complex_line.emplace_back(value, 50.0f);
  std::vector<unsigned char> expected;
  for (int y = 0; y < 8; ++y)
    for (const int value : {0, 0, 100, 100, 255, 255, 255, 7}) expected.push_back(static_cast<unsigned char>(value));
  EXPECT_EQ(eight_bits(line, 8), expected);
  EXPECT_EQ(eight_bits(complex_line, 8), expected);
  EXPECT_EQ(eight_bits(complex_line, 9), expected);
}

TEST(FourierTransform, PicturesShowMagnitudesInOctaves) {
  // A constant 4 over 4 by 4 pixels has F(0, 0) = 64 and nothing else: 8 * log2(65) is 48.2.
  Square<float> image(4);
  Square<Complex> complex_image(4);
  for (int i = 0; i < 16; ++i) complex_image.at(i / 4, i % 4) = image.at(i / 4, i % 4) = 4;
  std::vector<unsigned char> of_real(25, 9), of_complex(25, 9), expected(25);
  expected[12] = 48;
  Mat<unsigned char> picture(of_real.data(), 5, 5, 5), complex_picture(of_complex.data(), 5, 5, 5);
  fourier_transform(picture, image);
  fourier_transform(complex_picture, complex_image);
  EXPECT_EQ(of_real, expected);
  EXPECT_EQ(of_complex, expected);

  const Complex values[] = {{3, -4}, {0, 1023}, {4e9f, 0}};
  std::vector<float> magnitudes(3);
  std::vector<unsigned char> logarithms(3);
  EXPECT_EQ(magnitude(magnitudes.data(), values, 1, 3, 1, 1), 4e9f) << "the largest one";
  EXPECT_EQ(magnitudes, (std::vector<float>{5, 1023, 4e9f}));
  log2_magnitude(logarithms.data(), values, 1, 3, 1, 1, 0);
  EXPECT_EQ(logarithms, (std::vector<unsigned char>{21, 80, 255})) << "8 * log2(6) is 20.7";
}

TEST(FourierTransform, HelpersLeaveWrongSizesAlone) {
  Square<float> r6(6), r8(8);
  Square<Complex> c8(8), c10(10);
  inplace_fft_real(r8, r6, fft::direction::forward);
  unpack_fft(c10, c8);
  repack_fft(c8, c10);
  EXPECT_TRUE(unpack_fft_inplace(c10, r8).empty());
  EXPECT_TRUE(std::isnan(r8.data[0]) && std::isnan(c8.data[0].real()) && std::isnan(c10.data[0].real()));
}

TEST(FourierTransform, SidesThatCannotBeCountedThrow) {
  // Nothing is read before: each image has a single element and all its rows at the same place.
  float real[2];
  Complex complex[2];
  unsigned char pixel;
  for (const int side : {1 << 17, 1 << 18}) {
    Mat<float> r(&real[0], side, 0, side), r_to(&real[1], side, 0, side);
    Mat<Complex> c(&complex[0], side, 0, side), c_to(&complex[1], side, 0, side);
    Mat<unsigned char> p(&pixel, side, 0, side), picture(&pixel, side + 1, 0, side + 1);
    EXPECT_THROW(fourier_transform(r_to, r), std::bad_alloc);
    EXPECT_THROW(fourier_transform(c_to, c), std::bad_alloc);
    EXPECT_THROW(fourier_transform(picture, r), std::bad_alloc);
    EXPECT_THROW(fourier_transform(picture, c), std::bad_alloc);
    EXPECT_THROW(inverse_fourier_transform(r_to, r), std::bad_alloc);
    EXPECT_THROW(inverse_fourier_transform(p, r), std::bad_alloc);
    EXPECT_THROW(inverse_fourier_transform(c_to, c), std::bad_alloc);
    EXPECT_THROW(inverse_fourier_transform(p, c), std::bad_alloc);
    EXPECT_THROW(fft_filter(p, p, false, fft::Filter::flat, {0, 0}), std::bad_alloc);
  }
}

}  // namespace
}  // namespace zeb
