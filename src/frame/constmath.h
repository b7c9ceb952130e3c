// Elementary functions for tables that are built at compile time, in 64-bit-mantissa long double,
// with a relative error of a few units of 2^-63.
//
// They exist so that the source of a table is the rule that makes it. Nothing here runs when the
// library does; tables that depend on run-time parameters use the functions of <cmath> in double
// precision.
#pragma once

#include <array>
#include <cstddef>

namespace qorac::constmath {

constexpr long double kPi = 3.14159265358979323846264338327950288L;
constexpr long double kLn2 = 0.69314718055994530941723212145817657L;
constexpr long double kLn10 = 2.30258509299404568401799145468436421L;

// x * 2^n, exact while the result is normal.
constexpr long double scale2(long double x, int n) {
    for (; n > 0; --n) x *= 2;
    for (; n < 0; ++n) x /= 2;
    return x;
}

constexpr long double abs(long double x) { return x < 0 ? -x : x; }

// Nearest integer, ties away from zero.
constexpr long long round(long double x) {
    return x < 0 ? -static_cast<long long>(-x + 0.5L) : static_cast<long long>(x + 0.5L);
}

constexpr long double sqrt(long double x) {
    if (x == 0) return 0;
    int e = 0;  // x = m * 4^e with m in [1, 4)
    for (; x >= 4; ++e) x /= 4;
    for (; x < 1; --e) x *= 4;
    long double y = 1.5L;
    for (int i = 0; i < 7; ++i) y = (y + x / y) / 2;
    return scale2(y, e);
}

constexpr long double cbrt(long double x) {
    if (x == 0) return 0;
    if (x < 0) return -cbrt(-x);
    int e = 0;  // x = m * 8^e with m in [1, 8)
    for (; x >= 8; ++e) x /= 8;
    for (; x < 1; --e) x *= 8;
    long double y = 1.5L;
    for (int i = 0; i < 8; ++i) y = (2 * y + x / (y * y)) / 3;
    return scale2(y, e);
}

constexpr long double exp(long double x) {
    const int n = static_cast<int>(round(x / kLn2));
    const long double r = x - n * kLn2;
    long double term = 1, sum = 1;
    for (int k = 1; k < 26; ++k) sum += term *= r / k;
    return scale2(sum, n);
}

constexpr long double log(long double x) {
    int e = 0;  // x = m * 2^e with m in [0.75, 1.5)
    for (; x >= 1.5L; ++e) x /= 2;
    for (; x < 0.75L; --e) x *= 2;
    const long double t = (x - 1) / (x + 1);  // log(m) = 2 atanh(t)
    long double power = t, sum = 0;
    for (int k = 1; k < 60; k += 2, power *= t * t) sum += power / k;
    return 2 * sum + e * kLn2;
}

constexpr long double exp10(long double x) { return exp(x * kLn10); }
constexpr long double pow(long double x, long double y) { return x == 0 ? 0 : exp(y * log(x)); }

// x^(4/3) of an integer.
constexpr long double pow43(long double x) { return x * cbrt(x); }

// 2^(n/4), exact where 4 divides n.
constexpr long double exp2Quarter(int n) {
    const long double quarter[4] = {1, sqrt(sqrt(2)), sqrt(2), sqrt(2) * sqrt(sqrt(2))};
    return scale2(quarter[n & 3], n >> 2);
}

// Sine and cosine of pi * num / den, the angle reduced exactly in integers to at most pi/4.
constexpr long double sinPi(long long num, long long den);

constexpr long double cosPi(long long num, long long den) {
    if (den < 0) num = -num, den = -den;
    num %= 2 * den;
    if (num < 0) num += 2 * den;
    if (num > den) num = 2 * den - num;                // cos(2 pi - a) = cos(a)
    if (2 * num > den) return -cosPi(den - num, den);  // cos(pi - a) = -cos(a)
    if (4 * num > den) return sinPi(den - 2 * num, 2 * den);
    const long double x = kPi * num / den;
    long double term = 1, sum = 1;
    for (int k = 2; k < 28; k += 2) sum += term *= -x * x / (k * (k - 1));
    return sum;
}

constexpr long double sinPi(long long num, long long den) {
    if (den < 0) num = -num, den = -den;
    num %= 2 * den;
    if (num < 0) num += 2 * den;
    if (num > den) return -sinPi(num - den, den);
    if (2 * num > den) num = den - num;
    if (4 * num > den) return cosPi(den - 2 * num, 2 * den);
    const long double x = kPi * num / den;
    long double term = x, sum = x;
    for (int k = 3; k < 29; k += 2) sum += term *= -x * x / (k * (k - 1));
    return sum;
}

constexpr long double tanPi(long long num, long long den) {
    return sinPi(num, den) / cosPi(num, den);
}

constexpr long double atan(long double x) {
    if (x < 0) return -atan(-x);
    if (x > 1) return kPi / 2 - atan(1 / x);
    // Two halvings of the angle bring the argument below 0.2.
    for (int i = 0; i < 2; ++i) x = x / (1 + sqrt(1 + x * x));
    long double power = x, sum = 0;
    for (int k = 1; k < 60; k += 2, power *= -x * x) sum += power / k;
    return 4 * sum;
}

// The table whose entry k is rule(k), converted to T.
template <typename T, std::size_t count, typename Rule>
consteval std::array<T, count> makeTable(Rule rule) {
    std::array<T, count> table{};
    for (std::size_t k = 0; k < count; ++k) table[k] = static_cast<T>(rule(static_cast<int>(k)));
    return table;
}

}  // namespace qorac::constmath
