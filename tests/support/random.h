// Seeded random numbers: the same sequence in every run.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace qorac::test {

class Random {
  public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    // Uniform in low to high, both included.
    std::int64_t integer(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(engine_);
    }
    double real(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(engine_);
    }
    bool chance(double probability) { return real(0, 1) < probability; }

    // An integer whose bit length is uniform in 0 to maxBits, with a random sign: small and large
    // magnitudes are equally likely.
    std::int64_t wideInteger(int maxBits) {
        const std::int64_t bits = integer(0, maxBits);
        const std::int64_t value =
            bits == 0 ? 0 : integer(std::int64_t{1} << (bits - 1), (std::int64_t{1} << bits) - 1);
        return chance(0.5) ? value : -value;
    }

    template <typename T>
    std::vector<T> integers(std::size_t count, std::int64_t low, std::int64_t high) {
        std::vector<T> values(count);
        for (T& value : values) value = static_cast<T>(integer(low, high));
        return values;
    }
    template <typename T>
    std::vector<T> reals(std::size_t count, double low, double high) {
        std::vector<T> values(count);
        for (T& value : values) value = static_cast<T>(real(low, high));
        return values;
    }

  private:
    std::mt19937 engine_;
};

}  // namespace qorac::test
