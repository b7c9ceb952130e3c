#include "reference/sbrqmf32s.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "sbr/qmfwindow.h"
#include "sbr/sbrqmftbl32s.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::SbrQmf32s;
using test::Guarded;
using test::Random;
using testing::Each;
using testing::ElementsAre;

using Numbers = std::vector<Qor32s>;  // complex ones as pairs
using Spec = QorsFilterSpec_SBR_32s;

constexpr Qor32s kMin = -0x7FFFFFFF - 1;

std::vector<Qor32sc> complexOf(const Numbers& v) {
    std::vector<Qor32sc> z(v.size() / 2);
    for (std::size_t i = 0; i < z.size(); ++i) z[i] = {v[2 * i], v[2 * i + 1]};
    return z;
}
Numbers numbersOf(const std::vector<Qor32sc>& z) {
    Numbers v;
    for (Qor32sc a : z) v.push_back(a.re), v.push_back(a.im);
    return v;
}
const Qor32sc* asComplex(const Qor32s* p) { return reinterpret_cast<const Qor32sc*>(p); }
Qor32sc* asComplex(Qor32s* p) { return reinterpret_cast<Qor32sc*>(p); }

// --- the banks --------------------------------------------------------------------------------

struct Bank {
    const char* name;
    Qor32u id;
    Qor32u alsoTaken;
    int slot, in, out;  // numbers, complex ones twice
    Qor32s size;
    bool analysis;
    QorStatus (*getSize)(Qor32s*);
    QorStatus (*init)(Spec*);
    QorStatus (*initAlloc)(Spec**);
    QorStatus (*free)(Spec*);
    QorStatus (*filter)(const Qor32s*, Qor32s*, Qor32s kx, Spec*);
    Numbers (*reference)(SbrQmf32s&, const Numbers&, int kx);
};

const Bank kBanks[] = {
    {"AnalysisHq", 0x434D4161, 0x434D4161, 32, 32, 64, 1343, true,
     qorsAnalysisFilterGetSize_SBRHQ_32s32sc, qorsAnalysisFilterInit_SBRHQ_32s32sc,
     qorsAnalysisFilterInitAlloc_SBRHQ_32s32sc, qorsAnalysisFilterFree_SBRHQ_32s32sc,
     [](const Qor32s* src, Qor32s* dst, Qor32s kx, Spec* spec) {
         return qorsAnalysisFilter_SBRHQ_32s32sc(src, asComplex(dst), kx, spec);
     },
     [](SbrQmf32s& bank, const Numbers& x, int kx) { return numbersOf(bank.analysisHq(x, kx)); }},
    {"AnalysisLp", 0x434D4162, 0x434D4162, 32, 32, 32, 1343, true,
     qorsAnalysisFilterGetSize_SBRLP_32s, qorsAnalysisFilterInit_SBRLP_32s,
     qorsAnalysisFilterInitAlloc_SBRLP_32s, qorsAnalysisFilterFree_SBRLP_32s,
     qorsAnalysisFilter_SBRLP_32s,
     [](SbrQmf32s& bank, const Numbers& x, int kx) { return bank.analysisLp(x, kx); }},
    {"SynthesisHq", 0x434D4163, 0x434D4163, 128, 128, 64, 5183, false,
     qorsSynthesisFilterGetSize_SBRHQ_32sc32s, qorsSynthesisFilterInit_SBRHQ_32sc32s,
     qorsSynthesisFilterInitAlloc_SBRHQ_32sc32s, qorsSynthesisFilterFree_SBRHQ_32sc32s,
     [](const Qor32s* src, Qor32s* dst, Qor32s, Spec* spec) {
         return qorsSynthesisFilter_SBRHQ_32sc32s(asComplex(src), dst, spec);
     },
     [](SbrQmf32s& bank, const Numbers& x, int) { return bank.synthesisHq(complexOf(x)); }},
    {"SynthesisLp", 0x434D4164, 0x434D4164, 128, 64, 64, 5183, false,
     qorsSynthesisFilterGetSize_SBRLP_32s, qorsSynthesisFilterInit_SBRLP_32s,
     qorsSynthesisFilterInitAlloc_SBRLP_32s, qorsSynthesisFilterFree_SBRLP_32s,
     [](const Qor32s* src, Qor32s* dst, Qor32s, Spec* spec) {
         return qorsSynthesisFilter_SBRLP_32s(src, dst, spec);
     },
     [](SbrQmf32s& bank, const Numbers& x, int) { return bank.synthesisLp(x); }},
    {"SynthesisDownHq", 0x434D4165, 0x434D4163, 64, 64, 32, 2623, false,
     qorsSynthesisDownFilterGetSize_SBRHQ_32sc32s, qorsSynthesisDownFilterInit_SBRHQ_32sc32s,
     qorsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s, qorsSynthesisDownFilterFree_SBRHQ_32sc32s,
     [](const Qor32s* src, Qor32s* dst, Qor32s, Spec* spec) {
         return qorsSynthesisDownFilter_SBRHQ_32sc32s(asComplex(src), dst, spec);
     },
     [](SbrQmf32s& bank, const Numbers& x, int) { return bank.synthesisDownHq(complexOf(x)); }},
    {"SynthesisDownLp", 0x434D4166, 0x434D4164, 64, 32, 32, 2623, false,
     qorsSynthesisDownFilterGetSize_SBRLP_32s, qorsSynthesisDownFilterInit_SBRLP_32s,
     qorsSynthesisDownFilterInitAlloc_SBRLP_32s, qorsSynthesisDownFilterFree_SBRLP_32s,
     [](const Qor32s* src, Qor32s* dst, Qor32s, Spec* spec) {
         return qorsSynthesisDownFilter_SBRLP_32s(src, dst, spec);
     },
     [](SbrQmf32s& bank, const Numbers& x, int) { return bank.synthesisDownLp(x); }},
};
const Bank &kAnalysisHq = kBanks[0], &kAnalysisLp = kBanks[1], &kSynthesisHq = kBanks[2],
           &kSynthesisLp = kBanks[3], &kDownHq = kBanks[4], &kDownLp = kBanks[5];

