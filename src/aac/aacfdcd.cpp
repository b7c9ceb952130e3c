// Stereo and noise tools of AAC (ISO/IEC 13818-7 and 14496-3): M/S, intensity and perceptual noise
// substitution on the spectrum in Q3. M/S and intensity take the grouped order, in which a band of
// a group is one run.
#include "aac/aacfdcd.h"

#include "aac/aacbands.h"
#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/status.h"

namespace qorac {
namespace {

constexpr Qor8u kNoiseBook = 13;
constexpr Qor8u kOutOfPhaseBook = 14;
constexpr Qor8u kInPhaseBook = 15;

// The bands of a grouped spectrum.
struct Grouping {
    Qor32s numWinGrp;
    const Qor32s* pWinGrpLen;
    Qor32s maxSfb, samplingRateIndex, winLen;
};

QorStatus checkWindows(const Grouping& grouping) {
    if (grouping.winLen != 128 && grouping.winLen != 1024) return qorStsAacWinLenErr;
    if (outside(grouping.numWinGrp, 1, grouping.winLen == 128 ? 8 : 1)) return qorStsAacWinGrpErr;
    if (outside(grouping.maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(grouping.samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    return qorStsNoErr;
}

bool exceedsBands(const Grouping& grouping) {
    return grouping.maxSfb > bandsOf(grouping.samplingRateIndex, grouping.winLen).count;
}

// Calls visit(group, band, index of the band in arrays of maxSfb per group, first line, lines).
template <typename Visit>
QORAC_INLINE void forEachBand(const Grouping& grouping, Visit visit) {
    const Bands bands = bandsOf(grouping.samplingRateIndex, grouping.winLen);
    int base = 0;
    for (int g = 0; g < grouping.numWinGrp; ++g) {
        const int windows = grouping.pWinGrpLen[g];
        for (int b = 0; b < grouping.maxSfb; ++b)
            visit(g, b, g * grouping.maxSfb + b, base + bands.offset[b] * windows,
                  (bands.offset[b + 1] - bands.offset[b]) * windows);
        base += windows * grouping.winLen;
    }
}

// --- M/S --------------------------------------------------------------------------------------

QORAC_CLONES void decodeMs(Qor32s* left, Qor32s* right, Qor32s maskPresent, const Qor8u (*used)[60],
                           Qor8u* sfbCb, const Grouping& grouping) {
    forEachBand(grouping, [&](int g, int b, int index, int first, int lines) QORAC_INLINE_BODY {
        Qor8u& book = sfbCb[index];
        const bool masked = maskPresent == 1 && used[g][b] != 0;
        if (book == kOutOfPhaseBook || book == kInPhaseBook) {
            if (masked) book ^= 1;
        } else if (book != kNoiseBook && (masked || maskPresent == 2)) {
            for (int i = first; i < first + lines; ++i) {
                const Qor32s mid = left[i], side = right[i];
                left[i] = wrapAdd(mid, side);
                right[i] = wrapSub(mid, side);
            }
        }
    });
}

// --- intensity --------------------------------------------------------------------------------

// 2^(-(i + 1)/4) in Q31.
constexpr auto _pAacIsSqrt14_32s = constmath::makeTable<Qor32s, 11>([](int i) {
    return constmath::round(constmath::scale2(constmath::exp2Quarter(-(i + 1)), 31));
});

// right = sign * left * 2^(-position / 4), by a product that keeps the high 32 bits and a shift on
// the side of it that keeps the precision.
QORAC_INLINE void ownsDecodeIsCore_AAC(const Qor32s* left, Qor32s* right, int len, int position,
                                       bool negative) {
    int factor, up = 0, down = 0;
    if (position < -3) {
        factor = 3 - (-position & 3);
        up = (-position >> 2) + 2;
    } else if (position < 8) {
        factor = position + 3;
        up = 2;
    } else {
        factor = (position & 3) + 3;
        down = (position >> 2) - 2;
    }
    const Qor32s f = _pAacIsSqrt14_32s[factor];
    up &= 31;
    down &= 31;
    for (int i = 0; i < len; ++i) {
        const Qor32s value = mulHigh(wrapShl(left[i], up), f) >> down;
        right[i] = negative ? wrapNeg(value) : value;
    }
}

QORAC_CLONES void decodeIs(const Qor32s* left, Qor32s* right, const Qor16s* position,
                           const Qor8u* sfbCb, const Grouping& grouping) {
    forEachBand(grouping, [&](int, int, int index, int first, int lines) QORAC_INLINE_BODY {
        if (sfbCb[index] == kOutOfPhaseBook || sfbCb[index] == kInPhaseBook)
            ownsDecodeIsCore_AAC(left + first, right + first, lines, position[index],
                                 sfbCb[index] == kOutOfPhaseBook);
    });
}

// --- noise ------------------------------------------------------------------------------------

// 2^64 / 10^10 / sqrt(n) for a band of n lines at n - 1: it keeps the sum of squares of n raw
// values below 2^31 when each loses 33 bits.
constexpr auto _Tab_NormEnergy = constmath::makeTable<Qor32s, 96>([](int i) {
    return constmath::round(constmath::scale2(1, 64) / 1e10L / constmath::sqrt(i + 1));
});

// 2^(i/4) in Q30.
constexpr Qor32s _TAB_PowQuater[4] = {0x40000000, 0x4C1BF828, 0x5A82799A, 0x6BA27E65};

// For x from 0.5 to 1, 0.5 / sqrt(x) is about [0] x^2 / 2 + [1] x + [2], in Q14.
constexpr Qor64s _TAB_InvSqrt[3] = {13563, -16760, 18211};
constexpr Qor32s kSqrt2 = 1518500249;  // Q30

// A band of unit noise to the energy 2^(s/2), Q31 to Q3.
QORAC_CLONES void scaleNoise(Qor32s* p, int len, Qor32s s) {
    const Qor32s power = wrapShl(1, (s >> 2) & 31);
    const Qor32s factor = mulShift(power, _TAB_PowQuater[s & 3], 20);  // 2^(s/4) in Q10
    for (int i = 0; i < len; ++i) p[i] = mulShift(p[i], factor, 38);
}

// The arguments that the two noise primitives share.
struct NoiseBands {
    Qor32s* pSrcDst;
    Qor32s* pLtpFlag;
    const Qor8u* pSfbCb;
    const Qor16s* pScaleFactor;
    Grouping grouping;
    Qor32s* pRandomSeed;
};

QorStatus checkNoise(const NoiseBands& noise) {
    const Grouping& grouping = noise.grouping;
    if (anyNull(noise.pSrcDst, noise.pLtpFlag, noise.pSfbCb, noise.pScaleFactor,
                grouping.pWinGrpLen, noise.pRandomSeed))
        return qorStsNullPtrErr;
    if (outside(grouping.maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(grouping.numWinGrp, 1, 8)) return qorStsAacWinGrpErr;
    if (outside(grouping.samplingRateIndex, 0, 16)) return qorStsAacSampRateIdxErr;
    if (grouping.winLen != 128 && grouping.winLen != 1024) return qorStsAacWinLenErr;
    return qorStsNoErr;
}

// Fills the bands of code book 13. generate(band, group, index, p, n) makes unit noise.
//
// The walk fits long blocks: behind each window the spectrum moves on by the start of its last
// band, and the scale factors by a row.
template <typename Generate>
void substituteNoise(const NoiseBands& noise, Generate generate) {
    const Grouping& grouping = noise.grouping;
    if (grouping.maxSfb == 0 || grouping.samplingRateIndex > 11) return;  // no bands
    const Bands bands = bandsOf(grouping.samplingRateIndex, grouping.winLen);
    const int maxSfb = grouping.maxSfb < bands.count ? grouping.maxSfb : bands.count;
    const Qor16s* pScaleFactor = noise.pScaleFactor;
    Qor32s* window = noise.pSrcDst;
    for (int g = 0; g < grouping.numWinGrp; ++g) {
        for (int w = 0; w < grouping.pWinGrpLen[g]; ++w) {
            for (int b = 0; b < maxSfb; ++b) {
                const int index = g * grouping.maxSfb + b;
                if (noise.pSfbCb[index] != kNoiseBook) continue;
                if (grouping.numWinGrp == 1) noise.pLtpFlag[b + 1] = 0;
                Qor32s* const p = window + bands.offset[b];
                const int lines = bands.offset[b + 1] - bands.offset[b];
                generate(g, b, index, p, lines);
                scaleNoise(p, lines, pScaleFactor[b]);
            }
            pScaleFactor += grouping.maxSfb;
            window += bands.offset[maxSfb - 1];
        }
    }
}

}  // namespace

// --- the generator ----------------------------------------------------------------------------

int ownsNorm32_AAC(Qor32u* pValue) {
    int count = 0;
    for (; *pValue != 0 && *pValue < 1u << 30; *pValue <<= 1) ++count;
    return count;
}

Qor32s ownsInvSqrt_AAC(Qor32s u) {
    const Qor64s square = (Qor64s(u) * u) >> 32;
    return Qor32s(
        (_TAB_InvSqrt[0] * square + _TAB_InvSqrt[1] * u + _TAB_InvSqrt[2] * (Qor64s(1) << 31)) >>
        14);
}

void ownsGenerateRandVec_AAC(Qor32s* pDst, int n, Qor32s* pSeed) {
    const Qor32s k = _Tab_NormEnergy[n - 1];
    Qor32u seed = Qor32u(*pSeed), sum = 0;
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525 + 1013904223;
        pDst[i] = mulShift(Qor32s(seed), k, 30);
        sum += Qor32u((Qor64s(pDst[i]) * pDst[i]) >> 33);
    }
    *pSeed = Qor32s(seed);

    const int doublings = ownsNorm32_AAC(&sum);
    const Qor32s inverse = ownsInvSqrt_AAC(Qor32s(sum));
    const int shift = (doublings >> 1) - 1;
    for (int i = 0; i < n; ++i) {
        Qor64s t = (Qor64s(pDst[i]) * inverse) >> 30;
        t = shift < 1 ? t >> -shift : t << shift;
        if (doublings & 1) t = Qor64s(Qor64u(t) * kSqrt2) >> 30;
        pDst[i] = Qor32s(t);
    }
}

}  // namespace qorac

using namespace qorac;

QorStatus qorsDecodeMsStereo_AAC_32s_I(Qor32s* pSrcDstL, Qor32s* pSrcDstR, Qor32s ms_mask_present,
                                       Qor8u (*pMsUsed)[60], Qor8u* pSfbCb, Qor32s numWinGrp,
                                       const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                       Qor32s samplingRateIndex, Qor32s winLen) {
    const Grouping grouping{numWinGrp, pWinGrpLen, maxSfb, samplingRateIndex, winLen};
    if (anyNull(pSrcDstL, pSrcDstR, pMsUsed, pSfbCb, pWinGrpLen)) return qorStsNullPtrErr;
    if (const QorStatus status = checkWindows(grouping)) return status;
    if (outside(ms_mask_present, 1, 2)) return qorStsAacMsMaskErr;
    if (exceedsBands(grouping)) return qorStsAacMaxSfbErr;
    decodeMs(pSrcDstL, pSrcDstR, ms_mask_present, pMsUsed, pSfbCb, grouping);
    return qorStsNoErr;
}

QorStatus qorsDecodeIsStereo_AAC_32s(const Qor32s* pSrcL, Qor32s* pDstR, const Qor16s* pScaleFactor,
                                     const Qor8u* pSfbCb, Qor32s numWinGrp,
                                     const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                     Qor32s samplingRateIndex, Qor32s winLen) {
    const Grouping grouping{numWinGrp, pWinGrpLen, maxSfb, samplingRateIndex, winLen};
    if (anyNull(pSrcL, pDstR, pScaleFactor, pSfbCb, pWinGrpLen)) return qorStsNullPtrErr;
    if (const QorStatus status = checkWindows(grouping)) return status;
    if (exceedsBands(grouping)) return qorStsAacMaxSfbErr;
    decodeIs(pSrcL, pDstR, pScaleFactor, pSfbCb, grouping);
    return qorStsNoErr;
}

QorStatus qorsDecodePNS_AAC_32s(Qor32s* pSrcDst, Qor32s* pLtpFlag, const Qor8u* pSfbCb,
                                const Qor16s* pScaleFactor, Qor32s maxSfb, Qor32s numWinGrp,
                                const Qor32s* pWinGrpLen, Qor32s samplingRateIndex, Qor32s winLen,
                                Qor32s* pRandomSeed) {
    const NoiseBands noise{pSrcDst,
                           pLtpFlag,
                           pSfbCb,
                           pScaleFactor,
                           {numWinGrp, pWinGrpLen, maxSfb, samplingRateIndex, winLen},
                           pRandomSeed};
    if (const QorStatus status = checkNoise(noise)) return status;
    substituteNoise(noise, [&](int, int, int, Qor32s* p, int lines) {
        ownsGenerateRandVec_AAC(p, lines, pRandomSeed);
    });
    return qorStsNoErr;
}

QorStatus qorsDecodeMsPNS_AAC_32s(Qor32s* pSrcDst, Qor32s* pLtpFlag, const Qor8u* pSfbCb,
                                  const Qor16s* pScaleFactor, Qor32s maxSfb, Qor32s numWinGrp,
                                  const Qor32s* pWinGrpLen, Qor32s samplingRateIndex, Qor32s winLen,
                                  Qor32s* pRandomSeed, Qor32s channel, Qor8u (*pMsUsed)[60],
                                  Qor32s* pNoiseState) {
    const NoiseBands noise{pSrcDst,
                           pLtpFlag,
                           pSfbCb,
                           pScaleFactor,
                           {numWinGrp, pWinGrpLen, maxSfb, samplingRateIndex, winLen},
                           pRandomSeed};
    if (const QorStatus status = checkNoise(noise)) return status;
    substituteNoise(noise, [&](int g, int b, int index, Qor32s* p, int lines) {
        Qor32s* seed = pRandomSeed;
        Qor32s stored;
        if (channel == 0) {
            pNoiseState[index] = *pRandomSeed;
        } else if (channel == 1 && pMsUsed[g][b] == 1) {
            stored = pNoiseState[index];
            seed = &stored;
        }
        ownsGenerateRandVec_AAC(p, lines, seed);
    });
    return qorStsNoErr;
}
