#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/hybrid.h"
#include "reference/synthesiswindow.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::kSynthesisWindow;
using test::Guarded;
using test::liveBlocks;
using test::Random;
using testing::Each;

using Spec = QorsFilterSpec_PQMF_MP3_32f;
using Floats = std::vector<Qor32f>;

constexpr Qor32s kSize = 2107;
constexpr double kPi = 3.14159265358979323846;

// The twin functions of the two banks; only the filters differ.
struct Bank {
    QorStatus (*getSize)(Qor32s*);
    QorStatus (*init)(Spec**, Qor8u*);
    QorStatus (*initAlloc)(Spec**);
    QorStatus (*free)(Spec*);
    QorStatus (*filter)(const Qor32f*, Qor32f*, Spec*, Qor32s);
    Qor32u id;
};
constexpr Bank kAnalysis = {
    qorsAnalysisFilterGetSize_PQMF_MP3_32f,   qorsAnalysisFilterInit_PQMF_MP3_32f,
    qorsAnalysisFilterInitAlloc_PQMF_MP3_32f, qorsAnalysisFilterFree_PQMF_MP3_32f,
    qorsAnalysisFilter_PQMF_MP3_32f,          0x434D4168};
constexpr Bank kSynthesis = {
    qorsSynthesisFilterGetSize_PQMF_MP3_32f,   qorsSynthesisFilterInit_PQMF_MP3_32f,
    qorsSynthesisFilterInitAlloc_PQMF_MP3_32f, qorsSynthesisFilterFree_PQMF_MP3_32f,
    qorsSynthesisFilter_PQMF_MP3_32f,          0x434D4167};

// A context in memory of exactly its size, off alignment by `shift`.
struct Context {
    explicit Context(const Bank& which, std::size_t shift = 0)
        : bank(which), memory(kSize + shift), raw(memory.data() + shift) {
        for (Qor8u& byte : memory.span()) byte = 0xA5;
        EXPECT_EQ(bank.init(&spec, raw), qorStsNoErr);
    }
    Floats operator()(const Floats& in, Qor32s mode = 1) {
        Floats out(32);
        EXPECT_EQ(bank.filter(in.data(), out.data(), spec, mode), qorStsNoErr);
        return out;
    }
    Qor32s position() const {
        Qor32s value;
        std::memcpy(&value, reinterpret_cast<const char*>(spec) + 4, sizeof value);
        return value;
    }
    Qor32f ring(int element) const {
        Qor32f value;
        std::memcpy(&value, reinterpret_cast<const char*>(spec) + 32 + 4 * element, sizeof value);
        return value;
    }

    const Bank& bank;
    Guarded<Qor8u> memory;
    Qor8u* raw;
    Spec* spec = nullptr;
};

// --- the standard's formulas --------------------------------------------------------------------

// C of Table C.1: D / 32 with nine decimals.
double analysisWindow(int i) {
    return std::nearbyint(kSynthesisWindow[i] / (65536.0 * 32) * 1e9) / 1e9;
}

// Sub-bands of the 512 last samples, the newest first.
std::array<double, 32> analysed(const std::vector<double>& x) {
    std::array<double, 64> y{};
    for (int i = 0; i < 64; ++i)
        for (int j = 0; j < 8; ++j) y[i] += analysisWindow(i + 64 * j) * x[i + 64 * j];
    std::array<double, 32> s{};
    for (int k = 0; k < 32; ++k)
        for (int i = 0; i < 64; ++i) s[k] += std::cos((2 * k + 1) * (i - 16) * kPi / 64) * y[i];
    return s;
}

TEST(FloatAnalysis, WindowKnownValues) {
    const double row0[] = {0,         0.000101566, 0.000971317, 0.00313473,
                           0.0357809, 0.00313473,  0.000971317, 0.000101566};
    const double row32[] = {-1.3828e-05, -0.000218868, -0.00245714, -0.0178761,
                            0.0178761,   0.00245714,   0.000218868, 1.3828e-05};
    for (int j = 0; j < 8; ++j) {
        EXPECT_NEAR(analysisWindow(64 * j), row0[j], 2e-9 + 3e-6 * std::abs(row0[j]));
        EXPECT_NEAR(analysisWindow(32 + 64 * j), row32[j], 3e-6 * std::abs(row32[j]));
    }
}

