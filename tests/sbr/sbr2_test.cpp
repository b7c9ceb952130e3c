#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/predictor.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;
using testing::Each;

using Complex = std::complex<float>;
using Bands = std::vector<std::vector<Complex>>;  // by band, then by slot

enum class Form { split, interleaved, real };
constexpr Form kForms[] = {Form::split, Form::interleaved, Form::real};

struct Result {
    std::vector<Complex> alpha0, alpha1;
};

// Rows that end at guard pages, in a list of exactly as many pointers.
template <typename T>
struct Rows {
    template <typename Convert>
    Rows(const Bands& bands, int rows, Convert convert)
        : data(std::size_t(rows) * bands.size()), list(std::size_t(rows)) {
        for (std::size_t n = 0; n < list.size(); ++n) {
            list[n] = data.data() + n * bands.size();
            for (std::size_t b = 0; b < bands.size(); ++b)
                data[n * bands.size() + b] = convert(bands[b][n]);
        }
    }
    Guarded<T> data;
    Guarded<const T*> list;
};

Result predict(Form form, const Bands& bands, int len) {
    const std::size_t count = bands.size();
    const auto re = [](Complex z) { return z.real(); };
    const auto im = [](Complex z) { return z.imag(); };
    Result result;
    if (form == Form::interleaved) {
        const auto pair = [](Complex z) { return Qor32fc{z.real(), z.imag()}; };
        Rows<Qor32fc> rows(bands, len + 2, pair);
        Guarded<Qor32fc> alpha0(count), alpha1(count);
        EXPECT_EQ(qorsPredictCoef_SBR_C_32fc_D2L(rows.list.data(), alpha0.data(), alpha1.data(),
                                                 int(count), len),
                  qorStsNoErr);
        for (std::size_t b = 0; b < count; ++b) {
            result.alpha0.emplace_back(alpha0[b].re, alpha0[b].im);
            result.alpha1.emplace_back(alpha1[b].re, alpha1[b].im);
        }
        return result;
    }
    Rows<Qor32f> rowsRe(bands, len + 2, re), rowsIm(bands, len + 2, im);
    Guarded<Qor32f> alpha[4] = {Guarded<Qor32f>(count), Guarded<Qor32f>(count),
                                Guarded<Qor32f>(count), Guarded<Qor32f>(count)};
    if (form == Form::split) {
        EXPECT_EQ(qorsPredictCoef_SBR_C_32f_D2L(rowsRe.list.data(), rowsIm.list.data(),
                                                alpha[0].data(), alpha[1].data(), alpha[2].data(),
                                                alpha[3].data(), int(count), len),
                  qorStsNoErr);
    } else {
        EXPECT_EQ(qorsPredictCoef_SBR_R_32f_D2L(rowsRe.list.data(), alpha[0].data(),
                                                alpha[2].data(), int(count), len),
                  qorStsNoErr);
    }
    for (std::size_t b = 0; b < count; ++b) {
        result.alpha0.emplace_back(alpha[0][b], alpha[1][b]);
        result.alpha1.emplace_back(alpha[2][b], alpha[3][b]);
    }
    return result;
}

// The steps of one band, with its limit. A real band has no imaginary parts, whatever its real ones
// become.
struct Expected {
    Complex alpha0, alpha1;

    Expected(Form form, const std::vector<Complex>& z, int len, bool inGroup) {
        const auto part = [&](Complex a) { return form == Form::real ? a.real() : a; };
        const auto sums = reference::covarianceSums(z, len);
        const float det = sums.determinant();
        if (det != 0) alpha1 = part(sums.numerator1()) * (1.0f / det);
        alpha1 = part(alpha1);
        if (sums.phi11 > 0) alpha0 = part(sums.numerator0(alpha1)) * (1.0f / sums.phi11);
        alpha0 = part(alpha0);
        const float size0 = reference::norm(alpha0), size1 = reference::norm(alpha1);
        const bool stable = inGroup ? size0 <= 16 && size1 <= 16 : !(size0 >= 16) && !(size1 >= 16);
        if (!stable) alpha0 = alpha1 = 0;
    }
};

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }
bool same(Complex a, Complex b) { return same(a.real(), b.real()) && same(a.imag(), b.imag()); }

// Noise, tones with a little noise, growing and shrinking tones, silence; of any level.
std::vector<Complex> samples(Random& random, Form form, int len) {
    const double level = std::pow(10, random.real(-9, 9)), noise = random.chance(0.3) ? 1 : 1e-3;
    const double growth = random.chance(0.5) ? 1 : random.real(0.7, 1.4);
    const auto turn = std::polar(growth, random.real(-3.1, 3.1));
    std::complex<double> tone = random.chance(0.1) ? 0 : level;
    std::vector<Complex> z;
    for (int n = 0; n < len + 2; ++n, tone *= turn) {
        const std::complex<double> value =
            tone + noise * tone * std::complex<double>{random.real(-1, 1), random.real(-1, 1)};
        z.emplace_back(float(value.real()), form == Form::real ? 0 : float(value.imag()));
    }
    return z;
}

