#include "transform/fft16s.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "reference/cosine.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;

constexpr Qor32s kFlags[] = {qorFftNormNone, qorFftNormFwd, qorFftNormInv, qorFftNormSqrt};

struct Sizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    bool operator==(const Sizes&) const = default;
};

Sizes sizesOf(int order, int flag, int hint) {
    Sizes sizes;
    EXPECT_EQ(qorsFFTGetSize_C_16sc(order, flag, hint, &sizes.spec, &sizes.init, &sizes.buffer),
              qorStsNoErr);
    return sizes;
}

// A spec and its scratch in blocks of exactly the reported sizes that end at guard pages.
class Transform {
  public:
    Transform(int order, int flag, int hint)
        : sizes_(sizesOf(order, flag, hint)),
          specMemory_(std::size_t(sizes_.spec)),
          initMemory_(std::size_t(sizes_.init)),
          buffer_(std::size_t(sizes_.buffer)) {
        EXPECT_EQ(
            qorsFFTInit_C_16sc(&spec_, order, flag, hint, specMemory_.data(), initMemory_.data()),
            qorStsNoErr);
    }

    QorsFFTSpec_C_16sc* spec() { return spec_; }
    const Sizes& sizes() const { return sizes_; }

    std::vector<Qor16s> operator()(const std::vector<Qor16s>& source, int scaleFactor) {
        Guarded<Qor16s> from{std::span(source)}, to(source.size());
        EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(reinterpret_cast<Qor16sc*>(from.data()),
                                           reinterpret_cast<Qor16sc*>(to.data()), spec_,
                                           scaleFactor, buffer_.data()),
                  qorStsNoErr);
        return to.copy();
    }

  private:
    Sizes sizes_;
    test::GuardedBytes specMemory_, initMemory_, buffer_;
    QorsFFTSpec_C_16sc* spec_ = nullptr;
};

std::vector<Qor16s> randomSource(test::Random& random, int order, int maxBits = 15) {
    std::vector<Qor16s> source(std::size_t(2) << order);
    for (Qor16s& value : source)
        value = Qor16s(std::clamp<std::int64_t>(random.wideInteger(maxBits), -32768, 32767));
    return source;
}

// --- plain model of the integer route ---------------------------------------------------------

// floor(a / 2^n), for any n.
std::int64_t floorShift(std::int64_t a, int n) {
    const std::int64_t unit = std::int64_t{1} << n;
    return (a - (((a % unit) + unit) % unit)) / unit;
}

Qor16s modelNarrow(std::int64_t v, std::int64_t shift) {
    if (shift > 40) return 0;
    if (shift > 0) v = floorShift(v + (std::int64_t{1} << (shift - 1)), int(shift));
    if (shift < 0) {
        const int t = int(std::min<std::int64_t>(-shift, 20));
        if (v > (32767 >> t)) return 32767;
        if (v < floorShift(-32768, t)) return -32768;
        v *= std::int64_t{1} << t;
    }
    return Qor16s(std::clamp<std::int64_t>(v, -32768, 32767));
}

struct Wide {
    std::int64_t re, im;
};

// (signA a + signB b) sqrt(1/2), each value split in a signed high and an unsigned low half.
std::int64_t modelRotated(std::int64_t a, int signA, std::int64_t b, int signB) {
    const std::int64_t highA = floorShift(a, 16), highB = floorShift(b, 16);
    const std::int64_t lowA = a - highA * 65536, lowB = b - highB * 65536;
    const std::int64_t high = signA * highA * 11585 * 4 + signB * highB * 11585 * 4;
    const std::int64_t low = signA * (lowA / 2) * 11585 + signB * (lowB / 2) * 11585;
    return high + floorShift(low + 4096, 13);
}