TEST(FloatAnalysis, EverySampleMeetsItsWindowValue) {
    for (int place = 0; place < 32; ++place) {
        Context bank(kAnalysis);
        for (int call = 0; call < 18; ++call) {
            Floats x(32);
            if (call == 0) x[static_cast<std::size_t>(place)] = 32768;
            const Floats s = bank(x);
            const int i = 32 * call + 31 - place;
            const double c = i < 512 ? analysisWindow(i) : 0;
            for (int k = 0; k < 32; ++k)
                ASSERT_NEAR(s[std::size_t(k)], c * std::cos((2 * k + 1) * (i % 64 - 16) * kPi / 64),
                            3e-7 * std::abs(c))
                    << i << " band " << k;
        }
    }
}

TEST(FloatAnalysis, EqualsTheFormulas) {
    Random random(1);
    for (const Qor32s mode : {1, 2}) {
        Context bank(kAnalysis, std::size_t(mode));
        std::vector<double> history(512);
        for (int call = 0; call < 50; ++call) {
            Guarded<Qor32f> x(std::size_t(31 * mode + 1)), out(32, call % 2 == 0);
            for (Qor32f& value : x.span()) value = Qor32f(random.real(-32768, 32767));
            for (std::size_t i = 0; i < 32; ++i)
                history.insert(history.begin(), x[i * std::size_t(mode)] / 32768.0);
            history.resize(512);
            ASSERT_EQ(kAnalysis.filter(x.data(), out.data(), bank.spec, mode), qorStsNoErr);
            const auto expected = analysed(history);
            for (std::size_t k = 0; k < 32; ++k) ASSERT_NEAR(out[k], expected[k], 4e-7) << call;
        }
    }
}

TEST(FloatAnalysis, RingAndPosition) {
    Context bank(kAnalysis, 5);
    EXPECT_EQ(bank.position(), 15);
    Floats x(63);
    x[2] = 4096;
    bank(x, 2);
    EXPECT_EQ(bank.position(), 14);
    for (int e = 0; e < 512; ++e) EXPECT_EQ(bank.ring(e), e == 503 ? 0.125f : 0) << e;
    // Slot after slot, each row of 8 columns is filled from the last one.
    for (int call = 1; call < 20; ++call) {
        for (Qor32f& value : x) value = Qor32f(32768 * call);
        bank(x);
        const int p = (15 - call) & 15;
        EXPECT_EQ(bank.position(), (p + 15) & 15);
        for (int i = 0; i < 32; ++i)
            EXPECT_EQ(bank.ring(8 * (32 * (p & 1) + 31 - i) + (p >> 1)), Qor32f(call));
    }
}

TEST(FloatSynthesis, EveryBandMeetsEveryWindowValue) {
    for (int band = 0; band < 32; ++band) {
        Context bank(kSynthesis);
        reference::Polyphase plain;
        for (int call = 0; call < 18; ++call) {
            Floats s(32);
            std::array<double, 32> subbands{};
            if (call == 0) s[std::size_t(band)] = 1, subbands[std::size_t(band)] = 1;
            const Floats out = bank(s);
            const auto expected = plain(subbands.data());
            for (std::size_t j = 0; j < 32; ++j) {
                const int i = 32 * call + int(j);
                const double d = call < 16 ? kSynthesisWindow[i] / 65536.0 : 0;
                ASSERT_NEAR(out[j], expected[j], 3e-7 * std::abs(d)) << band << " at " << i;
            }
        }
    }
}

TEST(FloatSynthesis, EqualsTheFormulas) {
    Random random(2);
    for (const Qor32s mode : {1, 2}) {
        Context bank(kSynthesis, std::size_t(3 * mode));
        reference::Polyphase plain;
        for (int call = 0; call < 50; ++call) {
            Guarded<Qor32f> s(random.reals<Qor32f>(32, -1, 1), call % 2 == 0);
            Guarded<Qor32f> out(std::size_t(31 * mode + 1), call % 2 == 1);
            for (Qor32f& value : out.span()) value = 77;
            std::array<double, 32> subbands;
            std::copy(s.data(), s.data() + 32, subbands.begin());
            ASSERT_EQ(kSynthesis.filter(s.data(), out.data(), bank.spec, mode), qorStsNoErr);
            const auto expected = plain(subbands.data());
            for (std::size_t i = 0; i < out.size(); ++i) {
                if (i % std::size_t(mode) == 0)
                    ASSERT_NEAR(out[i], expected[i / std::size_t(mode)], 4e-6) << call;
                else
                    ASSERT_EQ(out[i], 77);
            }
        }
    }
}

