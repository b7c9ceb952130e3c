#include "transform/fft32f.h"

#include <array>
#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "reference/dft.h"
#include "support/memory.h"
#include "support/random.h"
#include "transform/fft32fspec.h"

namespace qorac {
namespace {

using Complex = std::complex<double>;
using Spectrum = std::vector<Complex>;
using Floats = std::vector<float>;
using test::Fft;
using test::FftKind;
using test::FftSizes;
using test::Guarded;
using test::GuardedBytes;
using test::Random;

constexpr FftKind kKinds[] = {FftKind::kComplex, FftKind::kSplit, FftKind::kReal};
constexpr Qor32s kFlags[] = {qorFftNormFwd, qorFftNormInv, qorFftNormSqrt, qorFftNormNone};

const Qor32fc* pairs(const float* p) { return reinterpret_cast<const Qor32fc*>(p); }
Qor32fc* pairs(float* p) { return reinterpret_cast<Qor32fc*>(p); }

// --- sizes --------------------------------------------------------------------------------------

struct LargeSizes {
    int tables, scratch;
};

LargeSizes largeSizes(int order) {
    const int blk = order <= 20 ? 4 : order == 21 ? 5 : 8;
    const int buf = order <= 20 ? 10 : order == 21 ? 13 : 15;
    const int sub = order - blk;
    LargeSizes sizes =
        sub < 18 ? LargeSizes{((8 << sub) + 39) & ~31, ((8 << sub) + 31) & ~31} : largeSizes(sub);
    sizes.tables += 8 << order;
    sizes.scratch = std::max(sizes.scratch, 8 << buf);
    if (order >= 19) sizes.scratch = std::max(sizes.scratch, 0x10000);
    return sizes;
}

FftSizes expectedSizes(FftKind kind, int order) {
    const int n = 1 << order;
    const int quarter = (n + 35) & ~31;
    const int init = order > 10 ? quarter + 32 : 0;
    if (kind != FftKind::kReal) {
        if (order <= 5) return {168, 0, 0};
        if (order <= 17) {
            return {((8 * n + 39) & ~31) + quarter + 192, init, ((8 * n + 31) & ~31) + 32};
        }
        const LargeSizes large = largeSizes(order);
        return {large.tables + quarter + 192, init, large.scratch + 32};
    }
    if (order <= 4) return {168, 0, 0};
    const int recombination = 2 * ((2 * n + 31) & ~31);
    if (order == 5 || order == 6) return {recombination + 192, init, 0};
    const FftSizes core = expectedSizes(FftKind::kComplex, order - 1);
    return {core.spec + recombination, init, core.buffer};
}

TEST(Fft32fGetSize, GivesTheSizesOfTheContractAtEveryOrder) {
    for (FftKind kind : kKinds) {
        for (int order = 0; order <= 27; ++order) {
            for (Qor32s flag : kFlags) {
                FftSizes sizes;
                ASSERT_EQ(getSize(kind, order, flag, sizes), qorStsNoErr);
                EXPECT_EQ(sizes, expectedSizes(kind, order)) << "order " << order;
            }
        }
    }
}

TEST(Fft32fGetSize, GivesTheseNumbers) {
    const struct {
        FftKind kind;
        int order;
        FftSizes sizes;
    } rows[] = {
        {FftKind::kComplex, 5, {168, 0, 0}},
        {FftKind::kComplex, 6, {832, 0, 544}},
        {FftKind::kComplex, 10, {9472, 0, 8224}},
        {FftKind::kComplex, 11, {18688, 2112, 16416}},
        {FftKind::kComplex, 17, {1179904, 131136, 1048608}},
        {FftKind::kComplex, 18, {2490624, 262208, 131104}},
        {FftKind::kComplex, 19, {4980992, 524352, 262176}},
        {FftKind::kComplex, 21, {19398912, 2097216, 524320}},
        {FftKind::kComplex, 22, {37880064, 4194368, 262176}},
        {FftKind::kComplex, 26, {606208256, 67108928, 262176}},
        {FftKind::kComplex, 27, {1212416256, 134217792, 262176}},
        {FftKind::kReal, 4, {168, 0, 0}},
        {FftKind::kReal, 5, {320, 0, 0}},
        {FftKind::kReal, 6, {448, 0, 0}},
        {FftKind::kReal, 7, {1344, 0, 544}},
        {FftKind::kReal, 10, {8960, 0, 4128}},
        {FftKind::kReal, 11, {17664, 2112, 8224}},
        {FftKind::kReal, 19, {4587776, 524352, 131104}},
        {FftKind::kReal, 27, {1143079168, 134217792, 262176}},
    };
    for (const auto& row : rows) {
        FftSizes sizes;
        ASSERT_EQ(getSize(row.kind, row.order, qorFftNormNone, sizes), qorStsNoErr);
        EXPECT_EQ(sizes.spec, row.sizes.spec) << "order " << row.order;
        EXPECT_EQ(sizes.init, row.sizes.init) << "order " << row.order;
        EXPECT_EQ(sizes.buffer, row.sizes.buffer) << "order " << row.order;
    }
}

TEST(Fft32fGetSize, ChecksInOrder) {
    for (auto function : {qorsFFTGetSize_C_32fc, qorsFFTGetSize_C_32f, qorsFFTGetSize_R_32f}) {
        Qor32s a = 7, b = 7, c = 7;
        EXPECT_EQ(function(-1, 3, 0, nullptr, &b, &c), qorStsFftOrderErr);
        EXPECT_EQ(function(31, 3, 0, nullptr, &b, &c), qorStsFftOrderErr);
        EXPECT_EQ(function(28, 3, 0, nullptr, &b, &c), qorStsNullPtrErr);
        EXPECT_EQ(function(5, 3, 0, &a, nullptr, &c), qorStsNullPtrErr);
        EXPECT_EQ(function(5, 3, 0, &a, &b, nullptr), qorStsNullPtrErr);
        for (int flag : {-1, 0, 3, 5, 6, 7, 9, 16}) {
            EXPECT_EQ(function(28, flag, 0, &a, &b, &c), qorStsFftFlagErr);
        }
        for (int order : {28, 29, 30}) {
            EXPECT_EQ(function(order, 1, 0, &a, &b, &c), qorStsFftOrderErr);
        }
        EXPECT_THAT((std::array{a, b, c}), testing::Each(7));
        EXPECT_EQ(function(27, 1, 0, &a, &b, &c), qorStsNoErr);
    }
}

// --- construction -------------------------------------------------------------------------------

TEST(Fft32fInit, ChecksInOrder) {
    std::vector<Qor8u> memory(100000), init(100000);
    QorsFFTSpec_32f* const untouched = reinterpret_cast<QorsFFTSpec_32f*>(init.data());
    for (FftKind kind : kKinds) {
        const auto function = test::initFunction(kind);
        QorsFFTSpec_32f* spec = untouched;
        EXPECT_EQ(function(nullptr, -1, 3, 0, nullptr, nullptr), qorStsNullPtrErr);
        for (int order : {-1, 28, 29, 30, 31}) {
            EXPECT_EQ(function(&spec, order, 3, 0, nullptr, nullptr), qorStsFftOrderErr);
        }
        EXPECT_EQ(function(&spec, 11, 3, 0, nullptr, nullptr), qorStsNullPtrErr);
        std::memset(memory.data(), 0xFF, memory.size());
        EXPECT_EQ(function(&spec, 11, 3, 0, memory.data(), nullptr), qorStsFftFlagErr);
        const auto address = (reinterpret_cast<std::uintptr_t>(memory.data()) + 31) / 32 * 32;
        EXPECT_EQ(reinterpret_cast<QorsFFTSpec_32f*>(address)->id, 0);
        EXPECT_EQ(function(&spec, 11, 1, 0, memory.data(), nullptr), qorStsNullPtrErr);
        EXPECT_EQ(spec, untouched);
        EXPECT_EQ(function(&spec, 10, 1, 0, memory.data(), nullptr), qorStsNoErr);
        EXPECT_NE(spec, untouched);
    }
}

TEST(Fft32fInit, StoresTheNormalisation) {
    const struct { Qor32s flag, fwd, inv; } rows[] = {{1, 1, 0}, {2, 0, 1}, {4, 1, 1}, {8, 0, 0}};
    for (FftKind kind : kKinds) {
        for (int order : {0, 1, 5, 9}) {
            for (const auto& row : rows) {
                Fft fft(kind, order, row.flag, 77);
                EXPECT_EQ(fft->id, kind == FftKind::kComplex ? 4 : kind == FftKind::kSplit ? 5 : 6);
                EXPECT_EQ(fft->order, order);
                EXPECT_EQ(fft->hint, 77);
                EXPECT_EQ(fft->ownsMemory, 0);
                EXPECT_EQ(fft->scaleFwd, row.fwd);
                EXPECT_EQ(fft->scaleInv, row.inv);
                const float expected = row.flag == 8   ? 0.0f
                                       : row.flag == 4 ? float(1 / std::sqrt(double(1 << order)))
                                                       : 1.0f / float(1 << order);
                EXPECT_EQ(fft->normFactor, expected);
            }
        }
    }
}

TEST(Fft32fInit, LaysTheTablesOutOneBehindTheOther) {
    for (FftKind kind : kKinds) {
        for (int order = 0; order <= 19; ++order) {
            Fft fft(kind, order, qorFftNormNone);
            const bool real = kind == FftKind::kReal;
            const int core = real ? order - 1 : order;
            EXPECT_EQ(fft->pBitRev != nullptr, core > 5);
            EXPECT_EQ(fft->pTwd != nullptr, core > 5);
            EXPECT_EQ(fft->pRealRec != nullptr, real && order > 4);
            EXPECT_EQ(fft->pCcsRec != nullptr, real && order > 4);
            EXPECT_EQ(fft->pStepTwd[0] != nullptr, core > 17);
            EXPECT_EQ(fft->pStepTwd[1], nullptr);
            const void* const tables[] = {fft.get(),        fft->pBitRev,  fft->pTwd,
                                          fft->pStepTwd[0], fft->pRealRec, fft->pCcsRec};
            const void* last = nullptr;
            for (const void* table : tables) {
                if (table == nullptr) continue;
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table) % 32, 0u);
                EXPECT_GT(table, last);
                last = table;
            }
            EXPECT_EQ(fft->workSize, core <= 5 ? 0 : core <= 17 ? 8 << core : 8 << (core - 4));
        }
    }
}

