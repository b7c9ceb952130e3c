#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "gmock/gmock.h"
#include "reference/qmf.h"
#include "sbr/floatqmf.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::FloatBank;
using test::Guarded;
using test::Subbands;
using testing::Each;

constexpr int kBands = 32;

template <typename Form>
class SbrAnalysis : public testing::Test {};
using Forms = testing::Types<test::AnalysisToSplit, test::AnalysisToComplex, test::AnalysisToReal>;
TYPED_TEST_SUITE(SbrAnalysis, Forms, );

std::vector<float> noise(int slots, unsigned seed = 1) {
    return test::Random(seed).reals<float>(std::size_t(kBands * slots), -1, 1);
}

// The sub-bands of a run of calls of `step` slots each.
template <typename Form>
std::vector<Subbands> analysed(const std::vector<float>& samples, const std::vector<float>& window,
                               int step = 1, int kx = kBands) {
    FloatBank<Form> bank;
    const int slots = int(samples.size()) / kBands;
    typename Form::Data rows(slots, kBands);
    for (int l = 0; l < slots; l += step)
        EXPECT_EQ(Form::filter(samples.data() + kBands * l, &rows, window.data(),
                               std::min(step, slots - l), l, kx, bank.spec(), bank.buffer()),
                  qorStsNoErr);
    EXPECT_TRUE(rows.marginsAreUntouched());
    std::vector<Subbands> result;
    for (int l = 0; l < slots; ++l) {
        result.emplace_back();
        for (int k = 0; k < kBands; ++k) result.back().push_back(rows.get(l, k));
    }
    return result;
}

TYPED_TEST(SbrAnalysis, MatchesTheSums) {
    const int slots = 40;
    // With any coefficients each of the 320 counts as much as the others.
    for (const auto& window :
         {test::standardWindow(kBands), test::Random(2).reals<float>(10 * kBands, -1, 1)}) {
        const auto samples = noise(slots);
        const auto result = analysed<TypeParam>(samples, window, 7);
        reference::QmfAnalysis exact(TypeParam::real, window);
        double peak = 0, error = 0;
        for (int l = 0; l < slots; ++l) {
            const Subbands expected =
                exact.slot(std::span(samples).subspan(std::size_t(kBands * l), kBands));
            for (std::size_t k = 0; k < kBands; ++k) {
                peak = std::max(peak, std::abs(expected[k]));
                error = std::max(error, std::abs(expected[k] - result[std::size_t(l)][k]));
            }
        }
        EXPECT_LT(error / peak, 1e-6);
    }
}

// Each of the 320 places of the window by itself: one sample through one coefficient.
TYPED_TEST(SbrAnalysis, EachCoefficientMeetsItsSample) {
    std::vector<float> impulse(kBands * 10);
    impulse[5] = 1;
    for (int place = kBands - 1 - 5; place < 320; place += kBands) {
        std::vector<float> window(320);
        window[std::size_t(place)] = 1;
        const auto result = analysed<TypeParam>(impulse, window, 10);
        reference::QmfAnalysis exact(TypeParam::real, window);
        for (int l = 0; l < 10; ++l) {
            const Subbands expected = exact.slot(
                std::span<const float>(impulse).subspan(std::size_t(kBands * l), kBands));
            for (std::size_t k = 0; k < kBands; ++k)
                ASSERT_LT(std::abs(expected[k] - result[std::size_t(l)][k]), 1e-6) << place;
        }
    }
}

TYPED_TEST(SbrAnalysis, ARunOfSlotsEqualsSingleCalls) {
    const auto samples = noise(33), window = test::standardWindow(kBands);
    const auto single = analysed<TypeParam>(samples, window, 1);
    for (const int step : {2, 10, 33})
        EXPECT_EQ(analysed<TypeParam>(samples, window, step), single);
}

TYPED_TEST(SbrAnalysis, SubbandsFromKxAreZeroAndTheHistoryTakesTheSamples) {
    const auto samples = noise(12), window = test::standardWindow(kBands);
    const auto all = analysed<TypeParam>(samples, window);
    for (int kx = 0; kx <= kBands; ++kx) {
        FloatBank<TypeParam> bank;
        typename TypeParam::Data rows(12, kBands);
        ASSERT_EQ(TypeParam::filter(samples.data(), &rows, window.data(), 11, 0, kx, bank.spec(),
                                    bank.buffer()),
                  qorStsNoErr);
        ASSERT_EQ(TypeParam::filter(samples.data() + 11 * kBands, &rows, window.data(), 1, 11,
                                    kBands, bank.spec(), bank.buffer()),
                  qorStsNoErr);
        EXPECT_TRUE(rows.marginsAreUntouched());
        for (int l = 0; l < 12; ++l)
            for (int k = 0; k < kBands; ++k)
                ASSERT_EQ(rows.get(l, k),
                          l == 11 || k < kx ? all[std::size_t(l)][std::size_t(k)] : 0.)
                    << l << " " << k << " " << kx;
    }
}

