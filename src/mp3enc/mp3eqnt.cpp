// Quantization of one Layer III frame (ISO 11172-3 clause C.1.5.4): from lines in Q26 to quantized
// integers, scale factors, side information and the reservoir's new state.
//
// It is not the nested pair of loops that the standard's annex describes. The scale factors of a
// granule are set once, from the threshold ratio and the peak of each band; one search over the
// global gain then brings the granule into a window of bits. Noise is measured only to end that
// search early. All arithmetic is integer.
#include "mp3enc/mp3eqnt.h"

#include <algorithm>

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/pow43.h"
#include "frame/status.h"
#include "mp3enc/mp3emath.h"

namespace qorac {

namespace {

constexpr int kLines = 576;
constexpr int kLongCoded = 21;  // the bands that have scale factors
constexpr int kShortCoded = 12;
constexpr int kLowerBands = 11;     // long bands whose scale factors have slen1 bits
constexpr int kMaxPartBits = 4095;  // part2_3_length has 12 bits
constexpr Qor32s kTooLarge = 8192;  // no quantized value reaches it

// Share of the reservoir, Q15: short blocks in this frame, channels whose next block is short.
constexpr Qor16s ppBitResvAvailbitCoef[5][3] = {
    {13107, 6554, 3277},   {26214, 13107, 9830},  {29491, 22938, 13107},
    {29491, 26214, 19661}, {31130, 26214, 22938},
};

// The line at 16 kHz by sampling_frequency.
constexpr Qor32s _p16kHzLines_MPEG1_MP3[3] = {418, 384, 576};

// Threshold ratios, Q31, and the quantized peak that keeps the noise below such a threshold, as
// sixteenths of a gain index.
constexpr Qor32s _pPsyRatio2IxStatistics_MP3[20] = {
    374521148, 142163417, 74088186, 45311905, 30494268, 21904333, 16535624,
    12884902,  10307922,  8589935,  7086696,  6012954,  5153961,  4509716,
    3865471,   3435974,   3006477,  2791729,  2576980,  2147484,
};
constexpr Qor32s _pQStepMid_MP3[20] = {11,  91,  139, 174, 200, 223, 241, 257, 272, 285,
                                       296, 307, 317, 326, 334, 342, 349, 356, 363, 369};

// Gains of the upper long bands that preflag adds. The loop never sets it.
constexpr Qor8u _pPretab_MP3[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                    1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0};

// 2^(1/4), 2^(1/2), 2^(3/4) in Q29.
constexpr auto _Power2_1_Div_4_Q29_MP3 = constmath::makeTable<Qor32s, 3>(
    [](int k) { return constmath::round(constmath::scale2(constmath::exp2Quarter(k + 1), 29)); });

// k^(3/4) with the quantizer's rounding of ISO 11172-3: down, 0.4054 added.
constexpr int kBaseValues = 256;
constexpr auto _BaseValue_MP3 = constmath::makeTable<Qor32s, kBaseValues>(
    [](int k) { return constmath::sqrt(k * constmath::sqrt(k)) + 0.4054L; });

// The parabolas that continue the table: by octave from 513 on at entry 4.
constexpr Qor32s _PowerAQ21_MP3[12] = {4471310,   9581246,   16201271,   20373018,
                                       34403310,  77669483,  130802989,  220162688,
                                       370390985, 623045816, 1047960546, 1941318829};
constexpr Qor32s _PowerBQ31_MP3[12] = {825280880, 647125731, 544543270, 516649276,
                                       434432160, 324062684, 272471948, 229105831,
                                       192656354, 162004913, 136229718, 110668797};
constexpr Qor32s _PowerCQ40_MP3[12] = {1131424675, 348665810, 147092856, 141725722,
                                       59579710,   10978530,  4613194,   1938995,
                                       815290,     342796,    144130,    50463};

bool isShortBlock(const QorMP3SideInfo& side) { return side.block_type == 2; }

// Bands that carry scale factors.
int codedBands(const BandLayout& layout) { return layout.windows == 3 ? kShortCoded : kLongCoded; }

}  // namespace

// --- bit budget -------------------------------------------------------------------------------

void ownsGetFrameEstimatedBits_MP3(FrameEstimate* pEstimate, const QorMP3SideInfo* pSide,
                                   const QorMP3PsychoInfo* pPsyInfo,
                                   const QorMP3PsychoState* pPsyState, int granules, int channels,
                                   Qor32s meanBits) {
    const int count = granules * channels;
    int nShort = 0, nNext = 0;
    Qor32s total = 0;
    for (int i = 0; i < count; ++i) {
        const Qor32s pe = pPsyInfo[i].pe;
        if (isShortBlock(pSide[i])) {
            ++nShort;
            Qor32s root;  // 32 * sqrt(pe)
            ownsSqrt_Audio_32s(0, Qor32u(pe), &root);
            pEstimate->est[i] = Qor32s(std::min<Qor64s>((Qor64s(root) * 38) >> 5, 1800));
        } else {
            constexpr Qor64s kBitsPerEntropy = 203161;  // 3.1 in Q16
            pEstimate->est[i] = Qor32s(std::min<Qor64s>((pe * kBitsPerEntropy) >> 16, 1500));
        }
        total = wrapAdd(total, pEstimate->est[i]);
    }
    for (int c = 0; c < channels; ++c) nNext += pPsyState[c].blockType == 2;

    if (total > meanBits && total != 0) {
        const Qor32s factor = Qor32s(Qor64s(wrapShl(meanBits, 15)) / total);
        total = 0;
        for (int i = 0; i < count; ++i) {
            pEstimate->est[i] = wrapMul(factor, pEstimate->est[i]) >> 15;
            total = wrapAdd(total, pEstimate->est[i]);
        }
    }
    pEstimate->total = total;
    pEstimate->coef = ppBitResvAvailbitCoef[nShort][nNext];
}

void ownsGetGranuleMinMaxBits_MP3(GranuleWork* pWork, const FrameEstimate& estimate,
                                  const QorMP3BitReservoir& reservoir, Qor32s meanBits, int i,
                                  int remaining) {
    constexpr Qor32s kNearlyFull = 62259;  // 0.95 in Q16
    const Qor32s spare = wrapSub(meanBits, estimate.total);
    const Qor32s est = estimate.est[i];

    Qor32s lo = wrapSub(reservoir.bitsAvail, mulShift(reservoir.maxBits, kNearlyFull, 16));
    lo = wrapAdd(lo, wrapAdd(spare, est));
    if (remaining >= 3) lo >>= 1;
    if (remaining == 2) lo = wrapMul(lo, 3) / 4;

    const Qor32s drawn = Qor32s((Qor64s(reservoir.bitsAvail) * 2 * estimate.coef) >> 16);
    Qor32s hi = wrapAdd(est, wrapAdd(drawn, spare) / remaining);
    hi = std::max(hi, lo);

    pWork->minBits = std::min(wrapSub(lo, pWork->scalefacBits), kMaxPartBits);
    pWork->maxBits = std::clamp(wrapSub(hi, pWork->scalefacBits), 0, kMaxPartBits);
}

void ownsUpdateFrameExtraBits_MP3(QorMP3BitReservoir* pReservoir, Qor32s meanBits, Qor32s total) {
    pReservoir->bitsAvail = wrapAdd(pReservoir->bitsAvail, wrapSub(meanBits, total));
}

Qor32s ownsCalcFrameStuffingBits_MP3(QorMP3BitReservoir* pReservoir) {
    const Qor32s excess = std::max(wrapSub(pReservoir->bitsAvail, pReservoir->maxBits), 0);
    pReservoir->bitsAvail = wrapSub(pReservoir->bitsAvail, excess);
    const Qor32s stuffing = wrapAdd(pReservoir->bitsAvail & 7, excess);
    pReservoir->bitsAvail &= ~7;
    return stuffing;
}

void ownsDistributeStuffingBits_MP3(QorMP3SideInfo* pSide, Qor32s* pHufBits, int count,
                                    Qor32s stuffing) {
    const auto stuff = [&](int i, Qor32s bits) {
        pSide[i].part2_3_length += bits;
        pHufBits[i] += bits;
    };
    if (wrapAdd(stuffing, pSide[0].part2_3_length) < kMaxPartBits) {
        stuff(0, stuffing);
        return;
    }
    // A record that is already longer than the field allows gives back what is too much.
    for (int i = 0; i < count && stuffing != 0; ++i) {
        const Qor32s bits = std::min(stuffing, kMaxPartBits - pSide[i].part2_3_length);
        stuff(i, bits);
        stuffing -= bits;
    }
}

// --- spectrum ---------------------------------------------------------------------------------

void ownsPreprocessFilter_MP3(Qor32s* pXs, QorMP3PsychoInfo* pPsyInfo, const QorMP3SideInfo& side,
                              const QorMP3FrameHeader& header, const QorMP3BitReservoir& reservoir,
                              Qor32s mean) {
    constexpr Qor64s kNearlyFull = 4080218931;  // 0.95 in Q32
    constexpr Qor32s kLeastRatio = 214748;      // 0.0001 in Q31
    const BandLayout layout = bandLayout(header, isShortBlock(side));
    const int coded = codedBands(layout);

    const bool lowRes =
        mean < 765 && reservoir.bitsAvail < Qor32s((reservoir.maxBits * kNearlyFull) >> 32);
    int end = layout.first(coded);
    if ((lowRes && pPsyInfo->pe >= 500) || (side.block_type != 0 && header.id == 1))
        end = std::min(end, _p16kHzLines_MPEG1_MP3[header.sampling_frequency]);
    std::fill(pXs + end, pXs + kLines, 0);

    for (int i = 0; i < coded * layout.windows; ++i) {
        Qor32s& ratio = pPsyInfo->ratio[i];
        ratio = ratio == 0 ? kMax32s : std::max(ratio, kLeastRatio);
    }
}

QORAC_CLONES void ownsConvertToUnsignedData_MP3(Qor32s* pXs, Qor8s* pSign) {
    for (int i = 0; i < kLines; ++i) {
        pSign[i] = pXs[i] < 0 ? -1 : 1;
        pXs[i] = Qor32s(magnitude(pXs[i]));
    }
}

void ownsFindMaxSpectralIndex_MP3(const Qor32s* pXs, GranuleWork* pWork, const BandLayout& layout) {
    pWork->maxLine = 0;
    for (int b = 0; b < layout.bands; ++b) {
        for (int w = 0; w < layout.windows; ++w) {
            const Qor32s* pBand = pXs + layout.first(b, w);
            const int index = ownsGetMaxValueIndex_MP3_32s(pBand, layout.width(b));
            pWork->maxIndex[layout.index(b, w)] = index;
            pWork->maxLine = std::max(pWork->maxLine, pBand[index]);
        }
    }
}

void ownsReInitGranuleData_MP3(QorMP3SideInfo* pSide, GranuleWork* pWork, Qor32s* pIx) {
    constexpr Qor32s kLongScalefacBits = 74, kShortScalefacBits = 126;  // first estimates
    pSide->part2_3_length = 0;
    pSide->big_values = 0;
    pSide->global_gain = 0;
    pSide->scalefac_compress = 0;
    std::fill_n(pSide->table_select, 3, 0);
    std::fill_n(pSide->subblock_gain, 3, 0);
    pSide->region0_count = 0;
    pSide->region1_count = 0;
    pSide->preflag = 0;
    pSide->scalefac_scale = 0;
    pSide->count1table_select = 0;
    std::fill_n(pWork->scale, 40, 0);
    std::fill_n(pIx, kLines, 0);
    pWork->scalefacBits = isShortBlock(*pSide) ? kShortScalefacBits : kLongScalefacBits;
    pWork->gq = 0;
    pWork->spectralBits = 0;
    pWork->regions = {};
}

// --- scale factors ----------------------------------------------------------------------------

namespace {

// Sum of squares of the lines or of the differences, each term divided by 2^32 and truncated.
QORAC_INLINE Qor32s energyOf(const Qor32s* p, int len) {
    Qor32u sum = 0;
    for (int i = 0; i < len; ++i) sum += Qor32u(mulHigh(p[i], p[i]));
    return Qor32s(sum);
}
QORAC_INLINE Qor32s energyOfDifference(const Qor32s* p, const Qor32s* q, int len) {
    Qor32u sum = 0;
    for (int i = 0; i < len; ++i) {
        const Qor32s d = wrapSub(p[i], q[i]);
        sum += Qor32u(mulHigh(d, d));
    }
    return Qor32s(sum);
}

}  // namespace

QORAC_CLONES void ownsCalcAllowedDistortion_MP3(const Qor32s* pXs, const QorMP3PsychoInfo& psyInfo,
                                                GranuleWork* pWork, const BandLayout& layout) {
    for (int b = 0; b < codedBands(layout); ++b) {
        for (int w = 0; w < layout.windows; ++w) {
            const int i = layout.index(b, w);
            pWork->xr2[i] = energyOf(pXs + layout.first(b, w), layout.width(b));
            pWork->allowed[i] =
                Qor32s((Qor64u(Qor32u(psyInfo.ratio[i])) * Qor32u(pWork->xr2[i])) >> 32);
        }
    }
}

Qor32s ownsNoiseShapeBandFast_MP3(Qor32s ratio, Qor32s largest) {
    if (largest == 0) return 0;
    int i = 0;
    while (i < 19 && ratio <= _pPsyRatio2IxStatistics_MP3[i]) ++i;
    Qor32s exponent;
    Qor16s fraction;
    ownsLog2_Audio_32s16s(Qor32u(largest), &exponent, &fraction);
    // 64ths of an octave, less 26 octaves for the Q format: four gain indices to the octave.
    return ((exponent << 6) + (fraction >> 8) - (26 << 6) - _pQStepMid_MP3[i] + 8) >> 4;
}

void ownsNoiseShape_MP3(const Qor32s* pXs, const QorMP3PsychoInfo& psyInfo, GranuleWork* pWork,
                        const BandLayout& layout) {
    for (int w = 0; w < layout.windows; ++w) {
        for (int b = 0; b < pWork->sfbMax[w]; ++b) {
            const int i = layout.index(b, w);
            const Qor32s largest = pXs[layout.first(b, w) + pWork->maxIndex[i]];
            pWork->scale[i] = ownsNoiseShapeBandFast_MP3(psyInfo.ratio[i], largest);
        }
    }
}

void ownsAdjustfactors_MP3(GranuleWork* pWork, Qor8s* pScaleFactor, QorMP3SideInfo* pSide,
                           const Qor32s* pScfsi, const QorMP3FrameHeader* pFrameHeader,
                           int granule) {
    const bool isShort = isShortBlock(*pSide);
    const int windows = isShort ? 3 : 1;
    const int bands = isShort ? 13 : 22;
    const int bandCount = windows * *std::max_element(pWork->sfbMax, pWork->sfbMax + windows);
    Qor32s* const scale = pWork->scale;

    // A gain of exactly 0 takes no part, energy or not: it stands for a band that was not shaped.
    bool ignore[kMaxBandSteps];
    Qor32s largest = kMin32s;
    for (int i = 0; i < windows * bands; ++i) {
        ignore[i] = i / windows >= pWork->sfbMax[i % windows] || scale[i] == 0;
        if (!ignore[i]) largest = std::max(largest, scale[i]);
    }
    const Qor32s qmax = largest == kMin32s ? 0 : largest;

    const int split = isShort ? std::min(bandCount, 18) : std::min(pWork->sfbMax[0], kLowerBands);
    Qor32s below = 0, above = 0;
    for (int i = 0; i < windows * bands; ++i) {
        if (!ignore[i]) scale[i] = (qmax - scale[i]) >> 1;
        (i < split ? below : above) = std::max(i < split ? below : above, scale[i]);
    }
    pSide->scalefac_scale = below > 15 || above > 7;

    for (int i = 0; i < windows * bands; ++i) {
        if (ignore[i]) continue;
        const Qor32s limit = isShort || i < std::min(kLowerBands, bandCount) ? 15 : 7;
        scale[i] = std::min(scale[i] / (pSide->scalefac_scale + 1), limit);
    }

    pWork->gq = qmax;
    for (int i = 0; i < bandCount; ++i) pScaleFactor[i] = Qor8s(scale[i]);
    ownsChooseScalefactorTable_MP3(pScaleFactor, pSide, pScfsi, pFrameHeader, granule);
    pWork->scalefacBits = ownsGetNumberOfScalefactorBits_MP3(pSide, pScfsi, pFrameHeader, granule);
}

// --- quantization -----------------------------------------------------------------------------

Qor32s ownsPower3Div4_MP3(Qor32s v) {
    const Qor64s x = v;
    constexpr Qor64s kHalf = 0x100000;  // of a unit in Q21
    if (v < 1025) {
        const int i = v < 513 ? 3 : 4;
        const Qor64s cubic = v < 513 ? 69158 : 14536;
        const Qor64s parabola = ((x * cubic - _PowerCQ40_MP3[i]) * x >> 9) + _PowerBQ31_MP3[i];
        const Qor32s root = Qor32s(((parabola * x >> 10) + _PowerAQ21_MP3[i] + kHalf) >> 21);
        return v == 738 ? root - 1 : root;  // the one value where the cubic rounds the wrong way
    }
    const int i = v > 65536 ? 11 : 4 + bitLength(Qor32u(v) / 1024);
    const Qor64s line = _PowerBQ31_MP3[i] - (x * _PowerCQ40_MP3[i] >> 9);
    return Qor32s(((line * x >> 10) + _PowerAQ21_MP3[i] + kHalf) >> 21);
}

namespace {

// x * 2^(r/4), r from 1 to 3.
QORAC_INLINE Qor32s timesRoot(Qor32s x, int r) {
    return mulRound(wrapShl(x, 3), _Power2_1_Div_4_Q29_MP3[r - 1], 32);
}

constexpr Qor32s kLargestPower = 165108;  // its power 3/4 is the last below kTooLarge

QORAC_INLINE Qor32s quantized(Qor32s v) {
    if (v < 1) return 0;
    if (v < kBaseValues) return _BaseValue_MP3[v];
    return v <= kLargestPower ? ownsPower3Div4_MP3(v) : kTooLarge;
}

}  // namespace

QORAC_CLONES QorStatus ownsQuantizeBand_Audio(const Qor32s* pSrc, Qor32s* pDst, int len, int q) {
    if (q > 0) return qorStsBadArgErr;
    const int e = -q >> 2, r = -q & 3;
    const auto scaled = [&](Qor32s x) { return r == 0 ? x : timesRoot(x, r); };
    if (e >= 26) {
        for (int i = 0; i < len; ++i)
            pDst[i] = quantized(Qor32s(shlMod32(Qor32u(scaled(pSrc[i])), e - 26)));
    } else {
        const Qor32s half = 1 << (25 - e);
        for (int i = 0; i < len; ++i)
            pDst[i] =
                pSrc[i] < half >> 1 ? 0 : quantized(wrapAdd(half, scaled(pSrc[i])) >> (26 - e));
    }
    return qorStsNoErr;
}

void bandGains(const QorMP3SideInfo& side, const BandLayout& layout, const Qor8s* pScale,
               Qor32s* pGain) {
    const Qor32s step = 2 * (side.scalefac_scale + 1);
    for (int b = 0; b < layout.bands; ++b) {
        for (int w = 0; w < layout.windows; ++w) {
            const int i = layout.index(b, w);
            pGain[i] = layout.windows == 3 ? side.subblock_gain[w] * 8 + step * pScale[i]
                                           : step * (pScale[i] + _pPretab_MP3[b] * side.preflag);
        }
    }
}

QORAC_CLONES void scaleLines(const Qor32s* pXs, ScaledLines* pScaled) {
    std::copy_n(pXs, kLines, pScaled->root[0]);
    for (int r = 1; r < 4; ++r)
        for (int i = 0; i < kLines; ++i) pScaled->root[r][i] = timesRoot(pXs[i], r);
    int end = kLines;
    while (end > 0 && pXs[end - 1] == 0) --end;
    pScaled->end = end;
}

namespace {

// What the values 0 to 15 stand for at the step 2^(-e/4).
QORAC_INLINE void smallValues(int e, Qor32s* pValue) {
    const int a = e >> 2, r = e & 3;
    const int shift28 = std::min(a + 2, 31) & 31, shift25 = std::min(a - 1, 31) & 31;
    for (int k = 0; k < 16; ++k)
        pValue[k] = _pReq16x4_Audio.row[r][k] >> (k < 4 ? shift28 : shift25);
}

// The first values of the table in words and in bytes, for vectors that keep them in registers.
[[maybe_unused]] alignas(64) constexpr auto kBaseWords =
    constmath::makeTable<Qor16u, 64>([](int k) { return _BaseValue_MP3[k]; });
[[maybe_unused]] alignas(64) constexpr auto kBaseBytes = constmath::makeTable<Qor8u, 32>([](int k) {
    return _BaseValue_MP3[k];
});

}  // namespace

void ownsReqCore_MP3_32s(const Qor32s* pIx, Qor32s* pDst, int len, int e) {
    const int a = e >> 2, r = e & 3;
    Qor32s small[16];
    smallValues(e, small);
    for (int i = 0; i < len; ++i) {
        const Qor32u k = magnitude(pIx[i]);
        Qor32s value;
        if (k < 16) {
            value = small[k];
        } else {
            if (k > 8206) return;
            const Power43 power = pow43(k);
            const Qor32s t = mulHigh(power.mantissa, _pSqrt14_32s_Audio[r]);
            const int m = a - power.exponent;
            if (m >= 0)
                value = t >> std::min(m, 31);
            else
                value = m < -31 || t > kMax32s >> -m ? kMax32s : t << -m;
        }
        pDst[i] = pIx[i] < 0 ? -value : value;
    }
}

}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3eqnt_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(bool, quantizeBands,
           (const ScaledLines& lines, Qor32s* pIx, const Qor32s* pBandGain, Qor32s gq,
            const BandLayout& layout),
           (lines, pIx, pBandGain, gq, layout))
