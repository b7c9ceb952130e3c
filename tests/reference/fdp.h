// The predictor of the AAC Main profile line by line, as ISO/IEC 13818-7 tells it (clause
// "Prediction"), with the reciprocal of two factors.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qorac::reference {

inline float fromBits(std::uint32_t bits) {
    float x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}
inline std::uint32_t toBits(float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}

struct PredictorLine {
    float cor1 = 0, cor2 = 0, var1 = 1, var2 = 1, r1 = 0, r2 = 0;

    // 61/64 over the mantissa, to 8 significant bits.
    static float mantissaFactor(int i) {
        int exponent;
        const double fraction = std::frexp(0.953125 / (1 + i / 128.0), &exponent);
        return float(std::ldexp(std::round(fraction * 256), exponent - 8));
    }
    static float exponentFactor(int i) {
        return i < 128 || i == 255 ? 0.0f : float(std::ldexp(1.0, 127 - i));
    }

    // k = cor * b / var.
    static float gain(float cor, float var) {
        const int top = int(toBits(var) >> 16);
        const float product = mantissaFactor(top & 127) * cor;
        return product * exponentFactor(top >> 7);
    }
    static float truncated(float x) { return fromBits(toBits(x) & 0xFFFF0000u); }

    float estimate() const {
        const float t = r1 * gain(cor1, var1);
        const float second = gain(cor2, var2) * r2;
        return truncated(fromBits(toBits(second + t) + 0x8000u));
    }
    void adapt(float x) {
        const float k1 = gain(cor1, var1), t = r1 * k1, e = x - t;
        PredictorLine next;
        next.cor1 = truncated(cor1 * 0.90625f + r1 * x);
        next.cor2 = truncated(cor2 * 0.90625f + r2 * e);
        next.var1 = truncated(0.5f * (r1 * r1 + x * x) + var1 * 0.90625f);
        next.var2 = truncated(0.5f * (r2 * r2 + e * e) + var2 * 0.90625f);
        next.r2 = truncated((r1 - k1 * x) * 0.953125f);
        next.r1 = truncated(x * 0.953125f);
        *this = next;
    }

    float forward(float x) {
        const float residual = x - estimate();
        adapt(x);
        return residual;
    }
    float inverse(float residual, bool used) {
        const float x = used ? residual + estimate() : residual;
        adapt(x);
        return x;
    }
};

}  // namespace qorac::reference
