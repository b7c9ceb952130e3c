#include <algorithm>
#include <cmath>
#include <numbers>
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

template <typename Form>
class SbrSynthesis : public testing::Test {};
using Forms = testing::Types<test::SynthesisOfSplit, test::SynthesisOfComplex,
                             test::SynthesisOfReal, test::DownSynthesisOfSplit,
                             test::DownSynthesisOfComplex, test::DownSynthesisOfReal>;
TYPED_TEST_SUITE(SbrSynthesis, Forms, );

// Slots of random sub-bands, real where the form has real ones.
template <typename Form>
std::vector<Subbands> noise(int slots, unsigned seed = 1) {
    test::Random random(seed);
    std::vector<Subbands> result;
    result.resize(std::size_t(slots), Subbands(Form::bands));
    for (Subbands& row : result)
        for (auto& x : row)
            x = {float(random.real(-1, 1)), Form::real ? 0.0 : float(random.real(-1, 1))};
    return result;
}

template <typename Form>
struct RowsOf : Form::Data {
    explicit RowsOf(std::span<const Subbands> slots) : Form::Data(int(slots.size()), Form::bands) {
        for (int l = 0; l < int(slots.size()); ++l)
            for (int k = 0; k < Form::bands; ++k)
                this->set(l, k, std::complex<float>(slots[std::size_t(l)][std::size_t(k)]));
    }
};

// The samples of a run of calls of `step` slots each.
template <typename Form>
std::vector<float> synthesized(std::span<const Subbands> slots, const std::vector<float>& window,
                               int step = 1) {
    FloatBank<Form> bank;
    const int count = int(slots.size());
    std::vector<float> samples;
    for (int l = 0; l < count; l += step) {
        const int run = std::min(step, count - l);
        const RowsOf<Form> rows(slots.subspan(std::size_t(l), std::size_t(run)));
        Guarded<float> part(std::size_t(Form::bands * run), l % 2 == 0);
        EXPECT_EQ(Form::filter(&rows, part.data(), window.data(), run, bank.spec(), bank.buffer()),
                  qorStsNoErr);
        samples.insert(samples.end(), part.data(), part.data() + part.size());
    }
    return samples;
}

template <typename Form>
std::vector<double> exactly(std::span<const Subbands> slots, const std::vector<float>& window) {
    reference::QmfSynthesis exact(Form::real, Form::bands, window);
    std::vector<double> samples;
    for (const Subbands& slot : slots) {
        const auto part = exact.slot(slot);
        samples.insert(samples.end(), part.begin(), part.end());
    }
    return samples;
}

double peakOf(const std::vector<double>& x) {
    double peak = 0;
    for (const double value : x) peak = std::max(peak, std::abs(value));
    return peak;
}

TYPED_TEST(SbrSynthesis, MatchesTheSums) {
    const auto slots = noise<TypeParam>(30);
    // With any coefficients each of the window counts as much as the others.
    for (const auto& window : {test::standardWindow(TypeParam::bands),
                               test::Random(2).reals<float>(10 * TypeParam::bands, -1, 1)}) {
        const auto result = synthesized<TypeParam>(slots, window, 7);
        const auto expected = exactly<TypeParam>(slots, window);
        double error = 0;
        for (std::size_t i = 0; i < expected.size(); ++i)
            error = std::max(error, std::abs(expected[i] - result[i]));
        EXPECT_LT(error / peakOf(expected), 1e-6);
    }
}

// Each value of a slot by itself, from each sub-band by itself: the window lets one coefficient of
// every ten rows through.
TYPED_TEST(SbrSynthesis, EachSubbandMakesEachValue) {
    constexpr int bands = TypeParam::bands;
    for (int tap = 0; tap < 2; ++tap) {
        std::vector<float> window(10 * bands);
        std::fill_n(window.begin() + tap * bands, bands, 1.0f);
        for (int k = 0; k < bands; ++k) {
            for (const std::complex<double> value : {std::complex<double>(1), {0, 1}}) {
                std::vector<Subbands> slots(2, Subbands(bands));
                slots[0][std::size_t(k)] = TypeParam::real ? value.real() : value;
                const auto result = synthesized<TypeParam>(slots, window, 2);
                const auto expected = exactly<TypeParam>(slots, window);
                for (std::size_t i = 0; i < expected.size(); ++i)
                    ASSERT_NEAR(result[i], expected[i], 1e-7) << tap << " " << k << " " << i;
            }
        }
    }
}

