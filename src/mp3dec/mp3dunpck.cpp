// MP3 frame headers, side information and scale factors (ISO 11172-3 clauses 2.4.1.3, 2.4.1.7 and
// 2.4.2.7; ISO 13818-3 clause 2.4.3.2 for the low sampling frequencies).
//
// The functions parse; finding frames, the bit reservoir and the CRC are the caller's.
#include "frame/bitcursor.h"
#include "frame/mp3scftbl.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

// A cursor of its own on the caller's stream.
struct BitReader {
    Qor8u* p;
    Qor32s offset;

    Qor32s get(int nBits) { return Qor32s(ownsGetBits_AAC(&p, &offset, nBits)); }
};

int channelsOf(const QorMP3FrameHeader& header) { return header.mode == 3 ? 1 : 2; }

// --- side information -------------------------------------------------------------------------

// Reads one granule and channel; false for a block_type that window switching forbids.
bool readGranuleChannel(BitReader& bits, QorMP3SideInfo& side, Qor32s id) {
    side.part2_3_length = bits.get(12);
    side.big_values = bits.get(9);
    side.global_gain = bits.get(8);
    side.scalefac_compress = bits.get(id == 1 ? 4 : 9);
    side.window_switching_flag = bits.get(1);
    if (side.window_switching_flag == 1) {
        side.block_type = bits.get(2);
        if (side.block_type == 0) return false;
        side.mixed_block_flag = bits.get(1);
        for (int region = 0; region < 2; ++region) side.table_select[region] = bits.get(5);
        for (int window = 0; window < 3; ++window) side.subblock_gain[window] = bits.get(3);
        const bool pureShort = side.block_type == 2 && side.mixed_block_flag == 0;
        side.region0_count = pureShort ? 8 : 7;
        side.region1_count = pureShort ? 12 : 13;
    } else {
        side.block_type = 0;
        side.mixed_block_flag = 0;
        for (int region = 0; region < 3; ++region) side.table_select[region] = bits.get(5);
        side.region0_count = bits.get(4);
        side.region1_count = bits.get(3);
    }
    if (id == 1) side.preflag = bits.get(1);
    side.scalefac_scale = bits.get(1);
    side.count1table_select = bits.get(1);
    return true;
}

// --- scale factors ----------------------------------------------------------------------------

// A width of 0 reads nothing and gives zeros.
Qor8s* readValues(BitReader& bits, Qor8s* pDst, int count, int width) {
    for (int i = 0; i < count; ++i) *pDst++ = width == 0 ? Qor8s(0) : Qor8s(bits.get(width));
    return pDst;
}

void zeroThree(Qor8s* pDst) { pDst[0] = pDst[1] = pDst[2] = 0; }

void readMpeg1(BitReader& bits, Qor8s* pDst, const QorMP3SideInfo& side, const Qor32s* pScfsi,
               int granule) {
    const int slen1 = _pMP3TableSlen[0][side.scalefac_compress];
    const int slen2 = _pMP3TableSlen[1][side.scalefac_compress];
    pDst[21] = 0;
    if (side.block_type == 2) {
        // A mixed block has 8 long bands and three windows of 3 bands before the second width.
        Qor8s* second = readValues(bits, pDst, side.mixed_block_flag ? 17 : 18, slen1);
        zeroThree(readValues(bits, second, 18, slen2));
        return;
    }
    for (int group = 0; group < 4; ++group) {
        if (granule == 1 && pScfsi[group] != 0) continue;
        const int start = kScfsiGroupStart[group];
        readValues(bits, pDst + start, kScfsiGroupStart[group + 1] - start,
                   group < 2 ? slen1 : slen2);
    }
}

