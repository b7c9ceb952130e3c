#include "aac/aachelp.h"

#include <algorithm>
#include <array>

#include "frame/bitcursor.h"

namespace qorac {

// --- band tables ------------------------------------------------------------------------------

namespace {

constexpr Qor16s _pSwbOffsetLong96000[] = {0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,
                                           44,  48,  52,  56,  64,  72,  80,  88,  96,  108, 120,
                                           132, 144, 156, 172, 188, 212, 240, 276, 320, 384, 448,
                                           512, 576, 640, 704, 768, 832, 896, 960, 1024};
constexpr Qor16s _pSwbOffsetLong64000[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,  48,  52,  56,  64,
    72,  80,  88,  100, 112, 124, 140, 156, 172, 192, 216, 240, 268, 304, 344, 384,
    424, 464, 504, 544, 584, 624, 664, 704, 744, 784, 824, 864, 904, 944, 984, 1024};
constexpr Qor16s _pSwbOffsetLong48000[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,  72,  80,  88,
    96,  108, 120, 132, 144, 160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448,
    480, 512, 544, 576, 608, 640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 1024};
constexpr Qor16s _pSwbOffsetLong32000[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,  72,  80,  88,  96,
    108, 120, 132, 144, 160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448, 480, 512,
    544, 576, 608, 640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 960, 992, 1024};
constexpr Qor16s _pSwbOffsetLong24000[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,  52,  60,  68,  76,
    84,  92,  100, 108, 116, 124, 136, 148, 160, 172, 188, 204, 220, 240, 260, 284,
    308, 336, 364, 396, 432, 468, 508, 552, 600, 652, 704, 768, 832, 896, 960, 1024};
constexpr Qor16s _pSwbOffsetLong16000[] = {0,   8,   16,  24,  32,  40,  48,  56,  64,  72,  80,
                                           88,  100, 112, 124, 136, 148, 160, 172, 184, 196, 212,
                                           228, 244, 260, 280, 300, 320, 344, 368, 396, 424, 456,
                                           492, 532, 572, 616, 664, 716, 772, 832, 896, 960, 1024};
constexpr Qor16s _pSwbOffsetLong8000[] = {0,   12,  24,  36,  48,  60,  72,  84,  96,  108, 120,
                                          132, 144, 156, 172, 188, 204, 220, 236, 252, 268, 288,
                                          308, 328, 348, 372, 396, 420, 448, 476, 508, 544, 580,
                                          620, 664, 712, 764, 820, 880, 944, 1024};

constexpr Qor16s _pSwbOffsetShort96000[] = {0, 4, 8, 12, 16, 20, 24, 32, 40, 48, 64, 92, 128};
constexpr Qor16s _pSwbOffsetShort64000[] = {0, 4, 8, 12, 16, 20, 24, 32, 40, 48, 64, 92, 128};
constexpr Qor16s _pSwbOffsetShort48000[] = {0,  4,  8,  12, 16, 20,  28, 36,
                                            44, 56, 68, 80, 96, 112, 128};
constexpr Qor16s _pSwbOffsetShort24000[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                            36, 44, 52, 64, 76, 92, 108, 128};
constexpr Qor16s _pSwbOffsetShort16000[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                            32, 40, 48, 60, 72, 88, 108, 128};
constexpr Qor16s _pSwbOffsetShort8000[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                           36, 44, 52, 60, 72, 88, 108, 128};

// The number of bands of each table: those up to the window length.
consteval std::array<Qor16s, 12> numSwb(const std::array<const Qor16s*, 12>& tables,
                                        Qor16s windowLength) {
    std::array<Qor16s, 12> counts{};
    for (std::size_t i = 0; i < tables.size(); ++i)
        while (tables[i][counts[i]] != windowLength) ++counts[i];
    return counts;
}

}  // namespace

constexpr std::array<const Qor16s*, 12> _pAACSwbOffsetTableLong{
    _pSwbOffsetLong96000, _pSwbOffsetLong96000, _pSwbOffsetLong64000, _pSwbOffsetLong48000,
    _pSwbOffsetLong48000, _pSwbOffsetLong32000, _pSwbOffsetLong24000, _pSwbOffsetLong24000,
    _pSwbOffsetLong16000, _pSwbOffsetLong16000, _pSwbOffsetLong16000, _pSwbOffsetLong8000};

constexpr std::array<const Qor16s*, 12> _pAACSwbOffsetTableShort{
    _pSwbOffsetShort96000, _pSwbOffsetShort96000, _pSwbOffsetShort64000, _pSwbOffsetShort48000,
    _pSwbOffsetShort48000, _pSwbOffsetShort48000, _pSwbOffsetShort24000, _pSwbOffsetShort24000,
    _pSwbOffsetShort16000, _pSwbOffsetShort16000, _pSwbOffsetShort16000, _pSwbOffsetShort8000};

constexpr std::array<Qor16s, 12> _pAACNumSwbTableLong = numSwb(_pAACSwbOffsetTableLong, 1024);
constexpr std::array<Qor16s, 12> _pAACNumSwbTableShort = numSwb(_pAACSwbOffsetTableShort, 128);

const Qor32s _pAACTnsMaxBandTable[12][2] = {{31, 9},  {31, 9},  {34, 10}, {40, 14},
                                            {42, 14}, {51, 14}, {46, 14}, {46, 14},
                                            {42, 14}, {42, 14}, {42, 14}, {39, 14}};

const Qor32s _Tab_LtpCoef_AAC[8] = {9352, 11413, 13320, 14931, 16137, 17496, 19572, 22438};

// --- ics_info ---------------------------------------------------------------------------------

namespace {

// The bands of predictor data that prediction_used has room for.
constexpr Qor32s kMaxPredSfb = 41;

// ics_info up to and including max_sfb; for a long block also predictor_data_present.
QorStatus unpackWindowInfo(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo) {
    pIcsInfo->ics_reserved_bit = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    pIcsInfo->window_sequence = ownsGetBits_AAC(ppBitStream, pOffset, 2);
    pIcsInfo->window_shape = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    pIcsInfo->predictor_data_present = 0;
    if (pIcsInfo->window_sequence == kEightShort) {
        pIcsInfo->max_sfb = ownsGetBits_AAC(ppBitStream, pOffset, 4);
        pIcsInfo->scale_factor_grouping = ownsGetBits_AAC(ppBitStream, pOffset, 7);
        return qorStsNoErr;
    }
    pIcsInfo->max_sfb = ownsGetBits_AAC(ppBitStream, pOffset, 6);
    if (pIcsInfo->max_sfb > 51) return qorStsAacMaxSfbErr;
    pIcsInfo->predictor_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    pIcsInfo->predictor_reset = 0;
    return qorStsNoErr;
}

// The predictor data of the Main profile. Flags of bands that prediction_used has no room for are
// read over.
void unpackPredictorData(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo,
                         Qor32s predSfbMax) {
    pIcsInfo->predictor_reset = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (pIcsInfo->predictor_reset != 0)
        pIcsInfo->predictor_reset_group_number = ownsGetBits_AAC(ppBitStream, pOffset, 5);
    const Qor32s limit = std::min(pIcsInfo->max_sfb, predSfbMax);
    for (Qor32s sfb = 0; sfb < limit; ++sfb) {
        const Qor8u used = Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 1));
        if (sfb < kMaxPredSfb) pIcsInfo->prediction_used[sfb] = used;
    }
    for (Qor32s sfb = limit; sfb < std::min(predSfbMax, kMaxPredSfb); ++sfb)
        pIcsInfo->prediction_used[sfb] = 0;
}