// Bins in natural order, of 2, 4 or 8 points.
std::vector<Wide> modelBins(const std::vector<Wide>& x) {
    const std::size_t n = x.size();
    if (n == 2)
        return {{x[0].re + x[1].re, x[0].im + x[1].im}, {x[0].re - x[1].re, x[0].im - x[1].im}};
    const auto four = [&x](std::size_t first, std::size_t step) {
        const Wide a = x[first], b = x[first + step], c = x[first + 2 * step],
                   d = x[first + 3 * step];
        return std::vector<Wide>{{a.re + b.re + c.re + d.re, a.im + b.im + c.im + d.im},
                                 {a.re - c.re + (b.im - d.im), a.im - c.im - (b.re - d.re)},
                                 {a.re + c.re - b.re - d.re, a.im + c.im - b.im - d.im},
                                 {a.re - c.re - (b.im - d.im), a.im - c.im + (b.re - d.re)}};
    };
    if (n == 4) return four(0, 1);
    const auto even = four(0, 2);
    auto odd = four(1, 2);
    odd[1] = {modelRotated(odd[1].re, 1, odd[1].im, 1), modelRotated(odd[1].im, 1, odd[1].re, -1)};
    odd[2] = {odd[2].im, -odd[2].re};
    odd[3] = {modelRotated(odd[3].im, 1, odd[3].re, -1),
              modelRotated(odd[3].re, -1, odd[3].im, -1)};
    std::vector<Wide> bins(8);
    for (std::size_t k = 0; k < 4; ++k) {
        bins[k] = {even[k].re + odd[k].re, even[k].im + odd[k].im};
        bins[k + 4] = {even[k].re - odd[k].re, even[k].im - odd[k].im};
    }
    return bins;
}

std::vector<Qor16s> modelIntegerRoute(const std::vector<Qor16s>& source, int order, int flag,
                                      int scaleFactor) {
    const int fractionBits = 15 - order;
    std::vector<Wide> x;
    for (std::size_t i = 0; i < source.size(); i += 2)
        x.push_back({source[i] * (std::int64_t{1} << fractionBits),
                     source[i + 1] * (std::int64_t{1} << fractionBits)});
    const int shift = flag == qorFftNormFwd ? order : flag == qorFftNormSqrt ? order / 2 : 0;
    std::vector<Qor16s> result;
    for (const Wide& bin : modelBins(x))
        for (std::int64_t v : {bin.re, bin.im}) {
            if (flag == qorFftNormSqrt && order % 2 == 1) {
                const std::int64_t high = floorShift(v, 16), low = v - high * 65536;
                v = high * 46340 + low * 23170 / 32768;
            }
            result.push_back(modelNarrow(v, std::int64_t{shift} + scaleFactor + fractionBits));
        }
    return result;
}

TEST(Fft16s, IntegerRouteIsExact) {
    test::Random random(1);
    for (int order = 1; order <= 3; ++order)
        for (const Qor32s flag : kFlags)
            for (const int hint : {0, 1}) {
                Transform transform(order, flag, hint);
                EXPECT_EQ(transform.spec()->useFloat, 0);
                for (int trial = 0; trial < 400; ++trial) {
                    auto source = randomSource(random, order);
                    if (trial < 50)
                        for (Qor16s& value : source) value = random.chance(0.5) ? 32767 : -32768;
                    const int scaleFactor = int(random.integer(-20, 20));
                    ASSERT_EQ(transform(source, scaleFactor),
                              modelIntegerRoute(source, order, flag, scaleFactor))
                        << order << " " << flag << " " << scaleFactor;
                }
            }
}

TEST(Fft16s, ScaleFactorsBeyondTheWordGiveZeroOrTheLimits) {
    const int kLow = std::numeric_limits<int>::min(), kHigh = std::numeric_limits<int>::max();
    for (const int order : {0, 1, 3}) {
        Transform transform(order, qorFftNormFwd, 0);
        std::vector<Qor16s> source(std::size_t(2) << order);
        source[0] = 32767;
        source[1] = -32768;
        for (const int scaleFactor : {33, 40, 64, kHigh})
            EXPECT_THAT(transform(source, scaleFactor), testing::Each(0)) << order;
        for (const int scaleFactor : {-40, -64, kLow}) {
            const auto result = transform(source, scaleFactor);
            for (std::size_t i = 0; i < result.size(); i += 2) {
                EXPECT_EQ(result[i], 32767) << order;
                EXPECT_EQ(result[i + 1], -32768) << order;
            }
        }
    }
}