TEST(FloatSynthesis, TheStrideChangesPlacesOnly) {
    Random random(3);
    Context planar(kSynthesis), interleaved(kSynthesis);
    for (int call = 0; call < 20; ++call) {
        const auto s = random.reals<Qor32f>(32, -1, 1);
        const Floats expected = planar(s);
        std::array<Qor32f, 64> out;
        out.fill(5);
        kSynthesis.filter(s.data(), out.data(), interleaved.spec, 2);
        for (std::size_t j = 0; j < 32; ++j) {
            EXPECT_EQ(out[2 * j], expected[j]);
            EXPECT_EQ(out[2 * j + 1], 5);
        }
    }
}

// The output of a chain of both banks, over the input 481 samples before it.
struct ChainFit {
    double gain;        // times 32768, the best in the least squares
    double plainRatio;  // dB of the output's error with a gain of 1
    double fittedRatio;
};

template <typename Signal>
ChainFit runChain(Signal signal) {
    constexpr std::size_t kDelay = 481, kCalls = 200;
    Context analysis(kAnalysis), synthesis(kSynthesis);
    Floats in, out;
    for (std::size_t call = 0; call < kCalls; ++call) {
        Floats x(32);
        for (Qor32f& value : x) {
            value = Qor32f(signal(double(in.size())));
            in.push_back(value);
        }
        const Floats y = synthesis(analysis(x));
        out.insert(out.end(), y.begin(), y.end());
    }
    double inIn = 0, inOut = 0, error = 0, fittedError = 0;
    for (std::size_t i = 0; i + kDelay < in.size(); ++i) {
        const double x = in[i] / 32768.0;
        inIn += x * x;
        inOut += x * out[i + kDelay];
    }
    const double gain = inOut / inIn;
    for (std::size_t i = 0; i + kDelay < in.size(); ++i) {
        const double x = in[i] / 32768.0, y = out[i + kDelay];
        error += (y - x) * (y - x);
        fittedError += (y - gain * x) * (y - gain * x);
    }
    return {gain, 10 * std::log10(inIn / error), 10 * std::log10(inIn / fittedError)};
}

// The standard's windows reconstruct nearly: their gain ripples by 0.001 dB over the frequencies,
// which is 84 dB below a noise. But for that the error of a tone is more than 90 dB below it.
TEST(FloatBanks, ChainDelaysBy481Samples) {
    Random random(4);
    const ChainFit noise = runChain([&](double) { return random.real(-32768, 32767); });
    EXPECT_GT(noise.plainRatio, 84);
    EXPECT_NEAR(noise.gain, 1, 1e-5);
    for (const double frequency : {0.01, 0.1, 0.3, 1.0, 1.5, 2.0, 3.0}) {
        const ChainFit tone =
            runChain([&](double t) { return 30000 * std::sin(frequency * t + 0.2); });
        EXPECT_GT(tone.fittedRatio, 90) << frequency;
        EXPECT_NEAR(tone.gain, 1, 1.2e-4) << frequency;
    }
}

// --- both banks ---------------------------------------------------------------------------------

class FloatBank : public testing::TestWithParam<const Bank*> {
  protected:
    const Bank& bank() const { return *GetParam(); }
    const Bank& other() const { return &bank() == &kAnalysis ? kSynthesis : kAnalysis; }
};
INSTANTIATE_TEST_SUITE_P(Both, FloatBank, testing::Values(&kAnalysis, &kSynthesis),
                         [](const auto& instance) {
                             return instance.param == &kAnalysis ? "Analysis" : "Synthesis";
                         });

