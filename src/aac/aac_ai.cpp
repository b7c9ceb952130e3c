// Noiseless decoding of one individual_channel_stream, and the parsers of channel_pair_element and
// of the headers of the scalable object types (ISO/IEC 13818-7 clause 6, ISO/IEC 14496-3
// subpart 4). Bits in, quantized integers in the stream's grouped order out.

#include <algorithm>

#include "aac/aachelp.h"
#include "aac/aachuff.h"
#include "frame/bitcursor.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {

namespace {

// --- individual channel stream ----------------------------------------------------------------

struct PulseData {
    Qor32s number;
    Qor32s startSfb;
    Qor32s offset[4];
    Qor32s amp[4];
};

// The windows that a channel's sections and coefficients are grouped by.
struct WindowGroups {
    Qor32s windowSequence;
    Qor32s maxSfb;
    Qor32s count;
    const Qor32s* length;
};

WindowGroups groupsOf(const QorAACIcsInfo& ics) {
    return {ics.window_sequence, ics.max_sfb, ics.num_window_groups, ics.window_group_length};
}

// Stores the geometry that the window sequence gives.
void setGeometry(QorAACChanInfo& channel, Qor32s windowSequence) {
    const bool isShort = windowSequence == kEightShort;
    const auto& numSwb = isShort ? _pAACNumSwbTableShort : _pAACNumSwbTableLong;
    channel.winLen = isShort ? 128 : 1024;
    channel.numWin = isShort ? 8 : 1;
    channel.numSwb = numSwb[channel.samplingRateIndex];
}

// Whether the groups fit in the 1024 coefficients of a block. Those of an ics_info always do; those
// of a main header are told by the caller.
bool groupsFit(const WindowGroups& groups, Qor32s numWin) {
    if (outside(groups.count, 0, 8)) return false;
    Qor32s room = numWin;
    for (Qor32s group = 0; group < groups.count; ++group) {
        if (outside(groups.length[group], 0, room)) return false;
        room -= groups.length[group];
    }
    return true;
}

QorStatus decodeSections(Qor8u** ppBitStream, Qor32s* pOffset, const WindowGroups& groups,
                         QorAACChanInfo& channel, Qor8u* pSfbCb) {
    return ownsDecodeSectData_AAC(ppBitStream, pOffset, groups.maxSfb, groups.windowSequence,
                                  groups.count, channel.sect_cb, channel.sect_end, channel.num_sec,
                                  pSfbCb);
}

// The tools between the scale factors and the coefficients: pulse data, TNS and gain control.
QorStatus decodeTools(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s windowSequence,
                      QorAACChanInfo& channel, PulseData& pulse, Qor8s* pTnsCoef) {
    channel.pulse_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (channel.pulse_data_present != 0) {
        if (windowSequence == kEightShort) return qorStsAacPulseErr;
        const QorStatus status = ownsDecodePulseData_AAC(ppBitStream, pOffset, &pulse.number,
                                                         &pulse.startSfb, pulse.offset, pulse.amp);
        if (status != qorStsNoErr) return status;
        if (pulse.startSfb >= channel.numSwb) return qorStsAacPulseErr;
    }

    channel.tns_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    channel.n_filt[0] = 0;
    if (channel.tns_data_present != 0) {
        const QorStatus status = ownsDecodeTnsData_AAC(
            ppBitStream, pOffset, windowSequence, channel.n_filt, channel.coef_res, channel.length,
            channel.order, channel.direction, pTnsCoef);
        if (status != qorStsNoErr) return status;
    }

    channel.gain_control_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    return channel.gain_control_data_present != 0 ? qorStsAacGainControlErr : qorStsNoErr;
}

QorStatus decodeSpectrum(Qor8u** ppBitStream, Qor32s* pOffset, const WindowGroups& groups,
                         const QorAACChanInfo& channel, Qor32s* pSpectrum) {
    return ownsDecodeSpectralData_AAC_1u32s(
        ppBitStream, pOffset, pSpectrum, groups.count, groups.length, channel.num_sec,
        channel.sect_cb, channel.sect_end, channel.samplingRateIndex, channel.winLen);
}

QorStatus addPulses(const PulseData& pulse, const QorAACChanInfo& channel, Qor32s* pSpectrum) {
    if (channel.pulse_data_present == 0) return qorStsNoErr;
    return ownsAddPulseData_AAC(pSpectrum, pulse.number, pulse.startSfb, pulse.offset, pulse.amp,
                                _pAACSwbOffsetTableLong[channel.samplingRateIndex], channel.winLen);
}

QorStatus decodeChannelLc(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s commonWin,
                          QorAACChanInfo& channel, Qor16s* pScaleFactor, Qor32s* pSpectrum,
                          Qor8u* pSfbCb, Qor8s* pTnsCoef) {
    channel.global_gain = ownsGetBits_AAC(ppBitStream, pOffset, 8);
    QorStatus status = qorStsNoErr;
    if (commonWin == 0) {
        status = ownsUnpackIcsInfo_AAC(ppBitStream, pOffset, channel.pIcsInfo, 0);
        if (status != qorStsNoErr) return status;
    }
    const WindowGroups groups = groupsOf(*channel.pIcsInfo);
    setGeometry(channel, groups.windowSequence);
    if (channel.numSwb < groups.maxSfb) return qorStsAacMaxSfbErr;

    status = decodeSections(ppBitStream, pOffset, groups, channel, pSfbCb);
    if (status != qorStsNoErr) return status;
    status = ownsDecodeScalefactor_AAC_1u16s(ppBitStream, pOffset, pScaleFactor,
                                             channel.global_gain, groups.count, channel.num_sec,
                                             channel.sect_cb, channel.sect_end);
    if (status != qorStsNoErr) return status;
    PulseData pulse{};
    status = decodeTools(ppBitStream, pOffset, groups.windowSequence, channel, pulse, pTnsCoef);
    if (status != qorStsNoErr) return status;
    status = decodeSpectrum(ppBitStream, pOffset, groups, channel, pSpectrum);
    if (status != qorStsNoErr) return status;
    return addPulses(pulse, channel, pSpectrum);
}

// A layer of a scalable stream (scaleFlag) takes its windows from the main header and carries no
// pulse data, TNS or gain control.
QorStatus decodeChannelMpeg4(Qor8u** ppBitStream, Qor32s* pOffset, QorAACMainHeader* pMainHeader,
                             Qor16s* pScaleFactor, Qor32s* pSpectrum, Qor8u* pSfbCb,
                             Qor8s* pTnsCoef, QorAACChanInfo& channel, Qor32s windowSequence,
                             Qor32s maxSfb, Qor32s commonWin, bool scalable,
                             Qor32s audioObjectType) {
    channel.global_gain = ownsGetBits_AAC(ppBitStream, pOffset, 8);
    QorStatus status = qorStsNoErr;
    if (!scalable && commonWin == 0) {
        status = ownsUnpackIcsInfo_MP4_AAC(ppBitStream, pOffset, pMainHeader, channel.pIcsInfo,
                                           channel.predSfbMax, audioObjectType, 0);
        if (status != qorStsNoErr) return status;
    }
    const WindowGroups groups =
        scalable ? WindowGroups{windowSequence, maxSfb, pMainHeader->num_window_groups,
                                pMainHeader->window_group_length}
                 : groupsOf(*channel.pIcsInfo);
    setGeometry(channel, groups.windowSequence);
    if (scalable && !groupsFit(groups, channel.numWin)) return qorStsErr;

    status = decodeSections(ppBitStream, pOffset, groups, channel, pSfbCb);
    if (status != qorStsNoErr) return status;
    status = ownsDecodeScalefactor_AAC_MPEG4_1u16s(
        ppBitStream, pOffset, pScaleFactor, channel.global_gain, groups.count, channel.num_sec,
        channel.sect_cb, channel.sect_end);
    if (status != qorStsNoErr) return status;
    if (scalable) return decodeSpectrum(ppBitStream, pOffset, groups, channel, pSpectrum);

    PulseData pulse{};
    status = decodeTools(ppBitStream, pOffset, groups.windowSequence, channel, pulse, pTnsCoef);
    if (status != qorStsNoErr) return status;
    status = decodeSpectrum(ppBitStream, pOffset, groups, channel, pSpectrum);
    if (status != qorStsNoErr) return status;
    return addPulses(pulse, channel, pSpectrum);
}

// --- channel pair -----------------------------------------------------------------------------

// ms_mask_present, and the mask when it says that there is one.
void readMsMask(Qor8u** ppBitStream, Qor32s* pOffset, const QorAACIcsInfo& ics,
                QorAACChanPairElt& pair) {
    pair.ms_mask_present = ownsGetBits_AAC(ppBitStream, pOffset, 2);
    if (pair.ms_mask_present != 1) return;
    for (Qor32s group = 0; group < ics.num_window_groups; ++group)
        for (Qor32s sfb = 0; sfb < ics.max_sfb; ++sfb)
            pair.ms_used[group][sfb] = Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 1));
}

