// The power laws 3/4 and 4/3.
#include <fenv.h>
#include <xmmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/exact.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Int128;
using test::Guarded;
using test::Random;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
const float kSmallest = std::bit_cast<float>(0x02081CEAu);  // 1e-37

// Two reciprocal-square-root estimates, each within 1.5 * 2^-12: x * r1 * r2 is off by at most
// half of the first error and the whole second one; what is left over is for float rounding.
constexpr double kEstimateError = 2.25 / 4096 + 1e-6;

// Magnitudes of every size, both signs.
std::vector<Qor32f> magnitudes(Random& random, int count, double low, double high) {
    std::vector<Qor32f> values(count);
    for (Qor32f& v : values)
        v = static_cast<Qor32f>(std::exp2(random.real(std::log2(low), std::log2(high))) *
                                (random.chance(0.5) ? 1 : -1));
    return values;
}

TEST(Pow34Float, WithinTheErrorOfTwoEstimates) {
    Random random(40);
    for (int len : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 100, 2000})
        for (bool atEnd : {true, false}) {
            const auto in = magnitudes(random, len, 1.1e-37, 3.4e38);
            Guarded<Qor32f> src(in, atEnd), dst(len, atEnd);
            EXPECT_GE(qorsPow34_32f(src.data(), dst.data(), len), 0);
            for (int i = 0; i < len; ++i) {
                const double exact = std::pow(std::abs(static_cast<double>(in[i])), 0.75);
                ASSERT_NEAR(dst[i], exact, exact * kEstimateError) << in[i];
            }
            EXPECT_EQ(src.copy(), in);
        }
}

TEST(Pow34Float, WhatIsNotGreaterThanTheThresholdGivesZero) {
    const std::vector<Qor32f> zero = {0.0f,       -0.0f, 1e-38f, -1e-38f, kSmallest,
                                      -kSmallest, kNaN,  1e-45f, -kNaN,   1.17549435e-38f};
    std::vector<Qor32f> out(zero.size(), 5.0f);
    qorsPow34_32f(zero.data(), out.data(), static_cast<int>(zero.size()));
    for (Qor32f y : out) EXPECT_EQ(std::bit_cast<Qor32u>(y), 0u);

    const Qor32f above = std::nextafter(kSmallest, 1.0f);
    qorsPow34_32f(&above, out.data(), 1);
    EXPECT_GT(out[0], 0);
    const Qor32f sixteen = -16.0f;
    qorsPow34_32f(&sixteen, out.data(), 1);
    EXPECT_NEAR(out[0], 8, 8 * kEstimateError);
}

TEST(Pow34Integer, WithinTheErrorOfTwoEstimatesAndRounded) {
    Random random(41);
    for (int len : {1, 3, 4, 7, 8, 9, 16, 17, 33, 2000})
        for (bool atEnd : {true, false}) {
            auto in = magnitudes(random, len, 0.01, 1e6);
            Guarded<Qor32f> src(in, atEnd);
            Guarded<Qor16s> dst(len, atEnd);
            EXPECT_GE(qorsPow34_32f16s(src.data(), dst.data(), len), 0);
            for (int i = 0; i < len; ++i) {
                const double exact = std::pow(std::abs(static_cast<double>(in[i])), 0.75);
                ASSERT_NEAR(dst[i], exact, 0.5 + exact * kEstimateError) << in[i];
                ASSERT_GE(dst[i], 0);
            }
        }
}