// The window groups: a set bit of scale_factor_grouping, from the top one down, lengthens the
// current group and a clear one begins the next.
void groupWindows(QorAACIcsInfo* pIcsInfo) {
    Qor32s group = 0;
    pIcsInfo->window_group_length[0] = 1;
    if (pIcsInfo->window_sequence == kEightShort) {
        for (int bit = 6; bit >= 0; --bit) {
            if ((pIcsInfo->scale_factor_grouping >> bit & 1) != 0)
                ++pIcsInfo->window_group_length[group];
            else
                pIcsInfo->window_group_length[++group] = 1;
        }
    }
    pIcsInfo->num_window_groups = group + 1;
}

void unpackOptionalLtpData(Qor8u** ppBitStream, Qor32s* pOffset,
                           const QorAACMainHeader* pMainHeader, QorAACLtpInfo* pLtpInfo) {
    pLtpInfo->ltp_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (pLtpInfo->ltp_data_present != 0)
        ownsDecodeLtpData_AAC(ppBitStream, pOffset, pMainHeader, pLtpInfo);
}

}  // namespace

QorStatus ownsUnpackIcsInfo_AAC(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo,
                                Qor32s predSfbMax) {
    const QorStatus status = unpackWindowInfo(ppBitStream, pOffset, pIcsInfo);
    if (status != qorStsNoErr) return status;
    if (pIcsInfo->predictor_data_present != 0)
        unpackPredictorData(ppBitStream, pOffset, pIcsInfo, predSfbMax);
    groupWindows(pIcsInfo);
    return qorStsNoErr;
}

