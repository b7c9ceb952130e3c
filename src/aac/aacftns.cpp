// Temporal noise shaping of AAC (ISO/IEC 13818-7 and 14496-3): the all-pole filters of the decoder
// and the all-zero filters of the encoder over the spectrum, in window order, in 32-bit integers
// with 64-bit sums that wrap.
#include "aac/aacftns.h"

#include <algorithm>

#include "aac/aacbands.h"
#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/status.h"

namespace qorac {
namespace {

constexpr int kMaxTaps = kMaxTnsOrder;
constexpr int kFrame = 1024;

// --- coefficients -----------------------------------------------------------------------------

// Reflection coefficients sin(c / iqfac) in Q31 by coef_res - 3 and c + 8, c from -8 to 7, with
// iqfac = (2^(coef_res - 1) -/+ 1/2) / (pi / 2) for c not negative / negative.
struct InverseQuantizer {
    Qor32s row[2][16];
};
constexpr InverseQuantizer pIQTns = [] {
    InverseQuantizer table{};
    for (int res = 0; res < 2; ++res)
        for (int c = -8; c < 8; ++c)
            table.row[res][c + 8] = Qor32s(constmath::round(
                constmath::scale2(constmath::sinPi(c, (8 << res) + (c < 0 ? 1 : -1)), 31)));
    return table;
}();

// Fixed-point steps of the step-up from reflection to direct form: a in Q(31 + wide), each factor
// rounded to Q(31 + wide - cut) before the product takes the rest back.
struct StepUp {
    int wide;   // bits beyond Q31
    int cut;    // bits rounded off a factor
    int shift;  // of the product
};
constexpr StepUp kStepUp = {0, 10, 21};
constexpr StepUp kStepUpLong = {8, 23, 8};  // from order 13 on

}  // namespace

QorStatus ownsTnsDecodeCoef(const Qor8s* pCoef, Qor32s* pLpc, int order, int coefRes, int* pShift) {
    constexpr Qor64s kLimit = 1 << 26;
    const StepUp step = order < 13 ? kStepUp : kStepUpLong;
    Qor32s reflection[kMaxTaps + 1];
    for (int m = 1; m <= order; ++m) {
        if (outside(pCoef[m - 1], -8, 7)) return qorStsAacTnsCoefErr;
        reflection[m] = pIQTns.row[coefRes - 3][pCoef[m - 1] + 8];
    }
    Qor64s a[kMaxTaps + 1];
    for (int m = 1; m <= order; ++m) {
        const Qor64s k = reflection[m];
        const auto scaled = [&](Qor64s x) {
            const Qor64s factor = (x + (Qor64s(1) << (step.cut - 1))) >> step.cut;
            return Qor64s(Qor64u(factor) * Qor64u(k)) >> step.shift;
        };
        a[m] = k * (1 << step.wide);
        for (int i = 1; i <= m / 2; ++i) {
            const Qor64s x = a[i], y = a[m - i];
            a[i] = x + scaled(y);
            a[m - i] = y + scaled(x);
        }
    }
    Qor64s largest = 0;
    for (int i = 1; i <= order; ++i) largest = std::max(largest, a[i] < 0 ? -a[i] : a[i]);
    int excess = 0;
    for (; largest > kLimit; largest >>= 1) ++excess;
    for (int i = 1; i <= order; ++i) pLpc[i] = Qor32s(a[i] >> excess);
    *pShift = 31 + step.wide - excess;
    return qorStsNoErr;
}

namespace {

// --- filters ----------------------------------------------------------------------------------

// One pass over `size` coefficients, from pSpectrum in steps of `stride` 1 or -1.
struct Filter {
    Qor32s* pSpectrum;
    const Qor32s* pLpc;  // from index 1
    int size, stride, order, shift;
};

QORAC_INLINE Qor64u product(Qor32s a, Qor32s b) { return Qor64u(Qor64s(a) * b); }
QORAC_INLINE Qor64u scaledUp(Qor32s x, int shift) { return Qor64u(Qor64s(x)) << shift; }
QORAC_INLINE Qor32s scaledDown(Qor64u sum, int shift) { return Qor32s(Qor64s(sum) >> shift); }

// y[n] = (x[n] 2^shift - sum of lpc[j] y[n - j]) / 2^shift, with `taps` coefficients, zeros from
// the order on.
template <int taps>
QORAC_INLINE void allPole(const Filter& f) {
    Qor32s lpc[taps], past[taps] = {};
    for (int j = 0; j < taps; ++j) lpc[j] = j < f.order ? f.pLpc[j + 1] : 0;
    Qor32s* p = f.pSpectrum;
    for (int n = 0; n < f.size; ++n, p += f.stride) {
        Qor64u sum = scaledUp(*p, f.shift);
        for (int j = taps - 1; j > 0; --j) {
            sum -= product(lpc[j], past[j]);
            past[j] = past[j - 1];
        }
        sum -= product(lpc[0], past[0]);
        past[0] = *p = scaledDown(sum, f.shift);
    }
}

QORAC_CLONES void ownsTnsArFilter(const Filter& f) {
    if (f.order <= 4) return allPole<4>(f);
    if (f.order <= 8) return allPole<8>(f);
    if (f.order <= 12) return allPole<12>(f);
    allPole<kMaxTaps>(f);
}

// y[n] = (x[n] 2^shift + sum of lpc[j] x[n - j]) / 2^shift.
QORAC_CLONES void ownsTnsMaFilter(const Filter& f) {
    Qor32s buffer[kMaxTaps + kFrame] = {};
    Qor32s* const x = buffer + kMaxTaps;
    Qor64u sum[kFrame];
    for (int n = 0; n < f.size; ++n) x[n] = f.pSpectrum[n * f.stride];
    for (int n = 0; n < f.size; ++n) sum[n] = scaledUp(x[n], f.shift);
    for (int j = 1; j <= f.order; ++j)
        for (int n = 0; n < f.size; ++n) sum[n] += product(f.pLpc[j], x[n - j]);
    for (int n = 0; n < f.size; ++n) f.pSpectrum[n * f.stride] = scaledDown(sum[n], f.shift);
}

// --- the walk over windows and filters --------------------------------------------------------

// The side information, packed as the noiseless decoders leave it.
struct Side {
    const Qor32s *pNumFilt, *pLength, *pOrder, *pCoefRes;
    const Qor8s* pCoef;
    const Qor32s* pDirection;
};

QorStatus filterWindows(Qor32s* pSpectrum, Side side, Qor32s maxSfb, Qor32s samplingRateIndex,
                        Qor32s winLen, void (*filter)(const Filter&)) {
    const bool isShort = winLen == 128;
    const int maxFilters = isShort ? 1 : 3, maxOrder = isShort ? 7 : 12;
    const Bands bands = bandsOf(samplingRateIndex, winLen);
    const int limit = std::min(maxSfb, _pAACTnsMaxBandTable[samplingRateIndex][isShort]);
    for (int w = 0; w < kFrame / winLen; ++w, pSpectrum += winLen) {
        if (outside(side.pNumFilt[w], 0, maxFilters)) return qorStsAacTnsNumFiltErr;
        int top = bands.count;
        for (int f = 0; f < side.pNumFilt[w]; ++f) {
            const Qor32s length = *side.pLength++, order = *side.pOrder++;
            if (outside(length, 0, bands.count)) return qorStsAacTnsLengthErr;
            if (outside(order, 0, maxOrder)) return qorStsAacTnsOrderErr;
            const int bottom = std::max(top - length, 0);
            if (order > 0) {
                if (outside(side.pCoefRes[w], 3, 4)) return qorStsAacTnsCoefResErr;
                Qor32s lpc[kMaxTaps + 1];
                int shift;
                const QorStatus status =
                    ownsTnsDecodeCoef(side.pCoef, lpc, order, side.pCoefRes[w], &shift);
                if (status != qorStsNoErr) return status;
                side.pCoef += order;
                const Qor32s direction = *side.pDirection++;
                if (outside(direction, 0, 1)) return qorStsAacTnsDirectionErr;
                const int start = bands.offset[std::min(limit, bottom)];
                const int end = bands.offset[std::min(limit, top)];
                if (start < end)
                    filter({pSpectrum + (direction ? end - 1 : start), lpc, end - start,
                            direction ? -1 : 1, order, shift});
            }
            top = bottom;
        }
    }
    return qorStsNoErr;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsDecodeTNS_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor32s* pNumFilt,
                                  const Qor32s* pLength, const Qor32s* pOrder,
                                  const Qor32s* pCoefRes, const Qor8s* pCoef,
                                  const Qor32s* pDirection, Qor32s maxSfb,
                                  [[maybe_unused]] Qor32s profile, Qor32s samplingRateIndex,
                                  Qor32s winLen) {
    if (anyNull(pSrcDstSpectrum, pNumFilt, pLength, pOrder, pCoefRes, pCoef, pDirection))
        return qorStsNullPtrErr;
    if (winLen != 128 && winLen != 1024) return qorStsAacWinLenErr;
    if (outside(samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    if (outside(maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (maxSfb > bandsOf(samplingRateIndex, winLen).count) return qorStsAacMaxSfbErr;
    return filterWindows(pSrcDstSpectrum, {pNumFilt, pLength, pOrder, pCoefRes, pCoef, pDirection},
                         maxSfb, samplingRateIndex, winLen, ownsTnsArFilter);
}

QorStatus qorsEncodeTNS_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor32s* pNumFilt,
                                  const Qor32s* pLength, const Qor32s* pOrder,
                                  const Qor32s* pCoefRes, const Qor8s* pCoef,
                                  const Qor32s* pDirection, Qor32s maxSfb, Qor32s profile,
                                  Qor32s samplingRateIndex, Qor32s winLen) {
    if (anyNull(pSrcDstSpectrum, pNumFilt, pLength, pOrder, pCoefRes, pCoef, pDirection))
        return qorStsNullPtrErr;
    if (winLen != 128 && winLen != 1024) return qorStsAacWinLenErr;
    if (profile != 1) return qorStsAacTnsProfileErr;
    if (outside(samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    if (outside(maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (maxSfb > bandsOf(samplingRateIndex, winLen).count) return qorStsAacMaxSfbErr;
    return filterWindows(pSrcDstSpectrum, {pNumFilt, pLength, pOrder, pCoefRes, pCoef, pDirection},
                         maxSfb, samplingRateIndex, winLen, ownsTnsMaFilter);
}