TEST(Pow34Integer, LimitZeroAndNaN) {
    struct Case {
        Qor32f in;
        int low, high;
    };
    const int slack = static_cast<int>(31622.8 * kEstimateError) + 1;
    const Case cases[] = {
        {2000000.0f, 31623, 31623},
        {-2000000.0f, 31623, 31623},
        {std::nextafter(1000000.0f, 2e6f), 31623, 31623},
        {3e38f, 31623, 31623},
        {kInfinity, 31623, 31623},
        {-kInfinity, 31623, 31623},
        {1000000.0f, 31623 - slack, 31623 + slack},
        {0.0f, 0, 0},
        {-0.0f, 0, 0},
        {kNaN, 0, 0},
        {-kNaN, 0, 0},
        {1e-38f, 0, 0},
        {1e-45f, 0, 0},
        {1e-37f, 0, 0},
        {0.39f, 0, 0},  // 0.4935
        {0.41f, 1, 1},  // 0.5124
        {1.0f, 1, 1},
        {-16.0f, 8, 8},
        {81.0f, 27, 27},
    };
    for (const Case& c : cases)
        for (int len : {1, 8, 11}) {
            const std::vector<Qor32f> in(len, c.in);
            std::vector<Qor16s> out(len, -1);
            qorsPow34_32f16s(in.data(), out.data(), len);
            EXPECT_THAT(out, testing::Each(testing::AllOf(testing::Ge(c.low), testing::Le(c.high))))
                << c.in;
        }
}

TEST(Pow34Float, ExceptionsStayMaskedAndTheControlStateIsKept) {
    const Qor32f in[11] = {0,
                           -0.0f,
                           kNaN,
                           kInfinity,
                           1e-45f,
                           -1e-40f,
                           1e30f,
                           3e38f,
                           0.3f,
                           -kInfinity,
                           std::bit_cast<float>(0x7F800001u)};
    Qor32f floats[11];
    Qor16s integers[11];
    constexpr unsigned kStatusFlags = 0x3F;
    const unsigned saved = _mm_getcsr();
    // All exceptions unmasked; with and without rounding up, flush to zero, denormals are zero.
    for (unsigned control : {0x0000u, 0x4000u, 0x8040u, 0x6000u}) {
        _mm_setcsr(control);
        qorsPow34_32f(in, floats, 11);
        const unsigned afterFloat = _mm_getcsr();
        _mm_setcsr(control);
        qorsPow34_32f16s(in, integers, 11);
        const unsigned afterInteger = _mm_getcsr();
        _mm_setcsr(saved);
        EXPECT_EQ(afterFloat & ~kStatusFlags, control);
        EXPECT_EQ(afterInteger & ~kStatusFlags, control);
        EXPECT_EQ(integers[0], 0);
        EXPECT_EQ(integers[3], 31623);
        EXPECT_EQ(floats[2], 0.0f);
    }
}

