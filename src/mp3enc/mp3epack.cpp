// Packing of a Layer III frame (ISO 11172-3 clauses 2.4.1.3, 2.4.1.7 and 2.4.3.4.6, ISO 13818-3
// clause 2.4.1.7 for the low sampling frequencies): frame header, side information, scale factors
// and Huffman-coded spectrum, from the records of the encoder to the bit stream.
#include "mp3enc/mp3epack.h"

#include <algorithm>

#include "frame/bitcursor.h"
#include "frame/mp3scftbl.h"
#include "frame/mp3sfbtbl.h"
#include "frame/status.h"
#include "mp3enc/mp3ehufftbl.h"

namespace qorac {

namespace {

constexpr Qor32u kEscape = 15;  // the largest value of the alphabets with escape bits

// Field by field at a bit cursor.
struct FieldWriter {
    Qor8u** ppBitStream;
    Qor32s* pOffset;

    void put(Qor32s value, int nBits) const {
        ownSetBits(ppBitStream, pOffset, Qor32u(value), nBits);
    }
};

// --- side information -------------------------------------------------------------------------

// One granule and channel; false when a block type of 0 with window switching stops it.
bool packGranuleInfo(const FieldWriter& out, const QorMP3SideInfo& side, int id) {
    out.put(side.part2_3_length, 12);
    out.put(side.big_values, 9);
    out.put(side.global_gain, 8);
    out.put(side.scalefac_compress, id == 1 ? 4 : 9);
    out.put(side.window_switching_flag, 1);
    if (side.window_switching_flag) {
        out.put(side.block_type, 2);
        if (side.block_type == 0) return false;
        out.put(side.mixed_block_flag, 1);
        for (int i = 0; i < 2; ++i) out.put(side.table_select[i], 5);
        for (int w = 0; w < 3; ++w) out.put(side.subblock_gain[w], 3);
    } else {
        for (int i = 0; i < 3; ++i) out.put(side.table_select[i], 5);
        out.put(side.region0_count, 4);
        out.put(side.region1_count, 3);
    }
    if (id == 1) out.put(side.preflag, 1);
    out.put(side.scalefac_scale, 1);
    out.put(side.count1table_select, 1);
    return true;
}

void packSideInfo(const QorMP3SideInfo* pSideInfo, Qor8u** ppBitStream, int mainDataBegin,
                  int privateBits, const Qor32s* pScfsi, const QorMP3FrameHeader& header) {
    Qor32s offset = 0;
    const FieldWriter out{ppBitStream, &offset};
    const int id = header.id;
    const int channels = header.mode == 3 ? 1 : 2;
    const int granules = id == 1 ? 2 : 1;
    if (id == 1) {
        out.put(mainDataBegin, 9);
        out.put(privateBits, channels == 1 ? 5 : 3);
        for (int i = 0; i < 4 * channels; ++i) out.put(pScfsi[i], 1);
    } else {
        out.put(mainDataBegin, 8);
        out.put(privateBits, channels);
    }
    for (int i = 0; i < granules * channels; ++i)
        if (!packGranuleInfo(out, pSideInfo[i], id)) return;
}

// --- scale factors ----------------------------------------------------------------------------

void packRun(const FieldWriter& out, const Qor8s* pScaleFactor, int count, int width) {
    for (int i = 0; i < count; ++i) out.put(pScaleFactor[i], width);
}

void packScaleFactors(const FieldWriter& out, const Qor8s* pScaleFactor, const QorMP3SideInfo& side,
                      const Qor32s* pScfsi, int granule) {
    const int slen1 = _pMP3TableSlen[0][side.scalefac_compress];
    const int slen2 = _pMP3TableSlen[1][side.scalefac_compress];
    if (side.block_type == 2) {
        const int first = side.mixed_block_flag ? 8 + 9 : 18;
        packRun(out, pScaleFactor, first, slen1);
        packRun(out, pScaleFactor + first, 18, slen2);
        return;
    }
    for (int g = 0; g < 4; ++g) {
        if (granule == 1 && pScfsi[g]) continue;
        const int start = kScfsiGroupStart[g];
        packRun(out, pScaleFactor + start, kScfsiGroupStart[g + 1] - start, g < 2 ? slen1 : slen2);
    }
}

void packScaleFactorsLsf(const FieldWriter& out, const Qor8s* pScaleFactor, QorMP3SideInfo& side,
                         bool intensity) {
    const auto [row, width, preflag] = scaleFactorPartitions(side.scalefac_compress, intensity);
    side.preflag = preflag;
    const int kind = side.block_type != 2         ? 0
                     : side.mixed_block_flag == 0 ? 1
                     : side.mixed_block_flag == 1 ? 2
                                                  : 0;
    for (int partition = 0; partition < 4; ++partition) {
        const int count = _pNumberOfSfbBlock[row][kind][partition];
        packRun(out, pScaleFactor, count, width[partition]);
        pScaleFactor += count;
    }
}

}  // namespace

// --- spectrum ---------------------------------------------------------------------------------

namespace {

// Bits on their way into the stream, the last one lowest.
struct Bits {
    Qor32u value = 0;
    int count = 0;