QorStatus ownsUnpackIcsInfo_MP4_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                    QorAACMainHeader* pMainHeader, QorAACIcsInfo* pIcsInfo,
                                    Qor32s predSfbMax, Qor32s audioObjectType, Qor32s commonWin) {
    constexpr Qor32s kAacMain = 1;
    if (pMainHeader != nullptr)
        for (QorAACLtpInfo& ltp : pMainHeader->ltp) ltp.ltp_data_present = 0;

    const QorStatus status = unpackWindowInfo(ppBitStream, pOffset, pIcsInfo);
    if (status != qorStsNoErr) return status;
    if (pIcsInfo->predictor_data_present != 0) {
        if (audioObjectType == kAacMain) {
            unpackPredictorData(ppBitStream, pOffset, pIcsInfo, predSfbMax);
        } else {
            if (pMainHeader == nullptr) return qorStsNullPtrErr;
            pMainHeader->max_sfb = pIcsInfo->max_sfb;
            pMainHeader->window_sequence = pIcsInfo->window_sequence;
            for (int channel = 0; channel <= commonWin; ++channel)
                unpackOptionalLtpData(ppBitStream, pOffset, pMainHeader,
                                      &pMainHeader->ltp[channel]);
        }
    }
    groupWindows(pIcsInfo);
    return qorStsNoErr;
}

// --- ltp_data ---------------------------------------------------------------------------------

void ownsDecodeLtpData_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                           const QorAACMainHeader* pMainHeader, QorAACLtpInfo* pLtpInfo) {
    pLtpInfo->ltp_lag = ownsGetBits_AAC(ppBitStream, pOffset, 11);
    pLtpInfo->ltp_coef = _Tab_LtpCoef_AAC[ownsGetBits_AAC(ppBitStream, pOffset, 3)];

    if (pMainHeader->window_sequence != kEightShort) {
        const Qor32s top = pMainHeader->max_sfb < 40 ? pMainHeader->max_sfb + 1 : 41;
        pLtpInfo->ltp_long_used[0] = pLtpInfo->ltp_data_present;
        for (Qor32s i = 1; i < top; ++i)
            pLtpInfo->ltp_long_used[i] = ownsGetBits_AAC(ppBitStream, pOffset, 1);
        for (Qor32s i = top; i < 41; ++i) pLtpInfo->ltp_long_used[i] = 0;
        return;
    }

    pLtpInfo->ltp_short_lag[0] = pLtpInfo->ltp_lag;
    int last = -1;  // the window used last
    for (int w = 0; w < 8; ++w) {
        pLtpInfo->ltp_short_used[w] = ownsGetBits_AAC(ppBitStream, pOffset, 1);
        if (pLtpInfo->ltp_short_used[w] == 0) continue;
        const Qor32s lag = last < 0 ? pLtpInfo->ltp_lag : pLtpInfo->ltp_short_lag[last];
        pLtpInfo->ltp_short_lag_present[w] =
            last < 0 ? 0 : ownsGetBits_AAC(ppBitStream, pOffset, 1);
        if (pLtpInfo->ltp_short_lag_present[w] != 0) {
            const Qor32s difference = ownsGetBits_AAC(ppBitStream, pOffset, 5);
            pLtpInfo->ltp_short_lag[w] = Qor16s(lag - difference + 16);
        } else {
            pLtpInfo->ltp_short_lag[w] = lag;
        }
        last = w;
    }
}

// --- section_data -----------------------------------------------------------------------------