template <typename In, typename Out>
void expectFloatChecks(QorStatus (*pow)(const In*, Out*, int)) {
    alignas(16) In in[12] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    alignas(16) Out out[12] = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(pow(nullptr, out, 0), qorStsNullPtrErr);
    EXPECT_EQ(pow(in, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(pow(nullptr, out, 4), qorStsNullPtrErr);
    EXPECT_EQ(pow(in, out, 0), qorStsSizeErr);
    EXPECT_EQ(pow(in + 1, out, -1), qorStsSizeErr);
    EXPECT_THAT(out, testing::Each(Out(9)));
    EXPECT_EQ(pow(in, out, 9), qorStsNoErr);
    EXPECT_EQ(pow(in + 1, out, 9), qorStsAlignmentWarn);
    EXPECT_EQ(pow(in, out + 1, 9), qorStsAlignmentWarn);
    EXPECT_THAT(std::vector<Out>(out + 1, out + 10), testing::Each(Out(1)));
}

TEST(Pow34Float, ChecksAndAlignmentWarning) {
    // 1 to the power 3/4 may be off by the estimates' error in floating point.
    expectFloatChecks<Qor32f, Qor16s>(qorsPow34_32f16s);
    alignas(16) Qor32f in[12] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, out[12] = {9, 9, 9, 9};
    EXPECT_EQ(qorsPow34_32f(nullptr, out, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow34_32f(in, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow34_32f(in, out, 0), qorStsSizeErr);
    EXPECT_EQ(qorsPow34_32f(in, out, -1), qorStsSizeErr);
    EXPECT_EQ(out[0], 9);
    EXPECT_EQ(qorsPow34_32f(in, out, 9), qorStsNoErr);
    EXPECT_EQ(qorsPow34_32f(in + 1, out, 9), qorStsAlignmentWarn);
    EXPECT_EQ(qorsPow34_32f(in, out + 1, 9), qorStsAlignmentWarn);
}

// --- 3/4 in integers --------------------------------------------------------------------------

int bitLength(int k) { return k == 0 ? 0 : 1 + bitLength(k / 2); }

std::vector<long long> table(int count, long long (*rule)(long double i)) {
    std::vector<long long> values;
    for (int i = 0; i < count; ++i) values.push_back(rule(i));
    return values;
}
const auto kHigh = table(
    128, [](long double i) { return std::llround(std::pow((i + 128) / 256, 0.75L) * 65536); });
const auto kLow = table(128, [](long double i) { return std::llround(4194304 / (i + 128)); });
const auto kSecond = table(
    256, [](long double i) { return std::llround(std::pow(1 + (i + 2) / 32768, 0.75L) * 16384); });

// The power by table and interpolation, step by step.
Qor16s pow34(Qor16s source, int inScaleFactor, int scaleFactor) {
    if (source == 0) return 0;
    const int x = std::abs(int{source});
    const auto norm = [](int k) { return k == 0 ? 16 : 15 - bitLength(k); };
    const int e = x >> 8 ? norm(x >> 8) - 8 : norm(x);
    const int m = x << (e + 1);
    const int h = m >> 8, r = (m - h * 256) >> 1;
    const Int128 high = kHigh[h - 128], low = kLow[h - 128];
    const int i = static_cast<int>((low * r + 8192) >> 14);
    const Int128 second = kSecond[i];
    Int128 p = (second * high + 16384) >> 15;
    const int q = inScaleFactor - e + 7;
    const int quarter[] = {65535, 55109, 46341, 38968};
    p *= quarter[q & 3];
    const int s = std::min(scaleFactor - 3 * (q >> 2) - (q & 3) + 25, 31);
    if (s < 15) return 32767;
    return reference::clamp16(reference::roundShift(p, s));
}

TEST(Pow34Fixed, EverySourceAndTheScaleFactorsOfUse) {
    std::vector<Qor16s> in(65536), out(65536);
    for (int i = 0; i < 65536; ++i) in[i] = static_cast<Qor16s>(i - 32768);
    for (int inScaleFactor : {-16, -15, -9, -2, -1, 0, 1, 2, 3, 7})
        for (int scaleFactor : {-8, -1, 0, 5}) {
            EXPECT_EQ(qorsPow34_16s_Sfs(in.data(), inScaleFactor, out.data(), scaleFactor, 65536),
                      qorStsNoErr);
            for (int i = 0; i < 65536; ++i)
                ASSERT_EQ(out[i], pow34(in[i], inScaleFactor, scaleFactor))
                    << in[i] << " in " << inScaleFactor << " out " << scaleFactor;
        }
}

TEST(Pow34Fixed, ScaleFactorsFarOut) {
    Random random(42);
    for (int round = 0; round < 3000; ++round) {
        const int inScaleFactor = static_cast<int>(random.wideInteger(11));
        const int scaleFactor = static_cast<int>(random.wideInteger(11));
        const auto in = random.integers<Qor16s>(5, -32768, 32767);
        Guarded<Qor16s> src(in), dst(5);
        qorsPow34_16s_Sfs(src.data(), inScaleFactor, dst.data(), scaleFactor, 5);
        for (int i = 0; i < 5; ++i)
            ASSERT_EQ(dst[i], pow34(in[i], inScaleFactor, scaleFactor))
                << in[i] << " in " << inScaleFactor << " out " << scaleFactor;
    }
}

// The steps are an approximation of the formula with 15 bits.
TEST(Pow34Fixed, NearTheFormula) {
    for (int inScaleFactor : {-4, -3, -2, -1, 0})
        for (int x : {1, 2, 3, 16, 81, 100, 127, 128, 255, 256, 1000, 10000, 32767, -32768})
            for (int scaleFactor : {-4, 0}) {
                const Qor16s source = static_cast<Qor16s>(x);
                const double exact =
                    std::min(32767.0, std::pow(std::ldexp(std::abs(x), inScaleFactor), 0.75) *
                                          std::exp2(-scaleFactor));
                if (exact < 1) continue;  // where the shift is held
                Qor16s out;
                qorsPow34_16s_Sfs(&source, inScaleFactor, &out, scaleFactor, 1);
                EXPECT_NEAR(out, exact, 0.501 + exact / 8192) << x << ' ' << inScaleFactor;
            }
}

TEST(Pow34Fixed, SignIsDroppedZeroStaysAndTheClampOfTheShiftKeepsAOne) {
    const Qor16s in[] = {0, 16, -16, 32767, -32767, 1};
    Qor16s out[6];
    qorsPow34_16s_Sfs(in, 0, out, 0, 6);
    EXPECT_THAT(out, testing::ElementsAre(0, 8, 8, 2436, 2436, 1));
    qorsPow34_16s_Sfs(in, 0, out, -30, 6);
    EXPECT_THAT(out, testing::ElementsAre(0, 32767, 32767, 32767, 32767, 32767));
    // 2^-1000 is far below one half, and still the shift stops at 31.
    const Qor16s top = -32768;
    qorsPow34_16s_Sfs(&top, 0, out, 1000, 1);
    EXPECT_EQ(out[0], pow34(top, 0, 1000));
    EXPECT_EQ(out[0], 1);
}

TEST(Pow34Fixed, LengthIsTestedBeforeThePointers) {
    const Qor16s in[2] = {1, 2};
    Qor16s out[2] = {7, 7};
    EXPECT_EQ(qorsPow34_16s_Sfs(nullptr, 0, nullptr, 0, 0), qorStsSizeErr);
    EXPECT_EQ(qorsPow34_16s_Sfs(in, 0, nullptr, 0, -1), qorStsSizeErr);
    EXPECT_EQ(qorsPow34_16s_Sfs(in, 0, out, 0, 0), qorStsSizeErr);
    EXPECT_EQ(qorsPow34_16s_Sfs(nullptr, 0, out, 0, 1), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow34_16s_Sfs(in, 0, nullptr, 0, 1), qorStsNullPtrErr);
    EXPECT_THAT(out, testing::ElementsAre(7, 7));
    EXPECT_EQ(qorsPow34_16s_Sfs(in + 1, 0, out + 1, 0, 1), qorStsNoErr);
}

// --- 4/3 --------------------------------------------------------------------------------------

TEST(Pow43, EveryLegalSourceRoundedOnce) {
    std::vector<Qor16s> in;
    for (int k = -8206; k <= 8206; ++k) in.push_back(static_cast<Qor16s>(k));
    const int len = static_cast<int>(in.size());
    Guarded<Qor16s> src(in);
    Guarded<Qor32f> dst(len);
    EXPECT_EQ(qorsPow43_16s32f(src.data(), dst.data(), len), qorStsNoErr);
    for (int i = 0; i < len; ++i) {
        const long double k = std::abs(in[i]);
        const float power = static_cast<float>(k * std::cbrt(k));
        const float expected = in[i] < 0 ? -power : power;
        ASSERT_EQ(std::bit_cast<Qor32u>(dst[i]), std::bit_cast<Qor32u>(expected)) << in[i];
    }
    EXPECT_EQ(dst[8206 - 8], -16.0f);
    EXPECT_EQ(dst[len - 1], 165516.78125f);
}

TEST(Pow43, LengthsAlignmentAndChecks) {
    for (int len = 1; len < 40; ++len)
        for (bool atEnd : {true, false}) {
            Guarded<Qor16s> src(len, atEnd);
            Guarded<Qor32f> dst(len, atEnd);
            for (int i = 0; i < len; ++i) src[i] = i % 2 ? 27 : -8;
            EXPECT_EQ(qorsPow43_16s32f(src.data(), dst.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i) ASSERT_EQ(dst[i], i % 2 ? 81 : -16);
        }
    const Qor16s in = 8;
    Qor32f out = 3;
    EXPECT_EQ(qorsPow43_16s32f(nullptr, &out, -1), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow43_16s32f(&in, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow43_16s32f(nullptr, &out, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsPow43_16s32f(&in, &out, -1), qorStsSizeErr);
    EXPECT_EQ(qorsPow43_16s32f(&in, &out, 0), qorStsNoErr);
    EXPECT_EQ(out, 3);
}

}  // namespace
}  // namespace qorac
