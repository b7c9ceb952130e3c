#include <cstring>
#include <functional>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/bitwriter.h"
#include "support/bitstream.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::BitWriter;
using test::Guarded;
using test::Random;
using test::Stream;

// A field of a record and its width in the stream.
template <typename Record>
struct Field {
    Qor32s Record::*member;
    int width;
};

// --- ADTS -------------------------------------------------------------------------------------

const Field<QorAACAdtsHeader> kAdtsFields[] = {
    {&QorAACAdtsHeader::ID, 1},
    {&QorAACAdtsHeader::layer, 2},
    {&QorAACAdtsHeader::protection_absent, 1},
    {&QorAACAdtsHeader::profile, 2},
    {&QorAACAdtsHeader::sampling_frequency_index, 4},
    {&QorAACAdtsHeader::private_bit, 1},
    {&QorAACAdtsHeader::channel_configuration, 3},
    {&QorAACAdtsHeader::original_copy, 1},
    {&QorAACAdtsHeader::home, 1},
    {&QorAACAdtsHeader::copyright_identification_bit, 1},
    {&QorAACAdtsHeader::copyright_identification_start, 1},
    {&QorAACAdtsHeader::aac_frame_length, 13},
    {&QorAACAdtsHeader::adts_buffer_fullness, 11},
    {&QorAACAdtsHeader::number_of_raw_data_blocks_in_frame, 2},
};

TEST(AdtsHeader, ReadsEveryFieldWhateverTheSyncword) {
    Random random(1);
    for (int run = 0; run < 200; ++run) {
        QorAACAdtsHeader expected{};
        BitWriter writer;
        writer.put(Qor32u(random.integer(0, 0xFFF)), 12);
        for (const auto& [member, width] : kAdtsFields) {
            expected.*member = Qor32s(random.integer(0, (1 << width) - 1));
            writer.put(Qor32u(expected.*member), width);
        }
        ++expected.number_of_raw_data_blocks_in_frame;
        expected.adtsReserved = -77;
        expected.crc_check = -78;
        if (expected.protection_absent == 0) {
            expected.crc_check = Qor32s(random.integer(0, 0xFFFF));
            writer.put(Qor32u(expected.crc_check), 16);
        }
        Stream stream(writer);
        QorAACAdtsHeader header;
        std::memset(&header, 0x55, sizeof header);
        header.adtsReserved = -77;
        header.crc_check = -78;
        EXPECT_EQ(qorsUnpackADTSFrameHeader_AAC(&stream.p, &header), qorStsNoErr);
        EXPECT_EQ(std::memcmp(&header, &expected, sizeof header), 0);
        EXPECT_EQ(stream.position(), expected.protection_absent == 0 ? 72 : 56);
    }
}

