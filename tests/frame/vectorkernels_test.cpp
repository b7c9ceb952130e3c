#include "frame/vectorkernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "reference/exact.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::clamp16;
using reference::clamp32;
using reference::Int128;
using reference::roundShift;
using test::Guarded;
using test::Random;

constexpr Qor32s kMax = std::numeric_limits<Qor32s>::max();
constexpr Qor32s kMin = std::numeric_limits<Qor32s>::min();

// Lengths that meet every remainder of the vector widths in use.
const std::vector<int> kLengths = {1,  2,  3,  4,  5,  7,  8,  9,  15,  16,  17,  23,  31,
                                   32, 33, 47, 63, 64, 65, 66, 99, 127, 128, 129, 255, 300};

// --- argument checks --------------------------------------------------------------------------

struct Checked {
    const char* name;
    int pointers;
    int minLength;
    std::function<QorStatus(void* const* p, int len)> call;
};

template <typename T>
T* as(void* p) {
    return static_cast<T*>(p);
}

template <typename T>
Checked zero(const char* name, QorStatus (*f)(T*, int)) {
    return {name, 1, 1, [f](void* const* p, int len) { return f(as<T>(p[0]), len); }};
}
template <typename S, typename D>
Checked unary(const char* name, QorStatus (*f)(const S*, D*, int)) {
    return {name, 2, 1, [f](void* const* p, int len) { return f(as<S>(p[0]), as<D>(p[1]), len); }};
}

const std::vector<Checked>& checkedKernels() {
    static const std::vector<Checked> list = {
        zero("Zero_8u", qorsZero_8u),
        zero("Zero_16s", qorsZero_16s),
        zero("Zero_16sc", qorsZero_16sc),
        zero("Zero_32s", qorsZero_32s),
        zero("Zero_32sc", qorsZero_32sc),
        zero("Zero_32f", qorsZero_32f),
        zero("Zero_32fc", qorsZero_32fc),
        {"Set_32s", 1, 1,
         [](void* const* p, int len) { return qorsSet_32s(7, as<Qor32s>(p[0]), len); }},
        unary("Copy_8u", qorsCopy_8u),
        unary("Copy_32s", qorsCopy_32s),
        unary("Copy_32f", qorsCopy_32f),
        unary("Move_8u", qorsMove_8u),
        unary("Move_32f", qorsMove_32f),
        unary("Convert_16s32f", qorsConvert_16s32f),
        unary("Conj_32fc", qorsConj_32fc),
        unary("Mul_32fc_I", qorsMul_32fc_I),
        {"Add_32s_ISfs", 2, 1,
         [](void* const* p, int len) {
             return qorsAdd_32s_ISfs(as<Qor32s>(p[0]), as<Qor32s>(p[1]), len, 33);
         }},
        {"Convert_32s16s_Sfs", 2, 1,
         [](void* const* p, int len) {
             return qorsConvert_32s16s_Sfs(as<Qor32s>(p[0]), as<Qor16s>(p[1]), len, 1);
         }},
        {"Convert_32f16s_Sfs", 2, 1,
         [](void* const* p, int len) {
             return qorsConvert_32f16s_Sfs(as<Qor32f>(p[0]), as<Qor16s>(p[1]), len, 1, 0);
         }},
        {"CplxToReal_32fc", 3, 1,
         [](void* const* p, int len) {
             return qorsCplxToReal_32fc(as<Qor32fc>(p[0]), as<Qor32f>(p[1]), as<Qor32f>(p[2]), len);
         }},
        {"Max_32s", 2, 1,
         [](void* const* p, int len) {
             return qorsMax_32s(as<Qor32s>(p[0]), len, as<Qor32s>(p[1]));
         }},
        {"MinMax_16s", 3, 1,
         [](void* const* p, int len) {
             return qorsMinMax_16s(as<Qor16s>(p[0]), len, as<Qor16s>(p[1]), as<Qor16s>(p[2]));
         }},
        {"MulC_32f_I by 0", 1, 1,
         [](void* const* p, int len) { return qorsMulC_32f_I(as<Qor32f>(p[0]), len, 0.0f); }},
        {"MulC_32f_I by 1", 1, 1,
         [](void* const* p, int len) { return qorsMulC_32f_I(as<Qor32f>(p[0]), len, 1.0f); }},
        {"Mul_32fc", 3, 1,
         [](void* const* p, int len) {
             return qorsMul_32fc(as<Qor32fc>(p[0]), as<Qor32fc>(p[1]), as<Qor32fc>(p[2]), len);
         }},
        {"RShiftC_32s_I by -1", 1, 1,
         [](void* const* p, int len) { return qorsRShiftC_32s_I(-1, as<Qor32s>(p[0]), len); }},
        {"RShiftC_32s_I by 0", 1, 1,
         [](void* const* p, int len) { return qorsRShiftC_32s_I(0, as<Qor32s>(p[0]), len); }},
        {"StdDev_32f", 2, 2,
         [](void* const* p, int len) {
             return qorsStdDev_32f(as<Qor32f>(p[0]), len, as<Qor32f>(p[1]), 0);
         }},
    };
    return list;
}

