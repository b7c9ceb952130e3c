// What the AAC parsers share: scale-factor-band tables and the parsers of the side information that
// stands inside several syntax elements (ISO/IEC 13818-7 and 14496-3).
#pragma once

#include <array>

#include "qorac.h"

namespace qorac {

// --- window sequences and bands ---------------------------------------------------------------

constexpr Qor32s kEightShort = 2;  // window_sequence of eight short windows

// swb_offset_long_window and swb_offset_short_window: num_swb + 1 offsets each, the last one being
// the window length. All four are indexed by sampling_frequency_index, 0 to 11.
extern const std::array<const Qor16s*, 12> _pAACSwbOffsetTableLong;
extern const std::array<const Qor16s*, 12> _pAACSwbOffsetTableShort;
extern const std::array<Qor16s, 12> _pAACNumSwbTableLong;
extern const std::array<Qor16s, 12> _pAACNumSwbTableShort;

// Bands that TNS may reach, by sampling_frequency_index: long windows, then short ones.
extern const Qor32s _pAACTnsMaxBandTable[12][2];

// ltp_coef in Q14, by its 3-bit index.
extern const Qor32s _Tab_LtpCoef_AAC[8];

// --- side information -------------------------------------------------------------------------
//
// All parsers read at the cursor and leave it behind the last bit that they read, also when they
// fail. A value that is refused has been stored.

// ics_info of 13818-7. qorStsAacMaxSfbErr: max_sfb of a long block above 51.
QorStatus ownsUnpackIcsInfo_AAC(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo,
                                Qor32s predSfbMax);

// ics_info of 14496-3. Object type 1 carries prediction data as in 13818-7; any other type carries
// LTP data, which go to pMainHeader for one channel, or for two with commonWin. pMainHeader may be
// null as long as the stream has no LTP data. qorStsAacMaxSfbErr as above; qorStsNullPtrErr:
// pMainHeader is null and needed.
QorStatus ownsUnpackIcsInfo_MP4_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                    QorAACMainHeader* pMainHeader, QorAACIcsInfo* pIcsInfo,
                                    Qor32s predSfbMax, Qor32s audioObjectType, Qor32s commonWin);

// ltp_data, in the window sequence and the bands of pMainHeader.
void ownsDecodeLtpData_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                           const QorAACMainHeader* pMainHeader, QorAACLtpInfo* pLtpInfo);

// section_data: the code book of each section and of each band, and the band behind each section.
// qorStsAacSectionErr: the sections of a group do not end at maxSfb, or there are more than 120.
QorStatus ownsDecodeSectData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s maxSfb,
                                 Qor32s windowSequence, Qor32s numWinGrp, Qor8u* pSectCb,
                                 Qor8u* pSectEnd, Qor32s* pNumSec, Qor8u* pSfbCb);

// pulse_data. qorStsAacPulseErr: the start band is above 51.
QorStatus ownsDecodePulseData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pNumberPulse,
                                  Qor32s* pPulseStartSfb, Qor32s* pPulseOffset, Qor32s* pPulseAmp);

// Adds the pulses to the quantized coefficients. qorStsAacPulseErr: a pulse lies outside the
// window; those before it have been added.
QorStatus ownsAddPulseData_AAC(Qor32s* pSpectrum, Qor32s numberPulse, Qor32s pulseStartSfb,
                               const Qor32s* pPulseOffset, const Qor32s* pPulseAmp,
                               const Qor16s* pSwbOffset, Qor32s winLen);

// tns_data, packed filter by filter (see QorAACTnsInfo). qorStsAacTnsOrderErr: an order above 12,
// or above 7 in a short block.
QorStatus ownsDecodeTnsData_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s windowSequence,
                                Qor32s* pNumFilt, Qor32s* pCoefRes, Qor32s* pLength, Qor32s* pOrder,
                                Qor32s* pDirection, Qor8s* pCoef);

}  // namespace qorac