TYPED_TEST(SbrSynthesis, ARunOfSlotsEqualsSingleCalls) {
    const auto slots = noise<TypeParam>(23);
    const auto window = test::standardWindow(TypeParam::bands);
    const auto single = synthesized<TypeParam>(slots, window, 1);
    for (const int step : {2, 10, 23})
        EXPECT_EQ(synthesized<TypeParam>(slots, window, step), single) << step;
}

TYPED_TEST(SbrSynthesis, StartsSilent) {
    const std::vector<Subbands> slots(12, Subbands(TypeParam::bands));
    EXPECT_THAT(synthesized<TypeParam>(slots, test::standardWindow(TypeParam::bands)), Each(0.0f));
}

// Each slot writes its own values, and the slots on both sides keep theirs.
TYPED_TEST(SbrSynthesis, WritesOneSlotOfTheRing) {
    constexpr int bands = TypeParam::bands, slotLen = 2 * bands;
    FloatBank<TypeParam> bank;
    const auto window = test::standardWindow(bands);
    auto* const spec = bank.spec();
    for (int l = 0; l < 21; ++l) {
        ASSERT_EQ(spec->ringPos, (10 - l % 10) % 10 * slotLen);
        const Qor32s pos = spec->ringPos;
        const std::vector<float> before(spec->pRing, spec->pRing + 10 * slotLen);
        const RowsOf<TypeParam> rows(noise<TypeParam>(1, unsigned(l)));
        std::vector<float> samples(bands);
        ASSERT_EQ(TypeParam::filter(&rows, samples.data(), window.data(), 1, spec, bank.buffer()),
                  qorStsNoErr);
        for (Qor32s i = 0; i < 10 * slotLen; ++i) {
            const bool own = i >= pos && i < pos + slotLen;
            if (!own) {
                ASSERT_EQ(spec->pRing[i], before[std::size_t(i)]) << l << " " << i;
            }
        }
    }
}

// The place where the symmetries of the real sums meet is exactly 0.
TEST(SbrRealSynthesis, MiddleOfTheSecondHalfIsZero) {
    const auto check = [](auto form) {
        using Form = decltype(form);
        FloatBank<Form> bank;
        const RowsOf<Form> rows(noise<Form>(1));
        std::vector<float> samples(Form::bands);
        const auto window = test::standardWindow(Form::bands);
        ASSERT_EQ(Form::filter(&rows, samples.data(), window.data(), 1, bank.spec(), bank.buffer()),
                  qorStsNoErr);
        EXPECT_EQ(bank.spec()->pRing[Form::bands * 3 / 2], 0.0f);
    };
    check(test::SynthesisOfReal{});
    check(test::DownSynthesisOfReal{});
}

TYPED_TEST(SbrSynthesis, GivesTheSameAtAnyAddress) {
    const auto slots = noise<TypeParam>(10);
    const auto window = test::standardWindow(TypeParam::bands);
    const auto expected = synthesized<TypeParam>(slots, window);
    for (std::size_t shift = 0; shift < 16; ++shift) {
        FloatBank<TypeParam> bank(shift, false);
        Guarded<float> samples(expected.size() + shift), coefficients(window.size() + shift, false);
        std::copy(window.begin(), window.end(), coefficients.data() + shift);
        const RowsOf<TypeParam> rows(slots);
        ASSERT_EQ(TypeParam::filter(&rows, samples.data() + shift, coefficients.data() + shift, 10,
                                    bank.spec(), bank.buffer()),
                  qorStsNoErr);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), samples.data() + shift)) << shift;
    }
}

// Rows and window end at guard pages; rows of a downsampled bank hold 32 sub-bands and no more.
TYPED_TEST(SbrSynthesis, ReadsNoFurtherThanItsArguments) {
    constexpr int bands = TypeParam::bands;
    FloatBank<TypeParam> bank;
    Guarded<float> window(10 * bands), windowBehind(10 * bands, false), samples(bands);
    const RowsOf<TypeParam> rows(noise<TypeParam>(1));
    const int calls = test::allocationCalls();
    EXPECT_EQ(
        TypeParam::filter(&rows, samples.data(), window.data(), 1, bank.spec(), bank.buffer()),
        qorStsNoErr);
    EXPECT_EQ(TypeParam::filter(&rows, samples.data(), windowBehind.data(), 1, bank.spec(),
                                bank.buffer()),
              qorStsNoErr);
    EXPECT_EQ(test::allocationCalls(), calls);
}

// --- both ways ----------------------------------------------------------------------------------

