// Vectors of floats for the float FFT and what stands on it, at one instruction level: shuffles by
// name. Included by kernel files only, in a namespace of their own.

#include "transform/vectors.h"

template <int lanes>
using Vec = Lanes<float, lanes>;

// Lanes of the widest vector of this level.
constexpr int kMaxLanes = QORAC_LEVEL >= 4 ? 16 : QORAC_LEVEL >= 3 ? 8 : 4;

// Within each quarter of four lanes, units of `unit` lanes of a and b in turn, from the lower or
// the upper half of the quarter.
template <int lanes, int unit, bool upper>
struct UnpackQuarters {
    static constexpr int at(int i) {
        const int quarter = i / 4, inner = i % 4;
        const bool fromB = inner / unit % 2 == 1;
        const int source = inner / (2 * unit) * unit + inner % unit + (upper ? 2 : 0);
        return 4 * quarter + source + (fromB ? lanes : 0);
    }
};

// Real and imaginary parts exchanged.
template <int>
struct SwapPairs {
    static constexpr int at(int i) { return i ^ 1; }
};
template <typename V>
QORAC_INLINE V swapPairs(V z) {
    return shuffle<SwapPairs<kLanes<V>>>(z, z);
}

// Units of `unit` lanes of a and b in turn, from the lower or the upper half of both.
template <int lanes, int unit, bool upper>
struct Interleave {
    static constexpr int at(int i) {
        const bool fromB = i / unit % 2 == 1;
        return i / (2 * unit) * unit + i % unit + (upper ? lanes / 2 : 0) + (fromB ? lanes : 0);
    }
};

// Even or odd elements of a followed by b.
template <int parity>
struct EverySecond {
    static constexpr int at(int i) { return 2 * i + parity; }
};

// The same within each quarter: lane i holds element pairOrder<lanes>(i) of the sequence.
template <int lanes, int parity>
struct EverySecondInQuarter {
    static constexpr int at(int i) {
        return i / 4 * 4 + i % 2 * 2 + parity + (i % 4 >= 2 ? lanes : 0);
    }
};
template <int lanes>
constexpr int pairOrder(int i) {
    return i / 4 * 2 + i % 2 + (i % 4 >= 2 ? lanes / 2 : 0);
}

// Lanes in the order of pairOrder, of a alone.
template <int lanes>
struct PairOrder {
    static constexpr int at(int i) { return pairOrder<lanes>(i); }
};

// The pattern of vectors whose element i stands in lane Order::at(i).
template <typename Pattern, typename Order, int lanes>
struct Ordered {
    static constexpr int at(int i) {
        return Order::at(Pattern::at(i) % lanes) + Pattern::at(i) / lanes * lanes;
    }
};
struct NaturalOrder {
    static constexpr int at(int i) { return i; }
};

// The lanes whose number has (upper) or lacks the bit, of a and of b in turn.
template <int lanes, int bit, bool upper>
struct LanesWithBit {
    static constexpr int at(int i) {
        return ((i & bit) != 0 ? lanes : 0) + (upper ? i | bit : i & ~bit);
    }
};

// Exchanges a bit of the lane number with the bit of the row number in which a and b differ.
template <int bit, typename V>
QORAC_INLINE void exchange(V& a, V& b) {
    const V low = shuffle<LanesWithBit<kLanes<V>, bit, false>>(a, b);
    b = shuffle<LanesWithBit<kLanes<V>, bit, true>>(a, b);
    a = low;
}

// Even or odd elements of a followed by b, from the last to the first.
template <int lanes, int parity>
struct EverySecondReversed {
    static constexpr int at(int i) { return 2 * (lanes - 1 - i) + parity; }
};

// Elements of a and b in turn from the last to the first, the last half of all (lower) or the
// first.
template <int lanes, bool upper>
struct InterleaveReversed {
    static constexpr int at(int i) {
        return lanes - 1 - i / 2 - (upper ? lanes / 2 : 0) + (i % 2 == 1 ? lanes : 0);
    }
};

