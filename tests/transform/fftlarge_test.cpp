#include "transform/fftlarge.h"

#include <complex>
#include <fstream>
#include <memory>
#include <string>

#include "gmock/gmock.h"
#include "reference/dft.h"
#include "support/random.h"

namespace qorac {
namespace {

using Complex = std::complex<double>;

long long availableMemory() {
    std::ifstream info("/proc/meminfo");
    for (std::string word; info >> word;) {
        long long kib = 0;
        if (word == "MemAvailable:" && info >> kib) return kib * 1024;
    }
    return 0;
}

// A block without initial contents on a 64-byte boundary.
template <typename T>
auto block(std::size_t count) {
    const auto release = [](T* p) { std::free(p); };
    return std::unique_ptr<T[], decltype(release)>(
        static_cast<T*>(std::aligned_alloc(64, (count * sizeof(T) + 63) / 64 * 64)), release);
}

// Reproducible numbers in -1 to 1 from the index alone, so that no copy of the input is kept.
float noise(std::uint64_t i) {
    i = (i + 1) * 0x9E3779B97F4A7C15u;
    i = (i ^ (i >> 30)) * 0xBF58476D1CE4E5B9u;
    i = (i ^ (i >> 27)) * 0x94D049BB133111EBu;
    return float(int(i >> 40) - (1 << 23)) / float(1 << 23);
}

// The transform in place of 2^order complex numbers (or of twice as many reals by the same core)
// against single bins from the definition. The error of a bin is a sample of that of all bins.
void expectBins(int order, bool real, bool inverse, int bins) {
    const std::size_t n = std::size_t{1} << order;
    const std::size_t floats = real ? n : 2 * n;
    Qor32s specSize, initSize, bufSize;
    const auto getSize = real ? qorsFFTGetSize_R_32f : qorsFFTGetSize_C_32fc;
    const auto init = real ? qorsFFTInit_R_32f : qorsFFTInit_C_32fc;
    ASSERT_EQ(getSize(order, qorFftNormSqrt, 0, &specSize, &initSize, &bufSize), qorStsNoErr);
    auto memory = block<Qor8u>(specSize), buffer = block<Qor8u>(bufSize);
    QorsFFTSpec_32f* spec = nullptr;
    {
        auto initMemory = block<Qor8u>(initSize);
        ASSERT_EQ(init(&spec, order, qorFftNormSqrt, 0, memory.get(), initMemory.get()),
                  qorStsNoErr);
    }
    auto data = block<float>(floats);
    for (std::size_t i = 0; i < floats; ++i) data[i] = noise(i);
    auto* p = reinterpret_cast<Qor32fc*>(data.get());
    const QorStatus status =
        real      ? qorsFFTFwd_RToPerm_32f(data.get(), data.get(), spec, buffer.get())
        : inverse ? qorsFFTInv_CToC_32fc(p, p, spec, buffer.get())
                  : qorsFFTFwd_CToC_32fc(p, p, spec, buffer.get());
    ASSERT_EQ(status, qorStsNoErr);

    const auto sample = [real](std::size_t i) {
        return real ? Complex(noise(i)) : Complex(noise(2 * i), noise(2 * i + 1));
    };
    const double power = 2.0 / 3 / (real ? 2 : 1);  // of a scaled bin, as of an input element
    double error = 0;
    test::Random random(order);
    for (int i = 0; i < bins; ++i) {
        const auto k = std::size_t(random.integer(1, std::int64_t(real ? n / 2 : n) - 1));
        const Complex exact =
            reference::dftBin(n, k, inverse ? 1 : -1, sample) / std::sqrt(double(n));
        error += std::norm(exact - Complex(p[k].re, p[k].im)) / bins;
    }
    EXPECT_LT(std::sqrt(error / power), 4 * 0.35 * std::ldexp(1.0, -24) * std::sqrt(double(order)))
        << "order " << order
        << (real      ? " real"
            : inverse ? " inverse"
                      : " forward");
}

TEST(FftLarge, AgreesWithTheDefinitionInBinsOfEveryDivision) {
    for (int order = 21; order <= 24; ++order) {
        expectBins(order, false, false, 12);
        expectBins(order, false, true, 12);
        expectBins(order, true, false, 12);
    }
}

TEST(FftLarge, AgreesWithTheDefinitionWithoutRecursion) { expectBins(25, false, false, 8); }

TEST(FftLarge, AgreesWithTheDefinitionWithOneRecursion) {
    expectBins(26, false, false, 6);
    expectBins(26, false, true, 6);
}

TEST(FftLarge, AgreesWithTheDefinitionAtTheLargestOrder) {
    constexpr long long kNeeded = 8LL << 30;
    if (availableMemory() < kNeeded) GTEST_SKIP() << "needs 8 GiB of free memory";
    expectBins(27, false, false, 4);
    expectBins(27, true, false, 4);
}

}  // namespace
}  // namespace qorac