TEST(AdtsHeader, NullPointers) {
    Qor8u bytes[12]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    QorAACAdtsHeader header;
    EXPECT_EQ(qorsUnpackADTSFrameHeader_AAC(nullptr, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackADTSFrameHeader_AAC(&null, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackADTSFrameHeader_AAC(&p, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(p, bytes);
}

// --- program configuration --------------------------------------------------------------------

// Fills a record at random where the syntax has a field, and writes it behind what stands in
// `writer`; all other fields keep their value.
void putProgramConfig(BitWriter& writer, Random& random, QorAACPrgCfgElt& pce) {
    const auto field = [&](Qor32s& value, int width) {
        value = Qor32s(random.integer(0, (1 << width) - 1));
        writer.put(Qor32u(value), width);
    };
    field(pce.element_instance_tag, 4);
    field(pce.object_type, 2);
    field(pce.sampling_frequency_index, 4);
    field(pce.num_front_channel_elements, 4);
    field(pce.num_side_channel_elements, 4);
    field(pce.num_back_channel_elements, 4);
    field(pce.num_lfe_channel_elements, 2);
    field(pce.num_assoc_data_elements, 3);
    field(pce.num_valid_cc_elements, 4);
    pce.mono_mixdown_element_number = pce.stereo_mixdown_element_number = 0;
    pce.matrix_mixdown_idx = pce.pseudo_surround_enable = 0;
    field(pce.mono_mixdown_present, 1);
    if (pce.mono_mixdown_present != 0) field(pce.mono_mixdown_element_number, 4);
    field(pce.stereo_mixdown_present, 1);
    if (pce.stereo_mixdown_present != 0) field(pce.stereo_mixdown_element_number, 4);
    field(pce.matrix_mixdown_idx_present, 1);
    if (pce.matrix_mixdown_idx_present != 0) {
        field(pce.matrix_mixdown_idx, 2);
        field(pce.pseudo_surround_enable, 1);
    }
    const auto pairs = [&](Qor32s count, Qor32s* flag, Qor32s* tag) {
        for (Qor32s i = 0; i < count; ++i) {
            field(flag[i], 1);
            field(tag[i], 4);
        }
    };
    pairs(pce.num_front_channel_elements, pce.front_element_is_cpe, pce.front_element_tag_select);
    pairs(pce.num_side_channel_elements, pce.side_element_is_cpe, pce.side_element_tag_select);
    pairs(pce.num_back_channel_elements, pce.back_element_is_cpe, pce.back_element_tag_select);
    for (Qor32s i = 0; i < pce.num_lfe_channel_elements; ++i)
        field(pce.lfe_element_tag_select[i], 4);
    for (Qor32s i = 0; i < pce.num_assoc_data_elements; ++i)
        field(pce.assoc_data_element_tag_select[i], 4);
    pairs(pce.num_valid_cc_elements, pce.cc_element_is_ind_sw, pce.valid_cc_element_tag_select);
    writer.align();
    field(pce.comment_field_bytes, 8);
    for (Qor32s i = 0; i < pce.comment_field_bytes; ++i) {
        pce.comment_field_data[i] = Qor8u(random.integer(0, 255));
        writer.put(pce.comment_field_data[i], 8);
    }
}

QorAACPrgCfgElt untouchedConfig() {
    QorAACPrgCfgElt pce;
    std::memset(&pce, 0x5A, sizeof pce);
    return pce;
}

TEST(ProgramConfig, ReadsEveryFieldAtEveryOffset) {
    Random random(2);
    for (int run = 0; run < 160; ++run) {
        BitWriter writer;
        const int start = run % 8;
        writer.put(0, start);
        QorAACPrgCfgElt expected = untouchedConfig();
        putProgramConfig(writer, random, expected);
        Stream stream(writer, start);
        QorAACPrgCfgElt pce = untouchedConfig();
        EXPECT_EQ(qorsDecodePrgCfgElt_AAC(&stream.p, &stream.offset, &pce), qorStsNoErr);
        EXPECT_EQ(std::memcmp(&pce, &expected, sizeof pce), 0);
        EXPECT_EQ(stream.position(), writer.bits());
    }
}

// --- ADIF -------------------------------------------------------------------------------------

struct Adif {
    QorAACAdifHeader header;
    std::vector<QorAACPrgCfgElt> elements;
};

Adif putAdif(BitWriter& writer, Random& random, bool copyrightId, bool variableRate, int count) {
    Adif adif;
    std::memset(&adif.header, 0x5A, sizeof adif.header);
    QorAACAdifHeader& h = adif.header;
    h.adif_id = Qor32s(Qor32u(random.integer(0, 0xFFFFFFFFll)));
    writer.put(Qor32u(h.adif_id), 32);
    writer.put(Qor32u(h.copyright_id_present = copyrightId ? 1 : 0), 1);
    if (copyrightId)
        for (Qor8u& byte : h.copyright_id) writer.put(byte = Qor8u(random.integer(0, 255)), 8);
    writer.put(Qor32u(h.original_copy = Qor32s(random.integer(0, 1))), 1);
    writer.put(Qor32u(h.home = Qor32s(random.integer(0, 1))), 1);
    writer.put(Qor32u(h.bitstream_type = variableRate ? 1 : 0), 1);
    writer.put(Qor32u(h.bitrate = Qor32s(random.integer(0, 0x7FFFFF))), 23);
    h.num_program_config_elements = count;
    writer.put(Qor32u(count - 1), 4);
    for (int i = 0; i < count; ++i) {
        if (!variableRate)
            writer.put(Qor32u(h.adif_buffer_fullness[i] = Qor32s(random.integer(0, 0xFFFFF))), 20);
        adif.elements.push_back(untouchedConfig());
        putProgramConfig(writer, random, adif.elements.back());
    }
    return adif;
}

TEST(AdifHeader, ReadsHeaderAndElements) {
    Random random(3);
    for (int run = 0; run < 64; ++run) {
        BitWriter writer;
        const int count = run / 4 + 1;
        const Adif expected = putAdif(writer, random, (run & 1) != 0, (run & 2) != 0, count);
        Stream stream(writer);
        QorAACAdifHeader header;
        std::memset(&header, 0x5A, sizeof header);
        std::vector<QorAACPrgCfgElt> elements(16, untouchedConfig());
        EXPECT_EQ(qorsUnpackADIFHeader_AAC(&stream.p, &header, elements.data(), 16), qorStsNoErr);
        EXPECT_EQ(std::memcmp(&header, &expected.header, sizeof header), 0);
        EXPECT_EQ(
            std::memcmp(elements.data(), expected.elements.data(), count * sizeof elements[0]), 0);
        const QorAACPrgCfgElt untouched = untouchedConfig();
        for (std::size_t i = std::size_t(count); i < elements.size(); ++i)
            EXPECT_EQ(std::memcmp(&elements[i], &untouched, sizeof untouched), 0);
        EXPECT_EQ(stream.position(), writer.bits());
    }
}

TEST(AdifHeader, TooManyElementsFillTheHeaderAndNoElement) {
    Random random(4);
    for (const bool copyrightId : {false, true}) {
        BitWriter writer;
        Adif expected = putAdif(writer, random, copyrightId, false, 3);
        std::memset(expected.header.adif_buffer_fullness, 0x5A,
                    sizeof expected.header.adif_buffer_fullness);
        Stream stream(writer);
        QorAACAdifHeader header;
        std::memset(&header, 0x5A, sizeof header);
        QorAACPrgCfgElt element = untouchedConfig();
        EXPECT_EQ(qorsUnpackADIFHeader_AAC(&stream.p, &header, &element, 2), qorStsAacPceCountErr);
        EXPECT_EQ(std::memcmp(&header, &expected.header, sizeof header), 0);
        const QorAACPrgCfgElt untouched = untouchedConfig();
        EXPECT_EQ(std::memcmp(&element, &untouched, sizeof untouched), 0);
        EXPECT_EQ(stream.p - stream.bytes.data(), copyrightId ? 16 : 7);
    }
}

TEST(AdifHeader, ChecksInOrder) {
    Qor8u bytes[32]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    QorAACAdifHeader header{};
    QorAACPrgCfgElt element{};
    EXPECT_EQ(qorsUnpackADIFHeader_AAC(nullptr, &header, &element, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackADIFHeader_AAC(&null, &header, &element, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackADIFHeader_AAC(&p, nullptr, &element, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackADIFHeader_AAC(&p, &header, nullptr, 17), qorStsNullPtrErr);
    for (const Qor32s max : {-1, 0, 17})
        EXPECT_EQ(qorsUnpackADIFHeader_AAC(&p, &header, &element, max), qorStsAacPceCountErr);
    EXPECT_EQ(p, bytes);
}

// --- data stream and fill elements ------------------------------------------------------------

TEST(DataStreamElement, CountsAndAlignment) {
    Random random(5);
    for (const int count : {0, 1, 7, 254, 255, 256, 400, 510}) {
        for (int start = 0; start < 8; ++start) {
            const bool aligned = random.chance(0.5);
            BitWriter writer;
            writer.put(0, start);
            writer.put(9, 4);
            writer.put(aligned ? 1 : 0, 1);
            writer.put(Qor32u(count < 255 ? count : 255), 8);
            if (count >= 255) writer.put(Qor32u(count - 255), 8);
            if (aligned) writer.align();
            const auto data = random.integers<Qor8u>(std::size_t(count), 0, 255);
            for (const Qor8u byte : data) writer.put(byte, 8);

            Stream stream(writer, start);
            Guarded<Qor8u> element(510);
            Qor32s tag = -1, read = -1;
            EXPECT_EQ(
                qorsDecodeDatStrElt_AAC(&stream.p, &stream.offset, &tag, &read, element.data()),
                qorStsNoErr);
            EXPECT_EQ(tag, 9);
            EXPECT_EQ(read, count);
            EXPECT_TRUE(std::equal(data.begin(), data.end(), element.data()));
            EXPECT_EQ(stream.position(), writer.bits());
        }
    }
}

TEST(FillElement, Counts) {
    Random random(6);
    struct Case {
        int nibble, escape, count;
    };
    for (const Case c : {Case{0, -1, 0}, Case{1, -1, 1}, Case{14, -1, 14}, Case{15, 0, 14},
                         Case{15, 1, 15}, Case{15, 255, 269}}) {
        for (int start = 0; start < 8; ++start) {
            BitWriter writer;
            writer.put(0, start);
            writer.put(Qor32u(c.nibble), 4);
            if (c.escape >= 0) writer.put(Qor32u(c.escape), 8);
            const auto data = random.integers<Qor8u>(std::size_t(c.count), 0, 255);
            for (const Qor8u byte : data) writer.put(byte, 8);

            Stream stream(writer, start);
            Guarded<Qor8u> element(269);
            Qor32s read = -1;
            EXPECT_EQ(qorsDecodeFillElt_AAC(&stream.p, &stream.offset, &read, element.data()),
                      qorStsNoErr);
            EXPECT_EQ(read, c.count);
            EXPECT_TRUE(std::equal(data.begin(), data.end(), element.data()));
            EXPECT_EQ(stream.position(), writer.bits());
        }
    }
}

// Null pointers come before a bad offset, and neither moves the cursor or writes.
TEST(ElementParsers, CommonChecks) {
    Qor8u bytes[16]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s bad = 8, tag = -1, count = -1;
    Qor8u data[510];
    QorAACPrgCfgElt pce = untouchedConfig();

    EXPECT_EQ(qorsDecodePrgCfgElt_AAC(nullptr, &bad, &pce), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodePrgCfgElt_AAC(&null, &bad, &pce), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodePrgCfgElt_AAC(&p, nullptr, &pce), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodePrgCfgElt_AAC(&p, &bad, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(nullptr, &bad, &tag, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(&null, &bad, &tag, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(&p, nullptr, &tag, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(&p, &bad, nullptr, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(&p, &bad, &tag, nullptr, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeDatStrElt_AAC(&p, &bad, &tag, &count, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeFillElt_AAC(nullptr, &bad, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeFillElt_AAC(&null, &bad, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeFillElt_AAC(&p, nullptr, &count, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeFillElt_AAC(&p, &bad, nullptr, data), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeFillElt_AAC(&p, &bad, &count, nullptr), qorStsNullPtrErr);

    for (Qor32s offset : {-1, 8}) {
        const Qor32s given = offset;
        EXPECT_EQ(qorsDecodePrgCfgElt_AAC(&p, &offset, &pce), qorStsAacBitOffsetErr);
        EXPECT_EQ(qorsDecodeDatStrElt_AAC(&p, &offset, &tag, &count, data), qorStsAacBitOffsetErr);
        EXPECT_EQ(qorsDecodeFillElt_AAC(&p, &offset, &count, data), qorStsAacBitOffsetErr);
        EXPECT_EQ(offset, given);
    }
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(tag, -1);
    EXPECT_EQ(count, -1);
    const QorAACPrgCfgElt untouched = untouchedConfig();
    EXPECT_EQ(std::memcmp(&pce, &untouched, sizeof pce), 0);
}

}  // namespace
}  // namespace qorac
