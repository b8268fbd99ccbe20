#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/allocation.h"
#include "zeb/frequency.h"

namespace zeb {
namespace {

using Complex = std::complex<float>;
using fft::direction;

/// A square image with room behind each row, the room filled with NaN: whoever reads it spoils the result.
template <class T>
class Square : public Mat<T> {
 public:
  explicit Square(int side)
      : Mat<T>(nullptr, side, side + 3, side), elements_(static_cast<std::size_t>(side * (side + 3)), unused(T())) {
    this->data = elements_.data();
  }
  Square(const Square&) = delete;
  Square& operator=(const Square&) = delete;

  Square& fill(unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> pixel(0, 255);
    for (int y = 0; y < this->height; ++y)
      for (int x = 0; x < this->width; ++x) this->at(y, x) = make(pixel, engine, T());
    return *this;
  }

 private:
  static float unused(float) { return NAN; }
  static Complex unused(Complex) { return NAN; }
  static unsigned char unused(unsigned char) { return 0xA5; }

  template <class D, class E>
  static float make(D& pixel, E& engine, float) {
    return pixel(engine);
  }
  template <class D, class E>
  static Complex make(D& pixel, E& engine, Complex) {
    const float real = pixel(engine);
    return {real, pixel(engine)};
  }

  std::vector<T> elements_;
};

/// One frequency by its definition, in double precision.
template <class T>
std::complex<double> direct_sum(const Mat<T>& image, int ky, int kx) {
  std::complex<double> sum;
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) {
      const double turns = static_cast<double>((ky * y + kx * x) % image.width) / image.width;
      sum += std::complex<double>(image.at(y, x)) * std::polar(1.0, -2 * M_PI * turns);
    }
  return sum;
}

/// Rounding errors of a transform of 8-bit pixels, relative to the largest possible value.
double tolerance(int side) { return 1e-6 * 255 * side * side; }

TEST(FourierTransform, AgreesWithTheDefinitionInEveryLayout) {
  for (const int side : {1, 2, 4, 8, 16, 32}) {
    Square<float> image(side), packed_real(side);
    Square<Complex> complex_image(side), packed(side), unpacked(side + 1), unpacked_real(side + 1);
    image.fill(1);
    complex_image.fill(2);
    fourier_transform(packed_real, image);
    fourier_transform(packed, complex_image);
    fourier_transform(unpacked, complex_image);
    unpack_fft_inplace(unpacked_real, packed_real);
    for (int ky = 0; ky < side; ++ky)
      for (int kx = 0; kx < side; ++kx) {
        SCOPED_TRACE(::testing::Message() << "side " << side << ", frequency " << ky << ", " << kx);
        const std::complex<double> f = direct_sum(image, ky, kx), g = direct_sum(complex_image, ky, kx);
        const auto expect_near = [side](std::complex<double> expected, Complex actual) {
          ASSERT_NEAR(expected.real(), actual.real(), tolerance(side));
          ASSERT_NEAR(expected.imag(), actual.imag(), tolerance(side));
        };
        expect_near(g, packed.at(ky, kx));
        // The origin of the unpacked layout lies in the middle; its first and last rows and columns are equal.
        for (const int y : {ky - side, ky})
          for (const int x : {kx - side, kx}) {
            const int row = y + side / 2, column = x + side / 2;
            if (row < 0 || column < 0 || row > side || column > side) continue;
            expect_near(g, unpacked.at(row, column));
            expect_near(f, unpacked_real.at(row, column));
          }
        if (kx > 0 && 2 * kx < side) expect_near(f, {packed_real.at(ky, 2 * kx), packed_real.at(ky, 2 * kx + 1)});
        // Columns 0 and 1 hold the first and the highest column frequency, real parts above imaginary parts.
        if (kx == 0 || 2 * kx == side) {
          const int column = kx == 0 ? 0 : 1;
          if (2 * ky <= side) {
            ASSERT_NEAR(f.real(), packed_real.at(ky, column), tolerance(side));
          }
          if (ky > 0 && 2 * ky < side) {
            ASSERT_NEAR(f.imag(), packed_real.at(side - ky, column), tolerance(side));
          }
        }
      }
  }
}

TEST(FourierTransform, RoundTripsKeepTheImageAndTheEnergy) {
  for (int side = 1; side <= 2048; side *= 2) {
    SCOPED_TRACE(side);
    {
      Square<float> image(side), spectrum(side), back(side);
      image.fill(3);
      Square<float> source(side);
      source.fill(3);
      fourier_transform(spectrum, source);
      inverse_fourier_transform(back, spectrum);
      for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
          ASSERT_NEAR(image.at(y, x), back.at(y, x), 1e-3) << x << ", " << y;
          ASSERT_EQ(image.at(y, x), source.at(y, x)) << "the source stays";
        }
      EXPECT_TRUE(std::isnan(back.data[side])) << "padding";
      EXPECT_TRUE(std::isnan(spectrum.data[side])) << "padding";
    }
    if (side > 512) continue;
    Square<Complex> image(side), spectrum(side), unpacked(side + 1), back(side), back_from_unpacked(side);
    image.fill(4);
    fourier_transform(spectrum, image);
    fourier_transform(unpacked, image);
    inverse_fourier_transform(back, spectrum);
    inverse_fourier_transform(back_from_unpacked, unpacked);
    double energy = 0, energy_of_spectrum = 0;
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        ASSERT_NEAR(std::abs(image.at(y, x) - back.at(y, x)), 0.0f, 1e-3f);
        ASSERT_EQ(back.at(y, x), back_from_unpacked.at(y, x)) << "repacking loses nothing";
        energy += std::norm(std::complex<double>(image.at(y, x)));
        energy_of_spectrum += std::norm(std::complex<double>(spectrum.at(y, x)));
      }
    EXPECT_NEAR(energy_of_spectrum / side / side / energy, 1.0, 1e-5);
  }
}