TEST(Fft16s, OrderZeroOnlyShiftsWithRounding) {
    for (const Qor32s flag : kFlags)
        for (const int hint : {0, 2}) {
            Transform transform(0, flag, hint);
            EXPECT_EQ(transform({5, -5}, 0), (std::vector<Qor16s>{5, -5}));
            EXPECT_EQ(transform({5, -5}, 1), (std::vector<Qor16s>{3, -2}));
            EXPECT_EQ(transform({6, -6}, 2), (std::vector<Qor16s>{2, -1}));
            EXPECT_EQ(transform({20000, -20000}, -1), (std::vector<Qor16s>{32767, -32768}));
            EXPECT_EQ(transform({3, -3}, -2), (std::vector<Qor16s>{12, -12}));
        }
}

// --- float route ------------------------------------------------------------------------------

// The float transform with the same flag, times 2^-scaleFactor, to nearest with ties to even.
std::vector<Qor16s> modelFloatRoute(const std::vector<Qor16s>& source, int order, int flag,
                                    int scaleFactor) {
    Sizes sizes;
    EXPECT_EQ(qorsFFTGetSize_C_32fc(order, flag, 0, &sizes.spec, &sizes.init, &sizes.buffer),
              qorStsNoErr);
    std::vector<Qor8u> spec(std::size_t(sizes.spec)), init(std::size_t(sizes.init) + 1);
    QorsFFTSpec_C_32fc* pSpec = nullptr;
    EXPECT_EQ(qorsFFTInit_C_32fc(&pSpec, order, flag, 0, spec.data(), init.data()), qorStsNoErr);
    std::vector<float> x(source.begin(), source.end());
    auto* const pX = reinterpret_cast<Qor32fc*>(x.data());
    EXPECT_EQ(qorsFFTFwd_CToC_32fc(pX, pX, pSpec, nullptr), qorStsNoErr);
    std::vector<Qor16s> result;
    for (const float v : x)
        result.push_back(Qor16s(
            std::clamp(std::nearbyint(std::ldexp(double(v), -scaleFactor)), -32768.0, 32767.0)));
    return result;
}

TEST(Fft16s, FloatRouteFollowsTheFloatTransform) {
    test::Random random(2);
    for (const auto& [order, hint] : {std::pair(1, 2),
                                      {2, 2},
                                      {3, -1},
                                      {3, 3},
                                      {4, 0},
                                      {5, 1},
                                      {6, 0},
                                      {9, 2},
                                      {11, 0},
                                      {12, 1}})
        for (const Qor32s flag : kFlags) {
            Transform transform(order, flag, hint);
            EXPECT_EQ(transform.spec()->useFloat, 1);
            for (const int scaleFactor : {-3, 0, 1, 7}) {
                const auto source = randomSource(random, order);
                ASSERT_EQ(transform(source, scaleFactor),
                          modelFloatRoute(source, order, flag, scaleFactor))
                    << order << " " << flag << " " << scaleFactor;
            }
        }
}

TEST(Fft16s, BothRoutesMatchTheDefinition) {
    test::Random random(3);
    for (const auto& [order, hint] :
         {std::pair(1, 0), {2, 0}, {3, 0}, {1, 2}, {2, 2}, {3, 2}, {4, 0}, {7, 0}})
        for (const Qor32s flag : kFlags) {
            Transform transform(order, flag, hint);
            const double length = 1 << order;
            const double norm = flag == qorFftNormFwd    ? 1 / length
                                : flag == qorFftNormSqrt ? 1 / std::sqrt(length)
                                                         : 1;
            const auto source = randomSource(random, order, 14);
            std::vector<std::complex<double>> x;
            for (std::size_t i = 0; i < source.size(); i += 2)
                x.emplace_back(source[i], source[i + 1]);
            const auto bins = reference::dft(x);
            const int scaleFactor = norm == 1 ? order : 0;
            const auto result = transform(source, scaleFactor);
            for (std::size_t k = 0; k < bins.size(); ++k) {
                const auto exact = bins[k] * norm * std::ldexp(1, -scaleFactor);
                ASSERT_NEAR(result[2 * k], exact.real(), 1.05) << order << " " << flag;
                ASSERT_NEAR(result[2 * k + 1], exact.imag(), 1.05) << order << " " << flag;
            }
        }
}

