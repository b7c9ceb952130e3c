// Headers and self-contained elements of AAC streams: adif_header, adts_frame header,
// program_config_element, data_stream_element and fill_element of ISO/IEC 13818-7 clause 6.

#include "frame/bitcursor.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {

namespace {

// Reads `count` bytes, which need not stand on byte boundaries.
void readBytes(Qor8u** ppBitStream, Qor32s* pOffset, Qor8u* pDst, Qor32s count) {
    for (Qor32s i = 0; i < count; ++i) pDst[i] = Qor8u(ownsGetBits_AAC(ppBitStream, pOffset, 8));
}

// A list of channel elements of a program configuration: a flag and a tag for each.
void readElements(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s count, Qor32s* pFlag,
                  Qor32s* pTagSelect) {
    for (Qor32s i = 0; i < count; ++i) {
        pFlag[i] = ownsGetBits_AAC(ppBitStream, pOffset, 1);
        pTagSelect[i] = ownsGetBits_AAC(ppBitStream, pOffset, 4);
    }
}

void readTags(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s count, Qor32s* pTagSelect) {
    for (Qor32s i = 0; i < count; ++i) pTagSelect[i] = ownsGetBits_AAC(ppBitStream, pOffset, 4);
}

void readProgramConfig(Qor8u** ppBitStream, Qor32s* pOffset, QorAACPrgCfgElt& pce) {
    const auto bits = [&](int n) { return Qor32s(ownsGetBits_AAC(ppBitStream, pOffset, n)); };

    pce.element_instance_tag = bits(4);
    pce.object_type = bits(2);
    pce.sampling_frequency_index = bits(4);
    pce.num_front_channel_elements = bits(4);
    pce.num_side_channel_elements = bits(4);
    pce.num_back_channel_elements = bits(4);
    pce.num_lfe_channel_elements = bits(2);
    pce.num_assoc_data_elements = bits(3);
    pce.num_valid_cc_elements = bits(4);

    pce.mono_mixdown_element_number = 0;
    pce.stereo_mixdown_element_number = 0;
    pce.matrix_mixdown_idx = 0;
    pce.pseudo_surround_enable = 0;
    pce.mono_mixdown_present = bits(1);
    if (pce.mono_mixdown_present != 0) pce.mono_mixdown_element_number = bits(4);
    pce.stereo_mixdown_present = bits(1);
    if (pce.stereo_mixdown_present != 0) pce.stereo_mixdown_element_number = bits(4);
    pce.matrix_mixdown_idx_present = bits(1);
    if (pce.matrix_mixdown_idx_present != 0) {
        pce.matrix_mixdown_idx = bits(2);
        pce.pseudo_surround_enable = bits(1);
    }

    readElements(ppBitStream, pOffset, pce.num_front_channel_elements, pce.front_element_is_cpe,
                 pce.front_element_tag_select);
    readElements(ppBitStream, pOffset, pce.num_side_channel_elements, pce.side_element_is_cpe,
                 pce.side_element_tag_select);
    readElements(ppBitStream, pOffset, pce.num_back_channel_elements, pce.back_element_is_cpe,
                 pce.back_element_tag_select);
    readTags(ppBitStream, pOffset, pce.num_lfe_channel_elements, pce.lfe_element_tag_select);
    readTags(ppBitStream, pOffset, pce.num_assoc_data_elements, pce.assoc_data_element_tag_select);
    readElements(ppBitStream, pOffset, pce.num_valid_cc_elements, pce.cc_element_is_ind_sw,
                 pce.valid_cc_element_tag_select);

    ownsByteAlign_AAC(ppBitStream, pOffset);
    pce.comment_field_bytes = bits(8);
    readBytes(ppBitStream, pOffset, pce.comment_field_data, pce.comment_field_bytes);
}

// Returns the number of program configuration elements that follow.
Qor32s readAdifHeader(Qor8u** ppBitStream, Qor32s* pOffset, QorAACAdifHeader& header) {
    const auto bits = [&](int n) { return ownsGetBits_AAC(ppBitStream, pOffset, n); };

    const Qor32u upperHalf = bits(16);
    header.adif_id = Qor32s(upperHalf << 16 | bits(16));
    header.copyright_id_present = bits(1);
    if (header.copyright_id_present != 0) readBytes(ppBitStream, pOffset, header.copyright_id, 9);
    header.original_copy = bits(1);
    header.home = bits(1);
    header.bitstream_type = bits(1);
    header.bitrate = bits(23);
    header.num_program_config_elements = bits(4) + 1;
    return header.num_program_config_elements;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

// --- exported ---------------------------------------------------------------------------------

QorStatus qorsUnpackADIFHeader_AAC(Qor8u** ppBitStream, QorAACAdifHeader* pAdifHeader,
                                   QorAACPrgCfgElt* pPrgCfgElt, Qor32s prgCfgEltMax) {
    if (nullStream(ppBitStream) || anyNull(pAdifHeader, pPrgCfgElt)) return qorStsNullPtrErr;
    if (outside(prgCfgEltMax, 1, 16)) return qorStsAacPceCountErr;

    Qor32s offset = 0;
    const Qor32s count = readAdifHeader(ppBitStream, &offset, *pAdifHeader);
    if (count > prgCfgEltMax) return qorStsAacPceCountErr;
    for (Qor32s i = 0; i < count; ++i) {
        if (pAdifHeader->bitstream_type == 0)
            pAdifHeader->adif_buffer_fullness[i] = ownsGetBits_AAC(ppBitStream, &offset, 20);
        readProgramConfig(ppBitStream, &offset, pPrgCfgElt[i]);
    }
    return qorStsNoErr;
}

QorStatus qorsUnpackADTSFrameHeader_AAC(Qor8u** ppBitStream, QorAACAdtsHeader* pAdtsHeader) {
    if (nullStream(ppBitStream) || anyNull(pAdtsHeader)) return qorStsNullPtrErr;

    Qor32s offset = 0;
    const auto bits = [&](int n) { return Qor32s(ownsGetBits_AAC(ppBitStream, &offset, n)); };
    bits(12);  // the syncword is the caller's to find
    pAdtsHeader->ID = bits(1);
    pAdtsHeader->layer = bits(2);
    pAdtsHeader->protection_absent = bits(1);
    pAdtsHeader->profile = bits(2);
    pAdtsHeader->sampling_frequency_index = bits(4);
    pAdtsHeader->private_bit = bits(1);
    pAdtsHeader->channel_configuration = bits(3);
    pAdtsHeader->original_copy = bits(1);
    pAdtsHeader->home = bits(1);
    pAdtsHeader->copyright_identification_bit = bits(1);
    pAdtsHeader->copyright_identification_start = bits(1);
    pAdtsHeader->aac_frame_length = bits(13);
    pAdtsHeader->adts_buffer_fullness = bits(11);
    pAdtsHeader->number_of_raw_data_blocks_in_frame = bits(2) + 1;
    if (pAdtsHeader->protection_absent == 0) pAdtsHeader->crc_check = bits(16);
    return qorStsNoErr;
}

QorStatus qorsDecodePrgCfgElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                  QorAACPrgCfgElt* pPrgCfgElt) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pPrgCfgElt)) return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;
    readProgramConfig(ppBitStream, pOffset, *pPrgCfgElt);
    return qorStsNoErr;
}