TEST(FourierTransform, EightBitResultsRoundAndSaturate) {
  const int side = 8;
  Square<float> image(side), spectrum(side);
  Square<Complex> complex_image(side), complex_spectrum(side), unpacked(side + 1);
  Square<unsigned char> bytes(side), complex_bytes(side), bytes_of_unpacked(side);
  const float values[] = {-20, 0, 99.7f, 100.2f, 254.9f, 255, 300, 7};
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      image.at(y, x) = values[x];
      complex_image.at(y, x) = {values[x], 50};
    }
  fourier_transform(spectrum, image);
  fourier_transform(complex_spectrum, complex_image);
  fourier_transform(unpacked, complex_image);
  inverse_fourier_transform(bytes, spectrum);
  inverse_fourier_transform(complex_bytes, complex_spectrum);
  inverse_fourier_transform(bytes_of_unpacked, unpacked);
  const int expected[] = {0, 0, 100, 100, 255, 255, 255, 7};
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      EXPECT_EQ(bytes.at(y, x), expected[x]);
      EXPECT_EQ(complex_bytes.at(y, x), expected[x]);
      EXPECT_EQ(bytes_of_unpacked.at(y, x), expected[x]);
    }
}

TEST(FourierTransform, PicturesShowMagnitudesInOctaves) {
  // A constant 4 over 4 by 4 pixels has F(0, 0) = 64 and nothing else: 8 * log2(65) is 48.2.
  Square<float> image(4);
  Square<Complex> complex_image(4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) complex_image.at(y, x) = image.at(y, x) = 4;
  Square<unsigned char> picture(5), complex_picture(5);
  fourier_transform(picture, image);
  fourier_transform(complex_picture, complex_image);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) {
      EXPECT_EQ(picture.at(y, x), x == 2 && y == 2 ? 48 : 0);
      EXPECT_EQ(complex_picture.at(y, x), x == 2 && y == 2 ? 48 : 0);
    }
  const Complex values[] = {{3, -4}, {0, 1023}, {4e9f, 0}};
  float magnitudes[3];
  unsigned char logarithms[3];
  EXPECT_EQ(magnitude(magnitudes, values, 1, 3, 1, 1), 4e9f) << "the largest one";
  EXPECT_EQ(magnitudes[0], 5.0f);
  log2_magnitude(logarithms, values, 1, 3, 1, 1, 0);
  EXPECT_EQ(logarithms[0], 21) << "8 * log2(6) is 20.7";
  EXPECT_EQ(logarithms[1], 80);
  EXPECT_EQ(logarithms[2], 255);
}