// --- scalable headers -------------------------------------------------------------------------

// Window lengths are told only for one group: a clear grouping bit stores its 1 in entry 0, not in
// the entry of the group that it begins, and the later entries are not cleared.
void readMainWindows(Qor8u** ppBitStream, Qor32s* pOffset, QorAACMainHeader& header) {
    header.window_sequence = ownsGetBits_AAC(ppBitStream, pOffset, 2);
    header.window_shape = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    Qor32s* const length = header.window_group_length;
    if (header.window_sequence != kEightShort) {
        header.max_sfb = ownsGetBits_AAC(ppBitStream, pOffset, 6);
        header.num_window_groups = 1;
        std::fill_n(length, 8, 0);
        length[0] = 1;
        return;
    }
    header.max_sfb = ownsGetBits_AAC(ppBitStream, pOffset, 4);
    header.scale_factor_grouping = ownsGetBits_AAC(ppBitStream, pOffset, 7);
    Qor32s groups = 1;
    if ((header.scale_factor_grouping >> 6 & 1) != 0) {
        length[0] = 2;
    } else {
        length[0] = 1;
        ++groups;
    }
    for (int bit = 5; bit >= 0; --bit) {
        if ((header.scale_factor_grouping >> bit & 1) != 0) {
            length[groups - 1] = wrapAdd(length[groups - 1], 1);
        } else {
            length[0] = 1;
            ++groups;
        }
    }
    header.num_window_groups = groups;
}

