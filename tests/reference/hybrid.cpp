#include "reference/hybrid.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "reference/exact.h"
#include "reference/synthesiswindow.h"

namespace qorac::reference {

namespace {

constexpr double kPi = std::numbers::pi;

// Table B.9.
constexpr double kAlias[8] = {-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037};

double window(int i, int blockType) {
    const double slope = std::sin(kPi / 36 * (i + 0.5));
    if (blockType == 1 && i >= 18)
        return i < 24 ? 1 : i < 30 ? std::sin(kPi / 12 * (i - 18 + 0.5)) : 0;
    if (blockType == 3 && i < 18)
        return i < 6 ? 0 : i < 12 ? std::sin(kPi / 12 * (i - 6 + 0.5)) : 1;
    return slope;
}

// cos(pi / 64 * n) with the angle reduced in integers.
double cosine64(int n) {
    static const auto table = [] {
        std::array<double, 128> values;
        for (int i = 0; i < 128; ++i) values[i] = std::cos(kPi / 64 * i);
        return values;
    }();
    return table[n & 127];
}

}  // namespace

int computedSubbands(int nonZeroBound, int blockType, int mixedBlock) {
    int n = blockType == 2 ? (nonZeroBound + 17) / 18 : (nonZeroBound + 8) / 18 + 1;
    if (blockType == 2 && mixedBlock) n = std::max(n, 2);
    return std::min(n, 32);
}

int aliasBoundaries(int nonZeroBound, int blockType, int mixedBlock) {
    if (blockType == 2) return mixedBlock ? 1 : 0;
    return std::max(computedSubbands(nonZeroBound, blockType, mixedBlock) - 1, 1);
}

void reduceAlias(std::vector<double>& lines, int boundaries) {
    for (int b = 1; b <= boundaries; ++b)
        for (int i = 0; i < 8; ++i) {
            const double norm = std::sqrt(1 + kAlias[i] * kAlias[i]);
            const double cs = 1 / norm, ca = kAlias[i] / norm;
            double &lo = lines[18 * b - 1 - i], &hi = lines[18 * b + i];
            const double newLo = lo * cs - hi * ca;
            hi = hi * cs + lo * ca;
            lo = newLo;
        }
}

std::array<double, 36> inverseTransform(const double* lines, int blockType) {
    std::array<double, 36> out{};
    if (blockType == 2) {
        for (int w = 0; w < 3; ++w)
            for (int i = 0; i < 12; ++i) {
                double sum = 0;
                for (int k = 0; k < 6; ++k)
                    sum += lines[6 * w + k] * std::cos(kPi / 24 * (2 * i + 7) * (2 * k + 1));
                out[6 + 6 * w + i] += sum * std::sin(kPi / 12 * (i + 0.5));
            }
        return out;
    }
    for (int i = 0; i < 36; ++i) {
        double sum = 0;
        for (int k = 0; k < 18; ++k)
            sum += lines[k] * std::cos(kPi / 72 * (2 * i + 19) * (2 * k + 1));
        out[i] = sum * window(i, blockType);
    }
    return out;
}

std::array<double, 32> Polyphase::operator()(const double* subbands) {
    std::copy_backward(v_.begin(), v_.end() - 64, v_.end());
    for (int i = 0; i < 64; ++i) {
        v_[i] = 0;
        for (int k = 0; k < 32; ++k) v_[i] += cosine64((16 + i) * (2 * k + 1)) * subbands[k];
    }
    std::array<double, 32> out{};
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 32; ++j)
            out[j] += (v_[128 * i + j] * kSynthesisWindow[64 * i + j] +
                       v_[128 * i + 96 + j] * kSynthesisWindow[64 * i + 32 + j]) /
                      65536;
    return out;
}

std::vector<double> Hybrid::operator()(std::vector<double> lines, int nonZeroBound, int blockType,
                                       int mixedBlock) {
    reduceAlias(lines, aliasBoundaries(nonZeroBound, blockType, mixedBlock));
    double rows[18][32];
    for (int s = 0; s < 32; ++s) {
        const int type = mixedBlock && s < 2 ? 0 : blockType;
        const auto y = inverseTransform(&lines[18 * s], type);
        for (int t = 0; t < 18; ++t) {
            const double z = y[t] + overlap_[18 * s + t];
            rows[t][s] = s % 2 && t % 2 ? -z : z;
            overlap_[18 * s + t] = y[18 + t];
        }
    }
    std::vector<double> out;
    for (const auto& row : rows) {
        const auto samples = polyphase_(row);
        out.insert(out.end(), samples.begin(), samples.end());
    }
    return out;
}

std::array<Qor16s, 32> IntegerPolyphase::operator()(const Qor32s* subbands) {
    std::rotate(history_.begin(), history_.end() - 1, history_.end());
    for (int i = 0; i < 32; ++i) {
        double sum = 0;
        for (int k = 0; k < 32; ++k) sum += cosine64(i * (2 * k + 1)) * subbands[k];
        history_[0][i] = static_cast<Qor32s>(std::nearbyint(sum));
    }
    const auto c = [&](int age, int i) { return Int128{history_[age][i]}; };
    const auto product = [](int tap, Int128 value) {  // the window in Q30
        return Int128{wrap32((Int128{kSynthesisWindow[tap]} * 16384 * wrap32(value)) >> 32)};
    };
    const auto u = [&](int age, int e) { return age % 2 ? -c(age, e) : c(age, 32 - e); };

    std::array<Int128, 32> sums{};
    for (int e = 1; e <= 15; ++e)
        for (int i = 0; i < 8; ++i) {
            const int low = 16 - e + 32 * i, high = 16 + e + 32 * i;
            sums[16 - e] += product(low, u(i, e)) - product(high, u(15 - i, e));
            const Int128 both = product(high, u(i, e)) + product(low, u(15 - i, e));
            sums[16 + e] += i % 2 ? both : -both;
        }
    for (int s = 1; s <= 7; ++s)
        sums[0] += product(32 * s, c(16 - s, 16) + (s % 2 ? -1 : 1) * c(s, 16));
    sums[0] += product(256, c(8, 16));
    for (int m = 0; m < 4; ++m) {
        sums[16] += product(48 + 64 * m, -c(2 * m + 1, 0));
        sums[16] -= product(208 - 64 * m, -c(2 * (m + 4) + 1, 0));
    }
    std::array<Qor16s, 32> out;
    for (int i = 0; i < 32; ++i) out[i] = clamp16(wrap32(sums[i] + 64) >> 7);
    return out;
}

}  // namespace qorac::reference
