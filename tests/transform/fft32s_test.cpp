#include "transform/fft32s.h"

#include <cmath>
#include <complex>
#include <vector>

#include "gmock/gmock.h"
#include "reference/fft32s.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

std::vector<Qor32sc> randomSpectrum(Random& random, int n, int bits) {
    std::vector<Qor32sc> z(n);
    const std::int64_t top = (std::int64_t{1} << bits) - 1;
    for (Qor32sc& v : z)
        v = {Qor32s(random.integer(-top - 1, top)), Qor32s(random.integer(-top - 1, top))};
    return z;
}

class Order : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Fft32s, Order, testing::Values(5, 6, 7, 8, 9));

// Small values, values at the limit where nothing wraps, and values at which every product and sum
// wraps.
TEST_P(Order, EqualsTheRecursionToTheBit) {
    const int n = 1 << GetParam();
    Random random(n);
    for (int bits : {1, 4, 12, 20, 24, 28, 29, 30, 31}) {
        for (int run = 0; run < 5; ++run) {
            const auto z = randomSpectrum(random, n, bits);
            const auto expected = reference::fft32s(z);
            for (bool atEnd : {false, true}) {
                Guarded<Qor32sc> data(std::span<const Qor32sc>(z), atEnd);
                ownsIMDCT_FFT_32sc_I(data.data(), GetParam());
                for (int k = 0; k < n; ++k) {
                    ASSERT_EQ(data[k].re, expected[k].re) << "bits " << bits << " at " << k;
                    ASSERT_EQ(data[k].im, expected[k].im) << "bits " << bits << " at " << k;
                }
            }
        }
    }
}

// Against the sum itself: unit gain, sign e^(-i...), natural order, the truncations added up.
TEST_P(Order, IsThePlainSumWithinTruncation) {
    const int n = 1 << GetParam();
    Random random(100 + n);
    const auto z = randomSpectrum(random, n, 18);
    auto data = z;
    ownsIMDCT_FFT_32sc_I(data.data(), GetParam());
    for (int k = 0; k < n; ++k) {
        std::complex<double> sum = 0;
        for (int j = 0; j < n; ++j)
            sum += std::complex<double>(z[j].re, z[j].im) *
                   std::polar(1.0, -2 * std::acos(-1.0) * j * k / n);
        EXPECT_NEAR(data[k].re, sum.real(), n / 4.0) << k;
        EXPECT_NEAR(data[k].im, sum.imag(), n / 4.0) << k;
    }
}

TEST_P(Order, ZeroGivesZeroAndAnImpulseIsFlat) {
    const int n = 1 << GetParam();
    std::vector<Qor32sc> z(n, Qor32sc{0, 0});
    ownsIMDCT_FFT_32sc_I(z.data(), GetParam());
    for (const Qor32sc& v : z) EXPECT_TRUE(v.re == 0 && v.im == 0);
    z[0] = {12345, -678};
    ownsIMDCT_FFT_32sc_I(z.data(), GetParam());
    for (const Qor32sc& v : z) EXPECT_TRUE(v.re == 12345 && v.im == -678);
}

}  // namespace
}  // namespace qorac