    QORAC_INLINE void append(Qor32u bits, int n) {
        value = value << n | bits;
        count += n;
    }
    // The sign of a value other than 0. Where lines are 0 or not as chance has it, a branch would
    // be predicted wrongly too often.
    QORAC_INLINE void appendSign(Qor32s x) {
        value = value << (x != 0) | Qor32u(x < 0);
        count += x != 0;
    }
};

// Code and signs of a pair; at most 21 bits.
QORAC_INLINE Bits pairBits(const HuffmanTable& huffman, Qor32s x, Qor32s y) {
    const HuffmanCode& symbol = huffman.pCode[huffman.xlen * magnitude(x) + magnitude(y)];
    Bits bits{symbol.code, symbol.length};
    bits.appendSign(x);
    bits.appendSign(y);
    return bits;
}

// Escape bits and sign of a value.
QORAC_INLINE void appendTail(Bits& bits, const HuffmanTable& huffman, Qor32s x) {
    const Qor32u largest = Qor32u(huffman.linmax) - 1;
    if (magnitude(x) >= kEscape) bits.append((magnitude(x) - kEscape) & largest, huffman.linbits);
    bits.appendSign(x);
}

}  // namespace

int ownHuffmanEncodePairs_MP3(const Qor32s* pSrc, int len, Qor8u** ppBitStream, Qor32s* pOffset,
                              int table) {
    if (table == 0 || len < 1) return 0;
    const HuffmanTable& huffman = pHf_table[table];
    BitAppender out(ppBitStream, pOffset);
    int written = 0;
    const auto put = [&](const Bits& bits) {
        out.put(bits.value, bits.count);
        written += bits.count;
    };
    if (table < 16) {
        for (int i = 0; i < len; i += 2) put(pairBits(huffman, pSrc[i], pSrc[i + 1]));
    } else {
        for (int i = 0; i < len; i += 2) {
            const Qor32s x = pSrc[i], y = pSrc[i + 1];
            const Qor32u m = std::min(magnitude(x), kEscape), k = std::min(magnitude(y), kEscape);
            const HuffmanCode& symbol = huffman.pCode[huffman.xlen * m + k];
            put({symbol.code, symbol.length});
            Bits tail;
            appendTail(tail, huffman, x);
            appendTail(tail, huffman, y);
            put(tail);
        }
    }
    out.store();
    return written;
}

int ownHuffmanEncodeQuads_MP3(const Qor32s* pSrc, int len, Qor8u** ppBitStream, Qor32s* pOffset,
                              int select) {
    const HuffmanTable& huffman = pHf_table[32 + select];
    BitAppender out(ppBitStream, pOffset);
    int written = 0;
    for (int i = 0; i < len; i += 4) {
        Qor32u symbol = 0;
        Bits signs;
        for (int j = 0; j < 4; ++j) {
            symbol = symbol << 1 | Qor32u(pSrc[i + j] != 0);
            signs.appendSign(pSrc[i + j]);
        }
        const HuffmanCode& code = huffman.pCode[symbol];
        const int n = code.length + signs.count;
        out.put(Qor32u(code.code) << signs.count | signs.value, n);
        written += n;
    }
    out.store();
    return written;
}

void ownPutStuffingBits(Qor8u** ppBitStream, Qor32s* pOffset, int n) {
    if (n <= 0) return;
    if (*pOffset != 0) {
        const int fill = std::min(n, 8 - *pOffset);
        ownSetBits(ppBitStream, pOffset, 0xFF, fill);
        n -= fill;
    }
    for (; n >= 8; n -= 8) *(*ppBitStream)++ = 0xFF;
    ownSetBits(ppBitStream, pOffset, 0xFF, n);
}

namespace {

QorStatus encodeSpectrum(const Qor32s* pSrcIx, Qor8u** ppBitStream, Qor32s* pOffset,
                         const QorMP3FrameHeader& header, const QorMP3SideInfo& side, int count1Len,
                         int hufBits) {
    const int end = 2 * side.big_values;
    int bound[4] = {0, 36, end, end};
    if (!side.window_switching_flag || side.block_type == 0) {
        const Qor16s* pSfb = _qor_pMP3SfbTableLong[header.id * 3 + header.sampling_frequency];
        bound[1] = pSfb[side.region0_count + 1];
        bound[2] = pSfb[side.region0_count + side.region1_count + 2];
    }
    int written = 0;
    for (int r = 0; r < 3; ++r) {
        if (side.table_select[r] < 0) return qorStsMp3SideInfoErr;
        const int first = std::min(bound[r], end);
        const int len = std::min(bound[r + 1], end) - first;
        written += ownHuffmanEncodePairs_MP3(pSrcIx + first, len, ppBitStream, pOffset,
                                             side.table_select[r]);
    }
    written += ownHuffmanEncodeQuads_MP3(pSrcIx + end, count1Len, ppBitStream, pOffset,
                                         side.count1table_select);
    ownPutStuffingBits(ppBitStream, pOffset, hufBits - written);
    return qorStsNoErr;
}

}  // namespace

}  // namespace qorac