void readMainMsMask(Qor8u** ppBitStream, Qor32s* pOffset, QorAACMainHeader& header) {
    header.ms_mask_present = ownsGetBits_AAC(ppBitStream, pOffset, 2);
    Qor8u* const mask = reinterpret_cast<Qor8u*>(header.pMsUsed);
    for (Qor32s group = 0; group < header.num_window_groups; ++group)
        for (Qor32s sfb = 0; sfb < header.max_sfb; ++sfb)
            mask[group * 60 + sfb] = header.ms_mask_present == 1
                                         ? Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 1))
                                         : Qor8u(header.ms_mask_present == 2);
}

// tns_data_present and the data. An order that is refused ends the data but not the header.
void readTns(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s windowSequence, QorAACTnsInfo& tns) {
    tns.tns_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (tns.tns_data_present != 0)
        ownsDecodeTnsData_AAC(ppBitStream, pOffset, windowSequence, tns.n_filt, tns.coef_res,
                              tns.length, tns.order, tns.direction, tns.coef);
}

void readMainHeader(Qor8u** ppBitStream, Qor32s* pOffset, QorAACMainHeader& header,
                    Qor32s channelNum) {
    readMainWindows(ppBitStream, pOffset, header);
    if (channelNum == 2) readMainMsMask(ppBitStream, pOffset, header);
    for (Qor32s channel = 0; channel < channelNum; ++channel) {
        header.tns[channel] = {};
        readTns(ppBitStream, pOffset, header.window_sequence, header.tns[channel]);
        QorAACLtpInfo& ltp = header.ltp[channel];
        ltp = {};
        ltp.ltp_data_present = ownsGetBits_AAC(ppBitStream, pOffset, 1);
        if (ltp.ltp_data_present != 0) ownsDecodeLtpData_AAC(ppBitStream, pOffset, &header, &ltp);
    }
}

