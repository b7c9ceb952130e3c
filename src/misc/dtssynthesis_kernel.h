// One slot of the DTS synthesis filter at one instruction level; included by frame/levels.h only.

#include "transform/vectors.h"

constexpr int kWide = QORAC_LEVEL >= 4 ? 16 : QORAC_LEVEL >= 3 ? 8 : 4;
using Reals = Lanes<Qor32f, kWide>;

// Stores and loads values 31 - i, 30 - i, ... of 32.
static QORAC_INLINE void storeFalling(Qor32f* p, int i, Reals v) {
    store(p + 2 * kHalf - kWide - i, reversedLanes(v));
}
static QORAC_INLINE Reals loadFalling(const Qor32f* p, int i) {
    return reversedLanes(load<Reals>(p + 2 * kHalf - kWide - i));
}

// Values i, i + 1, ... of the transform with the given rows.
static QORAC_INLINE Reals transform(const CosineRows& rows, const Qor32f* x, int i) {
    Reals sum[4] = {};
    for (int m = 0; m < kHalf; m += 4)
        for (int u = 0; u < 4; ++u) sum[u] += x[m + u] * load<Reals>(rows[m + u].data() + i);
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

static QORAC_INLINE void modulate(const Qor32f* s, Qor32f* h) {
    Qor32f a[kHalf], p[kHalf];
    a[0] = s[0];
    for (int k = 1; k < kHalf; ++k) a[k] = s[2 * k - 1] + s[2 * k];
    for (int k = 0; k < kHalf; ++k) p[k] = s[2 * k] + s[2 * k + 1];
    for (int k = 0; k < kHalf; k += kWide) {
        const Reals d = transform(kCosines3, a, k), e = transform(kCosines4, p, k);
        const Reals sum = (e + d) * load<Reals>(dts_raCosMod.data() + k);
        const Reals difference = (e - d) * load<Reals>(dts_raCosMod.data() + kHalf + k);
        store(h + k, sum - difference);
        store(h + kHalf + k, sum + difference);
    }
}

// Every second vector of the history goes into the 32 samples of this call, which end what the call
// before has begun, and into the first part of the next 32.
static QORAC_INLINE void applyWindow(const Qor32f* r, const Qor32f* h, Qor32f* pAcc, Qor32f* pDst) {
    Qor32f* const pNext = pAcc + 2 * kHalf;
    for (int i = 0; i < kHalf; i += kWide) {
        Reals rising = load<Reals>(pAcc + i), falling = loadFalling(pAcc, i);
        Reals nextRising{}, nextFalling{};
        for (int j = i; j < kHistory; j += 4 * kHalf) {
            const Reals low = load<Reals>(h + j), high = load<Reals>(h + j + kHalf);
            rising += load<Reals>(r + j) * low;
            falling -= load<Reals>(r + j + kHalf) * low;
            nextRising -= load<Reals>(r + j + 2 * kHalf) * high;
            nextFalling -= load<Reals>(r + j + 3 * kHalf) * high;
        }
        store(pDst + i, rising);
        storeFalling(pDst, i, falling);
        store(pNext + i, nextRising);
        storeFalling(pNext, i, nextFalling);
    }
    for (int i = 0; i < 2 * kHalf; i += kWide) store(pAcc + i, load<Reals>(pNext + i));
}

static void synthesize(const Qor32f* pSrc, Qor32f* pDst, const Qor32f* r, Qor32f* h, Qor32f* pAcc) {
    modulate(pSrc, h);
    applyWindow(r, h, pAcc, pDst);
    for (int i = kHistory - 2 * kHalf - kWide; i >= 0; i -= kWide)
        store(h + 2 * kHalf + i, load<Reals>(h + i));
}
