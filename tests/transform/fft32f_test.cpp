#include "transform/fft32f.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "gmock/gmock.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using Complex = std::complex<double>;

// Plain decimation in time in double precision, roots from sin and cos one by one.
std::vector<Complex> dft(std::vector<Complex> x, int sign) {
    const std::size_t n = x.size();
    if (n == 1) return x;
    std::vector<Complex> even(n / 2), odd(n / 2);
    for (std::size_t i = 0; i < n / 2; ++i) even[i] = x[2 * i], odd[i] = x[2 * i + 1];
    even = dft(even, sign), odd = dft(odd, sign);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const Complex turned = odd[k] * std::polar(1.0, sign * 2 * std::numbers::pi * double(k) / double(n));
        x[k] = even[k] + turned;
        x[k + n / 2] = even[k] - turned;
    }
    return x;
}

TEST(Fft, Quick) {
    for (int order = 0; order <= 22; ++order) {
        Qor32s a, b, c;
        ASSERT_EQ(qorsFFTGetSize_C_32fc(order, 2, 0, &a, &b, &c), 0);
        std::vector<Qor8u> spec(a), init(b + 1), buf(c + 1);
        QorsFFTSpec_C_32fc* p = nullptr;
        ASSERT_EQ(qorsFFTInit_C_32fc(&p, order, 2, 0, spec.data(), init.data()), 0);
        test::Random r(order);
        const int n = 1 << order;
        auto in = r.reals<float>(2 * n, -1, 1);
        std::vector<float> out(2 * n);
        ASSERT_EQ(qorsFFTFwd_CToC_32fc((Qor32fc*)in.data(), (Qor32fc*)out.data(), p, buf.data()), 0);
        std::vector<Complex> x(n);
        for (int i = 0; i < n; ++i) x[i] = {in[2 * i], in[2 * i + 1]};
        auto y = dft(x, -1);
        double e = 0, s = 0;
        for (int i = 0; i < n; ++i) e += std::norm(y[i] - Complex(out[2 * i], out[2 * i + 1])), s += std::norm(y[i]);
        ASSERT_EQ(qorsFFTInv_CToC_32fc((Qor32fc*)out.data(), (Qor32fc*)out.data(), p, buf.data()), 0);
        double e2 = 0, s2 = 0;
        for (int i = 0; i < 2*n; ++i) e2 += std::pow(in[i] - out[i], 2), s2 += std::pow(in[i], 2);
        // real
        double e3=0,e4=0,s3=0,s4=0;
        {
        ASSERT_EQ(qorsFFTGetSize_R_32f(order, 2, 0, &a, &b, &c), 0);
        std::vector<Qor8u> spec2(a), init2(b + 1), buf2(c + 1);
        QorsFFTSpec_C_32fc* p2 = nullptr;
        ASSERT_EQ(qorsFFTInit_R_32f(&p2, order, 2, 0, spec2.data(), init2.data()), 0);
        ASSERT_EQ(qorsFFTFwd_RToPerm_32f(in.data(), out.data(), p2, buf2.data()), 0);
        for (int i = 0; i < n; ++i) x[i] = in[i];
        y=dft(x,-1);
        e3=std::pow(out[0]-y[0].real(),2);s3=std::norm(y[0]);
        if(order) e3+=std::pow(out[1]-y[n/2].real(),2);
        for(int k=1;k<n/2;k++) e3+=std::norm(y[k]-Complex(out[2*k],out[2*k+1])),s3+=std::norm(y[k]);
        ASSERT_EQ(qorsFFTInv_PermToR_32f(out.data(), out.data(), p2, buf2.data()), 0);
        for (int i = 0; i < n; ++i) e4 += std::pow(in[i] - out[i], 2), s4 += std::pow(in[i], 2);
        }
        double e5=0;
        {
        ASSERT_EQ(qorsFFTGetSize_C_32f(order, 8, 0, &a, &b, &c), 0);
        std::vector<Qor8u> spec2(a), init2(b + 1), buf2(c + 1);
        QorsFFTSpec_C_32fc* p2 = nullptr;
        ASSERT_EQ(qorsFFTInit_C_32f(&p2, order, 8, 0, spec2.data(), init2.data()), 0);
        ASSERT_EQ(qorsFFTFwd_CToC_32f(in.data(), in.data()+n, out.data(), out.data()+n, p2, buf2.data()), 0);
        for (int i = 0; i < n; ++i) x[i] = {in[i], in[i+n]};
        y=dft(x,-1);
        for(int k=0;k<n;k++) e5+=std::norm(y[k]-Complex(out[k],out[k+n]));
        }
        double bound=0.35*std::ldexp(1,-24)*std::sqrt(std::max(1,order))*4;
        printf("%d %.3f %.3f %.3f %.3f %.3f\n", order, std::sqrt(e / s)/bound, std::sqrt(e2 / s2)/bound, std::sqrt(e3/s3)/bound,std::sqrt(e4/s4)/bound,std::sqrt(e5/s)/bound);
    }
}

}  // namespace
}  // namespace qorac
