// Joint stereo coding of one granule (ISO 11172-3 clauses 2.4.3.4.9 and C.1.5.5): mid/side below
// the intensity bound, intensity positions from it on. Lines are integers of any scale, in and out.
#include "frame/fixed.h"
#include "frame/status.h"
#include "mp3enc/mp3ebands.h"
#include "mp3enc/mp3emath.h"

namespace qorac {

namespace {

// Entry i is tan^2((i - 1/2) pi / 12) in Q15: the ratio of energies, left to right, halfway between
// the intensity positions i - 1 and i. Entry 0 is not in use.
constexpr Qor32s pIsRatioSqrTable[7] = {0, 568, 5622, 19293, 55653, 190986, 1890566};

// A run of lines of both channels: one band, and of a short block one window of it.
struct BandLines {
    Qor32s* pLeft;
    Qor32s* pRight;
    int len;
};

QORAC_CLONES void midSide(BandLines lines) {
    constexpr Qor32s kSqrtHalf = 1518500250;  // Q31
    for (int i = 0; i < lines.len; ++i) {
        const Qor32s left = lines.pLeft[i], right = lines.pRight[i];
        lines.pLeft[i] = mulHigh(wrapShl(wrapAdd(left, right), 1), kSqrtHalf);
        lines.pRight[i] = mulHigh(wrapShl(wrapSub(left, right), 1), kSqrtHalf);
    }
}

Qor64u energy(const Qor32s* p, int len) {
    Qor64u sum = 0;
    for (int i = 0; i < len; ++i) sum += Qor64u(Qor64s(p[i]) * p[i]);
    return sum;
}

// eLeft / eRight in Q15, the low 32 bits; eRight is not 0.
Qor32s energyRatio(Qor64u eLeft, Qor64u eRight) {
    Qor32u mLeft, mRight;
    Qor32s sLeft, sRight, reciprocal, n;
    ownsNorm64To32_Audio(Qor32u(eRight >> 32), Qor32u(eRight), &mRight, &sRight);
    ownsNorm64To32_Audio(Qor32u(eLeft >> 32), Qor32u(eLeft), &mLeft, &sLeft);
    ownsReciprocal_Audio(mRight, &reciprocal, &n);
    const int shift = 46 - n + sLeft - sRight;
    return shift >= 64 ? 0 : Qor32s(shrEither(Qor64s(mLeft) * reciprocal, shift));
}

int intensityPosition(const BandLines& lines) {
    const Qor64u eRight = energy(lines.pRight, lines.len);
    if (eRight == 0) return 6;
    const Qor32s ratio = energyRatio(energy(lines.pLeft, lines.len), eRight);
    int position = 0;
    while (position < 6 && ratio >= pIsRatioSqrTable[position + 1]) ++position;
    return position;
}

// The left lines take both magnitudes and the sign of the larger one.
QORAC_CLONES void mergeIntoLeft(BandLines lines) {
    for (int i = 0; i < lines.len; ++i) {
        const Qor32s left = lines.pLeft[i], right = lines.pRight[i];
        const Qor32u mLeft = magnitude(left), mRight = magnitude(right);
        const Qor32s sum = Qor32s(mLeft + mRight);
        const bool negative = mLeft > mRight ? left < 0 : right < 0;
        lines.pLeft[i] = negative ? wrapNeg(sum) : sum;
        lines.pRight[i] = 0;
    }
}

void jointStereo(Qor32s* pLeft, Qor32s* pRight, Qor8u* pScaleFactorRight,
                 const QorMP3FrameHeader& header, bool isShort, Qor32s* pBound) {
    const bool joint = header.mode == 1;
    const bool ms = joint && (header.mode_extension & 2);
    const bool is = joint && (header.mode_extension & 1);
    const BandLayout layout = bandLayout(header, isShort);
    const auto linesOf = [&](int band, int w) {
        const int first = layout.first(band, w);
        return BandLines{pLeft + first, pRight + first, layout.width(band)};
    };

    if (!is)
        for (int w = 0; w < layout.windows; ++w) pBound[w] = layout.bands;
    if (ms && !isShort) {
        // The bands of a long block lie end to end.
        if (pBound[0] > 0) midSide({pLeft, pRight, layout.first(pBound[0])});
    } else if (ms) {
        for (int w = 0; w < layout.windows; ++w)
            for (int b = 0; b < pBound[w]; ++b) midSide(linesOf(b, w));
    }
    if (!is) return;
    for (int w = 0; w < layout.windows; ++w) {
        for (int b = pBound[w]; b < layout.bands; ++b) {
            const BandLines lines = linesOf(b, w);
            pScaleFactorRight[layout.index(b, w)] = Qor8u(intensityPosition(lines));
            mergeIntoLeft(lines);
        }
    }
}

}  // namespace

}  // namespace qorac

using namespace qorac;

QorStatus qorsJointStereoEncode_MP3_32s_I(Qor32s* pSrcDstLeft, Qor32s* pSrcDstRight,
                                          Qor8u* pDstScaleFactorRight,
                                          const QorMP3FrameHeader* pFrameHeader,
                                          const QorMP3SideInfo* pSideInfo,
                                          Qor32s* pSrcDstIsSfbBound) {
    if (anyNull(pSrcDstLeft, pSrcDstRight)) return qorStsNullPtrErr;
    if (anyNull(pDstScaleFactorRight, pFrameHeader, pSideInfo)) return qorStsNullPtrErr;
    if (anyNull(pSrcDstIsSfbBound)) return qorStsNullPtrErr;
    const bool joint = pFrameHeader->mode == 1 && (pFrameHeader->mode_extension & 3);
    if (joint && pSideInfo[0].block_type != pSideInfo[1].block_type) return qorStsMp3SideInfoErr;

    jointStereo(pSrcDstLeft, pSrcDstRight, pDstScaleFactorRight, *pFrameHeader,
                pSideInfo[0].block_type == 2, pSrcDstIsSfbBound);
    return qorStsNoErr;
}