TEST(VectorKernelChecks, PointersComeBeforeTheLengthAndNothingIsWritten) {
    for (const Checked& kernel : checkedKernels()) {
        std::array<std::array<Qor32u, 8>, 3> buffers{};
        for (auto& buffer : buffers) buffer.fill(0x3F9D70A4);
        const auto before = buffers;
        for (int nulls = 0; nulls < 1 << kernel.pointers; ++nulls) {
            void* p[3];
            for (int i = 0; i < 3; ++i) p[i] = nulls >> i & 1 ? nullptr : buffers[i].data();
            for (int len : {kernel.minLength - 1, -1, kMin, kernel.minLength}) {
                if (nulls == 0 && len == kernel.minLength) continue;
                EXPECT_EQ(kernel.call(p, len), nulls ? qorStsNullPtrErr : qorStsSizeErr)
                    << kernel.name << " nulls " << nulls << " len " << len;
            }
        }
        EXPECT_EQ(buffers, before) << kernel.name;
    }
}

TEST(VectorKernelChecks, ShiftCountComesAfterTheLength) {
    Qor32s value = 5;
    EXPECT_EQ(qorsRShiftC_32s_I(-1, &value, 1), qorStsShiftErr);
    EXPECT_EQ(qorsRShiftC_32s_I(kMin, &value, 1), qorStsShiftErr);
    EXPECT_EQ(value, 5);
}

