// Relative RMS error of forward transforms of noise against double precision, in units of 2^-24, as
// a table: qorac and FFTW in single precision, complex and real.
#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "reference/dft.h"
#include "support/random.h"
#include "transform/fft32f.h"

namespace {

using Complex = std::complex<double>;

template <typename GetSize, typename Init, typename Transform>
std::vector<float> transformed(int order, std::vector<float> in, GetSize getSize, Init init,
                               Transform transform) {
    Qor32s specSize, initSize, bufSize;
    getSize(order, qorFftNormNone, 0, &specSize, &initSize, &bufSize);
    std::vector<Qor8u> memory(specSize), initMemory(initSize + 1);
    qorac::QorsFFTSpec_32f* spec = nullptr;
    init(&spec, order, qorFftNormNone, 0, memory.data(), initMemory.data());
    transform(in.data(), spec);
    return in;
}

double error(const std::vector<Complex>& exact, const float* result, std::size_t first,
             std::size_t last) {
    double noise = 0, power = 0;
    for (std::size_t k = first; k < last; ++k) {
        noise += std::norm(exact[k] - Complex(result[2 * k], result[2 * k + 1]));
        power += std::norm(exact[k]);
    }
    return std::sqrt(noise / power) * (1 << 24);
}

}  // namespace

int main() {
    std::printf("| order | qorac complex | FFTW complex | qorac real | FFTW real | bound |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: | ---: |\n");
    for (int order = 4; order <= 22; ++order) {
        const std::size_t n = std::size_t{1} << order;
        qorac::test::Random random(order);
        const auto in = random.reals<float>(2 * n, -1, 1);
        std::vector<Complex> x(n), real(n);
        for (std::size_t i = 0; i < n; ++i) x[i] = {in[2 * i], in[2 * i + 1]}, real[i] = in[i];
        const auto exact = qorac::reference::dft(x, -1),
                   exactReal = qorac::reference::dft(real, -1);

        const auto ours =
            transformed(order, in, qorac::qorsFFTGetSize_C_32fc, qorac::qorsFFTInit_C_32fc,
                        [](float* data, const qorac::QorsFFTSpec_32f* spec) {
                            auto* p = reinterpret_cast<Qor32fc*>(data);
                            qorac::qorsFFTFwd_CToC_32fc(p, p, spec, nullptr);
                        });
        const auto oursReal =
            transformed(order, in, qorac::qorsFFTGetSize_R_32f, qorac::qorsFFTInit_R_32f,
                        [](float* data, const qorac::QorsFFTSpec_32f* spec) {
                            qorac::qorsFFTFwd_RToPerm_32f(data, data, spec, nullptr);
                        });
        auto* theirIn = static_cast<float*>(fftwf_malloc(2 * n * sizeof(float)));
        auto* theirOut = static_cast<fftwf_complex*>(fftwf_malloc((n + 1) * sizeof(fftwf_complex)));
        const auto run = [&](fftwf_plan plan) {
            std::copy(in.begin(), in.end(), theirIn);
            fftwf_execute(plan);
            fftwf_destroy_plan(plan);
            return &theirOut[0][0];
        };
        const double theirs =
            error(exact,
                  run(fftwf_plan_dft_1d(int(n), reinterpret_cast<fftwf_complex*>(theirIn), theirOut,
                                        FFTW_FORWARD, FFTW_ESTIMATE)),
                  0, n);
        const double theirsReal =
            error(exactReal, run(fftwf_plan_dft_r2c_1d(int(n), theirIn, theirOut, FFTW_ESTIMATE)),
                  1, n / 2);
        std::printf("| %d | %.3f | %.3f | %.3f | %.3f | %.3f |\n", order,
                    error(exact, ours.data(), 0, n), theirs,
                    error(exactReal, oursReal.data(), 1, n / 2), theirsReal,
                    4 * 0.35 * std::sqrt(double(order)));
        fftwf_free(theirIn);
        fftwf_free(theirOut);
    }
    return 0;
}
