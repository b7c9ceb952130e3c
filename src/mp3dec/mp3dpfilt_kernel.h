// The 32-band synthesis in vectors of one instruction level; see frame/levels.h.

// Stores 16 integers, of which `even` gives the even and `odd` the odd ones.
static QORAC_INLINE void storeInterleaved(Qor32s* p, const Real8& even, const Real8& odd) {
    const Bits8 v = (roundToBits(even) & 0xFFFFFFFFu) | (roundToBits(odd) << 32);
    __builtin_memcpy(p, &v, sizeof v);
}

// One slot of the ring, 32 values in the order of slotIndex, from 32 sub-band samples.
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
        even += lanesOf(mulEven(u, load<V>(d.value + lane)));
        odd += lanesOf(mulEven(uOdd, load<V>(d.oddToEven + lane)));
    }
    QORAC_INLINE void subtract(const V& u, const V& uOdd, const WindowRow& d, int lane) {
        even -= lanesOf(mulEven(u, load<V>(d.value + lane)));
        odd -= lanesOf(mulEven(uOdd, load<V>(d.oddToEven + lane)));
    }
    QORAC_INLINE V result() const { return narrow<32>(wideOf(even), wideOf(odd)); }
};

// The sums for outputs 1 to 31, before rounding: lane e of the low sums is output 16 - e, lane e of
// the high ones, from 1 on, output 16 + e.
static QORAC_INLINE void windowSums(const Qor32s* pVBuffer, int position, Qor32s* output) {
    constexpr int lanes = kLanes<Vec>;
    for (int lane = 0; lane < 16; lane += lanes) {
        HighSum<Vec> low, high;
        for (int i = 0; i < 8; ++i) {
            // Slots of even age give their second half, those of odd age their first.
            const Vec u = load<Vec>(slotOfAge(pVBuffer, position, i) + (i & 1 ? 0 : 16) + lane);
            const Vec v =
                load<Vec>(slotOfAge(pVBuffer, position, 15 - i) + (i & 1 ? 16 : 0) + lane);
            const Vec uOdd = oddToEven(u), vOdd = oddToEven(v);
            low.add(u, uOdd, kWindow.below[i], lane);
            low.subtract(v, vOdd, kWindow.above[i], lane);
            if (i & 1) {
                high.add(u, uOdd, kWindow.above[i], lane);
                high.add(v, vOdd, kWindow.below[i], lane);
            } else {
                high.subtract(u, uOdd, kWindow.above[i], lane);
                high.subtract(v, vOdd, kWindow.below[i], lane);
            }
        }
        store(output + 16 + lane, high.result());
        store(output + 17 - lane - lanes, reverse(low.result()));  // output 16 is a low sum
    }
}

// 32 samples to every second place, the places between left alone.
static QORAC_INLINE void storeEverySecond(Qor16s* p, const Qor16s* pcm) {
#if QORAC_LEVEL >= 4
    for (int i = 0; i < 32; i += 16) {
        const __m512i spread = _mm512_maskz_cvtepu16_epi32(
            __mmask16(-1), _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pcm + i)));
        _mm512_mask_storeu_epi16(p + 2 * i, 0x55555555u, spread);
    }
#else
    for (int i = 0; i < 32; ++i) p[2 * i] = pcm[i];
#endif
}

static void synthesize(const Qor32s* pSrcY, Qor16s* pDstAudioOut, Qor32s* pVBuffer, int position,
                       int stride) {
    ownpmp3_DCTFwd_32_32s(pSrcY, pVBuffer + kSlot * position);
    alignas(64) Qor32s output[32];
    windowSums(pVBuffer, position, output);
    output[0] = firstOutput(pVBuffer, position);
    alignas(64) Qor16s pcm[32];
    for (int i = 0; i < 32; ++i) pcm[i] = roundToPcm(output[i]);
    if (stride == 1)
        __builtin_memcpy(pDstAudioOut, pcm, sizeof pcm);
    else
        storeEverySecond(pDstAudioOut, pcm);
}