TEST(VectorKernelChecks, JoiningWithoutSourcesIsFoundAfterDestinationAndLength) {
    const Qor32f source = 3;
    Qor32fc out{1, 2};
    EXPECT_EQ(qorsRealToCplx_32f(&source, &source, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsRealToCplx_32f(nullptr, nullptr, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsRealToCplx_32f(nullptr, nullptr, &out, 0), qorStsSizeErr);
    EXPECT_EQ(qorsRealToCplx_32f(&source, &source, &out, 0), qorStsSizeErr);
    EXPECT_EQ(qorsRealToCplx_32f(nullptr, nullptr, &out, 1), qorStsNullPtrErr);
    EXPECT_EQ(out.re, 1);
    EXPECT_EQ(out.im, 2);
}

// --- clear, set, copy -------------------------------------------------------------------------

template <typename T>
void expectCleared(QorStatus (*zeroKernel)(T*, int)) {
    for (int len : kLengths)
        for (bool atEnd : {true, false}) {
            Guarded<T> out(len, atEnd);
            std::memset(out.data(), 0xA5, len * sizeof(T));
            EXPECT_EQ(zeroKernel(out.data(), len), qorStsNoErr);
            const auto* bytes = reinterpret_cast<const Qor8u*>(out.data());
            EXPECT_TRUE(std::all_of(bytes, bytes + len * sizeof(T), [](Qor8u b) { return b == 0; }))
                << len;
        }
}

TEST(Zero, ClearsEveryElementAndNoOther) {
    expectCleared(qorsZero_8u);
    expectCleared(qorsZero_16s);
    expectCleared(qorsZero_16sc);
    expectCleared(qorsZero_32s);
    expectCleared(qorsZero_32sc);
    expectCleared(qorsZero_32f);
    expectCleared(qorsZero_32fc);
    expectCleared<Qor8u>([](Qor8u* p, int len) {
        ownsZero_8u(p, len);
        return QorStatus{qorStsNoErr};
    });
}

TEST(Set, StoresTheValueInEachElement) {
    for (int len : kLengths) {
        Guarded<Qor32s> checked(len), plain(len);
        Guarded<Qor8u> bytes(len);
        EXPECT_EQ(qorsSet_32s(kMin + 3, checked.data(), len), qorStsNoErr);
        ownsSet_32s(-2, plain.data(), len);
        ownsSet_8u(0xC3, bytes.data(), len);
        EXPECT_THAT(checked.copy(), testing::Each(kMin + 3));
        EXPECT_THAT(plain.copy(), testing::Each(-2));
        EXPECT_THAT(bytes.copy(), testing::Each(0xC3));
    }
}

template <typename T>
void expectCopied(QorStatus (*copy)(const T*, T*, int)) {
    Random random(3);
    for (int len : kLengths)
        for (bool atEnd : {true, false}) {
            const auto values = random.integers<T>(len, 0, 255);
            Guarded<T> in(std::span<const T>(values), atEnd), out(len, atEnd);
            EXPECT_EQ(copy(in.data(), out.data(), len), qorStsNoErr);
            EXPECT_EQ(out.copy(), values);
            EXPECT_EQ(in.copy(), values);
        }
}

TEST(Copy, EveryElementAndNoOther) {
    expectCopied(qorsCopy_8u);
    expectCopied(qorsCopy_32s);
    expectCopied(qorsCopy_32f);
    expectCopied(qorsMove_8u);
    expectCopied(qorsMove_32f);
    expectCopied<Qor8u>([](const Qor8u* s, Qor8u* d, int len) {
        ownsCopy_8u(s, d, len);
        return QorStatus{qorStsNoErr};
    });
}

// Bit patterns pass unchanged, signalling NaNs too.
TEST(Copy, FloatsKeepTheirBits) {
    const std::array<Qor32u, 4> bits = {0x7F800001, 0xFFC12345, 0x80000000, 0x00000001};
    std::array<Qor32f, 4> in;
    std::memcpy(in.data(), bits.data(), sizeof in);
    for (auto copy : {qorsCopy_32f, qorsMove_32f}) {
        std::array<Qor32u, 4> out{};
        copy(in.data(), reinterpret_cast<Qor32f*>(out.data()), 4);
        EXPECT_EQ(out, bits);
    }
}

template <typename T>
void expectMoved(QorStatus (*move)(const T*, T*, int)) {
    Random random(4);
    for (int len : {1, 2, 5, 32, 33, 64, 100, 480})
        for (int distance : {0, 1, -1, 2, -3, 7, -8, 31, 32, -32, len - 1, 1 - len, len, -len}) {
            const int reach = std::abs(distance);
            const auto values = random.integers<T>(len + reach, 0, 255);
            Guarded<T> buffer{std::span<const T>(values)};
            const int from = distance < 0 ? reach : 0, to = from + distance;
            auto expected = values;
            std::copy_n(values.begin() + from, len, expected.begin() + to);
            EXPECT_EQ(move(buffer.data() + from, buffer.data() + to, len), qorStsNoErr);
            EXPECT_EQ(buffer.copy(), expected) << "len " << len << " distance " << distance;
        }
}

// Distance -32 floats is the move of the DTS delay line; len - 1 overlaps by one element.
TEST(Move, OverlapIsLikeACopyThroughATemporary) {
    expectMoved(qorsMove_8u);
    expectMoved(qorsMove_32f);
}

// --- integer arithmetic -----------------------------------------------------------------------

Qor32s scaledSum(Qor32s a, Qor32s b, int scaleFactor) {
    const Int128 sum = Int128{a} + b;
    if (scaleFactor > 32) return 0;
    if (scaleFactor > 0) return clamp32(roundShift(sum, scaleFactor));
    if (scaleFactor > -31) return clamp32(sum << -scaleFactor);
    return sum > 0 ? kMax : sum < 0 ? kMin : 0;
}

std::vector<Qor32s> hostileIntegers(Random& random, int count) {
    std::vector<Qor32s> values = {0, 1, -1, 2, -2, 3, -3, kMax, kMin, kMax - 1, kMin + 1, 1 << 30};
    while (static_cast<int>(values.size()) < count)
        values.push_back(static_cast<Qor32s>(random.wideInteger(31)));
    values.resize(count);
    return values;
}

TEST(Add, EveryScaleFactorOnTheExactSum) {
    Random random(5);
    for (int scaleFactor : {kMin, -32, -31, -30, -29, -16, -5, -2, -1, 0,  1,  2,   3,
                            4,    8,   15,  16,  17,  24,  29, 30, 31, 32, 33, 100, kMax})
        for (int len : {1, 7, 200}) {
            const auto a = hostileIntegers(random, len);
            auto b = hostileIntegers(random, len);
            std::shuffle(b.begin(), b.end(), std::mt19937(len));
            Guarded<Qor32s> src{std::span<const Qor32s>(a)}, srcDst{std::span<const Qor32s>(b)};
            EXPECT_EQ(qorsAdd_32s_ISfs(src.data(), srcDst.data(), len, scaleFactor), qorStsNoErr);
            for (int i = 0; i < len; ++i)
                EXPECT_EQ(srcDst[i], scaledSum(a[i], b[i], scaleFactor))
                    << a[i] << " + " << b[i] << " factor " << scaleFactor;
            EXPECT_EQ(src.copy(), a);
        }
}

TEST(Add, Examples) {
    struct Case {
        Qor32s a, b;
        int scaleFactor;
        Qor32s expected;
    };
    const Case cases[] = {
        {kMax, 1, 0, kMax},   {kMin, -1, 0, kMin},  {kMax, kMax, 1, kMax},
        {kMax, kMax, 32, 1},  {kMin, kMin, 32, -1}, {1, 2, 1, 2},
        {0, 1, 1, 0},         {-1, -2, 1, -2},      {0, -1, 1, 0},
        {1, 0, -30, 1 << 30}, {1, 1, -30, kMax},    {-1, -1, -30, kMin},
        {1, 0, -31, kMax},    {-1, 0, -31, kMin},   {5, -5, -31, 0},
        {kMax, kMax, 33, 0},  {kMin, kMin, 33, 0},  {1 << 30, 1 << 30, 32, 0},
        {kMin, 0, 32, 0},     {kMin, -1, 32, -1},
    };
    for (const Case& c : cases) {
        Qor32s sum = c.b;
        qorsAdd_32s_ISfs(&c.a, &sum, 1, c.scaleFactor);
        EXPECT_EQ(sum, c.expected) << c.a << " + " << c.b << " factor " << c.scaleFactor;
    }
}

TEST(ShiftRight, ArithmeticAndFrom32OnTheSign) {
    Random random(6);
    for (int val : {0, 1, 2, 7, 15, 16, 30, 31, 32, 33, 64, kMax})
        for (int len : kLengths) {
            const auto in = hostileIntegers(random, len);
            Guarded<Qor32s> data{std::span<const Qor32s>(in)};
            EXPECT_EQ(qorsRShiftC_32s_I(val, data.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i)
                EXPECT_EQ(data[i], val < 32 ? in[i] >> val : in[i] < 0 ? -1 : 0) << in[i];
        }
}

TEST(Extremes, LargestAndSmallest) {
    Random random(7);
    for (int len : kLengths)
        for (int round = 0; round < 4; ++round) {
            const auto in =
                random.integers<Qor32s>(len, round < 2 ? kMin : -9, round % 2 ? -5 : kMax);
            Guarded<Qor32s> wide{std::span<const Qor32s>(in)};
            Qor32s top = 1;
            EXPECT_EQ(qorsMax_32s(wide.data(), len, &top), qorStsNoErr);
            EXPECT_EQ(top, *std::max_element(in.begin(), in.end()));

            const auto small =
                random.integers<Qor16s>(len, round < 2 ? -32768 : 5, round % 2 ? 9 : 32767);
            Guarded<Qor16s> narrow{std::span<const Qor16s>(small)};
            Qor16s low = 1, high = 1;
            EXPECT_EQ(qorsMinMax_16s(narrow.data(), len, &low, &high), qorStsNoErr);
            EXPECT_EQ(low, *std::min_element(small.begin(), small.end()));
            EXPECT_EQ(high, *std::max_element(small.begin(), small.end()));
        }
    // The extreme element may stand anywhere.
    for (int at = 0; at < 70; ++at) {
        std::vector<Qor32s> wide(70, kMin);
        std::vector<Qor16s> narrow(70, 0);
        wide[at] = kMin + 1;
        narrow[at] = -32768;
        narrow[(at + 1) % 70] = 32767;
        Qor32s top;
        Qor16s low, high;
        qorsMax_32s(wide.data(), 70, &top);
        qorsMinMax_16s(narrow.data(), 70, &low, &high);
        EXPECT_EQ(top, kMin + 1);
        EXPECT_EQ(low, -32768);
        EXPECT_EQ(high, 32767);
    }
}

// --- conversion -------------------------------------------------------------------------------

Qor16s narrowed(Qor32s x, int scaleFactor) {
    if (scaleFactor > 0) return clamp16(roundShift(x, std::min(scaleFactor, 31)));
    return clamp16(Int128{x} << std::min(-(scaleFactor + 0ll), 15ll));
}

TEST(Convert32s16s, EveryScaleFactor) {
    Random random(8);
    for (int scaleFactor : {kMin, -100, -17, -16, -15, -14, -8, -2, -1, 0,  1,  2,
                            3,    4,    8,   15,  16,  17,  29, 30, 31, 32, 50, kMax})
        for (int len : {1, 9, 300}) {
            const auto in = hostileIntegers(random, len);
            Guarded<Qor32s> src{std::span<const Qor32s>(in)};
            Guarded<Qor16s> dst(len);
            EXPECT_EQ(qorsConvert_32s16s_Sfs(src.data(), dst.data(), len, scaleFactor),
                      qorStsNoErr);
            for (int i = 0; i < len; ++i)
                EXPECT_EQ(dst[i], narrowed(in[i], scaleFactor)) << in[i] << " by " << scaleFactor;
        }
}

TEST(Convert32s16s, Examples) {
    struct Case {
        Qor32s in;
        int scaleFactor;
        Qor16s expected;
    };
    const Case cases[] = {
        {kMax, 16, 32767},   {kMin, 16, -32768}, {1, 1, 0},          {3, 1, 2},
        {-1, 1, 0},          {-3, 1, -2},        {kMax, 31, 1},      {kMin, 31, -1},
        {kMax, 99, 1},       {kMin, 99, -1},     {1 << 30, 31, 0},   {3, -15, 32767},
        {-1, -15, -32768},   {-1, -16, -32768},  {0, -15, 0},        {32768, 0, 32767},
        {-32769, 0, -32768}, {1, -14, 16384},    {kMax, -15, 32767}, {kMin, -1, -32768},
    };
    for (const Case& c : cases) {
        Qor16s out;
        qorsConvert_32s16s_Sfs(&c.in, &out, 1, c.scaleFactor);
        EXPECT_EQ(out, c.expected) << c.in << " by " << c.scaleFactor;
    }
}

TEST(Convert16s32f, Exact) {
    std::vector<Qor16s> in(65536);
    for (int i = 0; i < 65536; ++i) in[i] = static_cast<Qor16s>(i - 32768);
    std::vector<Qor32f> out(65536);
    EXPECT_EQ(qorsConvert_16s32f(in.data(), out.data(), 65536), qorStsNoErr);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(out[i], i - 32768);
    for (int len : kLengths) {
        Guarded<Qor16s> src{std::span<const Qor16s>(in).first(len)};
        Guarded<Qor32f> dst(len);
        qorsConvert_16s32f(src.data(), dst.data(), len);
        EXPECT_EQ(dst[len - 1], len - 1 - 32768);
    }
}

// The factor as the float with the exponent field 127 - scaleFactor, held to 0 to 255.
double scaleOf(int scaleFactor) {
    const long long field = std::clamp(127ll - scaleFactor, 0ll, 255ll);
    return std::bit_cast<float>(static_cast<Qor32u>(field) << 23);
}

Qor16s rounded(double v) {
    if (v > 40000) return 32767;
    if (v < -40000) return -32768;
    return clamp16(static_cast<long long>(std::nearbyint(v)));
}

TEST(Convert32f16s, EveryScaleFactor) {
    Random random(9);
    for (int scaleFactor : {kMin, -200, -128, -127, -60, -15, -1, 0, 1, 2, 15, 60, 100, 125, 126,
                            127, 128, 300, kMax})
        for (int len : {1, 6, 300}) {
            std::vector<Qor32f> in(len);
            for (Qor32f& x : in) {
                x = static_cast<Qor32f>(
                    std::ldexp(random.real(-1, 1),
                               random.integer(-4, 20) + std::clamp(scaleFactor, -100, 100)));
                if (x == 0) x = 1;
            }
            Guarded<Qor32f> src{std::span<const Qor32f>(in)};
            Guarded<Qor16s> dst(len);
            EXPECT_EQ(qorsConvert_32f16s_Sfs(src.data(), dst.data(), len, 1, scaleFactor),
                      qorStsNoErr);
            for (int i = 0; i < len; ++i)
                EXPECT_EQ(dst[i], rounded(in[i] * scaleOf(scaleFactor)))
                    << in[i] << " by " << scaleFactor;
        }
}

struct FloatCase {
    Qor32f in;
    int scaleFactor;
    Qor16s expected;
};
constexpr Qor32f kInfinity = std::numeric_limits<Qor32f>::infinity();
const FloatCase kFloatCases[] = {
    {0.5f, 0, 0},
    {1.5f, 0, 2},
    {2.5f, 0, 2},
    {-0.5f, 0, 0},
    {-1.5f, 0, -2},
    {-2.5f, 0, -2},
    {0.75f, 0, 1},
    {0.25f, 0, 0},
    {-0.75f, 0, -1},
    {32767.5f, 0, 32767},
    {-32768.5f, 0, -32768},
    {-32769.0f, 0, -32768},
    {32766.5f, 0, 32766},
    {3e9f, 0, 32767},
    {-3e9f, 0, -32768},
    {1e38f, 0, 32767},
    {-1e38f, 0, -32768},
    {kInfinity, 0, 32767},
    {-kInfinity, 0, -32768},
    {5, 1, 2},
    {7, 1, 4},
    {5, -1, 10},
    {1, -14, 16384},
    {1, -15, 32767},
    {-1, -15, -32768},
    {1e-20f, -128, 32767},
    {-1e-20f, -500, -32768},
    {1e38f, 127, 0},
    {1e38f, 126, 1},
    {-1e38f, 500, 0},
};

TEST(Convert32f16s, Examples) {
    for (const FloatCase& c : kFloatCases) {
        Qor16s out = 99;
        qorsConvert_32f16s_Sfs(&c.in, &out, 1, 1, c.scaleFactor);
        EXPECT_EQ(out, c.expected) << c.in << " by " << c.scaleFactor;
    }
}

TEST(Convert32f16s, RoundsToNearestWhateverTheCallersRoundingMode) {
    for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        Qor16s out[std::size(kFloatCases)];
        std::fesetround(mode);
        for (std::size_t i = 0; i < std::size(kFloatCases); ++i)
            qorsConvert_32f16s_Sfs(&kFloatCases[i].in, &out[i], 1, 1, kFloatCases[i].scaleFactor);
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(after, mode);
        for (std::size_t i = 0; i < std::size(kFloatCases); ++i)
            EXPECT_EQ(out[i], kFloatCases[i].expected) << kFloatCases[i].in << " mode " << mode;
    }
}

// --- complex and float ------------------------------------------------------------------------

Qor32u bits(Qor32f x) { return std::bit_cast<Qor32u>(x); }

TEST(Complex, SplitJoinConjugateMultiply) {
    Random random(10);
    for (int len : kLengths)
        for (bool atEnd : {true, false}) {
            Guarded<Qor32fc> a(len, atEnd), b(len, atEnd), out(len, atEnd), inPlace(len, atEnd);
            Guarded<Qor32f> re(len, atEnd), im(len, atEnd);
            for (int i = 0; i < len; ++i) {
                const auto value = [&] { return static_cast<Qor32f>(random.real(-100, 100)); };
                a[i] = {value(), value()};
                b[i] = {value(), value()};
            }
            a[0].im = 0.0f;
            EXPECT_EQ(qorsCplxToReal_32fc(a.data(), re.data(), im.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i) {
                ASSERT_EQ(re[i], a[i].re);
                ASSERT_EQ(im[i], a[i].im);
            }
            EXPECT_EQ(qorsConj_32fc(a.data(), out.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i) {
                ASSERT_EQ(out[i].re, a[i].re);
                ASSERT_EQ(bits(out[i].im), bits(a[i].im) ^ 0x80000000u);
            }
            const Qor32f* sources[][2] = {
                {re.data(), im.data()}, {re.data(), nullptr}, {nullptr, im.data()}};
            for (auto& source : sources) {
                std::memset(out.data(), 0xFF, len * sizeof(Qor32fc));
                EXPECT_EQ(qorsRealToCplx_32f(source[0], source[1], out.data(), len), qorStsNoErr);
                for (int i = 0; i < len; ++i) {
                    ASSERT_EQ(bits(out[i].re), source[0] ? bits(re[i]) : 0);
                    ASSERT_EQ(bits(out[i].im), source[1] ? bits(im[i]) : 0);
                }
            }
            std::copy_n(b.data(), len, inPlace.data());
            EXPECT_EQ(qorsMul_32fc(a.data(), b.data(), out.data(), len), qorStsNoErr);
            EXPECT_EQ(qorsMul_32fc_I(a.data(), inPlace.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i) {
                const Qor32f ac = a[i].re * b[i].re, bd = a[i].im * b[i].im;
                const Qor32f ad = a[i].re * b[i].im, bc = a[i].im * b[i].re;
                ASSERT_EQ(out[i].re, ac - bd);
                ASSERT_EQ(out[i].im, ad + bc);
                ASSERT_EQ(inPlace[i].re, ac - bd);
                ASSERT_EQ(inPlace[i].im, ad + bc);
            }
        }
}

TEST(MulC, SinglePrecisionProduct) {
    Random random(11);
    for (Qor32f val : {2.0f, -1.0f, 0.3f, 1e-30f, std::nextafter(1.0f, 2.0f), kInfinity})
        for (int len : kLengths) {
            const auto in = random.reals<Qor32f>(len, -1000, 1000);
            Guarded<Qor32f> data{std::span<const Qor32f>(in)};
            EXPECT_EQ(qorsMulC_32f_I(data.data(), len, val), qorStsNoErr);
            for (int i = 0; i < len; ++i) EXPECT_EQ(bits(data[i]), bits(in[i] * val));
        }
}

TEST(MulC, ZeroClearsNaNsAndOneTouchesNothing) {
    const Qor32u special[5] = {0x7FC00000, 0x7F800001, 0x7F800000, 0xFF800000, 0xC0000000};
    for (Qor32f val : {0.0f, -0.0f, 1.0f})
        for (int len = 1; len <= 40; ++len) {
            std::vector<Qor32u> words(len);
            for (int i = 0; i < len; ++i) words[i] = special[i % 5];
            auto data = words;
            EXPECT_EQ(qorsMulC_32f_I(reinterpret_cast<Qor32f*>(data.data()), len, val),
                      qorStsNoErr);
            if (val == 1.0f)
                EXPECT_EQ(data, words);
            else
                EXPECT_THAT(data, testing::Each(0u));
        }
}

TEST(StdDev, MatchesTheDefinition) {
    Random random(12);
    for (int len : {2, 3, 4, 5, 8, 17, 63, 64, 65, 1000})
        for (double mean : {0.0, 3.0, 100.0})
            for (int hint : {-1, 0, 1, 2, 77}) {
                auto in = random.reals<Qor32f>(len, mean - 1, mean + 1);
                in[0] = static_cast<Qor32f>(mean - 1);
                in[1] = static_cast<Qor32f>(mean + 1);
                Guarded<Qor32f> src{std::span<const Qor32f>(in)};
                long double average = 0, squares = 0;
                for (Qor32f x : in) average += x;
                average /= len;
                for (Qor32f x : in) squares += (x - average) * (x - average);
                const long double expected = std::sqrt(squares / (len - 1));
                Qor32f deviation = -1;
                EXPECT_EQ(qorsStdDev_32f(src.data(), len, &deviation, hint), qorStsNoErr);
                EXPECT_NEAR(deviation, expected, 1e-7L * expected) << len << " " << mean;
            }
}

TEST(StdDev, SumsInDoublePrecision) {
    const Qor32f close[3] = {1000000, 1000001, 1000002}, pair[2] = {4096.0f, 4096.25f};
    Qor32f deviation;
    qorsStdDev_32f(close, 3, &deviation, 0);
    EXPECT_EQ(deviation, 1.0f);
    qorsStdDev_32f(pair, 2, &deviation, 0);
    EXPECT_FLOAT_EQ(deviation, static_cast<float>(std::sqrt(0.03125)));
    const Qor32f large[2] = {3e30f, -3e30f};  // the squares overflow single precision
    qorsStdDev_32f(large, 2, &deviation, 0);
    EXPECT_FLOAT_EQ(deviation, 4.2426407e30f);
}

TEST(StdDev, EqualElementsGiveNextToNothing) {
    for (Qor32f value : {0.1f, 1.0f / 3, 12345.678f, -7e-9f, 0.0f})
        for (int len = 2; len < 80; ++len) {
            std::vector<Qor32f> in(len, value);
            Qor32f deviation = -1;
            EXPECT_EQ(qorsStdDev_32f(in.data(), len, &deviation, 0), qorStsNoErr);
            EXPECT_GE(deviation, 0);  // false for a NaN
            EXPECT_LE(deviation, 1e-6f * std::abs(value));
        }
}

}  // namespace
}  // namespace qorac
