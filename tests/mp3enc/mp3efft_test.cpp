#include "mp3enc/mp3efft.h"

#include <cmath>
#include <complex>
#include <deque>

#include "gmock/gmock.h"
#include "reference/mp3psychomodel.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

using Transform = QorStatus (*)(const Qor16s* const*, Qor32sc* const*);
struct Case {
    int size;
    Transform transform;
};
const Case kCases[] = {{1024, ownsFFTFwd1024_Audio_16s32sc}, {256, ownsFFTFwd256_Audio_16s32sc}};

std::vector<std::vector<Qor16s>> signals(int size) {
    Random random(7);
    std::vector<std::vector<Qor16s>> all;
    for (const int limit : {1, 30, 1000, 32767}) {
        all.push_back(random.integers<Qor16s>(size, -limit, limit));
    }
    for (const double cycles : {0.0, 1.0, 7.3, size / 8.0, size / 4.0, size / 2.0}) {
        std::vector<Qor16s> tone(size);
        for (int i = 0; i < size; ++i) {
            tone[i] = Qor16s(std::lround(32767 * std::cos(2 * M_PI * cycles * i / size)));
        }
        all.push_back(tone);
    }
    std::vector<Qor16s> square(size), lowest(size, -32768), impulse(size);
    for (int i = 0; i < size; ++i) square[i] = i / 16 % 2 ? 32767 : -32768;
    impulse[5] = -32768;
    all.insert(all.end(), {square, lowest, impulse, std::vector<Qor16s>(size)});
    return all;
}

// Each signal in each of the four places, beside others.
TEST(PsychoFft, EqualsThePlainFormToTheBit) {
    for (const auto& [size, transform] : kCases) {
        const auto all = signals(size);
        std::vector<std::vector<reference::Complex32>> expected;
        for (const auto& signal : all) expected.push_back(reference::realTransform(signal));
        for (std::size_t first = 0; first < all.size(); ++first) {
            std::deque<Guarded<Qor16s>> in;
            std::deque<Guarded<Qor32sc>> out;
            const Qor16s* pSrc[4];
            Qor32sc* pDst[4];
            for (std::size_t t = 0; t < 4; ++t) {
                in.emplace_back(std::span<const Qor16s>(all[(first + t) % all.size()]));
                out.emplace_back(size / 2 + 1);
                pSrc[t] = in[t].data();
                pDst[t] = out[t].data();
            }
            ASSERT_EQ(transform(pSrc, pDst), qorStsNoErr);
            for (std::size_t t = 0; t < 4; ++t) {
                const auto& lines = expected[(first + t) % all.size()];
                for (int k = 0; k <= size / 2; ++k) {
                    ASSERT_EQ(pDst[t][k].re, lines[k].re) << size << ' ' << t << ' ' << k;
                    ASSERT_EQ(pDst[t][k].im, lines[k].im) << size << ' ' << t << ' ' << k;
                }
            }
        }
    }
}

TEST(PsychoFft, IsTheFourierTransformWithinTheRotationsError) {
    for (const auto& [size, transform] : kCases) {
        for (const auto& signal : signals(size)) {
            std::vector<Qor32sc> out(size / 2 + 1);
            const Qor16s* const pSrc[4] = {signal.data(), signal.data(), signal.data(),
                                           signal.data()};
            Qor32sc* const pDst[4] = {out.data(), out.data(), out.data(), out.data()};
            transform(pSrc, pDst);
            double energy = 0;
            for (const Qor16s x : signal) energy += double(x) * x;
            // Q14 rotations are off by up to 2^-15 each.
            const double tolerance = 2 + std::sqrt(energy * size) * 2e-4;
            for (int k = 0; k <= size / 2; k += 13) {
                std::complex<double> exact = 0;
                for (int n = 0; n < size; ++n) {
                    exact += double(signal[n]) * std::polar(1.0, -2 * M_PI * (n * k % size) / size);
                }
                EXPECT_NEAR(out[k].re, exact.real(), tolerance) << size << ' ' << k;
                EXPECT_NEAR(out[k].im, exact.imag(), tolerance) << size << ' ' << k;
            }
        }
    }
}

TEST(PsychoFft, NullPointers) {
    for (const auto& [size, transform] : kCases) {
        const Qor16s* pSrc[4] = {};
        Qor32sc* pDst[4] = {};
        EXPECT_EQ(transform(nullptr, pDst), qorStsNullPtrErr);
        EXPECT_EQ(transform(pSrc, nullptr), qorStsNullPtrErr);
    }
}

}  // namespace
}  // namespace qorac