TEST(SbrPredictFloat, EqualsTheStepsToTheBit) {
    Random random(1);
    for (Form form : kForms) {
        int stable = 0, unstable = 0;
        for (int count = 0; count <= 41; ++count) {
            const int len = count < 4 ? count + 1 : int(random.integer(1, 40));
            Bands bands;
            for (int b = 0; b < count; ++b) bands.push_back(samples(random, form, len));
            const Result result = predict(form, bands, len);
            for (int b = 0; b < count; ++b) {
                const Expected expected(form, bands[b], len, b < count / 4 * 4);
                ASSERT_TRUE(same(result.alpha0[b], expected.alpha0))
                    << int(form) << ": " << b << " of " << count << ", " << len << ": "
                    << result.alpha0[b] << expected.alpha0;
                ASSERT_TRUE(same(result.alpha1[b], expected.alpha1));
                ++(expected.alpha0 == Complex() ? unstable : stable);
            }
        }
        EXPECT_GT(stable, 300);
        EXPECT_GT(unstable, 50);
    }
}

// Against the definition in double precision, where the determinant does not magnify the errors.
TEST(SbrPredictFloat, SolvesTheNormalEquations) {
    Random random(2);
    for (Form form : kForms) {
        Bands bands(32);
        for (auto& band : bands)
            for (int n = 0; n < 40; ++n)
                band.emplace_back(float(random.real(-1, 1)),
                                  form == Form::real ? 0 : float(random.real(-1, 1)));
        const Result result = predict(form, bands, 38);
        for (std::size_t b = 0; b < bands.size(); ++b) {
            const std::vector<std::complex<double>> z(bands[b].begin(), bands[b].end());
            const auto sums = reference::covarianceSums(z, 38);
            const auto alpha0 = std::complex<double>(result.alpha0[b]);
            const auto alpha1 = std::complex<double>(result.alpha1[b]);
            const auto zero0 = sums.phi01 + alpha0 * sums.phi11 + alpha1 * std::conj(sums.phi12);
            const auto zero1 = sums.phi02 + alpha0 * sums.phi12 + alpha1 * sums.phi22 * 1.000001;
            EXPECT_LT(std::abs(zero0), 1e-5 * sums.phi11) << b;
            EXPECT_LT(std::abs(zero1), 1e-5 * sums.phi22) << b;
            EXPECT_GT(std::abs(alpha0) + std::abs(alpha1), 0);
        }
    }
}

// Bands whose alpha1 is -x: phi12 is 0.
std::vector<Complex> withAlpha1(Complex x) { return {1, 0, x, 0}; }
// Bands whose alpha0 is -x and whose determinant is 0.
std::vector<Complex> withAlpha0(Complex x) { return {0, 1, x}; }

TEST(SbrPredictFloat, AMagnitudeOfFourPassesInGroupsOnly) {
    const float below = std::nextafter(4.0f, 0.0f), above = std::nextafter(4.0f, 5.0f);
    for (Form form : kForms) {
        for (int count = 1; count <= 37; ++count) {
            for (float size : {below, 4.0f, above}) {
                for (int axis = 0; axis < (form == Form::real ? 1 : 2); ++axis) {
                    const Complex x = axis == 0 ? Complex(size) : Complex(0, -size);
                    const Result one = predict(form, Bands(count, withAlpha1(x)), 2);
                    const Result zero = predict(form, Bands(count, withAlpha0(x)), 1);
                    for (int b = 0; b < count; ++b) {
                        const bool kept = size == below || (size == 4 && b < count - count % 4);
                        EXPECT_EQ(one.alpha1[b], kept ? -x : Complex()) << b << " of " << count;
                        EXPECT_EQ(one.alpha0[b], Complex());
                        EXPECT_EQ(zero.alpha0[b], kept ? -x : Complex()) << b << " of " << count;
                        EXPECT_EQ(zero.alpha1[b], Complex());
                    }
                }
            }
        }
    }
}

// One coefficient beyond the limit takes the other one with it.
TEST(SbrPredictFloat, BothCoefficientsAreDroppedTogether) {
    const std::vector<Complex> within = {1, 0, 1, 3}, beyond = {1, 0, 1, 5};
    for (Form form : kForms) {
        const Result kept = predict(form, Bands(7, within), 2);
        EXPECT_THAT(kept.alpha0, Each(Complex(-3)));
        EXPECT_THAT(kept.alpha1, Each(Complex(-1)));
        const Result dropped = predict(form, Bands(7, beyond), 2);
        EXPECT_THAT(dropped.alpha0, Each(Complex()));
        EXPECT_THAT(dropped.alpha1, Each(Complex()));
    }
}

TEST(SbrPredictFloat, SilenceGivesZeros) {
    for (Form form : kForms) {
        const Result result = predict(form, Bands(23, std::vector<Complex>(40)), 38);
        EXPECT_THAT(result.alpha0, Each(Complex()));
        EXPECT_THAT(result.alpha1, Each(Complex()));
    }
}