void readLowSamplingFrequency(BitReader& bits, Qor8s* pDst, QorMP3SideInfo& side, bool intensity) {
    const ScaleFactorPartitions partitions =
        scaleFactorPartitions(side.scalefac_compress, intensity);
    const int column = side.block_type != 2 ? 0 : side.mixed_block_flag ? 2 : 1;
    const Qor8u* count = _pNumberOfSfbBlock[partitions.row][column];
    side.preflag = partitions.preflag;
    for (int p = 0; p < 4; ++p) {
        const int width = partitions.width[p];
        Qor8s* end = readValues(bits, pDst, count[p], width);
        if (intensity) {
            // The largest code marks an illegal intensity position.
            const int illegal = (1 << width) - 1;
            for (Qor8s* value = pDst; value < end; ++value)
                if (*value == illegal) *value = Qor8s(-illegal);
        }
        pDst = end;
    }
    zeroThree(pDst);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsUnpackFrameHeader_MP3(Qor8u** ppBitStream, QorMP3FrameHeader* pDstHeader) {
    if (nullStream(ppBitStream) || !pDstHeader) return qorStsNullPtrErr;
    const Qor8u* p = *ppBitStream;
    pDstHeader->id = (p[1] >> 3) & 1;
    pDstHeader->layer = (p[1] >> 1) & 3;
    pDstHeader->protection_bit = p[1] & 1;
    pDstHeader->bitrate_index = p[2] >> 4;
    pDstHeader->sampling_frequency = (p[2] >> 2) & 3;
    pDstHeader->padding_bit = (p[2] >> 1) & 1;
    pDstHeader->private_bit = p[2] & 1;
    pDstHeader->mode = p[3] >> 6;
    pDstHeader->mode_extension = (p[3] >> 4) & 3;
    pDstHeader->copyright = (p[3] >> 3) & 1;
    pDstHeader->original = (p[3] >> 2) & 1;
    pDstHeader->emphasis = p[3] & 3;
    *ppBitStream += 4;
    if (pDstHeader->protection_bit == 0) {
        pDstHeader->CRCWord = p[4] << 8 | p[5];
        *ppBitStream += 2;
    }
    return qorStsNoErr;
}

QorStatus qorsUnpackSideInfo_MP3(Qor8u** ppBitStream, QorMP3SideInfo* pDstSideInfo,
                                 Qor32s* pDstMainDataBegin, Qor32s* pDstPrivateBits,
                                 Qor32s* pDstScfsi, const QorMP3FrameHeader* pFrameHeader) {
    if (nullStream(ppBitStream) || !pDstSideInfo || !pDstMainDataBegin || !pDstPrivateBits ||
        !pDstScfsi || !pFrameHeader)
        return qorStsNullPtrErr;
    const Qor32s id = pFrameHeader->id;
    if (outside(id, 0, 1)) return qorStsMp3FrameHeaderErr;
    if (pFrameHeader->layer != 1) return qorStsMp3FrameHeaderErr;
    if (outside(pFrameHeader->mode, 0, 3)) return qorStsMp3FrameHeaderErr;

    const int channels = channelsOf(*pFrameHeader);
    const int granules = id == 1 ? 2 : 1;
    BitReader bits{*ppBitStream, 0};
    *pDstMainDataBegin = bits.get(id == 1 ? 9 : 8);
    if (id == 1) {
        *pDstPrivateBits = bits.get(channels == 1 ? 5 : 3);
        for (int i = 0; i < 4 * channels; ++i) pDstScfsi[i] = bits.get(1);
    } else {
        *pDstPrivateBits = bits.get(channels);
    }
    QorStatus status = qorStsNoErr;
    for (int i = 0; i < granules * channels && status == qorStsNoErr; ++i)
        if (!readGranuleChannel(bits, pDstSideInfo[i], id)) status = qorStsMp3SideInfoErr;
    *ppBitStream = bits.p;
    return status;
}

QorStatus qorsUnpackScaleFactors_MP3_1u8s(Qor8u** ppBitStream, Qor32s* pOffset,
                                          Qor8s* pDstScaleFactor, QorMP3SideInfo* pSideInfo,
                                          const Qor32s* pScfsi,
                                          const QorMP3FrameHeader* pFrameHeader, int granule,
                                          int channel) {
    if (nullStream(ppBitStream) || !pOffset || !pDstScaleFactor || !pSideInfo || !pScfsi ||
        !pFrameHeader)
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7) || outside(granule, 0, 1) || outside(channel, 0, 1))
        return qorStsBadArgErr;
    const bool mpeg1 = pFrameHeader->id == 1;
    if (outside(pSideInfo->scalefac_compress, 0, mpeg1 ? 15 : 511)) return qorStsMp3SideInfoErr;
    if (!mpeg1 && outside(pFrameHeader->mode_extension, 0, 3)) return qorStsMp3FrameHeaderErr;

    if (pSideInfo->block_type == 2) pSideInfo->mixed_block_flag &= 1;
    BitReader bits{*ppBitStream, *pOffset};
    if (mpeg1)
        readMpeg1(bits, pDstScaleFactor, *pSideInfo, pScfsi, granule);
    else
        readLowSamplingFrequency(bits, pDstScaleFactor, *pSideInfo,
                                 (pFrameHeader->mode_extension & 1) && channel == 1);
    *ppBitStream = bits.p;
    *pOffset = bits.offset;
    return qorStsNoErr;
}