TEST(Fft32fInitAlloc, ChecksInOrderAndReleasesAllThatItTook) {
    const int before = test::liveBlocks();
    QorsFFTSpec_32f* spec = nullptr;
    EXPECT_EQ(qorsFFTInitAlloc_C_32fc(nullptr, 40, 3, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_32fc(&spec, 40, 3, 0), qorStsFftOrderErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_32fc(&spec, 28, 3, 0), qorStsFftFlagErr);
    EXPECT_EQ(qorsFFTInitAlloc_C_32fc(&spec, 28, 1, 0), qorStsFftOrderErr);
    const struct { int order, allocations; } rows[] = {{3, 1}, {10, 1}, {11, 2}};
    for (const auto& row : rows) {
        for (int nth = 0; nth < row.allocations; ++nth) {
            const test::FailingAllocator failing(nth);
            EXPECT_EQ(qorsFFTInitAlloc_C_32fc(&spec, row.order, 1, 0), qorStsMemAllocErr);
            EXPECT_EQ(test::liveBlocks(), before);
        }
        EXPECT_EQ(spec, nullptr);
        ASSERT_EQ(qorsFFTInitAlloc_C_32fc(&spec, row.order, 1, 0), qorStsNoErr);
        EXPECT_EQ(test::liveBlocks(), before + 1);
        EXPECT_EQ(spec->ownsMemory, 1);
        EXPECT_EQ(qorsFFTFree_C_32fc(spec), qorStsNoErr);
        EXPECT_EQ(test::liveBlocks(), before);
        spec = nullptr;
    }
}

TEST(Fft32fFree, ReleasesOnlyWhatInitAllocTook) {
    EXPECT_EQ(qorsFFTFree_C_32fc(nullptr), qorStsNullPtrErr);
    for (FftKind kind : {FftKind::kSplit, FftKind::kReal}) {
        Fft other(kind, 4, 8);
        const Qor32s id = other->id;
        EXPECT_EQ(qorsFFTFree_C_32fc(other.get()), qorStsContextMatchErr);
        EXPECT_EQ(other->id, id);
    }
    const int before = test::liveBlocks();
    Fft fft(FftKind::kComplex, 4, 8);
    EXPECT_EQ(qorsFFTFree_C_32fc(fft.get()), qorStsNoErr);
    EXPECT_EQ(fft->id, 0);
    EXPECT_EQ(test::liveBlocks(), before);
    EXPECT_EQ(qorsFFTFree_C_32fc(fft.get()), qorStsContextMatchErr);
}

TEST(Fft32fGetBufSize, AddsTheSlackToTheScratch) {
    Qor32s size = 7;
    Fft complex(FftKind::kComplex, 8, 8), real(FftKind::kReal, 9, 8), split(FftKind::kSplit, 8, 8);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(real.get(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(real.get(), &size), qorStsContextMatchErr);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(split.get(), &size), qorStsContextMatchErr);
    EXPECT_EQ(qorsFFTGetBufSize_R_32f(nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_R_32f(complex.get(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFFTGetBufSize_R_32f(complex.get(), &size), qorStsContextMatchErr);
    EXPECT_EQ(size, 7);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(complex.get(), &size), qorStsNoErr);
    EXPECT_EQ(size, 8 * 256 + 32);
    EXPECT_EQ(qorsFFTGetBufSize_R_32f(real.get(), &size), qorStsNoErr);
    EXPECT_EQ(size, 8 * 256 + 32);
    Fft codelet(FftKind::kComplex, 5, 8), realCodelet(FftKind::kReal, 5, 8);
    EXPECT_EQ(qorsFFTGetBufSize_C_32fc(codelet.get(), &size), qorStsNoErr);
    EXPECT_EQ(size, 0);
    size = 7;
    EXPECT_EQ(qorsFFTGetBufSize_R_32f(realCodelet.get(), &size), qorStsNoErr);
    EXPECT_EQ(size, 0);
}

// --- transforms ---------------------------------------------------------------------------------

// The five transforms under one form: 2^order elements in a single array, that of the imaginary
// parts behind that of the real parts for the split one.
struct Transform {
    const char* name;
    FftKind kind;
    bool inverse;
    QorStatus (*run)(const float* pSrc, float* pDst, int order, const QorsFFTSpec_32f* spec,
                     Qor8u* buffer);

    int floats(int order) const { return kind == FftKind::kReal ? 1 << order : 2 << order; }
};

const Transform kTransforms[] = {
    {"complex forward", FftKind::kComplex, false,
     [](const float* pSrc, float* pDst, int, const QorsFFTSpec_32f* spec, Qor8u* buffer) {
         return qorsFFTFwd_CToC_32fc(pairs(pSrc), pairs(pDst), spec, buffer);
     }},
    {"complex inverse", FftKind::kComplex, true,
     [](const float* pSrc, float* pDst, int, const QorsFFTSpec_32f* spec, Qor8u* buffer) {
         return qorsFFTInv_CToC_32fc(pairs(pSrc), pairs(pDst), spec, buffer);
     }},
    {"split forward", FftKind::kSplit, false,
     [](const float* pSrc, float* pDst, int order, const QorsFFTSpec_32f* spec, Qor8u* buffer) {
         const int n = 1 << order;
         return qorsFFTFwd_CToC_32f(pSrc, pSrc == nullptr ? pSrc : pSrc + n, pDst,
                                    pDst == nullptr ? pDst : pDst + n, spec, buffer);
     }},
    {"real forward", FftKind::kReal, false,
     [](const float* pSrc, float* pDst, int, const QorsFFTSpec_32f* spec, Qor8u* buffer) {
         return qorsFFTFwd_RToPerm_32f(pSrc, pDst, spec, buffer);
     }},
    {"real inverse", FftKind::kReal, true,
     [](const float* pSrc, float* pDst, int, const QorsFFTSpec_32f* spec, Qor8u* buffer) {
         return qorsFFTInv_PermToR_32f(pSrc, pDst, spec, buffer);
     }},
};

// The array of a transform's data as complex numbers: all of them, or for a real transform the
// whole spectrum on the side of the Perm format.
Spectrum unpack(const Transform& t, const float* p, int order, bool spectrum) {
    const int n = 1 << order;
    Spectrum x(n);
    for (int k = 0; k < n; ++k) {
        if (t.kind == FftKind::kComplex) x[k] = {p[2 * k], p[2 * k + 1]};
        if (t.kind == FftKind::kSplit) x[k] = {p[k], p[n + k]};
        if (t.kind == FftKind::kReal) x[k] = p[k];
    }
    if (t.kind == FftKind::kReal && spectrum && n > 1) {
        x[0] = p[0];
        x[n / 2] = p[1];
        for (int k = 1; k < n / 2; ++k) {
            x[k] = {p[2 * k], p[2 * k + 1]};
            x[n - k] = std::conj(x[k]);
        }
    }
    return x;
}

// Relative to the root mean square of the exact result.
double relativeError(const Spectrum& exact, const Spectrum& result, double scale) {
    double error = 0, power = 0;
    for (std::size_t k = 0; k < exact.size(); ++k) {
        error += std::norm(exact[k] * scale - result[k]);
        power += std::norm(exact[k] * scale);
    }
    return std::sqrt(error / power);
}

double errorBound(int order) {
    return 4 * 0.35 * std::ldexp(1.0, -24) * std::sqrt(double(std::max(order, 1)));
}

TEST(Fft32fTransform, AgreesWithTheDoublePrecisionTransformAtEveryOrderAndFlag) {
    for (const Transform& t : kTransforms) {
        for (int order = 0; order <= 20; ++order) {
            Random random(order);
            const Floats in = random.reals<float>(t.floats(order), -1, 1);
            const Spectrum exact =
                reference::dft(unpack(t, in.data(), order, t.inverse), t.inverse ? 1 : -1);
            double worst = 0;
            for (Qor32s flag : kFlags) {
                if (order > 17 && flag != qorFftNormSqrt && flag != qorFftNormInv) continue;
                Fft fft(t.kind, order, flag);
                Floats out(in.size());
                ASSERT_EQ(t.run(in.data(), out.data(), order, fft.get(), fft.buffer()),
                          qorStsNoErr);
                const bool scaled = flag == 4 || flag == (t.inverse ? 2 : 1);
                const double n = std::ldexp(1.0, order);
                const double scale = !scaled ? 1 : flag == 4 ? 1 / std::sqrt(n) : 1 / n;
                worst = std::max(
                    worst, relativeError(exact, unpack(t, out.data(), order, !t.inverse), scale));
            }
            EXPECT_LT(worst, errorBound(order)) << t.name << ", order " << order;
            RecordProperty(std::string(t.name) + " " + std::to_string(order),
                           std::to_string(worst));
        }
    }
}

TEST(Fft32fTransform, GivesTheSameResultInPlaceMisalignedAndWithOwnScratch) {
    for (const Transform& t : kTransforms) {
        for (int order = 0; order <= 21; ++order) {
            const int count = t.floats(order);
            Fft fft(t.kind, order, qorFftNormSqrt);
            const Floats in = Random(order).reals<float>(count, -1, 1);
            Guarded<float> source{std::span<const float>(in)}, result(count);
            ASSERT_EQ(t.run(source.data(), result.data(), order, fft.get(), fft.buffer()),
                      qorStsNoErr);
            EXPECT_EQ(source.copy(), in);
            const Floats expected = result.copy();

            ASSERT_EQ(t.run(source.data(), source.data(), order, fft.get(), fft.buffer()),
                      qorStsNoErr);
            EXPECT_EQ(source.copy(), expected) << t.name << " in place, order " << order;

            // Behind a guard page, a float off every boundary, in place and between arrays.
            Guarded<float> moved(count + 1, false), target(count + 1, false);
            std::memcpy(moved.data() + 1, in.data(), count * sizeof(float));
            ASSERT_EQ(t.run(moved.data() + 1, target.data() + 1, order, fft.get(), nullptr),
                      qorStsNoErr);
            const Floats separate(target.data() + 1, target.data() + 1 + count);
            EXPECT_EQ(separate, expected) << t.name << " misaligned, order " << order;
            ASSERT_EQ(t.run(moved.data() + 1, moved.data() + 1, order, fft.get(), nullptr),
                      qorStsNoErr);
            const Floats same(moved.data() + 1, moved.data() + 1 + count);
            EXPECT_EQ(same, expected) << t.name << " misaligned in place, order " << order;
        }
    }
}

TEST(Fft32fTransform, ChecksInOrder) {
    float data[64] = {};
    for (const Transform& t : kTransforms) {
        EXPECT_EQ(t.run(nullptr, nullptr, 4, nullptr, nullptr), qorStsNullPtrErr);
        for (FftKind kind : kKinds) {
            Fft fft(kind, 4, 8);
            if (kind == t.kind) {
                EXPECT_EQ(t.run(nullptr, data, 4, fft.get(), nullptr), qorStsNullPtrErr);
                EXPECT_EQ(t.run(data, nullptr, 4, fft.get(), nullptr), qorStsNullPtrErr);
            } else {
                EXPECT_EQ(t.run(nullptr, nullptr, 4, fft.get(), nullptr), qorStsContextMatchErr);
            }
        }
    }
    Fft split(FftKind::kSplit, 4, 8);
    for (int null = 0; null < 4; ++null) {
        float* p[] = {data, data + 16, data + 32, data + 48};
        p[null] = nullptr;
        EXPECT_EQ(qorsFFTFwd_CToC_32f(p[0], p[1], p[2], p[3], split.get(), nullptr),
                  qorStsNullPtrErr);
    }
}

TEST(Fft32fTransform, AllocatesItsScratchOnceAndReleasesIt) {
    for (const Transform& t : kTransforms) {
        for (int order : {3, 5, 6, 8, 17, 18, 19}) {
            Fft fft(t.kind, order, qorFftNormFwd);
            const bool needed = fft->workSize > 0;
            const Floats in(t.floats(order), 1.0f);
            Floats out(in.size(), 5.0f);
            const int live = test::liveBlocks(), calls = test::allocationCalls();
            {
                const test::FailingAllocator failing(0);
                EXPECT_EQ(t.run(in.data(), out.data(), order, fft.get(), nullptr),
                          needed ? qorStsMemAllocErr : qorStsNoErr);
                if (needed) {
                    EXPECT_THAT(out, testing::Each(5.0f));
                }
            }
            EXPECT_EQ(t.run(in.data(), out.data(), order, fft.get(), nullptr), qorStsNoErr);
            EXPECT_EQ(test::allocationCalls() - calls, needed ? 2 : 0);
            EXPECT_EQ(test::liveBlocks(), live);
            EXPECT_EQ(t.run(in.data(), out.data(), order, fft.get(), fft.buffer()), qorStsNoErr);
            EXPECT_EQ(test::allocationCalls() - calls, needed ? 2 : 0);
        }
    }
}

TEST(Fft32fTransform, ForwardAndInverseReturnTheInputTimesTheFactorOfTheFlag) {
    const std::pair<const Transform*, const Transform*> ways[] = {
        {&kTransforms[0], &kTransforms[1]}, {&kTransforms[3], &kTransforms[4]}};
    for (const auto& [forward, inverse] : ways) {
        for (int order : {0, 1, 2, 3, 4, 5, 6, 9, 12, 17, 18, 19}) {
            for (Qor32s flag : kFlags) {
                Fft fft(forward->kind, order, flag);
                const Floats in = Random(order).reals<float>(forward->floats(order), -1, 1);
                Floats out(in.size());
                forward->run(in.data(), out.data(), order, fft.get(), fft.buffer());
                inverse->run(out.data(), out.data(), order, fft.get(), fft.buffer());
                const double gain = flag == qorFftNormNone ? std::ldexp(1.0, order) : 1.0;
                double error = 0, power = 0;
                for (std::size_t i = 0; i < in.size(); ++i) {
                    error += std::pow(out[i] / gain - in[i], 2);
                    power += std::pow(in[i], 2);
                }
                EXPECT_LT(std::sqrt(error / power), 2 * errorBound(order))
                    << forward->name << ", order " << order << ", flag " << flag;
            }
        }
    }
}

TEST(Fft32fTransform, OrderZeroCopiesAndScales) {
    for (const Transform& t : kTransforms) {
        for (Qor32s flag : kFlags) {
            Fft fft(t.kind, 0, flag);
            const Floats in = {3.0f, -7.0f};
            Floats out(2, -7.0f);
            ASSERT_EQ(t.run(in.data(), out.data(), 0, fft.get(), nullptr), qorStsNoErr);
            EXPECT_EQ(out, in);
            fft->normFactor = 0.5f;
            const bool scaled = t.inverse ? fft->scaleInv : fft->scaleFwd;
            Floats half = in;
            ASSERT_EQ(t.run(half.data(), half.data(), 0, fft.get(), nullptr), qorStsNoErr);
            EXPECT_EQ(half[0], scaled ? 1.5f : 3.0f);
        }
    }
}

TEST(Fft32fTransform, RealForwardOfAConstantHasOneLine) {
    for (int order = 1; order <= 18; ++order) {
        Fft fft(FftKind::kReal, order, qorFftNormNone);
        const int n = 1 << order;
        Floats data(n, 0.5f);
        ASSERT_EQ(qorsFFTFwd_RToPerm_32f(data.data(), data.data(), fft.get(), fft.buffer()),
                  qorStsNoErr);
        EXPECT_EQ(data[0], 0.5f * float(n));
        data[0] = 0;
        EXPECT_THAT(data, testing::Each(0.0f)) << "order " << order;
    }
}

TEST(Fft32fTransform, RealForwardOfAlternatingSignsFillsElementOne) {
    for (int order = 1; order <= 18; ++order) {
        Fft fft(FftKind::kReal, order, qorFftNormNone);
        const int n = 1 << order;
        Floats data(n);
        for (int i = 0; i < n; ++i) data[i] = i % 2 == 0 ? 1.0f : -1.0f;
        ASSERT_EQ(qorsFFTFwd_RToPerm_32f(data.data(), data.data(), fft.get(), fft.buffer()),
                  qorStsNoErr);
        EXPECT_EQ(data[1], float(n)) << "order " << order;
        data[1] = 0;
        EXPECT_THAT(data, testing::Each(0.0f)) << "order " << order;
    }
}

}  // namespace
}  // namespace qorac
