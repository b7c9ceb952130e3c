// The 32-band synthesis in vectors of one instruction level; see frame/levels.h.

// Stores 16 integers, of which `even` gives the even and `odd` the odd ones.
static QORAC_INLINE void storeInterleaved(Qor32s* p, const Real8& even, const Real8& odd) {
    const Bits8 v = (roundToBits(even) & 0xFFFFFFFFu) | (roundToBits(odd) << 32);
    __builtin_memcpy(p, &v, sizeof v);
}

// One slot of the ring, 32 values in the order of SlotOrder, from 32 sub-band samples.
//
// C[i] is the sum of y[k] cos(pi i (2k + 1) / 64). For odd i the samples enter as y[k] - y[31 - k],
// for even i as y[k] + y[31 - k], and these once more by halves.
static QORAC_INLINE void ownpmp3_DCTFwd_32_32s(const Qor32s* y, Qor32s* slot) {
    const Real8 y0 = convertInt8(y), y1 = convertInt8(y + 8);
    const Real8 y2 = reverse(convertInt8(y + 16)), y3 = reverse(convertInt8(y + 24));
    const Real8 sum0 = y0 + y3, sum1 = reverse(y1 + y2);
    alignas(64) double difference[16], sumOfSums[8], differenceOfSums[8];
    const Real8 part[4] = {y0 - y3, y1 - y2, sum0 + sum1, sum0 - sum1};
    __builtin_memcpy(difference, part, sizeof difference);
    __builtin_memcpy(sumOfSums, part + 2, sizeof sumOfSums);
    __builtin_memcpy(differenceOfSums, part + 3, sizeof differenceOfSums);

    Real8 odd0{}, odd1{};
    for (int k = 0; k < 16; ++k) {
        odd0 += difference[k] * loadReal8(kCosines.odd[k]);
        odd1 += difference[k] * loadReal8(kCosines.odd[k] + 8);
    }
    Real8 four{}, two{};  // indices that 4 divides, and that only 2 divides
    for (int k = 0; k < 8; ++k) {
        four += sumOfSums[k] * loadReal8(kCosines.four[k]);
        two += differenceOfSums[k] * loadReal8(kCosines.two[k]);
    }
    storeInterleaved(slot, __builtin_shufflevector(four, two, 0, 8, 1, 9, 2, 10, 3, 11), odd0);
    storeInterleaved(slot + 16, __builtin_shufflevector(four, two, 4, 12, 5, 13, 6, 14, 7, 15),
                     odd1);
}

// The high halves of products with window values, summed up; even and odd lanes apart, each sum in
// the high half of its wide lane.
template <typename V>
struct HighSum {
    V even{}, odd{};

    QORAC_INLINE void add(const V& u, const V& uOdd, const WindowRow& d, int lane) {
        even += V(mulEven(u, load<V>(d.value + lane)));
        odd += V(mulEven(uOdd, load<V>(d.oddToEven + lane)));
    }
    QORAC_INLINE void subtract(const V& u, const V& uOdd, const WindowRow& d, int lane) {
        even -= V(mulEven(u, load<V>(d.value + lane)));
        odd -= V(mulEven(uOdd, load<V>(d.oddToEven + lane)));
    }
    QORAC_INLINE V result() const {
        using Wide = decltype(mulEven(even, odd));
        return narrow<32>(Wide(even), Wide(odd));
    }
};

// Lanes e of the sums for outputs 16 - e (low) and 16 + e (high), before rounding.
static QORAC_INLINE void windowSums(const Qor32s* pVBuffer, int position, Qor32s* low,
                                    Qor32s* high) {
    for (int lane = 0; lane < 16; lane += kLanes<Vec>) {
        HighSum<Vec> lowSum, highSum;
        for (int i = 0; i < 8; ++i) {
            // Slots of even age give their second half, those of odd age their first.
            const Vec u = load<Vec>(slotOfAge(pVBuffer, position, i) + (i & 1 ? 0 : 16) + lane);
            const Vec v =
                load<Vec>(slotOfAge(pVBuffer, position, 15 - i) + (i & 1 ? 16 : 0) + lane);
            const Vec uOdd = oddToEven(u), vOdd = oddToEven(v);
            lowSum.add(u, uOdd, kWindow.below[i], lane);
            lowSum.subtract(v, vOdd, kWindow.above[i], lane);
            if (i & 1) {
                highSum.add(u, uOdd, kWindow.above[i], lane);
                highSum.add(v, vOdd, kWindow.below[i], lane);
            } else {
                highSum.subtract(u, uOdd, kWindow.above[i], lane);
                highSum.subtract(v, vOdd, kWindow.below[i], lane);
            }
        }
        store(low + lane, lowSum.result());
        store(high + lane, highSum.result());
    }
}

static void synthesize(const Qor32s* pSrcY, Qor16s* pDstAudioOut, Qor32s* pVBuffer, int position,
                       int stride) {
    ownpmp3_DCTFwd_32_32s(pSrcY, pVBuffer + kSlot * position);
    alignas(64) Qor32s low[16], high[16];
    windowSums(pVBuffer, position, low, high);
    high[0] = low[0];
    low[0] = firstOutput(pVBuffer, position);
    for (int e = 0; e < 16; ++e) {
        pDstAudioOut[((16 - e) & 15) * stride] = roundToPcm(low[e]);
        pDstAudioOut[(16 + e) * stride] = roundToPcm(high[e]);
    }
}