// A spec in a block of exactly its size, `offset` bytes off a multiple of 16.
class Filter {
  public:
    explicit Filter(const Bank& bank, int offset = 0)
        : bank_(bank), block_(std::size_t(bank.size + 16)) {
        const auto start = reinterpret_cast<std::uintptr_t>(block_.data());
        const auto slack = (16 + std::uintptr_t(offset) - start % 16) % 16;
        spec_ = reinterpret_cast<Spec*>(block_.data() + slack);
        EXPECT_EQ(bank.init(spec_), qorStsNoErr);
    }
    Spec* spec() { return spec_; }
    Spec* aligned() {
        return reinterpret_cast<Spec*>((reinterpret_cast<std::uintptr_t>(spec_) + 15) &
                                       ~std::uintptr_t(15));
    }
    Numbers operator()(const Numbers& x, int kx = 32) {
        Numbers y(std::size_t(bank_.out), 77);
        EXPECT_EQ(bank_.filter(x.data(), y.data(), kx, spec_), qorStsNoErr);
        return y;
    }
    std::vector<unsigned char> bytes() { return block_.copy(); }

  private:
    const Bank& bank_;
    Guarded<unsigned char> block_;
    Spec* spec_;
};

Numbers noise(Random& random, int count, int bits) {
    const std::int64_t top = (std::int64_t{1} << bits) - 1;
    return random.integers<Qor32s>(std::size_t(count), -top - 1, top);
}

class SbrQmf32sBank : public testing::TestWithParam<Bank> {};
INSTANTIATE_TEST_SUITE_P(All, SbrQmf32sBank, testing::ValuesIn(kBanks),
                         [](const auto& bank) { return std::string(bank.param.name); });

// --- tables -----------------------------------------------------------------------------------