QORAC_BIND(int, noisyBands,
           (const Qor32s* pXs, const Qor32s* pIx, Qor32s* pBuffer, const Qor32s* pBandGain,
            GranuleWork* pWork, const BandLayout& layout),
           (pXs, pIx, pBuffer, pBandGain, pWork, layout))

bool ownsQuantize_32s_MP3(const ScaledLines& lines, Qor32s* pIx, const Qor32s* pBandGain, Qor32s gq,
                          const BandLayout& layout) {
    return quantizeBands(lines, pIx, pBandGain, gq, layout);
}

int ownsCalcQuantDistortion_MP3(const Qor32s* pXs, const Qor32s* pIx, Qor32s* pBuffer,
                                const Qor32s* pBandGain, GranuleWork* pWork,
                                const BandLayout& layout) {
    return noisyBands(pXs, pIx, pBuffer, pBandGain, pWork, layout);
}

Qor32s ownsAdjustQuantByBits_MP3(const Qor32s* pXs, Qor32s* pIx, Qor32s* pBuffer,
                                 QorMP3SideInfo* pSide, GranuleWork* pWork, const Qor8s* pScale,
                                 const BandLayout& layout, const Qor16s* pSfbLong) {
    constexpr Qor32s kLeastGq = -210, kLargestGq = 45;  // global_gain 0 and 255
    constexpr int kFirstStep = 8, kMostRepeats = 8;
    Qor32s& gq = pWork->gq;
    ScaledLines lines;
    scaleLines(pXs, &lines);
    Qor32s gain[kMaxBandSteps];
    bandGains(*pSide, layout, pScale, gain);
    const auto quantizeBelowLimit = [&] {
        return ownsQuantize_32s_MP3(lines, pIx, gain, gq, layout);
    };
    const auto countBits = [&] {
        return ownsGetTotalSpBits_MP3(pIx, pSide, &pWork->regions, pSfbLong);
    };

    int step = kFirstStep;
    bool free = gq >= kLeastGq && gq <= kLargestGq;
    bool first = true, overflowed = false;
    bool counted = false;  // `result` is the count at this gain
    int repeats = 0;
    Qor32s result = 0;
    gq = std::clamp(gq, kLeastGq, kLargestGq);
    for (;;) {
        if (!counted) {
            while (!quantizeBelowLimit()) {
                ++gq;
                free = false;
            }
            result = countBits();
        }
        const Qor32s bits = result;
        if (first) overflowed = bits > pWork->maxBits;
        first = false;

        if (bits == pWork->maxBits) break;
        if (bits < pWork->maxBits) {
            if (!free || overflowed) break;
            if (bits >= pWork->minBits &&
                ownsCalcQuantDistortion_MP3(pXs, pIx, pBuffer, gain, pWork, layout) == 0)
                break;
            // Bits are to spare and some band is too noisy: a finer step.
            if (gq < kLeastGq + 1) break;
            gq -= step;
            if (step != 1) step >>= 1;
            counted = false;
            continue;
        }

        // Over budget: up by one, and stop at the first count within it.
        ++gq;
        counted = quantizeBelowLimit();
        if (!counted) continue;
        result = countBits();
        if (result <= pWork->maxBits && !overflowed) break;
        overflowed = true;
        repeats = result == bits ? repeats + 1 : 0;
        if (repeats > kMostRepeats) {
            // The count does not fall any more.
            result = pWork->maxBits;
            break;
        }
    }
    pWork->spectralBits = result;
    return result;
}