QorStatus ownsDecodeSectData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s maxSfb,
                                 Qor32s windowSequence, Qor32s numWinGrp, Qor8u* pSectCb,
                                 Qor8u* pSectEnd, Qor32s* pNumSec, Qor8u* pSfbCb) {
    const int lengthBits = windowSequence == kEightShort ? 3 : 5;
    const Qor32s escape = (1 << lengthBits) - 1;
    Qor32s room = 120;  // sections that the arrays still take
    for (Qor32s group = 0; group < numWinGrp; ++group, pSfbCb += maxSfb) {
        Qor32s sfb = 0, count = 0;
        for (; sfb < maxSfb; ++count) {
            if (room-- == 0) return qorStsAacSectionErr;
            const Qor8u codeBook = Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 4));
            Qor32s increment = ownsGetBits_AAC(ppBitStream, pOffset, lengthBits);
            Qor32s length = increment;
            while (increment == escape && sfb + length <= maxSfb) {
                increment = ownsGetBits_AAC(ppBitStream, pOffset, lengthBits);
                length += increment;
            }
            std::fill(pSfbCb + sfb, pSfbCb + std::min(sfb + length, maxSfb), codeBook);
            sfb += length;
            *pSectCb++ = codeBook;
            *pSectEnd++ = Qor8u(sfb);
        }
        if (sfb != maxSfb) return qorStsAacSectionErr;
        pNumSec[group] = count;
    }
    return qorStsNoErr;
}

// --- pulse_data -------------------------------------------------------------------------------

QorStatus ownsDecodePulseData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pNumberPulse,
                                  Qor32s* pPulseStartSfb, Qor32s* pPulseOffset, Qor32s* pPulseAmp) {
    *pNumberPulse = ownsGetBits_AAC(ppBitStream, pOffset, 2) + 1;
    *pPulseStartSfb = ownsGetBits_AAC(ppBitStream, pOffset, 6);
    if (*pPulseStartSfb > 51) return qorStsAacPulseErr;
    for (Qor32s i = 0; i < *pNumberPulse; ++i) {
        pPulseOffset[i] = ownsGetBits_AAC(ppBitStream, pOffset, 5);
        pPulseAmp[i] = ownsGetBits_AAC(ppBitStream, pOffset, 4);
    }
    return qorStsNoErr;
}

QorStatus ownsAddPulseData_AAC(Qor32s* pSpectrum, Qor32s numberPulse, Qor32s pulseStartSfb,
                               const Qor32s* pPulseOffset, const Qor32s* pPulseAmp,
                               const Qor16s* pSwbOffset, Qor32s winLen) {
    Qor32s k = pSwbOffset[pulseStartSfb];
    for (Qor32s i = 0; i < numberPulse; ++i) {
        k += pPulseOffset[i];
        if (k >= winLen) return qorStsAacPulseErr;
        pSpectrum[k] += pSpectrum[k] > 0 ? pPulseAmp[i] : -pPulseAmp[i];
    }
    return qorStsNoErr;
}

// --- tns_data ---------------------------------------------------------------------------------

QorStatus ownsDecodeTnsData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s windowSequence,
                                Qor32s* pNumFilt, Qor32s* pCoefRes, Qor32s* pLength, Qor32s* pOrder,
                                Qor32s* pDirection, Qor8s* pCoef) {
    struct Widths {
        int windows, numFilt, length, order;
        Qor32s maxOrder;
    };
    // Orders are held to the limits of the LC profile for every object type.
    const Widths widths =
        windowSequence == kEightShort ? Widths{8, 1, 4, 3, 7} : Widths{1, 2, 6, 5, 12};
    for (int w = 0; w < widths.windows; ++w) {
        pNumFilt[w] = ownsGetBits_AAC(ppBitStream, pOffset, widths.numFilt);
        if (pNumFilt[w] != 0) pCoefRes[w] = ownsGetBits_AAC(ppBitStream, pOffset, 1) + 3;
        for (Qor32s filter = 0; filter < pNumFilt[w]; ++filter) {
            *pLength++ = ownsGetBits_AAC(ppBitStream, pOffset, widths.length);
            const Qor32s order = ownsGetBits_AAC(ppBitStream, pOffset, widths.order);
            *pOrder++ = order;
            if (order > widths.maxOrder) return qorStsAacTnsOrderErr;
            if (order == 0) continue;
            *pDirection++ = ownsGetBits_AAC(ppBitStream, pOffset, 1);
            const int coefBits = pCoefRes[w] - Qor32s(ownsGetBits_AAC(ppBitStream, pOffset, 1));
            const Qor32s sign = 1 << (coefBits - 1);
            for (Qor32s i = 0; i < order; ++i) {
                const Qor32s field = ownsGetBits_AAC(ppBitStream, pOffset, coefBits);
                *pCoef++ = Qor8s((field ^ sign) - sign);
            }
        }
    }
    return qorStsNoErr;
}

}  // namespace qorac