TEST(Fft16s, WorksInPlaceAndWithItsOwnScratch) {
    test::Random random(4);
    for (const int order : {0, 1, 2, 3, 4, 6, 11}) {
        Transform transform(order, qorFftNormFwd, 0);
        auto data = randomSource(random, order);
        const auto expected = transform(data, 1);
        const auto source = data;
        auto* const pData = reinterpret_cast<Qor16sc*>(data.data());
        const int calls = test::allocationCalls(), live = test::liveBlocks();
        if (order > 0) {
            test::FailingAllocator failing(0);
            EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(pData, pData, transform.spec(), 1, nullptr),
                      qorStsMemAllocErr);
            EXPECT_EQ(data, source);
        }
        ASSERT_EQ(qorsFFTFwd_CToC_16sc_Sfs(pData, pData, transform.spec(), 1, nullptr),
                  qorStsNoErr);
        EXPECT_EQ(data, expected) << order;
        EXPECT_EQ(test::liveBlocks(), live);
        EXPECT_EQ(test::allocationCalls(), calls + (order > 0 ? 2 : 0));
    }
}

// --- sizes and lifecycle ----------------------------------------------------------------------

TEST(Fft16s, SizesAreThoseOfTheLayout) {
    for (const Qor32s flag : kFlags) {
        EXPECT_EQ(sizesOf(0, flag, 0), (Sizes{104, 0, 0}));
        EXPECT_EQ(sizesOf(0, flag, 2), (Sizes{104, 0, 0}));
        EXPECT_EQ(sizesOf(1, flag, 0), (Sizes{192, 64, 48}));
        EXPECT_EQ(sizesOf(2, flag, 1), (Sizes{192, 64, 64}));
        EXPECT_EQ(sizesOf(3, flag, 0), (Sizes{224, 64, 96}));
        EXPECT_EQ(sizesOf(2, flag, 2), (Sizes{296, 32, 64}));
        EXPECT_EQ(sizesOf(3, flag, -1), (Sizes{296, 32, 96}));
        EXPECT_EQ(sizesOf(5, flag, 0), (Sizes{296, 32, 288}));
        EXPECT_EQ(sizesOf(6, flag, 0), (Sizes{544 + 96 + 192 + 128, 32, 512 + 32 + 512 + 32}));
        for (int order = 1; order <= 27; ++order) {
            Sizes sizes;
            ASSERT_EQ(
                qorsFFTGetSize_C_32fc(order, flag, 0, &sizes.spec, &sizes.init, &sizes.buffer),
                qorStsNoErr);
            EXPECT_EQ(sizesOf(order, flag, 2),
                      (Sizes{sizes.spec + 128, sizes.init + 32, sizes.buffer + (8 << order) + 32}))
                << order;
        }
    }
}

TEST(Fft16s, ReportsItsScratch) {
    for (const int order : {0, 1, 3, 4, 6, 12}) {
        Transform transform(order, qorFftNormNone, 0);
        Qor32s size = -1;
        ASSERT_EQ(qorsFFTGetBufSize_C_16sc(transform.spec(), &size), qorStsNoErr);
        EXPECT_EQ(size, transform.sizes().buffer) << order;
    }
}

TEST(Fft16s, HeaderHoldsTheNormalisation) {
    const auto shifts = [](int order, int flag) {
        Transform transform(order, flag, 0);
        const QorsFFTSpec_C_16sc* spec = transform.spec();
        return std::vector<Qor32s>{spec->fwdShift, spec->invShift, spec->oddSqrt};
    };
    using testing::ElementsAre;
    EXPECT_THAT(shifts(3, qorFftNormNone), ElementsAre(0, 0, 0));
    EXPECT_THAT(shifts(3, qorFftNormFwd), ElementsAre(3, 0, 0));
    EXPECT_THAT(shifts(3, qorFftNormInv), ElementsAre(0, 3, 0));
    EXPECT_THAT(shifts(3, qorFftNormSqrt), ElementsAre(1, 1, 1));
    EXPECT_THAT(shifts(2, qorFftNormSqrt), ElementsAre(1, 1, 0));
}

