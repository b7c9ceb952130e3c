#include <climits>

#include "arguments/arguments.h"

namespace qorac::test {

namespace {

// 44100 Hz, 128 kbit/s.
QorMP3FrameHeader* layer3(Arena& arena, int id) {
    auto* const header = arena.record<QorMP3FrameHeader>();
    header->id = id;
    header->layer = 1;
    header->bitrate_index = 9;
    return header;
}

void addAnalysis(Family& family) {
    Arena& pqmf = family.arena();
    family
        .add("qorsAnalysisPQMF_MP3_16s32s", pqmf, qorsAnalysisPQMF_MP3_16s32s,
             pqmf.array<Qor16s>(1024), pqmf.output<Qor32s>(32), 2)
        .null<0, 1>()
        .outside<2>(1, 2, qorStsBadArgErr);

    Arena& mdct = family.arena();
    family
        .add("qorsMDCTFwd_MP3_32s", mdct, qorsMDCTFwd_MP3_32s, mdct.array<Qor32s>(576, 1),
             mdct.output<Qor32s>(576), 0, 0, layer3(mdct, 1), mdct.output<Qor32s>(576))
        .null<0, 1, 4, 5>();

    // The seventh argument is not tested.
    Arena& model = family.arena();
    family
        .add("qorsPsychoacousticModelTwo_MP3_16s", model, qorsPsychoacousticModelTwo_MP3_16s,
             model.array<Qor16s>(3200), model.output<QorMP3PsychoInfo>(4), model.output<Qor32s>(6),
             model.array<QorMP3SideInfo>(4), layer3(model, 1), model.array<QorMP3PsychoState>(4),
             nullptr, model.output<Qor8u>(25152))
        .null<0, 1, 2, 3, 4, 5, 7>();

    Arena& stereo = family.arena();
    QorMP3FrameHeader* const header = layer3(stereo, 1);
    header->mode = 1;
    header->mode_extension = 2;
    auto* const side = stereo.array<QorMP3SideInfo>(2);
    family
        .add("qorsJointStereoEncode_MP3_32s_I", stereo, qorsJointStereoEncode_MP3_32s_I,
             stereo.array<Qor32s>(576, 1), stereo.array<Qor32s>(576, 2), stereo.output<Qor8u>(40),
             header, side, stereo.output<Qor32s>(3))
        .null<0, 1, 2, 3, 4, 5>()
        .field(side[1].block_type, {1, 2, 3}, qorStsMp3SideInfoErr);
}

void addQuantizing(Family& family) {
    Arena& arena = family.arena();
    QorMP3FrameHeader* const header = layer3(arena, 1);
    auto* const side = arena.array<QorMP3SideInfo>(4);
    auto* const reservoir = arena.record<QorMP3BitReservoir>({0, 4088});
    family
        .add("qorsQuantize_MP3_32s_I", arena, qorsQuantize_MP3_32s_I,
             arena.array<Qor32s>(4 * 576, 1 << 20), arena.array<Qor8s>(160), arena.array<Qor32s>(8),
             arena.output<Qor32s>(4), arena.output<Qor32s>(4), header, side,
             arena.array<QorMP3PsychoInfo>(4), arena.array<QorMP3PsychoState>(4), reservoir, 3344,
             arena.array<Qor32s>(6), arena.output<Qor32s>(1152))
        .null<0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12>()
        .outside(header->sampling_frequency, 0, 2, qorStsMp3FrameHeaderErr)
        .outside(header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .change("mixed block", qorStsMp3SideInfoErr, [side](auto&) {
            side[0].window_switching_flag = side[0].mixed_block_flag = 1;
            side[0].block_type = 2;
        });

    Arena& init = family.arena();
    QorMP3FrameHeader* const rate = layer3(init, 1);
    family
        .add("qorsBitReservoirInit_MP3", init, qorsBitReservoirInit_MP3,
             init.output<QorMP3BitReservoir>(), rate)
        .null<0, 1>()
        .outside(rate->id, 1, 1, qorStsMp3FrameHeaderErr);
}

void addPacking(Family& family) {
    Arena& frame = family.arena();
    Qor8u** stream = frame.stream();
    family.add("qorsPackFrameHeader_MP3", frame, qorsPackFrameHeader_MP3, layer3(frame, 1), stream)
        .null<0, 1>()
        .nullStream(stream);

    Arena& sides = family.arena();
    QorMP3FrameHeader* header = layer3(sides, 1);
    stream = sides.stream();
    family
        .add("qorsPackSideInfo_MP3", sides, qorsPackSideInfo_MP3, sides.array<QorMP3SideInfo>(4),
             stream, 0, 0, sides.array<Qor32s>(8), header)
        .null<0, 1, 4, 5>()
        .nullStream(stream)
        .outside(header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .outside(header->layer, 1, 1, qorStsMp3FrameHeaderErr)
        .outside(header->mode, 0, 3, qorStsMp3FrameHeaderErr);

    for (const int id : {1, 0}) {
        Arena& arena = family.arena();
        header = layer3(arena, id);
        stream = arena.stream();
        auto* const side = arena.record<QorMP3SideInfo>();
        side->preflag = 1;
        auto& entry = family
                          .add("qorsPackScaleFactors_MP3_8s1u, id " + std::to_string(id), arena,
                               qorsPackScaleFactors_MP3_8s1u, arena.array<Qor8s>(39), stream,
                               arena.record<Qor32s>(), header, side, arena.array<Qor32s>(4), 0, 0)
                          .null<0, 1, 2, 3, 4, 5>()
                          .nullStream(stream);
        if (id == 1)
            entry.outside(side->scalefac_compress, 0, 15, qorStsMp3SideInfoErr);
        else
            entry.outside(side->scalefac_compress, 0, 511, qorStsMp3SideInfoErr)
                .outside(header->mode_extension, 0, 3, qorStsMp3FrameHeaderErr);
    }

    Arena& huffman = family.arena();
    header = layer3(huffman, 1);
    stream = huffman.stream({0xA5});
    Qor32s* const offset = huffman.record<Qor32s>();
    auto* const side = huffman.record<QorMP3SideInfo>();
    auto& entry = family
                      .add("qorsHuffmanEncode_MP3_32s1u", huffman, qorsHuffmanEncode_MP3_32s1u,
                           huffman.array<Qor32s>(576), stream, offset, header, side, 0, 20)
                      .null<0, 1, 2, 3, 4>()
                      .nullStream(stream)
                      .outside(*offset, 0, 7, qorStsBadArgErr)
                      .field(side->big_values, {289, INT_MAX}, qorStsMp3SideInfoErr)
                      .field(side->region0_count, {21, INT_MAX}, qorStsMp3SideInfoErr)
                      .field(side->region1_count, {21, INT_MAX}, qorStsMp3SideInfoErr)
                      .outside(side->count1table_select, 0, 1, qorStsMp3SideInfoErr)
                      .outside(header->id, 1, 1, qorStsMp3FrameHeaderErr)
                      .outside(header->layer, 1, 1, qorStsMp3FrameHeaderErr)
                      .outside(header->sampling_frequency, 0, 2, qorStsMp3FrameHeaderErr);
    for (Qor32s& table : side->table_select)  // table 0 before it writes nothing
        entry.field(table, {-1, INT_MIN}, qorStsMp3SideInfoErr);
}

}  // namespace

void addMp3Encoding(Family& family) {
    addAnalysis(family);
    addQuantizing(family);
    addPacking(family);
}

}  // namespace qorac::test