TEST(FourierTransformDeathTest, ViolatedRequirementsEndTheProcess) {
  Square<float> r6(6), r8(8), other_r8(8), r9(9), r16(16), r0(0);
  Square<Complex> c6(6), c8(8), other_c8(8), c9(9), c10(10), c0(0);
  Square<unsigned char> b8(8), b9(9), b7(7), b6(6), b1(1);
  Mat<float> oblong(r16.data, 8, 19, 16);
  Mat<Complex> oblong_9_8(c10.data, 9, 13, 8);
  Mat<unsigned char> shared(reinterpret_cast<unsigned char*>(r8.data), 9, 9, 9);
  // Source no side of a transform, or no square; destination of another size; shared pixels.
  EXPECT_DEATH(fourier_transform(r6, r6), "");
  EXPECT_DEATH(fourier_transform(other_r8, r6), "");
  EXPECT_DEATH(fourier_transform(r6, r8), "");
  EXPECT_DEATH(fourier_transform(r8, r8), "");
  EXPECT_DEATH(fourier_transform(r9, r8), "");
  EXPECT_DEATH(fourier_transform(r16, oblong), "");
  EXPECT_DEATH(fourier_transform(oblong, r8), "");
  EXPECT_DEATH(fourier_transform(r0, r0), "");
  EXPECT_DEATH(fourier_transform(c8, c6), "");
  EXPECT_DEATH(fourier_transform(c10, c8), "");
  EXPECT_DEATH(fourier_transform(oblong_9_8, c8), "");
  EXPECT_DEATH(fourier_transform(c8, c8), "");
  EXPECT_DEATH(fourier_transform(b8, r8), "");
  EXPECT_DEATH(fourier_transform(b7, r6), "");
  EXPECT_DEATH(fourier_transform(shared, r8), "");
  EXPECT_DEATH(fourier_transform(b8, c8), "");
  EXPECT_DEATH(fourier_transform(b1, c0), "");
  EXPECT_DEATH(inverse_fourier_transform(r8, r9), "");
  EXPECT_DEATH(inverse_fourier_transform(r6, r6), "");
  EXPECT_DEATH(inverse_fourier_transform(r8, r8), "");
  EXPECT_DEATH(inverse_fourier_transform(b9, r8), "");
  EXPECT_DEATH(inverse_fourier_transform(b6, r6), "");
  EXPECT_DEATH(inverse_fourier_transform(c8, c10), "");
  EXPECT_DEATH(inverse_fourier_transform(c8, oblong_9_8), "");
  EXPECT_DEATH(inverse_fourier_transform(c6, c6), "");
  EXPECT_DEATH(inverse_fourier_transform(b8, c10), "");
  EXPECT_DEATH(inverse_fourier_transform(b9, c9), "");
  fourier_transform(b9, r8);
  fourier_transform(c9, c8);
  inverse_fourier_transform(b8, c9);
}

TEST(FourierTransform, LeavesWrongSizesAloneAndThrowsWithoutMemory) {
  Square<float> r6(6), r8(8);
  Square<Complex> c8(8), c10(10);
  inplace_fft_real(r8, r6, direction::forward);
  unpack_fft(c10, c8);
  repack_fft(c8, c10);
  EXPECT_TRUE(unpack_fft_inplace(c10, r8).empty());
  EXPECT_TRUE(std::isnan(r8.data[0]));
  EXPECT_TRUE(std::isnan(c10.data[0].real()));

  Square<unsigned char> picture(9), bytes(8);
  int failures = 0;
  for (int granted = 0;; ++granted, ++failures) {
    const zeb::testing::FailingAllocations failing(granted);
    try {
      fourier_transform(picture, c8);
      inverse_fourier_transform(bytes, c8);
      break;
    } catch (const std::bad_alloc& error) {
      EXPECT_STREQ(error.what(), "bad allocation");
    }
  }
  EXPECT_GE(failures, 5);
}

TEST(FourierTransform, ConcurrentCallsAreIndependent) {
  const auto transform = [](unsigned seed) {
    std::vector<float> all;
    for (int side = 1; side <= 64; side *= 2) {
      Square<float> image(side), spectrum(side);
      image.fill(seed);
      fourier_transform(spectrum, image);
      for (int y = 0; y < side; ++y) all.insert(all.end(), spectrum.row(y), spectrum.row(y) + side);
    }
    return all;
  };
  std::vector<std::vector<float>> results(8);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < 8; ++i) threads.emplace_back([&results, &transform, i] { results[i] = transform(i); });
  for (std::thread& thread : threads) thread.join();
  for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(results[i], transform(i));
}

}  // namespace
}  // namespace zeb