TEST(Fft16s, ChecksGoInTheirOrder) {
    Qor32s size = -1;
    EXPECT_EQ(qorsFFTGetSize_C_16sc(-1, 0, 0, nullptr, nullptr, nullptr), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTGetSize_C_16sc(31, 0, 0, &size, &size, &size), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTGetSize_C_16sc(3, 0, 0, nullptr, &size, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetSize_C_16sc(3, 0, 0, &size, nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetSize_C_16sc(3, 0, 0, &size, &size, nullptr), qorStsNullPtrErr);
    for (const int flag : {-1, 0, 3, 5, 9, 16})
        EXPECT_EQ(qorsFFTGetSize_C_16sc(28, flag, 0, &size, &size, &size), qorStsFftFlagErr);
    for (const int order : {28, 29, 30})
        EXPECT_EQ(qorsFFTGetSize_C_16sc(order, 8, 0, &size, &size, &size), qorStsFftOrderErr);
    EXPECT_EQ(size, -1);

    alignas(32) Qor8u memory[512];
    QorsFFTSpec_C_16sc* spec = nullptr;
    auto* const record = reinterpret_cast<QorsFFTSpec_C_16sc*>(memory);
    EXPECT_EQ(qorsFFTInit_C_16sc(nullptr, -1, 0, 0, nullptr, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, -1, 0, 0, nullptr, nullptr), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 31, 0, 0, memory, memory), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 3, 0, 0, nullptr, nullptr), qorStsNullPtrErr);
    record->id = 1;
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 3, 0, 0, memory, nullptr), qorStsFftFlagErr);
    EXPECT_EQ(record->id, 0);
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 1, 8, 0, memory, nullptr), qorStsNullPtrErr);
    record->id = 1;
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 28, 8, 0, memory, memory + 256), qorStsFftOrderErr);
    EXPECT_EQ(record->id, 0);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(qorsFFTInit_C_16sc(&spec, 0, 8, 0, memory, nullptr), qorStsNoErr);

    QorsFFTSpec_C_16sc* allocated = nullptr;
    EXPECT_EQ(qorsFFTInitAlloc_C_16sc(nullptr, -1, 0, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_16sc(&allocated, 31, 0, 0), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_16sc(&allocated, 3, 0, 0), qorStsFftFlagErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_16sc(&allocated, 28, 8, 0), qorStsFftOrderErr);
    EXPECT_EQ(allocated, nullptr);

    Qor16sc data[8] = {};
    QorsFFTSpec_C_16sc foreign = *spec;
    foreign.id = 4;
    EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(nullptr, nullptr, nullptr, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(nullptr, nullptr, &foreign, 0, nullptr),
              qorStsContextMatchErr);
    EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(nullptr, data, spec, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(data, nullptr, spec, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_16sc(nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_16sc(&foreign, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_16sc(&foreign, &size), qorStsContextMatchErr);
    EXPECT_EQ(qorsFFTFree_C_16sc(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTFree_C_16sc(&foreign), qorStsContextMatchErr);
    EXPECT_EQ(qorsFFTFree_C_16sc(spec), qorStsNoErr);
    EXPECT_EQ(qorsFFTFree_C_16sc(spec), qorStsContextMatchErr);
}

TEST(Fft16s, InitAllocReleasesAllWhenAnyAllocationFails) {
    for (const int order : {0, 3, 4, 12}) {
        const int live = test::liveBlocks(), needed = order == 0 ? 1 : 2;
        for (int nth = 0; nth < needed; ++nth) {
            test::FailingAllocator failing(nth);
            QorsFFTSpec_C_16sc* spec = nullptr;
            EXPECT_EQ(qorsFFTInitAlloc_C_16sc(&spec, order, 8, 0), qorStsMemAllocErr);
            EXPECT_EQ(spec, nullptr);
            EXPECT_EQ(test::liveBlocks(), live);
        }
        QorsFFTSpec_C_16sc* spec = nullptr;
        ASSERT_EQ(qorsFFTInitAlloc_C_16sc(&spec, order, 8, 0), qorStsNoErr);
        EXPECT_EQ(test::liveBlocks(), live + 1);
        EXPECT_EQ(qorsFFTFree_C_16sc(spec), qorStsNoErr);
        EXPECT_EQ(test::liveBlocks(), live);
    }
}

}  // namespace
}  // namespace qorac
