// Inverse quantization of AAC (ISO/IEC 13818-7 and 14496-3): sign(x) |x|^(4/3) 2^(s/4) in integers,
// and the way from the grouped order of short blocks to window order.
//
// In: quantized coefficients. Out: the spectrum in Q3 (qorsPow43Scale_16s32s_Sf: in Q0) on the
// scale of the standard. Results are truncated, not rounded. What does not fit 32 bits has no
// meaning: magnitudes below 16 stop growing, others wrap, or become 0x7FFFFFFF where the shift is
// 32 or more.
#include <cstring>

#include "aac/aacbands.h"
#include "frame/fixed.h"
#include "frame/pow43.h"
#include "frame/status.h"

namespace qorac {
namespace {

constexpr Qor32s kScaleFactorOffset = 100;
constexpr Qor32u kMaxMagnitude = 8191;

// Code books whose bands hold quantized coefficients: not 0, nor 13 to 15 of noise and intensity.
constexpr bool holdsCoefficients(Qor8u book) { return book != 0 && (book < 13 || book > 15); }

QORAC_INLINE int clampShift(Qor64s n) { return int(n < 0 ? 0 : n > 31 ? 31 : n); }

// The power law of one band: 2^(s/4) = 2^e 2^(-r/4), the results with `fraction` fractional bits.
struct BandScale {
    alignas(64) Qor32s small[16];  // results for magnitudes below 16
    Qor64s e;
    int fraction;
    Qor32s gain;  // 2^(-r/4), Q31

    QORAC_INLINE BandScale(Qor64s s, int fractionBits) : e((s + 3) >> 2), fraction(fractionBits) {
        const int r = int(4 * e - s);
        const Qor32s* row = _pReq16x4_Audio.row[r];
        const int shift28 = clampShift(28 - fraction - e), shift25 = clampShift(25 - fraction - e);
        gain = _pSqrt14_32s_Audio[r];
        for (int a = 0; a < 4; ++a) small[a] = row[a] >> shift28;
        for (int a = 4; a < 16; ++a) small[a] = row[a] >> shift25;
    }

    // Right shift of a mantissa with the exponent of pow43(); a negative one is to the left.
    QORAC_INLINE Qor64s shift(int exponent) const { return 26 - fraction - exponent - e; }

    // Magnitudes from 16 on.
    QORAC_INLINE Qor32s large(Qor32u a) const {
        const Power43 power = pow43(a);
        const Qor32s v = mulHigh(power.mantissa, gain);
        const Qor64s d = shift(power.exponent);
        if (d >= 32) return 0;
        if (d >= 1) return v >> d;
        if (d > -32) return wrapShl(v, int(-d));
        return v == 0 ? 0 : kMax32s;
    }

    QORAC_INLINE Qor32s operator()(Qor32s x) const {
        const Qor32u a = magnitude(x);
        const Qor32s value = a < 16 ? small[a] : large(a);
        return x < 0 ? wrapNeg(value) : value;
    }
};

// The arguments of the inverse quantization.
struct Quantized {
    Qor32s* spectrum;
    const Qor16s* scaleFactor;
    const Qor8u* sfbCb;
    Qor32s numWinGrp;
    const Qor32s* winGrpLen;
    Qor32s maxSfb, winLen;
    Bands bands;
};

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "aac/aacpow32s_kernel.h"
#include "frame/levels.h"

namespace qorac {
namespace {

QORAC_BIND(QorStatus, requantizeSpectrum, (const Quantized& q), (q))
QORAC_BIND(void, ownsReqCore_AAC_16s32s_Sf, (const Qor16s* pSrc, Qor32s* pDst, int len, Qor64s s),
           (pSrc, pDst, len, s))

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsQuantInv_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor16s* pScaleFactor,
                                 Qor32s numWinGrp, const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                 const Qor8u* pSfbCb, Qor32s samplingRateIndex, Qor32s winLen) {
    if (anyNull(pSrcDstSpectrum, pScaleFactor, pWinGrpLen, pSfbCb)) return qorStsNullPtrErr;
    if (winLen != 128 && winLen != 1024) return qorStsAacWinLenErr;
    if (outside(numWinGrp, 1, winLen == 128 ? 8 : 1)) return qorStsAacWinGrpErr;
    if (outside(maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    const Bands bands = bandsOf(samplingRateIndex, winLen);
    if (maxSfb > bands.count) return qorStsAacMaxSfbErr;
    return requantizeSpectrum(
        {pSrcDstSpectrum, pScaleFactor, pSfbCb, numWinGrp, pWinGrpLen, maxSfb, winLen, bands});
}

QorStatus qorsPow43Scale_16s32s_Sf(const Qor16s* pSrc, Qor32s* pDst, const Qor16s* pScaleFactor,
                                   const Qor32s* pBandOffset, Qor32s offset, Qor32s numBands,
                                   Qor32s groupLen, Qor32s scaleFactor) {
    if (anyNull(pSrc, pDst, pScaleFactor, pBandOffset)) return qorStsNullPtrErr;
    if (numBands < 0 || groupLen < 0) return qorStsSizeErr;
    for (int b = 0; b < numBands; ++b) {
        const Qor64s start = Qor64s(groupLen) * pBandOffset[b];
        const Qor64s end = Qor64s(groupLen) * pBandOffset[b + 1];
        ownsReqCore_AAC_16s32s_Sf(pSrc + start, pDst + start, int(end - start),
                                  Qor64s(pScaleFactor[b]) - offset - Qor64s(4) * scaleFactor);
    }
    return qorStsNoErr;
}

QorStatus qorsDeinterleaveSpectrum_AAC_32s(const Qor32s* pSrc, Qor32s* pDst, Qor32s numWinGrp,
                                           const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                           Qor32s samplingRateIndex, Qor32s winLen) {
    if (anyNull(pSrc, pDst, pWinGrpLen)) return qorStsNullPtrErr;
    if (winLen != 128) return qorStsAacWinLenErr;
    if (outside(numWinGrp, 1, 8)) return qorStsAacWinGrpErr;
    if (outside(maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    const Bands bands = bandsOf(samplingRateIndex, winLen);
    if (maxSfb > bands.count) return qorStsAacMaxSfbErr;

    for (int g = 0; g < numWinGrp; ++g) {
        const int windows = pWinGrpLen[g];
        const Qor32s* p = pSrc;
        for (int b = 0; b < maxSfb; ++b) {
            const int start = bands.offset[b], width = bands.offset[b + 1] - start;
            for (int w = 0; w < windows; ++w, p += width)
                std::memcpy(pDst + w * winLen + start, p, width * sizeof *p);
        }
        const int end = bands.offset[maxSfb];
        for (int w = 0; w < windows; ++w)
            std::memset(pDst + w * winLen + end, 0, (winLen - end) * sizeof *pDst);
        pSrc += windows * winLen;
        pDst += windows * winLen;
    }
    return qorStsNoErr;
}