// The mask of the bands that this layer adds; a short block has four rows whatever its grouping.
void readExtMsMask(Qor8u** ppBitStream, Qor32s* pOffset, QorAACExtHeader& header, Qor32s preSfb,
                   Qor32s windowSequence) {
    header.ms_mask_present = ownsGetBits_AAC(ppBitStream, pOffset, 2);
    if (header.ms_mask_present != 1) return;
    const Qor32s rows = windowSequence == kEightShort ? 4 : 1;
    for (Qor32s row = 0; row < rows; ++row)
        for (Qor32s sfb = preSfb; sfb < header.max_sfb; ++sfb)
            header.pMsUsed[row][sfb] = Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 1));
}

// diff_control_lr of one channel: a bit for each new band outside the M/S mask, or one for each
// short window.
void ownsDecodeDiffControlLrData_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                     const QorAACExtHeader& header, Qor32s preSfb,
                                     Qor32s maxSfbLimit, Qor32s windowSequence,
                                     Qor32s* pDiffControl) {
    if (windowSequence == kEightShort) {
        if (preSfb != 0) return;
        for (int w = 0; w < 8; ++w) *pDiffControl++ = ownsGetBits_AAC(ppBitStream, pOffset, 1);
        return;
    }
    for (Qor32s sfb = preSfb; sfb < std::min(maxSfbLimit, header.max_sfb); ++sfb)
        if (header.pMsUsed[0][sfb] == 0) *pDiffControl++ = ownsGetBits_AAC(ppBitStream, pOffset, 1);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

// --- exported ---------------------------------------------------------------------------------

QorStatus qorsNoiselessDecoder_LC_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s commonWin,
                                      QorAACChanInfo* pChanInfo, Qor16s* pScaleFactor,
                                      Qor32s* pSpectrum, Qor8u* pSfbCb, Qor8s* pTnsCoef) {
    if (nullStream(ppBitStream) ||
        anyNull(pOffset, pChanInfo, pScaleFactor, pSpectrum, pSfbCb, pTnsCoef) ||
        anyNull(pChanInfo->pIcsInfo))
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(commonWin, 0, 1)) return qorStsAacCommonWindowErr;
    if (outside(pChanInfo->samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    if (pChanInfo->predSfbMax != 0) return qorStsAacPredSfbErr;
    return decodeChannelLc(ppBitStream, pOffset, commonWin, *pChanInfo, pScaleFactor, pSpectrum,
                           pSfbCb, pTnsCoef);
}

QorStatus qorsNoiselessDecode_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                  QorAACMainHeader* pMainHeader, Qor16s* pScaleFactor,
                                  Qor32s* pSpectrum, Qor8u* pSfbCb, Qor8s* pTnsCoef,
                                  QorAACChanInfo* pChanInfo, Qor32s windowSequence, Qor32s maxSfb,
                                  Qor32s commonWin, Qor32s scaleFlag, Qor32s audioObjectType) {
    if (nullStream(ppBitStream) ||
        anyNull(pOffset, pScaleFactor, pSpectrum, pSfbCb, pTnsCoef, pChanInfo))
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(commonWin, 0, 1)) return qorStsAacCommonWindowErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(scaleFlag, 0, 1)) return qorStsAacScaleFlagErr;
    if (outside(audioObjectType, 0, 16)) return qorStsAacObjectTypeErr;
    if (outside(maxSfb, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(pChanInfo->samplingRateIndex, 0, 11)) return qorStsAacSampRateIdxErr;
    // Which of the two records is in use depends on scaleFlag.
    if (scaleFlag == 0 ? anyNull(pChanInfo->pIcsInfo) : anyNull(pMainHeader))
        return qorStsNullPtrErr;
    return decodeChannelMpeg4(ppBitStream, pOffset, pMainHeader, pScaleFactor, pSpectrum, pSfbCb,
                              pTnsCoef, *pChanInfo, windowSequence, maxSfb, commonWin,
                              scaleFlag != 0, audioObjectType);
}