// --- one frame --------------------------------------------------------------------------------

namespace {

// Coded bands per window. Above the intensity bound the right channel has none.
void setCodedBands(Qor32s* pSfbMax, const BandLayout& layout, bool intensityRight,
                   const Qor32s* pBound) {
    const int coded = codedBands(layout);
    for (int w = 0; w < layout.windows; ++w)
        pSfbMax[w] = intensityRight ? std::min(pBound[w], coded) : coded;
}

QORAC_CLONES void applySigns(const Qor32s* pIx, const Qor8s* pSign, Qor32s* pXs) {
    for (int i = 0; i < kLines; ++i) pXs[i] = pIx[i] * pSign[i];
}

}  // namespace

}  // namespace qorac

using namespace qorac;

QorStatus qorsQuantize_MP3_32s_I(Qor32s* pSrcDstXs, Qor8s* pDstScaleFactor, Qor32s* pSrcScfsi,
                                 Qor32s* pDstCount1Len, Qor32s* pDstHufBits,
                                 const QorMP3FrameHeader* pFrameHeader,
                                 QorMP3SideInfo* pSrcDstSideInfo, QorMP3PsychoInfo* pSrcDstPsyInfo,
                                 const QorMP3PsychoState* pSrcPsyState,
                                 QorMP3BitReservoir* pSrcDstReservoir, Qor32s meanBits,
                                 Qor32s* pSrcIsSfbBound, Qor32s* pWork) {
    if (anyNull(pSrcDstXs, pDstScaleFactor, pSrcScfsi)) return qorStsNullPtrErr;
    if (anyNull(pDstCount1Len, pDstHufBits, pFrameHeader)) return qorStsNullPtrErr;
    if (anyNull(pSrcDstSideInfo, pSrcDstPsyInfo, pSrcPsyState)) return qorStsNullPtrErr;
    if (anyNull(pSrcDstReservoir, pSrcIsSfbBound, pWork)) return qorStsNullPtrErr;
    if (outside(pFrameHeader->sampling_frequency, 0, 2)) return qorStsMp3FrameHeaderErr;
    if (outside(pFrameHeader->id, 0, 1)) return qorStsMp3FrameHeaderErr;

    const QorMP3FrameHeader& header = *pFrameHeader;
    const int granules = header.id == 1 ? 2 : 1;
    const int channels = header.mode == 3 ? 1 : 2;
    const int count = granules * channels;
    const bool intensity = header.mode == 1 && (header.mode_extension & 1);
    const Qor16s* pSfbLong = bandLayout(header, false).pSfb;
    Qor32s* pIx = pWork;
    Qor32s* pBuffer = pWork + kLines;

    FrameEstimate estimate;
    ownsGetFrameEstimatedBits_MP3(&estimate, pSrcDstSideInfo, pSrcDstPsyInfo, pSrcPsyState,
                                  granules, channels, meanBits);
    for (int i = 0; i < count; ++i) {
        const int granule = i / channels, channel = i % channels;
        QorMP3SideInfo& side = pSrcDstSideInfo[i];
        QorMP3PsychoInfo& psyInfo = pSrcDstPsyInfo[i];
        if (side.window_switching_flag && side.mixed_block_flag) return qorStsMp3SideInfoErr;

        Qor32s* pXs = pSrcDstXs + i * kLines;
        Qor8s* pScale = pDstScaleFactor + i * 40;
        const Qor32s* pScfsi = pSrcScfsi + channel * 4;
        const BandLayout layout = bandLayout(header, isShortBlock(side));
        GranuleWork work;
        setCodedBands(work.sfbMax, layout, intensity && channel == 1, pSrcIsSfbBound + granule * 3);
        ownsPreprocessFilter_MP3(pXs, &psyInfo, side, header, *pSrcDstReservoir, meanBits / count);
        ownsConvertToUnsignedData_MP3(pXs, work.sign);
        ownsFindMaxSpectralIndex_MP3(pXs, &work, layout);
        ownsReInitGranuleData_MP3(&side, &work, pIx);
        ownsGetGranuleMinMaxBits_MP3(&work, estimate, *pSrcDstReservoir, meanBits, i, count - i);
        if (work.maxLine == 0 || work.maxBits == 0) {
            std::fill_n(pXs, kLines, 0);
        } else {
            ownsCalcAllowedDistortion_MP3(pXs, psyInfo, &work, layout);
            ownsNoiseShape_MP3(pXs, psyInfo, &work, layout);
            ownsAdjustfactors_MP3(&work, pScale, &side, pScfsi, pFrameHeader, granule);
            side.part2_3_length = ownsAdjustQuantByBits_MP3(pXs, pIx, pBuffer, &side, &work, pScale,
                                                            layout, pSfbLong) +
                                  work.scalefacBits;
            applySigns(pIx, work.sign, pXs);
        }
        estimate.total = wrapAdd(estimate.total, wrapSub(side.part2_3_length, estimate.est[i]));
        side.global_gain = work.gq + 210;
        pDstCount1Len[i] = work.regions.count1Len;
        pDstHufBits[i] = work.spectralBits;
    }

    ownsUpdateFrameExtraBits_MP3(pSrcDstReservoir, meanBits, estimate.total);
    const Qor32s stuffing = ownsCalcFrameStuffingBits_MP3(pSrcDstReservoir);
    ownsDistributeStuffingBits_MP3(pSrcDstSideInfo, pDstHufBits, count, stuffing);
    return qorStsNoErr;
}
