#include "frame/constmath.h"

#include <cmath>

#include "gmock/gmock.h"

namespace qorac {
namespace {

constexpr int kCount = 257;

// Bounds each entry's distance from the function of <cmath> at the same argument, relative to it.
template <typename Argument, typename Function>
void expectNear(const std::array<long double, kCount>& table, Argument argument, Function exact,
                const char* name, long double units = 16) {
    for (int k = 0; k < kCount; ++k) {
        const long double expected = exact(argument(k));
        const long double bound = units * 0x1p-63L * std::fabs(expected);
        EXPECT_LE(std::fabs(table[k] - expected), bound) << name << " at " << argument(k);
    }
}

template <typename Rule>
constexpr std::array<long double, kCount> tabulate(Rule rule) {
    return constmath::makeTable<long double, kCount>(rule);
}

// 2^-30 to 2^34 in quarter octaves, off the powers of two.
constexpr long double wide(int k) {
    long double x = 1.0L + (k % 4) * 0.2701L;
    for (int i = 0; i < k / 4; ++i) x *= 2;
    return x / 1073741824;
}
constexpr long double line(int k) { return (k - 128) * 0.3703125L; }
constexpr long double angle(int k) { return (k - 128) * constmath::kPi / 36; }

// Built by the compiler, of which this is a test as well.
constexpr auto sqrts = tabulate([](int k) { return constmath::sqrt(wide(k)); });
constexpr auto cbrts = tabulate([](int k) { return constmath::cbrt(wide(k)); });
constexpr auto negative = tabulate([](int k) { return constmath::cbrt(-wide(k)); });
constexpr auto pow43s = tabulate([](int k) { return constmath::pow43(wide(k)); });
constexpr auto atans = tabulate([](int k) { return constmath::atan(line(k)); });
constexpr auto exps = tabulate([](int k) { return constmath::exp(line(k)); });
constexpr auto tens = tabulate([](int k) { return constmath::exp10(line(k) / 8); });
constexpr auto logs = tabulate([](int k) { return constmath::log(wide(k)); });
constexpr auto powers = tabulate([](int k) { return constmath::pow(wide(k), 0.75L); });
constexpr auto sines = tabulate([](int k) { return constmath::sinPi(k - 128, 36); });
constexpr auto cosines = tabulate([](int k) { return constmath::cosPi(k - 128, 36); });
constexpr auto reversed = tabulate([](int k) { return constmath::sinPi(k - 128, -36); });
constexpr auto tangents = tabulate([](int k) { return constmath::tanPi(2 * k - 257, 72); });
constexpr auto quarters = tabulate([](int k) { return constmath::exp2Quarter(k - 128); });

TEST(ConstMath, ElementaryFunctions) {
    expectNear(
        sqrts, wide, [](long double x) { return std::sqrt(x); }, "sqrt");
    expectNear(
        cbrts, wide, [](long double x) { return std::cbrt(x); }, "cbrt");
    expectNear(
        negative, wide, [](long double x) { return -std::cbrt(x); }, "cbrt of negative");
    expectNear(
        pow43s, wide, [](long double x) { return x * std::cbrt(x); }, "pow43");
    expectNear(
        atans, line, [](long double x) { return std::atan(x); }, "atan");
    // The argument's reduction costs absolute precision in units of the argument.
    expectNear(
        exps, line, [](long double x) { return std::exp(x); }, "exp", 128);
    expectNear(
        tens, line, [](long double x) { return std::pow(10.0L, x / 8); }, "exp10", 128);
    expectNear(
        logs, wide, [](long double x) { return std::log(x); }, "log", 64);
    expectNear(
        powers, wide, [](long double x) { return std::pow(x, 0.75L); }, "pow", 128);
}

// EXPECT_NEAR would compare doubles.
void expectWithin(long double value, long double expected, long double bound, int k) {
    EXPECT_LE(std::fabs(value - expected), bound) << k;
}

TEST(ConstMath, AnglesOnEveryOctant) {
    for (int k = 0; k < kCount; ++k) {
        expectWithin(sines[k], std::sin(angle(k)), 0x1p-60L, k);
        expectWithin(cosines[k], std::cos(angle(k)), 0x1p-60L, k);
        EXPECT_EQ(reversed[k], -sines[k]) << k;
        const long double tangent = std::tan((2 * k - 257) * constmath::kPi / 72);
        expectWithin(tangents[k], tangent, 0x1p-58L * (1 + tangent * tangent), k);
        expectWithin(sines[k] * sines[k] + cosines[k] * cosines[k], 1, 0x1p-61L, k);
    }
    static_assert(constmath::sinPi(1, 6) == 0.5L && constmath::sinPi(0, 5) == 0);
    static_assert(constmath::cosPi(1, 2) == 0 && constmath::cosPi(3, 3) == -1);
    static_assert(constmath::sinPi(1000000000001, 2) == 1);  // the reduction is exact
}

TEST(ConstMath, PowersOfTwoInQuarters) {
    for (int k = 0; k < kCount; ++k) {
        const long double expected = std::exp2((k - 128) / 4.0L);
        expectWithin(quarters[k], expected, 4 * 0x1p-63L * expected, k);
        if (k % 4 == 0) {
            EXPECT_EQ(quarters[k], expected);
        }
    }
    static_assert(constmath::scale2(3, 70) == 3541774862152233910272.0L);
    static_assert(constmath::scale2(3, -2) == 0.75L);
}

TEST(ConstMath, RoundingAndConstants) {
    static_assert(constmath::round(2.5L) == 3 && constmath::round(-2.5L) == -3);
    static_assert(constmath::round(2.4999L) == 2 && constmath::round(-0.4L) == 0);
    static_assert(constmath::abs(-1.5L) == 1.5L && constmath::abs(2) == 2);
    static_assert(constmath::sqrt(0) == 0 && constmath::cbrt(0) == 0 && constmath::pow(0, 2) == 0);
    static_assert(constmath::cbrt(27) == 3 && constmath::sqrt(144) == 12);
    EXPECT_EQ(constmath::kPi, std::acos(-1.0L));
    EXPECT_EQ(constmath::kLn2, std::log(2.0L));
    EXPECT_EQ(constmath::kLn10, std::log(10.0L));
}

}  // namespace
}  // namespace qorac