TEST(SbrQmf32sTables, Window) {
    const auto& full = SBR_TABLE_QMF_WINDOW_640_INT_Q30.value;
    const auto& half = SBR_TABLE_QMF_WINDOW_320_INT_Q30.value;
    EXPECT_EQ(full[0], 0);
    EXPECT_EQ(full[1], -593273);
    EXPECT_EQ(full[64], 2813392);
    EXPECT_EQ(full[320], 916694784);
    EXPECT_THAT(std::vector<Qor32s>(half, half + 4), ElementsAre(0, -603195, -523473, -541242));
    for (int i = 0; i < 320; ++i) EXPECT_EQ(half[i], full[2 * i]);
    Qor32u hash = 0;
    for (Qor32s v : full) hash = hash * 31 + Qor32u(v);
    EXPECT_EQ(hash, 3513145628u);
}

// With the signs of two quarters changed it is a symmetric low-pass filter of unit power.
TEST(SbrQmf32sTables, WindowIsAPrototype) {
    std::array<double, 640> h;
    for (int i = 0; i < 640; ++i) {
        const bool flipped = (i >= 128 && i < 256) || (i >= 384 && i < 512);
        h[std::size_t(i)] = flipped ? -qmfWindow(i) : qmfWindow(i);
    }
    for (std::size_t i = 1; i < 640; ++i) EXPECT_EQ(h[i], h[640 - i]) << i;
    for (std::size_t i = 0; i < 64; ++i) {
        double power = 0;
        for (std::size_t k = i; k < 640; k += 64) power += h[k] * h[k];
        EXPECT_NEAR(power, 1, 2e-5);
    }
}

// --- specs ------------------------------------------------------------------------------------

