#include "arguments/arguments.h"

namespace qorac::test {

namespace {

// Band boundaries, alike in all six rows.
constexpr Qor16s kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                   74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};
constexpr Qor16s kShortBands[14] = {0, 4, 8, 12, 16, 22, 30, 40, 52, 66, 84, 106, 136, 192};
constexpr Qor16s kMixedBands[2] = {8, 30};

template <std::size_t size>
auto rows(Arena& arena, const Qor16s (&row)[size]) {
    auto* const table = arena.rows<Qor16s, size>(6);
    for (int i = 0; i < 6; ++i) std::copy_n(row, size, table[i]);
    return table;
}

QorMP3FrameHeader* layer3(Arena& arena, int id) {
    auto* const header = arena.record<QorMP3FrameHeader>();
    header->id = id;
    header->layer = 1;
    return header;
}

void addUnpacking(Family& family) {
    Arena& frame = family.arena();
    Qor8u** stream = frame.stream();
    family
        .add("qorsUnpackFrameHeader_MP3", frame, qorsUnpackFrameHeader_MP3, stream,
             frame.output<QorMP3FrameHeader>())
        .null<0, 1>()
        .nullStream(stream);

    Arena& side = family.arena();
    QorMP3FrameHeader* header = layer3(side, 1);
    stream = side.stream();
    family
        .add("qorsUnpackSideInfo_MP3", side, qorsUnpackSideInfo_MP3, stream,
             side.output<QorMP3SideInfo>(4), side.output<Qor32s>(), side.output<Qor32s>(),
             side.output<Qor32s>(8), header)
        .null<0, 1, 2, 3, 4, 5>()
        .nullStream(stream)
        .outside(header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .outside(header->layer, 1, 1, qorStsMp3FrameHeaderErr)
        .outside(header->mode, 0, 3, qorStsMp3FrameHeaderErr);

    for (const int id : {1, 0}) {
        Arena& arena = family.arena();
        header = layer3(arena, id);
        stream = arena.stream();
        Qor32s* const offset = arena.record<Qor32s>();
        auto* const record = arena.record<QorMP3SideInfo>();
        auto& entry =
            family
                .add("qorsUnpackScaleFactors_MP3_1u8s, id " + std::to_string(id), arena,
                     qorsUnpackScaleFactors_MP3_1u8s, stream, offset, arena.output<Qor8s>(39),
                     record, arena.array<Qor32s>(4), header, 0, 0)
                .null<0, 1, 2, 3, 4, 5>()
                .nullStream(stream)
                .outside(*offset, 0, 7, qorStsBadArgErr)
                .outside<6>(0, 1, qorStsBadArgErr)
                .outside<7>(0, 1, qorStsBadArgErr);
        if (id == 1)
            entry.outside(record->scalefac_compress, 0, 15, qorStsMp3SideInfoErr);
        else
            entry.outside(record->scalefac_compress, 0, 511, qorStsMp3SideInfoErr)
                .outside(header->mode_extension, 0, 3, qorStsMp3FrameHeaderErr);
    }
}

// What the Huffman decoders read and write, for a granule of no bits.
struct Granule {
    explicit Granule(Arena& arena)
        : header(layer3(arena, 1)),
          side(arena.record<QorMP3SideInfo>()),
          stream(arena.stream()),
          offset(arena.record<Qor32s>()),
          lines(arena.output<Qor32s>(576)),
          bound(arena.output<Qor32s>()) {
        side->part2_3_length = 100;
    }

    QorMP3FrameHeader* header;
    QorMP3SideInfo* side;
    Qor8u** stream;
    Qor32s* offset;
    Qor32s* lines;
    Qor32s* bound;
};

// What the decoders have in common at their ends. The regions are tested in long blocks only; no
// bits still bring the test of the tables.
template <typename... P>
Function<P...>& addNulls(Function<P...>& entry, const Granule& in) {
    return entry.template null<0, 1, 2, 3, 4, 5>().nullStream(in.stream);
}
template <typename... P>
void addRegions(Function<P...>& entry, const Granule& in) {
    entry.field(in.side->region0_count, {-1, 21, INT_MIN, INT_MAX}, qorStsMp3SideInfoErr)
        .field(in.side->region1_count, {-1, 21, INT_MIN, INT_MAX}, qorStsMp3SideInfoErr);
}
template <typename... P>
void addTables(Function<P...>& entry, const Granule& in) {
    for (Qor32s& table : in.side->table_select) entry.outside(table, 0, 31, qorStsMp3SideInfoErr);
}

template <typename... P>
void addPlainChecks(Function<P...>& entry, const Granule& in) {
    addNulls(entry, in)
        .outside(*in.offset, 0, 7, qorStsBadArgErr)
        .template outside<6>(0, 100, qorStsBadArgErr)
        .outside(in.side->big_values, 0, 288, qorStsMp3SideInfoErr)
        .outside(in.side->block_type, 0, 3, qorStsMp3SideInfoErr)
        .outside(in.side->window_switching_flag, 0, 1, qorStsMp3SideInfoErr)
        .outside(in.side->count1table_select, 0, 1, qorStsMp3SideInfoErr)
        .outside(in.header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .outside(in.header->layer, 1, 1, qorStsMp3FrameHeaderErr)
        .outside(in.header->sampling_frequency, 0, 2, qorStsMp3FrameHeaderErr);
    addRegions(entry, in);
    entry.field(in.side->window_switching_flag, 1, qorStsMp3SideInfoErr);
    addTables(entry, in);
}

template <typename... P>
void addMixedChecks(Function<P...>& entry, const Granule& in) {
    addNulls(entry, in)
        .outside(*in.offset, 0, 7, qorStsBadArgErr)
        .outside(in.header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .outside(in.side->big_values, 0, 288, qorStsMp3SideInfoErr)
        .outside(in.side->block_type, 0, 3, qorStsMp3SideInfoErr)
        .field(in.side->window_switching_flag, {-1, 1, 2, INT_MIN, INT_MAX}, qorStsMp3SideInfoErr)
        .outside(in.header->layer, 1, 1, qorStsMp3FrameHeaderErr)
        .outside(in.header->sampling_frequency, 0, 2, qorStsMp3FrameHeaderErr)
        .outside(in.side->count1table_select, 0, 1, qorStsMp3SideInfoErr)
        .template outside<6>(0, 100, qorStsMp3SideInfoErr);
    addRegions(entry, in);
    addTables(entry, in);
}

void addHuffmanDecoding(Family& family) {
    Arena& plain = family.arena();
    const Granule a(plain);
    addPlainChecks(family.add("qorsHuffmanDecode_MP3_1u32s", plain, qorsHuffmanDecode_MP3_1u32s,
                              a.stream, a.offset, a.lines, a.bound, a.side, a.header, 0),
                   a);
    Arena& bands = family.arena();
    const Granule b(bands);
    addPlainChecks(family.add("qorsHuffmanDecodeSfb_MP3_1u32s", bands,
                              qorsHuffmanDecodeSfb_MP3_1u32s, b.stream, b.offset, b.lines, b.bound,
                              b.side, b.header, 0, rows(bands, kLongBands)),
                   b);
    Arena& mixed = family.arena();
    const Granule c(mixed);
    addMixedChecks(
        family.add("qorsHuffmanDecodeSfbMbp_MP3_1u32s", mixed, qorsHuffmanDecodeSfbMbp_MP3_1u32s,
                   c.stream, c.offset, c.lines, c.bound, c.side, c.header, 0,
                   rows(mixed, kLongBands), rows(mixed, kShortBands), rows(mixed, kMixedBands)),
        c);
}

// Two channels of silence, in mode 0 or as a mid/side pair.
struct Spectrum {
    Spectrum(Arena& arena, int mode)
        : header(layer3(arena, 1)),
          side(arena.array<QorMP3SideInfo>(2)),
          lines(arena.array<Qor32s>(2 * 576)),
          bound(arena.array<Qor32s>(2)),
          scaleFactors(arena.array<Qor8s>(80)),
          buffer(arena.output<Qor32s>(576)) {
        header->mode = mode;
        header->mode_extension = 2;
    }

    QorMP3FrameHeader* header;
    QorMP3SideInfo* side;
    Qor32s* lines;
    Qor32s* bound;
    Qor8s* scaleFactors;
    Qor32s* buffer;
};

template <typename... P>
void addRequantizeChecks(Function<P...>& entry, const Spectrum& in) {
    entry.template null<0, 1, 2, 3, 4, 5>()
        .outside(in.header->id, 0, 1, qorStsMp3FrameHeaderErr)
        .outside(in.header->sampling_frequency, 0, 2, qorStsMp3FrameHeaderErr)
        .outside(in.header->mode, 0, 3, qorStsMp3FrameHeaderErr)
        .outside(in.header->mode_extension, 0, 3, qorStsMp3FrameHeaderErr);
    // Stereo coding compares the channels before the rest.
    const bool stereo = in.header->mode == 1;
    if (stereo)
        entry.field(in.side[0].block_type, {-1, 4}, qorStsMp3SideInfoErr)
            .field(in.side[1].block_type, {-2, 1, 2, 3, 5}, qorStsMp3SideInfoErr)
            .field(in.side[0].mixed_block_flag, {-1, 2}, qorStsMp3SideInfoErr)
            .field(in.side[1].mixed_block_flag, {-2, 1, 3}, qorStsMp3SideInfoErr);
    for (const int channel : {0, 1}) {
        if (!stereo)
            entry.outside(in.side[channel].block_type, 0, 3, qorStsMp3SideInfoErr)
                .outside(in.side[channel].mixed_block_flag, 0, 1, qorStsMp3SideInfoErr);
        entry.outside(in.bound[channel], 0, 576, qorStsBadArgErr);
    }
    // Those of channel 1 are tested behind the work on channel 0.
    entry.outside(in.side[0].global_gain, 0, 255, qorStsMp3SideInfoErr)
        .outside(in.side[0].scalefac_scale, 0, 1, qorStsMp3SideInfoErr)
        .outside(in.side[0].preflag, 0, 1, qorStsMp3SideInfoErr);
}

void addRequantizing(Family& family) {
    for (const int mode : {0, 1}) {
        const std::string suffix = ", mode " + std::to_string(mode);
        Arena& plain = family.arena();
        const Spectrum a(plain, mode);
        addRequantizeChecks(
            family.add("qorsReQuantize_MP3_32s_I" + suffix, plain, qorsReQuantize_MP3_32s_I,
                       a.lines, a.bound, a.scaleFactors, a.side, a.header, a.buffer),
            a);
        Arena& bands = family.arena();
        const Spectrum b(bands, mode);
        addRequantizeChecks(
            family
                .add("qorsReQuantizeSfb_MP3_32s_I" + suffix, bands, qorsReQuantizeSfb_MP3_32s_I,
                     b.lines, b.bound, b.scaleFactors, b.side, b.header, b.buffer,
                     rows(bands, kLongBands), rows(bands, kShortBands))
                .null<6, 7>(),
            b);
    }
}

void addSynthesis(Family& family) {
    Arena& mdct = family.arena();
    Qor32s* const previous = mdct.record<Qor32s>();
    family
        .add("qorsMDCTInv_MP3_32s", mdct, qorsMDCTInv_MP3_32s, mdct.array<Qor32s>(576, 1),
             mdct.output<Qor32s>(576), mdct.array<Qor32s>(576, 1), 576, previous, 0, 0)
        .null<0, 1, 2, 4>()
        .outside<3>(0, 576, qorStsBadArgErr)
        .outside<5>(0, 3, qorStsBadArgErr)
        .outside<6>(0, 1, qorStsBadArgErr)
        .outside(*previous, 0, 32, qorStsBadArgErr);

    // No checks at all.
    Arena& window = family.arena();
    family.add("qorsMDCTInvWindow_MP3_32s", window, qorsMDCTInvWindow_MP3_32s,
               window.array<Qor32s>(18), window.output<Qor32s>(36), 0);

    Arena& pqmf = family.arena();
    Qor32s* const position = pqmf.record<Qor32s>();
    family
        .add("qorsSynthPQMF_MP3_32s16s", pqmf, qorsSynthPQMF_MP3_32s16s, pqmf.array<Qor32s>(32, 1),
             pqmf.output<Qor16s>(64), pqmf.array<Qor32s>(512, 1), position, 1)
        .null<0, 1, 2, 3>()
        .outside<4>(1, 2, qorStsBadArgErr)
        .outside(*position, 0, 15, qorStsBadArgErr);
}

}  // namespace

void addMp3Decoding(Family& family) {
    addUnpacking(family);
    addHuffmanDecoding(family);
    addRequantizing(family);
    addSynthesis(family);
}

}  // namespace qorac::test