TYPED_TEST(SbrAnalysis, StartsSilent) {
    const auto result =
        analysed<TypeParam>(std::vector<float>(kBands * 12), test::standardWindow(kBands));
    for (const Subbands& row : result) EXPECT_THAT(row, Each(0.));
}

// A slot stays for ten slots, and each call moves the place of the next one down by 32.
TYPED_TEST(SbrAnalysis, WritesOneSlotOfTheRing) {
    FloatBank<TypeParam> bank;
    const auto samples = noise(21), window = test::standardWindow(kBands);
    typename TypeParam::Data rows(1, kBands);
    auto* const spec = bank.spec();
    for (int l = 0; l < 21; ++l) {
        ASSERT_EQ(spec->ringPos, (10 - l % 10) % 10 * kBands);
        std::vector<float> expected(spec->pRing, spec->pRing + 320);
        const float* const block = samples.data() + l * kBands;
        std::reverse_copy(block, block + kBands, expected.begin() + spec->ringPos);
        ASSERT_EQ(TypeParam::filter(block, &rows, window.data(), 1, 0, kBands, spec, bank.buffer()),
                  qorStsNoErr);
        ASSERT_EQ(std::vector<float>(spec->pRing, spec->pRing + 320), expected);
    }
}

TYPED_TEST(SbrAnalysis, GivesTheSameAtAnyAddress) {
    const auto samples = noise(10), window = test::standardWindow(kBands);
    const auto expected = analysed<TypeParam>(samples, window);
    for (std::size_t shift = 0; shift < 16; ++shift) {
        FloatBank<TypeParam> bank(shift, false);
        Guarded<float> source(samples.size() + shift), coefficients(window.size() + shift, false);
        std::copy(samples.begin(), samples.end(), source.data() + shift);
        std::copy(window.begin(), window.end(), coefficients.data() + shift);
        typename TypeParam::Data rows(10, kBands);
        ASSERT_EQ(TypeParam::filter(source.data() + shift, &rows, coefficients.data() + shift, 10,
                                    0, kBands, bank.spec(), bank.buffer()),
                  qorStsNoErr);
        for (int l = 0; l < 10; ++l)
            for (int k = 0; k < kBands; ++k)
                ASSERT_EQ(rows.get(l, k), expected[std::size_t(l)][std::size_t(k)]) << shift;
    }
}

TYPED_TEST(SbrAnalysis, ReadsNoFurtherThanItsArguments) {
    FloatBank<TypeParam> bank;
    Guarded<float> samples(3 * kBands), window(10 * kBands);
    Guarded<float> samplesBehind(3 * kBands, false), windowBehind(10 * kBands, false);
    typename TypeParam::Data rows(6, kBands);
    const int calls = test::allocationCalls();
    EXPECT_EQ(TypeParam::filter(samples.data(), &rows, window.data(), 3, 0, 20, bank.spec(),
                                bank.buffer()),
              qorStsNoErr);
    EXPECT_EQ(TypeParam::filter(samplesBehind.data(), &rows, windowBehind.data(), 3, 3, 20,
                                bank.spec(), bank.buffer()),
              qorStsNoErr);
    EXPECT_EQ(test::allocationCalls(), calls);
}

TYPED_TEST(SbrAnalysis, WritesTheRowsFromOffsetOn) {
    FloatBank<TypeParam> bank;
    const auto samples = noise(2), window = test::standardWindow(kBands);
    typename TypeParam::Data rows(6, kBands);
    ASSERT_EQ(TypeParam::filter(samples.data(), &rows, window.data(), 2, 3, kBands, bank.spec(),
                                bank.buffer()),
              qorStsNoErr);
    for (int l = 0; l < 6; ++l) EXPECT_EQ(rows.rowIsUntouched(l), l != 3 && l != 4) << l;
}

// The integer banks take a quarter of the window and a sixteenth of the plain sums, rounding down
// at each step.
template <typename Form, typename Integer>
void checkAgainstIntegers(int slots, Integer integer) {
    const auto numbers =
        test::Random(5).integers<Qor32s>(std::size_t(kBands * slots), -1 << 24, 1 << 24);
    const std::vector<float> samples(numbers.begin(), numbers.end());
    const auto result = analysed<Form>(samples, test::standardWindow(kBands));
    for (int l = 0; l < slots; ++l) {
        const Subbands expected = integer(numbers.data() + kBands * l);
        for (std::size_t k = 0; k < kBands; ++k)
            ASSERT_LT(std::abs(result[std::size_t(l)][k] - 128.0 * expected[k]), 128 * 48) << l;
    }
}