template <typename V, std::size_t... lane>
QORAC_INLINE auto joined(V low, V high, std::index_sequence<lane...>) {
    return __builtin_shufflevector(low, high, lane...);
}

// Runs of four floats that lie `stride` floats apart, one in each quarter.
template <typename V>
QORAC_INLINE V loadQuarters(const float* p, [[maybe_unused]] std::ptrdiff_t stride) {
    constexpr int lanes = kLanes<V>;
    if constexpr (lanes > 4) {
        using Half = Vec<lanes / 2>;
        return joined(loadQuarters<Half>(p, stride),
                      loadQuarters<Half>(p + lanes / 8 * stride, stride),
                      std::make_index_sequence<lanes>());
    } else {
        return load<V>(p);
    }
}

// Quarters of even (odd) number of a, then those of b.
template <int parity>
struct EverySecondQuarter {
    static constexpr int at(int i) { return (2 * (i / 4) + parity) * 4 + i % 4; }
};

// Row i becomes quarter i of the rows 0 to 3.
template <typename V>
QORAC_INLINE void transposeQuarters(V& r0, V& r1, V& r2, V& r3) {
    const V even01 = shuffle<EverySecondQuarter<0>>(r0, r1);
    const V odd01 = shuffle<EverySecondQuarter<1>>(r0, r1);
    const V even23 = shuffle<EverySecondQuarter<0>>(r2, r3);
    const V odd23 = shuffle<EverySecondQuarter<1>>(r2, r3);
    r0 = shuffle<EverySecondQuarter<0>>(even01, even23);
    r2 = shuffle<EverySecondQuarter<1>>(even01, even23);
    r1 = shuffle<EverySecondQuarter<0>>(odd01, odd23);
    r3 = shuffle<EverySecondQuarter<1>>(odd01, odd23);
}

// Transposes the square of as many rows as a vector has lanes.
template <typename V>
QORAC_INLINE void transpose(V* row) {
    constexpr int n = kLanes<V>;
    // 4 by 4 squares within the quarters
    for (int i = 0; i < n; i += 4) {
        const V a = shuffle<UnpackQuarters<n, 1, false>>(row[i], row[i + 1]);
        const V b = shuffle<UnpackQuarters<n, 1, true>>(row[i], row[i + 1]);
        const V c = shuffle<UnpackQuarters<n, 1, false>>(row[i + 2], row[i + 3]);
        const V d = shuffle<UnpackQuarters<n, 1, true>>(row[i + 2], row[i + 3]);
        row[i] = shuffle<UnpackQuarters<n, 2, false>>(a, c);
        row[i + 1] = shuffle<UnpackQuarters<n, 2, true>>(a, c);
        row[i + 2] = shuffle<UnpackQuarters<n, 2, false>>(b, d);
        row[i + 3] = shuffle<UnpackQuarters<n, 2, true>>(b, d);
    }
    // the quarters among the rows
    if constexpr (n == 8) {
        for (int i = 0; i < 4; ++i) {
            const V low = row[i], high = row[i + 4];
            row[i] = shuffle<Interleave<n, 4, false>>(low, high);
            row[i + 4] = shuffle<Interleave<n, 4, true>>(low, high);
        }
    }
    if constexpr (n == 16) {
        for (int i = 0; i < 4; ++i) transposeQuarters(row[i], row[i + 4], row[i + 8], row[i + 12]);
    }
}

// Calls body with the constants 0 to count - 1.
template <typename Body, std::size_t... i>
QORAC_INLINE void unrolled([[maybe_unused]] Body body, std::index_sequence<i...>) {
    (body(std::integral_constant<int, i>()), ...);
}
template <int count, typename Body>
QORAC_INLINE void unrolled(Body body) {
    unrolled(body, std::make_index_sequence<count>());
}