using namespace qorac;

QorStatus qorsPackFrameHeader_MP3(const QorMP3FrameHeader* pSrcFrameHeader, Qor8u** ppBitStream) {
    if (pSrcFrameHeader == nullptr || nullStream(ppBitStream)) return qorStsNullPtrErr;

    const QorMP3FrameHeader& header = *pSrcFrameHeader;
    Qor32s offset = 0;
    const FieldWriter out{ppBitStream, &offset};
    out.put(0xFFF, 12);  // syncword
    out.put(header.id, 1);
    out.put(header.layer, 2);
    out.put(header.protection_bit, 1);
    out.put(header.bitrate_index, 4);
    out.put(header.sampling_frequency, 2);
    out.put(header.padding_bit, 1);
    out.put(header.private_bit, 1);
    out.put(header.mode, 2);
    out.put(header.mode_extension, 2);
    out.put(header.copyright, 1);
    out.put(header.original, 1);
    out.put(header.emphasis, 2);
    if (header.protection_bit == 0) out.put(header.CRCWord, 16);
    return qorStsNoErr;
}

QorStatus qorsPackSideInfo_MP3(const QorMP3SideInfo* pSrcSideInfo, Qor8u** ppBitStream,
                               int mainDataBegin, int privateBits, const Qor32s* pSrcScfsi,
                               const QorMP3FrameHeader* pFrameHeader) {
    if (pSrcSideInfo == nullptr || nullStream(ppBitStream)) return qorStsNullPtrErr;
    if (anyNull(pSrcScfsi, pFrameHeader)) return qorStsNullPtrErr;
    if (outside(pFrameHeader->id, 0, 1)) return qorStsMp3FrameHeaderErr;
    if (pFrameHeader->layer != 1) return qorStsMp3FrameHeaderErr;
    if (outside(pFrameHeader->mode, 0, 3)) return qorStsMp3FrameHeaderErr;

    packSideInfo(pSrcSideInfo, ppBitStream, mainDataBegin, privateBits, pSrcScfsi, *pFrameHeader);
    return qorStsNoErr;
}

QorStatus qorsPackScaleFactors_MP3_8s1u(const Qor8s* pSrcScaleFactor, Qor8u** ppBitStream,
                                        Qor32s* pOffset, const QorMP3FrameHeader* pFrameHeader,
                                        QorMP3SideInfo* pSideInfo, const Qor32s* pScfsi,
                                        int granule, int channel) {
    if (pSrcScaleFactor == nullptr || nullStream(ppBitStream)) return qorStsNullPtrErr;
    if (anyNull(pOffset, pFrameHeader, pSideInfo, pScfsi)) return qorStsNullPtrErr;

    const FieldWriter out{ppBitStream, pOffset};
    if (pFrameHeader->id == 1) {
        if (outside(pSideInfo->scalefac_compress, 0, 15)) return qorStsMp3SideInfoErr;
        packScaleFactors(out, pSrcScaleFactor, *pSideInfo, pScfsi, granule);
    } else {
        if (outside(pSideInfo->scalefac_compress, 0, 511)) return qorStsMp3SideInfoErr;
        if (outside(pFrameHeader->mode_extension, 0, 3)) return qorStsMp3FrameHeaderErr;
        const bool intensity = (pFrameHeader->mode_extension & 1) && channel == 1;
        packScaleFactorsLsf(out, pSrcScaleFactor, *pSideInfo, intensity);
    }
    return qorStsNoErr;
}

QorStatus qorsHuffmanEncode_MP3_32s1u(const Qor32s* pSrcIx, Qor8u** ppBitStream, Qor32s* pOffset,
                                      const QorMP3FrameHeader* pFrameHeader,
                                      const QorMP3SideInfo* pSideInfo, int count1Len, int hufBits) {
    if (anyNull(pSrcIx, ppBitStream)) return qorStsNullPtrErr;
    if (anyNull(*ppBitStream, pOffset, pFrameHeader, pSideInfo)) return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsBadArgErr;
    if (pSideInfo->big_values > 576 / 2) return qorStsMp3SideInfoErr;
    if (Qor64s(pSideInfo->region0_count) + pSideInfo->region1_count >= 21)
        return qorStsMp3SideInfoErr;
    if (outside(pSideInfo->count1table_select, 0, 1)) return qorStsMp3SideInfoErr;
    if (pFrameHeader->id != 1) return qorStsMp3FrameHeaderErr;
    if (pFrameHeader->layer != 1) return qorStsMp3FrameHeaderErr;
    if (outside(pFrameHeader->sampling_frequency, 0, 2)) return qorStsMp3FrameHeaderErr;

    return encodeSpectrum(pSrcIx, ppBitStream, pOffset, *pFrameHeader, *pSideInfo, count1Len,
                          hufBits);
}