QorStatus qorsDecodeChanPairElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo,
                                    QorAACChanPairElt* pChanPairElt, Qor32s predSfbMax) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pIcsInfo, pChanPairElt))
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(predSfbMax, 0, 41)) return qorStsAacPredSfbErr;

    pChanPairElt->common_window = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (pChanPairElt->common_window == 0) return qorStsNoErr;
    const QorStatus status = ownsUnpackIcsInfo_AAC(ppBitStream, pOffset, pIcsInfo, predSfbMax);
    if (status != qorStsNoErr) return status;
    readMsMask(ppBitStream, pOffset, *pIcsInfo, *pChanPairElt);
    return qorStsNoErr;
}

QorStatus qorsDecodeChanPairElt_MP4_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                        QorAACIcsInfo* pIcsInfo, QorAACChanPairElt* pChanPairElt,
                                        QorAACMainHeader* pMainHeader, Qor32s predSfbMax,
                                        Qor32s audioObjectType) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pIcsInfo, pChanPairElt))
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(predSfbMax, 0, 51)) return qorStsAacMaxSfbErr;

    pChanPairElt->common_window = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    if (pChanPairElt->common_window == 0) return qorStsNoErr;
    const QorStatus status = ownsUnpackIcsInfo_MP4_AAC(ppBitStream, pOffset, pMainHeader, pIcsInfo,
                                                       predSfbMax, audioObjectType, 1);
    if (status != qorStsNoErr) return status;
    readMsMask(ppBitStream, pOffset, *pIcsInfo, *pChanPairElt);
    return qorStsNoErr;
}

QorStatus qorsDecodeMainHeader_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                   QorAACMainHeader* pMainHeader, Qor32s channelNum,
                                   Qor32s monoStereoFlag) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pMainHeader)) return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(channelNum, 1, 2)) return qorStsAacChannelsErr;
    if (outside(monoStereoFlag, 0, 1)) return qorStsAacMonoStereoErr;
    readMainHeader(ppBitStream, pOffset, *pMainHeader, channelNum);
    return monoStereoFlag == 1 ? qorStsNotSupportedModeErr : qorStsNoErr;
}

QorStatus qorsDecodeExtensionHeader_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                        QorAACExtHeader* pExtHeader, Qor32s monoStereoFlag,
                                        Qor32s thisLayerStereo, Qor32s monoLayerFlag, Qor32s preSfb,
                                        Qor32s maxSfbLimit, Qor32s window_sequence) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pExtHeader)) return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    if (outside(monoStereoFlag, 0, 1)) return qorStsAacMonoStereoErr;
    if (outside(thisLayerStereo, 0, 1)) return qorStsAacStereoLayerErr;
    if (outside(monoLayerFlag, 0, 1)) return qorStsAacMonoLayerErr;
    if (outside(preSfb, 0, 51) || outside(maxSfbLimit, 0, 51)) return qorStsAacMaxSfbErr;
    if (outside(window_sequence, 0, 3)) return qorStsAacWinSeqErr;

    QorAACExtHeader& header = *pExtHeader;
    const bool isShort = window_sequence == kEightShort;
    header.max_sfb = ownsGetBits_AAC(ppBitStream, pOffset, isShort ? 4 : 6);
    if (header.max_sfb > 60) return qorStsAacMaxSfbErr;
    if (thisLayerStereo != 0) readExtMsMask(ppBitStream, pOffset, header, preSfb, window_sequence);
    if (monoStereoFlag != 0)
        for (QorAACTnsInfo& tns : header.tns) readTns(ppBitStream, pOffset, window_sequence, tns);
    if (monoLayerFlag != 0 && thisLayerStereo != 0)
        for (Qor32s* pDiffControl : {header.diff_control_lr[0], header.diff_control_lr[1]})
            ownsDecodeDiffControlLrData_AAC(ppBitStream, pOffset, header, preSfb, maxSfbLimit,
                                            window_sequence, pDiffControl);
    return qorStsNoErr;
}
