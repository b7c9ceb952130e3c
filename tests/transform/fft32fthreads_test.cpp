// One spec in several threads at once; built with ThreadSanitizer, which reports any store that a
// transform makes outside its own arrays.
#include <thread>
#include <vector>

#include "gmock/gmock.h"
#include "support/random.h"
#include "transform/fft32fspec.h"

namespace qorac {
namespace {

using test::Fft;
using test::FftKind;

constexpr int kThreads = 3;
constexpr int kOrders[] = {4, 6, 9, 13, 17, 18, 19};

template <typename Run>
void inThreads(Run run) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(run, i);
    for (auto& thread : threads) thread.join();
}

template <typename T>
auto results(int order) {
    return std::vector<std::vector<T>>(kThreads, std::vector<T>(std::size_t{1} << order));
}

TEST(Fft32fThreads, ComplexSpecIsShared) {
    for (int order : kOrders) {
        Fft fft(FftKind::kComplex, order, qorFftNormSqrt);
        const std::vector<Qor32fc> in(std::size_t{1} << order, Qor32fc{0.5f, -0.25f});
        auto out = results<Qor32fc>(order);
        inThreads([&](int i) {
            qorsFFTFwd_CToC_32fc(in.data(), out[i].data(), fft.get(), nullptr);
            qorsFFTInv_CToC_32fc(out[i].data(), out[i].data(), fft.get(), nullptr);
        });
        for (const auto& result : out) {
            for (const Qor32fc& value : result) {
                ASSERT_NEAR(value.re, 0.5f, 1e-5f);
                ASSERT_NEAR(value.im, -0.25f, 1e-5f);
            }
        }
    }
}

TEST(Fft32fThreads, RealSpecIsShared) {
    for (int order : kOrders) {
        Fft fft(FftKind::kReal, order, qorFftNormInv);
        const auto in = test::Random(order).reals<float>(std::size_t{1} << order, -1, 1);
        auto out = results<float>(order);
        inThreads([&](int i) {
            qorsFFTFwd_RToPerm_32f(in.data(), out[i].data(), fft.get(), nullptr);
            qorsFFTInv_PermToR_32f(out[i].data(), out[i].data(), fft.get(), nullptr);
        });
        for (const auto& result : out) {
            for (std::size_t n = 0; n < in.size(); ++n) ASSERT_NEAR(result[n], in[n], 1e-5f);
        }
    }
}

TEST(Fft32fThreads, SplitSpecIsShared) {
    for (int order : kOrders) {
        Fft fft(FftKind::kSplit, order, qorFftNormFwd);
        const std::vector<float> in(std::size_t{1} << order, 0.75f);
        auto re = results<float>(order), im = results<float>(order);
        inThreads([&](int i) {
            qorsFFTFwd_CToC_32f(in.data(), in.data(), re[i].data(), im[i].data(), fft.get(),
                                nullptr);
        });
        for (int i = 0; i < kThreads; ++i) {
            EXPECT_NEAR(re[i][0], 0.75f, 1e-5f);
            EXPECT_NEAR(im[i][0], 0.75f, 1e-5f);
            EXPECT_EQ(re[i], re[0]);
            EXPECT_EQ(im[i], im[0]);
        }
    }
}

}  // namespace
}  // namespace qorac