TEST(SbrAnalysisInFloats, IsThatOfTheIntegerBanksTimes128) {
    alignas(16) unsigned char memory[1343];
    auto* const spec = reinterpret_cast<QorsFilterSpec_SBR_32s*>(memory);
    ASSERT_EQ(qorsAnalysisFilterInit_SBRHQ_32s32sc(spec), qorStsNoErr);
    const auto complex = [&](const Qor32s* block) {
        Qor32sc subbands[kBands];
        EXPECT_EQ(qorsAnalysisFilter_SBRHQ_32s32sc(block, subbands, kBands, spec), qorStsNoErr);
        Subbands result;
        for (const Qor32sc x : subbands) result.emplace_back(x.re, x.im);
        return result;
    };
    checkAgainstIntegers<test::AnalysisToComplex>(20, complex);

    ASSERT_EQ(qorsAnalysisFilterInit_SBRLP_32s(spec), qorStsNoErr);
    const auto real = [&](const Qor32s* block) {
        Qor32s subbands[kBands];
        EXPECT_EQ(qorsAnalysisFilter_SBRLP_32s(block, subbands, kBands, spec), qorStsNoErr);
        return Subbands(std::begin(subbands), std::end(subbands));
    };
    checkAgainstIntegers<test::AnalysisToReal>(20, real);
}

// --- sizes and checks ---------------------------------------------------------------------------

TYPED_TEST(SbrAnalysis, TellsTheSizes) { test::checkSizes<TypeParam>(); }
TYPED_TEST(SbrAnalysis, IsBuiltInMemoryAtAnyAddress) { test::checkInit<TypeParam>(); }

// Arguments of a call, bad ones by name.
struct Fault {
    bool spec = false, window = false, buffer = false, id = false, kx = false, src = false,
         dst = false;
};

TYPED_TEST(SbrAnalysis, ChecksItsArgumentsInOrder) {
    const auto samples = noise(1), window = test::standardWindow(kBands);
    FloatBank<TypeParam> bank;
    typename TypeParam::Data rows(1, kBands);
    const auto call = [&](const Fault& fault, Qor32s kx = 33, Qor32s numLoop = 1) {
        const auto before = bank.state();
        bank.spec()->id += fault.id;
        const QorStatus status = TypeParam::filter(
            fault.src ? nullptr : samples.data(), fault.dst ? nullptr : &rows,
            fault.window ? nullptr : window.data(), numLoop, 0, fault.kx ? kx : kBands,
            fault.spec ? nullptr : bank.spec(), fault.buffer ? nullptr : bank.buffer());
        bank.spec()->id -= fault.id;
        EXPECT_TRUE(rows.rowIsUntouched(0));
        EXPECT_EQ(bank.state(), before);
        return status;
    };
    // Each fault alone, with every fault that is tested behind it.
    EXPECT_EQ(call({.spec = true, .id = false, .kx = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.window = true, .id = true, .kx = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.id = true, .kx = true, .src = true, .dst = true}), qorStsContextMatchErr);
    EXPECT_EQ(call({.src = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.dst = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.buffer = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.kx = true}), qorStsSizeErr);
    EXPECT_EQ(call({.kx = true}, -1), qorStsSizeErr);
    // The forms differ here.
    const bool first = TypeParam::scratchFirst;
    EXPECT_EQ(call({.buffer = true, .id = true}), first ? qorStsNullPtrErr : qorStsContextMatchErr);
    EXPECT_EQ(call({.buffer = true, .kx = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.kx = true, .src = true}), first ? qorStsSizeErr : qorStsNullPtrErr);
    EXPECT_EQ(call({.kx = true, .dst = true}), first ? qorStsSizeErr : qorStsNullPtrErr);
    // numLoop comes last.
    for (const Qor32s numLoop : {0, -1}) {
        EXPECT_EQ(call({}, 0, numLoop), qorStsNoErr);
        EXPECT_EQ(call({.kx = true}, 33, numLoop), qorStsSizeErr);
        EXPECT_EQ(call({.id = true}, 33, numLoop), qorStsContextMatchErr);
        EXPECT_EQ(call({.dst = true}, 33, numLoop), qorStsNullPtrErr);
    }
}

TEST(SbrAnalysisToSplit, NeedsBothListsOfRows) {
    FloatBank<test::AnalysisToSplit> bank;
    const auto samples = noise(1), window = test::standardWindow(kBands);
    test::SplitSubbands rows(1, kBands);
    const auto call = [&](Qor32f* const* re, Qor32f* const* im) {
        return qorsAnalysisFilter_SBR_RToC_32f_D2L(samples.data(), re, im, window.data(), 1, 0,
                                                   kBands, bank.spec(), bank.buffer());
    };
    EXPECT_EQ(call(nullptr, rows.im.pointers()), qorStsNullPtrErr);
    EXPECT_EQ(call(rows.re.pointers(), nullptr), qorStsNullPtrErr);
    EXPECT_TRUE(rows.rowIsUntouched(0));
}

// Only the pointer from Init is a spec: the memory begins with that of the transform.
TYPED_TEST(SbrAnalysis, RefusesTheMemoryItself) {
    FloatBank<TypeParam> bank(0, false);
    const auto samples = noise(1), window = test::standardWindow(kBands);
    typename TypeParam::Data rows(1, kBands);
    EXPECT_EQ(
        TypeParam::filter(samples.data(), &rows, window.data(), 1, 0, kBands,
                          reinterpret_cast<QorsFilterSpec_SBR_32f*>(bank.memory()), bank.buffer()),
        qorStsContextMatchErr);
}

}  // namespace
}  // namespace qorac