QorStatus qorsDecodeDatStrElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDataTag,
                                  Qor32s* pDataCnt, Qor8u* pDataElt) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pDataTag, pDataCnt, pDataElt))
        return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;

    *pDataTag = ownsGetBits_AAC(ppBitStream, pOffset, 4);
    const Qor32u aligned = ownsGetBits_AAC(ppBitStream, pOffset, 1);
    Qor32s count = ownsGetBits_AAC(ppBitStream, pOffset, 8);
    if (count == 255) count += ownsGetBits_AAC(ppBitStream, pOffset, 8);
    if (aligned != 0) ownsByteAlign_AAC(ppBitStream, pOffset);
    readBytes(ppBitStream, pOffset, pDataElt, count);
    *pDataCnt = count;
    return qorStsNoErr;
}

QorStatus qorsDecodeFillElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pFillCnt,
                                Qor8u* pFillElt) {
    if (nullStream(ppBitStream) || anyNull(pOffset, pFillCnt, pFillElt)) return qorStsNullPtrErr;
    if (outside(*pOffset, 0, 7)) return qorStsAacBitOffsetErr;

    Qor32s count = ownsGetBits_AAC(ppBitStream, pOffset, 4);
    if (count == 15) count += Qor32s(ownsGetBits_AAC(ppBitStream, pOffset, 8)) - 1;
    readBytes(ppBitStream, pOffset, pFillElt, count);
    *pFillCnt = count;
    return qorStsNoErr;
}