double signalToNoise(std::span<const double> expected, std::span<const float> result) {
    double signal = 0, error = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        signal += expected[i] * expected[i];
        error += (expected[i] - result[i]) * (expected[i] - result[i]);
    }
    return 10 * std::log10(signal / error);
}

// A sum of tones below half of the analysis' sampling rate, at the places n / density.
std::vector<double> tones(int count, int density, double delay) {
    test::Random random(3);
    std::vector<double> sum(std::size_t(count), 0.0);
    for (int tone = 0; tone < 24; ++tone) {
        const double step = random.real(0.02, 0.98) * std::numbers::pi, phase = random.real(0, 6);
        for (int n = 0; n < count; ++n)
            sum[std::size_t(n)] += std::sin(step * ((n - delay) / density) + phase) / 24;
    }
    return sum;
}

template <typename Analysis, typename Synthesis>
void checkChain(const std::vector<float>& analysisWindow, const std::vector<float>& window,
                double againstInput) {
    constexpr int slots = 60, density = Synthesis::bands / 32;
    const auto input = tones(32 * slots, 1, 0);
    const std::vector<float> samples(input.begin(), input.end());

    FloatBank<Analysis> analysis;
    typename Analysis::Data rows(slots, 32);
    ASSERT_EQ(Analysis::filter(samples.data(), &rows, analysisWindow.data(), slots, 0, 32,
                               analysis.spec(), analysis.buffer()),
              qorStsNoErr);
    reference::QmfAnalysis exactAnalysis(Analysis::real, analysisWindow);
    std::vector<Subbands> subbands, exactSubbands;
    for (int l = 0; l < slots; ++l) {
        subbands.emplace_back(Subbands(Synthesis::bands));
        for (int k = 0; k < 32; ++k) subbands.back()[std::size_t(k)] = rows.get(l, k);
        exactSubbands.push_back(
            exactAnalysis.slot(std::span(samples).subspan(std::size_t(32 * l), 32)));
        exactSubbands.back().resize(Synthesis::bands);
    }
    const auto output = synthesized<Synthesis>(subbands, window, slots);

    const auto exact = exactly<Synthesis>(exactSubbands, window);
    EXPECT_GT(signalToNoise(exact, output), 125);

    constexpr int delay = 289 * density, settled = 320 * density * 2;
    const auto delayed = tones(int(output.size()), density, delay);
    EXPECT_GT(
        signalToNoise(std::span(delayed).subspan(settled), std::span(output).subspan(settled)),
        againstInput);
}

// The standard's window alone leaves a ripple of -59 dB.
TEST(SbrChain, GivesTheDelayedInput) {
    const auto half = test::standardWindow(32), full = test::standardWindow(64);
    checkChain<test::AnalysisToSplit, test::DownSynthesisOfSplit>(half, half, 58);
    checkChain<test::AnalysisToComplex, test::DownSynthesisOfComplex>(half, half, 58);
    checkChain<test::AnalysisToReal, test::DownSynthesisOfReal>(half, half, 58);
    checkChain<test::AnalysisToSplit, test::SynthesisOfSplit>(half, full, 58);
    checkChain<test::AnalysisToComplex, test::SynthesisOfComplex>(half, full, 58);
    checkChain<test::AnalysisToReal, test::SynthesisOfReal>(half, full, 58);
}

// A window that is orthogonal to its shifts by two slots leaves none.
TEST(SbrChain, ReconstructsWithAnOrthogonalWindow) {
    std::vector<float> window(320);
    for (int i = -31; i < 32; ++i)
        window[std::size_t(160 + i)] = float(std::cos(std::numbers::pi * i / 64));
    checkChain<test::AnalysisToSplit, test::DownSynthesisOfSplit>(window, window, 120);
    checkChain<test::AnalysisToComplex, test::DownSynthesisOfComplex>(window, window, 120);
    checkChain<test::AnalysisToReal, test::DownSynthesisOfReal>(window, window, 120);
}

// --- sizes and checks ---------------------------------------------------------------------------

TYPED_TEST(SbrSynthesis, TellsTheSizes) { test::checkSizes<TypeParam>(); }
TYPED_TEST(SbrSynthesis, IsBuiltInMemoryAtAnyAddress) { test::checkInit<TypeParam>(); }

struct Fault {
    bool spec = false, window = false, buffer = false, id = false, src = false, dst = false;
};