TEST(SbrPredictFloat, SamplesInTheOuterRowsOnlyGiveZeros) {
    for (Form form : kForms) {
        for (int len : {2, 38}) {
            std::vector<Complex> z(std::size_t(len + 2));
            z.front() = 3, z.back() = -5;
            const Result result = predict(form, Bands(5, z), len);
            EXPECT_THAT(result.alpha0, Each(Complex()));
            EXPECT_THAT(result.alpha1, Each(Complex()));
        }
    }
}

// Squares that vanish below the smallest float leave phi11 0 and make the determinant negative.
TEST(SbrPredictFloat, ANegativeDeterminantIsUsed) {
    const std::vector<Complex> z = {1e10f, 1e-24f, 1e10f};
    ASSERT_LT(reference::covarianceSums(z, 1).determinant(), 0);
    for (Form form : kForms) {
        const Result result = predict(form, Bands(6, z), 1);
        for (const Complex& alpha1 : result.alpha1) EXPECT_NEAR(alpha1.real(), -1, 1e-5);
        EXPECT_THAT(result.alpha0, Each(Complex()));
    }
}

// A tone has a determinant that only the relaxation keeps from 0.
TEST(SbrPredictFloat, AToneHasAPredictor) {
    for (Form form : kForms) {
        std::vector<Complex> z;
        for (int n = 0; n < 40; ++n)
            z.push_back(form == Form::real ? Complex(n % 2 ? -1 : 1) : std::pow(Complex(0, 1), n));
        const Result result = predict(form, Bands(6, z), 38);
        const Complex turn = form == Form::real ? Complex(-1) : Complex(0, 1);
        for (std::size_t b = 0; b < 6; ++b)
            EXPECT_LT(std::abs(turn * turn + result.alpha0[b] * turn + result.alpha1[b]), 1e-5);
    }
}

// In a group a value that is no number fails the test that keeps; in the rest it fails the one that
// drops.
TEST(SbrPredictFloat, NoNumber) {
    for (Form form : kForms) {
        const Result result = predict(form, Bands(5, {1, std::nanf(""), 1}), 1);
        for (int b = 0; b < 4; ++b) EXPECT_EQ(result.alpha1[b], Complex());
        EXPECT_TRUE(std::isnan(result.alpha1[4].real()));
    }
}

TEST(SbrPredictFloat, Checks) {
    const Qor32f row[4] = {1, 2, 3, 4};
    const Qor32f* rows[4] = {row, row, row, row};
    const Qor32fc pairs[4] = {};
    const Qor32fc* pairRows[4] = {pairs, pairs, pairs, pairs};
    Qor32f out[4][4];
    Qor32fc outPairs[2][4];
    for (auto& a : out)
        for (auto& v : a) v = 7;
    for (auto& a : outPairs)
        for (auto& v : a) v = {7, 7};
    const auto split = [&](int null, Qor32s numBands, Qor32s len) {
        const auto at = [&](int i) { return null == i + 2 ? nullptr : out[i]; };
        return qorsPredictCoef_SBR_C_32f_D2L(null == 0 ? nullptr : rows, null == 1 ? nullptr : rows,
                                             at(0), at(1), at(2), at(3), numBands, len);
    };
    const auto interleaved = [&](int null, Qor32s numBands, Qor32s len) {
        return qorsPredictCoef_SBR_C_32fc_D2L(null == 0 ? nullptr : pairRows,
                                              null == 1 ? nullptr : outPairs[0],
                                              null == 2 ? nullptr : outPairs[1], numBands, len);
    };
    const auto real = [&](int null, Qor32s numBands, Qor32s len) {
        return qorsPredictCoef_SBR_R_32f_D2L(null == 0 ? nullptr : rows,
                                             null == 1 ? nullptr : out[0],
                                             null == 2 ? nullptr : out[1], numBands, len);
    };
    for (Qor32s len : {0, 2}) {
        for (int null = 0; null < 6; ++null) EXPECT_EQ(split(null, 4, len), qorStsNullPtrErr);
        for (int null = 0; null < 3; ++null) EXPECT_EQ(interleaved(null, 4, len), qorStsNullPtrErr);
        for (int null = 0; null < 3; ++null) EXPECT_EQ(real(null, 4, len), qorStsNullPtrErr);
    }
    constexpr Qor32s kLeast = std::numeric_limits<Qor32s>::min();
    for (Qor32s bad : {0, -1, kLeast}) {
        EXPECT_EQ(split(-1, 4, bad), qorStsNoErr);
        EXPECT_EQ(interleaved(-1, 4, bad), qorStsNoErr);
        EXPECT_EQ(real(-1, 4, bad), qorStsNoErr);
        EXPECT_EQ(split(-1, bad, 2), qorStsNoErr);
        EXPECT_EQ(interleaved(-1, bad, 2), qorStsNoErr);
        EXPECT_EQ(real(-1, bad, 2), qorStsNoErr);
    }
    for (const auto& a : out) EXPECT_THAT(a, Each(7));
    for (const auto& a : outPairs)
        for (const auto& v : a) EXPECT_TRUE(v.re == 7 && v.im == 7);
}

}  // namespace
}  // namespace qorac