TEST_P(FloatBank, MakingAndEndingContexts) {
    Qor32s size = 0;
    EXPECT_EQ(bank().getSize(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank().getSize(&size), qorStsNoErr);
    EXPECT_EQ(size, kSize);

    Spec* spec = nullptr;
    std::array<Qor8u, kSize + 16> memory{};
    EXPECT_EQ(bank().init(nullptr, memory.data()), qorStsNullPtrErr);
    EXPECT_EQ(bank().init(&spec, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank().initAlloc(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank().free(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(spec, nullptr);
    EXPECT_THAT(memory, Each(0));

    const int live = liveBlocks();
    for (std::size_t shift = 0; shift < 16; ++shift) {
        Context context(bank(), shift);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(context.spec) % 16, 0u);
        EXPECT_EQ(context.position(), 15);
        for (int e = 0; e < 512; ++e) EXPECT_EQ(context.ring(e), 0);
        struct {
            Qor32u id;
            Qor32s position, ownsMemory;
            const char* pRing;
        } record;
        std::memcpy(&record, context.spec, sizeof record);
        EXPECT_EQ(record.id, bank().id);
        EXPECT_EQ(record.ownsMemory, 0);
        EXPECT_EQ(record.pRing, reinterpret_cast<const char*>(context.spec) + 32);
        // Free of memory of the caller's releases nothing and leaves the context as it was; the
        // pointer that Init was given will do for all calls.
        for (Spec* const pointer : {context.spec, reinterpret_cast<Spec*>(context.raw)}) {
            EXPECT_EQ(bank().free(pointer), qorStsNoErr);
            Floats in(64, 1), out(64);
            EXPECT_EQ(bank().filter(in.data(), out.data(), pointer, 1), qorStsNoErr);
        }
        EXPECT_EQ(context.position(), 13);
        EXPECT_EQ(other().free(context.spec), qorStsContextMatchErr);
    }
    EXPECT_EQ(liveBlocks(), live);

    EXPECT_EQ(bank().initAlloc(&spec), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), live + 1);
    Floats in(32, 1), out(32);
    EXPECT_EQ(bank().filter(in.data(), out.data(), spec, 1), qorStsNoErr);
    EXPECT_EQ(out, Context(bank())(in));
    EXPECT_EQ(other().free(spec), qorStsContextMatchErr);
    EXPECT_EQ(liveBlocks(), live + 1);
    EXPECT_EQ(bank().free(spec), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), live);
}

TEST_P(FloatBank, ErrorsInOrderChangeNothing) {
    Context context(bank()), foreign(other());
    Floats in(64, 3), out(64, 7);
    bank().filter(in.data(), out.data(), context.spec, 1);
    std::fill(out.begin(), out.end(), 7.0f);
    const auto before = context.memory.copy(), foreignBefore = foreign.memory.copy();
    EXPECT_EQ(bank().filter(nullptr, out.data(), context.spec, 0), qorStsNullPtrErr);
    EXPECT_EQ(bank().filter(in.data(), nullptr, context.spec, 3), qorStsNullPtrErr);
    EXPECT_EQ(bank().filter(in.data(), out.data(), nullptr, 0), qorStsNullPtrErr);
    for (const Qor32s mode : {-1, 0, 3}) {
        EXPECT_EQ(bank().filter(in.data(), out.data(), context.spec, mode), qorStsBadArgErr);
        EXPECT_EQ(bank().filter(in.data(), out.data(), foreign.spec, mode), qorStsBadArgErr);
    }
    EXPECT_EQ(bank().filter(in.data(), out.data(), foreign.spec, 1), qorStsContextMatchErr);
    EXPECT_THAT(out, Each(7));
    EXPECT_EQ(context.memory.copy(), before);
    EXPECT_EQ(foreign.memory.copy(), foreignBefore);
}

TEST_P(FloatBank, SilenceStaysSilentAndMovesOn) {
    Context context(bank());
    for (int call = 0; call < 33; ++call) {
        EXPECT_EQ(context.position(), (47 - call) & 15);
        EXPECT_THAT(context(Floats(32)), Each(0));
    }
}

TEST_P(FloatBank, UnalignedDataGiveTheSame) {
    Random random(5);
    Context aligned(bank()), shifted(bank());
    alignas(16) std::array<Qor32f, 36> in{}, out{};
    for (std::size_t shift = 0; shift < 32; ++shift) {
        const auto x = random.reals<Qor32f>(32, -1, 1);
        const Floats expected = aligned(x);
        std::copy(x.begin(), x.end(), in.begin() + shift % 4);
        bank().filter(&in[shift % 4], &out[shift / 4 % 4], shifted.spec, 1);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), &out[shift / 4 % 4]));
    }
}

}  // namespace
}  // namespace qorac