TYPED_TEST(SbrSynthesis, ChecksItsArgumentsInOrder) {
    constexpr int bands = TypeParam::bands;
    const auto window = test::standardWindow(bands);
    FloatBank<TypeParam> bank;
    const RowsOf<TypeParam> rows(noise<TypeParam>(1));
    std::vector<float> samples(bands, 7);
    const auto call = [&](const Fault& fault, Qor32s numLoop = 1) {
        const auto before = bank.state();
        bank.spec()->id += fault.id;
        const QorStatus status = TypeParam::filter(
            fault.src ? nullptr : &rows, fault.dst ? nullptr : samples.data(),
            fault.window ? nullptr : window.data(), numLoop, fault.spec ? nullptr : bank.spec(),
            fault.buffer ? nullptr : bank.buffer());
        bank.spec()->id -= fault.id;
        EXPECT_THAT(samples, Each(7.0f));
        EXPECT_EQ(bank.state(), before);
        return status;
    };
    EXPECT_EQ(call({.spec = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.window = true, .id = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.id = true, .src = true}), qorStsContextMatchErr);
    EXPECT_EQ(call({.id = true, .dst = true}), qorStsContextMatchErr);
    EXPECT_EQ(call({.src = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.dst = true}), qorStsNullPtrErr);
    EXPECT_EQ(call({.buffer = true}), qorStsNullPtrErr);
    // The forms differ here.
    EXPECT_EQ(call({.buffer = true, .id = true}),
              TypeParam::scratchFirst ? qorStsNullPtrErr : qorStsContextMatchErr);
    // numLoop comes last.
    for (const Qor32s numLoop : {0, -1}) {
        EXPECT_EQ(call({}, numLoop), qorStsNoErr);
        EXPECT_EQ(call({.id = true}, numLoop), qorStsContextMatchErr);
        EXPECT_EQ(call({.dst = true}, numLoop), qorStsNullPtrErr);
    }
}

TEST(SbrSynthesisOfSplit, NeedsBothListsOfRows) {
    const auto check = [](auto form, auto filter) {
        using Form = decltype(form);
        FloatBank<Form> bank;
        const RowsOf<Form> rows(noise<Form>(1));
        const auto window = test::standardWindow(Form::bands);
        std::vector<float> samples(Form::bands, 7);
        const auto *re = rows.re.constPointers(), *im = rows.im.constPointers();
        const auto call = [&](const Qor32f* const* ppRe, const Qor32f* const* ppIm) {
            return filter(ppRe, ppIm, samples.data(), window.data(), 1, bank.spec(), bank.buffer());
        };
        EXPECT_EQ(call(nullptr, im), qorStsNullPtrErr);
        EXPECT_EQ(call(re, nullptr), qorStsNullPtrErr);
        EXPECT_THAT(samples, Each(7.0f));
    };
    check(test::SynthesisOfSplit{}, qorsSynthesisFilter_SBR_CToR_32f_D2L);
    check(test::DownSynthesisOfSplit{}, qorsSynthesisDownFilter_SBR_CToR_32f_D2L);
}

// No float bank takes the context of another one, even of the same contents.
TYPED_TEST(SbrSynthesis, RefusesTheSpecsOfOtherBanks) {
    constexpr int bands = TypeParam::bands;
    const RowsOf<TypeParam> rows(noise<TypeParam>(1));
    const auto window = test::standardWindow(bands);
    std::vector<float> samples(bands, 7);
    FloatBank<TypeParam> own;
    const auto call = [&](QorsFilterSpec_SBR_32f* spec) {
        return TypeParam::filter(&rows, samples.data(), window.data(), 1, spec, own.buffer());
    };
    const auto check = [&](auto form) {
        using Other = decltype(form);
        FloatBank<Other> bank;
        if (Other::id != TypeParam::id) {
            EXPECT_EQ(call(bank.spec()), qorStsContextMatchErr);
        }
    };
    check(test::AnalysisToSplit{});
    check(test::AnalysisToComplex{});
    check(test::AnalysisToReal{});
    check(test::SynthesisOfSplit{});
    check(test::SynthesisOfComplex{});
    check(test::SynthesisOfReal{});
    check(test::DownSynthesisOfSplit{});
    check(test::DownSynthesisOfComplex{});
    check(test::DownSynthesisOfReal{});
    // Nor the memory of a bank, which begins with its transform.
    FloatBank<TypeParam> atStart(0, false);
    EXPECT_EQ(call(reinterpret_cast<QorsFilterSpec_SBR_32f*>(atStart.memory())),
              qorStsContextMatchErr);
    EXPECT_THAT(samples, Each(7.0f));
}

}  // namespace
}  // namespace qorac