TEST_P(SbrQmf32sBank, SizeAndId) {
    const Bank& bank = GetParam();
    Qor32s size = 0;
    EXPECT_EQ(bank.getSize(&size), qorStsNoErr);
    EXPECT_EQ(size, bank.size);
    EXPECT_EQ(bank.getSize(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank.init(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank.initAlloc(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(bank.free(nullptr), qorStsNullPtrErr);
    for (int offset = 0; offset < 16; ++offset) {
        Filter filter(bank, offset);
        Qor32u id;
        std::memcpy(&id, filter.aligned(), sizeof id);
        EXPECT_EQ(id, bank.id);
    }
}

// A block of the reported size suffices wherever it starts: it ends at a guard page.
TEST_P(SbrQmf32sBank, BlockOfTheReportedSizeSuffices) {
    const Bank& bank = GetParam();
    Guarded<unsigned char> block(std::size_t(bank.size) + 15);
    const Numbers x(std::size_t(bank.in), 1 << 20);
    Numbers y(std::size_t(bank.out));
    for (int start = 0; start < 16; ++start) {
        std::memset(block.data(), 0xA5, block.size());
        Spec* spec = reinterpret_cast<Spec*>(block.data() + start);
        ASSERT_EQ(bank.init(spec), qorStsNoErr);
        for (int slot = 0; slot < 11; ++slot)
            ASSERT_EQ(bank.filter(x.data(), y.data(), 32, spec), qorStsNoErr);
        for (int i = 0; i < start; ++i) ASSERT_EQ(block[std::size_t(i)], 0xA5);
        for (std::size_t i = std::size_t(start + bank.size); i < block.size(); ++i)
            ASSERT_EQ(block[i], 0xA5);
    }
}

TEST_P(SbrQmf32sBank, InitAllocAndFree) {
    const Bank& bank = GetParam();
    const int live = test::liveBlocks();
    Spec* spec = nullptr;
    ASSERT_EQ(bank.initAlloc(&spec), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), live + 1);
    for (const Bank& other : kBanks) {
        if (other.id != bank.id) {
            EXPECT_EQ(other.free(spec), qorStsContextMatchErr);
        }
    }
    Random random(1);
    Filter own(bank);
    for (int slot = 0; slot < 3; ++slot) {
        const Numbers x = noise(random, bank.in, 20);
        Numbers y(std::size_t(bank.out));
        EXPECT_EQ(bank.filter(x.data(), y.data(), 32, spec), qorStsNoErr);
        EXPECT_EQ(y, own(x));
    }
    EXPECT_EQ(bank.free(spec), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), live);
}

// Free of a context made by Init releases nothing; the context goes on, and can be freed again.
TEST_P(SbrQmf32sBank, FreeLeavesAnInitSpecAsItIs) {
    const Bank& bank = GetParam();
    Random random(2);
    Filter freed(bank, 5), other(bank);
    const int live = test::liveBlocks();
    for (int slot = 0; slot < 4; ++slot) {
        const auto before = freed.bytes();
        EXPECT_EQ(bank.free(freed.spec()), qorStsNoErr);
        EXPECT_EQ(freed.bytes(), before);
        const Numbers x = noise(random, bank.in, 20);
        EXPECT_EQ(freed(x), other(x));
    }
    EXPECT_EQ(test::liveBlocks(), live);
}

TEST_P(SbrQmf32sBank, RawAndAlignedPointersAreInterchangeable) {
    const Bank& bank = GetParam();
    Random random(3);
    for (int offset : {1, 8, 15}) {
        Filter filter(bank, offset), plain(bank);
        for (int slot = 0; slot < 4; ++slot) {
            const Numbers x = noise(random, bank.in, 20);
            Numbers y(std::size_t(bank.out));
            Spec* spec = slot % 2 == 0 ? filter.spec() : filter.aligned();
            EXPECT_EQ(bank.filter(x.data(), y.data(), 32, spec), qorStsNoErr);
            EXPECT_EQ(y, plain(x));
        }
        EXPECT_EQ(bank.free(filter.aligned()), qorStsNoErr);
    }
}

// --- checks -----------------------------------------------------------------------------------

// Null pointers come before the id, the id before kx; a failure changes neither spec nor output.
TEST_P(SbrQmf32sBank, ChecksInOrder) {
    const Bank& bank = GetParam();
    const Bank& stranger = bank.analysis ? kSynthesisHq : kAnalysisHq;
    Random random(4);
    Filter filter(bank), other(stranger);
    const Numbers x = noise(random, 128, 20);
    filter(x);
    other(x);
    Numbers y(64, 77);
    const auto before = filter.bytes(), otherBefore = other.bytes();
    for (int bad = 1; bad < 32; ++bad) {  // all sets of failures
        const bool nulls[] = {(bad & 1) != 0, (bad & 2) != 0, (bad & 4) != 0};
        const bool badId = (bad & 8) != 0, badKx = (bad & 16) != 0;
        if (badKx && !bank.analysis) continue;
        Spec* spec = nulls[2] ? nullptr : badId ? other.spec() : filter.spec();
        for (Qor32s kx : {-1, 33, kMin}) {
            const QorStatus status = bank.filter(
                nulls[0] ? nullptr : x.data(), nulls[1] ? nullptr : y.data(), badKx ? kx : 7, spec);
            EXPECT_EQ(status, nulls[0] || nulls[1] || nulls[2] ? qorStsNullPtrErr
                              : badId                          ? qorStsContextMatchErr
                                                               : qorStsSizeErr)
                << bad;
        }
    }
    EXPECT_THAT(y, Each(77));
    EXPECT_EQ(filter.bytes(), before);
    EXPECT_EQ(other.bytes(), otherBefore);
}

// Only the downsampled filters take a second id.
TEST_P(SbrQmf32sBank, TakesItsOwnSpecsOnly) {
    const Bank& bank = GetParam();
    Numbers x(128), y(64);
    for (const Bank& other : kBanks) {
        Filter filter(other);
        const bool taken = other.id == bank.id || other.id == bank.alsoTaken;
        EXPECT_EQ(bank.filter(x.data(), y.data(), 32, filter.spec()),
                  taken ? qorStsNoErr : qorStsContextMatchErr)
            << other.name;
        EXPECT_EQ(bank.free(filter.spec()),
                  other.id == bank.id ? qorStsNoErr : qorStsContextMatchErr);
    }
}

// --- arithmetic -------------------------------------------------------------------------------

// From single bits to values at which every sum wraps, around the ring more than twice.
TEST_P(SbrQmf32sBank, EqualsTheReferenceToTheBit) {
    const Bank& bank = GetParam();
    Random random(5);
    for (int bits : {1, 5, 15, 22, 26, 28, 30, 31}) {
        Filter filter(bank);
        SbrQmf32s plain(bank.slot);
        for (int slot = 0; slot < 23; ++slot) {
            Numbers x = noise(random, bank.in, bits);
            if (bits == 31)
                for (Qor32s& v : x) v = random.chance(0.2) ? kMin : v;
            const int kx = slot % 3 == 0 ? int(random.integer(0, 32)) : 32;
            ASSERT_EQ(filter(x, kx), bank.reference(plain, x, kx))
                << "bits " << bits << " " << slot;
        }
    }
}

TEST_P(SbrQmf32sBank, StaysInsideItsBuffers) {
    const Bank& bank = GetParam();
    Random random(6);
    SbrQmf32s plain(bank.slot);
    Filter filter(bank);
    for (bool atEnd : {true, false}) {
        const Numbers x = noise(random, bank.in, 20);
        Guarded<Qor32s> in(std::span<const Qor32s>(x), atEnd), out(std::size_t(bank.out), atEnd);
        EXPECT_EQ(bank.filter(in.data(), out.data(), 32, filter.spec()), qorStsNoErr);
        EXPECT_EQ(out.copy(), bank.reference(plain, x, 32));
        EXPECT_EQ(in.copy(), x);
    }
}

TEST_P(SbrQmf32sBank, ZeroGivesZero) {
    const Bank& bank = GetParam();
    Filter filter(bank);
    for (int slot = 0; slot < 12; ++slot)
        EXPECT_THAT(filter(Numbers(std::size_t(bank.in), 0)), Each(0));
}

// A slot counts in ten calls and is gone in the eleventh.
TEST_P(SbrQmf32sBank, SlotLivesForTenCalls) {
    const Bank& bank = GetParam();
    Random random(7);
    Filter filter(bank);
    const Numbers silence(std::size_t(bank.in), 0);
    filter(noise(random, bank.in, 24));
    for (int call = 2; call <= 10; ++call)
        EXPECT_THAT(filter(silence), testing::Contains(testing::Ne(0))) << call;
    EXPECT_THAT(filter(silence), Each(0));
}

// Products round down: the tiniest samples leave traces, other ones for -1 than for 1.
TEST_P(SbrQmf32sBank, RoundsDown) {
    const Bank& bank = GetParam();
    Filter plus(bank), minus(bank);
    SbrQmf32s plain(bank.slot);
    Numbers low, high;
    for (int slot = 0; slot < 10; ++slot) {
        high = plus(Numbers(std::size_t(bank.in), 1));
        low = minus(Numbers(std::size_t(bank.in), -1));
        EXPECT_EQ(low, bank.reference(plain, Numbers(std::size_t(bank.in), -1), 32));
    }
    EXPECT_THAT(low, testing::Contains(testing::Ne(0)));
    EXPECT_NE(low, high);
}

// --- bands ------------------------------------------------------------------------------------

TEST(SbrQmf32sAnalysis, BandsFromKxOnAreCleared) {
    Random random(8);
    for (const Bank* bank : {&kAnalysisHq, &kAnalysisLp}) {
        const int perBand = bank->out / 32;
        Filter whole(*bank), cut(*bank);
        for (int kx : {32, 0, 1, 31, 17, 32}) {
            const Numbers x = noise(random, 32, 24), y = whole(x);
            Numbers expected = y;
            std::fill(expected.begin() + kx * perBand, expected.end(), 0);
            EXPECT_EQ(cut(x, kx), expected) << kx;
            EXPECT_THAT(y, Each(testing::Ne(0)));
        }
    }
}

// A wrong kx leaves the ring: what follows is as if the call had not been.
TEST(SbrQmf32sAnalysis, WrongKxLeavesTheRing) {
    Random random(9);
    for (const Bank* bank : {&kAnalysisHq, &kAnalysisLp}) {
        Filter filter(*bank), plain(*bank);
        for (int slot = 0; slot < 12; ++slot) {
            const Numbers x = noise(random, 32, 24);
            Numbers y(std::size_t(bank->out), 77);
            EXPECT_EQ(bank->filter(x.data(), y.data(), slot % 2 == 0 ? 33 : -1, filter.spec()),
                      qorStsSizeErr);
            EXPECT_THAT(y, Each(77));
            EXPECT_EQ(filter(x), plain(x));
        }
    }
}

// --- full specs in downsampled filters --------------------------------------------------------

TEST(SbrQmf32sDown, RunsInAFullSpec) {
    Random random(10);
    for (const auto& [full, down] :
         {std::pair(&kSynthesisHq, &kDownHq), std::pair(&kSynthesisLp, &kDownLp)}) {
        Filter filter(*full);
        SbrQmf32s plain(full->slot);
        for (int slot = 0; slot < 37; ++slot) {
            const Bank& now = slot % 7 < 3 ? *full : *down;
            const Numbers x = noise(random, now.in, 24);
            Numbers y(std::size_t(now.out));
            ASSERT_EQ(now.filter(x.data(), y.data(), 32, filter.spec()), qorStsNoErr);
            ASSERT_EQ(y, now.reference(plain, x, 32)) << slot;
        }
    }
}

// --- against the sums -------------------------------------------------------------------------

constexpr double kTruncation =
    12;  // units of the last place, of some hundred products rounded down

// Slots of noise, then the samples at the limit of the headroom that drive one band furthest.
TEST(SbrQmf32sAnalysis, IsTheModulatedSum) {
    constexpr Qor32s kLimit = 1 << 27;
    Random random(11);
    for (const Bank* bank : {&kAnalysisHq, &kAnalysisLp}) {
        const bool hq = bank == &kAnalysisHq;
        const double delay = hq ? 0.5 : 96;
        Filter filter(*bank);
        SbrQmf32s plain(32);
        std::vector<Numbers> slots;
        for (int slot = 0; slot < 20; ++slot) slots.push_back(noise(random, 32, 26));
        for (int k : {0, 1, 13, 31}) {
            for (int i = 319; i >= 0; --i) {
                if (i % 32 == 31) slots.emplace_back();
                const double response =
                    qmfWindow(2 * i) *
                    std::cos(std::numbers::pi / 64 * (k + 0.5) * (2 * (i % 64) - delay));
                slots.back().push_back(response < 0 ? -kLimit : kLimit);
            }
        }
        double largest = 0;
        for (const Numbers& x : slots) {
            const Numbers u = plain.analysisWindow(x), y = filter(x);
            for (std::size_t k = 0; k < 32; ++k) {
                const auto sum = SbrQmf32s::analysisSum(u, int(k), delay);
                largest = std::max(largest, std::fabs(sum.real()));
                ASSERT_NEAR(hq ? y[2 * k] : y[k], sum.real(), kTruncation) << k;
                if (hq) {
                    ASSERT_NEAR(y[2 * k + 1], sum.imag(), kTruncation) << k;
                }
            }
        }
        EXPECT_GT(largest, 0.5 * kLimit);
    }
}

TEST(SbrQmf32sSynthesis, IsTheModulatedAndWindowedSum) {
    constexpr Qor32s kLimit = 1 << 25;
    Random random(12);
    const struct {
        const Bank& bank;
        double delay;
    } cases[] = {{kSynthesisHq, 255}, {kSynthesisLp, 64}, {kDownHq, 127.5}, {kDownLp, 32}};
    for (const auto& c : cases) {
        const int bands = c.bank.out;
        const bool isComplex = c.bank.in == 2 * bands;
        const auto angle = [&](int k, int n) {
            return std::numbers::pi / (2 * bands) * (k + 0.5) * (2 * n - c.delay);
        };
        std::vector<std::vector<Qor32sc>> slots(24, std::vector<Qor32sc>(std::size_t(bands)));
        for (std::size_t slot = 0; slot < 24; ++slot) {
            for (int k = 0; k < bands; ++k) {
                // From slot 20 on, bands at the limit of the headroom that add up.
                const double a = angle(k, int(slot) * bands / 17);
                Qor32sc& z = slots[slot][std::size_t(k)];
                z = {std::cos(a) < 0 ? -kLimit : kLimit, std::sin(a) < 0 ? kLimit : -kLimit};
                if (slot < 20)
                    z = {Qor32s(random.integer(-4000000, 4000000)),
                         Qor32s(random.integer(-4000000, 4000000))};
                if (!isComplex) z.im = 0;
            }
        }
        Filter filter(c.bank);
        std::vector<std::vector<double>> ring(10, std::vector<double>(std::size_t(2 * bands)));
        double largest = 0;
        for (const auto& z : slots) {
            Numbers x;
            for (Qor32sc v : z) {
                x.push_back(v.re);
                if (isComplex) x.push_back(v.im);
            }
            const Numbers y = filter(x);
            std::rotate(ring.rbegin(), ring.rbegin() + 1, ring.rend());
            for (int n = 0; n < 2 * bands; ++n) {
                ring[0][std::size_t(n)] = SbrQmf32s::synthesisSum(z, n, c.delay);
                largest = std::max(largest, std::fabs(ring[0][std::size_t(n)]));
            }
            for (int i = 0; i < bands; ++i) {
                double sum = 0;
                for (int t = 0; t < 10; ++t)
                    sum += qmfWindow(64 / bands * (bands * t + i)) / 4 *
                           ring[std::size_t(t)][std::size_t(bands * (t % 2) + i)];
                ASSERT_NEAR(y[std::size_t(i)], sum, kTruncation) << c.bank.name << " " << i;
            }
        }
        EXPECT_GT(largest, (isComplex ? 1.2 : 0.6) * kLimit * bands / 16) << c.bank.name;
    }
}

// --- chains -----------------------------------------------------------------------------------

// Chords and noise in `bits` bits, band-limited to a little below half the rate.
Numbers sound(int count, int bits, int rate = 1) {
    Numbers x(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        double v = 0, t = double(i) / rate;
        for (int p = 0; p < 40; ++p)
            v += std::sin(t * 0.0713 * (p + 1) + p * p) *
                 (0.5 + 0.5 * std::sin(t * 0.0007 * (p + 3)));
        x[std::size_t(i)] = Qor32s(std::floor(std::ldexp(v / 40, bits) + 0.5));
    }
    return x;
}

struct Chain {
    double snr;   // dB
    double gain;  // that fits best
};
Chain runChain(bool hq, int bands, int bits) {
    const Bank& analysis = hq ? kAnalysisHq : kAnalysisLp;
    const Bank& synthesis = bands == 64 ? (hq ? kSynthesisHq : kSynthesisLp)
                            : hq        ? kDownHq
                                        : kDownLp;
    const int slots = 200, rate = bands / 32, delay = 289 * rate;
    const Numbers x = sound(32 * slots, bits), ideal = sound(bands * slots, bits, rate);
    Filter first(analysis), second(synthesis);
    Numbers out;
    for (int slot = 0; slot < slots; ++slot) {
        Numbers sub = first({x.begin() + 32 * slot, x.begin() + 32 * (slot + 1)});
        sub.resize(std::size_t(synthesis.in));
        for (Qor32s v : second(sub)) out.push_back(v);
    }
    double xx = 0, xy = 0, yy = 0;
    for (std::size_t i = std::size_t(20 * bands); i < out.size(); ++i) {
        const double a = ideal[i - std::size_t(delay)], b = out[i];
        xx += a * a, xy += a * b, yy += b * b;
    }
    const double gain = xy / xx;
    return {10 * std::log10(xy * gain / (yy - xy * gain)), gain};
}

// What the window and the truncation leave: the input divided by 128 or by 256.
TEST(SbrQmf32sChain, GivesTheInputBack) {
    const struct {
        int bits;
        double snrHq, snrLp;
    } cases[] = {{20, 40, 34}, {24, 58, 55.5}, {27, 59, 59}};
    for (const auto& c : cases) {
        for (bool hq : {true, false}) {
            for (int bands : {64, 32}) {
                const Chain chain = runChain(hq, bands, c.bits);
                EXPECT_GT(chain.snr, hq ? c.snrHq : c.snrLp) << bands << " bands, " << c.bits;
                EXPECT_NEAR(chain.gain * (hq ? 128 : 256), 1, 1e-4)
                    << bands << " bands, " << c.bits;
            }
        }
    }
}

}  // namespace
}  // namespace qorac
